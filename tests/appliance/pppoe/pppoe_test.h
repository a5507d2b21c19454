// What the tests of PPPoE share: an appliance with the client's files and recorded scripts, and an eye on the password.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/pppoe.h"
#include "stand_ins.h"
#include "support/tidy_root.h"

using support::exists;
using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_in;
using support::NO_ERROR_SET;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

inline constexpr char CLIENT_FILE[] = "/etc/ppp/pppoe.conf";
inline constexpr char SECRETS[] = "/etc/ppp/pap-secrets";
inline constexpr char NEW_SECRETS[] = "/etc/ppp/pap-secrets.tmp";
inline constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
inline constexpr char CACHE[] = "/tmp/kavopppoe.intf";
inline constexpr char PASSWORD[] = "s3cret-Word";

class PppoeTest : public support::TidyRoot {
protected:
    static constexpr char CLIENT[] = "# the client\nETH=eth9\nUSER='nobody'\nDEMAND=no\nMTU=1412\nDEFAULTROUTE=no\n";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        stand_ins::clear();
        shell("rm -rf /etc/ppp /etc/sysconfig/pppoe-relay; mkdir -m 755 /etc/ppp");
        write_file(CLIENT_FILE, CLIENT);
        for (const char *script : {"pppoe-start", "pppoe-stop", "pppoe-status", "pppoe-relay"})
            record(std::string("/usr/sbin/") + script);
    }

    void TearDown() override
    {
        stand_ins::clear();
        if (!IsSkipped())
            expect_password_unseen();
        TidyRoot::TearDown();
    }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        support::clear_faults();
        unlink(support::RECORDED_CALLS);
    }

    static void set_switch(const std::string &value) { write_file(SETTINGS, "pppoe_enable=\"" + value + "\"\n"); }
    static std::string settings() { return read_file(SETTINGS); }

    static unsigned mode_of(const std::string &path)
    {
        struct stat status {};
        return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    static PPPoEConf conf(const std::string &user = "user", const std::string &password = PASSWORD)
    {
        PPPoEConf record{};
        snprintf(record.szEth, sizeof record.szEth, "eth0");
        snprintf(record.szUser, sizeof record.szUser, "%s", user.c_str());
        snprintf(record.szPassword, sizeof record.szPassword, "%s", password.c_str());
        snprintf(record.szMTU, sizeof record.szMTU, "1492");
        record.blDefaultRoute = 1;
        return record;
    }

    // The level of the line "file (number) message", -1 when there is none.
    static int logged_spaced(const std::string &file, const std::string &message)
    {
        return support::level_of(file, " (", ") ", message);
    }

private:
    static void expect_password_unseen()
    {
        for (const support::LogLine &line : log_lines())
            EXPECT_EQ(std::string::npos, line.text.find(PASSWORD)) << line.text;
        for (const std::string &call : calls())
            EXPECT_EQ(std::string::npos, call.find(PASSWORD)) << call;
        for (const std::string folder : {"/etc/ppp/", "/etc/", "/tmp/", "/run/"}) {
            for (const std::string &name : support::entries(folder))
                expect_no_public_password(folder + name);
        }
    }

    static void expect_no_public_password(const std::string &path)
    {
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || (status.st_mode & 077U) == 0)
            return;
        EXPECT_EQ(std::string::npos, read_file(path).find(PASSWORD)) << path;
    }
};
