#include "kavonetsdk/ipv4.h"

#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/alias_store.h"

using namespace kavonet;

int KAVONetIpAliasList(const char *szIf, PKLIBSZLIST *ppList)
{
    if (!is_short_interface_name(szIf) || ppList == nullptr || *ppList == nullptr) {
        log_err("Invalid argument");
        return -1;
    }
    KLIBCSzListRemoveAll(*ppList);
    const StoredAliases store;
    json_object *settings = nullptr;
    if (!store || !json_object_object_get_ex(store.get(), szIf, &settings))
        return 0;
    const json_object *aliases = aliases_of(settings);
    if (aliases == nullptr) {
        log_err("Invalid ip alias config format");
        return -1;
    }
    for (json_object *alias : JsonElements(aliases)) {
        const char *address = nullptr;
        int prefix = 0;
        if (ParseIpAliasJson(alias, &address, &prefix, nullptr) != 0) {
            log_err("Failed to parse ip alias config");
            return -1;
        }
        if (KLIBCSzListPush(ppList, alias_text(address, prefix).c_str()) < 0) {
            log_err("KLIBCSzListPush() failed");
            return -1;
        }
    }
    return 0;
}
