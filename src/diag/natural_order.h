// The order in which interfaces are listed: names as people count them, eth2 before eth10.
#pragma once

#include <cstring>

#include "kavonetsdk/diag.h"

namespace kavonet {

inline bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// The number that a text begins with. Names are too short for it to overflow.
inline unsigned long long leading_number(const char *text)
{
    unsigned long long number = 0;
    for (; is_digit(*text); ++text)
        number = number * 10 + static_cast<unsigned long long>(*text - '0');
    return number;
}

// Below, equal to or above zero as `a` stands before, beside or after `b`. The numbers are compared from the first digit
// on that both names hold, so eth0 and eth0.10 stand beside each other.
inline int natural_order(const char *a, const char *b)
{
    constexpr int POSITIONS = 16;
    for (int i = 0; i < POSITIONS; ++i) {
        if (is_digit(a[i]) && is_digit(b[i])) {
            const unsigned long long left = leading_number(a + i);
            const unsigned long long right = leading_number(b + i);
            return (left > right) - (left < right);
        }
        if (a[i] != b[i])
            return strcmp(a + i, b + i);
        if (a[i] == '\0')
            return 0;
    }
    return 0;
}

// Where a record belongs among the `count` sorted ones before it, behind those that it stands beside. It is looked for from
// the end: the kernel lists interfaces as they were made, so most are in their place and few are far from it.
inline int place_of(const NetStat &record, const NetStat *sorted, int count)
{
    int high = count;
    int step = 1;
    while (high >= step && natural_order(sorted[high - step].szName, record.szName) > 0) {
        high -= step;
        step *= 2;
    }
    int low = high >= step ? high - step + 1 : 0;
    while (low < high) {
        const int middle = low + (high - low) / 2;
        if (natural_order(sorted[middle].szName, record.szName) <= 0)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

// Sorts, and keeps what stands beside each other in the kernel's order.
inline void sort_naturally(NetStat *records, int count)
{
    for (int i = 1; i < count; ++i) {
        const int place = place_of(records[i], records, i);
        if (place == i)
            continue;
        const NetStat moved = records[i];
        memmove(records + place + 1, records + place, static_cast<size_t>(i - place) * sizeof(NetStat));
        records[place] = moved;
    }
}

} // namespace kavonet
