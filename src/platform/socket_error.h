// Socket error codes as the engines trace them: the Windows Sockets numbers
// (10004 interrupted, 10035 would block, ...), whatever the system's own
// codes are. Only the platform layer reads the system's error.
#pragma once

namespace platform {

// The Windows Sockets code of the last socket failure on this thread; 0
// when none is known.
int lastSocketError();
// The Windows Sockets code for one of this system's error numbers; an
// unknown number gives 10000 plus the number, so it stays distinct.
int socketErrorCode(int systemError);
// Kept by the socket code at each failure, for lastSocketError.
void noteSocketError(int systemError);

}  // namespace platform
