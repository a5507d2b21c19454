// What readers and writers see of each other: files that are rewritten while they are read, and a lock that is held.
#include "appliance/resolve/resolve_test.h"

#include <atomic>
#include <chrono>
#include <thread>

#include <fcntl.h>

namespace {

class Together : public ResolveTest {
protected:
    static constexpr int REWRITES = 10'000;

    // Reads a file as any program does: opens it by its name and reads to its end. Empty when it could not be opened.
    static std::string read_once(const char *path)
    {
        const int fd = open(path, O_RDONLY | O_CLOEXEC);
        std::string all;
        char some[64]; // several reads a file, so that a change may come in between
        for (ssize_t n = 0; fd >= 0 && (n = read(fd, some, sizeof some)) > 0;)
            all.append(some, static_cast<size_t>(n));
        if (fd >= 0)
            close(fd);
        return all;
    }

    // Reads the file in two threads until the writer is done. Every content must be one of the given ones.
    static void read_while(const char *path, const Texts &whole, const std::function<void()> &write)
    {
        std::atomic<bool> done = false;
        std::atomic<long> reads = 0;
        std::atomic<int> broken = 0;
        Texts first_broken(2);
        std::vector<std::thread> readers;
        for (size_t i = 0; i < first_broken.size(); ++i) {
            readers.emplace_back([&, i] {
                while (!done) {
                    const std::string content = read_once(path);
                    ++reads;
                    if (std::find(whole.begin(), whole.end(), content) == whole.end() && broken++ == 0)
                        first_broken[i] = content;
                }
            });
        }
        while (reads < 2)
            std::this_thread::yield();
        write();
        done = true;
        for (std::thread &reader : readers)
            reader.join();
        EXPECT_EQ(0, broken) << first_broken[0] << first_broken[1];
        EXPECT_GT(reads, 100);
    }
};

TEST_F(Together, ReadersOfResolvConfSeeWholeFiles)
{
    Texts many;
    for (int i = 0; i < 100; ++i)
        many.push_back("192.0.2." + std::to_string(i));
    List lists[] = {List(Texts{"2001:db8::1"}), List(many)};
    List option({"domain\texample.org"});
    Texts whole;
    for (List &list : lists) {
        ASSERT_EQ(0, KAVONetDNSFileSet(list.get(), option.get()));
        whole.push_back(read_file(RESOLV));
    }
    read_while(RESOLV, whole, [&] {
        for (int i = 0; i < REWRITES; ++i)
            ASSERT_EQ(0, KAVONetDNSFileSet(lists[i % 2].get(), option.get()));
    });
}

TEST_F(Together, ReadersOfHostsSeeWholeFiles)
{
    const Texts names = {"a", std::string(63, 'b')};
    Texts whole;
    for (const std::string &name : names) {
        ASSERT_EQ(0, KAVOLnxSetHostname(name.c_str()));
        whole.push_back(read_file(HOSTS));
    }
    read_while(HOSTS, whole, [&] {
        for (int i = 0; i < REWRITES; ++i)
            ASSERT_EQ(0, KAVOLnxSetHostname(names[static_cast<size_t>(i % 2)].c_str()));
    });
}

TEST_F(Together, WritersOfTheListLeaveOneOfTheirs)
{
    const Texts servers = {"192.0.2.1", "192.0.2.2", "192.0.2.3"};
    std::vector<std::thread> writers;
    for (const std::string &server : servers) {
        writers.emplace_back([&server] {
            for (int i = 0; i < 10; ++i)
                EXPECT_EQ(0, KAVONetDNSSet(server.c_str()));
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    List list;
    EXPECT_EQ(0, KAVONetStaticDNSListGet(list.handle()));
    ASSERT_THAT(list.texts(), SizeIs(1));
    EXPECT_THAT(servers, testing::Contains(list.texts()[0]));
    EXPECT_EQ(read_file(STATIC), read_file(RESOLV));
}

// One holder, and everybody who asks meanwhile: each waits its five seconds and gives up without touching anything.
TEST_F(Together, AHeldLockIsAFailureOfEveryCallThatNeedsIt)
{
    ASSERT_EQ(0, sethostname("oldbox", 6));
    unlink(HOSTS);
    write_file(HOSTS, "old");
    write_file(STATIC, "nameserver\t192.0.2.1\n");
    mode_is("static");
    char text[64] = "before";
    char host[64] = "before";
    List list;
    const std::vector<std::function<int()>> calls = {
        [] { return KAVONetDNSUpdate(); },
        [] { return KAVOLnxSetHostname("box"); },
        [&] { return KAVONetDNSListGet(list.handle()); },
        [&] { return KAVONetDNSGet(text, sizeof text); },
        [&] { return KAVOLnxGetHostname(host); },
    };
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> callers;
    for (const auto &call : calls) {
        callers.emplace_back([&call] {
            EXPECT_EQ(-1, call());
            EXPECT_EQ(unsigned{NET_ERR_LOCK_FAILED}, KLIBCErrGet());
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4500));
    KLIBCFileUnlock(0x100);
    EXPECT_EQ(OLD_RESOLV, read_file(RESOLV));
    EXPECT_EQ("old", read_file(HOSTS));
    EXPECT_NE(-1, support::logged(
                      "net_dns_update\\.cpp:[0-9]+ KLIBCFileLock failed\\.\\[0x0400 config_lock\\.cpp:[0-9]+\\]"));
    for (const auto &call : calls)
        EXPECT_GE(call(), 0);
    EXPECT_STREQ("192.0.2.1", text);
    EXPECT_STREQ("box", host);
}

} // namespace
