#include "kavonetsdk/virtual.h"

#include <cstring>

#include <unistd.h>

#include "frame/error.h"
#include "frame/ifcfg_keys.h"
#include "frame/log.h"
#include "kavonetsdk/event.h"
#include "virtual/bond_files.h"
#include "virtual/bond_lease.h"
#include "virtual/bond_modes.h"
#include "virtual/network_script.h"

using namespace kavonet;

namespace {

enum class Action { NOTHING, CREATE, REMOVE, MODIFY };

// Too few members and an empty member name get past here: the writer refuses them, when the interfaces are stopped
// already. A name that would lead out of its folder must reach neither the script nor a path. Of a bond that goes, the
// members do not count.
bool is_settable(const KAVOLINKAGGROPT &bond)
{
    if (!is_record_name(bond.szIfname) || bond.mode < NO_BOND || bond.mode > LAST_MODE)
        return false;
    if (bond.mode == NO_BOND)
        return true;
    if (bond.nSlave > BOND_MEMBERS)
        return false;
    for (int i = 0; i < bond.nSlave; ++i) {
        if (bond.szSlave[i][0] != '\0' && !is_record_name(bond.szSlave[i]))
            return false;
    }
    return true;
}

Action action_for(const KAVOLINKAGGROPT &wanted, const KAVOLINKAGGROPT &current)
{
    if (wanted.mode == NO_BOND)
        return Action::REMOVE;
    if (current.mode == NO_BOND)
        return Action::CREATE;
    return memcmp(&wanted, &current, sizeof wanted) == 0 ? Action::NOTHING : Action::MODIFY;
}

// ---- The files

const char *options_of(KAVOLINKAGGRMODE mode)
{
    for (const BondMode &row : BOND_MODES) {
        if (row.mode == mode)
            return row.options;
    }
    return nullptr;
}

bool is_writable(const KAVOLINKAGGROPT &bond)
{
    if (bond.nSlave < 2 || options_of(bond.mode) == nullptr)
        return false;
    for (int i = 0; i < bond.nSlave; ++i) {
        if (bond.szSlave[i][0] == '\0')
            return false;
    }
    return true;
}

void delete_file(const Path &path)
{
    if (unlink(path.c_str()) != 0)
        log_err("remove file %s failed", path.c_str());
}

// cp would write through a link, wait for a pipe or copy into a folder that somebody has put in a lease's place.
void inherit_lease(const char *bond, const char *first)
{
    const Path from = lease_file(first);
    const Path to = lease_file(bond);
    KeptPlace place(to);
    const Owner owner = owner_of(from);
    if (!place || owner == Owner::SOMEBODY) {
        log_warning("the lease of %s is not taken over", first);
        return;
    }
    if (copy_file(from, to) && owner == Owner::CALLER)
        place.is_taken();
    KLIBCFileReplaceSubStr(to.c_str(), first, bond);
}

// The bond takes over its first member's address settings, and the lease with them. A member that has none of them
// leaves the bond to its own.
void inherit(const char *bond, const char *first)
{
    copy_file(ifcfg_path(first), ifcfg_path(bond));
    inherit_lease(bond, first);
}

bool write_master(const KAVOLINKAGGROPT &bond)
{
    IfcfgKeys keys;
    if (!keys)
        return fail(NET_ERR_OUT_OF_MEMORY, false);
    inherit(bond.szIfname, bond.szSlave[0]);
    const Path path = ifcfg_path(bond.szIfname);
    const bool has_method = KAVONetLinkAggrConfUpdateBootProto(path.c_str(), keys.set_keys()) >= 0;
    keys.set("DEVICE", bond.szIfname);
    keys.set("ONBOOT", "yes");
    keys.set("USERCTL", "no");
    keys.set("BONDING_OPTS", options_of(bond.mode));
    keys.remove("MASTER");
    keys.remove("SLAVE");
    return has_method && keys.write(path);
}

bool enslave_members(const KAVOLINKAGGROPT &bond)
{
    for (int i = 0; i < bond.nSlave; ++i) {
        if (KAVONetLinkAggrConfSetSlave(bond.szSlave[i], 1, bond.szIfname) != 0)
            return false;
    }
    return true;
}

int write_configuration(const KAVOLINKAGGROPT &bond)
{
    if (!is_writable(bond))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (write_master(bond) && enslave_members(bond)) {
        for (int i = 0; i < bond.nSlave; ++i)
            delete_file(saved_path(bond.szSlave[i]));
        return 0;
    }
    const KeptFailure failure;
    for (const auto &slot : bond.szSlave) {
        if (is_record_name(slot))
            put_back_saved(slot);
    }
    delete_file(ifcfg_path(bond.szIfname));
    failure.put_back();
    return -1;
}

// ---- The event

// The event that tells which names come and which go.
class NamesEvent {
public:
    NamesEvent(Action action, const KAVOLINKAGGROPT &bond) : creates_(action == Action::CREATE), count_(bond.nSlave)
    {
        bond_[0] = bond.szIfname;
        for (int i = 0; i < count_; ++i)
            members_[i] = bond.szSlave[i];
    }
    NamesEvent(const NamesEvent &) = delete;
    NamesEvent &operator=(const NamesEvent &) = delete;
    ~NamesEvent() { KLIBPluginExit(handle_); }

    bool open()
    {
        opened_ = KLIBPluginSDKInit("net", "net/ifname_change", &handle_) >= 0;
        return opened_;
    }

    // Nobody who hears of a change stops it.
    void announce_before() const
    {
        if (opened_ && !fire(Event::PRE, 0))
            log_err("Fail to execute net plugin (PRE) [0x%04X %s:%d]", PLATFORM_ERROR);
    }
    void announce_after(int result) const
    {
        if (KLIBPluginHasInit(handle_) != 0 && !fire(Event::POST, result))
            log_err("Fail to execute net plugin (POST) [0x%04X %s:%d]", PLATFORM_ERROR);
    }

private:
    bool fire(int phase, int result) const
    {
        const int attached = creates_ ? KLIBNetIFChgPluginSetArgs(handle_, members_, count_, bond_, 1, result)
                                      : KLIBNetIFChgPluginSetArgs(handle_, bond_, 1, members_, count_, result);
        return attached == 0 && KLIBPluginAction(phase, handle_) >= 0;
    }

    KLIBPLUGINHANDLE handle_ = 0;
    bool opened_ = false;
    bool creates_;
    int count_;
    const char *bond_[1];
    const char *members_[BOND_MEMBERS] = {};
};

} // namespace

int KAVONetLinkAggrSet(KAVOLINKAGGROPT *pOpt)
{
    if (pOpt == nullptr || !is_settable(*pOpt))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    KAVOLINKAGGROPT current{};
    // Only a kernel bond's failure ends the change; an Open vSwitch bond that cannot be read counts as none.
    if (KAVONetLinkAggrGet(pOpt->szIfname, &current) < 0)
        return -1;
    const Action action = action_for(*pOpt, current);
    if (action == Action::NOTHING)
        return 0;
    if (action == Action::REMOVE) {
        pOpt->nSlave = current.nSlave;
        memcpy(pOpt->szSlave, current.szSlave, sizeof pOpt->szSlave);
    }
    NamesEvent event(action, *pOpt);
    // A bond that only changes keeps its name, so nobody is told.
    if (action != Action::MODIFY && !event.open()) {
        log_err("plugin sdk init failed");
        return -1;
    }
    event.announce_before();
    NetworkScript script(*pOpt);
    script.run("stop");
    if (action == Action::MODIFY)
        KAVONetLinkAggrConfDel(&current);
    const int result = action == Action::REMOVE ? KAVONetLinkAggrConfDel(pOpt) : write_configuration(*pOpt);
    const KeptFailure failure;
    script.run("start");
    KLIBCExec("/usr/kavo/sbin/kavostoragecore", "--volume-readahead-set", nullptr, nullptr, nullptr);
    event.announce_after(result);
    if (result != 0)
        failure.put_back();
    return result;
}
