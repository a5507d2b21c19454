// The address that the two halves of a high-availability pair share on an interface.
#pragma once

#include "frame/text.h"
#include "kavo/ha.h"

namespace kavonet {

struct HaAddress {
    Text<20> address;
    Text<20> mask;

    // False when the pair shares none on the interface.
    bool read(const char *name)
    {
        return KAVOHAGetRelatedIFInfo(name, address.buffer(), address.size(), mask.buffer(), mask.size()) == 0;
    }

    // Puts it into a record of either kind.
    template <class Record> void put_into(Record &record) const
    {
        copy_text(record.szAddr, address.c_str());
        copy_text(record.szMask, mask.c_str());
    }
};

} // namespace kavonet
