// How bonds share their load. The numbering is the library's own, not the kernel's.
#pragma once

#include "kavonetsdk/virtual.h"

namespace kavonet {

// Null where a mode is Open vSwitch's, which the kernel's driver knows nothing of.
struct BondMode {
    KAVOLINKAGGRMODE mode;
    const char *name;
    const char *kernel_line; // what the driver's mode file begins with
    const char *options;     // the value of BONDING_OPTS, its quotes included
};

// In the order in which names are compared.
inline constexpr BondMode BOND_MODES[] = {
    {1, "balance-alb", "balance-alb 6", R"("mode=6 use_carrier=0 miimon=100 updelay=100")"},
    {3, "balance-xor", "balance-xor 2", R"("mode=2 use_carrier=0 miimon=100 updelay=100")"},
    {2, "802.3ad", "802.3ad 4", R"("mode=4 use_carrier=0 miimon=100 updelay=100 lacp_rate=fast")"},
    {4, "active-backup", "active-backup 1", R"("mode=1 use_carrier=0 miimon=100 updelay=100")"},
    {5, "balance-rr", "balance-rr 0", R"("mode=0 use_carrier=0 miimon=100 updelay=100")"},
    {6, "ovs-active-backup", nullptr, nullptr},
    {7, "balance-slb", nullptr, nullptr},
    {8, "balance-tcp", nullptr, nullptr},
};

inline constexpr KAVOLINKAGGRMODE NO_BOND = 0;
inline constexpr KAVOLINKAGGRMODE MODE_8023AD = 2;
inline constexpr KAVOLINKAGGRMODE LAST_MODE = 8;

} // namespace kavonet
