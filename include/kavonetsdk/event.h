/*
 * Network events: how a change is announced to the rest of the appliance. Each function opens the event, attaches its
 * arguments, fires it in a phase and closes it; it blocks while the subscribers run. Phase 4 is before the change, 5 after
 * it. Unless stated otherwise the functions return 0, or -1 with a log line and no error code when the event could not be
 * delivered; none takes a lock. NET_ERR_BAD_PARAMETER and nothing is sent: a null argument, a name that no interface can
 * have, and an empty text where none is allowed below.
 */
#ifndef KAVONETSDK_EVENT_H
#define KAVONETSDK_EVENT_H

#include "kavo/core.h"
#include "kavo/plugin.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* "net/dns_config_change": INTERFACE (may be empty: all of them), NITEMS, and the servers as DNS_1, DNS_2, ... The list may
 * be empty, and so may a server; one that is missing is NET_ERR_BAD_PARAMETER. */
int KAVONetDnsConfigChangeHook(int phase, const char *szIf, const KLIBSZLIST *pDns);

/* "net/dns_change": NITEMS and the servers as DNS_1, DNS_2, ..., of a list as above. */
int KAVONetDNSChangeHook(int phase, const KLIBSZLIST *pDns);

/* "net/ipv4_change" (family 0) or "net/ipv6_change" (family 1), always in phase 4: IFNAME, ORIGIN_ADDRESS, NEW_ADDRESS,
 * PREFIX_LENGTH, IS_LINK ("true" when the interface has a carrier). The origin may be empty (an interface without an
 * address), the new address may not. NET_ERR_BAD_PARAMETER also: another family, a prefix above 32 or 128. Nothing is sent
 * when the carrier cannot be asked for. */
int KAVONetIPChangePreHook(int family, const char *szIf, const char *szOrigin, const char *szNew, unsigned int prefix);

/* "net/gateway_config_change": TYPE, INTERFACE, GATEWAY_OLD, GATEWAY_NEW, none of which may be empty. For callers; the
 * library does not send it. */
int KAVONetGatewayConfigChangeHook(int phase, const char *szType, const char *szIf, const char *szOld,
                                   const char *szNew);

/* "net/hostname_change" in phase 5: HOSTNAME, which may not be empty. */
int KAVONetHostnameChangeHook(const char *szHostname);

/* "net/mtu_change": IFACE, MTU_VALUE, which may not be empty. The phase comes last here. */
int KAVONetMTUChangeHook(const char *szIf, const char *szMTU, int phase);

/* "net/if_link_up" and "net/if_link_down" in phase 5: IFNAME. A null or empty name is NET_ERR_BAD_PARAMETER. */
int KLIBNetIfLinkUpEvent(const char *szIf);
int KLIBNetIfLinkDownEvent(const char *szIf);

/* Attaches the arguments of "net/ifname_change" to an event that the caller has opened: ORIGIN_IFNAME (array of nOrigin
 * names, which may be empty texts), IFNAME (array of nNew names), RESULT. Returns -1 for a null handle or list
 * (NET_ERR_BAD_PARAMETER) or when one cannot be attached (the platform's record). */
int KLIBNetIFChgPluginSetArgs(KLIBPLUGINHANDLE h, const char *const *rgOrigin, int nOrigin, const char *const *rgNew,
                              int nNew, int result);

/* Does nothing and returns 0: kept for callers of earlier versions. */
int KLIBServiceStopBeforeIPChange(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
