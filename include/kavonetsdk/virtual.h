/* Bonds, VLANs, bridges and Open vSwitch: what an interface is, and what a bond is made of. */
#ifndef KAVONETSDK_VIRTUAL_H
#define KAVONETSDK_VIRTUAL_H

#include <stddef.h>
#include <stdint.h>

#include "kavo/core.h"
#include "kavonetsdk/iface.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* How a bond shares its load: 0 no bond (or a mode outside this table), 1 balance-alb, 2 802.3ad, 3 balance-xor,
 * 4 active-backup, 5 balance-rr, and of Open vSwitch 6 ovs-active-backup, 7 balance-slb, 8 balance-tcp. */
typedef int32_t KAVOLINKAGGRMODE;

/* One bond. Members are sorted and distinct; slots beyond nSlave are zero bytes. */
typedef struct {
    char szIfname[16];
    int32_t mode;        /* KAVOLINKAGGRMODE */
    int32_t blNoPartner; /* 802.3ad: 1 when no partner answered */
    int32_t nSlave;
    char szSlave[32][16];
} KAVOLINKAGGROPT;

/* One VLAN interface. */
typedef struct {
    char szIfname[16];
    char szRowDev[16]; /* the device underneath */
    int32_t vlanId;    /* 1..4094 */
} KLIBNETVLANINFO;

/* ---- Bonds ------------------------------------------------------------------------------------------------------- */

/* Reads a bond: of the kernel's driver, or of Open vSwitch (from its ifcfg file). A name that is no bond has mode 0.
 * Returns 0; -1 for a kernel bond (NET_ERR_BAD_PARAMETER, NET_ERR_OUT_OF_MEMORY, NET_ERR_OPEN_FAILED,
 * NET_ERR_READ_FAILED); 1 when an Open vSwitch bond cannot be read. NET_ERR_NO_SUCH_DEVICE may be left on success. */
int KAVONetLinkAggrGet(const char *szIf, KAVOLINKAGGROPT *pOpt);

/* Appends the members of a kernel bond to a list. Returns their number or -1: NET_ERR_BAD_PARAMETER,
 * NET_ERR_OPEN_FAILED (no bond of that name), NET_ERR_READ_FAILED. */
int KAVONetLinkAggrPhyGet(const char *szIf, PKLIBSZLIST *ppList);

/* Adds a member in its place. Returns 0 or -1: NET_ERR_BAD_PARAMETER, NET_ERR_LIST_FULL (32 members),
 * NET_ERR_ALREADY_EXISTS. NET_ERR_NO_SUCH_DEVICE is left on success: judge by the result. */
int KAVONetLinkAggrOptSlsaveAdd(KAVOLINKAGGROPT *pOpt, const char *szSlave);

/* The mode's name, never null ("unknown"); the mode of a name or of a kernel line that begins with one, 0 when unknown. */
const char *KAVONetLinkAggrModeToString(KAVOLINKAGGRMODE mode);
KAVOLINKAGGRMODE KAVONetLinkAggrStringToMode(const char *sz);

/* 1 when the interface is a member of a kernel bond or of an Open vSwitch bond, else 0. */
int KAVONetIfIsBondingPassive(const char *szIf);

/* Appends to a list the kernel's bonds that have members, in the kernel's order. Returns how many bonds the kernel knows,
 * those without members included; 0 without a bonding driver; -1: NET_ERR_BAD_PARAMETER, NET_ERR_OUT_OF_MEMORY (the list
 * may hold the names before that), NET_ERR_READ_FAILED. */
int KAVONetLinkAggrEnum(PKLIBSZLIST *ppList);

/* 1 when the kernel lists its bonds, be there any or not; 0 when it has no list or an empty file; -1: NET_ERR_READ_FAILED. */
int KAVONetLinkAggrExist(void);

/*
 * Creates, changes or removes the kernel bond that the record names. mode 0 removes it: nSlave and szSlave are then
 * replaced by what the kernel has, so that the caller sees which ports were freed. A record that equals what
 * KAVONetLinkAggrGet gives in every byte changes nothing; blNoPartner counts as a change.
 *
 * The files ifcfg-<bond> and ifcfg-<member> in /etc/sysconfig/network-scripts are rewritten between "/etc/rc.network stop"
 * and "/etc/rc.network start" (both with the bond and its members), then "/usr/kavo/sbin/kavostoragecore
 * --volume-readahead-set" is run. A new bond takes over the first member's address settings and its lease
 * (/tmp/dhcpv4.leases.<if>; what stands there under the bond's name and is no plain file of the caller's alone goes, and a
 * lease that is none is not taken over); a removed one gives them back to its first member. Creation and removal are announced by "net/ifname_change" in both
 * phases, a change is not.
 *
 * Returns 0; -1 when the files could not be written: a new bond's members then have their files back from ifcfg-<if>.saved
 * and the bond has none. The scripts have run all the same; what they and the subscribers say does not count. Codes:
 * NET_ERR_BAD_PARAMETER (a null record, no name or a bad one, a mode outside 0 to 8, a count above 32: nothing has run
 * then; fewer than two members, an empty member name, a mode of Open vSwitch: the writer refuses these, when the old
 * bond is stopped and, on a change, removed), NET_ERR_OUT_OF_MEMORY, NET_ERR_EXEC_FAILED, those of KAVONetLinkAggrGet and the
 * platform's for a file that cannot be written; none when the event cannot be opened (logged, nothing has run).
 * Takes no lock: one caller at a time. Blocks while scripts and subscribers run.
 */
int KAVONetLinkAggrSet(KAVOLINKAGGROPT *pOpt);

/* Writes ifcfg-<port> so that the port is a member of szMaster (DEVICE, USERCTL=no, MASTER, SLAVE=yes) or, when blEnslave
 * is 0, stands for itself: without USERCTL, BONDING_OPTS, MASTER and SLAVE, with the method that
 * KAVONetLinkAggrConfUpdateBootProto gives; szMaster may then be null. The file is first copied to ifcfg-<port>.saved by
 * /bin/cp; a missing one is made. Nothing in the kernel changes.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER, NET_ERR_OUT_OF_MEMORY, or the platform's code when the file cannot be written. */
int KAVONetLinkAggrConfSetSlave(const char *szPort, int blEnslave, const char *szMaster);

/* Removes a bond's file and frees the ports whose files name it as their MASTER, whatever the record says. The bond's file
 * goes to its primary port: the record's first member, or with nSlave 0 the first port found. Another port that is
 * configured with the bond's address loses it. The copies ifcfg-<port>.saved stay. Nothing in the kernel changes.
 * Returns 0; -1 and the ports have their files back from those copies: NET_ERR_BAD_PARAMETER (a bad name in the record, or in
 * the DEVICE of a port), NET_ERR_OUT_OF_MEMORY, NET_ERR_OPEN_FAILED (no files at all), NET_ERR_EXEC_FAILED (/bin/cp), or no
 * code of its own. */
int KAVONetLinkAggrConfDel(const KAVOLINKAGGROPT *pOpt);

/* Gives an ifcfg file that is about to be rewritten a method that gets an address: nothing where BOOTPROTO is "static" or
 * "dhcp" in whatever case; "dhcp" into the hash where it is missing or cannot be read; "dhcp" with empty IPADDR and NETMASK
 * where it is anything else. The file is only read. Returns 0 or -1: NET_ERR_BAD_PARAMETER, or the platform's code when the
 * hash could not take a key. */
int KAVONetLinkAggrConfUpdateBootProto(const char *szPath, PKLIBSZHASH *ppSet);

/* Describes a VLAN interface. Returns 1, 0 when it is none, -1: NET_ERR_BAD_PARAMETER, NET_ERR_SOCKET_FAILED. */
int KLIBNetVlanGet(const char *szIf, KLIBNETVLANINFO *p);

/* Lists the VLAN interfaces from /proc/net/vlan/config, in the kernel's order. *ppArray receives *pCount records, which
 * the caller frees with free(); null and 0 when there are none, when the kernel has no VLAN support and on failure.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER, NET_ERR_OUT_OF_MEMORY, NET_ERR_BAD_FORMAT (a line of another form), or the
 * platform's code when the list cannot be read. */
int KLIBNetVlanEnum(KLIBNETVLANINFO **ppArray, int32_t *pCount);

/* 1 when the interface is a bridge; 1 when it is a bridge's port; else 0. A bad name is -1 (NET_ERR_BAD_PARAMETER), as for
 * the two predicates below: compare with 1. */
int KLIBNetBridgeIfIsMaster(const char *szIf);
int KLIBNetBridgeIfIsSlave(const char *szIf);

/* 2 for an Open vSwitch bond, 1 for another Open vSwitch interface, 0 otherwise. */
int KLIBNetOVSIfIsMaster(const char *szIf);

/* 1 when the port is attached to Open vSwitch or is a member of one of its bonds, else 0. */
int KLIBNetOVSIfIsSlave(const char *szIf);

/* The port behind an Open vSwitch interface: "ovs_eth0" gives "eth0". Returns 0 or -1: NET_ERR_BAD_PARAMETER, also when
 * the name is of another form (the cbPort bytes of the buffer are zero then) or the port's name does not fit (the buffer
 * is left alone). */
int KLIBNetOVSGetOriginalIf(const char *szIf, char *szPort, size_t cbPort);

/* ---- Bridges ----------------------------------------------------------------------------------------------------- */

/* What an interface is to a bridge; 0 when that is not determined. */
enum {
    NET_BRIDGE_NONE = 1,      /* outside any bridge */
    NET_BRIDGE_MASTER = 2,    /* a bridge */
    NET_BRIDGE_LOCAL_LAN = 3, /* a bridge that serves the local LAN */
    NET_BRIDGE_PORT = 4       /* a bridge's port */
};

/* The bridge role of one interface. */
typedef struct {
    int32_t type; /* one of the above, or 0 */
    char szIfname[16];
    char szPeer[16]; /* a bridge: its primary port (PRIMARY); a port: its bridge (BRIDGE); else empty */
} KLIBNETBRIDGEINFO;

/* Appends the ports of a bridge to a list, at most 64, sorted. Returns their number or -1: NET_ERR_BAD_PARAMETER (and a
 * log line), no code when the interface is no bridge, or the platform's code when the list could not be made. */
int KLIBNetBridgeSlaveEnum(const char *szBridge, PKLIBSZLIST *ppList);

/* Counts the bridges of a kind, NET_BRIDGE_MASTER or NET_BRIDGE_LOCAL_LAN (none of any other), among the first 256
 * interfaces, up or down. Names that contain "gbr" never count. Their names are appended to the list, if there is one (a
 * null address or list is allowed). Returns the number or -1: NET_ERR_OUT_OF_MEMORY (the list may hold the names before
 * that), NET_ERR_OPEN_FAILED, NET_ERR_BAD_FORMAT. Reads /proc/net/dev and the ifcfg files of the bridges. */
int KLIBNetEnumBridge(PKLIBSZLIST *ppList, int32_t kind);

/* The role that an interface has in the kernel: 1 to 4, or 0 when it is down (the record, if any, is then left alone) and
 * for a bad name (NET_ERR_BAD_PARAMETER). Whether a bridge serves the local LAN, and the record's peer, stand in
 * ifcfg-<if>; a peer that is missing there is logged and empty. */
int KLIBNETGetBridgeInfo(const char *szIf, KLIBNETBRIDGEINFO *p);

/* The role that topology 1 (client), 2 (bridge) or 3 (router) gives an interface; the record, if any, receives it with its
 * peer. 0 when it gives none or there is no such topology, -1 for a bad name (NET_ERR_BAD_PARAMETER); the record is then
 * left alone. Reads nothing. */
int KLIBNETGetBridgeInfoByTopology(const char *szIf, KLIBNETBRIDGEINFO *p, int32_t topology);

/* Reads what ifcfg-<if> says; either record may be null, but not both. Of a bridge *p holds role 2 or 3 and its primary
 * port. Of any other interface the roles are exchanged: 1 with the bridge's name where BRIDGE is set, 4 with an empty peer
 * where it is not. *pIp receives name, blOnBoot (ONBOOT=yes), blStatic (BOOTPROTO=static) and, when static, address and
 * mask; the rest is zero. A value that is missing is logged and left empty.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER, or no code when both records are null or the file does not exist. Takes no lock. */
int KAVONetGetBridgeConfig(const char *szIf, KAVONETINFO *pIp, KLIBNETBRIDGEINFO *p);

/* Writes DEVICE, TYPE, PRIMARY, BRIDGE and LOCAL_LAN of ifcfg-<p->szIfname> as the role 1 to 4 asks, and with pIp (null
 * allowed) ONBOOT from blOnBoot, BOOTPROTO from blStatic, IPADDR and NETMASK. Other keys stay; a missing file is made. The
 * file that was there is copied to ifcfg-<if>.saved first, by /bin/cp. Nothing in the kernel changes.
 * Returns 0 or -1 and the file is as it was: NET_ERR_BAD_PARAMETER (a bad name of the interface or its peer),
 * NET_ERR_OUT_OF_MEMORY, no code for a null p and any other role (both logged), or the platform's when the file cannot be
 * written. */
int KAVONetSetBridgeConfig(const KAVONETINFO *pIp, const KLIBNETBRIDGEINFO *p);

/* Makes the port ifcfg-<pIp->szName> a plain interface: ONBOOT=yes, BOOTPROTO from blStatic, IPADDR and NETMASK, without
 * BRIDGE and TYPE. Copies, results and codes as for KAVONetSetBridgeConfig. */
int KAVONetDisableBridgeSlave(const KAVONETINFO *pIp);

/* 1 when the role that KAVONetGetBridgeConfig reads is the given one, else 0, also on failure. */
int KAVONetIsIfBridgeType(const char *szIf, int32_t role);

/* ---- VLANs ------------------------------------------------------------------------------------------------------- */

/*
 * Makes the VLAN "<device>.<id>" (cut to 15 characters) on a device that carries none, and moves the device's addresses to
 * it. Used of pInfo: blStatic, and when it is not 0 szAddr and szMask; otherwise the VLAN is put on DHCP.
 *
 * Turns PPPoE off on the device, copies its MTU setting, writes ifcfg-<vlan> and rewrites ifcfg-<device>
 * ("BOOTPROTO=none", "IPV6INIT=off"), both whole or not at all, between "/etc/rc.network stop <device>" and "... start <device>
 * <vlan>"; tells /usr/kavo/bin/kavofirewall and /usr/kavo/bin/tctool the new name after 2 s of waiting. Sends
 * "net/ifname_change" in phase 4 before and in phase 5, with the result, after the change. Takes no lock: one caller at a
 * time. It blocks as long as script, tools and subscribers run, and 2 s more.
 *
 * Returns 0; -1: NET_ERR_BAD_PARAMETER (also a device that is a VLAN, or whose name of 15 characters leaves no room),
 * NET_ERR_NO_SUCH_DEVICE, NET_ERR_ALREADY_EXISTS (this VLAN, or the device carries another), NET_ERR_OPEN_FAILED,
 * NET_ERR_WRITE_FAILED, NET_ERR_BAD_FORMAT, or no code of its own when the event, PPPoE, the MTU setting, a rename, a
 * change of mode or a tool failed. After a failed tool the new files stay; failures of the script are only logged.
 */
int KLIBNetVlanCreate(const char *szRowDev, int32_t id, const KAVONETINFO *pInfo);

/* Takes a VLAN away and gives its addresses back to its device: the reverse of KLIBNetVlanCreate, with the same event,
 * script, tools and waiting; its MTU setting and its ifcfg file go. Returns 0; -1: NET_ERR_BAD_PARAMETER,
 * NET_ERR_SOCKET_FAILED, NET_ERR_OPEN_FAILED, NET_ERR_WRITE_FAILED, or no code of its own, as when it is no VLAN. */
int KLIBNetVlanRemove(const char *szVlan);

/* KLIBNetVlanGet for the VLAN "<device>.<id>", the name cut to 15 characters. */
int KLIBNetVlanGetByRowDev(const char *szRowDev, int32_t id, KLIBNETVLANINFO *p);

/* 1 when the kernel's VLAN support is loaded (/proc/net/vlan/config exists), else 0. */
int KLIBNetVlanExist(void);

/* 0 for an id from 1 to 4094, else -1 without a code. */
int KLIBNetVlanValidId(int32_t id);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
