// Command-line options of pbxsim.
#pragma once

#include <string>

#include "sim/pbxsim/pbx.h"

namespace sim {

// Reads the options into `options`; false with a message in `error`.
// `help` is set by --help or -h.
bool parsePbxOptions(int argc, char** argv, PbxOptions& options, std::string& error, bool& help);
const char* pbxUsage();

}  // namespace sim
