#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "iface/block_keys.h"
#include "kavo/core.h"

using namespace kavonet;

int KAVONetGetIfBlock(const char *szIf, unsigned int *pFlags)
{
    if (!is_short_interface_name(szIf) || pFlags == nullptr)
        return fail_at(23, NET_ERR_BAD_PARAMETER, -1);
    const Path path = ifcfg_path(szIf);
    BlockValue value;
    const int found = KLIBCFileGetKeyValue(path.c_str(), BLOCK_COUNT_KEY, value.buffer(), value.size(), 0);
    if (found < 0) {
        log_err("Failed to get key [%s]", BLOCK_COUNT_KEY);
        return -1;
    }
    // A count of 0 means that no key is looked at, whatever the keys say.
    if (found == 0 || block_count(value) == 0)
        return 0;
    for (const BlockKey &block : BLOCK_KEYS) {
        if (KLIBCFileGetKeyValue(path.c_str(), block.key, value.buffer(), value.size(), 0) > 0 && says_yes(value))
            *pFlags |= block.flag;
    }
    return 0;
}
