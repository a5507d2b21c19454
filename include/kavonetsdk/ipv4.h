/* IPv4 addresses: setting and reading them, now and in the configuration. */
#ifndef KAVONETSDK_IPV4_H
#define KAVONETSDK_IPV4_H

#include "kavo/core.h"
#include "kavonetsdk/iface.h"

struct json_object; /* of json-c */

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Gives an interface a static address or puts it on DHCP, in its ifcfg file and in the kernel, and thereby takes it out of
 * a bond. Used of pNew: blStatic, szName, szAddr, szMask. pOld is what was in force before, or null; the unit "ddnsd" is
 * reloaded when address or mask differ from it.
 *
 * Static: writes ifcfg-<if> (a failure puts the old file back), stops the unit dhclient@<if>.service, sends
 * "net/ipv4_change" in phase 4 when the address differs, then changes the kernel. DHCP: restarts the unit, then writes the
 * file. Holds the network configuration lock for writing (waits for it at most 5 s) and, for a static address, the
 * interface's own lock (at most 10 s, goes on without it).
 *
 * Returns 0; -1 on failure: NET_ERR_BAD_PARAMETER, NET_ERR_LOCK_FAILED, NET_ERR_BAD_ADDRESS, NET_ERR_SOCKET_FAILED,
 * NET_ERR_EXEC_FAILED (the DHCP client did not start; the file is untouched), the platform's code (no memory, the file was
 * not written, /sbin/ip could not be run), or no code; -2 with the platform's code when the DHCP client runs but the file
 * was not written.
 */
int KAVONetSetCard1(const KAVONETINFO *pNew, const KAVONETINFO *pOld);

/* Adds ("add"), deletes ("del") or flushes ("flush") an address in the kernel, through /sbin/ip. The family is "-4" or
 * "-6". Adding an IPv4 address replaces the interface's unlabelled ones; an address and prefix that are already there are
 * left alone, and where only the prefix changes, /usr/kavo/sbin/kavonetdtool refreshes the static route rules.
 * "net/ipv4_change" or "net/ipv6_change" is sent in phase 4 before an address changes; a failed event stops nothing, nor
 * does the status that /sbin/ip ends with. A flush is that of KAVONetFlushIP; address and prefix are then not looked at.
 * Takes no lock. Blocks while the commands and the subscribers run.
 *
 * Returns 0 or -1. It sets NET_ERR_BAD_PARAMETER for null texts and bad interface names, and else no code of its own; the
 * codes of what it calls remain: NET_ERR_BAD_ADDRESS (no IPv4 address), NET_ERR_SOCKET_FAILED or NET_ERR_OPEN_FAILED (the
 * current addresses cannot be read), those of KAVONetFlushIP, or the platform's when /sbin/ip could not be run. */
int KAVONetSetIP(const char *szFamily, const char *szIf, const char *szAddr, unsigned int prefix, const char *szAction);

/* Takes every address of a family off an interface. "-4" runs /sbin/ip, whose status does not count. "-6" is
 * KAVOLnxIPv6FlushAddr: the interface must be usable (NET_IF_SEL_USABLE) and have an ifcfg file, and the call blocks for at
 * most 5 s. Takes no lock, sends no event.
 * Returns 0 or -1: NET_ERR_BAD_PARAMETER (null, a bad name), the platform's code when /sbin/ip could not be run, the codes
 * of KAVOLnxIPv6FlushAddr, or no code (another family). */
int KAVONetFlushIP(const char *szFamily, const char *szIf);

/*
 * The static half of KAVONetSetCard1, without the configuration lock. Writes ifcfg-<if>, which is made when it is missing,
 * stops the unit dhclient@<if>.service, then changes the kernel with KAVONetSetIP. The mask is a dotted one.
 *
 * The old file is first copied to ifcfg-<if>.tmp<seconds> by /bin/cp. A failure puts the copy back (a file that could not
 * be copied stays as it was written), success deletes it; what the kernel has taken before a failure stays. Holds the
 * interface's own lock (/tmp/interface_up_down_<if>.lock) exclusively: waits for it at most 10 s, goes on without it.
 * Besides, it blocks while the unit stops and while the commands and the subscribers of "net/ipv4_change" run.
 *
 * Returns 0, or -1: NET_ERR_BAD_PARAMETER (null, empty, a bad name), NET_ERR_BAD_ADDRESS, NET_ERR_SOCKET_FAILED, the
 * platform's code (no memory, the file was not written, /sbin/ip could not be run), or no code (no mask).
 */
int KAVOILnxSetIPNetmask(const char *szIf, const char *szAddr, const char *szMask);

/* The kernel's IPv4 address of an interface as text. Returns 1; 0 when it has none ("0.0.0.0" is then written);
 * -1: NET_ERR_BAD_PARAMETER, NET_ERR_SOCKET_FAILED. */
int KAVOILnxGetIP(const char *szIf, char *szAddr, int cbAddr);

/* The configured IPv4 address: from the lease of a DHCP interface, else from ifcfg-<if>. Returns 1 found; 0 when the file
 * is missing (the buffer is left alone) or the key is (the buffer is emptied); -1 on failure. */
int KAVOILnxGetIPFromCfg(const char *szIf, char *szAddr, int cbAddr);

/* 1 when the interface's BOOTPROTO is "dhcp", else 0. A file without BOOTPROTO is given "BOOTPROTO=static". Takes the
 * network configuration lock for reading (waits at most 5 s); without it the answer is 0 with NET_ERR_LOCK_FAILED. */
int BlKAVOLnxIsDHCP(const char *szIf);

/* ---- IP conflicts ---------------------------------------------------------------------------------------------- */

/* Called for each conflict that IpConflictDetectInternal finds, while it runs. Both texts belong to the caller of the
 * callback and last as long as the call. */
typedef void (*KAVOIPCONFLICTCB)(const char *szIf, const char *szAddr);

/*
 * Asks the network of an interface whether another host answers for an IPv4 address, which need not be anybody's yet. The
 * interface must be up. Runs /sbin/arping once, as IpConflictDetectInternal says; an address that the interface itself has
 * is not asked for.
 *
 * Returns 1: another host has the address. 0: nobody answered, the address is the interface's own, or it could not be
 * asked (a malformed address, an interface that is down; the log says so). -1: NET_ERR_BAD_PARAMETER,
 * NET_ERR_SOCKET_FAILED, NET_ERR_OUT_OF_MEMORY. Blocks for about 3 s, less when there is an answer.
 */
int KAVOIIpConflict(const char *szIf, const char *szAddr);

/*
 * The same for pairs of interfaces and addresses, the i-th of pIfs with the i-th of pAddrs; pAddrs null: with the address
 * that each interface has in the kernel. Both lists stay the caller's. pfn, unless null, is called for each conflict in
 * order. A pair that cannot be asked for is logged and passed over.
 *
 * What the appliance's own ports (the first 16 interfaces in the order of KLIBNetStatGetAll whose names begin with "eth")
 * answer does not count: their hardware addresses follow "-F" in the arguments of /sbin/arping. With "arp_ignore" = "yes" in
 * /etc/kavoinfo.conf they answer for nobody else, and "-F" is left out.
 *
 * Returns 1 when there was a conflict, 0 when there was none, -1 (NET_ERR_BAD_PARAMETER) when pIfs is null or the lists
 * differ in length. Blocks for about 3 s for each pair that nobody answers for.
 */
int IpConflictDetectInternal(const KLIBSZLIST *pIfs, const KLIBSZLIST *pAddrs, KAVOIPCONFLICTCB pfn);

/*
 * Compares the configured address of a bond (a kernel bond, or an Open vSwitch one) with those of its members but the
 * first, in the order of KAVONetLinkAggrGet; asks nobody on the network. The addresses are those of KAVOILnxGetIPFromCfg; a
 * member of an Open vSwitch bond has its own under "ovs_<member>".
 *
 * Returns 1 when a member has the bond's address; szMember (cbMember bytes with the NUL, at least 1) then receives the first
 * four characters of its name, fewer where they do not fit. 0: none has. -1: NET_ERR_BAD_PARAMETER, or what kept the bond
 * or a configuration from being read. Takes the network configuration lock for reading (at most 5 s) for each name.
 */
int KAVONetBondIPConflict(const char *szBond, char *szMember, int cbMember);
/* ---- IP aliases */

/*
 * An alias is an additional address of an interface, under the label "<if>:<number>". The store of all aliases is the file
 * /usr/kavo/etc/net/ip_alias:
 *
 *     { "eth0": { "ip_alias": [ { "label": 0, "IP": "192.168.1.10", "prefixlen": 24 } ] } }
 *
 * Each array is sorted by label. An address stands in the store at most once, whatever its interface and prefix. A file that
 * is no JSON object (nesting deeper than 32 included) counts as missing; of a member that stands twice the last one counts,
 * in the place of the first. The store is replaced as a whole: a crash or a full disk leaves the old one.
 *
 * The functions of this section set no error codes of their own (the address checks that they call do) and take no locks:
 * callers that change aliases must take turns, or a change may be lost. All failures are logged. Each blocks while the
 * commands, and the subscribers of "net/ip_alias_add" or "net/ip_alias_delete" in the phases 4 and 5, run; a failed event
 * changes no result. Interface names of 16 characters and more are refused. 0 is success and -1 failure.
 */

/* Adds an alias to the kernel (/sbin/ip), then to the store, under the smallest label that the interface does not use.
 * The interface's name, an IPv4 address and a prefix length of 0 to 32. Sends "net/ip_alias_add" before and after the
 * change of the kernel. -1: an argument is not valid, the address is in the store already, the store is malformed, the
 * command failed (the store is then as it was), or the store could not be written (the kernel keeps the address). A
 * store that counts as missing is replaced by one that holds only the new alias; one that cannot be read now, for want of
 * memory or descriptors, is not. */
int KAVONetIpAliasAdd(const char *szIf, const char *szIP, unsigned int prefixlen);

/* Deletes the alias of an address, whatever its interface, from the kernel and from the store, and puts the default
 * gateway in order again. Sends "net/ip_alias_delete" before and after the change of the kernel. -1: the address is not
 * valid or not in the store, the store is missing or malformed, the command failed (the store is then as it was), or the
 * store could not be written (the kernel has lost the address). */
int KAVONetIpAliasDelete(const char *szIP);

/* Empties the list and fills it with the aliases of an interface, "192.168.1.10/24", in the order of their labels; texts
 * are cut to 19 characters. No store, or none of that interface: 0 with an empty list. -1: a null argument or list, or
 * what the store has of the interface is malformed (the list keeps what came before). */
int KAVONetIpAliasList(const char *szIf, PKLIBSZLIST *ppList);

/* Puts the stored aliases that the kernel lacks into the kernel (IpAliasApply), or takes those that it has off it
 * (IpAliasUnapply): of all interfaces (null), or of one. pSubnets, which counts with an interface only, limits it to the
 * aliases that lie in one of the subnets ("192.168.1.0/24") and have its prefix length; null or empty: all. The store is
 * not changed. Sends one event for all of them before the change, and one after it for those that have changed; none when
 * there are none. A subnet that is malformed, or an alias of a limited selection: 0, and nothing is done. -1: one of the
 * commands failed (the others are run nevertheless), or an interface has no aliases of the right form in the store. */
int IpAliasApply(const char *szIf, const KLIBSZLIST *pSubnets);
int IpAliasUnapply(const char *szIf, const KLIBSZLIST *pSubnets);

/* Adds a labelled address to the kernel or deletes it, without store and event. Address with prefix, and label, are cut to
 * 19 characters. -1: a null or empty argument, or the command did not end with 0. */
int SetIpAlias(const char *szIf, const char *szIP, int prefixlen, int label);
int UnsetIpAlias(const char *szIf, const char *szIP, int prefixlen, int label);

/* Replaces a route to a destination through an interface, with a source address unless szSrc is null; deletes it. For
 * callers; the library calls neither. -1: an argument is null (but szSrc) or empty, or the command did not end with 0. */
int SetRouteSrc(const char *szIf, const char *szDest, const char *szSrc);
int UnsetRouteSrc(const char *szIf, const char *szDest);

/* Has the default gateway of IPv4 put in order ("kavonetdtool --refresh-gateway -4"). -1: the tool did not end with 0. */
int RefreshGateway(void);

/* Reads the wanted members of an alias of the store; a null pointer is not wanted. The address belongs to the JSON value.
 * -1: no JSON object, or a wanted member is missing or of the wrong type (the outputs before it are filled). */
int ParseIpAliasJson(struct json_object *pAlias, const char **pszIP, int *pPrefixlen, int *pLabel);

/* Sends "net/ip_alias_add" (kind 0) or "net/ip_alias_delete" (kind 1) for one alias, in stage 4 before the change or 5
 * after it: ADDED_IP_ALIAS_<if> or DELETED_IP_ALIAS_<if>, "192.168.1.10/24", and IFNAMES, the interface. -1: the event
 * could not be delivered, or an argument is not valid. */
int IpAliasHook(int kind, int stage, const char *szIf, const char *szIP, int prefixlen);

/* The same for all aliases of an object of the store's form, which need no labels: such an argument for each interface that
 * has aliases (several with blanks between them), and IFNAMES, the interfaces with blanks between them. Without aliases
 * nothing is sent, and 0 returned. -1 for a malformed alias too. */
int IpAliasHookMultipleAlias(int kind, int stage, struct json_object *pStore);

/* Keeps, in an object of the store's form, only the aliases that the kernel has (wanted 1) or has not (wanted 0): an alias
 * is there when an address with its label, its text and its prefix length is. Interfaces without an array of aliases stay as
 * they are. -1: the addresses cannot be listed, or an alias is malformed; the object is then as it was. */
int FilterAliasByExistence(struct json_object *pStore, int wanted);
int FilterExistAlias(struct json_object *pStore);
int FilterNotExistAlias(struct json_object *pStore);

/* For sorting an array of aliases by label: pA and pB point at pointers to its elements. Returns the first label minus the
 * second (or the int that is nearest to it). A first element without a label counts as 0; a second one without counts as
 * equal to the first. */
int JSONObjectIpAliasLabelCmp(const void *pA, const void *pB);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
