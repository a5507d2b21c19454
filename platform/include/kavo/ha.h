/*
 * libkavohacore: the state of high availability, as /run/kavo/ha.conf tells it (keys has_ha_if, active, running: "yes"
 * or "no"; heartbeat_if; addr_<if>, mask_<if>; mac_<port>). No file means no high availability, which is no error:
 * nothing is logged and no code is set. Null or empty buffers, names that cannot be an interface's and negative ports
 * set 0x0D00. On failure the buffers stay as they are; texts that do not fit are cut.
 */
#ifndef KAVO_HA_H
#define KAVO_HA_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* 1 yes, 0 no. */
int KAVOHAHasHAIF(void);
int KAVOHAIsActive(void);
int KAVOHAIsRunning(void);

/* The interface of the heartbeat. Returns 0, or -1 when there is none. */
int KAVOHAGetHeartbeatIF(char *szIf, int cbIf);
/* The address and mask that the pair shares on an interface. Returns 0, or -1 when it has none. */
int KAVOHAGetRelatedIFInfo(const char *szIf, char *szAddr, int cbAddr, char *szMask, int cbMask);
/* The shared hardware address of a port, as text. Returns 0, or -1 when it has none. */
int KAVOHAGetMac(int port, char *szMac, int cbMac);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
