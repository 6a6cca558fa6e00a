#include "core/key_tables.h"

#include <gtest/gtest.h>

#include <string>

TEST(KeyTables, HoldNinetyTwoKeysAndFourteenDialCharacters) {
    fillKeyTables();
    EXPECT_EQ(gKeyTextTable.size(), 92u);
    EXPECT_EQ(gDialCharTable.size(), 14u);
}
