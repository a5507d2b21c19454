// The names are read once a process, so each test has its own.
#include "iface_test.h"

#include <sys/wait.h>

namespace {

constexpr char DEFAULTS[] = "/etc.defaults/kavoinfo.conf";
constexpr char STEM[] = "net_get_local_lan_config";

class NetGetLocalLanConfig : public IfaceTest {
protected:
    // Runs a piece of work in a new process; what it expects counts here.
    template <class Work> static void in_new_process(Work work)
    {
        fflush(nullptr);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            PKLIBSZLIST list = KLIBCSzListAlloc(0);
            work(list);
            KLIBCSzListFree(list);
            fflush(nullptr);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }

    static void local_lan(const std::string &value) { write_file(DEFAULTS, "local_lan=\"" + value + "\"\n"); }

    static std::vector<std::string> items(const KLIBSZLIST *list)
    {
        std::vector<std::string> names;
        for (int i = 0; i < list->nItem; ++i)
            names.emplace_back(KLIBCSzListGet(list, i));
        return names;
    }

    // "e1 e2 ..."
    static std::string many(int count)
    {
        std::string names;
        for (int i = 1; i <= count; ++i)
            names += (i > 1 ? " e" : "e") + std::to_string(i);
        return names;
    }
};

TEST_F(NetGetLocalLanConfig, ListsTheNamesInOrder)
{
    local_lan("lbr0 eth2 eth1");
    in_new_process([](PKLIBSZLIST &list) {
        EXPECT_EQ(0, KLIBCSzListPush(&list, "old"));
        EXPECT_EQ(3, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0", "eth2", "eth1")) << "in place of what the list held";
        EXPECT_EQ(3, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0", "eth2", "eth1"));
        EXPECT_EQ(NO_ERROR_SET, last_error());
        EXPECT_THAT(support::log_lines(), IsEmpty());
    });
}

TEST_F(NetGetLocalLanConfig, CountsWithoutAList)
{
    local_lan("lbr0 eth2");
    in_new_process([](PKLIBSZLIST &list) {
        PKLIBSZLIST none = nullptr;
        EXPECT_EQ(2, KLIBNetGetLocalLanConfig(nullptr));
        EXPECT_EQ(2, KLIBNetGetLocalLanConfig(&none));
        EXPECT_EQ(nullptr, none);
        EXPECT_EQ(2, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0", "eth2"));
    });
}

TEST_F(NetGetLocalLanConfig, ReadsTheFileOnce)
{
    local_lan("lbr0");
    in_new_process([](PKLIBSZLIST &list) {
        int reads = 0;
        support::on_call("KLIBCFileGetKeyValue", [&] { ++reads; });
        EXPECT_EQ(1, KLIBNetGetLocalLanConfig(nullptr));
        local_lan("eth0 eth1");
        EXPECT_EQ(1, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0"));
        ASSERT_EQ(0, unlink(DEFAULTS));
        EXPECT_EQ(1, KLIBNetGetLocalLanConfig(&list));
        EXPECT_EQ(1, reads);
    });
}

TEST_F(NetGetLocalLanConfig, AMissingKeyStaysMissing)
{
    in_new_process([](PKLIBSZLIST &list) {
        EXPECT_EQ(0, KLIBCSzListPush(&list, "old"));
        EXPECT_EQ(-1, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), IsEmpty());
        EXPECT_THAT(support::log_lines(), IsEmpty());
        local_lan("lbr0");
        EXPECT_EQ(-1, KLIBNetGetLocalLanConfig(&list)) << "it is never read again";
        EXPECT_THAT(items(list), IsEmpty());
    });
}

TEST_F(NetGetLocalLanConfig, AMissingFileIsAMissingKey)
{
    ASSERT_EQ(0, unlink(DEFAULTS));
    in_new_process([](PKLIBSZLIST &) { EXPECT_EQ(-1, KLIBNetGetLocalLanConfig(nullptr)); });
}

TEST_F(NetGetLocalLanConfig, SplitsAtBlanksOnly)
{
    local_lan("  lbr0   eth2\teth3 eth4,eth5  ");
    in_new_process([](PKLIBSZLIST &list) {
        EXPECT_EQ(3, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0", "eth2\teth3", "eth4,eth5"));
    });
}

TEST_F(NetGetLocalLanConfig, AnEmptyValueHoldsNoName)
{
    for (const char *value : {"", " ", "    "}) {
        local_lan(value);
        in_new_process([](PKLIBSZLIST &list) {
            EXPECT_EQ(0, KLIBCSzListPush(&list, "old"));
            EXPECT_EQ(0, KLIBNetGetLocalLanConfig(&list));
            EXPECT_THAT(items(list), IsEmpty());
        });
    }
}

TEST_F(NetGetLocalLanConfig, ThirtyOneNamesFit)
{
    local_lan(many(31) + "  ");
    in_new_process([](PKLIBSZLIST &list) {
        EXPECT_EQ(31, KLIBNetGetLocalLanConfig(&list));
        EXPECT_EQ(31, list->nItem);
        EXPECT_STREQ("e31", KLIBCSzListGet(list, 30));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    });
}

TEST_F(NetGetLocalLanConfig, ThirtyTwoNamesAreTooMany)
{
    for (const int count : {32, 33, 60}) {
        local_lan(many(count));
        in_new_process([](PKLIBSZLIST &list) {
            EXPECT_EQ(0, KLIBCSzListPush(&list, "old"));
            EXPECT_EQ(-1, KLIBNetGetLocalLanConfig(&list));
            EXPECT_THAT(items(list), IsEmpty());
            EXPECT_EQ(NET_ERR_NO_SPACE, static_cast<int>(last_error().code));
            EXPECT_EQ("net_get_local_lan_config.cpp", last_error().file);
            EXPECT_EQ(LOG_ERR, logged(STEM, "local lan exceed NUM_MAXIFACES"));
            forget();
            EXPECT_EQ(-1, KLIBNetGetLocalLanConfig(&list));
            EXPECT_THAT(items(list), IsEmpty());
            EXPECT_EQ(NO_ERROR_SET, last_error()) << "that was said once";
            EXPECT_THAT(support::log_lines(), IsEmpty());
        });
    }
}

TEST_F(NetGetLocalLanConfig, ALongValueIsCut)
{
    local_lan("lbr0 " + std::string(300, 'x') + " eth1");
    in_new_process([](PKLIBSZLIST &list) {
        EXPECT_EQ(2, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0", std::string(250, 'x')));
    });
}

TEST_F(NetGetLocalLanConfig, AFailedPushFailsThatCallOnly)
{
    local_lan("lbr0 eth2 eth1");
    in_new_process([](PKLIBSZLIST &list) {
        fail_call("KLIBCSzListPush", 2);
        EXPECT_EQ(-1, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0"));
        EXPECT_EQ(3, KLIBNetGetLocalLanConfig(&list));
        EXPECT_THAT(items(list), ElementsAre("lbr0", "eth2", "eth1"));
    });
}

TEST_F(NetGetLocalLanConfig, ThreadsMeetOneReading)
{
    local_lan("lbr0 eth2");
    in_new_process([](PKLIBSZLIST &) {
        std::vector<std::thread> threads;
        std::vector<int> counts(8, -7);
        for (int &count : counts)
            threads.emplace_back([&count] { count = KLIBNetGetLocalLanConfig(nullptr); });
        for (std::thread &one : threads)
            one.join();
        EXPECT_THAT(counts, testing::Each(2));
    });
}

} // namespace
