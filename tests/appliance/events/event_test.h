// What the tests of the event functions share.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <syslog.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/event.h"
#include "support/tidy_root.h"

using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_bare;
using support::logged_in;
using support::NO_ERROR_SET;
using testing::ElementsAre;
using testing::IsEmpty;

class EventTest : public support::TidyRoot {
protected:
    static constexpr int PRE = 4;
    static constexpr int POST = 5;

    void SetUp() override
    {
        TidyRoot::SetUp();
        support::on_call("KLIBPluginExit", [this] { ++exits_; });
    }

    // Makes a platform call fail and counts from there the contexts that are closed.
    void make_fail(const char *function, int n = 1)
    {
        exits_ = 0;
        support::clear_log();
        support::clear_error();
        support::clear_faults();
        support::on_call("KLIBPluginExit", [this] { ++exits_; });
        fail_call(function, n);
    }

    // Makes the opening fail when the platform has filled the handle already.
    void make_half_open()
    {
        constexpr KLIBPLUGINHANDLE HALF_OPEN = 4711;
        make_fail("KLIBPluginSDKInit");
        support::leave_handle(HALF_OPEN);
    }

    [[nodiscard]] int exits() const { return exits_; }

    struct FreeList {
        void operator()(PKLIBSZLIST list) const { KLIBCSzListFree(list); }
    };
    static std::unique_ptr<KLIBSZLIST, FreeList> servers(const std::vector<std::string> &addresses)
    {
        PKLIBSZLIST list = KLIBCSzListAlloc(0);
        for (const std::string &address : addresses)
            KLIBCSzListPush(&list, address.c_str());
        return std::unique_ptr<KLIBSZLIST, FreeList>(list);
    }

    // The platform's own record is all that a failed platform call leaves: the library sets no code of its own.
    static void expect_no_code_of_ours() { EXPECT_STREQ("fault.c", KLIBCErrorGetFile()); }

private:
    int exits_ = 0;
};
