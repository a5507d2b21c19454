// The events that tell of a link.
#pragma once

#include "frame/owner.h"

namespace kavonet {

// Fires an event of one interface after its change. The event is closed even when it could not be opened.
inline int fire_link_event(const char *event_name, const char *interface_name)
{
    Event event(event_name, Event::Closing::ALWAYS);
    return event && event.set("IFNAME", interface_name) && event.fire(Event::POST) ? 0 : -1;
}

} // namespace kavonet
