/*
 * libkavosdk: the delivery of events to subscribers.
 *
 * Subscribers are executables in /usr/kavo/etc/plugins/<event name>/ (the event name holds its domain:
 * /usr/kavo/etc/plugins/net/ipv4_change/50-firewall). They run one after another in name order, with the phase word
 * ("pre" or "post") as their only argument and the event's arguments in the environment as KAVO_ARG_<KEY>; an array as
 * KAVO_ARG_<KEY>_0 and so on with KAVO_ARG_<KEY>_COUNT; besides them PATH, LANG, KAVO_EVENT and KAVO_PHASE. Each has
 * 30 seconds, then it is killed and counts as failed. What it leaves in the background is not waited for.
 *
 * Subscribers run with the caller's rights, so they must be root's: a file that is not owned by root, is writable by
 * group or others, or is a link or anything else than a plain file, is skipped and logged (LOG_WARNING), and so is
 * every subscriber of an event whose folder, or a folder above it from plugins/ on, is such. Hidden files, "name~"
 * copies, folders and files without a right to execute are no subscribers and are passed over in silence.
 */
#ifndef KAVO_PLUGIN_H
#define KAVO_PLUGIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* An open event; 0 means none. */
typedef uintptr_t KLIBPLUGINHANDLE;

/* Opens an event of a domain ("net", "net/ipv4_change"). *pHandle receives it, and stays as it is on failure. A name is
 * made of letters, digits and "_-." in parts that are neither empty nor begin with a '.', 255 characters at most.
 * Returns 0 or -1 (0x0D00: null, empty, or no such name; 0x0200). */
int KLIBPluginSDKInit(const char *szDomain, const char *szEvent, KLIBPLUGINHANDLE *pHandle);

/* Sets an argument: key and value are copied and delivered byte for byte; a key that is set again is replaced, an array
 * with all its parts. A key is any text without "=" and control characters. Returns 0, or -1 with the event as it was
 * (0x0D00, 0x0200). */
int KLIBPluginSetArg(KLIBPLUGINHANDLE h, const char *szKey, const char *szValue);
int KLIBPluginSetArgByInt(KLIBPLUGINHANDLE h, const char *szKey, int value);
int KLIBPluginSetArgByArray(KLIBPLUGINHANDLE h, const char *szKey, const char *const *rgsz, int c);

/* Delivers the event in a phase: 4 before the change, 5 after it. Blocks while the subscribers run.
 * Returns 0; -1 when a subscriber failed (0x2A00, one LOG_ERR line for each; all are run nevertheless), the subscribers
 * cannot be listed (0x0900) or the handle or phase is wrong (0x0D00). */
int KLIBPluginAction(int phase, KLIBPLUGINHANDLE h);

/* 1 when the handle holds an open event, else 0. */
int KLIBPluginHasInit(KLIBPLUGINHANDLE h);

/* Closes the event; a handle of 0 is accepted. Returns 0. */
int KLIBPluginExit(KLIBPLUGINHANDLE h);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
