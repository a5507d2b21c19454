/* IPv6: an interface's mode and static address, and the kernel's addresses. */
#ifndef KAVONETSDK_IPV6_H
#define KAVONETSDK_IPV6_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* One IPv6 address of an interface. */
typedef struct {
    char szAddr[46]; /* canonical text */
    int32_t prefix;
    uint32_t scope; /* the kernel's scope bits: 0x20 link-local */
    uint32_t flags; /* the kernel's address flags: 0x08 duplicate found, 0x40 tentative */
} KAVOV6IPINFO;

/* How an interface gets its IPv6 addresses ("IPV6INIT" in ifcfg-<if>). */
typedef enum {
    KAVO_IPV6_AUTO,     /* "auto": from router advertisements */
    KAVO_IPV6_OFF,      /* "off" */
    KAVO_IPV6_DHCP,     /* "dhcp": from a DHCPv6 server */
    KAVO_IPV6_STATIC,   /* "static": the one that is configured */
    KAVO_IPV6_AUTO_DHCP /* "auto_dhcp": from router advertisements, name servers from a DHCPv6 server */
} KAVOIPV6INITTYPE;

#ifdef __cplusplus
typedef enum : int { KAVO_IPV6_IP_ADD, KAVO_IPV6_IP_DEL } KAVOIPV6IPCMD; /* as in C, where it may hold any number */
#else
typedef enum { KAVO_IPV6_IP_ADD, KAVO_IPV6_IP_DEL } KAVOIPV6IPCMD;
#endif

/* Reads a usable interface's (NET_IF_SEL_USABLE) IPv6 configuration from ifcfg-<if>: the mode (KAVOIPV6INITTYPE), the
 * static address and the default router as they stand there, the prefix length. Both texts have room for 46 bytes at
 * least, the NUL included; szGateway may be null. Keys that are absent give mode 0, empty texts and prefix -1.
 * Returns 1; 0 when there is no "IPV6INIT", or, all outputs left alone, when the interface is not usable (its code then
 * remains: NET_ERR_NO_SUCH_DEVICE, or what KLIBNetGetInterfaceInfo failed with); -1: NET_ERR_BAD_PARAMETER, or the
 * platform's code when the file cannot be read. An unknown mode, or a prefix that is no number, is only logged; what
 * follows it (mode, address, prefix, router) is then not read. Takes no lock. */
int KAVONetIPv6ConfGet(const char *szIf, int *pMode, char *szAddr, int cbAddr, int *pPrefix, char *szGateway,
                       int cbGateway);

/* Puts a usable interface into a mode (KAVOIPV6INITTYPE), in the kernel and in ifcfg-<if>, which must exist. szAddr,
 * prefix and szGateway (null or empty: none) are those of mode "static"; the other modes do not look at them.
 *
 *   auto       IPv6 on, DHCPv6 client stopped, former static address off, routers listened to and one asked
 *   off        client stopped, IPv6 off
 *   dhcp       IPv6 on, client started, duplicates taken off, former static address off, routers listened to
 *   static     every address off, routers not listened to, the address and the default route set
 *   auto_dhcp  IPv6 on, information client started, former static address off, routers listened to
 *
 * Returns 0; -1: NET_ERR_BAD_PARAMETER, NET_ERR_NO_SUCH_DEVICE (not usable), NET_ERR_BAD_ADDRESS (address or router),
 * NET_ERR_OPEN_FAILED or NET_ERR_NO_SPACE (the kernel's addresses cannot be read), what KLIBNetGetInterfaceInfo failed
 * with, the platform's code (a key or a unit), or no code; what fails while a failed change is cleaned up is only logged;
 * 2 the static address is link-local, which is refused; 3 the router is neither link-local nor in the address's subnet
 * (the address is set all the same); "dhcp" and "static" also the number of addresses that another host had already and
 * that were taken off again (of one static address: 1). What was done before a failure stays, except that "dhcp",
 * "static" and "auto_dhcp" turn IPv6 off again where it was configured off.
 * Writes IPV6INIT, IPV6ADDR, IPV6PREFIXLENG, IPV6_DEFAULTGW and IPV6_ACCEPT_RA one by one, and
 * /proc/sys/net/ipv6/conf/<if>/{disable_ipv6,accept_ra}; runs /sbin/ip and /usr/sbin/rdisc6; starts and stops
 * dhclient6@<if>-client.service and dhclient6@<if>-info.service. Sends the address event of KAVONetSetIP.
 * Blocks for at most 5 s while IPv6 is turned on, and "dhcp" and "static" for another 5 s, besides the commands and units.
 * Takes no lock: callers let changes of one interface take turns. */
int KAVONetIPv6ConfSet(int mode, const char *szIf, const char *szAddr, int prefix, const char *szGateway);

/* At system start: lets each interface listen to routers or not, as IPV6_ACCEPT_RA in its ifcfg file says, else its mode
 * ("static" does not). Loopback, members of bonds and bridges, Open vSwitch ports and interfaces without a file are left
 * alone; of the others the first 32 in natural name order count. Stores IPV6_ACCEPT_RA.
 * Returns 0, or -1 at the first that cannot be set: NET_ERR_OUT_OF_MEMORY, the platform's code, or no code. */
int KAVONetIpv6Init(void);

/* Adds or deletes an address (prefix 0 to 128) with KAVONetSetIP, or, with a gateway (not null, not empty), the default
 * route via it with /sbin/ip; the address is then not used but must not be null.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER, no code for an unknown command, or what KAVONetSetIP leaves. With a gateway it
 * returns what /sbin/ip ended with, or -1 with the platform's code when it could not be run. */
int KAVONetIPv6IPAction(KAVOIPV6IPCMD cmd, const char *szDevice, const char *szAddr, unsigned int prefix,
                        const char *szGateway);

/* 1 when the first `prefix` bits of two addresses are the same, else 0, also for null and for a prefix of 129 or more;
 * -1 when a text is no IPv6 address. Sets no code. */
int KAVONetIPv6IsSameSubnet(const char *szA, const char *szB, unsigned int prefix);

/* Takes the addresses off an interface that the kernel found on another host. At most cOut of them (0 allowed) are put
 * into rgOut. Returns how many were taken off, which may exceed cOut, or -1: NET_ERR_BAD_PARAMETER, NET_ERR_NO_SPACE,
 * NET_ERR_OPEN_FAILED, or what KAVONetIPv6IPAction leaves when one could not be taken off. Sends no event. */
int KAVONetIPv6RemoveDADFailedIP(const char *szIf, KAVOV6IPINFO *rgOut, int cOut);

/* Reads the interface's IPv6 addresses from /proc/net/if_inet6 into at most c records. Returns how many the interface
 * has, which may exceed c, or -1: NET_ERR_BAD_PARAMETER, NET_ERR_OPEN_FAILED. */
int KAVOLnxV6IPGet(const char *szIf, KAVOV6IPINFO *rg, int c);

/* Turns IPv6 off (1) or on (0) on a usable interface (NET_IF_SEL_USABLE). Turning it on waits for the link-local address
 * to settle, at most 5 s, and succeeds even if it did not. Writes /proc/sys/net/ipv6/conf/<if>/disable_ipv6.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER (a bad name), NET_ERR_NO_SUCH_DEVICE (not usable), what KLIBNetGetInterfaceInfo
 * failed with, or no code when the kernel does not take it. */
int KAVOLnxIPv6ProcAction(const char *szIf, int blDisable);

/* Takes every IPv6 address off an interface by turning IPv6 off and, unless it is configured off (IPV6INIT), on again.
 * Blocks for at most 5 s. Returns 0 or -1: NET_ERR_BAD_PARAMETER (a bad name), the platform's code when ifcfg-<if> is
 * missing or cannot be read (nothing is changed then), or the codes of KAVOLnxIPv6ProcAction, NET_ERR_NO_SUCH_DEVICE
 * above all: the interface must be usable. */
int KAVOLnxIPv6FlushAddr(const char *szIf);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
