// The settings of the PPPoE client, which its scripts read as a part of themselves, with what they add to the scripts.
#include <string>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::exists;
using support::write_file;

constexpr char GLUE[] = "/usr/kavo/libexec/pppoe-glue";
constexpr char REFUSED[] = "/run/pppoe.pid.refused";

class PppoeGlue : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install("/etc/ppp/pppoe.conf");
        reference::install(GLUE);
    }

    // The status of a script of the client that reads its settings, then does this.
    static int run(const std::string &script, const std::string &body)
    {
        const std::string path = "/run/" + script;
        write_file(path, "#!/bin/sh\nIP=NOTFOUND\n. /etc/ppp/pppoe.conf\n{ " + body + "\n} >/run/output 2>&1\n", 0755);
        // By the shell's name: other tests of this machine count the processes that are called as the client's scripts.
        return reference::run({"/bin/sh", path}, {{"PATH", "/sbin:/bin:/usr/sbin:/usr/bin"}});
    }
    static std::string output() { return support::read_file("/run/output"); }
};

TEST_F(PppoeGlue, StatusNamesTheInterfaceAsTheLibraryLooksForIt)
{
    add_card("ppp7");
    ASSERT_EQ(0, run("pppoe-status", "$IP link show ppp7"));
    const auto lines = support::lines_of(output());
    ASSERT_EQ(3U, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("ppp7"));
    EXPECT_EQ("ppp7      Link encap:Point-to-Point Protocol", lines[2]);
}

TEST_F(PppoeGlue, OtherQuestionsAreTheCommandsOwn)
{
    add_card("ppp7", "10.64.0.2/24");
    ASSERT_EQ(0, run("pppoe-status", "$IP route"));
    EXPECT_EQ(0U, output().find("10.64.0.0/24 dev ppp7 proto kernel scope link src 10.64.0.2 "));
    EXPECT_EQ(1U, support::lines_of(output()).size());
    EXPECT_EQ(1, run("pppoe-status", "$IP link show ppp8"));
    EXPECT_EQ(std::string::npos, output().find("Point-to-Point"));
}

TEST_F(PppoeGlue, ConnectNotesARefusal)
{
    EXPECT_EQ(0, run("pppoe-connect", "sh -c 'sleep 0.1; exit 18' & wait"));
    EXPECT_FALSE(exists(REFUSED));
    EXPECT_EQ(0, run("pppoe-connect", "sh -c 'sleep 0.1; exit 19' & wait"));
    EXPECT_TRUE(exists(REFUSED));
}

TEST_F(PppoeGlue, StartEndsWith19AfterARefusal)
{
    write_file(REFUSED, ""); // of an earlier start: it does not count
    EXPECT_EQ(0, run("pppoe-start", "[ ! -e /run/pppoe.pid.refused ]; exit 0"));
    EXPECT_EQ(1, run("pppoe-start", "TIME=0; sleep 0; echo $TIME; exit 1"));
    EXPECT_EQ("0\n", output());
    EXPECT_EQ(19, run("pppoe-start", "TIME=0; : >/run/pppoe.pid.refused; sleep 0; echo $TIME; exit 1"));
    EXPECT_EQ("30\n", output());
    EXPECT_FALSE(exists(REFUSED));
}

TEST_F(PppoeGlue, TheSettingsDoWithoutIt)
{
    unlink(GLUE);
    EXPECT_EQ(0, run("pppoe-status", "echo $IP $DEMAND $PIDFILE"));
    EXPECT_EQ("NOTFOUND no /run/pppoe.pid\n", output());
}

} // namespace
