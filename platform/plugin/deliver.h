// The delivery of one event in one phase.
#pragma once

#include "plugin/event.h"

namespace kavo {

// How long each subscriber may run.
inline constexpr int SUBSCRIBER_SECONDS = 30;

// Runs the event's subscribers one after another, each for at most `seconds`. Returns 0, or -1 with the error record
// when a subscriber failed or the subscribers cannot be listed. All are run nevertheless.
int deliver(const OpenEvent &event, const char *phase, int seconds);

} // namespace kavo
