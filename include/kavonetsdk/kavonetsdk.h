/*
 * libkavonetsdk: the network configuration of the appliance. This header brings in every subsystem's.
 *
 * Every function runs on the caller's thread and returns when its work is done; the library keeps no state between calls,
 * except the names that KLIBNetGetLocalLanConfig reads once.
 * Unless a function says otherwise it returns 0 on success and -1 on failure. A failure with a code leaves it in the
 * calling thread's error record (error.h) and a line in the system log. A null pointer or a bad interface name - null,
 * empty, 16 characters or more, ".", "..", or holding "/", white space or a control character - is NET_ERR_BAD_PARAMETER
 * and touches nothing. Buffer sizes include the terminating NUL. Functions that change something need root.
 */
#ifndef KAVONETSDK_H
#define KAVONETSDK_H

#include "kavonetsdk/error.h"

#include "kavonetsdk/addr.h"
#include "kavonetsdk/diag.h"
#include "kavonetsdk/event.h"
#include "kavonetsdk/iface.h"
#include "kavonetsdk/ipv4.h"
#include "kavonetsdk/ipv6.h"
#include "kavonetsdk/mtu.h"
#include "kavonetsdk/pppoe.h"
#include "kavonetsdk/resolve.h"
#include "kavonetsdk/virtual.h"

#endif
