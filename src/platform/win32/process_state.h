// What the library's attach and detach tell the rest of the Windows
// platform layer.
#pragma once

namespace platform::win32 {

// The library is being unloaded: the system holds its loader lock, so no
// thread can end until the unload is over.
bool libraryDetaching();
// The whole process is exiting: the system has ended every other thread.
bool processEnding();

}  // namespace platform::win32
