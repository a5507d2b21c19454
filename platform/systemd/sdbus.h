// The calls of libsystemd that are used, opened at the first call and not before.
#pragma once

#include <systemd/sd-bus.h>

namespace kavo {

struct SdBus {
    decltype(&sd_bus_new) create;
    decltype(&sd_bus_set_address) set_address;
    decltype(&sd_bus_set_bus_client) set_bus_client;
    decltype(&sd_bus_set_method_call_timeout) set_method_call_timeout;
    decltype(&sd_bus_start) start;
    decltype(&sd_bus_is_ready) is_ready;
    decltype(&sd_bus_process) process;
    decltype(&sd_bus_wait) wait;
    decltype(&sd_bus_match_signal) match_signal;
    decltype(&sd_bus_call_method) call_method;
    decltype(&sd_bus_get_property_string) get_property_string;
    decltype(&sd_bus_message_read) message_read;
    decltype(&sd_bus_message_unref) message_unref;
    decltype(&sd_bus_error_free) error_free;
    decltype(&sd_bus_error_has_name) error_has_name;
    decltype(&sd_bus_close_unref) close_unref;
};

// Null when libsystemd cannot be had.
const SdBus *sd_bus_calls();

} // namespace kavo
