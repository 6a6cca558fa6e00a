// What loading the engine library needs of the system: this program's own
// folder, and opening a shared library and finding an export in it. Each
// system has its own file in posix/ or win32/.
#pragma once

#include <string>

namespace client {

// The engine library beside this program (a build folder), or in the
// installed package's library folder; empty when there is none.
std::string libraryBesideThisProgram();
// The opened library, or null with `error` saying why.
void* openLibrary(const std::string& path, std::string& error);
// The export's address, or null.
void* findExport(void* library, const char* name);
void closeLibrary(void* library);

}  // namespace client
