// A service manager for the tests of the command: hands each request to /usr/kavo/bin/unit, which a test writes.
#include "kavo/core.h"
#include "kavo/systemd.h"

namespace {

int ask(const char *request, const char *unit)
{
    return KLIBCExec("/usr/kavo/bin/unit", request, unit, nullptr, nullptr) == 0 ? 1 : 0;
}

} // namespace

extern "C" int KAVOCSystemdStart(const char *szUnit)
{
    return ask("start", szUnit);
}

extern "C" int KAVOCSystemdStop(const char *szUnit)
{
    return ask("stop", szUnit);
}

extern "C" int KAVOCSystemdReload(const char *szUnit)
{
    return ask("reload", szUnit);
}

extern "C" int KAVOCSystemdActiveStatusGet(const char *szUnit)
{
    return ask("is-active", szUnit);
}
