// Status, service and settings of the PPPoE client.
#include "appliance/pppoe/pppoe_test.h"

#include <cstring>

#include <fcntl.h>

#include "support/kill_stepper.h"

namespace {

constexpr char FILE_NAME[] = "service_pppoe.cpp";

// ---- Status

class CheckStatus : public PppoeTest {};

TEST_F(CheckStatus, ARunningConnectionIsRunning)
{
    set_switch("yes");
    for (const int repair : {0, 1, -1}) {
        for (const int count : {1, 3}) {
            stand_ins::run_connections(count);
            EXPECT_EQ(1, KAVOPPPoECheckStatus(repair));
        }
    }
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(CheckStatus, TheSwitchIsReadWithoutRegardToCase)
{
    stand_ins::run_connections(1);
    for (const char *value : {"yes", "YES", "Yes", "yEs"}) {
        set_switch(value);
        EXPECT_EQ(1, KAVOPPPoECheckStatus(0)) << value;
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CheckStatus, ADeadConnectionIsNotRunning)
{
    set_switch("yes");
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CheckStatus, RepairTurnsTheSwitchOfADeadConnectionOff)
{
    write_file(SETTINGS, "a=\"1\"\npppoe_enable=\"yes\"\nb=\"2\"\n");
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
    EXPECT_EQ("a=\"1\"\npppoe_enable=\"no\"\nb=\"2\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(CheckStatus, AFailedRepairIsAFailure)
{
    set_switch("yes");
    fail_call("KLIBCFileSetKeyValue");
    EXPECT_EQ(-1, KAVOPPPoECheckStatus(1));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_TRUE(lock_is_free(0x806));
    EXPECT_EQ("fault.c", last_error().file);
}

TEST_F(CheckStatus, ProcessesThatCannotBeCountedAreAFailure)
{
    set_switch("yes");
    stand_ins::run_connections(-1);
    for (const int repair : {0, 1})
        EXPECT_EQ(-1, KAVOPPPoECheckStatus(repair));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
}

TEST_F(CheckStatus, AConnectionThatIsSwitchedOffIsStopped)
{
    for (const char *value : {"no", "", "true", "yes ", "1"}) {
        clear();
        set_switch(value);
        stand_ins::run_connections(1);
        EXPECT_EQ(0, KAVOPPPoECheckStatus(0)) << value;
        EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/pppoe-stop]")) << value;
    }
}

TEST_F(CheckStatus, HowTheStopScriptEndsDoesNotMatter)
{
    set_switch("no");
    stand_ins::run_connections(1);
    record("/usr/sbin/pppoe-stop", 1);
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
    unlink("/usr/sbin/pppoe-stop");
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
}

TEST_F(CheckStatus, SwitchedOffWithNothingRunningNothingIsStopped)
{
    set_switch("no");
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
    stand_ins::run_connections(-1);
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CheckStatus, AMissingSwitchIsOffAndNothingIsStopped)
{
    write_file(SETTINGS, "pppoe_enabled=\"yes\"\n");
    stand_ins::run_connections(1);
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(CheckStatus, SettingsThatCannotBeReadAreAFailure)
{
    stand_ins::run_connections(1);
    unlink(SETTINGS);
    EXPECT_EQ(-1, KAVOPPPoECheckStatus(1));
    EXPECT_FALSE(exists(SETTINGS));
    EXPECT_TRUE(lock_is_free(0x806));
}

TEST_F(CheckStatus, AValueIsReadAsFarAsItsBufferGoes)
{
    stand_ins::run_connections(1);
    set_switch(std::string(63, 'y') + "es");
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
}

TEST_F(CheckStatus, TakesTheSettingsLockAsItNeedsIt)
{
    set_switch("no");
    stand_ins::run_connections(1);
    for (const bool repair : {false, true}) {
        bool shared = false;
        bool exclusive = false;
        int wait = -1;
        support::on_call("KLIBCFileGetKeyValue", [&] {
            wait = support::last_lock_wait();
            shared = lock_is_free(0x805);
            exclusive = lock_is_free(0x806);
        });
        EXPECT_EQ(0, KAVOPPPoECheckStatus(repair ? 1 : 0));
        EXPECT_EQ(5, wait);
        EXPECT_EQ(!repair, shared);
        EXPECT_FALSE(exclusive);
        EXPECT_TRUE(lock_is_free(0x806));
        EXPECT_TRUE(lock_is_free(0x106));
    }
}

TEST_F(CheckStatus, HoldsTheLockUntilAllIsDone)
{
    set_switch("yes");
    bool free_while_written = true;
    support::on_call("KLIBCFileSetKeyValue", [&] { free_while_written = lock_is_free(0x805); });
    EXPECT_EQ(0, KAVOPPPoECheckStatus(-1)); // any flag but 0 repairs
    EXPECT_FALSE(free_while_written);
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
    stand_ins::run_connections(1);
    std::vector<std::string> stopped_before;
    support::on_call("KLIBCFileUnlock", [&] { stopped_before = calls(); });
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
    EXPECT_THAT(stopped_before, ElementsAre("[/usr/sbin/pppoe-stop]"));
    EXPECT_TRUE(lock_is_free(0x806));
}

TEST_F(CheckStatus, WithoutTheLockNothingIsLookedAt)
{
    set_switch("no");
    stand_ins::run_connections(1);
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVOPPPoECheckStatus(1));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to lock kavoinfo [0x5151 fault.c:51]"));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
}

TEST_F(CheckStatus, ALockThatIsNotGivenBackIsAFailure)
{
    set_switch("yes");
    stand_ins::run_connections(1);
    fail_call("KLIBCFileUnlock");
    EXPECT_EQ(-1, KAVOPPPoECheckStatus(0));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to unlock kavoinfo[0x5151 fault.c:51]"));
    EXPECT_EQ(0x5151U, last_error().code);
    KLIBCFileUnlock(0x800); // what the failure kept
}

// ---- Service

class Service : public PppoeTest {};

TEST_F(Service, StartsTheConnection)
{
    set_switch("no");
    EXPECT_EQ(0, KAVOPPPoEService(1));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/pppoe-start]"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(Service, TheSwitchIsOnWhileTheStartScriptRuns)
{
    script("/usr/sbin/pppoe-start", std::string("record_call $(cat ") + SETTINGS + ")\nexit 0");
    EXPECT_EQ(0, KAVOPPPoEService(1));
    EXPECT_THAT(calls(), ElementsAre("[pppoe_enable=\"yes\"]"));
}

TEST_F(Service, ItsOwnCodeOfTheStartScriptIsHandedOn)
{
    set_switch("no");
    record("/usr/sbin/pppoe-start", 19);
    EXPECT_EQ(19, KAVOPPPoEService(1));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
}

TEST_F(Service, AnyOtherEndOfTheStartScriptIsAFailure)
{
    for (const int status : {1, 2, 18, 20, 127, 255}) {
        record("/usr/sbin/pppoe-start", status);
        EXPECT_EQ(-1, KAVOPPPoEService(1)) << status;
        EXPECT_EQ("pppoe_enable=\"no\"\n", settings()) << status;
        EXPECT_EQ(NO_ERROR_SET, last_error()) << status;
    }
    script("/usr/sbin/pppoe-start", "kill -9 $$");
    EXPECT_EQ(-1, KAVOPPPoEService(1));
    unlink("/usr/sbin/pppoe-start");
    EXPECT_EQ(-1, KAVOPPPoEService(1));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
}

TEST_F(Service, ASwitchThatCannotBeTurnedOnStartsNothing)
{
    set_switch("maybe");
    fail_call("KLIBCINFOSetKeyValue");
    EXPECT_EQ(-1, KAVOPPPoEService(1));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
    set_switch("maybe");
    fail_call("KLIBCINFOSetKeyValue", 0);
    EXPECT_EQ(-1, KAVOPPPoEService(1));
    EXPECT_EQ("pppoe_enable=\"maybe\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Service, TheResultOfAFailedStartDoesNotDependOnTheSwitch)
{
    for (const int status : {19, 1}) {
        record("/usr/sbin/pppoe-start", status);
        fail_call("KLIBCINFOSetKeyValue", 2);
        EXPECT_EQ(status == 19 ? 19 : -1, KAVOPPPoEService(1));
    }
}

TEST_F(Service, StopsTheConnection)
{
    set_switch("yes");
    EXPECT_EQ(0, KAVOPPPoEService(0));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/pppoe-stop]"));
    record("/usr/sbin/pppoe-stop", 1);
    EXPECT_EQ(0, KAVOPPPoEService(0));
    unlink("/usr/sbin/pppoe-stop");
    EXPECT_EQ(0, KAVOPPPoEService(0));
}

TEST_F(Service, ASwitchThatCannotBeTurnedOffStopsNothing)
{
    set_switch("maybe");
    fail_call("KLIBCINFOSetKeyValue");
    EXPECT_EQ(-1, KAVOPPPoEService(0));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Service, RefusesAnyOtherOperation)
{
    set_switch("yes");
    for (const unsigned op : {2U, 3U, 0xffffffffU}) {
        clear();
        EXPECT_EQ(-1, KAVOPPPoEService(op));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invaild Argument ((op == 1 || op == 0))=[0]\n"));
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
}

// ---- Reading the settings

class ConfigGet : public PppoeTest {
protected:
    static PPPoEConf get(int expected = 0)
    {
        PPPoEConf record;
        memset(&record, 'x', sizeof record);
        EXPECT_EQ(expected, PPPoEConfigGet(&record));
        return record;
    }
};

TEST_F(ConfigGet, ReadsBothFiles)
{
    write_file(CLIENT_FILE, "ETH=eth1\nUSER='user'\nMTU=1492\nDEFAULTROUTE=yes\n");
    write_file(SECRETS, std::string("# secrets\nother * x\n'user'\t*\t") + PASSWORD + "\n", 0600);
    const PPPoEConf record = get();
    EXPECT_STREQ("eth1", record.szEth);
    EXPECT_STREQ("user", record.szUser);
    EXPECT_STREQ(PASSWORD, record.szPassword);
    EXPECT_STREQ("1492", record.szMTU);
    EXPECT_EQ(1, record.blDefaultRoute);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ConfigGet, ClearsTheWholeRecord)
{
    write_file(CLIENT_FILE, "ETH=eth1\n");
    const PPPoEConf record = get();
    PPPoEConf expected{};
    snprintf(expected.szEth, sizeof expected.szEth, "eth1");
    EXPECT_EQ(0, memcmp(&expected, &record, sizeof record));
}

TEST_F(ConfigGet, TheDefaultRouteIsYesOrNot)
{
    for (const char *value : {"no", "", "YES", "1", "yes "}) {
        write_file(CLIENT_FILE, std::string("ETH=eth1\nDEFAULTROUTE=") + value + "\n");
        EXPECT_EQ(0, get().blDefaultRoute) << value;
    }
}

TEST_F(ConfigGet, WithoutAnInterfaceThereAreNoSettings)
{
    write_file(CLIENT_FILE, "USER='user'\n");
    KLIBCErrSetEx(0x1234, "before.c", 5);
    PPPoEConf record = get(-1);
    EXPECT_STREQ("", record.szEth);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get PPPoE ETH setting.[0x1234 before.c:5]"));
    clear();
    fail_call("KLIBCFileGetKeyValue");
    get(-1);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get PPPoE ETH setting.[0x5151 fault.c:51]"));
    clear();
    unlink(CLIENT_FILE);
    get(-1);
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, support::logged("service_pppoe\\.cpp:[0-9]+ Failed to get PPPoE ETH setting\\.\\[0x0900 .*"));
}

TEST_F(ConfigGet, AnInterfaceIsCutAt15Characters)
{
    write_file(CLIENT_FILE, "ETH=abcdefghijklmnopq\n");
    EXPECT_STREQ("abcdefghijklmno", get().szEth);
}

TEST_F(ConfigGet, WithoutAUserOnlyInterfaceAndRouteAreThere)
{
    for (const char *line : {"", "USER=\n", "USER=\"\"\n"}) {
        write_file(CLIENT_FILE, std::string("ETH=eth1\nMTU=1492\nDEFAULTROUTE=yes\n") + line);
        const PPPoEConf record = get();
        EXPECT_STREQ("eth1", record.szEth);
        EXPECT_EQ(1, record.blDefaultRoute);
        EXPECT_STREQ("", record.szMTU);
        EXPECT_STREQ("", record.szUser);
    }
    fail_call("KLIBCFileGetKeyValue", 2);
    EXPECT_STREQ("eth1", get().szEth);
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ConfigGet, AnMtuMayBeMissingButMustBeReadable)
{
    write_file(CLIENT_FILE, "ETH=eth1\nUSER='user'\n");
    write_file(SECRETS, "'user' * pass\n", 0600);
    PPPoEConf record = get();
    EXPECT_STREQ("", record.szMTU);
    EXPECT_STREQ("user", record.szUser);
    fail_call("KLIBCFileGetKeyValue", 3);
    record = get(-1);
    EXPECT_STREQ("", record.szUser);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get PPPoE MTU setting."));
    write_file(CLIENT_FILE, "ETH=eth1\nUSER='user'\nMTU=123456789\n");
    EXPECT_STREQ("1234567", get().szMTU);
}

TEST_F(ConfigGet, SecretsThatCannotBeOpenedAreAFailure)
{
    const PPPoEConf record = get(-1);
    EXPECT_STREQ("1412", record.szMTU);
    EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "Failed to open /etc/ppp/pap-secrets"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    clear();
    unopenable(SECRETS);
    get(-1);
    EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "Failed to open /etc/ppp/pap-secrets"));
}

TEST_F(ConfigGet, AUserWithoutASecretIsNone)
{
    for (const char *secrets : {"", "'other' * x\n", "nobody * x\n", "#'nobody' * x\n", "'nobody' server x\n"}) {
        write_file(SECRETS, secrets, 0600);
        const PPPoEConf record = get();
        EXPECT_STREQ("", record.szUser) << secrets;
        EXPECT_STREQ("", record.szPassword) << secrets;
        EXPECT_STREQ("1412", record.szMTU) << secrets;
    }
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ConfigGet, AnUnquotedNameComesBackWithoutItsBackslashes)
{
    write_file(CLIENT_FILE, "ETH=eth1\nUSER=user\\#1\n");
    write_file(SECRETS, "user\\#1 * pass\n", 0600);
    const PPPoEConf record = get();
    EXPECT_STREQ("user#1", record.szUser);
    EXPECT_STREQ("pass", record.szPassword);
}

TEST_F(ConfigGet, APasswordIsCutAt31Characters)
{
    write_file(SECRETS, "'nobody' * " + std::string(32, 'p') + "\n", 0600);
    EXPECT_EQ(std::string(31, 'p'), get().szPassword);
}

TEST_F(ConfigGet, RefusesANullRecord)
{
    EXPECT_EQ(-1, PPPoEConfigGet(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "bad parameter PPPoEConf"));
}

// ---- Writing the settings

class ConfigSet : public PppoeTest {
protected:
    static std::vector<std::string> secrets_entries() { return support::entries("/etc/ppp"); }

    // After a failure before the rename the secrets are the old ones, and nothing is left beside them.
    static void expect_old_secrets()
    {
        EXPECT_EQ("old * x\n", read_file(SECRETS));
        EXPECT_EQ(0600U, mode_of(SECRETS));
        EXPECT_THAT(secrets_entries(), ElementsAre("pap-secrets", "pppoe.conf"));
    }

    static void write_old_secrets() { write_file(SECRETS, "old * x\n", 0600); }
};

TEST_F(ConfigSet, WritesBothFiles)
{
    write_file(SECRETS, "# a comment\nother * x\nanother * y\n", 0644);
    EXPECT_EQ(0, PPPoEConfigSet(conf("o'neil")));
    EXPECT_EQ("# the client\nETH=eth0\nUSER='o'\"'\"'neil'\nDEMAND=no\nMTU=1492\nDEFAULTROUTE=yes\n",
              read_file(CLIENT_FILE));
    EXPECT_EQ("'o'\"'\"'neil'\t*\ts3cret-Word\n", read_file(SECRETS));
    EXPECT_EQ(0600U, mode_of(SECRETS));
    EXPECT_THAT(secrets_entries(), ElementsAre("pap-secrets", "pppoe.conf"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    PPPoEConf record{};
    EXPECT_EQ(0, PPPoEConfigGet(&record));
    EXPECT_STREQ("o'neil", record.szUser);
    EXPECT_STREQ(PASSWORD, record.szPassword);
}

TEST_F(ConfigSet, TheDefaultRouteIsYesOrNo)
{
    PPPoEConf record = conf();
    record.blDefaultRoute = 0;
    EXPECT_EQ(0, PPPoEConfigSet(record));
    EXPECT_THAT(read_file(CLIENT_FILE), testing::HasSubstr("\nDEFAULTROUTE=no\n"));
    record.blDefaultRoute = -1;
    EXPECT_EQ(0, PPPoEConfigSet(record));
    EXPECT_THAT(read_file(CLIENT_FILE), testing::HasSubstr("\nDEFAULTROUTE=yes\n"));
}

TEST_F(ConfigSet, KeysThatAreMissingAreAdded)
{
    write_file(CLIENT_FILE, "");
    EXPECT_EQ(0, PPPoEConfigSet(conf()));
    EXPECT_EQ("ETH=eth0\nDEFAULTROUTE=yes\nUSER='user'\nMTU=1492\n", read_file(CLIENT_FILE));
}

TEST_F(ConfigSet, EveryByteOfAUserNameThatFitsOnALineComesBack)
{
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '\n' || byte == '\r' || byte == '*')
            continue;
        for (const std::string &name :
             {std::string("a") + static_cast<char>(byte) + "b", std::string(1, static_cast<char>(byte)),
              std::string(3, static_cast<char>(byte))}) {
            ASSERT_EQ(0, PPPoEConfigSet(conf(name))) << byte;
            PPPoEConf record{};
            ASSERT_EQ(0, PPPoEConfigGet(&record));
            EXPECT_EQ(name, record.szUser) << byte;
            EXPECT_STREQ(PASSWORD, record.szPassword) << byte;
        }
    }
}

TEST_F(ConfigSet, EveryByteOfAPasswordThatFitsOnALineComesBack)
{
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '\n' || byte == '\r')
            continue;
        const std::string password = std::string("a") + static_cast<char>(byte) + "b";
        ASSERT_EQ(0, PPPoEConfigSet(conf("user", password))) << byte;
        EXPECT_EQ("'user'\t*\t" + password + "\n", read_file(SECRETS)) << byte;
        PPPoEConf record{};
        ASSERT_EQ(0, PPPoEConfigGet(&record));
        EXPECT_EQ(password, record.szPassword) << byte;
    }
}

// The reader splits the line of the secrets at its first star, so it takes such a name for another's.
TEST_F(ConfigSet, ANameWithAStarIsWrittenButNotFoundAgain)
{
    EXPECT_EQ(0, PPPoEConfigSet(conf("a*b")));
    EXPECT_EQ("'a*b'\t*\ts3cret-Word\n", read_file(SECRETS));
    PPPoEConf record{};
    EXPECT_EQ(0, PPPoEConfigGet(&record));
    EXPECT_STREQ("", record.szUser);
    EXPECT_STREQ("", record.szPassword);
}

TEST_F(ConfigSet, LongNamesComeBackAsFarAsTheyCanBeRead)
{
    const auto read_back = [](const std::string &name) {
        EXPECT_EQ(0, PPPoEConfigSet(conf(name)));
        PPPoEConf record{};
        EXPECT_EQ(0, PPPoEConfigGet(&record));
        return std::string(record.szUser);
    };
    const std::string fits(253, 'u'); // with its quotes 255 characters
    EXPECT_EQ(fits, read_back(fits));
    EXPECT_EQ("", read_back(std::string(254, 'u')));
    EXPECT_EQ("", read_back(std::string(255, 'u')));
    EXPECT_EQ("", read_back(std::string(254, 'u') + "*")); // whose line is cut just where the reading of the name is
    PPPoEConf record{};
    EXPECT_EQ(0, PPPoEConfigGet(&record));
    EXPECT_STREQ("", record.szPassword);
    const std::string with_quote = std::string(248, 'u') + "'";
    EXPECT_EQ(with_quote, read_back(with_quote));
    EXPECT_EQ("", read_back(with_quote + "u"));
}

TEST_F(ConfigSet, ANameThatDoesNotFitItsQuotesIsCutAndClosed)
{
    EXPECT_EQ(0, PPPoEConfigSet(conf(std::string(255, '\''))));
    std::string quoted = "'";
    for (int i = 0; i < 101; ++i)
        quoted += "'\"'\"'";
    quoted += "'";
    EXPECT_EQ(quoted + "\t*\ts3cret-Word\n", read_file(SECRETS));
    EXPECT_THAT(read_file(CLIENT_FILE), testing::HasSubstr("\nUSER=" + quoted + "\n"));
    // 100 quotes end at position 500: then four letters leave room for another one at 505, five do not.
    const std::string hundred(100, '\'');
    const auto stored = [](const std::string &name) {
        EXPECT_EQ(0, PPPoEConfigSet(conf(name)));
        const std::string all = read_file(SECRETS);
        return all.substr(0, all.find('\t'));
    };
    EXPECT_EQ(511U, stored(hundred + "aaaa'").size());
    EXPECT_EQ("aaaa'\"'\"''", stored(hundred + "aaaa'").substr(501));
    EXPECT_EQ("aaaaa'", stored(hundred + "aaaaa'").substr(501));
    EXPECT_EQ("aaaaaaaaa'", stored(hundred + "aaaaaaaaa").substr(501));
    EXPECT_EQ("aaaaaaaaa'", stored(hundred + "aaaaaaaaaa").substr(501));
}

TEST_F(ConfigSet, RefusesLineEndsAndWritesNothing)
{
    write_old_secrets();
    std::vector<PPPoEConf> refused;
    for (const char *text : {"\n", "a\n", "\nb", "a\rb", "\r", "x\nETH=eth7"}) {
        refused.push_back(conf(text));
        refused.push_back(conf("user", text));
    }
    for (const PPPoEConf &record : refused) {
        clear();
        EXPECT_EQ(-1, PPPoEConfigSet(record));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "bad parameter PPPoEConf"));
        EXPECT_EQ(1U, log_lines().size());
    }
    EXPECT_EQ(CLIENT, read_file(CLIENT_FILE));
    expect_old_secrets();
}

TEST_F(ConfigSet, RefusesInterfacesThatAreNone)
{
    write_old_secrets();
    PPPoEConf record = conf();
    memset(record.szEth, 'e', sizeof record.szEth); // without a terminator: 16 characters
    EXPECT_EQ(-1, PPPoEConfigSet(record));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    for (const char *name : {"$(id>/tmp/x)", "`id`", "a;id", "a&b", "a|b", "a'b", "a\"b", "a\\b", "a=b", "a#b", "a>b",
                             "a*", "a?", "~a", "{a}", "a!", "%n", "\xc3\xa4"})
        names.emplace_back(name);
    for (const std::string &name : names) {
        clear();
        record = conf();
        snprintf(record.szEth, sizeof record.szEth, "%s", name.c_str());
        EXPECT_EQ(-1, PPPoEConfigSet(record)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(CLIENT, read_file(CLIENT_FILE));
    expect_old_secrets();
}

TEST_F(ConfigSet, RefusesAnMtuThatAShellWouldRunOrALineEnd)
{
    write_old_secrets();
    for (const char *mtu : {"1;id", "$(id)", "1 2", "1\n", "`id`", "'1'"}) {
        clear();
        PPPoEConf record = conf();
        snprintf(record.szMTU, sizeof record.szMTU, "%s", mtu);
        EXPECT_EQ(-1, PPPoEConfigSet(record)) << mtu;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << mtu;
    }
    EXPECT_EQ(CLIENT, read_file(CLIENT_FILE));
    expect_old_secrets();
    PPPoEConf record = conf();
    record.szMTU[0] = '\0';
    EXPECT_EQ(0, PPPoEConfigSet(record));
    EXPECT_THAT(read_file(CLIENT_FILE), testing::HasSubstr("\nMTU=\n"));
}

TEST_F(ConfigSet, FieldsWithoutATerminatorAreReadWithinTheirBytes)
{
    PPPoEConf record = conf();
    memset(record.szUser, 'u', sizeof record.szUser);
    memset(record.szPassword, 'p', sizeof record.szPassword);
    memset(record.szMTU, '1', sizeof record.szMTU);
    EXPECT_EQ(0, PPPoEConfigSet(record));
    EXPECT_EQ("'" + std::string(256, 'u') + "'\t*\t" + std::string(32, 'p') + "\n", read_file(SECRETS));
    EXPECT_THAT(read_file(CLIENT_FILE), testing::HasSubstr("\nMTU=11111111\n"));
}

TEST_F(ConfigSet, WhatAShellReadsFromTheFileIsTheName)
{
    const std::string name = "a'b\"c$(id)`id`\\d #e";
    EXPECT_EQ(0, PPPoEConfigSet(conf(name)));
    EXPECT_EQ(name, shell(". /etc/ppp/pppoe.conf; printf %s \"$USER\""));
}

// ---- Failures of writing

TEST_F(ConfigSet, AKeyThatCannotBeWrittenEndsIt)
{
    const std::string contents[] = {
        CLIENT,
        "# the client\nETH=eth0\nUSER='nobody'\nDEMAND=no\nMTU=1412\nDEFAULTROUTE=no\n",
        "# the client\nETH=eth0\nUSER='nobody'\nDEMAND=no\nMTU=1412\nDEFAULTROUTE=yes\n",
        "# the client\nETH=eth0\nUSER='user'\nDEMAND=no\nMTU=1412\nDEFAULTROUTE=yes\n",
    };
    write_old_secrets();
    for (int key = 1; key <= 4; ++key) {
        clear();
        write_file(CLIENT_FILE, CLIENT);
        fail_call("KLIBCFileSetKeyValue", key);
        EXPECT_EQ(-1, PPPoEConfigSet(conf())) << key;
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "Failed to edit /etc/ppp/pppoe.conf")) << key;
        EXPECT_EQ(contents[key - 1], read_file(CLIENT_FILE)) << key;
        expect_old_secrets();
    }
    clear();
    unlink(CLIENT_FILE);
    EXPECT_EQ(-1, PPPoEConfigSet(conf()));
    EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "Failed to edit /etc/ppp/pppoe.conf"));
    EXPECT_FALSE(exists(CLIENT_FILE));
}

TEST_F(ConfigSet, EachFailureOfTheNewSecretsLeavesTheOldOnes)
{
    const struct {
        const char *call;
        int n; // of its calls, the one that is made for the new secrets
        const char *message;
    } failures[] = {
        {"fdopen", 1, "Failed to open tmp file to write PPPoE setting (Cannot allocate memory)"},
        {"fprintf", 1, "Failed to write PPPoE setting (Input/output error)"},
        {"fflush", 1, "Failed to fflush PPPoE setting.(Input/output error)"},
        {"fsync", 9, "Failed to fsync PPPoE setting.(Input/output error)"}, // the client's keys take two each
        {"fclose", 1, "Failed to close PPPoE setting.(Input/output error)"},
    };
    write_old_secrets();
    for (const auto &failure : failures) {
        clear();
        fail_call(failure.call, failure.n);
        EXPECT_EQ(-1, PPPoEConfigSet(conf())) << failure.call;
        EXPECT_EQ(1U, log_lines().size()) << failure.call;
        EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, failure.message)) << failure.call;
        EXPECT_EQ(NO_ERROR_SET, last_error()) << failure.call;
        expect_old_secrets();
    }
    clear();
    EXPECT_EQ(0, PPPoEConfigSet(conf()));
}

TEST_F(ConfigSet, TheLineIsFlushedBeforeItIsSynced)
{
    std::string synced;
    support::on_call("fsync", [&] {
        if (exists(NEW_SECRETS))
            synced = read_file(NEW_SECRETS);
    });
    EXPECT_EQ(0, PPPoEConfigSet(conf()));
    EXPECT_EQ("'user'\t*\ts3cret-Word\n", synced);
}

TEST_F(ConfigSet, AFailedRenameLeavesTheOldSecrets)
{
    write_old_secrets();
    fail_call("rename");
    EXPECT_EQ(-1, PPPoEConfigSet(conf()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "rename /etc/ppp/pap-secrets to /etc/ppp/pap-secrets.tmp failed"));
    EXPECT_EQ(1U, log_lines().size());
    expect_old_secrets();
}

TEST_F(ConfigSet, AFailedChangeOfTheModeIsAFailureWithTheNewSecretsInPlace)
{
    write_old_secrets();
    fail_call("chmod");
    EXPECT_EQ(-1, PPPoEConfigSet(conf()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "chmod /etc/ppp/pap-secrets failed"));
    EXPECT_EQ("'user'\t*\ts3cret-Word\n", read_file(SECRETS));
    EXPECT_EQ(0600U, mode_of(SECRETS));
}

TEST_F(ConfigSet, AFullDiskLeavesTheOldSecrets)
{
    // The client's file stays on the big one.
    shell("mv /etc/ppp/pppoe.conf /etc/; mount -t tmpfs -o size=8k,mode=755 tmpfs /etc/ppp; "
          "ln -s /etc/pppoe.conf /etc/ppp/pppoe.conf");
    write_old_secrets();
    shell("cat /dev/zero >/etc/ppp/filler 2>/dev/null || true");
    EXPECT_EQ(-1, PPPoEConfigSet(conf()));
    EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "Failed to fflush PPPoE setting.(No space left on device)"));
    EXPECT_EQ("old * x\n", read_file(SECRETS));
    EXPECT_FALSE(exists(NEW_SECRETS));
    unlink("/etc/ppp/filler");
    EXPECT_EQ(0, PPPoEConfigSet(conf()));
}

// ---- The secret

TEST_F(ConfigSet, TheNewFileIsPrivateBeforeTheSecretIsWritten)
{
    const mode_t old = umask(0);
    bool looked = false;
    support::on_call("fprintf", [&] {
        EXPECT_EQ(0600U, mode_of(NEW_SECRETS));
        EXPECT_EQ("", read_file(NEW_SECRETS));
        looked = true;
    });
    EXPECT_EQ(0, PPPoEConfigSet(conf()));
    umask(old);
    EXPECT_TRUE(looked);
    EXPECT_EQ(0600U, mode_of(SECRETS));
}

TEST_F(ConfigSet, AStaleOrPlantedFileGivesWay)
{
    write_file("/etc/victim", "precious\n", 0644);
    const auto set = [] {
        EXPECT_EQ(0, PPPoEConfigSet(conf()));
        EXPECT_EQ("precious\n", read_file("/etc/victim"));
        EXPECT_EQ("'user'\t*\ts3cret-Word\n", read_file(SECRETS));
        EXPECT_EQ(0600U, mode_of(SECRETS));
        EXPECT_FALSE(exists(NEW_SECRETS));
    };
    write_file(NEW_SECRETS, "left over\n", 0644);
    set();
    ASSERT_EQ(0, symlink("/etc/victim", NEW_SECRETS));
    set();
    ASSERT_EQ(0, symlink("/etc/nowhere", NEW_SECRETS));
    set();
    EXPECT_FALSE(exists("/etc/nowhere"));
    ASSERT_EQ(0, link("/etc/victim", NEW_SECRETS));
    set();
    ASSERT_EQ(0, mkfifo(NEW_SECRETS, 0666));
    set();
}

TEST_F(ConfigSet, WhoHasAnOldFileOpenDoesNotSeeTheSecret)
{
    write_file(NEW_SECRETS, "", 0666);
    const int fd = open(NEW_SECRETS, O_RDONLY | O_CLOEXEC);
    ASSERT_LE(0, fd);
    EXPECT_EQ(0, PPPoEConfigSet(conf()));
    char byte;
    EXPECT_EQ(0, read(fd, &byte, 1));
    close(fd);
}

TEST_F(ConfigSet, AFolderInTheWayIsAFailure)
{
    write_old_secrets();
    ASSERT_EQ(0, mkdir(NEW_SECRETS, 0755));
    EXPECT_EQ(-1, PPPoEConfigSet(conf()));
    EXPECT_EQ(LOG_ERR, logged_spaced(FILE_NAME, "Failed to open tmp file to write PPPoE setting (File exists)"));
    EXPECT_EQ("old * x\n", read_file(SECRETS));
    ASSERT_EQ(0, rmdir(NEW_SECRETS));
}

TEST_F(ConfigSet, ALinkInThePlaceOfTheSecretsIsReplacedNotFollowed)
{
    write_file("/etc/victim", "precious\n", 0644);
    ASSERT_EQ(0, symlink("/etc/victim", SECRETS));
    EXPECT_EQ(0, PPPoEConfigSet(conf()));
    EXPECT_EQ("precious\n", read_file("/etc/victim"));
    EXPECT_EQ(0644U, mode_of("/etc/victim"));
    EXPECT_EQ(0600U, mode_of(SECRETS));
}

TEST_F(ConfigSet, WhereverItIsKilledTheSecretIsPrivateAndTheFileWhole)
{
    const std::string wanted = "'user'\t*\ts3cret-Word\n";
    write_old_secrets();
    bool seen_temporary = false;
    const int kills = support::kill_before_each_call([] { _exit(PPPoEConfigSet(conf()) == 0 ? 0 : 1); },
                                                     [&](int call) {
                                                         SCOPED_TRACE(call);
                                                         const std::string now = read_file(SECRETS);
                                                         EXPECT_TRUE(now == "old * x\n" || now == wanted) << now;
                                                         for (const std::string &name : secrets_entries()) {
                                                             const std::string path = "/etc/ppp/" + name;
                                                             if (read_file(path).find(PASSWORD) == std::string::npos)
                                                                 continue;
                                                             EXPECT_EQ(0600U, mode_of(path)) << path;
                                                             seen_temporary |= path == NEW_SECRETS;
                                                         }
                                                         write_old_secrets();
                                                     });
    EXPECT_LT(20, kills);
    EXPECT_TRUE(seen_temporary);
    EXPECT_EQ(wanted, read_file(SECRETS));
    EXPECT_FALSE(exists(NEW_SECRETS));
}

} // namespace
