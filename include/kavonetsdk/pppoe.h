/* PPPoE: the system's own client, and relays between a bridge's clients and a server elsewhere. */
#ifndef KAVONETSDK_PPPOE_H
#define KAVONETSDK_PPPOE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ---- The client ------------------------------------------------------------------------------------------------- */

/* The client's settings. Every text ends with a NUL within its field. */
typedef struct {
    char szEth[16];         /* the interface that carries PPPoE */
    char szUser[256];       /* the user's name in plain form */
    char szPassword[32];    /* the password; of a longer one the first 31 characters */
    char szMTU[8];          /* the MTU as text */
    int32_t blDefaultRoute; /* 1: the connection becomes the default route */
} PPPoEConf;

/* Whether the connection runs: the switch "pppoe_enable" of /etc/kavoinfo.conf and the process pppoe-connect, looked at
 * under the settings lock, for which it waits at most 5 s. With blRepair (other than 0) the lock is an exclusive one and a
 * switch that says "yes" while nothing runs is set to "no". A connection that runs while the switch says anything else is
 * ended with /usr/sbin/pppoe-stop, for whose end it waits.
 * Returns 1 running, 0 not running or switched off (also when the key is missing), or -1: NET_ERR_LOCK_FAILED, or the
 * platform's record when the settings or the processes cannot be read or the settings not written. */
int KAVOPPPoECheckStatus(int blRepair);

/* Switches the client on and starts it (1), or off and stops it (0), with /usr/sbin/pppoe-start or /usr/sbin/pppoe-stop,
 * for whose end it waits: a start takes as long as the settings' connection timeout allows. After a failed start the
 * switch says "no" again. The end of pppoe-stop is not looked at.
 * Returns 0; 19, the start script's own code, when that is how it ended; or -1: NET_ERR_BAD_PARAMETER for any other op,
 * the platform's record when the settings cannot be written or the script not be run, none when it ended with another
 * code. */
int KAVOPPPoEService(unsigned int op);

/* Reads the settings from /etc/ppp/pppoe.conf and, where a user is set there, name and password from
 * /etc/ppp/pap-secrets. User and password stay empty when no user is set, and when pap-secrets has no line for him: its
 * line is split at its first "*", so a name that holds one is not found again; nor is one whose quoted form is longer than
 * 255 characters. Blanks around the password are not part of it.
 * Returns 0, or -1 (NET_ERR_BAD_PARAMETER for a null record; no code of its own else) with the record filled so far as
 * it could be read. */
int PPPoEConfigGet(PPPoEConf *pConf);

/* Writes the settings: the keys ETH, DEFAULTROUTE, USER and MTU of /etc/ppp/pppoe.conf, which must exist, then
 * /etc/ppp/pap-secrets anew (mode 0600), with this user's line alone. The name is stored in single quotes, each single
 * quote in it as '"'"'; what does not fit in 511 characters then is dropped.
 * Refused with NET_ERR_BAD_PARAMETER and nothing written: a bad szEth; a newline or carriage return in szUser or
 * szPassword; and, because the client's scripts read pppoe.conf as a shell does, in szEth and szMTU anything but letters,
 * digits and "._:@+-". That is logged, without the values. A field without its NUL ends with the field (szEth is then refused).
 * Returns 0, or -1; the keys that were written before a failure stay written, pap-secrets is old or new. */
int PPPoEConfigSet(PPPoEConf conf);

/* The name of the connection's PPP interface, as /tmp/kavopppoe.intf remembers it, else as /usr/sbin/pppoe-status says
 * (the first word of its first line with "Point-to-Point"), which is then remembered. The file is believed only when it
 * is a plain file of root or the caller, with no second name, that nobody else may write. cbIf is the buffer's size; a longer
 * name is cut. Returns 0, or -1: NET_ERR_BAD_PARAMETER; NET_ERR_OPEN_FAILED without /proc/net/dev; the platform's record
 * without memory or when the command cannot be run; none when no interface is called "ppp..." or the command names none. */
int KAVOPPPoeIntfGet(char *szIf, size_t cbIf);

/* Address and netmask (A.B.C.D, cut to the buffer) of the connection's PPP interface. Either pair may be left out with a
 * null buffer or a size of 0; without both it returns 0. The netmask alone is never answered: that is -1.
 * Returns 0, or -1, and then forgets the interface's name (/tmp/kavopppoe.intf). */
int KAVOPPPoeNetInfoGet(char *szAddr, int cbAddr, char *szMask, int cbMask);

/* Switches the client off and stops it when it runs over the interface; a switch that says "yes" while nothing runs is set
 * to "no" first. Returns 0, also when nothing runs or it runs over another interface, or -1: NET_ERR_BAD_PARAMETER, or as
 * KAVOPPPoECheckStatus, PPPoEConfigGet and KAVOPPPoEService leave it. */
int KLIBDisablePPPoEOnIf(const char *szIf);

/* ---- Relays ----------------------------------------------------------------------------------------------------- */

/* The relay of one client-side interface. */
typedef struct {
    int32_t enable;    /* 1: wanted */
    char szServer[16]; /* the interface on the server's side */
} PPPoERelayConf;

/* Reads the relay's settings from /etc/sysconfig/pppoe-relay/<interface>; folder (0755) and file (empty) are created when
 * they are missing. Without keys: 0 and an empty name. Returns 0, or -1: NET_ERR_BAD_PARAMETER, the platform's record when
 * the file cannot be read, none without the folder. */
int KAVONetGetPPPoERelayConfig(const char *szIf, PPPoERelayConf *p);

/* Writes the relay's settings there, with the same folder and file. szServer is empty or an interface's name. Starts and
 * stops nothing. Returns 0, or -1: NET_ERR_BAD_PARAMETER, NET_ERR_OUT_OF_MEMORY, the platform's record when the file
 * cannot be written, none without the folder. */
int KAVONetSetPPPoERelayConfig(const char *szIf, const PPPoERelayConf *p);

/* 1 when both settings are equal, else 0, also (NET_ERR_BAD_PARAMETER) for a null pointer. */
int KAVONetIsSamePPPoERelayConfig(const PPPoERelayConf *pA, const PPPoERelayConf *pB);

/* Brings the interface's relay in line with its settings. It is to run (/usr/sbin/pppoe-relay -C <interface> -S <server>)
 * while the interface is configured as bridge of the local LAN (KAVONetIsIfBridgeType 3), its settings say so and it is
 * up. One that runs with the same server is left alone; one with another is ended and started anew; one that is not
 * wanted is ended. Ending takes at most 5 s. Returns 0, or -1: NET_ERR_BAD_PARAMETER, or when the settings cannot be
 * read, the relay does not end or the new one does not start. */
int KAVONetApplyPPPoERelayConfig(const char *szIf);

/* The same for every file of /etc/sysconfig/pppoe-relay (at most 128), in order of name, up to the first that fails;
 * what a setting is written to beside its file is passed over. The folder is created (0754) when it is missing. Returns 0, or
 * -1 as above, or when the folder cannot be made or read. */
int KAVONetApplyPPPoERelayConfigAll(void);

/* Deletes every file of /etc/sysconfig/pppoe-relay; relays that run go on. A file that cannot be deleted is logged and no
 * failure, nor is a missing folder. Returns 0, or -1 when it is no folder or cannot be read, or without memory. */
int KAVONetClearPPPoERelayConfigAll(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
