// A stand-in for the service manager, which a private root has none of: it writes down what it is asked, in one order with
// the recorded commands ("[unit] [start] [dhclient@eth0.service]"), and answers as told.
#pragma once

#include <functional>
#include <string>

namespace support {

// From now on units are recorded: each can be started, stopped and reloaded, and none is active.
void record_units();

// What "start", "stop", "reload" or "active" answers from now on.
void answer_unit(const std::string &verb, int result);

// Called at each question, before the answer.
void on_unit(std::function<void(const std::string &verb, const std::string &unit)> action);

// Asks the real service manager again.
void real_units();

} // namespace support
