#include "kavonetsdk/ipv4.h"

#include <array>
#include <cstring>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "kavonetsdk/addr.h"
#include "kavonetsdk/diag.h"

using namespace kavonet;

namespace {

constexpr char ARPING[] = "/sbin/arping";
constexpr int RUN_FLAG = 1;

// What a probe comes to: the status of arping, or the platform's result when it could not be run.
enum Probe { NOT_RUN = -1, NO_CONFLICT = 0, CONFLICT = 1, BAD_PARAMETER = 2 };

// An appliance whose ports answer for their own addresses alone says so in its settings: no answer comes from them.
bool ports_answer_for_others()
{
    Text<16> ignore;
    const int found = KLIBCFileGetKeyValue(SETTINGS_FILE, "arp_ignore", ignore.buffer(), Text<16>::size(), 0);
    return found <= 0 || !ignore.is("yes");
}

// The hardware addresses of the appliance's own ports, whose answers to a probe do not count.
class OwnPorts {
public:
    static constexpr int MOST = 16;

    void read()
    {
        constexpr int TABLE = 256;
        const Owned<NetStat, KLIBNetStatFree> table(KLIBNetStatInit(TABLE));
        const Socket socket;
        const int count = table ? KLIBNetStatGetAll(table.get(), TABLE) : 0;
        for (int i = 0; i < count; ++i) {
            if (strncmp(table[i].szName, "eth", 3) != 0)
                continue;
            if (count_ == MOST) {
                log_warning("There are over the maximum number (%d) support of physical interfaces for IP conflict "
                            "detection.",
                            MOST);
                return;
            }
            add(socket, table[i].szName);
        }
    }

    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] const char *mac(int i) const { return macs_[static_cast<size_t>(i)].c_str(); }

private:
    void add(const Socket &socket, const char *name)
    {
        InterfaceRequest request(socket, name);
        if (!request.ask(SIOCGIFHWADDR)) {
            log_info("Failed to get MAC address for %s", name);
            return;
        }
        uint8_t mac[6];
        memcpy(mac, request.raw().ifr_hwaddr.sa_data, sizeof mac);
        macs_[static_cast<size_t>(count_++)].format("%02x%02x%02x%02x%02x%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                                                    mac[5]);
    }

    std::array<Text<13>, MOST> macs_;
    int count_ = 0;
};

// The words of the command with a null behind them: at most eleven, and the own ports.
class Words {
public:
    void add(const char *word) { words_[count_++] = const_cast<char *>(word); }
    [[nodiscard]] char *const *get() const { return words_.data(); }

private:
    std::array<char *, 11 + OwnPorts::MOST + 1> words_{};
    size_t count_ = 0;
};

// Asks who answers for an address. Null for the own ports: their answers count too.
int probe(const char *name, const char *address, const OwnPorts *own)
{
    // Such a name could not be an interface's, and arping would say just that.
    if (!is_short_interface_name(name))
        return fail(NET_ERR_BAD_PARAMETER, BAD_PARAMETER);
    Words words;
    for (const char *word : {ARPING, "-D", "-q", "-w", "3", "-c", "3", "-I", name, address})
        words.add(word);
    if (own != nullptr) {
        words.add("-F");
        for (int i = 0; i < own->count(); ++i)
            words.add(own->mac(i));
    }
    return KLIBCExecv(ARPING, words.get(), RUN_FLAG);
}

void log_probe(int result, const char *name, const char *address)
{
    if (result == NOT_RUN)
        log_err("Failed to execute arping for %s at %s", address, name);
    else if (result == NO_CONFLICT)
        log_debug("%s is not conflict at %s", address, name);
    else if (result == BAD_PARAMETER)
        log_info("Invalid parameter to execute arping for %s at %s", address, name);
    else if (result != CONFLICT)
        log_err("Unknown return value [%d] from arping", result);
}

bool is_in_conflict(const char *name, const char *address, const OwnPorts *own)
{
    if (BlKLIBIsIpAddr(address) != 1) {
        log_err("[%s] is not a valid IP address for %s", address, name);
        return false;
    }
    const int result = probe(name, address, own);
    log_probe(result, name, address);
    return result == CONFLICT;
}

// Puts the name and the address into lists of one.
bool settle(StringList &names, const char *name, StringList &addresses, const char *address)
{
    return KLIBCSzListPush(names.handle(), name) >= 0 && KLIBCSzListPush(addresses.handle(), address) >= 0;
}

} // namespace

int KAVOIIpConflict(const char *szIf, const char *szAddr)
{
    if (!is_short_interface_name(szIf) || szAddr == nullptr || szAddr[0] == '\0')
        return fail_at(54, NET_ERR_BAD_PARAMETER, -1);
    Text<256> current;
    const int read = KAVOILnxGetIP(szIf, current.buffer(), Text<256>::size());
    if (read < 0) {
        log_function_err("KAVOILnxGetIP failed.(%X)", KLIBCErrGet());
        return read;
    }
    if (current.is(szAddr))
        return 0;

    constexpr int ITEMS = 128;
    StringList names(KLIBCSzListAlloc(ITEMS));
    StringList addresses(KLIBCSzListAlloc(ITEMS));
    if (!names || !addresses) {
        log_err("Failed to alloc list.");
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    }
    if (!settle(names, szIf, addresses, szAddr)) {
        log_err("Failed to settle parameters.");
        return -1;
    }
    const int result = IpConflictDetectInternal(names.get(), addresses.get(), nullptr);
    // Log readers know this line without a place in front.
    if (result == 1)
        syslog(LOG_DEBUG, "%s is conflict at %s", szAddr, szIf);
    return result;
}

int IpConflictDetectInternal(const KLIBSZLIST *pIfs, const KLIBSZLIST *pAddrs, KAVOIPCONFLICTCB pfn)
{
    const bool excludes_own = ports_answer_for_others();
    if (pIfs == nullptr)
        return fail_at(199, NET_ERR_BAD_PARAMETER, -1);
    if (pAddrs != nullptr && pAddrs->nItem != pIfs->nItem)
        return fail_at(206, NET_ERR_BAD_PARAMETER, -1);
    OwnPorts own;
    if (excludes_own)
        own.read();

    int found = 0;
    for (int i = 0; i < pIfs->nItem; ++i) {
        const char *name = KLIBCSzListGet(pIfs, i);
        Text<46> current;
        if (pAddrs == nullptr && KAVOILnxGetIP(name, current.buffer(), Text<46>::size()) < 0) {
            log_err("%s(%d) KAVOILnxGetIP failed.(%X)", __func__, __LINE__, KLIBCErrGet());
            continue;
        }
        const char *address = pAddrs != nullptr ? KLIBCSzListGet(pAddrs, i) : current.c_str();
        if (!is_in_conflict(name, address, excludes_own ? &own : nullptr))
            continue;
        found = 1;
        if (pfn != nullptr)
            pfn(name, address);
    }
    return found;
}
