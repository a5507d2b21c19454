// What brings the running system in line with the files.
#pragma once

#include "frame/text.h"
#include "kavo/core.h"
#include "kavonetsdk/virtual.h"

namespace kavonet {

inline constexpr int BOND_MEMBERS = sizeof(KAVOLINKAGGROPT::szSlave) / sizeof(KAVOLINKAGGROPT::szSlave[0]);

// The appliance's script, which brings the bond and its members to what their files say.
class NetworkScript {
public:
    explicit NetworkScript(KAVOLINKAGGROPT &bond)
    {
        char **next = arguments_;
        *next++ = program_;
        *next++ = verb_;
        *next++ = bond.szIfname;
        for (int i = 0; i < bond.nSlave; ++i)
            *next++ = bond.szSlave[i];
    }
    NetworkScript(const NetworkScript &) = delete;
    NetworkScript &operator=(const NetworkScript &) = delete;

    // What becomes of it does not count: the files are what was asked for.
    void run(const char *verb)
    {
        copy_text(verb_, verb);
        KLIBCExecv(program_, arguments_, 1);
    }

private:
    char program_[sizeof "/etc/rc.network"] = "/etc/rc.network";
    char verb_[sizeof "start"] = "";
    char *arguments_[3 + BOND_MEMBERS + 1] = {};
};

} // namespace kavonet
