// The kernel's interfaces, read once for a whole list, and the socket that they are asked through.
#pragma once

#include "frame/owner.h"
#include "kavonetsdk/diag.h"
#include "kavonetsdk/iface.h"

namespace kavonet {

class InterfaceTable {
public:
    static constexpr int ROOM = 256; // interfaces that are looked at

    InterfaceTable() : rows_(KLIBNetStatInit(ROOM)) {}

    // False without memory.
    explicit operator bool() const { return static_cast<bool>(rows_); }

    // False when there are no interfaces or no socket is to be had.
    bool read()
    {
        count_ = KLIBNetStatGetAll(rows_.get(), ROOM);
        return count_ > 0 && socket_;
    }

    [[nodiscard]] const Socket &socket() const { return socket_; }

    // Offers each interface in natural order to `keep`, with the entry that it would fill (null when nobody wants entries),
    // until max are kept. Gives their number.
    template <class Keep> int walk(KAVONETIFENTRY *entries, int max, Keep keep) const
    {
        int kept = 0;
        for (int i = 0; i < count_ && kept < max; ++i) {
            if (keep(rows_[i].szName, entries != nullptr ? &entries[kept] : nullptr))
                ++kept;
        }
        return kept;
    }

private:
    Owned<NetStat, KLIBNetStatFree> rows_;
    Socket socket_;
    int count_ = 0;
};

} // namespace kavonet
