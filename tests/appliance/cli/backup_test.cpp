// kavonet backup
#include "command.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kavo/core.h"

namespace cli_test {

using support::entries;
using support::exists;
using support::read_file;
using support::write_file;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using namespace std::string_literals;

namespace {

constexpr char ARCHIVE[] = "/run/store/network.tar";
constexpr char SCRIPTS[] = "/etc/sysconfig/network-scripts";

class BackupCommand : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        write_file("/etc/kavoinfo.conf", "dns_mode=\"static\"\n");
        write_file("/etc/hosts", "127.0.0.1 localhost\n");
        write_file("/etc/hostname", "nas1\n");
        write_file("/etc/resolv.conf", "nameserver 10.0.0.1\n");
        write_file("/etc/ppp/pppoe.conf", "USER=me\n", 0600);
        write_file("/etc/shadow", "secret\n", 0600);
        ASSERT_EQ(0, sethostname("nas1", 4));
        mkdir("/run/store", 0755);
        umask(022);
    }

    static unsigned mode_of(const std::string &path)
    {
        struct stat status {};
        EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
        return status.st_mode & 07777;
    }
    static ino_t inode_of(const std::string &path)
    {
        struct stat status {};
        EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
        return status.st_ino;
    }

    static void take_backup()
    {
        const Result result = kavonet({"backup", "export", ARCHIVE});
        ASSERT_EQ(0, result.status) << result.err;
    }

    // Everything that an import could touch: names, kinds, modes, sizes, times and contents.
    static std::string everything()
    {
        return shell(
            "cd /; { find etc -maxdepth 1; find etc/sysconfig etc/ppp usr/kavo run/store; } 2>/dev/null | sort | "
            "xargs -d '\\n' stat -c '%n %F %a %s %i %Y' | sha256sum; "
            "cat etc/sysconfig/network* etc/sysconfig/*/* etc/ppp/pppoe.conf etc/hosts etc/hostname etc/resolv.conf "
            "etc/kavoinfo.conf etc/shadow 2>/dev/null | sha256sum");
    }

    // A backup's members in a folder, for making another archive of them.
    static void unpack()
    {
        take_backup();
        shell("rm -rf /tmp/members; mkdir /tmp/members; cd /tmp/members; tar -xf " + std::string(ARCHIVE));
    }
    // Adds a file to the folder and a true line about it to the manifest.
    static void add_member(const std::string &name, const std::string &content)
    {
        write_file("/tmp/members/" + name, content);
        shell("cd /tmp/members; printf './%s type=file size=%d sha256digest=%s\\n' '" + name + "' $(stat -c %s '" +
              name + "') $(sha256sum <'" + name + "' | cut -d' ' -f1) >>MANIFEST");
    }
    // Makes an archive of the members that tar is told.
    static void pack(const std::string &members, const std::string &options = "")
    {
        shell("cd /tmp/members; tar -cPf /run/store/packed.tar " + options + " MANIFEST " + members);
    }
    static std::string all_members() { return shell("cd /tmp/members; find etc -type f | tr '\\n' ' '"); }

    // An archive that must be refused before anything is touched.
    static void expect_refused(const std::string &reason, const std::string &archive = "/run/store/packed.tar")
    {
        const std::string before = everything();
        for (const std::vector<std::string> &options :
             std::vector<std::vector<std::string>>{{}, {"--exact"}, {"--dry-run"}}) {
            std::vector<std::string> words = {"backup", "import", archive};
            words.insert(words.end(), options.begin(), options.end());
            const Result result = kavonet(words);
            EXPECT_EQ(1, result.status);
            EXPECT_EQ("", result.out);
            EXPECT_THAT(result.err, testing::StartsWith("kavonet: cannot restore the backup " + archive + ": "));
            EXPECT_THAT(result.err, HasSubstr(reason));
        }
        EXPECT_TRUE(before == everything()) << "something was touched";
    }
};

// ---- export

TEST_F(BackupCommand, ExportWritesAPlainTar)
{
    const Result result = kavonet({"backup", "export", ARCHIVE});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out, testing::StartsWith("/run/store/network.tar: 6 files of nas1\n\nSIZE  FILE\n"));
    EXPECT_THAT(result.out, HasSubstr("  20  /etc/hosts\n"));
    EXPECT_THAT(support::lines_of(shell("tar -tf /run/store/network.tar")),
                ElementsAre("MANIFEST", "etc/hostname", "etc/hosts", "etc/kavoinfo.conf", "etc/ppp/pppoe.conf",
                            "etc/resolv.conf", "etc/sysconfig/network-scripts/ifcfg-eth0"));
    EXPECT_EQ("127.0.0.1 localhost\n", shell("tar -xOf /run/store/network.tar etc/hosts"));
    EXPECT_EQ(0600U, mode_of(ARCHIVE));
    EXPECT_THAT(entries("/run/store"), Contains("network.tar"));
    EXPECT_EQ("", shell("ls /run/store | grep network.tar. || true"));
}

TEST_F(BackupCommand, TheManifestTellsPeopleAndTools)
{
    take_backup();
    const auto lines = support::lines_of(shell("tar -xOf /run/store/network.tar MANIFEST"));
    ASSERT_EQ(4U + 6U, lines.size());
    EXPECT_EQ("#mtree", lines[0]);
    EXPECT_EQ("# kavonet backup 1", lines[1]);
    EXPECT_EQ("# host nas1", lines[2]);
    EXPECT_THAT(lines[3], testing::MatchesRegex("# created [0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+Z"));
    std::string digest = shell("sha256sum </etc/hosts");
    digest = digest.substr(0, 64);
    EXPECT_THAT(lines, Contains("./etc/hosts type=file size=20 sha256digest=" + digest));
}

TEST_F(BackupCommand, ExportTellsPrograms)
{
    const Json json(kavonet({"backup", "export", ARCHIVE, "--json"}).out);
    EXPECT_EQ("export", json["action"].text());
    EXPECT_EQ(ARCHIVE, json["archive"].text());
    EXPECT_EQ("nas1", json["host"].text());
    EXPECT_EQ(20U, json["created"].text().size());
    ASSERT_EQ(6U, json["files"].size());
    EXPECT_EQ("/etc/hosts", json["files"][1]["path"].text());
    EXPECT_EQ(20, json["files"][1]["size"].number());
}

TEST_F(BackupCommand, ExportTakesEveryConfigurationFileAndNoCopies)
{
    for (const char *name :
         {"ifcfg-eth0.saved", "ifcfg-eth1.bak", "ifcfg-eth1.tmp123", ".ifcfg-eth2.abc", "route-eth0"})
        write_file(std::string(SCRIPTS) + "/" + name, "x\n");
    write_file(std::string(SCRIPTS) + "/ifcfg-eth0.10", "VLAN=yes\n");
    write_file("/etc/sysconfig/network", "GATEWAY=10.0.0.1\n");
    write_file("/etc/sysconfig/pppoe-relay/eth0", "A=1\n");
    write_file("/etc/sysconfig/pppoe-relay/eth0.bak", "A=1\n");
    write_file("/etc/resolv.conf.static", "nameserver 10.0.0.2\n");
    write_file("/etc/resolv.conf.option", "options\n");
    write_file("/usr/kavo/etc/net/ip_alias", "{}\n");
    shell("mkdir /etc/sysconfig/network-scripts/ifcfg-folder");
    take_backup();
    EXPECT_THAT(support::lines_of(shell("tar -tf /run/store/network.tar")),
                ElementsAre("MANIFEST", "etc/hostname", "etc/hosts", "etc/kavoinfo.conf", "etc/ppp/pppoe.conf",
                            "etc/resolv.conf", "etc/resolv.conf.option", "etc/resolv.conf.static",
                            "etc/sysconfig/network", "etc/sysconfig/network-scripts/ifcfg-eth0",
                            "etc/sysconfig/network-scripts/ifcfg-eth0.10", "etc/sysconfig/pppoe-relay/eth0",
                            "usr/kavo/etc/net/ip_alias"));
}

TEST_F(BackupCommand, ExportReplacesAnArchiveButNothingElse)
{
    write_file(ARCHIVE, "an older one", 0644);
    take_backup();
    EXPECT_EQ(0600U, mode_of(ARCHIVE));
    EXPECT_THAT(shell("tar -tf /run/store/network.tar"), HasSubstr("MANIFEST"));
    shell("mkdir /run/store/folder; ln -s /run/store/network.tar /run/store/link; mkfifo /run/store/pipe");
    for (const char *name : {"/run/store/folder", "/run/store/link", "/run/store/pipe", "/dev/null", "/dev/stdout"}) {
        const Result result = kavonet({"backup", "export", name});
        EXPECT_EQ(1, result.status) << name;
        EXPECT_THAT(result.err, HasSubstr("is no regular file\n  what to do: give the name of a new file\n"));
    }
    EXPECT_EQ("/run/store/network.tar", shell("readlink -n /run/store/link"));
    const Result missing = kavonet({"backup", "export", "/run/store/none/network.tar"});
    EXPECT_EQ(1, missing.status);
    EXPECT_THAT(missing.err,
                HasSubstr("kavonet: cannot write the backup /run/store/none/network.tar: No such file or directory\n"));
}

TEST_F(BackupCommand, AFullDiskLeavesTheOlderArchive)
{
    shell("mkdir /run/store/small");
    ASSERT_EQ(0, mount("tmpfs", "/run/store/small", "tmpfs", 0, "size=8k"));
    write_file("/run/store/small/network.tar", "an older one");
    const Result result = kavonet({"backup", "export", "/run/store/small/network.tar"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("what to do: check with df"));
    EXPECT_EQ("an older one", read_file("/run/store/small/network.tar"));
    EXPECT_THAT(entries("/run/store/small"), ElementsAre("network.tar"));
    umount2("/run/store/small", MNT_DETACH);
}

TEST_F(BackupCommand, ExportTakesFilesWholeOrFails)
{
    write_file("/etc/hosts", "before\0after\n"s);
    const Result result = kavonet({"backup", "export", ARCHIVE});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr(": /etc/hosts cannot be read, or holds a NUL byte\n"));
    EXPECT_FALSE(exists(ARCHIVE));
    write_file("/etc/hosts", std::string((16 << 20) + 1, 'x'));
    EXPECT_THAT(kavonet({"backup", "export", ARCHIVE}).err, HasSubstr(": /etc/hosts is too large for a backup\n"));
    write_file("/etc/hosts", "x");
    const std::string longest = std::string(SCRIPTS) + "/ifcfg-" + std::string(255 - strlen(SCRIPTS) - 7, 'n');
    write_file(longest, "x\n");
    EXPECT_EQ(0, kavonet({"backup", "export", ARCHIVE}).status);
    write_file(longest + "n", "x\n");
    EXPECT_THAT(kavonet({"backup", "export", ARCHIVE}).err, HasSubstr("has a name that is too long to be restored\n"));
}

TEST_F(BackupCommand, OnlyRootCanTakeOne)
{
    shell("mkdir -m 777 /run/store/open; chmod 755 /run/store");
    const Result result = kavonet({"backup", "export", "/run/store/open/network.tar", "--json"}, {.user = 65534});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("failed", Json(result.err)["error"]["kind"].text());
    EXPECT_THAT(Json(result.err)["error"]["advice"].text(), HasSubstr("run it as root"));
    EXPECT_THAT(entries("/run/store/open"), testing::IsEmpty());
}

// ---- import

TEST_F(BackupCommand, ImportPutsTheFilesBack)
{
    take_backup();
    write_file("/etc/hosts", "changed\n", 0600);
    shell("rm /etc/ppp/pppoe.conf; chmod 0640 /etc/hostname");
    write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=dhcp\n");
    write_ifcfg("eth9", "DEVICE=eth9\n");
    const ino_t same = inode_of("/etc/hostname");
    const Result result = kavonet({"backup", "import", ARCHIVE});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out,
                testing::MatchesRegex("backup of nas1, made [-0-9TZ:]+\n\n"
                                      "CHANGE   FILE\n"
                                      "same     /etc/hostname\n"
                                      "replace  /etc/hosts\n"
                                      "same     /etc/kavoinfo.conf\n"
                                      "create   /etc/ppp/pppoe.conf\n"
                                      "same     /etc/resolv.conf\n"
                                      "replace  /etc/sysconfig/network-scripts/ifcfg-eth0\n"
                                      "keep     /etc/sysconfig/network-scripts/ifcfg-eth9\n\n"
                                      "3 of them changed; that comes into force when the appliance starts again\n"));
    EXPECT_EQ("127.0.0.1 localhost\n", read_file("/etc/hosts"));
    EXPECT_EQ("USER=me\n", read_file("/etc/ppp/pppoe.conf"));
    EXPECT_EQ("DEVICE=eth0\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\n", read_file(ifcfg("eth0")));
    EXPECT_EQ("DEVICE=eth9\n", read_file(ifcfg("eth9")));
    EXPECT_EQ(0644U, mode_of("/etc/hosts"));
    EXPECT_EQ(0644U, mode_of("/etc/ppp/pppoe.conf"));
    EXPECT_EQ(0640U, mode_of("/etc/hostname")) << "what is the same is not touched";
    EXPECT_EQ(same, inode_of("/etc/hostname"));
    EXPECT_THAT(entries(SCRIPTS), ElementsAre("ifcfg-eth0", "ifcfg-eth9"));
    EXPECT_THAT(kavonet({"backup", "import", ARCHIVE}).out, HasSubstr("\nnothing to change\n"));
}

TEST_F(BackupCommand, ExactRemovesWhatTheArchiveDoesNotHold)
{
    take_backup();
    write_ifcfg("eth9", "DEVICE=eth9\n");
    write_ifcfg("eth9.saved", "DEVICE=eth9\n");
    write_ifcfg("a;b", "DEVICE=x\n");
    write_file(std::string(SCRIPTS) + "/route-eth0", "x\n");
    const Json json(kavonet({"backup", "import", ARCHIVE, "--exact", "--json"}).out);
    EXPECT_EQ("remove", json["files"][5]["change"].text());
    EXPECT_EQ("/etc/sysconfig/network-scripts/ifcfg-a;b", json["files"][5]["path"].text());
    EXPECT_THAT(entries(SCRIPTS), ElementsAre("ifcfg-eth0", "ifcfg-eth9.saved", "route-eth0"));
    unlink((ifcfg("eth9.saved")).c_str());
    unlink((std::string(SCRIPTS) + "/route-eth0").c_str());
}

TEST_F(BackupCommand, ADryRunShowsWhatWouldChangeAndChangesNothing)
{
    take_backup();
    write_file("/etc/hosts", "127.0.0.1 localhost\n10.0.0.9 other\n");
    write_file("/etc/sysconfig/network", "GATEWAY=10.0.0.1\n");
    write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=dhcp\n");
    shell("rm -r /etc/ppp");
    const std::string before = everything();
    const Result result = kavonet({"backup", "import", ARCHIVE, "--dry-run", "--exact"});
    EXPECT_EQ(0, result.status) << result.err;
    const size_t table_end = result.out.find("\n\n/");
    ASSERT_NE(std::string::npos, table_end);
    EXPECT_THAT(result.out, HasSubstr("\nremove   /etc/sysconfig/network\n"));
    EXPECT_EQ("\n\n/etc/hosts\n  - 10.0.0.9 other\n"
              "\n/etc/ppp/pppoe.conf\n  + USER=me\n"
              "\n/etc/sysconfig/network\n  - GATEWAY=10.0.0.1\n"
              "\n/etc/sysconfig/network-scripts/ifcfg-eth0\n  - BOOTPROTO=dhcp\n  + BOOTPROTO=static\n"
              "  + IPADDR=10.0.0.5\n  + NETMASK=255.255.255.0\n"
              "\nnothing was changed: a dry run\n",
              result.out.substr(table_end));
    const Json json(kavonet({"backup", "import", ARCHIVE, "--dry-run", "--json"}).out);
    EXPECT_TRUE(json["dry_run"].yes());
    EXPECT_EQ("replace", json["files"][1]["change"].text());
    EXPECT_EQ("10.0.0.9 other", json["files"][1]["removed"][0].text());
    EXPECT_EQ(0U, json["files"][1]["added"].size());
    EXPECT_EQ("create", json["files"][3]["change"].text());
    EXPECT_EQ("USER=me", json["files"][3]["added"][0].text());
    EXPECT_EQ("keep", json["files"][5]["change"].text());
    EXPECT_EQ(0U, json["files"][5]["removed"].size());
    EXPECT_TRUE(before == everything());
}

TEST_F(BackupCommand, ImportMakesMissingFoldersForTheirFilesOnly)
{
    take_backup();
    shell("rm -r /etc/ppp /usr/kavo/etc/net /etc/sysconfig/pppoe-relay 2>/dev/null || true; umask 077");
    const mode_t mask = umask(0077);
    const Result result = kavonet({"backup", "import", ARCHIVE});
    umask(mask);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(0755U, mode_of("/etc/ppp"));
    EXPECT_EQ("USER=me\n", read_file("/etc/ppp/pppoe.conf"));
    EXPECT_FALSE(exists("/usr/kavo/etc/net"));
    EXPECT_FALSE(exists("/etc/sysconfig/pppoe-relay"));
}

TEST_F(BackupCommand, AFolderThatCannotBeMadeStopsTheImportBeforehand)
{
    write_file("/usr/kavo/etc/net/ip_alias", "{}\n");
    take_backup();
    write_file("/etc/hosts", "changed\n");
    shell("rm -r /usr/kavo/etc/net; touch /usr/kavo/etc/net");
    const Result result = kavonet({"backup", "import", ARCHIVE});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("changed\n", read_file("/etc/hosts"));
    shell("rm -r /usr/kavo; touch /usr/kavo");
    EXPECT_THAT(kavonet({"backup", "import", ARCHIVE}).err,
                HasSubstr(": /usr/kavo/etc/net cannot be made: Not a directory\n"));
    EXPECT_EQ("changed\n", read_file("/etc/hosts"));
    shell("rm /usr/kavo");
    EXPECT_EQ(0, kavonet({"backup", "import", ARCHIVE}).status);
    EXPECT_EQ("{}\n", read_file("/usr/kavo/etc/net/ip_alias"));
    EXPECT_EQ(0755U, mode_of("/usr/kavo/etc/net"));
    EXPECT_EQ(0755U, mode_of("/usr/kavo"));
}

TEST_F(BackupCommand, ImportReplacesLinksAndDamagedFiles)
{
    take_backup();
    write_file("/run/elsewhere", "kept\n");
    shell("ln -sf /run/elsewhere /etc/resolv.conf; ln -sf /etc/none /etc/hostname");
    write_file("/etc/hosts", "127.0.0.1 localhost\n\0\0\0"s);
    EXPECT_EQ(0, kavonet({"backup", "import", ARCHIVE}).status);
    EXPECT_EQ("kept\n", read_file("/run/elsewhere"));
    EXPECT_FALSE(exists("/etc/none"));
    EXPECT_EQ("nameserver 10.0.0.1\n", read_file("/etc/resolv.conf"));
    EXPECT_EQ("nas1\n", read_file("/etc/hostname"));
    EXPECT_EQ("127.0.0.1 localhost\n", read_file("/etc/hosts"));
}

TEST_F(BackupCommand, ATargetThatIsNoFileStopsTheImportBeforehand)
{
    take_backup();
    write_file("/etc/hosts", "changed\n");
    shell("rm /etc/hostname; mkdir /etc/hostname");
    expect_refused(": /etc/hostname is no file here\n", ARCHIVE);
}

TEST_F(BackupCommand, AFileThatCannotBeRestoredIsTold)
{
    take_backup();
    write_file("/etc/hosts", "changed\n");
    write_file("/etc/hostname", "changed\n");
    write_file("/run/other", "mounted\n");
    ASSERT_EQ(0, mount("/run/other", "/etc/hostname", nullptr, MS_BIND, nullptr));
    const Result result = kavonet({"backup", "import", ARCHIVE, "--json"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("not restored: /etc/hostname", Json(result.err)["error"]["reason"].text());
    EXPECT_EQ("127.0.0.1 localhost\n", read_file("/etc/hosts"));
    EXPECT_EQ("mounted\n", read_file("/etc/hostname"));
    ASSERT_EQ(0, umount("/etc/hostname"));
    EXPECT_EQ("changed\n", read_file("/etc/hostname"));
}

TEST_F(BackupCommand, WaitsForOtherProgramsAndGivesUp)
{
    take_backup();
    ASSERT_EQ(0, KLIBCFileLock(0x806, 0));
    const Result result = at_terminal({"backup", "import", ARCHIVE, "--json"});
    KLIBCFileUnlock(0x800);
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.out, HasSubstr("waiting for other programs"));
    const Json json(result.out.substr(result.out.find("{\"error\"")));
    EXPECT_EQ("0x0400", json["error"]["code"].text());
    EXPECT_EQ("failed", json["error"]["kind"].text());
    EXPECT_EQ(0, kavonet({"backup", "import", ARCHIVE}).status);
}

TEST_F(BackupCommand, NamesThatAreNoTextComeBackToo)
{
    const std::string odd = std::string(SCRIPTS) + "/ifcfg-\xFF\033[31m \xC3\xA9";
    write_file(odd, "odd\n");
    take_backup();
    unlink(odd.c_str());
    const Result result = kavonet({"backup", "import", ARCHIVE});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out, HasSubstr("ifcfg-\\xff\\x1b[31m "));
    EXPECT_EQ("odd\n", read_file(odd));
    EXPECT_FALSE(Json(kavonet({"backup", "import", ARCHIVE, "--json"}).out).is_null());
}

TEST_F(BackupCommand, ContentsAndHostDoNotCommandTheTerminal)
{
    ASSERT_EQ(0, sethostname("n\033\"\xFF\n", 5));
    take_backup();
    write_file("/etc/hosts", "\033[31m\xFF\n");
    const Result result = kavonet({"backup", "import", ARCHIVE, "--dry-run"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out, testing::StartsWith("backup of n\\x1b\"\\xff\\x0a, made "));
    EXPECT_THAT(result.out, HasSubstr("  - \\x1b[31m\\xff\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("\033")));
}

// ---- what is refused

TEST_F(BackupCommand, AnythingButConfigurationFilesIsRefused)
{
    for (const std::string name :
         {"etc/shadow", "etc/passwd", "root/.ssh/authorized_keys", "etc/sysconfig/network-scripts/route-eth0",
          "etc/sysconfig/network-scripts/ifcfg-eth0.saved", "etc/sysconfig/network-scripts/.ifcfg-eth0",
          "etc/sysconfig/network-scripts/ifcfg-eth0/x", "etc/sysconfig/pppoe-relay/.hidden", "etc/hosts.allow",
          "etc/xhosts", "hosts"}) {
        unpack();
        shell("rm -rf /tmp/members/etc/sysconfig");
        add_member(name, "hostile\n");
        pack("'" + name + "'");
        expect_refused("\"" + name + "\" is none of the files that a backup may hold");
    }
}

TEST_F(BackupCommand, PathsThatLeaveTheirPlaceAreRefused)
{
    for (const std::string name :
         {"../etc/hosts", "/etc/hosts", "./etc/hosts", "etc/../etc/hosts", "etc//hosts", "etc/hosts/../shadow",
          "etc/sysconfig/pppoe-relay/..", "etc/sysconfig/pppoe-relay/../../shadow",
          "etc/sysconfig/network-scripts/ifcfg-/../../../shadow", "etc/sysconfig/pppoe-relay/.", "..", "."}) {
        unpack();
        add_member("x", "hostile\n");
        pack("x", "--transform 's|^x$|" + name + "|'");
        expect_refused(" a backup may hold");
        EXPECT_EQ("secret\n", read_file("/etc/shadow"));
    }
}

TEST_F(BackupCommand, LinksDevicesAndFoldersAreRefused)
{
    const std::vector<std::string> makings = {
        "ln -s /etc/shadow etc/hosts", "ln etc/hostname etc/hosts", "mkdir etc/hosts", "mkfifo etc/hosts",
        "mknod etc/hosts c 1 3",       "mknod etc/hosts b 7 0"};
    for (const std::string &making : makings) {
        unpack();
        shell("cd /tmp/members; rm etc/hosts; " + making);
        for (const char *format : {"ustar", "pax", "gnu"}) {
            pack("etc/hostname etc/hosts", std::string("--format=") + format);
            expect_refused("\" is no regular file\n");
        }
    }
}

TEST_F(BackupCommand, WhatTheManifestDoesNotSayIsRefused)
{
    constexpr char REASON[] = "its files are not those that its manifest lists";
    unpack();
    write_file("/tmp/members/etc/hosts", "127.0.0.1 localhosT\n");
    pack(all_members());
    expect_refused(REASON);
    unpack();
    pack("etc/hosts etc/hostname");
    expect_refused(REASON);
    unpack();
    write_file("/tmp/members/etc/sysconfig/network", "new\n");
    pack(all_members());
    expect_refused(REASON);
    for (const std::string edit : {"$d", "s/size=20/size=21/", "s/type=file/type=link/", "$s/^/x/", "s/^# host .*//",
                                   "s/^# created .*/# made/", "$p", "s/sha256digest=.*//"}) {
        unpack();
        shell("cd /tmp/members; sed -i '" + edit + "' MANIFEST");
        pack(all_members());
        expect_refused(REASON);
    }
    unpack();
    shell("cd /tmp/members; truncate -s -1 MANIFEST");
    pack(all_members());
    expect_refused(REASON);
}

TEST_F(BackupCommand, WhatIsNoBackupIsRefused)
{
    unpack();
    shell("cd /tmp/members; tar -cf /run/store/packed.tar etc/hosts MANIFEST");
    expect_refused("its first member is not MANIFEST");
    shell("cd /tmp/members; sed -i 's/backup 1/backup 2/' MANIFEST");
    pack(all_members());
    expect_refused("it is no backup of this command, or of a newer one");
    for (const std::string &content :
         {""s, "x"s, "no tar archive\n"s, std::string(5000, 'x'), std::string(512, '\xFF')}) {
        write_file("/run/store/packed.tar", content);
        expect_refused("it is damaged, or no tar archive");
    }
    write_file("/run/store/packed.tar", std::string(10240, '\0'));
    expect_refused("its first member is not MANIFEST");
    shell("gzip -c " + std::string(ARCHIVE) + " >/run/store/packed.tar");
    expect_refused("it is damaged, or no tar archive");
}

TEST_F(BackupCommand, WhatIsNoFileIsRefusedWithoutWaiting)
{
    shell("mkdir /run/store/folder; mkfifo /run/store/pipe");
    for (const char *name : {"/run/store/folder", "/run/store/pipe", "/dev/zero"})
        expect_refused("it is no regular file", name);
    expect_refused("No such file or directory", "/run/store/none");
}

TEST_F(BackupCommand, AFileThatStandsTwiceIsRefused)
{
    unpack();
    pack(all_members() + " etc/hosts", "--hard-dereference");
    expect_refused("\"etc/hosts\" is in it twice");
}

TEST_F(BackupCommand, ContentsThatCannotBeRestoredAreRefused)
{
    unpack();
    shell("rm -rf /tmp/members/etc/*");
    add_member("etc/hosts", "before\0after\n"s);
    pack("etc/hosts");
    expect_refused("\"etc/hosts\" holds a NUL byte");
    shell("cd /tmp/members; truncate -s 1T etc/hosts");
    pack("etc/hosts", "--sparse");
    expect_refused("is larger than a backup's files may be");
    shell("cd /tmp/members; truncate -s 9M etc/hosts");
    pack("etc/hosts", "--sparse");
    expect_refused("\"etc/hosts\" holds a NUL byte");
    shell("cd /tmp/members; truncate -s 100M MANIFEST");
    pack("etc/hosts", "--sparse");
    expect_refused("\"MANIFEST\" is larger than a backup's files may be");
}

TEST_F(BackupCommand, TooManyFilesAreRefused)
{
    unpack();
    shell("cd /tmp/members; rm -r etc; mkdir -p etc/sysconfig/network-scripts; cd etc/sysconfig/network-scripts; "
          "seq -f 'ifcfg-%.0f' 10001 | xargs touch");
    pack("etc/sysconfig/network-scripts/*");
    expect_refused("it holds more than a backup may");
}

TEST_F(BackupCommand, ACutArchiveIsRefused)
{
    take_backup();
    const std::string whole = read_file(ARCHIVE);
    // The last file's bytes end here; what follows only fills the last block up.
    const size_t end = whole.find_last_not_of('\0') + 1;
    for (size_t size = 0; size < end; size += 293) {
        write_file("/run/store/packed.tar", whole.substr(0, size));
        const Result result = kavonet({"backup", "import", "/run/store/packed.tar", "--dry-run"});
        EXPECT_EQ(1, result.status) << size;
        EXPECT_THAT(result.err, testing::StartsWith("kavonet: cannot restore the backup /run/store/packed.tar: "));
    }
}

// Whatever byte is damaged, the archive is refused or says what it said before.
TEST_F(BackupCommand, ADamagedByteIsFoundOrHarmless)
{
    take_backup();
    const std::string whole = read_file(ARCHIVE);
    const auto files_of = [](const std::string &out) { return out.substr(out.find("\nCHANGE")); };
    const std::string expected = files_of(kavonet({"backup", "import", ARCHIVE, "--dry-run"}).out);
    int found = 0;
    for (size_t at = 0; at < whole.size(); at += 37) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        write_file("/run/store/packed.tar", damaged);
        const Result result = kavonet({"backup", "import", "/run/store/packed.tar", "--dry-run"});
        ASSERT_TRUE(result.status == 0 || result.status == 1) << at;
        found += result.status;
        if (result.status == 0) {
            EXPECT_EQ(expected, files_of(result.out)) << at;
        }
    }
    EXPECT_GT(found, 20);
}

// ---- the rest

TEST_F(BackupCommand, WithoutTheArchiveLibraryItSaysWhatIsMissing)
{
    take_backup();
    shell("mount --bind /dev/null $(ldconfig -p | sed -n 's/.*libarchive.so.13 .*=> //p' | head -1)");
    for (const char *verb : {"export", "import"}) {
        const Result result = kavonet({"backup", verb, ARCHIVE, "--json"});
        EXPECT_EQ(1, result.status);
        EXPECT_THAT(Json(result.err)["error"]["reason"].text(), HasSubstr("it needs libarchive.so.13"));
        EXPECT_EQ("install the package libarchive13", Json(result.err)["error"]["advice"].text());
    }
    EXPECT_EQ(0, kavonet({"if", "list", "--json"}).status);
}

TEST_F(BackupCommand, MisuseIsTold)
{
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"backup"},
                                               {"backup", "export"},
                                               {"backup", "import"},
                                               {"backup", "export", ""},
                                               {"backup", "import", "a", "b"},
                                               {"backup", "export", "a", "--dry-run"}})
        EXPECT_EQ(2, kavonet(words).status) << testing::PrintToString(words);
}

} // namespace

} // namespace cli_test
