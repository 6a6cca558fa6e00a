// Command-line options of pbxsim.
#pragma once

#include <string>

#include "sim/pbxsim/pbx.h"

namespace sim {

// Reads the options into `options`; false with a message in `error`.
bool parsePbxOptions(int argc, char** argv, PbxOptions& options, std::string& error);
const char* pbxUsage();

}  // namespace sim
