#include "kavo/ha.h"

#include <cstdio>
#include <cstring>

#include "core/fail.h"
#include "kavo/core.h"

namespace kavo {
namespace {

constexpr char STATE_FILE[] = "/run/kavo/ha.conf";
constexpr size_t NAME_SIZE = 16; // of an interface, as the kernel holds it

using Key = char[32];
using Value = char[256];

// An appliance without high availability has no such file. That is its ordinary state and leaves no trace, neither in
// the log nor in the caller's error record.
bool has_state()
{
    return KLIBCFileExist(STATE_FILE) != 0;
}

int is_yes(const char *key)
{
    return has_state() && KLIBCFileCheckKeyValue(STATE_FILE, key, "yes", 0) != 0 ? 1 : 0;
}

// A value that is there and not empty.
bool get(const char *key, Value &value)
{
    return has_state() && KLIBCFileGetKeyValue(STATE_FILE, key, value, sizeof value, 0) > 0 && value[0] != '\0';
}

bool is_buffer(const char *buffer, int size)
{
    return buffer != nullptr && size > 0;
}

void copy(char *buffer, int size, const char *text)
{
    snprintf(buffer, static_cast<size_t>(size), "%s", text);
}

// Names become part of keys: one that would end the key or the line is none.
bool is_interface(const char *name)
{
    if (name == nullptr || name[0] == '\0' || strnlen(name, NAME_SIZE) == NAME_SIZE)
        return false;
    for (const char *c = name; *c != '\0'; ++c) {
        if (*c == '=' || *c == '/' || static_cast<unsigned char>(*c) <= ' ' || *c == '\x7f')
            return false;
    }
    return true;
}

bool get_of_interface(const char *kind, const char *name, Value &value)
{
    Key key;
    snprintf(key, sizeof key, "%s_%s", kind, name);
    return get(key, value);
}

} // namespace
} // namespace kavo

using namespace kavo;

extern "C" int KAVOHAHasHAIF(void)
{
    return is_yes("has_ha_if");
}

extern "C" int KAVOHAIsActive(void)
{
    return is_yes("active");
}

extern "C" int KAVOHAIsRunning(void)
{
    return is_yes("running");
}

extern "C" int KAVOHAGetHeartbeatIF(char *szIf, int cbIf)
{
    if (!is_buffer(szIf, cbIf))
        return fail(ERROR_PARAMETER, -1);
    Value name;
    if (!get("heartbeat_if", name))
        return -1;
    copy(szIf, cbIf, name);
    return 0;
}

extern "C" int KAVOHAGetRelatedIFInfo(const char *szIf, char *szAddr, int cbAddr, char *szMask, int cbMask)
{
    if (!is_interface(szIf) || !is_buffer(szAddr, cbAddr) || !is_buffer(szMask, cbMask))
        return fail(ERROR_PARAMETER, -1);
    Value address;
    Value mask;
    if (!get_of_interface("addr", szIf, address) || !get_of_interface("mask", szIf, mask))
        return -1;
    copy(szAddr, cbAddr, address);
    copy(szMask, cbMask, mask);
    return 0;
}

extern "C" int KAVOHAGetMac(int port, char *szMac, int cbMac)
{
    if (port < 0 || !is_buffer(szMac, cbMac))
        return fail(ERROR_PARAMETER, -1);
    char number[16];
    snprintf(number, sizeof number, "%d", port);
    Value mac;
    if (!get_of_interface("mac", number, mac))
        return -1;
    copy(szMac, cbMac, mac);
    return 0;
}
