#include "kavonetsdk/net_int.h"

#include <cstring>

#include <net/if.h>
#include <unistd.h>

#include "frame/kernel_file.h"

namespace kavonet {

namespace {

// Adds the words of a line after the first, which is the bond itself.
bool add_members(Text<256> &line, StringList &words, StringList &members)
{
    KLIBCSzListRemoveAll(words.get());
    KLIBCStrTrimSpace(line.buffer(), 0);
    const int count = KLIBCStrSep(line.c_str(), " ", words.handle());
    for (int i = 1; i < count; ++i) {
        if (KLIBCSzListPush(members.handle(), KLIBCSzListGet(words.get(), i)) < 0)
            return false;
    }
    return count >= 0;
}

} // namespace

OvsBondMembers::State OvsBondMembers::read()
{
    if (!asked_) {
        asked_ = true;
        state_ = read_file();
    }
    return state_;
}

OvsBondMembers::State OvsBondMembers::read_file()
{
    *members_.handle() = KLIBCSzListAlloc(512);
    if (!members_)
        return State::NO_MEMORY;
    if (access(OVS_BONDS_FILE, F_OK) != 0)
        return State::ABSENT;
    KernelFile file(OVS_BONDS_FILE);
    if (!file)
        return State::NOT_OPENED;
    StringList words(KLIBCSzListAlloc(512));
    if (!words)
        return State::NO_MEMORY;
    Text<256> line;
    while (file.next_line(line)) {
        if (!add_members(line, words, members_))
            return State::NO_MEMORY;
    }
    return State::READ;
}

bool OvsBondMembers::hold(const char *name)
{
    if (read() != State::READ)
        return false;
    for (int i = 0; i < members_->nItem; ++i) {
        if (strcmp(KLIBCSzListGet(members_.get(), i), name) == 0)
            return true;
    }
    return false;
}

bool is_bond_member(const char *name, int flags, OvsBondMembers &ovs)
{
    return (flags & IFF_SLAVE) != 0 || ovs.hold(name);
}

} // namespace kavonet
