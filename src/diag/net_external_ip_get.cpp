#include "kavonetsdk/diag.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"

using namespace kavonet;

char *KAVOExternalIPGet(void)
{
    constexpr char DAEMON[] = "/usr/kavo/sbin/ddnsd";
    constexpr char RESULT[] = "/run/ddns/externalIP.result";
    constexpr size_t SIZE = sizeof "255.255.255.255";
    const int error = KLIBCExec(DAEMON, "-e", nullptr, nullptr, nullptr);
    if (error != 0) {
        log_err("Failed to get external IP by %s, err=%d", DAEMON, error);
        return nullptr;
    }
    Allocated<char> address(static_cast<char *>(calloc(SIZE, 1)));
    if (!address) {
        // This line alone names all three.
        syslog(LOG_ERR, "(%s:%d:%s)failed to allocate space for parsing IP, errno=%s", __FILE_NAME__, __LINE__,
               __func__, strerror(errno));
        return fail<char *>(NET_ERR_OUT_OF_MEMORY, nullptr);
    }
    if (KLIBCFileGetKeyValue(RESULT, "externalIP", address.get(), SIZE, 0) < 1) {
        log_function_err("Failed to get external IP from %s, kavo_errno=[%X]", RESULT, KLIBCErrGet());
        return nullptr;
    }
    return address.release();
}
