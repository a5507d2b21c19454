/* What the subsystems of the library lend each other; not installed. */
#ifndef KAVONETSDK_NET_INT_H
#define KAVONETSDK_NET_INT_H

#include <dirent.h>

#include "frame/owner.h"

/* Restarts the interface's DHCP client, then writes the DHCP keys of its ifcfg file. Returns 0; -1, the file untouched;
 * -2 when the client runs but the file was not written. */
extern "C" int KAVOILnxSetDHCP(const char *szIf);

namespace kavonet {

/* The members of the Open vSwitch bonds, read from the kernel's list at the first question and kept for one call. */
class OvsBondMembers {
public:
    enum class State { READ, ABSENT, NO_MEMORY, NOT_OPENED };

    State read();
    bool hold(const char *name);

private:
    State read_file();

    StringList members_;
    State state_ = State::ABSENT;
    bool asked_ = false;
};

inline constexpr char OVS_BONDS_FILE[] = "/sys/class/net/kavo_ovs_bonds";

/* Whether an interface with these flags is a member of a kernel bond or an Open vSwitch bond. */
bool is_bond_member(const char *name, int flags, OvsBondMembers &ovs);

/* The kernel's folder of virtual interfaces, opened and read once for a whole list of interfaces. */
class VirtualDevices {
public:
    VirtualDevices();

    /* As KLIBNetOVSIfIsSlave's first test and KLIBNetBridgeIfIsSlave say, at less cost. */
    bool has_ovs_interface(const char *name) const;
    bool is_bridge_port(const char *name) const;

private:
    Owned<DIR, closedir> folder_;
    StringList ovs_interfaces_; /* the names behind their "ovs_" */
    bool listed_ = false;       /* whether that list is whole */
};

/* Whether Open vSwitch holds the port itself ("ovs_<port>" exists). */
bool has_ovs_interface(const char *name);

} // namespace kavonet

#endif
