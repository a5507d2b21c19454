// kavonet pppoe: the PPPoE client.
#include <cctype>
#include <charconv>
#include <cstring>
#include <memory>

#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "password.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

struct Arguments {
    std::string interface;
    std::string user;
    std::string mtu;
    bool default_route = false;
    bool keep_password = false;
    bool repair = false;
};

// The settings with the password in them, which is overwritten at their end.
struct Settings {
    Settings() = default;
    Settings(const Settings &) = delete;
    Settings &operator=(const Settings &) = delete;
    ~Settings() { explicit_bzero(&conf, sizeof conf); }

    PPPoEConf conf{};
};

bool read_settings(Settings &settings)
{
    forget_error();
    return PPPoEConfigGet(&settings.conf) == 0;
}

// ---- show

const char *yes_or_no(bool yes)
{
    return yes ? "yes" : "no";
}

void put_settings(Json &json, const PPPoEConf &conf)
{
    json.begin_object().field_or_null("interface", conf.szEth).field_or_null("user", conf.szUser);
    json.field("password_set", conf.szPassword[0] != '\0').field_or_null("mtu", conf.szMTU);
    json.field("default_route", conf.blDefaultRoute != 0).end_object();
}

int show(const Session &session)
{
    Settings settings;
    const PPPoEConf &conf = settings.conf;
    if (!read_settings(settings))
        return fail(session, {.what = "cannot show the PPPoE settings",
                              .advice = "kavonet pppoe set makes them; -v shows which file is missing or unreadable",
                              .needs_root = true});
    if (session.json) {
        Json json;
        put_settings(json, conf);
        return print(json.text() + "\n");
    }
    Table table({{"INTERFACE"}, {"USER"}, {"PASSWORD"}, {"MTU"}, {"DEFAULT ROUTE"}});
    table.row({conf.szEth, conf.szUser, conf.szPassword[0] == '\0' ? "" : "set", conf.szMTU,
               yes_or_no(conf.blDefaultRoute != 0)});
    return print(table.text());
}

// ---- set

template <size_t Size> void copy(char (&field)[Size], const char *text)
{
    snprintf(field, Size, "%s", text);
}

// What the files could not give back is refused before it is written: why, empty when nothing is wrong.
std::string fault_of(const std::string &user)
{
    if (user.empty() || user.size() >= sizeof PPPoEConf::szUser)
        return "the user's name must have 1 to 255 characters";
    if (user.find_first_of("\r\n") != std::string::npos)
        return "the user's name is more than one line";
    return user.find('*') == std::string::npos ? "" : "the user's name holds a \"*\"";
}

std::string fault_of(const Password &password)
{
    if (password.length() >= sizeof PPPoEConf::szPassword)
        return "it is longer than 31 characters";
    const auto is_blank = [](char c) { return isspace(static_cast<unsigned char>(c)) != 0; };
    const bool at_the_end = is_blank(password.c_str()[0]) || is_blank(password.c_str()[password.length() - 1]);
    return at_the_end ? "it begins or ends with white space" : "";
}

constexpr char WHAT[] = "cannot store the PPPoE settings";

bool keep_password(const Session &session, const std::string &user, PPPoEConf &conf)
{
    Settings old;
    if (read_settings(old) && user == old.conf.szUser && old.conf.szPassword[0] != '\0') {
        memcpy(conf.szPassword, old.conf.szPassword, sizeof conf.szPassword);
        return true;
    }
    fail(session, {WHAT, "no password of this user is stored", "leave --keep-password out and give the password"});
    return false;
}

bool ask_password(const Session &session, const std::string &user, PPPoEConf &conf)
{
    constexpr char ADVICE[] = "type it when asked, or give it as the one line of standard input";
    Password password;
    std::string reason;
    if (password.read("Password of " + printable(user) + ": ", reason))
        reason = fault_of(password);
    if (!reason.empty()) {
        forget_error();
        fail(session, {"cannot take the password", reason, ADVICE});
        return false;
    }
    copy(conf.szPassword, password.c_str());
    return true;
}

int report_settings(const Session &session, const PPPoEConf &wanted)
{
    Settings now;
    if (!read_settings(now) || strcmp(now.conf.szUser, wanted.szUser) != 0 ||
        strcmp(now.conf.szPassword, wanted.szPassword) != 0) {
        forget_error();
        return fail(session, {"the PPPoE settings are stored, but cannot be read back",
                              "the user's name is too long in its stored form", "give a shorter name"});
    }
    if (session.json) {
        Json json;
        put_settings(json, now.conf);
        return print(json.text() + "\n");
    }
    return print("PPPoE over " + printable(now.conf.szEth) + " as " + printable(now.conf.szUser) +
                 " is configured; kavonet pppoe start puts it in force\n");
}

int set(const Session &session, const Arguments &arguments)
{
    const std::string fault = fault_of(arguments.user);
    if (!fault.empty())
        return misused(session, fault, "give the name as the provider wrote it, in quotes where the shell needs them");
    Interface interface;
    if (!read_interface(arguments.interface, interface))
        return fail_on(session, arguments.interface, {WHAT});
    Settings wanted;
    copy(wanted.conf.szEth, arguments.interface.c_str());
    copy(wanted.conf.szUser, arguments.user.c_str());
    copy(wanted.conf.szMTU, arguments.mtu.c_str());
    wanted.conf.blDefaultRoute = arguments.default_route ? 1 : 0;
    const auto provide = arguments.keep_password ? keep_password : ask_password;
    if (!provide(session, arguments.user, wanted.conf))
        return FAILED;
    forget_error();
    if (PPPoEConfigSet(wanted.conf) != 0)
        return fail(session, {.what = WHAT, .needs_root = true});
    return report_settings(session, wanted.conf);
}

// ---- start, stop, status

// The PPP interface of a running connection, as far as it can be told.
struct Connection {
    char interface[16] = "";
    char address[20] = "";
    char mask[20] = "";
};

Connection read_connection()
{
    Connection found;
    if (KAVOPPPoeIntfGet(found.interface, sizeof found.interface) == 0)
        KAVOPPPoeNetInfoGet(found.address, sizeof found.address, found.mask, sizeof found.mask);
    forget_error();
    return found;
}

int report_status(const Session &session, bool running)
{
    const Connection connection = running ? read_connection() : Connection();
    if (session.json) {
        Json json;
        json.begin_object().field("running", running).field_or_null("interface", connection.interface);
        put_address(json, connection.address, connection.mask);
        json.end_object();
        return print(json.text() + "\n");
    }
    std::string text = running ? "PPPoE is running" : "PPPoE is not running";
    if (connection.interface[0] != '\0')
        text += " on " + printable(connection.interface);
    if (connection.address[0] != '\0')
        text += " with " + with_prefix(connection.address, connection.mask);
    return print(text + "\n");
}

int start(const Session &session)
{
    constexpr int REFUSED = 19; // the start script's own code
    forget_error();
    const int result = with_progress(session, "connecting", [] { return KAVOPPPoEService(1); });
    if (result == 0)
        return report_status(session, true);
    Failure failure{.what = "cannot start PPPoE", .needs_root = true};
    if (result == REFUSED) {
        failure.reason = "the start script ended with 19: the server refuses the user or the password";
        failure.advice = "check them and give them again with kavonet pppoe set";
        forget_error();
    } else if (KLIBCErrGet() == 0) {
        failure.reason = "the start script failed; most often no server answers in time";
        failure.advice = "check the cable and the settings (kavonet pppoe show); the system log shows what pppd heard";
    }
    return fail(session, failure);
}

int stop(const Session &session)
{
    forget_error();
    if (with_progress(session, "disconnecting", [] { return KAVOPPPoEService(0); }) != 0)
        return fail(session, {.what = "cannot stop PPPoE", .needs_root = true});
    return report_status(session, false);
}

int status(const Session &session, const Arguments &arguments)
{
    forget_error();
    const int running = KAVOPPPoECheckStatus(arguments.repair ? 1 : 0);
    if (running < 0)
        return fail(session, {.what = "cannot tell whether PPPoE runs", .needs_root = true});
    return report_status(session, running == 1);
}

// ---- the command line

void build_show(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return show(session); },
        "  kavonet pppoe show\n"
        "  kavonet pppoe show --json | jq -r .user");
}

std::string check_mtu(const std::string &text)
{
    constexpr int LEAST = 128; // what PPP takes
    constexpr int MOST = 1500;
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool good = error == std::errc() && end == text.data() + text.size() && number >= LEAST && number <= MOST;
    return good ? "" : formatted("%s is no number from %d to %d", text.c_str(), LEAST, MOST);
}

void build_set(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    arguments->mtu = "1492";
    add_interface(verb, arguments->interface, "The interface that the modem is on, for example eth0")->required();
    verb.add_option("USER", arguments->user, "The user's name with the provider")->required()->type_name("");
    verb.add_option("--mtu", arguments->mtu, "The MTU of the connection; 1492 when left out")
        ->check(check_mtu)
        ->type_name("BYTES");
    verb.add_flag("--default-route", arguments->default_route, "Make the connection the default route");
    verb.add_flag("--keep-password", arguments->keep_password, "Keep the password that is stored for this user");
    set_action(
        verb, session, [&session, arguments] { return set(session, *arguments); },
        "  kavonet pppoe set eth1 user@example.net --default-route\n"
        "  kavonet pppoe set eth1 user@example.net <password-file\n"
        "\n"
        "The password is asked for at the terminal, or read from standard input. It is never an argument.");
}

void build_start(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return start(session); }, "  kavonet pppoe start");
}

void build_stop(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return stop(session); }, "  kavonet pppoe stop");
}

void build_status(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    verb.add_flag("--repair", arguments->repair, "Switch PPPoE off when its connection has died");
    set_action(
        verb, session, [&session, arguments] { return status(session, *arguments); },
        "  kavonet pppoe status\n"
        "  kavonet pppoe status --json | jq .running");
}

constexpr Word VERBS[] = {
    {"show", "Show the settings, without the password", build_show},
    {"set", "Store the settings; the password is asked for", build_set},
    {"start", "Switch PPPoE on and connect, now and at every start", build_start},
    {"stop", "Switch PPPoE off and disconnect", build_stop},
    {"status", "Show whether PPPoE runs, on which interface and with which address", build_status},
};

} // namespace

void noun_pppoe(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet pppoe set eth1 user@example.net\n"
              "  kavonet pppoe start\n"
              "  kavonet pppoe status");
}

} // namespace cli
