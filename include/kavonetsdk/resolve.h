/* Name resolution and routing: DNS servers, the host name, the default gateway, subnet routes. */
#ifndef KAVONETSDK_RESOLVE_H
#define KAVONETSDK_RESOLVE_H

#include "kavo/core.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- DNS ---- */

/*
 * The servers in use stand in /etc/resolv.conf, one line "nameserver", a tab and the address each. In mode "static" they
 * are the administrator's (/etc/resolv.conf.static, written the same way), in mode "auto", which a missing mode means
 * too, those that the appliance's address services leave in /etc/iproute2/config/resolv4.conf and, behind them,
 * resolv6.conf. The line of /etc/resolv.conf.option that begins with "domain" and a tab is added as it is. The mode is
 * "dns_mode" in /etc/kavoinfo.conf.
 *
 * Each file is written beside its target, synced and put in its place whole: readers see the old file or the new one, and a
 * failure leaves the old one and no temporary file. Subscribers of the events run within the call (at most 30 s each);
 * an event that cannot be delivered, or a service that cannot be reloaded, fails none of these functions.
 */

/* Makes the list (at least one IPv4 or IPv6 address) the administrator's servers and the mode "static", then does as
 * KAVONetDNSUpdate. The file's mode is 0600. "net/dns_config_change" is sent in phase 4 before anything is written and in
 * phase 5 after all is done; a failure in between leaves the first without the second, and after the list is in place it
 * stays there.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER (no list, an empty one, an item that is no address: nothing is sent),
 * NET_ERR_OPEN_FAILED, NET_ERR_WRITE_FAILED, NET_ERR_RENAME_FAILED, or what KAVONetDNSModeSet leaves. */
int KAVONetDNSListSet(const KLIBSZLIST *pServers);

/* KAVONetDNSListSet with one server. NET_ERR_BAD_PARAMETER: null, empty or no address. NET_ERR_OUT_OF_MEMORY. */
int KAVONetDNSSet(const char *szServer);

/* Stores the mode ("static" or "auto") and does as KAVONetDNSUpdate. Returns 0 or -1: NET_ERR_BAD_PARAMETER, the
 * platform's record when the mode cannot be stored, or what KAVONetDNSUpdate leaves; the mode is then stored already. */
int KAVONetDNSModeSet(const char *szMode);

/* Writes /etc/resolv.conf from the sources of the mode, then reloads the units ddnsd and kavorelayd if they are active (a
 * reload waits for its end, at most 100 s). Sources without any line leave the file as it is and reload nothing. A line
 * of a source that names no server repeats the server before it. Holds the network configuration lock for writing (waits
 * for it at most 5 s), events and reloads included, and gives a hold of it back on every path, also when it did not get
 * one: a caller that holds the lock itself counts on one unlock.
 * Returns 0 or -1: NET_ERR_OUT_OF_MEMORY, NET_ERR_LOCK_FAILED, the platform's record when a source cannot be read, or
 * what KAVONetDNSFileSet leaves. */
int KAVONetDNSUpdate(void);

/* Writes the servers, then the option lines (null or empty: none), into /etc/resolv.conf, mode 0644. "net/dns_change" is
 * sent in phase 4 before the file is put in place and in phase 5 after it. Takes no lock: callers keep others away.
 * Returns 0 or -1: no code for a null or empty server list, NET_ERR_BAD_PARAMETER for a text that holds a newline or is
 * missing, NET_ERR_OPEN_FAILED, NET_ERR_WRITE_FAILED, NET_ERR_RENAME_FAILED. */
int KAVONetDNSFileSet(const KLIBSZLIST *pServers, const KLIBSZLIST *pOptions);

/* Appends the servers of /etc/resolv.conf, or of the administrator's list, to the caller's list, which may move: *ppList
 * is updated. A server is the text between the first and the second blank, tab or newline of a line that begins with
 * "nameserver": behind two blanks it is empty. Lines are cut to 511 bytes. A missing file has no servers.
 * The first takes the network configuration lock for reading (waits at most 5 s), the second none.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER (no list), NET_ERR_LOCK_FAILED, or the platform's record when the list could
 * not grow; it then holds the servers up to there. */
int KAVONetDNSListGet(PKLIBSZLIST *ppList);
int KAVONetStaticDNSListGet(PKLIBSZLIST *ppList);

/* The first server of /etc/resolv.conf, cut to cb bytes with its NUL (46 hold every address); empty when there is none.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER (null buffer, cb below 1), NET_ERR_OUT_OF_MEMORY, or what KAVONetDNSListGet
 * leaves. */
int KAVONetDNSGet(char *sz, int cb);

/* ---- Host name ---- */

/* Sets the kernel's host name, writes /etc/hostname (in place) and /etc/hosts (whole; every other entry of it is lost),
 * reloads the unit syslog-ng (waits at most 100 s) and sends "net/hostname_change" in phase 5. Of the name only its
 * length is checked, 1 to 63 characters, and that it holds no newline, which no line can hold. Holds the network
 * configuration lock for writing throughout (waits for it at most 5 s).
 * Returns 0 or -1, with what was done before the failure left as it is: NET_ERR_BAD_PARAMETER (null),
 * NET_ERR_BAD_HOSTNAME, NET_ERR_LOCK_FAILED, NET_ERR_SYSTEM (the kernel refused), NET_ERR_OPEN_FAILED,
 * NET_ERR_WRITE_FAILED, NET_ERR_RENAME_FAILED (/etc/hosts is then the old one), or the platform's record when no temporary
 * name is to be had, the unit cannot be reloaded or the event fails. */
int KAVOLnxSetHostname(const char *szName);

/* The first label of the kernel's host name, into a buffer of at least 64 bytes. Takes the network configuration lock for
 * reading (waits at most 5 s).
 * Returns 1, 0 with an empty buffer when there is no name, or -1 with the buffer as it was: NET_ERR_BAD_PARAMETER,
 * NET_ERR_LOCK_FAILED, NET_ERR_SYSTEM (the kernel does not tell it, or it has more than 63 characters). */
int KAVOLnxGetHostname(char *szName);

/* ---- Gateway and routes ---- */

/* The gateway ("192.0.2.1") and the interface of the kernel's IPv4 default route, the first in /proc/net/route, cut
 * to cb bytes (16 hold either). Without a default route the buffer is left alone: clear it first. Returns 0, or -1:
 * NET_ERR_BAD_PARAMETER (null, cb below 1), NET_ERR_READ_FAILED, or no code when the table cannot be opened or has an
 * unknown form (both are logged). */
int KAVONetDefaultGatewayGet(char *sz, int cb);
int KAVONetDefaultGatewayInterfaceGet(char *sz, int cb);

/* Replaces the kernel's IPv4 default route, through /sbin/route; null or the empty text only deletes it. The old
 * route goes first, so a failure leaves none. The gateway is one word (an address or a host name); one that begins
 * with "-" or holds white space or a control character is NET_ERR_BAD_PARAMETER and touches nothing. Blocks until the
 * commands end. Returns 0 or -1: NET_ERR_BAD_PARAMETER, NET_ERR_EXEC_FAILED. */
int KAVONetDefaultGatewaySet(const char *szGateway);

/* Reads the configured default gateway, the key GATEWAY of /etc/sysconfig/network, cut to cb bytes; the empty text
 * when there is none. Returns 0, or -1: NET_ERR_BAD_PARAMETER (null, cb below 1), or the platform's code when the
 * file is missing or cannot be read (the buffer is then empty). */
int KAVONetDefaultGatewayGetConf(char *sz, int cb);

/* Configures the default gateway in that file, which must exist; null or the empty text removes it. The kernel is
 * left alone. What is refused is as for KAVONetDefaultGatewaySet. Returns 0 or -1 with NET_ERR_BAD_PARAMETER or the
 * platform's code; the file is then as it was. */
int KAVONetDefaultGatewaySetConf(const char *szGateway);

/* What becomes of a subnet route. */
enum { NET_ROUTE_ADD = 0, NET_ROUTE_CLEAR = 1 };

/* Adds (replaces) or clears the route that binds an interface's configured subnet to it, with its own address as the
 * source. The configuration is the lease of a DHCP interface, else ifcfg-<if>; the route of an "eth" port of Open
 * vSwitch is that of "ovs_<port>". Does nothing, with result 0, for an interface that is not among the first 32 of
 * NET_IF_SEL_USABLE, for any other action, and when adding for an interface that is on DHCP or a member of a bridge
 * or bond. Takes the network configuration lock for reading (waits at most 5 s) and blocks until the commands end.
 * Returns 0, also when the commands fail (that is logged), or -1: NET_ERR_BAD_PARAMETER, or no code when the lease,
 * address or mask is missing. */
int NetRoutetableHandler(unsigned int action, const char *szIf);

/* The same for an IPv4 address and mask as text and a device as they are. Runs "/sbin/ip route" and, where that
 * fails, "/sbin/route". Adding deletes the old route first. Takes no lock; blocks until the commands end. Returns 0,
 * also when the commands fail (that is logged), or -1: NET_ERR_BAD_PARAMETER (null, or a device that is a bad name or
 * begins with "-"), or no code for another action and for texts that inet_pton refuses. */
int NetRoutetableEdit(unsigned int action, const char *szAddr, const char *szMask, const char *szDev);

/* Clears the subnet routes of all interfaces without carrier, unless there is just one interface. Ends at the first
 * that fails. Holds the network configuration lock for reading (waits for it at most 5 s). Returns 0 or -1:
 * NET_ERR_LOCK_FAILED, NET_ERR_OUT_OF_MEMORY, the lister's code, or none. */
int NetRoutetableCheck(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
