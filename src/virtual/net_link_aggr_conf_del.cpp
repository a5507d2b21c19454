#include "kavonetsdk/virtual.h"

#include <cstring>

#include <glob.h>
#include <unistd.h>

#include "frame/error.h"
#include "frame/ifcfg_keys.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/ipv4.h"
#include "virtual/bond_files.h"

using namespace kavonet;

namespace {

using Address = Text<1024>;

// The files of the configuration folder, by their paths.
class ConfigurationFiles {
public:
    ConfigurationFiles() : listed_(glob("/etc/sysconfig/network-scripts/*", GLOB_ERR, nullptr, &found_) == 0) {}
    ConfigurationFiles(const ConfigurationFiles &) = delete;
    ConfigurationFiles &operator=(const ConfigurationFiles &) = delete;
    ~ConfigurationFiles() { globfree(&found_); }

    explicit operator bool() const { return listed_; }
    [[nodiscard]] size_t count() const { return found_.gl_pathc; }
    const char *operator[](size_t i) const { return found_.gl_pathv[i]; }

private:
    glob_t found_{};
    bool listed_;
};

// Reads a key that holds an interface's name: 1, 0 when it is absent, -1 when it cannot be read.
int read_name(const char *path, const char *key, InterfaceName &name)
{
    const int found = KLIBCFileGetKeyValue(path, key, name.buffer(), InterfaceName::size(), 0);
    if (found < 0)
        log_err("get key \"%s\" from %s fail\n", key, path);
    return found;
}

// Adds the port that a file belongs to, if it is the bond's. False when that cannot be told.
bool add_if_slave(const char *path, const char *bond, StringList &slaves)
{
    constexpr char DEVICE[] = "DEVICE";
    InterfaceName master;
    InterfaceName device;
    const int has_master = read_name(path, "MASTER", master);
    if (has_master <= 0 || !master.is(bond))
        return has_master >= 0;
    const int has_device = read_name(path, DEVICE, device);
    if (has_device == 0)
        log_err("%s don't have key \"%s\"\n", path, DEVICE);
    if (has_device <= 0)
        return false;
    // It names the files that are rewritten, so what is no name is as good as unreadable.
    if (!is_interface_name(device.c_str())) {
        log_err("get key \"%s\" from %s fail\n", DEVICE, path);
        return fail(NET_ERR_BAD_PARAMETER, false);
    }
    return KLIBCSzListPush(slaves.handle(), device.c_str()) >= 0;
}

// The bond's ports as the files have them, whatever the kernel says.
bool find_slaves(const char *bond, StringList &slaves)
{
    const ConfigurationFiles files;
    if (!files)
        return fail(NET_ERR_OPEN_FAILED, false);
    for (size_t i = 0; i < files.count(); ++i) {
        if (!add_if_slave(files[i], bond, slaves))
            return false;
    }
    return true;
}

// The port that the bond's settings go back to; null when the bond has none.
const char *primary_of(const KAVOLINKAGGROPT &bond, const StringList &slaves)
{
    return bond.nSlave != 0 ? bond.szSlave[0] : KLIBCSzListGet(slaves.get(), 0);
}

// Two ports must never come up with the same address: another port than the primary one loses the bond's.
bool drop_address_of_bond(const char *slave, const Address &bond_address, IfcfgKeys &no_address)
{
    Address address;
    if (KAVOILnxGetIPFromCfg(slave, address.buffer(), address.size()) < 0) {
        log_err("get IP on %s failed", slave);
        return false;
    }
    const Path path = ifcfg_path(slave);
    if (!address.is(bond_address.c_str()) || no_address.write(path))
        return true;
    log_err("set %s %s=%s failed", path.c_str(), "BOOTPROTO", "none");
    return false;
}

bool free_slaves(const char *bond, const char *primary, const StringList &slaves, IfcfgKeys &no_address)
{
    if (primary != nullptr && !copy_file(ifcfg_path(bond), ifcfg_path(primary)))
        return fail(NET_ERR_EXEC_FAILED, false);
    Address address;
    if (KAVOILnxGetIPFromCfg(bond, address.buffer(), address.size()) < 0) {
        log_err("get IP of %s failed", bond);
        address = Address();
    }
    for (int i = 0; i < slaves->nItem; ++i) {
        const char *slave = KLIBCSzListGet(slaves.get(), i);
        const bool is_other = primary != nullptr && strcmp(slave, primary) != 0;
        if (is_other && !address.empty() && !drop_address_of_bond(slave, address, no_address))
            return false;
        if (KAVONetLinkAggrConfSetSlave(slave, 0, nullptr) != 0)
            return false;
    }
    return true;
}

} // namespace

int KAVONetLinkAggrConfDel(const KAVOLINKAGGROPT *pOpt)
{
    if (pOpt == nullptr || !is_record_name(pOpt->szIfname) || (pOpt->nSlave != 0 && !is_record_name(pOpt->szSlave[0])))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const char *bond = pOpt->szIfname;
    IfcfgKeys no_address;
    if (!no_address)
        return -1;
    no_address.set("BOOTPROTO", "none");
    StringList slaves(KLIBCSzListAlloc(1024));
    if (!slaves)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    if (!find_slaves(bond, slaves)) {
        log_err("parse slaves from etc/sysconfig/network-script\n");
        return -1;
    }
    // What was saved of the ports stays beside their files.
    if (free_slaves(bond, primary_of(*pOpt, slaves), slaves, no_address) && unlink(ifcfg_path(bond).c_str()) == 0)
        return 0;
    const KeptFailure failure;
    for (int i = 0; i < slaves->nItem; ++i)
        put_back_saved(KLIBCSzListGet(slaves.get(), i));
    failure.put_back();
    return -1;
}
