#include "host.h"

#include <unistd.h>

namespace cli {

std::vector<LookupIPEntry> addresses_of(const std::string &host)
{
    forget_error();
    std::vector<LookupIPEntry> found;
    // The number may grow between two looks.
    for (size_t room = 64;; room *= 2) {
        found.resize(room);
        const int count = KAVONetLookupIP(host.c_str(), found.data(), static_cast<int>(room), 1);
        if (static_cast<size_t>(count) <= room) {
            found.resize(static_cast<size_t>(count));
            forget_error(); // of NetBIOS, say, which need not be there
            return found;
        }
    }
}

Failure unknown_host(const std::string &what, const std::string &host)
{
    constexpr char NETBIOS[] = "/usr/local/bin/nmblookup";
    const char *ADVICE = "check the spelling, and the name servers in /etc/resolv.conf";
    if (host.find_first_of(".:") != std::string::npos || host[0] == '-')
        return {what, "no name server knows an address of it", ADVICE};
    if (access(NETBIOS, X_OK) != 0)
        return {what, "no name server knows an address of it",
                std::string(ADVICE) + "; NetBIOS was not asked, as there is no " + NETBIOS};
    return {what, "neither a name server nor NetBIOS knows an address of it", ADVICE};
}

} // namespace cli
