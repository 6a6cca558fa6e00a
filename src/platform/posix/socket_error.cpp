#include "platform/socket_error.h"

#include <cerrno>

namespace platform {

int socketErrorCode(int systemError) {
    switch (systemError) {
        case 0: return 0;
        case EINTR: return 10004;
        case EBADF: return 10009;
        case EACCES: return 10013;
        case EFAULT: return 10014;
        case EINVAL: return 10022;
        case EMFILE: return 10024;
        case EWOULDBLOCK: return 10035;
        case EINPROGRESS: return 10036;
        case EALREADY: return 10037;
        case ENOTSOCK: return 10038;
        case EDESTADDRREQ: return 10039;
        case EMSGSIZE: return 10040;
        case EPROTOTYPE: return 10041;
        case ENOPROTOOPT: return 10042;
        case EPROTONOSUPPORT: return 10043;
        case EOPNOTSUPP: return 10045;
        case EAFNOSUPPORT: return 10047;
        case EADDRINUSE: return 10048;
        case EADDRNOTAVAIL: return 10049;
        case ENETDOWN: return 10050;
        case ENETUNREACH: return 10051;
        case ENETRESET: return 10052;
        case ECONNABORTED: return 10053;
        case ECONNRESET: return 10054;
        case ENOBUFS: return 10055;
        case EISCONN: return 10056;
        case ENOTCONN: return 10057;
        case ETIMEDOUT: return 10060;
        case ECONNREFUSED: return 10061;
        case EHOSTDOWN: return 10064;
        case EHOSTUNREACH: return 10065;
        default: return 10000 + systemError;
    }
}

namespace {
thread_local int tLastSocketError = 0;
}

void noteSocketError(int systemError) { tLastSocketError = socketErrorCode(systemError); }

int lastSocketError() { return tLastSocketError; }

}  // namespace platform
