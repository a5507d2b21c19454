// The dynamic DNS daemon: where "ddnsd -e" has the external address from, and that nothing configured can do more than that.
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "kavonetsdk/diag.h"
#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::entries;
using support::exists;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char DAEMON[] = "/usr/kavo/sbin/ddnsd";
constexpr char SETTINGS[] = "/usr/kavo/etc/ddnsd.conf";
constexpr char RESULT[] = "/run/ddns/externalIP.result";
constexpr char PROGRAM[] = "/usr/kavo/libexec/external-address";

class Ddnsd : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install(DAEMON);
        write_file(SETTINGS, reference::SCRIPTS.at(SETTINGS));
    }

    static int ask()
    {
        return reference::run({DAEMON, "-e"}, {{"PATH", "/sbin:/bin:/usr/sbin:/usr/bin"}, {"LANG", "C"}});
    }

    // The result, or "none" when the daemon says that there is none.
    static std::string answer()
    {
        const int status = ask();
        EXPECT_TRUE(status == 0 || status == 1) << status;
        EXPECT_EQ(status == 0, exists(RESULT));
        for (const std::string &name : entries("/run/ddns"))
            EXPECT_EQ("externalIP.result", name);
        return status == 0 ? read_file(RESULT) : "none";
    }

    static void settings(const std::string &lines) { write_file(SETTINGS, lines); }
};

TEST_F(Ddnsd, TakesTheAddressOfTheDefaultRoutesInterface)
{
    add_card("eth0", "192.0.2.10/24");
    add_card("eth1", "198.51.100.7/24");
    shell("ip route add default via 198.51.100.1 dev eth1");
    EXPECT_EQ("externalIP=198.51.100.7\n", answer());
    EXPECT_EQ("644 root\n", shell(std::string("stat -c '%a %U' ") + RESULT));
    shell("ip route del default; ip route add default via 192.0.2.1 dev eth0");
    EXPECT_EQ("externalIP=192.0.2.10\n", answer());
}

TEST_F(Ddnsd, NeedsNoSettings)
{
    ASSERT_EQ(0, unlink(SETTINGS));
    EXPECT_EQ("none", answer());
    add_card("eth0", "192.0.2.10/24");
    EXPECT_EQ("externalIP=192.0.2.10\n", answer());
    settings("");
    EXPECT_EQ("externalIP=192.0.2.10\n", answer());
}

TEST_F(Ddnsd, TakesTheAddressOfANamedInterface)
{
    add_card("eth0", "192.0.2.10/24");
    add_card("eth1", "198.51.100.7/24");
    settings("source=interface\ninterface=eth1\n");
    EXPECT_EQ("externalIP=198.51.100.7\n", answer());
    settings("source=interface\ninterface=eth7\n");
    EXPECT_EQ("none", answer());
}

TEST_F(Ddnsd, TakesTheConfiguredAddress)
{
    settings("# source=interface\nsource=\"address\"\naddress=\"203.0.113.7\"\n");
    EXPECT_EQ("externalIP=203.0.113.7\n", answer());
    settings("source=address\naddress=203.0.113.7\naddress=203.0.113.8\n");
    EXPECT_EQ("externalIP=203.0.113.8\n", answer());
}

TEST_F(Ddnsd, AsksAProgram)
{
    settings(std::string("source=program\nprogram=") + PROGRAM + "\n");
    script(PROGRAM, "record_call \"$0\" \"$@\"\necho 203.0.113.9\necho more");
    EXPECT_EQ("externalIP=203.0.113.9\n", answer());
    EXPECT_THAT(calls(), ElementsAre("[/usr/kavo/libexec/external-address]"));
    script(PROGRAM, "exit 0");
    EXPECT_EQ("none", answer());
    script(PROGRAM, "echo no address");
    EXPECT_EQ("none", answer());
}

TEST_F(Ddnsd, RunsNoProgramThatOthersCanChange)
{
    settings(std::string("source=program\nprogram=") + PROGRAM + "\n");
    script(PROGRAM, "record_call \"$0\"\necho 203.0.113.9");
    for (const mode_t mode : {0775U, 0757U, 0777U, 0644U}) {
        ASSERT_EQ(0, chmod(PROGRAM, mode));
        EXPECT_EQ("none", answer()) << mode;
    }
    ASSERT_EQ(0, chmod(PROGRAM, 0755));
    for (const char *program : {"", "external-address", "../usr/kavo/libexec/external-address", "/nowhere", "/usr",
                                "/usr/kavo/libexec/external-address x", "$(touch /tmp/broken)"}) {
        settings(std::string("source=program\nprogram=") + program + "\n");
        EXPECT_EQ("none", answer()) << program;
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Ddnsd, TakesOnlyAddresses)
{
    for (const char *value : {"", "x", "1.2.3", "1.2.3.4.5", "1.2.3.256", "01.2.3.4", ".1.2.3.4", "1.2.3.4.", "1..2.3",
                              "1.2.3.4 ", "2001:db8::1", "$(touch /tmp/broken)", "`touch /tmp/broken`",
                              "1.2.3.4; touch /tmp/broken", "*", "-n", "1.2.3.0004"}) {
        settings(std::string("source=address\naddress=") + value + "\n");
        EXPECT_EQ("none", answer()) << value;
    }
    for (const char *value : {"-h", "..", "a/b", "eth0 x", "sixteen-letters-", "$(touch /tmp/broken)"}) {
        settings(std::string("source=interface\ninterface=") + value + "\n");
        EXPECT_EQ("none", answer()) << value;
    }
    for (const char *value : {"nothing", "interface2", "*", "-e"}) {
        settings(std::string("source=") + value + "\naddress=1.2.3.4\n");
        EXPECT_EQ("none", answer()) << value;
    }
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Ddnsd, LeavesNoFormerResult)
{
    settings("source=address\naddress=203.0.113.7\n");
    EXPECT_EQ("externalIP=203.0.113.7\n", answer());
    settings("source=address\naddress=\n");
    EXPECT_EQ("none", answer());
}

TEST_F(Ddnsd, SaysWhenTheResultCannotBeWritten)
{
    settings("source=address\naddress=203.0.113.7\n");
    write_file("/run/ddns", "a file in the folder's place");
    EXPECT_EQ(1, ask());
}

TEST_F(Ddnsd, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(2, reference::run({DAEMON, "-x"}));
    EXPECT_EQ(2, reference::run({DAEMON, "-e", "-e"}));
    EXPECT_EQ(2, reference::run({DAEMON, ""}));
}

TEST_F(Ddnsd, AnswersTheLibrary)
{
    settings("source=address\naddress=203.0.113.7\n");
    char *address = KAVOExternalIPGet();
    EXPECT_STREQ("203.0.113.7", address);
    free(address);
    settings("source=address\naddress=\n");
    EXPECT_EQ(nullptr, KAVOExternalIPGet());
}

} // namespace
