#include <unistd.h>

#include "frame/log.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "kavonetsdk/pppoe.h"
#include "pppoe/relay_files.h"

using namespace kavonet;

namespace {

// Returns how many could be deleted.
int delete_files(const StringList &names)
{
    int deleted = 0;
    for (int i = 0; i < names->nItem; ++i) {
        const Path file("%s%s", RELAY_FOLDER, KLIBCSzListGet(names.get(), i));
        if (unlink(file.c_str()) == 0)
            ++deleted;
        else
            log_err("Failed to unlink [%s]", file.c_str());
    }
    return deleted;
}

} // namespace

int KAVONetClearPPPoERelayConfigAll(void)
{
    StringList names(KLIBCSzListAlloc(512));
    if (!names) {
        log_err("Failed to alloc memory for list");
        return -1;
    }
    if (KLIBCFileExist(RELAY_FOLDER_ITSELF) == 0)
        return 0;
    if (KLIBCFileCheckDir(RELAY_FOLDER) == 0)
        return -1;
    // A full listing may have left some out; the next one finds them.
    do {
        KLIBCSzListRemoveAll(names.get());
        if (KLIBCFileEnumDir(RELAY_FOLDER, 0, names.handle(), RELAYS_AT_MOST) < 0) {
            log_err("Failed to enum [%s]", RELAY_FOLDER);
            return -1;
        }
    } while (delete_files(names) > 0 && names->nItem == RELAYS_AT_MOST);
    return 0;
}
