#include "support/recorded_units.h"

#include <fstream>
#include <map>
#include <utility>

#include <dlfcn.h>

#include "kavo/systemd.h"
#include "support/private_root.h"

namespace support {
namespace {

struct Manager {
    bool recorded = false;
    std::map<std::string, int> answers;
    std::function<void(const std::string &, const std::string &)> action;
};

Manager &manager()
{
    static Manager instance;
    return instance;
}

int ask(const char *function, const char *verb, const char *unit)
{
    if (!manager().recorded)
        return reinterpret_cast<int (*)(const char *)>(dlsym(RTLD_NEXT, function))(unit);
    std::ofstream(RECORDED_CALLS, std::ios::app) << "[unit] [" << verb << "] [" << unit << "]\n";
    if (manager().action)
        manager().action(verb, unit);
    return manager().answers.at(verb);
}

} // namespace

void record_units()
{
    manager() = {true, {{"start", 1}, {"stop", 1}, {"reload", 1}, {"active", 0}}, {}};
}

void answer_unit(const std::string &verb, int result)
{
    manager().answers.at(verb) = result;
}

void on_unit(std::function<void(const std::string &verb, const std::string &unit)> action)
{
    manager().action = std::move(action);
}

void real_units()
{
    manager() = {};
}

} // namespace support

extern "C" int KAVOCSystemdStart(const char *unit)
{
    return support::ask(__func__, "start", unit);
}

extern "C" int KAVOCSystemdStop(const char *unit)
{
    return support::ask(__func__, "stop", unit);
}

extern "C" int KAVOCSystemdReload(const char *unit)
{
    return support::ask(__func__, "reload", unit);
}

extern "C" int KAVOCSystemdActiveStatusGet(const char *unit)
{
    return support::ask(__func__, "active", unit);
}
