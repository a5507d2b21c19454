// The script behind the unit that a change of the host name reloads.
#include <gmock/gmock.h>
#include <unistd.h>

#include "reference_files.h"
#include "support/private_root.h"

namespace {

constexpr char SCRIPT[] = "/usr/kavo/libexec/log-host";

class LogHost : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install(SCRIPT);
        record("/usr/bin/logger");
    }
};

TEST_F(LogHost, TellsTheNameThatTheKernelHas)
{
    ASSERT_EQ(0, sethostname("nas1", 4));
    ASSERT_EQ(0, reference::run({SCRIPT}));
    ASSERT_EQ(0, sethostname("-x $(id) \"", 10));
    ASSERT_EQ(0, reference::run({SCRIPT}));
    EXPECT_THAT(calls(), testing::ElementsAre(testing::EndsWith("[--] [logging as nas1]"),
                                              testing::EndsWith("[--] [logging as -x $(id) \"]")));
}

TEST_F(LogHost, FailsWithoutANameOrALog)
{
    ASSERT_EQ(0, sethostname("", 0));
    EXPECT_NE(0, reference::run({SCRIPT}));
    EXPECT_THAT(calls(), testing::IsEmpty());
    ASSERT_EQ(0, sethostname("nas1", 4));
    record("/usr/bin/logger", 1);
    EXPECT_NE(0, reference::run({SCRIPT}));
}

} // namespace
