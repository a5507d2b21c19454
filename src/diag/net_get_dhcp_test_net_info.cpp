#include "kavonetsdk/diag.h"

#include <cerrno>
#include <cstring>

#include "frame/command.h"
#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"

using namespace kavonet;

namespace {

constexpr char CLIENT[] = "/usr/sbin/dhclient";
constexpr char SYSTEM_SCRIPT[] = "/etc/dhclient/dhclient-script";
constexpr char SCRIPT[] = "/var/run/dhclient-script";

// Asks the server once, in the foreground; 0 when it gave an address.
int run_client(const Path &leases, const Path &pid_file, const char *name)
{
    return KLIBCExecl(CLIENT, RUN_OPTIONS, "-d", "-q", "--kavo_test", "-lf", leases.c_str(), "-pf", pid_file.c_str(),
                      "-sf", SCRIPT, name, static_cast<char *>(nullptr));
}

// A key that is missing leaves the caller's field as it is.
template <size_t Size> bool read_key(const Path &file, const char *key, char (&field)[Size])
{
    Text<Size> value;
    if (KLIBCFileGetKeyValue(file.c_str(), key, value.buffer(), Text<Size>::size(), 0) < 1)
        return false;
    copy_text(field, value.c_str());
    return true;
}

} // namespace

int KAVOIGetDHCPTestNetInfo(KAVONETINFO *pNetInfo)
{
    if (pNetInfo == nullptr)
        return fail_at(26, NET_ERR_BAD_PARAMETER, -1);
    // A name that fills its field has no terminator.
    const Text<sizeof pNetInfo->szName + 1> name("%.*s", static_cast<int>(sizeof pNetInfo->szName), pNetInfo->szName);
    // The client would take a name that begins with "-" for an option, and then ask on every interface.
    if (!is_short_interface_name(name.c_str()) || name.c_str()[0] == '-')
        return fail_at(26, NET_ERR_BAD_PARAMETER, -1);

    const Path info = lease_path(name.c_str());
    const Path pid_file("/etc/dhclient/ipv4/dhcpcd-%s.pid", name.c_str());
    const Path leases("/tmp/dhcpv4.leases.%s", name.c_str());
    if (KLIBCFileExist(SCRIPT) == 0 &&
        KLIBCExecl("/bin/cp", RUN_OPTIONS, "-f", SYSTEM_SCRIPT, SCRIPT, static_cast<char *>(nullptr)) != 0) {
        log_err("copy %s to %s failed", SYSTEM_SCRIPT, SCRIPT);
        return -1;
    }
    if (run_client(leases, pid_file, name.c_str()) != 0) {
        log_err("%s -d -q --kavo_test -lf %s -pf %s -sf %s %s failed(%s).", CLIENT, leases.c_str(), pid_file.c_str(),
                SCRIPT, name.c_str(), strerror(errno));
        return fail_at(44, NET_ERR_EXEC_FAILED, -1);
    }
    if (!read_key(info, "IPADDR", pNetInfo->szAddr)) {
        log_function_err("KLIBCFileGetKeyValue(IPADDR) failed(%X).", KLIBCErrGet());
        return -1;
    }
    if (!read_key(info, "NETMASK", pNetInfo->szMask)) {
        log_function_err("KLIBCFileGetKeyValue(NETMASK) failed(%X).", KLIBCErrGet());
        return -1;
    }
    return 0;
}
