// The store of aliases as a file: what is read from whatever stands there, and that it is replaced whole or not at all.
#include <chrono>

#include <sys/mount.h>
#include <sys/resource.h>

#include "appliance/ipv4/alias_test.h"
#include "support/kill_stepper.h"

namespace {

class AliasStore : public AliasTest {
protected:
    static struct stat status_of(const char *path)
    {
        struct stat status = {};
        EXPECT_EQ(0, lstat(path, &status));
        return status;
    }

    static std::string failure() { return std::string("Failed to write IP alias config: ") + STORE; }

    static std::vector<std::string> list_of(const char *name)
    {
        TextList list;
        EXPECT_EQ(0, KAVONetIpAliasList(name, &list.list));
        return list.texts();
    }

    const std::string first = "{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}";
    const std::string second = "{" + interface("eth0", {alias(0, "10.0.0.1"), alias(1, "10.0.0.2")}) + "}";
};

// ---- Reading

TEST_F(AliasStore, OfAMemberThatStandsTwiceTheLastCountsInTheFirstsPlace)
{
    write_store("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "," + interface("eth1", {}) + "," +
                interface("eth0", {alias(3, "10.0.0.2")}) + "}");
    EXPECT_THAT(list_of("eth0"), ElementsAre("10.0.0.2/24"));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24));
    EXPECT_EQ("{" + interface("eth0", {alias(0, "10.0.0.1"), alias(3, "10.0.0.2")}) + "," + interface("eth1", {}) + "}",
              store());
}

TEST_F(AliasStore, WhatFollowsTheObjectIsNotRead)
{
    write_store(first + " trailing");
    EXPECT_THAT(list_of("eth0"), ElementsAre("10.0.0.1/24"));
}

TEST_F(AliasStore, DeepNestingCountsAsMissing)
{
    for (const int depth : {33, 1000, 10'000, 1'000'000}) {
        write_store(std::string(static_cast<size_t>(depth), '[') + std::string(static_cast<size_t>(depth), ']'));
        EXPECT_THAT(list_of("eth0"), IsEmpty());
        EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1"));
        EXPECT_EQ(0, IpAliasApply(nullptr, nullptr));
        write_store("{\"eth0\":{\"ip_alias\":" + std::string(static_cast<size_t>(depth), '[') +
                    std::string(static_cast<size_t>(depth), ']') + "}}");
        EXPECT_THAT(list_of("eth0"), IsEmpty());
        EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24));
        EXPECT_EQ(first, store());
    }
}

TEST_F(AliasStore, AMegabyteOfWhiteSpaceIsNothing)
{
    const std::string space(1 << 20, ' ');
    write_store(space + first + space);
    EXPECT_THAT(list_of("eth0"), ElementsAre("10.0.0.1/24"));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_EQ(second, store());
    EXPECT_LT(read_file(STORE).size(), 1000U);
    write_store(space);
    EXPECT_THAT(list_of("eth0"), IsEmpty());
}

TEST_F(AliasStore, BytesThatAreNoTextAreNoStore)
{
    for (const std::string &text :
         {std::string("\0", 1), std::string("{\0}", 3), std::string("\xFF\xFE{}"),
          std::string("{\"eth0\":{\"ip_alias\":[\0]}}", 25), std::string(100'000, '{'), std::string(100'000, '"')}) {
        write_store(text);
        EXPECT_THAT(list_of("eth0"), IsEmpty());
        EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1"));
    }
}

// A store of so many aliases on a hundred interfaces.
std::string store_of(int aliases)
{
    std::string text = "{";
    for (int i = 0; i < 100; ++i) {
        text += (i == 0 ? "\"eth" : ",\"eth") + std::to_string(i) + "\":{\"ip_alias\":[";
        for (int j = 0; j < aliases / 100; ++j)
            text += (j == 0 ? "{\"label\":" : ",{\"label\":") + std::to_string(j) + ",\"IP\":\"10." +
                    std::to_string(i) + "." + std::to_string(j / 250) + "." + std::to_string(j % 250) +
                    "\",\"prefixlen\":24}";
        text += "]}";
    }
    return text + "}";
}

TEST_F(AliasStore, TenThousandAliasesOnAHundredInterfaces)
{
    write_store(store_of(10'000));
    EXPECT_EQ(100U, list_of("eth99").size());
    EXPECT_EQ("10.99.0.99/24", list_of("eth99").back());
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.99.0.99", 24));
    EXPECT_EQ(LOG_ERR, logged_in("net_ip_alias_add.cpp", "Find duplicated IP alias 10.99.0.99"));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth99", "10.99.9.9", 24));
    EXPECT_EQ(101U, list_of("eth99").size());
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.99.0.99"));
    EXPECT_EQ(100U, list_of("eth99").size());
    EXPECT_EQ(0, IpAliasUnapply(nullptr, nullptr)) << "the kernel has none";
    const TextList none{"172.16.0.0/24"};
    EXPECT_EQ(0, IpAliasApply("eth5", none.list));
    clear();
    EXPECT_EQ(0, IpAliasApply("eth5", nullptr));
    EXPECT_EQ(102U - 1, calls().size()) << "a hundred commands and the event before; the recorded ip changed nothing";
}

TEST_F(AliasStore, AStoreThatCannotBeReadNowIsNotReplaced)
{
    write_store(first);
    rlimit before = {};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    const int result = KAVONetIpAliasAdd("eth0", "10.0.0.2", 24);
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_EQ(-1, result);
    EXPECT_EQ(LOG_ERR, logged_in("net_ip_alias_add.cpp", std::string("Failed to read IP alias config: ") + STORE));
    EXPECT_EQ(first, read_file(STORE));
    EXPECT_THAT(calls(), IsEmpty());
}

// ---- Writing

TEST_F(AliasStore, ModeAndOwnerAreKept)
{
    for (const mode_t mode : {0600U, 0644U, 0666U, 0400U, 0640U}) {
        write_store(first);
        ASSERT_EQ(0, chown(STORE, 12, 34));
        ASSERT_EQ(0, chmod(STORE, mode));
        EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
        EXPECT_EQ(second, store());
        EXPECT_EQ(mode, status_of(STORE).st_mode & 07777);
        EXPECT_EQ(12U, status_of(STORE).st_uid);
        EXPECT_EQ(34U, status_of(STORE).st_gid);
    }
}

TEST_F(AliasStore, ALinkIsFollowed)
{
    shell("mkdir /etc/aliases.d");
    write_file("/etc/aliases.d/store", first);
    ASSERT_EQ(0, symlink("../../../../etc/aliases.d/store", STORE));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_TRUE(S_ISLNK(status_of(STORE).st_mode));
    EXPECT_EQ(second, store());
    EXPECT_EQ(std::vector<std::string>{"store"}, entries("/etc/aliases.d"));
}

TEST_F(AliasStore, OnlyAFileIsReplaced)
{
    mkdir(STORE, 0755);
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_EQ(LOG_ERR, logged_in("net_ip_alias_add.cpp", failure()));
    EXPECT_TRUE(S_ISDIR(status_of(STORE).st_mode));
    rmdir(STORE);
    unopenable(STORE);
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_TRUE(S_ISSOCK(status_of(STORE).st_mode));
}

TEST_F(AliasStore, WhoHasItOpenReadsTheOldOneToItsEnd)
{
    write_store(first);
    FILE *reader = fopen(STORE, "re");
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    char old[4096] = "";
    EXPECT_EQ(first.size(), fread(old, 1, sizeof old, reader));
    EXPECT_EQ(first, old);
    fclose(reader);
}

TEST_F(AliasStore, AKillAtAnySystemCallLeavesTheOldStoreOrTheNewOne)
{
    write_store(first);
    ASSERT_EQ(0, chmod(STORE, 0640));
    unlink("/usr/kavo/etc/plugins/net/ip_alias_add/50-follower");
    bool seen_old = false;
    bool seen_new = false;
    const int kills = support::kill_before_each_call(
        [] {
            if (KAVONetIpAliasAdd("eth0", "10.0.0.2", 24) != 0)
                _exit(1);
        },
        [&](int n) {
            const std::string now = store();
            ASSERT_TRUE(now == first || now == second) << "killed before call " << n << ": " << now;
            ASSERT_FALSE(seen_new && now == first) << "killed before call " << n; // what has come stays
            ASSERT_EQ(0640U, status_of(STORE).st_mode & 07777);
            seen_old = seen_old || now == first;
            seen_new = seen_new || now == second;
            for (const std::string &name : entries(FOLDER)) {
                if (name != "ip_alias")
                    unlink((std::string(FOLDER) + "/" + name).c_str());
            }
            write_store(first);
            ASSERT_EQ(0, chmod(STORE, 0640));
        });
    EXPECT_GT(kills, 30);
    EXPECT_TRUE(seen_old);
    EXPECT_TRUE(seen_new) << "there are calls behind the rename too";
    EXPECT_EQ(second, store()) << "the one that got through";
}

TEST_F(AliasStore, AKillWhileOneIsDeletedDoesTheSame)
{
    write_store(second);
    unlink("/usr/kavo/etc/plugins/net/ip_alias_delete/50-follower");
    bool seen_new = false;
    support::kill_before_each_call(
        [] {
            if (KAVONetIpAliasDelete("10.0.0.2") != 0)
                _exit(1);
        },
        [&](int n) {
            const std::string now = store();
            ASSERT_TRUE(now == first || now == second) << "killed before call " << n << ": " << now;
            seen_new = seen_new || now == first;
            for (const std::string &name : entries(FOLDER)) {
                if (name != "ip_alias")
                    unlink((std::string(FOLDER) + "/" + name).c_str());
            }
            write_store(second);
        });
    EXPECT_TRUE(seen_new);
    EXPECT_EQ(first, store());
}

TEST_F(AliasStore, AFullDiskLeavesTheOldStore)
{
    constexpr size_t PAGE = 4096;
    ASSERT_EQ(0, mount("tmpfs", FOLDER, "tmpfs", 0, "size=64k,mode=755"));
    std::vector<std::string> aliases;
    for (int i = 0; i < 250; ++i)
        aliases.push_back(alias(i, "10.0.0." + std::to_string(i)));
    const std::string before = "{" + interface("eth0", aliases) + "}"; // 4 pages, 7 when it is written
    write_store(before);
    int failures = 0;
    bool done = false;
    for (size_t room = 0; room <= 10 && !done; ++room) {
        write_file(std::string(FOLDER) + "/filler", std::string((16 - 4 - room) * PAGE, 'f'));
        support::clear_log();
        done = KAVONetIpAliasAdd("eth0", "10.0.1.1", 24) == 0;
        if (!done) {
            ++failures;
            EXPECT_EQ(LOG_ERR, logged_in("net_ip_alias_add.cpp", failure()));
            EXPECT_EQ(before, read_file(STORE)) << room;
        }
        EXPECT_EQ((std::vector<std::string>{"filler", "ip_alias"}), entries(FOLDER)) << room;
    }
    EXPECT_TRUE(done);
    EXPECT_GT(failures, 4) << "it failed at each of its pages";
    EXPECT_THAT(store(), HasSubstr(alias(250, "10.0.1.1")));
    EXPECT_EQ(0, umount(FOLDER));
}

TEST_F(AliasStore, AFolderWithoutRoomForANameLeavesTheOldStore)
{
    ASSERT_EQ(0, mount("tmpfs", FOLDER, "tmpfs", 0, "nr_inodes=2,mode=755"));
    write_store(first);
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_EQ(first, read_file(STORE));
    EXPECT_EQ(0, umount(FOLDER));
}

TEST_F(AliasStore, ARenameThatFailsLeavesTheOldStore)
{
    write_store(first);
    fail_call("rename");
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_EQ(LOG_ERR, logged_in("net_ip_alias_add.cpp", failure()));
    EXPECT_EQ(first, read_file(STORE));
    EXPECT_EQ(std::vector<std::string>{"ip_alias"}, entries(FOLDER));
}

TEST_F(AliasStore, AReadOnlyFolderLeavesTheOldStore)
{
    write_store(first);
    ASSERT_EQ(0, mount(FOLDER, FOLDER, nullptr, MS_BIND, nullptr));
    ASSERT_EQ(0, mount(nullptr, FOLDER, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_EQ(LOG_ERR, logged_in("net_ip_alias_add.cpp", failure()));
    EXPECT_EQ(first, read_file(STORE));
    EXPECT_EQ(0, umount(FOLDER));
}

} // namespace
