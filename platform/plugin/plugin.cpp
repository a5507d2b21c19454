#include "kavo/plugin.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include <pthread.h>

#include "core/fail.h"
#include "plugin/deliver.h"
#include "plugin/event.h"

namespace kavo {
namespace {

constexpr size_t LONGEST_EVENT_NAME = 255;

struct Phase {
    int number;
    const char *word;
};
constexpr Phase PHASES[] = {{4, "pre"}, {5, "post"}};

// ---- The open events. Handles are counted and never come back, so that one which was closed is known to be wrong.

OpenEvent *open_events = nullptr;
uintptr_t last_handle = 0;
pthread_mutex_t events_mutex = PTHREAD_MUTEX_INITIALIZER;

uintptr_t remember(OpenEvent *event)
{
    pthread_mutex_lock(&events_mutex);
    event->handle = ++last_handle;
    event->next = open_events;
    open_events = event;
    pthread_mutex_unlock(&events_mutex);
    return event->handle;
}

OpenEvent *find(KLIBPLUGINHANDLE handle)
{
    pthread_mutex_lock(&events_mutex);
    OpenEvent *event = open_events;
    while (event != nullptr && event->handle != handle)
        event = event->next;
    pthread_mutex_unlock(&events_mutex);
    return event;
}

OpenEvent *take(KLIBPLUGINHANDLE handle)
{
    pthread_mutex_lock(&events_mutex);
    OpenEvent **at = &open_events;
    while (*at != nullptr && (*at)->handle != handle)
        at = &(*at)->next;
    OpenEvent *event = *at;
    if (event != nullptr)
        *at = event->next;
    pthread_mutex_unlock(&events_mutex);
    return event;
}

// ---- What callers may say

// Letters, digits and "_-." in parts of their own: an event's name is a path below the subscribers' folder and stays
// there.
bool is_event_name(std::string_view name)
{
    if (name.empty() || name.size() > LONGEST_EVENT_NAME)
        return false;
    char before = '/';
    for (const char c : name) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        // No part is empty or begins with a '.', which takes care of "." and ".." too.
        if (before == '/' && (c == '/' || c == '.'))
            return false;
        if (!letter && c != '_' && c != '-' && c != '.' && c != '/')
            return false;
        before = c;
    }
    return before != '/';
}

bool is_key(const char *key)
{
    if (key == nullptr || key[0] == '\0')
        return false;
    for (const char *c = key; *c != '\0'; ++c) {
        if (*c == '=' || static_cast<unsigned char>(*c) < ' ' || *c == '\x7f')
            return false;
    }
    return true;
}

bool is_array(const char *const *values, int count)
{
    if (count < 0 || (count > 0 && values == nullptr))
        return false;
    for (int i = 0; i < count; ++i) {
        if (values[i] == nullptr)
            return false;
    }
    return true;
}

bool append_array(Variables &variables, const char *key, const char *const *values, int count)
{
    char suffix[16];
    char number[16];
    for (int i = 0; i < count; ++i) {
        snprintf(suffix, sizeof suffix, "_%d", i);
        if (!variables.append(key, suffix, values[i]))
            return false;
    }
    snprintf(number, sizeof number, "%d", count);
    return variables.append(key, "_COUNT", number);
}

} // namespace
} // namespace kavo

using namespace kavo;

extern "C" int KLIBPluginSDKInit(const char *szDomain, const char *szEvent, KLIBPLUGINHANDLE *pHandle)
{
    if (szDomain == nullptr || szEvent == nullptr || pHandle == nullptr || !is_event_name(szDomain) ||
        !is_event_name(szEvent))
        return fail(ERROR_PARAMETER, -1);
    const size_t room = strlen(szEvent) + 1;
    void *memory = calloc(1, sizeof(OpenEvent) + room);
    if (memory == nullptr)
        return fail(ERROR_MEMORY, -1);
    auto *event = new (memory) OpenEvent{};
    memcpy(event->name, szEvent, room);
    *pHandle = remember(event);
    return 0;
}

extern "C" int KLIBPluginSetArg(KLIBPLUGINHANDLE h, const char *szKey, const char *szValue)
{
    OpenEvent *event = find(h);
    if (event == nullptr || !is_key(szKey) || szValue == nullptr)
        return fail(ERROR_PARAMETER, -1);
    Variables fresh;
    if (!fresh.append(szKey, "", szValue))
        return fail(ERROR_MEMORY, -1);
    event->variables.replace(szKey, fresh);
    return 0;
}

extern "C" int KLIBPluginSetArgByInt(KLIBPLUGINHANDLE h, const char *szKey, int value)
{
    char text[16];
    snprintf(text, sizeof text, "%d", value);
    return KLIBPluginSetArg(h, szKey, text);
}

extern "C" int KLIBPluginSetArgByArray(KLIBPLUGINHANDLE h, const char *szKey, const char *const *rgsz, int c)
{
    OpenEvent *event = find(h);
    if (event == nullptr || !is_key(szKey) || !is_array(rgsz, c))
        return fail(ERROR_PARAMETER, -1);
    Variables fresh;
    if (!append_array(fresh, szKey, rgsz, c))
        return fail(ERROR_MEMORY, -1);
    event->variables.replace(szKey, fresh);
    return 0;
}

extern "C" int KLIBPluginAction(int phase, KLIBPLUGINHANDLE h)
{
    const OpenEvent *event = find(h);
    if (event == nullptr)
        return fail(ERROR_PARAMETER, -1);
    for (const Phase &known : PHASES) {
        if (known.number == phase)
            return deliver(*event, known.word, SUBSCRIBER_SECONDS);
    }
    return fail(ERROR_PARAMETER, -1);
}

extern "C" int KLIBPluginHasInit(KLIBPLUGINHANDLE h)
{
    return find(h) != nullptr ? 1 : 0;
}

extern "C" int KLIBPluginExit(KLIBPLUGINHANDLE h)
{
    OpenEvent *event = take(h);
    if (event != nullptr) {
        event->~OpenEvent();
        free(event);
    }
    return 0;
}
