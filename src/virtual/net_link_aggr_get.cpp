#include "kavonetsdk/virtual.h"

#include <cstring>

#include "frame/error.h"
#include "frame/kernel_file.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "kavonetsdk/iface.h"
#include "virtual/bond_modes.h"

using namespace kavonet;

namespace {

using Value = Text<1024>;

bool read_key(const char *name, const char *key, const char *key_in_log, Value &value)
{
    if (KLIBCFileGetKeyValue(ifcfg_path(name).c_str(), key, value.buffer(), value.size(), 0) > 0)
        return true;
    log_err("Failed to get key [%s]", key_in_log);
    return false;
}

// Whether a listed interface exists. An Open vSwitch bond is not asked for its link, which its own list would have to
// tell: lists may name each other.
bool is_there(const char *name)
{
    return KLIBNetOVSIfIsMaster(name) == 2 || KAVONetIfIsLink(name) >= 0;
}

// Takes those of the listed names whose interfaces exist.
bool add_existing(const KLIBSZLIST *names, KAVOLINKAGGROPT &bond)
{
    for (int i = 0; i < names->nItem; ++i) {
        const char *name = KLIBCSzListGet(names, i);
        if (!is_there(name))
            continue;
        if (KAVONetLinkAggrOptSlsaveAdd(&bond, name) != 0) {
            log_err("Failed to add the slave %s into KAVOLINKAGGROPT", name);
            return false;
        }
    }
    return true;
}

// An Open vSwitch bond is described by its ifcfg file. Its failures are 1, not -1: callers tell the two kinds by it.
int read_ovs_bond(const char *name, KAVOLINKAGGROPT &bond)
{
    constexpr int FAILED = 1;
    bond = {};
    StringList names(KLIBCSzListAlloc(512));
    if (!names) {
        log_err("Failed to alloc memory.");
        return FAILED;
    }
    copy_text(bond.szIfname, name);
    Value value;
    // The key that the line names is another one's; log readers know it so.
    if (!read_key(name, "SLAVE_LIST", "BLOCK_CNT", value))
        return FAILED;
    KLIBCStrTrimSpace(value.buffer(), 0);
    if (KLIBCStrSep(value.c_str(), " ", names.handle()) < 0 || !add_existing(names.get(), bond))
        return FAILED;
    if (!read_key(name, "BOND_MODE", "BOND_MODE", value))
        return FAILED;
    bond.mode = KAVONetLinkAggrStringToMode(value.c_str());
    return 0;
}

KAVOLINKAGGRMODE mode_of_line(Text<256> &line)
{
    for (const BondMode &row : BOND_MODES) {
        if (row.kernel_line != nullptr && strncmp(line.c_str(), row.kernel_line, strlen(row.kernel_line)) == 0)
            return row.mode;
    }
    KLIBCStrTrimSpace(line.buffer(), 0);
    log_err("Non-supported bonding mode [%s]", line.c_str());
    return NO_BOND;
}

int read_mode(const char *name, KAVOLINKAGGROPT &bond)
{
    KernelFile file(Path("/sys/class/net/%s/bonding/mode", name).c_str());
    if (!file)
        return fail(NET_ERR_OPEN_FAILED, -1);
    Text<256> line;
    if (!file.next_line(line) && file.failed())
        return fail(NET_ERR_READ_FAILED, -1);
    bond.mode = mode_of_line(line);
    return 0;
}

// Whether the driver's status tells of a partner that answers.
bool has_partner(const char *name)
{
    constexpr char PREFIX[] = "\tPartner Mac Address: ";
    KernelFile status(Path("%s/%s", "/proc/net/bonding/", name).c_str());
    if (!status)
        return fail(NET_ERR_NO_SUCH_DEVICE, false);
    Text<512> line;
    while (status.next_line(line)) {
        if (strncmp(line.c_str(), PREFIX, sizeof PREFIX - 1) != 0)
            continue;
        line.buffer()[strlen(line.c_str()) - 1] = '\0'; // the newline
        const char *mac = line.c_str() + sizeof PREFIX - 1;
        mac += strspn(mac, " \t\r\n");
        return mac[0] != '\0' && strcmp(mac, "00:00:00:00:00:00") != 0;
    }
    return false;
}

int read_kernel_bond(const char *name, KAVOLINKAGGROPT &bond)
{
    bond = {};
    copy_text(bond.szIfname, name);
    StringList names(KLIBCSzListAlloc(1024));
    if (!names)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const int members = KAVONetLinkAggrPhyGet(name, names.handle());
    if (members < 1)
        return 0; // no bond, or one without members: mode 0
    for (int i = 0; i < members; ++i) {
        if (KAVONetLinkAggrOptSlsaveAdd(&bond, KLIBCSzListGet(names.get(), i)) != 0)
            return -1;
    }
    if (read_mode(name, bond) != 0)
        return -1;
    if (bond.mode == MODE_8023AD)
        bond.blNoPartner = has_partner(name) ? 0 : 1;
    return 0;
}

} // namespace

int KAVONetLinkAggrGet(const char *szIf, KAVOLINKAGGROPT *pOpt)
{
    if (!is_interface_name(szIf) || pOpt == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    return KLIBNetOVSIfIsMaster(szIf) == 2 ? read_ovs_bond(szIf, *pOpt) : read_kernel_bond(szIf, *pOpt);
}
