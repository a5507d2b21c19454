/*
 * libkavosystemd: service units, through the service manager's bus interface. libsystemd is opened at the first call,
 * not before. A start, stop or reload waits for the end of the unit's job (at most 100 seconds) and reports its result;
 * no manager or no bus is a failure within a bounded time (10 seconds to connect, 25 for an answer), never a hang. The
 * bus is the system's, whatever the environment says; each call has a connection of its own. A failure sets 0x2A00 and
 * logs one line (LOG_WARNING) with the unit and the reason; a name that no unit can have sets 0x0D00.
 */
#ifndef KAVO_SYSTEMD_H
#define KAVO_SYSTEMD_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* 1 done, 0 failed. A unit that the manager does not know can be neither stopped nor reloaded: that is a failure, as it
 * is for the manager's own command. Stopping one that is known and does not run is done at once. A name without a type
 * is a service: "ddnsd". */
int KAVOCSystemdStart(const char *szUnit);
int KAVOCSystemdStop(const char *szUnit);
int KAVOCSystemdReload(const char *szUnit);

/* 1 active (or reloading, and active meanwhile), 0 not (an unknown unit is not active), -1 error. */
int KAVOCSystemdActiveStatusGet(const char *szUnit);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
