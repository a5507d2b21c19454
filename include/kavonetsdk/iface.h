/* Interfaces: listing, configuration records, link state, hardware addresses, renaming. */
#ifndef KAVONETSDK_IFACE_H
#define KAVONETSDK_IFACE_H

#include <stddef.h>
#include <stdint.h>

#include "kavo/core.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* One live interface. What could not be queried is left zero. */
typedef struct {
    char szName[16];
    uint8_t rgMac[6];
    char szAddr[64]; /* primary IPv4 address as text, empty when there is none */
    int32_t nLink;   /* 2 carrier, 0 none */
    int32_t nFlags;  /* the kernel's flags (SIOCGIFFLAGS), sign-extended from 16 bits */
    char szMask[20]; /* IPv4 netmask as text */
} KAVONETIFENTRY;

/* One interface's IPv4 configuration. */
typedef struct {
    int32_t blStatic; /* boot protocol: 0 DHCP, 1 static */
    union {
        int32_t nLink;    /* interface records: 1 carrier */
        int32_t blOnBoot; /* bridge configuration records: ONBOOT=yes */
    };
    char szName[16];
    uint8_t rgMac[6];
    char szAddr[20]; /* the configured address, not necessarily the live one */
    char szMask[20];
} KAVONETINFO;

/* The Ethernet link of one interface. */
typedef struct {
    int32_t nSpeed;      /* Mbit/s, -1 unknown or link down */
    int32_t nDuplex;     /* 0 half, 1 full, -1 unknown */
    int32_t nMTU;        /* configured MTU, -1 unknown */
    uint32_t uSupported; /* the driver's link modes (the ethtool "supported" word) */
    int32_t nBestSpeed;  /* the fastest supported mode: Mbit/s, -1 none */
    int32_t nBestDuplex;
    char szBestMode[16]; /* its suffix, e.g. "baseT" */
} KAVOETHINFO;

/* One network topology of the appliance: 0 "unknown", 1 "client", 2 "bridge", 3 "router". */
typedef struct {
    uint32_t id;
    char szName[64];
    char szIfname[16];   /* the interface that carries it */
    int32_t rgNumber[2]; /* kept for callers; the library gives them no meaning */
} KAVOTOPOLOGYINFO;

/* What KLIBNetGetInterfaceInfo keeps: a kind, plus option bits. All kinds keep only interfaces that are up, are not
 * loopback and are neither an Open vSwitch port nor a bond member, and never names that contain "gbr" or "gwlan". */
enum {
    NET_IF_SEL_PHYSICAL = 1,     /* no bond or bridge masters, no VLAN interfaces, no point-to-point links */
    NET_IF_SEL_USABLE = 2,       /* no bridge members, no parents of VLAN interfaces, no point-to-point links */
    NET_IF_SEL_USABLE_PPP = 8,   /* as USABLE, with point-to-point links */
    NET_IF_OPT_HEARTBEAT = 0x4,  /* keep the heartbeat interface, which is left out while HA runs */
    NET_IF_OPT_HA_ADDRESS = 0x10 /* on an HA appliance: the pair's address and mask, only interfaces that have them */
};

/* Lists the interfaces of a selector (a kind of 1, 2, 8 or another non-zero number: up, no loopback, no point-to-point;
 * plus option bits). rgEntry receives at most max entries in natural name order; null only counts (at most max).
 * Of kinds 2 and 8, a VLAN's parent is taken out by moving the last entry into its place.
 * Returns the number kept, or -1: NET_ERR_BAD_PARAMETER (max below 0, kind 0), the platform's code when it cannot tell
 * whether the module 8021q is loaded, NET_ERR_OUT_OF_MEMORY, NET_ERR_OPEN_FAILED or NET_ERR_BAD_FORMAT (/proc/net/dev
 * cannot be opened or read), or no code when the interface table is empty or no socket is to be had.
 * NET_ERR_BAD_PARAMETER may also be left on success, when more VLAN parents were met than interfaces kept.
 * Takes no lock. */
int KLIBNetGetInterfaceInfo(KAVONETIFENTRY *rgEntry, int max, unsigned int selector);

/* The number of interfaces of such a selector, at most 256; results and codes as there. Nothing is taken out of a count:
 * of kinds 2 and 8 the parents of VLANs count too. */
int KAVONetEnumCard(unsigned int selector);

/* Which interfaces KLIBNetInterfaceEnum lists by their local LAN mark; every other kind, 0 included, lists both sorts. */
enum { NET_IF_ENUM_NOT_LOCAL_LAN = 1, NET_IF_ENUM_LOCAL_LAN = 2 };

/* Lists the interfaces that stand alone: up, no loopback, no bridge member, no Open vSwitch port, no bond member, and,
 * while HA runs, not the heartbeat interface. kind is one of the above, plus NET_IF_OPT_HA_ADDRESS for the HA pair's
 * address and mask (on an HA appliance; only interfaces that have them). rgEntry receives at most max entries in natural
 * name order; null only counts (at most max). Link 2 is the kernel's "running" flag, for Open vSwitch interfaces too.
 * KLIBNetEthEnum lists instead every interface that is up, whose name begins with "eth" and that is no VLAN interface.
 * Returns the number listed, or -1: NET_ERR_BAD_PARAMETER (max below 0), NET_ERR_OUT_OF_MEMORY, NET_ERR_OPEN_FAILED or
 * NET_ERR_BAD_FORMAT (/proc/net/dev cannot be opened or read), or no code when the interface table is empty or no
 * socket is to be had. Reads ifcfg-<if> for kinds 1 and 2. Takes no lock. */
int KLIBNetInterfaceEnum(KAVONETIFENTRY *rgEntry, int max, unsigned int kind);
int KLIBNetEthEnum(KAVONETIFENTRY *rgEntry, int max);

/* 1 when LOCAL_LAN is "yes" in the interface's ifcfg file, else 0, also when there is no such file. A bad name is -1
 * (NET_ERR_BAD_PARAMETER): compare with 1. */
int KLIBNetIFIsLocalLan(const char *szIf);

/* The topology's id: 0 unless "support_net_topology" is "yes" in /etc/kavoinfo.conf, the row is then left alone. Else that
 * of the name which "net_topology" holds there, in any case of letters; 0 when it is missing or none of the four.
 * A row (null allowed) must hold an id: 1 to 3 asks for that topology instead and is returned, any other for the stored
 * one. It receives the topology; where its interface carries a VLAN, the first VLAN interface on it stands in its place.
 * Reads /proc/net/vlan/config. Never fails. */
int KLIBNetTopologyGet(KAVOTOPOLOGYINFO *pRow);

/* Stores the row's name, and nothing else of it, as "net_topology" in /etc/kavoinfo.conf. Any name is taken but the empty
 * one. Returns 0 or -1: NET_ERR_BAD_PARAMETER, or the platform's code when the file cannot be written. */
int KLIBNETSetTopologyConfigs(const KAVOTOPOLOGYINFO *pRow);

/* Puts the names of "local_lan" in /etc.defaults/kavoinfo.conf (separated by blanks, 255 characters at most) into the list
 * in place of what it holds; a null address or list is allowed. The file is read at the process's first call only.
 * Returns their number, or -1: the key was missing or held 32 names or more (NET_ERR_NO_SPACE at the first call), and
 * the list is empty; or the list could not grow and holds the names before that. */
int KLIBNetGetLocalLanConfig(PKLIBSZLIST *ppList);

/* 1 when the interface is among the first 32 of the selector, else 0 (NET_ERR_NO_SUCH_DEVICE, NET_ERR_BAD_PARAMETER). */
int KAVONetIsDevTypeMatch(const char *szIf, unsigned int selector);

/* Describes one interface, up or down. Either record may be null. The configuration is read only when the interface is up
 * and is no bond member; it takes the network configuration lock for reading (waits at most 5 s).
 * Returns 1 up, 0 down, -1 on error: NET_ERR_BAD_PARAMETER, NET_ERR_SOCKET_FAILED, NET_ERR_IOCTL_FAILED (no such
 * interface), NET_ERR_LOCK_FAILED, or no code when address or mask are not configured. The Ex form puts the HA pair's address and mask into
 * both records while HA is active, and fails when there is none. */
int KAVONetIFGetInfo(const char *szIf, KAVONETIFENTRY *pEntry, KAVONETINFO *pNetInfo);
int KAVONetIFGetInfoEx(const char *szIf, KAVONETIFENTRY *pEntry, KAVONETINFO *pNetInfo);

/* Describes the usable interface (NET_IF_SEL_USABLE, of the first 32) at an index, or, with szAddr, the first one that
 * has that IPv4 address ("0.0.0.0": that has none). With szAddr the index chooses nothing, but must still be below the
 * number of interfaces: pass 0. Returns 1 filled, 0 no such interface, -1 on error: NET_ERR_BAD_PARAMETER (null record,
 * an index of 32 or more without an address), NET_ERR_LOCK_FAILED, NET_ERR_OUT_OF_MEMORY, or what
 * KLIBNetGetInterfaceInfo or KAVONetIFGetIPConfig fails with. Waits at most 5 s for the configuration lock. The Ex form
 * puts the HA pair's address and mask into the record, and fails without a code when there is none. */
int KAVONetGetCard1(unsigned int index, const char *szAddr, KAVONETINFO *pNetInfo);
int KAVONetGetCard1Ex(unsigned int index, const char *szAddr, KAVONETINFO *pNetInfo);

/* Reads boot protocol, configured address and mask into the record; its other fields are left alone. The source is the
 * DHCP client's /etc/dhclient/ipv4/dhcpcd-<if>.info or ifcfg-<if>; a DHCP interface without a lease has an empty address.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER, NET_ERR_LOCK_FAILED, or no code when a key is missing. Waits at most 5 s. */
int KAVONetIFGetIPConfig(const char *szIf, KAVONETINFO *pNetInfo);

/* 1 when the interface's BOOTPROTO is "static", else 0, also on failure: NET_ERR_BAD_PARAMETER (a bad name),
 * NET_ERR_LOCK_FAILED, or the platform's code when ifcfg-<if> cannot be read. Waits at most 5 s for the lock. */
int KAVONetIfIsStaticIP(const char *szIf);

/* The live IPv4 address and mask of an interface, in network byte order. Names are cut to 15 characters.
 * Returns 1 or 0; no error codes but NET_ERR_BAD_PARAMETER. Setting accepts that the address is already there. Its 0
 * may mean that the address is set and the mask was refused: the request for the mask carries the address family 0,
 * which a stock kernel refuses. */
int KLIBNetGetIfCfg(const char *szIf, uint32_t *pAddr, uint32_t *pMask);
int KLIBNetSetIfCfg(const char *szIf, const uint32_t *pAddr, const uint32_t *pMask);

/* Features that must not use an interface. */
enum { NET_IF_BLOCK_HA = 1, NET_IF_BLOCK_AHA = 2, NET_IF_BLOCK_VIRTUAL = 4, NET_IF_BLOCK_QUENTRA = 8 };

/* ORs the interface's block flags into *pFlags. Returns 0 or -1: NET_ERR_BAD_PARAMETER (a bad name, null), or the
 * platform's code when ifcfg-<if> cannot be read. */
int KAVONetGetIfBlock(const char *szIf, unsigned int *pFlags);

/* Sets (enable 1) or clears (0) the flags of the mask in ifcfg-<if>, and counts them there. Locks that file alone and
 * waits for it at most 30 s. Returns 0, or -1: NET_ERR_BAD_PARAMETER (a bad name), or the platform's code; the flags
 * before the failed one are then set. */
int KAVONetSetIfBlock(const char *szIf, unsigned int flagMask, int enable);

/* Describes the Ethernet link. Returns 0 or -1: NET_ERR_BAD_PARAMETER, NET_ERR_SOCKET_FAILED, or no code when the
 * driver does not answer or the MTU is unknown (the record then holds what was found). Of an Open vSwitch bond only the
 * duplex of the first member that tells its link is known; it is unknown, and no failure, when none does. */
int KAVONetGetEthInfo(KAVOETHINFO *pInfo, const char *szIf);

/* The number of built-in LAN ports, or -1 when the kernel's /proc/sys/kernel/kavo_internal_netif_num cannot be opened.
 * A number there that is not positive or fits no int counts as none: then it is "maxlanport" in
 * /etc.defaults/kavoinfo.conf as it stands (0 when it is no number), and 1 without that key. */
int KAVONetInternalLanNumGet(void);

/* 1 when the interface is administratively up, else 0, also for a bad name (NET_ERR_BAD_PARAMETER). */
int KAVONetIsIFUp(const char *szIf);

/* 1 carrier, 0 none, -1 on error: NET_ERR_BAD_PARAMETER (a bad name), or no code when the kernel cannot be asked. Of an
 * Open vSwitch bond: whether any member has one. */
int KAVONetIfIsLink(const char *szIf);

/* Changes the interface's flags: a value >= 0 is added to them, a negative value -k takes the bits k away. Up and down
 * are the bit 1. ReInit takes an interface down, if it is up, and brings it up. Names are cut to 15 characters.
 * Returns 1 or 0; no error codes but NET_ERR_BAD_PARAMETER. */
int KLIBNetISetIfFlags(const char *szIf, int value);
int KLIBNetIfUp(const char *szIf);
int KLIBNetIfDown(const char *szIf);
int KLIBNetReInitIf(const char *szIf);

/* The hardware address as "%02x:%02x:%02x:%02x:%02x:%02x" (18 bytes; cut to cbMac) of port N (the interface eth<N>), or
 * of an interface: a VLAN answers with its parent's, a bond with its first member's, an Open vSwitch interface with its
 * port's. While HA runs it is the pair's, unless blLocalOnly.
 * Returns 0, or a reason: 1 bad argument (NET_ERR_BAD_PARAMETER) or local read failed, 2 port read failed, 3 HA has none,
 * 4 a two-controller appliance without HA. */
int KLIBNetGetMacAddr(int port, char *szMac, size_t cbMac, int blLocalOnly);
int KLIBNetGetMacAddrByInterface(const char *szIf, char *szMac, size_t cbMac, int blLocalOnly);

/* Renames an interface, which must be down; the new name must be free and without '%', which the kernel takes for a
 * pattern. Returns 0 or -1: NET_ERR_BAD_PARAMETER, NET_ERR_OUT_OF_MEMORY, or no code. */
int KAVONetRenameEth(const char *szOld, const char *szNew);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
