#include "kavonetsdk/diag.h"

#include <cstring>

#include "frame/error.h"
#include "frame/name.h"
#include "frame/owner.h"

using namespace kavonet;

int KLIBNetStatGetSingle(const char *szIf, NetStat *p)
{
    constexpr int TABLE = 256;
    // Over-long names are no error here: they are just not found, because the table holds names cut to 15 characters.
    if (!is_interface_name(szIf) || p == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Owned<NetStat, KLIBNetStatFree> table(KLIBNetStatInit(TABLE));
    if (!table)
        return -1;
    const int count = KLIBNetStatGetAll(table.get(), TABLE);
    for (int i = 0; i < count; ++i) {
        if (strcmp(table[i].szName, szIf) == 0) {
            *p = table[i];
            return 0;
        }
    }
    return -1;
}
