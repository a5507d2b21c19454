/*
 * MTU: the value kept for an interface, and the one in force.
 *
 * The kept value is the key "<interface>_mtu" of /etc/kavoinfo.conf, in decimal; the key's name is cut to 20 characters. Of
 * an Open vSwitch interface ("ovs_eth0") it is kept under its port's name. MTUs are texts: the number at the start of the
 * text counts, and the text is kept as it is.
 */
#ifndef KAVONETSDK_MTU_H
#define KAVONETSDK_MTU_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/*
 * Keeps an MTU for an interface, gives it to the kernel and tells subscribers: "net/mtu_change" in phase 4 before, and in
 * phase 5 five seconds after the change (the call sleeps that long), when links have settled. A value above 1499 is kept
 * but not given to a link below 1 Gbit/s; that is a success. An Open vSwitch bond gives it to each of its members in turn,
 * a VLAN to its parent first.
 *
 * Returns 0; -1 on failure. NET_ERR_BAD_PARAMETER: null or empty text, bad interface name. A failure on an interface that
 * is no bond is not told in phase 5, and a value that was kept stays kept. The interface is down for a moment.
 */
int KAVONetSetMTUValue(const char *szMTU, const char *szIf);

/* Keeps an MTU, for a VLAN also as its parent's. Holds the settings lock for writing (waits for it at most 5 s). Returns 0,
 * also when the interface cannot be asked whether it is a VLAN (a name of 16 characters or more, no socket): nothing is
 * kept then; -1: NET_ERR_BAD_PARAMETER (also a text that is not one line or holds a double quote), NET_ERR_LOCK_FAILED, or
 * the platform's code. */
int KAVOConfSetMTUValue(const char *szMTU, const char *szIf);

/* The kept MTU, cut to the buffer; "1500" when none is kept. Returns 0 or -1: NET_ERR_BAD_PARAMETER, or the platform's code
 * when /etc/kavoinfo.conf cannot be read (the buffer is then empty). */
int KAVOConfGetMTUValue(const char *szIf, char *szMTU, int cbMTU);

/* Gives an MTU to the kernel: of an Open vSwitch bond to each member in turn up to the first failure, of another Open
 * vSwitch interface to its port, of a VLAN to its parent first. Each device is taken down and brought up around the change,
 * and brought up after a failure too. Returns 0 or -1: NET_ERR_BAD_PARAMETER (also a name of 17 characters or more; one of
 * 16 is cut), NET_ERR_SYSTEM (a VLAN that is its own parent), or the code of what failed; no code when the kernel refuses
 * the value. */
int KAVONetSetMTUEth(const char *szMTU, const char *szIf);

/* The running MTU of an interface; of an Open vSwitch bond the smallest of its members, of another Open vSwitch interface
 * its port's. Returns it, or -1 on failure (0 when the kernel does not know the interface). */
int KAVOGetMTUSetting(const char *szIf);

/* The kernel's MTU of the interface itself. Returns it, 0 when the query fails, -1 on error. */
int KAVOGetMTU(const char *szIf);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
