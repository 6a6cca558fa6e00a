// The two key tables: key number to the key text the server expects, and
// dial character to key number.
#pragma once

#include <cstdint>
#include <map>

using KeyTextTable = std::map<std::uint32_t, const char*>;
using DialCharTable = std::map<unsigned char, std::uint32_t>;

extern KeyTextTable gKeyTextTable;
extern DialCharTable gDialCharTable;

// Empties both tables and fills them anew: 92 keys, 14 dial characters.
void fillKeyTables();

// The key text of a number, or null for a number not in the table.
const char* keyText(std::uint32_t keyNumber);
