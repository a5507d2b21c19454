/* Diagnostics and maintenance: interface counters, ports in use, a DHCP probe, name lookup, reachability, wake-on-LAN, the
 * external address, backup of configuration files. */
#ifndef KAVONETSDK_DIAG_H
#define KAVONETSDK_DIAG_H

#include <stdint.h>

#include "kavo/core.h"
#include "kavonetsdk/iface.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The counters of one interface, as the kernel has counted since the interface exists. */
typedef struct {
    int32_t nFlag;   /* always 1 */
    char szName[16]; /* cut at 15 characters */
    int64_t llRxBytes, llTxBytes, llRxPackets, llTxPackets;
} NetStat;

/* Allocates n zeroed records with nFlag 1; the caller frees them with KLIBNetStatFree. Null on failure:
 * NET_ERR_BAD_PARAMETER for n = 0, NET_ERR_OUT_OF_MEMORY. */
NetStat *KLIBNetStatInit(unsigned int n);

/* Frees such an array; null is accepted. */
void KLIBNetStatFree(NetStat *p);

/* Reads the counters of at most max interfaces from /proc/net/dev, sorted by name in natural order (eth2 before eth10).
 * Interfaces whose name contains "mon." or begins with "tap", "docker" or "zelm" are left out. A line that names no interface
 * ends the reading: what was read before it is returned as it stood in the file, not sorted.
 * Returns the number of records filled, or -1: NET_ERR_BAD_PARAMETER (null array, max below 1), NET_ERR_OPEN_FAILED,
 * NET_ERR_BAD_FORMAT (the file could not be read to its end). */
int KLIBNetStatGetAll(NetStat *p, int max);

/* Reads the counters of one interface into *p. Returns 0, or -1 when there is none of that name among the first 256 (no
 * code) or the table cannot be read (codes as above). */
int KLIBNetStatGetSingle(const char *szIf, NetStat *p);

/* ---- Ports in use --------------------------------------------------------------------------------------------- */

/* Protocols of the two functions below: 1 is TCP, any other value UDP, each over IPv4 and IPv6. */

/* Whether any socket, in whatever state, has its local port in the range (both ends included). Reads /proc/net/tcp and
 * tcp6, or udp and udp6, up to the first such socket; a table that cannot be opened is logged and counts as empty.
 * Returns 1 or 0. */
int KAVONetIsPortRangeUsed(int lowest, int highest, unsigned int protocol);

/* Collects the ports of the range (both ends included) that listening sockets have, each once, in the order in which the
 * kernel lists them, IPv4 before IPv6. *pCount is the array's capacity (0 allowed) and receives the number found; what does
 * not fit is left out. UDP sockets do not listen, so for UDP nothing is found. Reads the same tables. Returns 0, or -1 with
 * nothing touched: NET_ERR_BAD_PARAMETER (null array or count, capacity below 0). */
int KAVONetGetPortUsedInRange(int *rgPort, int *pCount, int lowest, int highest, int protocol);

/* ---- DHCP probe ----------------------------------------------------------------------------------------------- */

/* Asks a DHCP server what it would give the interface pNetInfo->szName, and leaves the interface as it is. Runs
 * "/usr/sbin/dhclient --kavo_test" once, which leaves the answer in /etc/dhclient/ipv4/dhcpcd-<if>.info; its script
 * /var/run/dhclient-script is copied from /etc/dhclient/dhclient-script first where it is missing.
 * On success szAddr and szMask are set and 0 is returned; -1 on failure: NET_ERR_BAD_PARAMETER (null record, bad name),
 * NET_ERR_EXEC_FAILED (no server gave an address), or no code (the script could not be copied, the answer lacks a key; an
 * answer without a mask still sets szAddr). Blocks until the client ends, up to about a minute without a server. */
int KAVOIGetDHCPTestNetInfo(KAVONETINFO *pNetInfo);

/* ---- Name lookup and reachability ----------------------------------------------------------------------------- */

/* One address of a host. */
typedef struct {
    char szAddr[46]; /* as text */
    int32_t family;  /* 2 IPv4, 10 IPv6 */
} LookupIPEntry;

/* Resolves a host name into rg (c records, zeroed first; null for none). What the resolver does not know and what is a
 * bare name (no "." or ":", not beginning with "-") is asked for by NetBIOS, through /usr/local/bin/nmblookup, whose
 * addresses are stored as printed. With blCountAll addresses beyond the array's end are counted, else the search ends
 * there.
 * Returns the number of addresses counted, 0 for none; a null or empty host is 0 with NET_ERR_BAD_PARAMETER. Blocks for as
 * long as the resolver and nmblookup take. */
int KAVONetLookupIP(const char *szHost, LookupIPEntry *rg, int c, int blCountAll);

/* Whether a TCP connection to a port of the host can be made. Each address of the host is tried in turn for at most so many
 * seconds: those of the resolver, then, for a bare name as above, those of NetBIOS. A connection that stands is sent one zero
 * byte (unless it stood at once) and closed.
 * Returns 1 or 0; 0 with NET_ERR_BAD_PARAMETER for a null or empty host and a port outside 1..65535. */
int BlKLIBIsConnected(const char *szHost, int port, int seconds);

/* ---- Wake-on-LAN ---------------------------------------------------------------------------------------------- */

/* Whom to wake. */
typedef struct {
    uint8_t mac[6];
    char szIfName[16]; /* the card to send on; at most 13 characters are used */
} EtherWakeTarget;

/* Sends one wake-on-LAN frame (Ethernet type 0x0842) as a broadcast. Needs root. Returns 0, or -1: NET_ERR_BAD_PARAMETER
 * (null target, bad name), NET_ERR_OPEN_FAILED (no socket), NET_ERR_EXEC_FAILED (not sent: no such card, or it is down). */
int KLIBNetEtherWake(const EtherWakeTarget *p);

/* ---- The system's external address and the weekly schedule ---------------------------------------------------- */

/* The address that the system has for the world: runs "/usr/kavo/sbin/ddnsd -e", then reads "externalIP" from
 * /run/ddns/externalIP.result. Returns a new text of at most 15 characters that the caller frees with free(); null on
 * failure: NET_ERR_OUT_OF_MEMORY, or no code (the daemon failed, the key is missing). Blocks until the daemon answers. */
char *KAVOExternalIPGet(void);

/* The hour of the week in local time: 0 is Sunday from midnight on, 167 the last hour of Saturday; -1 when the local time
 * cannot be told. */
int KAVOSchedGetNowIndex(void);

/* ---- Backup of configuration files ---------------------------------------------------------------------------- */

/*
 * Both functions take a list of shell patterns separated by ";", at least one: "/etc/hosts;/etc/net/if-*". The directory of
 * a pattern is a plain one; its last part is matched by fnmatch with FNM_PATHNAME and FNM_EXTMATCH. Hidden files are not
 * found. No error code is set; the system log says what failed. Neither takes a lock.
 */

/*
 * Puts every regular file that the patterns match (links to one included) into the hash *ppHash of the caller, which may
 * move: the path is the key, the content up to its first NUL byte the value. A pattern whose directory is missing matches
 * nothing. Files that cannot be looked at or opened are left out, with a line in the log.
 * Returns 0, or -1: null arguments, no pattern, a directory that cannot be listed, a file that cannot be read to its end, no
 * memory. The hash then keeps what it got. Needs room for all files and once more for the largest.
 */
int KAVOConfigExport(PKLIBSZHASH *ppHash, const char *szPatterns);

/* flags of KAVOConfigImport */
enum {
    KAVO_CONFIG_DELETE_OLD = 0x1,    /* delete every file that the patterns match before anything is written */
    KAVO_CONFIG_KEEP_SECTIONS = 0x10 /* set the keys of the current file's sections in the restored one */
};

/*
 * Writes each value of the hash to the path that is its key, in the order of KLIBCSzHashEnumKey. The hash says what is
 * written, whether the patterns match it or not; the patterns say what is prepared first: the directory of each is made by
 * "/bin/mkdir -p" when it is missing, and its files are deleted when that is asked for (a line each at LOG_INFO).
 *
 * A file is written beside its target under the target's name and six letters, given mode 0644, synchronised and renamed
 * onto the target, so that the target is old or new and whole at any instant. It belongs to the caller; a target that is a
 * symbolic link is replaced itself. Paths longer than 255 characters are not restored. With KAVO_CONFIG_KEEP_SECTIONS the
 * keys of the sections of the target are set in the new file, each line with a tab in front. When the rename fails the
 * temporary file stays. A value that does not fit the disk takes its place as far as it fits.
 *
 * The process's file-creation mask is 0600 meanwhile, for all its threads: directories that are made get what that leaves
 * (0177), so callers that want them otherwise make them before.
 *
 * Returns 0, also when single files could not be restored (the log says which), or -1 before anything is written: null
 * arguments, no pattern, a directory that cannot be made or listed, no memory. Blocks for the disk and for mkdir.
 */
int KAVOConfigImport(PKLIBSZHASH pHash, const char *szPatterns, unsigned int flags);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
