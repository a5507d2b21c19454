#include "kavonetsdk/diag.h"

#include <cstring>

#include <arpa/inet.h>

#include "diag/netbios.h"
#include "diag/resolver.h"
#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

namespace {

// The caller's array.
class Entries {
public:
    Entries(LookupIPEntry *entries, int capacity, bool count_all)
        : entries_(entries),
          capacity_(entries == nullptr || capacity < 0 ? 0 : capacity),
          count_all_(count_all)
    {
        if (capacity_ > 0)
            memset(entries_, 0, static_cast<size_t>(capacity_) * sizeof *entries_);
    }

    [[nodiscard]] int count() const { return count_; }

    // False when the array is full and nobody wants to know how many more there are.
    bool add(const char *address, int family)
    {
        if (count_ < capacity_) {
            copy_text(entries_[count_].szAddr, address);
            entries_[count_].family = family;
        } else if (!count_all_) {
            return false;
        }
        ++count_;
        return true;
    }

private:
    LookupIPEntry *entries_;
    int capacity_;
    bool count_all_;
    int count_ = 0;
};

// The address itself; null for one that is not of the Internet.
const void *address_in(const sockaddr *address)
{
    if (address->sa_family == AF_INET)
        return &reinterpret_cast<const sockaddr_in *>(address)->sin_addr;
    if (address->sa_family == AF_INET6)
        return &reinterpret_cast<const sockaddr_in6 *>(address)->sin6_addr;
    return nullptr;
}

void ask_resolver(const char *host, Entries &entries)
{
    ResolvedAddresses addresses;
    if (!resolve(host, nullptr, addresses))
        return;
    for (const addrinfo *result = addresses.get(); result != nullptr; result = result->ai_next) {
        Text<sizeof LookupIPEntry::szAddr> text;
        const void *address = address_in(result->ai_addr);
        if (address == nullptr ||
            inet_ntop(result->ai_family, address, text.buffer(), sizeof LookupIPEntry::szAddr) == nullptr)
            continue;
        if (!entries.add(text.c_str(), result->ai_family))
            return;
    }
}

} // namespace

int KAVONetLookupIP(const char *szHost, LookupIPEntry *rg, int c, int blCountAll)
{
    if (szHost == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, 0);
    Entries entries(rg, c, blCountAll != 0);
    if (szHost[0] == '\0')
        return fail(NET_ERR_BAD_PARAMETER, 0);
    ask_resolver(szHost, entries);
    if (entries.count() > 0 || !is_bare_name(szHost))
        return entries.count();

    NetbiosAnswer answer(szHost);
    if (!answer)
        return 0;
    if (!answer.has_buffer()) {
        log_err("pszBuf is NULL");
        return 0;
    }
    NetbiosAnswer::Field address;
    while (answer.next(address) && entries.add(address.c_str(), AF_INET)) {
    }
    return entries.count();
}
