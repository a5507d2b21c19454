#include <cerrno>
#include <cstring>

#include "frame/log.h"
#include "frame/owner.h"
#include "kavonetsdk/pppoe.h"
#include "pppoe/relay_files.h"

using namespace kavonet;

namespace {

bool list_interfaces(StringList &names)
{
    // Deliberately not the mode that the folder gets with a first setting.
    if (!make_relay_folder(0754)) {
        log_err("Generat directory [%s] failed(%d)", RELAY_FOLDER, errno);
        return false;
    }
    return names && KLIBCFileEnumDir(RELAY_FOLDER, 0, names.handle(), RELAYS_AT_MOST) >= 0;
}

// What a setting is written to beside its file, ".eth0.Xk3_9aBc", and what a crash may have left of it.
bool is_temporary(const char *name)
{
    constexpr size_t LETTERS = 8;
    const size_t length = strlen(name);
    return name[0] == '.' && length > LETTERS + 2 && name[length - LETTERS - 1] == '.';
}

} // namespace

int KAVONetApplyPPPoERelayConfigAll(void)
{
    StringList names(KLIBCSzListAlloc(512));
    if (!list_interfaces(names)) {
        log_err("Failed to get interfaces' config");
        return -1;
    }
    for (int i = 0; i < names->nItem; ++i) {
        const char *name = KLIBCSzListGet(names.get(), i);
        if (!is_temporary(name) && KAVONetApplyPPPoERelayConfig(name) != 0)
            return -1;
    }
    return 0;
}
