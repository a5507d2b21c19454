#include "systemd/sdbus.h"

#include <dlfcn.h>
#include <pthread.h>

namespace kavo {
namespace {

SdBus calls;
bool complete = false;
pthread_once_t once = PTHREAD_ONCE_INIT;

template <class Function> bool find(void *library, const char *name, Function &function)
{
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

// The library stays open for the life of the process: it keeps state of its own for each thread.
void open_library()
{
    void *library = dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        return;
    complete = find(library, "sd_bus_new", calls.create) && find(library, "sd_bus_set_address", calls.set_address) &&
               find(library, "sd_bus_set_bus_client", calls.set_bus_client) &&
               find(library, "sd_bus_set_method_call_timeout", calls.set_method_call_timeout) &&
               find(library, "sd_bus_start", calls.start) && find(library, "sd_bus_is_ready", calls.is_ready) &&
               find(library, "sd_bus_process", calls.process) && find(library, "sd_bus_wait", calls.wait) &&
               find(library, "sd_bus_match_signal", calls.match_signal) &&
               find(library, "sd_bus_call_method", calls.call_method) &&
               find(library, "sd_bus_get_property_string", calls.get_property_string) &&
               find(library, "sd_bus_message_read", calls.message_read) &&
               find(library, "sd_bus_message_unref", calls.message_unref) &&
               find(library, "sd_bus_error_free", calls.error_free) &&
               find(library, "sd_bus_error_has_name", calls.error_has_name) &&
               find(library, "sd_bus_close_unref", calls.close_unref);
}

} // namespace

const SdBus *sd_bus_calls()
{
    pthread_once(&once, open_library);
    return complete ? &calls : nullptr;
}

} // namespace kavo
