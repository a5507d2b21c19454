#include "kavo/systemd.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include <syslog.h>

#include "core/fail.h"
#include "systemd/manager.h"

namespace kavo {
namespace {

constexpr size_t UNIT_NAME_SIZE = 256; // the manager's own limit, with the zero byte
using UnitName = char[UNIT_NAME_SIZE];

constexpr std::string_view SERVICE_TYPE = ".service";
constexpr std::string_view TYPES[] = {SERVICE_TYPE, ".socket", ".device", ".mount", ".automount", ".swap",
                                      ".target",    ".path",   ".timer",  ".slice", ".scope"};

bool has_type(std::string_view name)
{
    for (const std::string_view type : TYPES) {
        if (name.size() > type.size() && name.ends_with(type))
            return true;
    }
    return false;
}

// The letters that the manager allows in a unit's name.
bool is_unit_name(std::string_view name)
{
    for (const char c : name) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!letter && strchr(":-_.\\@", c) == nullptr)
            return false;
    }
    return !name.empty();
}

// The unit's full name; false for a name that no unit can have.
bool complete(const char *name, UnitName &unit)
{
    if (name == nullptr || !is_unit_name(name))
        return false;
    const int length = snprintf(unit, sizeof unit, "%s%s", name, has_type(name) ? "" : SERVICE_TYPE.data());
    return length > 0 && static_cast<size_t>(length) < sizeof unit;
}

int run_job(const char *method, const char *verb, const char *name)
{
    UnitName unit;
    if (!complete(name, unit))
        return fail(ERROR_PARAMETER, 0);
    Manager manager;
    if (manager.connect() && manager.run_job(method, unit))
        return 1;
    syslog(LOG_WARNING, "%s:%d Failed to %s %s. (%s)", __FILE_NAME__, __LINE__, verb, unit, manager.reason());
    return fail(ERROR_EXEC, 0);
}

} // namespace
} // namespace kavo

using namespace kavo;

extern "C" int KAVOCSystemdStart(const char *szUnit)
{
    return run_job("StartUnit", "start", szUnit);
}

extern "C" int KAVOCSystemdStop(const char *szUnit)
{
    return run_job("StopUnit", "stop", szUnit);
}

extern "C" int KAVOCSystemdReload(const char *szUnit)
{
    return run_job("ReloadUnit", "reload", szUnit);
}

extern "C" int KAVOCSystemdActiveStatusGet(const char *szUnit)
{
    UnitName unit;
    if (!complete(szUnit, unit))
        return fail(ERROR_PARAMETER, -1);
    Manager manager;
    const int active = manager.connect() ? manager.is_active(unit) : -1;
    if (active >= 0)
        return active;
    syslog(LOG_WARNING, "%s:%d Failed to ask for %s. (%s)", __FILE_NAME__, __LINE__, unit, manager.reason());
    return fail(ERROR_EXEC, -1);
}
