#include "kavonetsdk/diag.h"

#include <cstdlib>

#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

NetStat *KLIBNetStatInit(unsigned int n)
{
    if (n == 0) {
        log_invalid_argument("0 != nItem", static_cast<int>(n));
        return fail<NetStat *>(NET_ERR_BAD_PARAMETER, nullptr);
    }
    auto *records = static_cast<NetStat *>(calloc(n, sizeof(NetStat)));
    if (records == nullptr)
        return fail<NetStat *>(NET_ERR_OUT_OF_MEMORY, nullptr);
    for (unsigned int i = 0; i < n; ++i)
        records[i].nFlag = 1;
    return records;
}
