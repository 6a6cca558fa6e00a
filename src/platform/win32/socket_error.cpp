#include "platform/socket_error.h"

#include <winsock2.h>

namespace platform {

// Windows Sockets gives its codes directly.
int socketErrorCode(int systemError) {
    return systemError;
}

namespace {
thread_local int tLastSocketError = 0;
}

void noteSocketError(int systemError) {
    tLastSocketError = socketErrorCode(systemError);
}

int lastSocketError() {
    return tLastSocketError;
}

}  // namespace platform
