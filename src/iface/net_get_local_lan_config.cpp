#include "kavonetsdk/iface.h"

#include <cstring>

#include <pthread.h>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/paths.h"

using namespace kavonet;

namespace {

// The names that the appliance was made with. They never change while it runs, so they are read once a process.
struct LocalLans {
    static constexpr int ROOM = 32;

    void load()
    {
        count = KLIBCFileGetKeyValue(DEFAULTS_FILE, "local_lan", text.buffer(), text.size(), 0) > 0 ? split() : -1;
    }

    // Cuts the text into the names; gives their number.
    int split()
    {
        int found = 0;
        char *rest = nullptr;
        for (char *name = strtok_r(text.buffer(), " ", &rest); name != nullptr; name = strtok_r(nullptr, " ", &rest)) {
            // The table's last place is never used: a name for it is one too many.
            if (found == ROOM - 1) {
                log_err("local lan exceed NUM_MAXIFACES");
                return fail(NET_ERR_NO_SPACE, -1);
            }
            names[found++] = name;
        }
        return found;
    }

    Text<256> text; // longer settings are cut
    const char *names[ROOM] = {};
    int count = 0;
};

constinit LocalLans local_lans;

bool copy_names(PKLIBSZLIST *list)
{
    KLIBCSzListRemoveAll(*list);
    for (int i = 0; i < local_lans.count; ++i) {
        if (KLIBCSzListPush(list, local_lans.names[i]) < 0)
            return false;
    }
    return true;
}

} // namespace

int KLIBNetGetLocalLanConfig(PKLIBSZLIST *ppList)
{
    static pthread_once_t loaded = PTHREAD_ONCE_INIT;
    pthread_once(&loaded, [] { local_lans.load(); });
    if (ppList != nullptr && *ppList != nullptr && !copy_names(ppList))
        return -1;
    return local_lans.count;
}
