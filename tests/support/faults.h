// Failures on demand: makes the n-th call of a named function fail, the way that function fails.
#pragma once

#include <cstddef>
#include <functional>

#include "kavo/plugin.h"

namespace support {

// From now on the n-th call (1: the next) of the function fails once; 0 for n: every call fails. The functions that can
// fail are listed in faults.cpp.
void fail_call(const char *function, int n = 1);

// Calls the action at each call of the function, before it is made or fails. What the action itself calls neither fails nor
// calls actions.
void on_call(const char *function, std::function<void()> action);

// How long, in seconds, the last lock of either kind was waited for at most.
int last_lock_wait();

// How many bytes sethostname was last given.
size_t last_hostname_size();

// The descriptor that fsync was last given; known to an action at fsync too.
int last_synced();

// What a KLIBPluginSDKInit that fails leaves in the caller's handle, until the faults are forgotten. 0: nothing, as at first.
void leave_handle(KLIBPLUGINHANDLE handle);

// From now on the n-th call (1: the next) of any function that can fail, whichever it is but those that release or that
// answer a question, fails once. failed_call() names it, and is null when fewer calls than n were made.
void fail_any_call(long n);
const char *failed_call();
bool failing_any();

// Forgets all of them.
void clear_faults();

// Whether a call fails now; used by the stand-ins.
bool fails_now(const char *function);

} // namespace support
