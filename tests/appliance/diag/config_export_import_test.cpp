// KAVOConfigExport and KAVOConfigImport
#include "config_test.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include "support/kill_stepper.h"

using config_test::Hash;
using config_test::Pairs;
using support::entries;
using support::fail_call;
using support::on_call;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using namespace std::string_literals;

// Functions of libc that fail here when it is their turn and else pass on.
#define PASS_ON(result, name, parameters, arguments, failure, error)                                                   \
    extern "C" result name parameters                                                                                  \
    {                                                                                                                  \
        if (support::fails_now(#name)) {                                                                               \
            errno = error;                                                                                             \
            return failure;                                                                                            \
        }                                                                                                              \
        static const auto next = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name));                      \
        return next arguments;                                                                                         \
    }

PASS_ON(char *, strdup, (const char *text) noexcept, (text), nullptr, ENOMEM)
PASS_ON(FILE *, fopen64, (const char *path, const char *mode), (path, mode), nullptr, EACCES)
PASS_ON(FILE *, fdopen, (int fd, const char *mode) noexcept, (fd, mode), nullptr, ENOMEM)
PASS_ON(int, fseek, (FILE * file, long offset, int from), (file, offset, from), -1, ESPIPE)
PASS_ON(long, ftell, (FILE * file), (file), -1, EOVERFLOW)
PASS_ON(int, fchmod, (int fd, mode_t mode) noexcept, (fd, mode), -1, EPERM)
PASS_ON(const char *, KLIBCSzHashGetValue, (PKLIBSZHASH hash, const char *key), (hash, key), nullptr, EIO)

namespace {

constexpr int ERROR = 3;
constexpr int INFO = 6;

// ---- Export

class Export : public config_test::ConfigTest {
protected:
    // What an export that must succeed gives.
    static Pairs exported(const std::string &patterns)
    {
        Hash hash;
        EXPECT_EQ(0, KAVOConfigExport(hash.handle(), patterns.c_str()));
        return hash.pairs();
    }
};

TEST_F(Export, MapsPathsToWholeContents)
{
    const std::string large(300'000, 'x');
    write_file(in_folder("ifcfg-eth0"), "DEVICE=eth0\n");
    write_file(in_folder("ifcfg-eth1"), "no newline at the end");
    write_file(in_folder("ifcfg-eth2"), "");
    write_file(in_folder("ifcfg-eth3"), large + "\n");
    write_file(in_folder("other"), "not asked for");
    EXPECT_THAT(exported("/etc/backed/ifcfg-*"),
                UnorderedElementsAre(std::pair(in_folder("ifcfg-eth0"), "DEVICE=eth0\n"s),
                                     std::pair(in_folder("ifcfg-eth1"), "no newline at the end"s),
                                     std::pair(in_folder("ifcfg-eth2"), ""s),
                                     std::pair(in_folder("ifcfg-eth3"), large + "\n")));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Export, WalksEachPatternFromTheLastNameToTheFirst)
{
    for (const char *name : {"b", "a", "c"})
        write_file(in_folder(name), name);
    write_file("/etc/second/z", "z");
    EXPECT_THAT(exported("/etc/second/*;/etc/backed/*"),
                ElementsAre(std::pair("/etc/second/z"s, "z"s), std::pair(in_folder("c"), "c"s),
                            std::pair(in_folder("b"), "b"s), std::pair(in_folder("a"), "a"s)));
}

TEST_F(Export, AddsToWhatTheHashHolds)
{
    write_file(in_folder("a"), "new");
    Hash hash(Pairs{{"mine", "kept"}, {in_folder("a"), "old"}});
    EXPECT_EQ(0, KAVOConfigExport(hash.handle(), "/etc/backed/a"));
    EXPECT_THAT(hash.pairs(), ElementsAre(std::pair("mine"s, "kept"s), std::pair(in_folder("a"), "new"s)));
}

TEST_F(Export, OnlyTheLastPartIsAPattern)
{
    for (const char *name : {"ifcfg-eth0", "ifcfg-eth0.saved", "ifcfg-eth0.bak", "ifcfg-bond0", ".hidden"})
        write_file(in_folder(name), "x");
    write_file(in_folder("below/ifcfg-eth9"), "x");
    const auto names = [](const std::string &patterns) {
        std::vector<std::string> found;
        for (const auto &pair : exported(patterns))
            found.push_back(pair.first.substr(strlen(FOLDER) + 1));
        return found;
    };
    EXPECT_THAT(names("/etc/backed/ifcfg-!(*.saved|*.bak)"), UnorderedElementsAre("ifcfg-eth0", "ifcfg-bond0"));
    EXPECT_THAT(names("/etc/backed/ifcfg-@(eth|bond)[0-9]"), UnorderedElementsAre("ifcfg-eth0", "ifcfg-bond0"));
    EXPECT_THAT(names("/etc/backed/ifcfg-eth?"), ElementsAre("ifcfg-eth0"));
    EXPECT_THAT(names("/etc/backed/*eth9"), IsEmpty()) << "a slash is matched by a slash only";
    EXPECT_THAT(names("/etc/backed/.hid*"), IsEmpty()) << "hidden files are not listed";
    EXPECT_THAT(names("/etc/backe?/ifcfg-eth0"), IsEmpty()) << "a directory is no pattern";
    EXPECT_THAT(names("/etc/backed//ifcfg-eth0"), IsEmpty()) << "the listed path is spelt differently";
    EXPECT_THAT(names("/etc/backed/"), IsEmpty());
}

TEST_F(Export, TheDirectoryOfARelativePatternIsTheCurrentOne)
{
    write_file(in_folder("a"), "x");
    ASSERT_EQ(0, chdir(FOLDER));
    EXPECT_THAT(exported("a"), IsEmpty()) << "listed as ./a";
    EXPECT_THAT(exported("./a"), ElementsAre(std::pair("./a"s, "x"s)));
    ASSERT_EQ(0, chdir("/"));
}

TEST_F(Export, AMissingDirectoryYieldsNothing)
{
    write_file(in_folder("a"), "x");
    write_file("/etc/file", "x");
    EXPECT_THAT(exported("/etc/none/*;/etc/file/*;/etc/backed/a;/none/none/*"),
                ElementsAre(std::pair(in_folder("a"), "x"s)));
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_FALSE(support::exists("/etc/none"));
}

TEST_F(Export, AnEmptyDirectoryYieldsNothing)
{
    EXPECT_THAT(exported("/etc/backed/*"), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Export, FollowsLinksAndPassesOverWhatIsNoFile)
{
    write_file("/etc/target", "through the link");
    shell(
        "cd /etc/backed; ln -s /etc/target link; mkdir folder; mkfifo pipe; ln -s /dev/null null; ln -s folder link2");
    unopenable(in_folder("socket"));
    EXPECT_THAT(exported("/etc/backed/*"), ElementsAre(std::pair(in_folder("link"), "through the link"s)));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Export, ALinkToNothingIsLeftOutAndLogged)
{
    write_file(in_folder("a"), "x");
    shell("ln -s /etc/none /etc/backed/b; ln -s loop /etc/backed/loop");
    EXPECT_THAT(exported("/etc/backed/*"), ElementsAre(std::pair(in_folder("a"), "x"s)));
    EXPECT_EQ(ERROR, logged("Failed to stat /etc/backed/b, skipping its backup: No such file or directory"));
    EXPECT_EQ(ERROR, logged("Failed to stat /etc/backed/loop, skipping its backup: Too many levels of symbolic links"));
}

TEST_F(Export, AFileThatCannotBeOpenedIsLeftOutAndLogged)
{
    write_file(in_folder("a"), "x");
    write_file(in_folder("b"), "x");
    fail_call("fopen64");
    EXPECT_THAT(exported("/etc/backed/*"), ElementsAre(std::pair(in_folder("a"), "x"s)));
    EXPECT_EQ(ERROR, logged("Failed to fopen /etc/backed/b, skipping its backup: Permission denied"));
}

TEST_F(Export, AFileWhoseSizeCannotBeToldIsLeftOutAndLogged)
{
    write_file(in_folder("a"), "x");
    write_file(in_folder("b"), "x");
    fail_call("ftell");
    EXPECT_THAT(exported("/etc/backed/*"), ElementsAre(std::pair(in_folder("a"), "x"s)));
    EXPECT_EQ(ERROR, logged("Failed to ftell(/etc/backed/b), skipping its backup: "
                            "Value too large for defined data type"));
    fail_call("fseek");
    EXPECT_THAT(exported("/etc/backed/b"), IsEmpty());
    EXPECT_EQ(ERROR, logged("Failed to ftell(/etc/backed/b), skipping its backup: Illegal seek"));
}

TEST_F(Export, AShortReadEndsTheExport)
{
    write_file(in_folder("a"), "x");
    Hash hash;
    // The kernel says that such a file has a page.
    EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), "/etc/backed/a;/sys/class/net/lo/mtu;/etc/kavoinfo.conf"));
    EXPECT_THAT(messages(), ElementsAre("Failed to read config [/sys/class/net/lo/mtu] with expected size 4096 and "
                                        "actual size 6.",
                                        "Failed to handle pattern /sys/class/net/lo/mtu."));
    EXPECT_EQ(ERROR, logged("Failed to handle pattern /sys/class/net/lo/mtu."));
    EXPECT_THAT(hash.pairs(), ElementsAre(std::pair(in_folder("a"), "x"s))) << "what was added stays";
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(Export, AFileThatDoesNotFitTheMemoryEndsTheExport)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the address sanitizer ends a process that asks for so much";
#endif
    constexpr long long HUGE_SIZE = 1LL << 60;
    write_file("/run/backed/a", "x");
    ASSERT_EQ(0, truncate("/run/backed/a", HUGE_SIZE)) << strerror(errno);
    Hash hash;
    EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), "/run/backed/*"));
    EXPECT_EQ(ERROR, logged("Failed to malloc(" + std::to_string(HUGE_SIZE + 1) + ")."));
    EXPECT_EQ(ERROR, logged("Failed to handle pattern /run/backed/*."));
    EXPECT_THAT(hash.pairs(), IsEmpty());
    ASSERT_EQ(0, truncate("/run/backed/a", LLONG_MAX)) << strerror(errno);
    EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), "/run/backed/*"));
}

TEST_F(Export, AHashThatTakesNoMoreEndsTheExport)
{
    for (const char *name : {"a", "b", "c"})
        write_file(in_folder(name), "x");
    Hash hash;
    fail_call("KLIBCSzHashSetValue", 2);
    EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), "/etc/backed/*;/etc/hosts"));
    EXPECT_THAT(messages(), ElementsAre("Failed to setup KLIBSZHASH.", "Failed to handle pattern /etc/backed/*."));
    EXPECT_EQ(ERROR, logged("Failed to setup KLIBSZHASH."));
    EXPECT_THAT(hash.pairs(), ElementsAre(std::pair(in_folder("c"), "x"s)));
}

TEST_F(Export, ADirectoryThatCannotBeListedEndsTheExport)
{
    write_file(in_folder("a"), "x");
    Hash hash;
    rlimit limit{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
    const rlimit none = {0, limit.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    const int result = KAVOConfigExport(hash.handle(), "/etc/backed/*");
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    EXPECT_EQ(-1, result);
    EXPECT_THAT(messages(),
                ElementsAre("Failed to read file from [/etc/backed]: 2.", "Failed to handle pattern /etc/backed/*."));
    EXPECT_EQ(ERROR, logged("Failed to read file from [/etc/backed]: 2."));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(Export, RefusesWhatIsNull)
{
    Hash hash;
    PKLIBSZHASH none = nullptr;
    const std::string line = "Invalid arguments for KAVOConfigExport";
    EXPECT_EQ(-1, KAVOConfigExport(nullptr, "/etc/hosts"));
    EXPECT_EQ(ERROR, logged(line));
    EXPECT_EQ(-1, KAVOConfigExport(&none, "/etc/hosts"));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), nullptr));
    EXPECT_THAT(messages(), ElementsAre(line, line, line));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(Export, NeedsAPattern)
{
    Hash hash;
    for (const std::string patterns : {"", ";", ";;;"}) {
        support::clear_log();
        EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), patterns.c_str()));
        EXPECT_THAT(messages(), ElementsAre("Failed to parse pathPattern " + patterns + "."));
        EXPECT_EQ(ERROR, logged("Failed to parse pathPattern " + patterns + "."));
    }
    write_file(in_folder("a"), "x");
    EXPECT_EQ(1U, exported(";;/etc/backed/a;;").size()) << "empty pieces are no patterns";
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(Export, LeavesThePatternsAlone)
{
    char patterns[] = "/etc/none/*;/etc/backed/*";
    Hash hash;
    EXPECT_EQ(0, KAVOConfigExport(hash.handle(), patterns));
    EXPECT_STREQ("/etc/none/*;/etc/backed/*", patterns);
}

TEST_F(Export, NoMemoryForAPatternEndsIt)
{
    write_file(in_folder("a"), "x");
    Hash hash;
    fail_call("strdup");
    EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), "/etc/backed/a"));
    EXPECT_THAT(messages(), ElementsAre("Failed to memory allocation for string."));
    EXPECT_EQ(ERROR, logged("Failed to memory allocation for string."));
    fail_call("strdup", 2);
    EXPECT_EQ(-1, KAVOConfigExport(hash.handle(), "/etc/backed/a"));
    EXPECT_EQ(ERROR, logged("Failed to handle pattern /etc/backed/a."));
    EXPECT_THAT(hash.pairs(), IsEmpty());
}

TEST_F(Export, AValueEndsAtTheFirstNul)
{
    write_file(in_folder("a"), "before\0after"s);
    EXPECT_THAT(exported("/etc/backed/a"), ElementsAre(std::pair(in_folder("a"), "before"s)));
}

TEST_F(Export, HostilePatternsMatchNothing)
{
    write_file(in_folder("a"), "x");
    const std::string deep = "/etc/backed/" + std::string(5000, 'd');
    for (const std::string &pattern : {"/etc/backed/["s, "/etc/backed/\\"s, "/etc/backed/@("s, "/etc/backed/!(*"s, "/"s,
                                       "."s, ".."s, deep, deep + "/a", "/etc/backed/a/..;/etc/backed/a/"s, "%s%n"s})
        EXPECT_THAT(exported(pattern), IsEmpty()) << pattern;
}

// ---- Import

class Import : public config_test::ConfigTest {
protected:
    static constexpr char NO_FILES[] = "/etc/backed/none";

    // Restores and gives the result.
    static int import(const Pairs &files, unsigned flags = 0, const std::string &patterns = NO_FILES)
    {
        const Hash hash(files);
        return KAVOConfigImport(hash.get(), patterns.c_str(), flags);
    }
};

TEST_F(Import, WritesEveryValueToItsPath)
{
    const std::string large(300'000, 'x');
    write_file(in_folder("a"), "old");
    EXPECT_EQ(0, import({{in_folder("a"), "new\n"}, {in_folder("b"), ""}, {"/etc/c", large}}));
    EXPECT_EQ("new\n", read_file(in_folder("a")));
    EXPECT_EQ("", read_file(in_folder("b")));
    EXPECT_EQ(large, read_file("/etc/c"));
    EXPECT_THAT(entries(FOLDER), ElementsAre("a", "b"));
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(Import, ThePatternsDoNotSayWhatIsWritten)
{
    write_file(in_folder("kept"), "kept");
    EXPECT_EQ(0, import({{"/etc/elsewhere", "x"}}, 0, "/etc/backed/*"));
    EXPECT_EQ("x", read_file("/etc/elsewhere"));
    EXPECT_EQ("kept", read_file(in_folder("kept")));
}

TEST_F(Import, AnEmptyHashOnlyPrepares)
{
    write_file(in_folder("a"), "x");
    EXPECT_EQ(0, import({}, 0, "/etc/backed/*"));
    EXPECT_EQ("x", read_file(in_folder("a")));
}

TEST_F(Import, FilesGetTheirModeWhateverTheMask)
{
    for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
        umask(mask);
        EXPECT_EQ(0, import({{in_folder("a"), "x"}}));
        EXPECT_EQ(0644U, mode_of(in_folder("a"))) << mask;
        EXPECT_EQ(mask, umask(022));
    }
}

TEST_F(Import, TheMaskIsItsOwnMeanwhile)
{
    mode_t meanwhile = 0;
    unsigned temporary_mode = 0;
    on_call("fchmod", [&] {
        meanwhile = umask(0);
        umask(meanwhile);
        temporary_mode = mode_of(in_folder(entries(FOLDER).at(0)));
    });
    EXPECT_EQ(0, import({{in_folder("a"), "x"}}));
    EXPECT_EQ(0600U, meanwhile);
    EXPECT_EQ(0U, temporary_mode) << "nobody reads a file before it is whole";
}

TEST_F(Import, TheMaskIsGivenBackOnEveryReturn)
{
    umask(027);
    Hash hash;
    EXPECT_EQ(-1, KAVOConfigImport(nullptr, "/etc/hosts", 0));
    EXPECT_EQ(-1, KAVOConfigImport(hash.get(), nullptr, 0));
    EXPECT_EQ(-1, KAVOConfigImport(hash.get(), "", 0));
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, import({}));
    fail_call("KLIBCSzHashEnumKey");
    EXPECT_EQ(-1, import({}));
    fail_call("strdup");
    EXPECT_EQ(-1, import({}));
    EXPECT_EQ(-1, import({}, 0, "/etc/hosts/x"));
    EXPECT_EQ(0, import({{"/etc/none/a", "x"}}));
    EXPECT_EQ(027U, umask(022));
}

TEST_F(Import, AFileOfModeSixHundredAndItsNeighbours)
{
    write_file(in_folder("secret"), "old", 0600);
    write_file(in_folder("secret.saved"), "neighbour", 0600);
    write_file(in_folder("ecret"), "neighbour", 0640);
    shell("ln /etc/backed/secret /etc/backed/name2; touch -d '2001-02-03' /etc/backed/secret.saved /etc/backed/ecret");
    const auto saved = status_of(in_folder("secret.saved"));
    const auto ecret = status_of(in_folder("ecret"));
    EXPECT_EQ(0, import({{in_folder("secret"), "new"}}));
    EXPECT_EQ("new", read_file(in_folder("secret")));
    EXPECT_EQ(0644U, mode_of(in_folder("secret"))) << "the mode is always this one";
    EXPECT_EQ("old", read_file(in_folder("name2"))) << "the old file itself is not written to";
    EXPECT_EQ(0600U, mode_of(in_folder("name2")));
    for (const auto &[path, before] :
         {std::pair(in_folder("secret.saved"), saved), std::pair(in_folder("ecret"), ecret)}) {
        const auto now = status_of(path);
        EXPECT_EQ("neighbour", read_file(path));
        EXPECT_EQ(before.st_ino, now.st_ino);
        EXPECT_EQ(before.st_mode, now.st_mode);
        EXPECT_EQ(before.st_mtime, now.st_mtime);
    }
    EXPECT_THAT(entries(FOLDER), ElementsAre("ecret", "name2", "secret", "secret.saved"));
}

TEST_F(Import, DeletesWhatThePatternsMatchWhenAsked)
{
    for (const char *name : {"ifcfg-a", "ifcfg-b", "ifcfg-c", "other", ".ifcfg-d"})
        write_file(in_folder(name), "old");
    write_file("/etc/target", "kept");
    shell("ln -s /etc/target /etc/backed/ifcfg-link; mkdir /etc/backed/ifcfg-folder");
    EXPECT_EQ(0, import({{in_folder("ifcfg-b"), "new"}}, KAVO_CONFIG_DELETE_OLD, "/etc/backed/ifcfg-*"));
    EXPECT_THAT(entries(FOLDER), ElementsAre(".ifcfg-d", "ifcfg-b", "ifcfg-folder", "other"));
    EXPECT_EQ("new", read_file(in_folder("ifcfg-b")));
    EXPECT_EQ("kept", read_file("/etc/target"));
    // A directory is not deleted, and nothing is said of it.
    EXPECT_THAT(messages(), ElementsAre("__PrepareImport: delete file '/etc/backed/ifcfg-link'.",
                                        "__PrepareImport: delete file '/etc/backed/ifcfg-c'.",
                                        "__PrepareImport: delete file '/etc/backed/ifcfg-b'.",
                                        "__PrepareImport: delete file '/etc/backed/ifcfg-a'."));
    EXPECT_EQ(INFO, logged("__PrepareImport: delete file '/etc/backed/ifcfg-a'."));
}

TEST_F(Import, DeletesOnlyWhenAsked)
{
    write_file(in_folder("a"), "old");
    for (const unsigned flags : {0U, 0x10U, 0x2U, 0x100U, ~1U})
        EXPECT_EQ(0, import({}, flags, "/etc/backed/*"));
    EXPECT_EQ("old", read_file(in_folder("a")));
    EXPECT_EQ(0, import({}, ~0U, "/etc/backed/*"));
    EXPECT_FALSE(support::exists(in_folder("a")));
}

TEST_F(Import, ADirectoryThatCannotBeListedEndsThePreparation)
{
    write_file(in_folder("a"), "old");
    const Hash hash(Pairs{{"/etc/b", "new"}});
    rlimit limit{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
    const rlimit none = {0, limit.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    const int result = KAVOConfigImport(hash.get(), "/etc/backed/*", KAVO_CONFIG_DELETE_OLD);
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    EXPECT_EQ(-1, result);
    EXPECT_THAT(messages(), ElementsAre("Failed to read file from [/etc/backed]: 2.",
                                        "Failed to handle pattern /etc/backed/*.", "Failed to prepare import."));
    EXPECT_EQ(ERROR, logged("Failed to prepare import."));
    EXPECT_EQ("old", read_file(in_folder("a")));
    EXPECT_FALSE(support::exists("/etc/b"));
}

TEST_F(Import, MakesMissingDirectories)
{
    EXPECT_EQ(0, import({{"/etc/one/two/a", "x"}}, 0, "/etc/one/two/*;/etc/three/*"));
    EXPECT_EQ("x", read_file("/etc/one/two/a"));
    EXPECT_TRUE(support::exists("/etc/three"));
    // What the mask leaves; mkdir opens the way through the directories above for their owner.
    EXPECT_EQ(0177U, mode_of("/etc/one/two"));
    EXPECT_EQ(0377U, mode_of("/etc/one"));
}

TEST_F(Import, MakesThemByTheCommand)
{
    record("/bin/mkdir");
    EXPECT_EQ(0, import({}, KAVO_CONFIG_DELETE_OLD, "/etc/one two/*;/etc/backed/*;/etc/three/four/x"));
    EXPECT_THAT(calls(), ElementsAre("[/bin/mkdir] [-p] [/etc/one two]", "[/bin/mkdir] [-p] [/etc/three/four]"));
}

TEST_F(Import, ADirectoryThatCannotBeMadeEndsThePreparation)
{
    write_file(in_folder("a"), "old");
    write_file("/etc/file", "x");
    EXPECT_EQ(-1, import({{in_folder("a"), "new"}}, 0, "/etc/backed/*;/etc/file/*;/etc/never/*"));
    EXPECT_THAT(messages(), ElementsAre("Failed to mkdir -p /etc/file.", "Failed to handle pattern /etc/file/*.",
                                        "Failed to prepare import."));
    EXPECT_EQ(ERROR, logged("Failed to mkdir -p /etc/file."));
    EXPECT_EQ("old", read_file(in_folder("a"))) << "nothing is restored";
    EXPECT_FALSE(support::exists("/etc/never"));
    support::clear_log();
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, import({{in_folder("a"), "new"}}, 0, "/etc/never/*"));
    EXPECT_EQ(ERROR, logged("Failed to mkdir -p /etc/never."));
    record("/bin/mkdir", 7);
    EXPECT_EQ(-1, import({{in_folder("a"), "new"}}, 0, "/etc/never/*"));
    EXPECT_EQ("old", read_file(in_folder("a")));
}

TEST_F(Import, RefusesWhatIsNull)
{
    const Hash hash(Pairs{{in_folder("a"), "x"}});
    EXPECT_EQ(-1, KAVOConfigImport(nullptr, "/etc/backed/*", 0));
    EXPECT_EQ(ERROR, logged("Invalid arguments."));
    EXPECT_EQ(-1, KAVOConfigImport(hash.get(), nullptr, 0));
    EXPECT_THAT(messages(), ElementsAre("Invalid arguments.", "Invalid arguments."));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    EXPECT_THAT(entries(FOLDER), IsEmpty());
}

TEST_F(Import, NeedsAPattern)
{
    for (const std::string patterns : {"", ";;"}) {
        support::clear_log();
        EXPECT_EQ(-1, import({{in_folder("a"), "x"}}, 0, patterns));
        EXPECT_THAT(messages(),
                    ElementsAre("Failed to parse pathPattern " + patterns + ".", "Failed to prepare import."));
    }
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    EXPECT_THAT(entries(FOLDER), IsEmpty());
}

TEST_F(Import, NoMemoryEndsItBeforeAnythingIsWritten)
{
    write_file(in_folder("a"), "old");
    const Pairs files = {{in_folder("a"), "new"}};
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, import(files, 1, "/etc/backed/*"));
    EXPECT_EQ(ERROR, logged("Failed to memory allocation."));
    fail_call("KLIBCSzHashEnumKey");
    EXPECT_EQ(-1, import(files, 1, "/etc/backed/*"));
    EXPECT_EQ(ERROR, logged("Failed to KLIBCSzHashEnumKey()."));
    support::clear_log();
    for (const int call : {1, 2}) {
        fail_call("strdup", call);
        EXPECT_EQ(-1, import(files, 1, "/etc/backed/*"));
    }
    EXPECT_THAT(messages(), ElementsAre("Failed to memory allocation for string.", "Failed to prepare import.",
                                        "Failed to memory allocation for string.",
                                        "Failed to handle pattern /etc/backed/*.", "Failed to prepare import."));
    EXPECT_EQ("old", read_file(in_folder("a")));
}

TEST_F(Import, GoesOnWhereAFileCannotBeRestored)
{
    EXPECT_EQ(0, import({{"/etc/none/b", "x"}, {in_folder("a"), "new"}, {"/etc/none/a", "x"}}));
    EXPECT_EQ("new", read_file(in_folder("a")));
    // In the order of the hash.
    EXPECT_THAT(messages(), ElementsAre(testing::MatchesRegex("Failed to mkstemp\\(/etc/none/b......\\): "
                                                              "No such file or directory"),
                                        testing::MatchesRegex("Failed to mkstemp\\(/etc/none/a......\\): "
                                                              "No such file or directory")));
    EXPECT_EQ(ERROR, support::log_lines().at(0).level);
    EXPECT_FALSE(support::exists("/etc/none"));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(Import, ATargetThatIsADirectoryKeepsItsTemporaryFile)
{
    write_file(in_folder("folder/inside"), "kept");
    EXPECT_EQ(0, import({{in_folder("folder"), "new"}, {in_folder("z"), "z"}}));
    EXPECT_EQ("kept", read_file(in_folder("folder/inside")));
    EXPECT_EQ("z", read_file(in_folder("z")));
    const auto left = temporaries_of(FOLDER, "folder");
    ASSERT_EQ(1U, left.size());
    EXPECT_EQ("new", read_file(in_folder(left[0])));
    EXPECT_EQ(0644U, mode_of(in_folder(left[0])));
    EXPECT_EQ(3U, entries(FOLDER).size());
    EXPECT_THAT(messages(),
                ElementsAre("Failed to rename(" + in_folder(left[0]) + ", /etc/backed/folder): " + strerror(EISDIR)));
    EXPECT_EQ(ERROR, support::log_lines().at(0).level);
}

TEST_F(Import, ATargetThatIsALinkIsReplacedItself)
{
    write_file("/etc/target", "kept", 0600);
    shell("ln -s /etc/target /etc/backed/link; ln -s /etc/none /etc/backed/dangling; ln -s /etc /etc/backed/up");
    EXPECT_EQ(0, import({{in_folder("link"), "1"}, {in_folder("dangling"), "2"}, {in_folder("up"), "3"}}));
    for (const auto &[name, content] : {std::pair("link", "1"), std::pair("dangling", "2"), std::pair("up", "3")}) {
        EXPECT_TRUE(S_ISREG(status_of(in_folder(name)).st_mode)) << name;
        EXPECT_EQ(content, read_file(in_folder(name)));
    }
    EXPECT_EQ("kept", read_file("/etc/target"));
    EXPECT_EQ(0600U, mode_of("/etc/target"));
    EXPECT_FALSE(support::exists("/etc/none"));
    EXPECT_EQ(3U, entries(FOLDER).size());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Import, ATargetThatIsNoFileIsReplacedToo)
{
    shell("mkfifo /etc/backed/pipe");
    EXPECT_EQ(0, import({{in_folder("pipe"), "x"}}));
    EXPECT_EQ("x", read_file(in_folder("pipe")));
}

TEST_F(Import, APathOf255LettersIsTheLongest)
{
    const std::string deep = in_folder(std::string(200, 'd'));
    ASSERT_EQ(0, mkdir(deep.c_str(), 0755));
    const std::string longest = deep + "/" + std::string(255 - deep.size() - 1, 'n');
    const std::string longer = longest + "n";
    EXPECT_EQ(0, import({{longer, "x"}, {longest, "y"}}));
    EXPECT_EQ("y", read_file(longest));
    EXPECT_EQ(1U, entries(deep).size());
    EXPECT_THAT(messages(),
                ElementsAre("Failed to mkstemp(" + (longer + "XXXXXX").substr(0, 261) + "): File name too long"));
}

TEST_F(Import, APathOf300LettersTouchesNothing)
{
    const std::string deep = in_folder(std::string(200, 'd'));
    ASSERT_EQ(0, mkdir(deep.c_str(), 0755));
    // One of them ends in six X where the buffer ends, so that what is cut would be a template again.
    const std::string plain = deep + "/" + std::string(300 - deep.size() - 1, 'n');
    std::string trap = plain;
    trap.replace(255, 6, "XXXXXX");
    ASSERT_EQ(300U, trap.size());
    EXPECT_EQ(0, import({{plain, "x"}, {trap, "x"}, {in_folder("a"), "y"}}));
    EXPECT_THAT(entries(deep), IsEmpty());
    EXPECT_EQ("y", read_file(in_folder("a")));
    EXPECT_THAT(messages(), ElementsAre("Failed to mkstemp(" + plain.substr(0, 261) + "): File name too long",
                                        "Failed to mkstemp(" + trap.substr(0, 261) + "): File name too long"));
}

TEST_F(Import, PathsWithDotsAreTakenAsTheyAre)
{
    mkdir(in_folder("inner").c_str(), 0755);
    ASSERT_EQ(0, chdir(in_folder("inner").c_str()));
    EXPECT_EQ(0, import({{"..", "1"}, {in_folder("inner/.."), "2"}, {in_folder("inner/../a"), "3"}, {"b", "4"}}));
    ASSERT_EQ(0, chdir("/"));
    EXPECT_EQ("3", read_file(in_folder("a")));
    EXPECT_EQ("4", read_file(in_folder("inner/b")));
    // A directory is not replaced; its file stays under the name "..", six letters longer.
    const auto left = temporaries_of(in_folder("inner"), "..");
    EXPECT_EQ(2U, left.size());
    EXPECT_EQ(3U, entries(in_folder("inner")).size());
    EXPECT_EQ(2U, entries(FOLDER).size());
    ASSERT_EQ(2U, messages().size());
    EXPECT_THAT(messages()[0], testing::MatchesRegex("Failed to rename\\(\\.\\......., \\.\\.\\): .*"));
    EXPECT_THAT(
        messages()[1],
        testing::MatchesRegex("Failed to rename\\(/etc/backed/inner/\\.\\......., /etc/backed/inner/\\.\\.\\): .*"));
}

TEST_F(Import, APathThatEndsInASlashOrIsEmptyIsNotRestored)
{
    ASSERT_EQ(0, chdir(FOLDER));
    EXPECT_EQ(0, import({{"", "1"}}));
    ASSERT_EQ(0, chdir("/"));
    EXPECT_THAT(messages(),
                ElementsAre(testing::MatchesRegex("Failed to rename\\(......, \\): No such file or directory")));
    EXPECT_EQ(1U, entries(FOLDER).size());
    EXPECT_EQ(0, import({{"/etc/backed/none/", "2"}}));
    EXPECT_EQ(1U, entries(FOLDER).size());
    EXPECT_THAT(messages().back(),
                testing::MatchesRegex("Failed to mkstemp\\(/etc/backed/none/......\\): No such file or directory"));
}

TEST_F(Import, PathsAreNoFormats)
{
    EXPECT_EQ(0, import({{in_folder("%s%n%d"), "%s%n"}, {in_folder("new\nline"), "x"}}));
    EXPECT_EQ("%s%n", read_file(in_folder("%s%n%d")));
    EXPECT_EQ("x", read_file(in_folder("new\nline")));
}

TEST_F(Import, AFullDiskIsLoggedAndTheFileTakesItsPlaceAllTheSame)
{
    ASSERT_EQ(0, mount("tmpfs", FOLDER, "tmpfs", 0, "size=64k,mode=755"));
    write_file(in_folder("a"), "old");
    const std::string large(100'000, 'x');
    EXPECT_EQ(0, import({{in_folder("a"), large}, {in_folder("b"), "small"}}));
    const std::string restored = read_file(in_folder("a"));
    EXPECT_LT(0U, restored.size());
    EXPECT_GT(65536U, restored.size());
    EXPECT_EQ(large.substr(0, restored.size()), restored);
    EXPECT_EQ(0644U, mode_of(in_folder("a")));
    EXPECT_EQ(ERROR, logged("Failed to write config [/etc/backed/a] with expected size 100000 and actual size " +
                            std::to_string(restored.size()) + "."));
    EXPECT_EQ("small", read_file(in_folder("b"))) << "there is room again: the old file is gone";
    EXPECT_THAT(entries(FOLDER), ElementsAre("a", "b"));
    ASSERT_EQ(0, umount2(FOLDER, MNT_DETACH));
}

TEST_F(Import, ASmallFileOnAFullDiskIsLoggedToo)
{
    ASSERT_EQ(0, mount("tmpfs", FOLDER, "tmpfs", 0, "size=8k,mode=755"));
    write_file(in_folder("a"), "old");
    write_file(in_folder("filler"), std::string(4096, 'x'));
    EXPECT_EQ(0, import({{in_folder("a"), "new content"}}));
    EXPECT_EQ(ERROR, logged("Failed to write config [/etc/backed/a] with expected size 11 and actual size 0."));
    EXPECT_EQ("", read_file(in_folder("a")));
    ASSERT_EQ(0, umount2(FOLDER, MNT_DETACH));
}

TEST_F(Import, WithoutAStreamTheTemporaryFileGoes)
{
    write_file(in_folder("a"), "old");
    fail_call("fdopen");
    EXPECT_EQ(0, import({{in_folder("a"), "new"}, {in_folder("b"), "new"}}));
    EXPECT_EQ("old", read_file(in_folder("a")));
    EXPECT_EQ("new", read_file(in_folder("b")));
    EXPECT_THAT(entries(FOLDER), ElementsAre("a", "b"));
    EXPECT_THAT(messages(), ElementsAre("Failed to fopen /etc/backed/a, skipping its restore: Cannot allocate memory"));
    EXPECT_EQ(ERROR, support::log_lines().at(0).level);
}

TEST_F(Import, WhatDoesNotReachTheDiskDoesNotTakeTheTargetsPlace)
{
    write_file(in_folder("a"), "old");
    for (const auto &[function, reason] :
         {std::pair("fchmod", EPERM), std::pair("fflush", EIO), std::pair("fsync", EIO)}) {
        support::clear_log();
        fail_call(function);
        EXPECT_EQ(0, import({{in_folder("a"), "new"}}));
        EXPECT_EQ("old", read_file(in_folder("a"))) << function;
        EXPECT_THAT(entries(FOLDER), ElementsAre("a"));
        EXPECT_THAT(messages(),
                    ElementsAre("Failed to sync /etc/backed/a, skipping its restore: "s + strerror(reason)));
    }
}

TEST_F(Import, AFailedRenameKeepsBothFiles)
{
    write_file(in_folder("a"), "old");
    fail_call("rename");
    EXPECT_EQ(0, import({{in_folder("a"), "new"}, {in_folder("b"), "new"}}));
    EXPECT_EQ("old", read_file(in_folder("a")));
    EXPECT_EQ("new", read_file(in_folder("b")));
    const auto left = temporaries_of(FOLDER, "a");
    ASSERT_EQ(1U, left.size());
    EXPECT_EQ("new", read_file(in_folder(left[0])));
    EXPECT_EQ(ERROR, logged("Failed to rename(" + in_folder(left[0]) + ", /etc/backed/a): Input/output error"));
}

TEST_F(Import, AKeyWithoutAValueIsPassedOver)
{
    write_file(in_folder("a"), "old");
    fail_call("KLIBCSzHashGetValue");
    EXPECT_EQ(0, import({{in_folder("a"), "new"}, {in_folder("b"), "new"}}));
    EXPECT_EQ("old", read_file(in_folder("a")));
    EXPECT_THAT(entries(FOLDER), ElementsAre("a", "b"));
}

TEST_F(Import, WhatWasExportedComesBackByteForByte)
{
    Pairs files;
    for (int i = 0; i < 60; ++i)
        files.emplace_back(in_folder("f" + std::to_string(i)), std::string(static_cast<size_t>(i) * 1777, 'a') + "\n");
    for (const auto &[path, content] : files)
        write_file(path, content);
    write_file(in_folder("nul"), "before\0after"s);
    Hash hash;
    ASSERT_EQ(0, KAVOConfigExport(hash.handle(), "/etc/backed/*"));
    shell("rm -r /etc/backed; mkdir /etc/backed; echo x > /etc/backed/later");
    ASSERT_EQ(0, KAVOConfigImport(hash.get(), "/etc/backed/*", KAVO_CONFIG_DELETE_OLD));
    for (const auto &[path, content] : files)
        EXPECT_EQ(content, read_file(path)) << path;
    EXPECT_EQ("before", read_file(in_folder("nul")));
    EXPECT_FALSE(support::exists(in_folder("later")));
    EXPECT_EQ(61U, entries(FOLDER).size());
}

// Memory beside the hash is needed for one file at a time, in both directions.
TEST_F(Import, ManyLargeFilesNeedNoMoreMemoryThanTheHash)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer's memory is not the program's";
#endif
    constexpr size_t SIZE = 1 << 20;
    constexpr size_t COUNT = 64;
    ASSERT_EQ(0, mount("tmpfs", FOLDER, "tmpfs", 0, "size=512m,mode=755"));
    for (size_t i = 0; i < COUNT; ++i)
        write_file(in_folder("f" + std::to_string(i)), std::string(SIZE, static_cast<char>('a' + i % 26)));
    const auto peak = [] {
        const std::string status = read_file("/proc/self/status");
        return strtoul(status.c_str() + status.find("VmHWM:") + 6, nullptr, 10) * 1024;
    };
    const auto forget_peak = [] { write_file("/proc/self/clear_refs", "5"); };
    forget_peak();
    const size_t before = peak();
    Hash hash;
    ASSERT_EQ(0, KAVOConfigExport(hash.handle(), "/etc/backed/*"));
    const size_t with_hash = peak();
    EXPECT_LT(with_hash - before, COUNT * SIZE + 8 * SIZE);
    forget_peak();
    ASSERT_EQ(0, KAVOConfigImport(hash.get(), "/etc/backed/*", KAVO_CONFIG_DELETE_OLD));
    EXPECT_LT(peak(), with_hash + SIZE);
    EXPECT_EQ(COUNT, entries(FOLDER).size());
    EXPECT_EQ(std::string(SIZE, 'b'), read_file(in_folder("f1")));
    ASSERT_EQ(0, umount2(FOLDER, MNT_DETACH));
}

// ---- Sections

class Sections : public Import {};

TEST_F(Sections, OfTheCurrentFileAreCarriedOver)
{
    write_file(in_folder("a"), "outside=1\n[global]\nworkgroup=\"HERE\"\n\tname=nas\n[share]\npath=/v\n[empty]\n");
    const std::string restored = "[global]\nworkgroup=THERE\nmore=1\n";
    EXPECT_EQ(0, import({{in_folder("a"), restored}, {in_folder("b"), restored}}, KAVO_CONFIG_KEEP_SECTIONS));
    EXPECT_EQ("[global]\n\tworkgroup=HERE\nmore=1\n\tname=nas\n[share]\n\tpath=/v\n[empty]\n",
              read_file(in_folder("a")));
    EXPECT_EQ(0644U, mode_of(in_folder("a")));
    EXPECT_EQ(restored, read_file(in_folder("b")));
    EXPECT_THAT(messages(), ElementsAre("Failed to enum section from /etc/backed/b")) << "there is none of that name";
    EXPECT_EQ(ERROR, logged("Failed to enum section from /etc/backed/b"));
    EXPECT_THAT(entries(FOLDER), ElementsAre("a", "b"));
}

TEST_F(Sections, KeysOfOneSectionDoNotGetIntoTheNext)
{
    write_file(in_folder("a"), "[one]\na=1\n[two]\nb=2\n");
    EXPECT_EQ(0, import({{in_folder("a"), ""}}, KAVO_CONFIG_KEEP_SECTIONS));
    EXPECT_EQ("[one]\n\ta=1\n[two]\n\tb=2\n", read_file(in_folder("a")));
}

TEST_F(Sections, AreLeftAloneWithoutTheFlag)
{
    write_file(in_folder("a"), "[one]\na=1\n");
    for (const unsigned flags : {0U, 0x1U, ~0x10U}) {
        EXPECT_EQ(0, import({{in_folder("a"), "b=1\n"}}, flags));
        EXPECT_EQ("b=1\n", read_file(in_folder("a")));
    }
}

TEST_F(Sections, AreGoneWhenTheFileWasDeletedBefore)
{
    write_file(in_folder("a"), "[one]\na=1\n");
    EXPECT_EQ(0,
              import({{in_folder("a"), "b=1\n"}}, KAVO_CONFIG_KEEP_SECTIONS | KAVO_CONFIG_DELETE_OLD, "/etc/backed/*"));
    EXPECT_EQ("b=1\n", read_file(in_folder("a")));
    EXPECT_EQ(ERROR, logged("Failed to enum section from /etc/backed/a"));
}

TEST_F(Sections, FailuresDoNotStopTheRestore)
{
    const std::string current = "[one]\na=1\n[two]\nb=2\n";
    const Pairs files = {{in_folder("a"), "new=1\n"}};
    const auto restore = [&] {
        support::clear_log();
        write_file(in_folder("a"), current);
        EXPECT_EQ(0, import(files, KAVO_CONFIG_KEEP_SECTIONS));
        EXPECT_THAT(entries(FOLDER), ElementsAre("a"));
        return read_file(in_folder("a"));
    };
    fail_call("KLIBCSzHashAlloc", 2); // the first one is the test's
    EXPECT_EQ("new=1\n", restore());
    EXPECT_EQ(ERROR, logged("Failed to allocate hash."));
    fail_call("KLIBCSzListAlloc", 2);
    EXPECT_EQ("new=1\n", restore());
    EXPECT_EQ(ERROR, logged("Failed to allocate list."));
    fail_call("KLIBCFileGetSection");
    EXPECT_EQ("new=1\n[two]\n\tb=2\n", restore());
    EXPECT_EQ(ERROR, logged("Failed to get section [one] from [/etc/backed/a]"));
    fail_call("KLIBCFileAddSection");
    EXPECT_EQ("new=1\n[two]\n\tb=2\n", restore());
    ASSERT_EQ(1U, messages().size());
    EXPECT_THAT(messages()[0], testing::MatchesRegex("Failed to add section \\[one\\] to \\[/etc/backed/a......\\]"));
}

TEST_F(Sections, OfADirectoryOrALinkToNothing)
{
    shell("mkdir /etc/backed/folder; ln -s /etc/none /etc/backed/link");
    EXPECT_EQ(0, import({{in_folder("folder"), "x"}, {in_folder("link"), "y"}}, KAVO_CONFIG_KEEP_SECTIONS));
    EXPECT_EQ(ERROR, logged("Failed to enum section from /etc/backed/folder"));
    EXPECT_EQ(ERROR, logged("Failed to enum section from /etc/backed/link"));
    EXPECT_EQ("y", read_file(in_folder("link")));
    EXPECT_EQ(1U, temporaries_of(FOLDER, "folder").size());
}

// ---- Kills

class Killed : public Import {
protected:
    static constexpr char OTHER[] = "/etc/other";

    void SetUp() override
    {
        Import::SetUp();
        mkdir(OTHER, 0755);
    }

    // Puts the files back and takes everything else away.
    static void reset(const Pairs &files)
    {
        for (const char *folder : {FOLDER, OTHER}) {
            for (const std::string &name : entries(folder))
                unlink((std::string(folder) + "/" + name).c_str());
        }
        for (const auto &[path, content] : files)
            write_file(path, content, 0600);
    }

    struct Seen {
        int kills = 0;
        int states[3] = {}; // how often a target was absent, old, new
    };
    enum State { ABSENT, OLD, NEW };

    static State state_of(const std::string &path, const std::string &before, const std::string &after, int n)
    {
        if (!support::exists(path))
            return ABSENT;
        const std::string now = read_file(path);
        EXPECT_TRUE(now == before || now == after) << path << " before call " << n << ": " << now.size() << " bytes";
        // The mode tells whose file it is: a new one is never seen with another.
        EXPECT_EQ(now == after ? 0644U : 0600U, mode_of(path));
        return now == after ? NEW : OLD;
    }

    static Seen kill_each(const Pairs &before, const Pairs &given, const Pairs &after, unsigned flags)
    {
        const Hash hash(given);
        Seen seen;
        reset(before);
        seen.kills = support::kill_before_each_call(
            [&] {
                if (KAVOConfigImport(hash.get(), "/etc/backed/*;/etc/other/*", flags) != 0)
                    _exit(1);
            },
            [&](int n) {
                for (size_t i = 0; i < after.size(); ++i)
                    ++seen.states[state_of(after[i].first, before[i].second, after[i].second, n)];
                ASSERT_FALSE(HasFailure());
                reset(before);
            });
        for (const auto &[path, content] : after)
            EXPECT_EQ(content, read_file(path)) << "the one that got through";
        return seen;
    }

    const std::string long_old_ = std::string(20'000, 'o') + "\n";
    const std::string long_new_ = std::string(30'000, 'n') + "\n";
};

TEST_F(Killed, AtAnyCallEachFileIsOldOrNewAndWhole)
{
    const Pairs before = {{in_folder("a"), "old"}, {in_folder("b"), long_old_}, {"/etc/other/c", "[s]\nk=1\n"}};
    const Pairs after = {{in_folder("a"), "new"}, {in_folder("b"), long_new_}, {"/etc/other/c", "new\n"}};
    const Seen seen = kill_each(before, after, after, 0);
    EXPECT_GT(seen.kills, 3 * 8);
    EXPECT_EQ(0, seen.states[ABSENT]);
    EXPECT_GT(seen.states[OLD], 10);
    EXPECT_GT(seen.states[NEW], 10);
}

TEST_F(Killed, WithItsSectionsCarriedOverToo)
{
    const Pairs before = {{in_folder("a"), "[s]\nk=1\n"}, {"/etc/other/c", "[s]\nk=1\n[t]\nl=2\n"}};
    const Pairs given = {{in_folder("a"), "new\n"}, {"/etc/other/c", long_new_ + "[t]\nl=3\n"}};
    const Pairs after = {{in_folder("a"), "new\n[s]\n\tk=1\n"},
                         {"/etc/other/c", long_new_ + "[t]\n\tl=2\n[s]\n\tk=1\n"}};
    const Seen seen = kill_each(before, given, after, KAVO_CONFIG_KEEP_SECTIONS);
    EXPECT_GT(seen.kills, 60);
    EXPECT_EQ(0, seen.states[ABSENT]);
    EXPECT_GT(seen.states[OLD], 10);
    EXPECT_GT(seen.states[NEW], 10);
}

TEST_F(Killed, AfterTheOldOnesWereDeletedAFileIsAbsentOrWhole)
{
    const Pairs before = {{in_folder("a"), "old"}, {in_folder("b"), long_old_}, {"/etc/other/c", "old\n"}};
    const Pairs after = {{in_folder("a"), "new"}, {in_folder("b"), long_new_}, {"/etc/other/c", "new\n"}};
    const Seen seen = kill_each(before, after, after, KAVO_CONFIG_DELETE_OLD);
    EXPECT_GT(seen.kills, 3 * 9);
    EXPECT_GT(seen.states[ABSENT], 10);
    EXPECT_GT(seen.states[OLD], 3);
    EXPECT_GT(seen.states[NEW], 10);
}

} // namespace
