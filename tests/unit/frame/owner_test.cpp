#include "frame/owner.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/faults.h"
#include "support/read_back.h"

using namespace kavonet;

namespace {

int freed = 0;
int *last_freed = nullptr;

void free_number(int *number)
{
    ++freed;
    last_freed = number;
}

using Number = Owned<int, free_number>;

class Owners : public testing::Test {
protected:
    void SetUp() override
    {
        freed = 0;
        last_freed = nullptr;
    }
    void TearDown() override { support::clear_faults(); }

    // The calls of a function from now on.
    static const int &calls_of(const char *function)
    {
        static int count;
        count = 0;
        support::on_call(function, [] { ++count; });
        return count;
    }
};

TEST_F(Owners, GiveBackOnceWhatTheyHold)
{
    int numbers[2] = {7, 8};
    {
        const Number number(numbers);
        EXPECT_TRUE(number);
        EXPECT_EQ(numbers, number.get());
        EXPECT_EQ(8, number[1]);
    }
    EXPECT_EQ(1, freed);
    EXPECT_EQ(numbers, last_freed);
}

TEST_F(Owners, GiveNothingBackWhenTheyHoldNothing)
{
    {
        const Number none;
        const Number null(nullptr);
        EXPECT_FALSE(none);
        EXPECT_FALSE(null);
    }
    EXPECT_EQ(0, freed);
}

TEST_F(Owners, LetGo)
{
    int value = 7;
    {
        Number number(&value);
        EXPECT_EQ(&value, number.release());
        EXPECT_FALSE(number);
    }
    EXPECT_EQ(0, freed);
}

TEST_F(Owners, FollowWhatMoves)
{
    int first = 1;
    int second = 2;
    {
        Number number(&first);
        *number.handle() = &second;
    }
    EXPECT_EQ(1, freed);
    EXPECT_EQ(&second, last_freed);
}

TEST_F(Owners, HoldListsThatGrow)
{
    StringList list(KLIBCSzListAlloc(0));
    ASSERT_TRUE(list);
    for (int i = 0; i < 2000; ++i)
        ASSERT_GE(KLIBCSzListPush(list.handle(), "eth0"), 0);
    EXPECT_EQ(2000, list->nItem);
}

TEST_F(Owners, CloseFiles)
{
    const auto before = support::open_descriptors();
    {
        const File file(fopen("/dev/null", "re"));
        EXPECT_TRUE(file);
        EXPECT_NE(before, support::open_descriptors());
    }
    EXPECT_EQ(before, support::open_descriptors());
}

TEST_F(Owners, CloseDescriptorsAndKeepErrno)
{
    const auto before = support::open_descriptors();
    {
        const Descriptor descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
        EXPECT_TRUE(descriptor);
        EXPECT_GE(descriptor.get(), 0);
        const Descriptor none;
        EXPECT_FALSE(none);
        const Descriptor failed(-1);
        EXPECT_FALSE(failed);
        errno = ENODEV;
    }
    EXPECT_EQ(ENODEV, errno);
    EXPECT_EQ(before, support::open_descriptors());
    {
        const Descriptor closed_already(9999);
        errno = ENODEV;
    }
    EXPECT_EQ(ENODEV, errno);
}

TEST_F(Owners, OpenAndCloseSockets)
{
    const auto before = support::open_descriptors();
    {
        const Socket socket;
        ASSERT_TRUE(socket);
        int type = 0;
        socklen_t length = sizeof type;
        EXPECT_EQ(0, getsockopt(socket.get(), SOL_SOCKET, SO_TYPE, &type, &length));
        EXPECT_EQ(SOCK_DGRAM, type);
        EXPECT_EQ(FD_CLOEXEC, fcntl(socket.get(), F_GETFD)) << "no command inherits it";
    }
    EXPECT_EQ(before, support::open_descriptors());
    support::fail_call("socket");
    EXPECT_FALSE(Socket());
}

TEST_F(Owners, DoNotGiveBackALockTheyDidNotGet)
{
    support::fail_call("KLIBCFileLock");
    const int &unlocks = calls_of("KLIBCFileUnlock");
    {
        const ConfigLock lock(ConfigLock::NETWORK_WRITE);
        EXPECT_FALSE(lock);
    }
    EXPECT_EQ(0, unlocks);
}

TEST_F(Owners, CloseOnlyEventsThatWereOpened)
{
    const int &exits = calls_of("KLIBPluginExit");
    {
        Event event("net/owner_test");
        EXPECT_TRUE(event);
        EXPECT_EQ(1, KLIBPluginHasInit(event.handle()));
        EXPECT_TRUE(event.set("IFNAME", "eth0"));
    }
    EXPECT_EQ(1, exits);
    support::fail_call("KLIBPluginSDKInit");
    {
        const Event event("net/owner_test");
        EXPECT_FALSE(event);
    }
    EXPECT_EQ(1, exits);
    support::fail_call("KLIBPluginSDKInit");
    {
        const Event event("net/owner_test", Event::Closing::ALWAYS);
        EXPECT_FALSE(event);
    }
    EXPECT_EQ(2, exits);
}

TEST_F(Owners, TellWhetherAnEventTookItsArguments)
{
    Event event("net/owner_test");
    support::fail_call("KLIBPluginSetArg");
    EXPECT_FALSE(event.set("IFNAME", "eth0"));
    EXPECT_TRUE(event.set("IFNAME", "eth0"));
    support::fail_call("KLIBPluginAction");
    EXPECT_FALSE(event.fire(Event::POST));
}

} // namespace
