#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/ifcfg_keys.h"
#include "frame/name.h"
#include "virtual/bond_files.h"

using namespace kavonet;

namespace {

bool fill_enslaved(IfcfgKeys &keys, const char *master)
{
    keys.set("USERCTL", "no");
    keys.set("MASTER", master);
    keys.set("SLAVE", "yes");
    return static_cast<bool>(keys);
}

// A port that stands for itself again needs a method to get its address by.
bool fill_freed(IfcfgKeys &keys, const Path &path)
{
    keys.remove("USERCTL");
    keys.remove("BONDING_OPTS");
    keys.remove("MASTER");
    keys.remove("SLAVE");
    return KAVONetLinkAggrConfUpdateBootProto(path.c_str(), keys.set_keys()) >= 0 && keys;
}

} // namespace

int KAVONetLinkAggrConfSetSlave(const char *szPort, int blEnslave, const char *szMaster)
{
    const bool enslave = blEnslave != 0;
    if (!is_short_interface_name(szPort) || (enslave && !is_short_interface_name(szMaster)))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    IfcfgKeys keys;
    if (!keys)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const Path path = ifcfg_path(szPort);
    keys.set("DEVICE", szPort);
    if (!(enslave ? fill_enslaved(keys, szMaster) : fill_freed(keys, path)))
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    // A port without a file has nothing to save; its file is made here.
    copy_file(path, saved_path(szPort));
    return keys.write(path) ? 0 : -1;
}
