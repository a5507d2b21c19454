// kavonet hostname: the name of the appliance.
#include <algorithm>
#include <memory>

#include "errors.h"
#include "kavo/core.h"
#include "network.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

int show(const Session &session)
{
    std::string host;
    if (!read_host(host))
        return fail(session, {"cannot read the host name"});
    if (!session.json)
        return print(printable(host) + "\n");
    Json json;
    json.begin_object().field_or_null("host", host).end_object();
    return print(json.text() + "\n");
}

// ---- set

// The library writes the name into files as it stands, where a blank or a newline would begin another name or line. Its
// length is the library's matter.
bool is_plain(const std::string &name)
{
    constexpr char PLAIN[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    return name.find_first_not_of(PLAIN) == std::string::npos && !name.starts_with('-') && !name.starts_with('.');
}

// Nothing is put back when a step fails, so it matters how far the change has come.
Failure explain(const std::string &name)
{
    const KeptError error;
    const unsigned code = KLIBCErrGet();
    Failure failure{.what = "cannot set the host name to " + name, .needs_root = true};
    std::string now;
    if (code == NET_ERR_BAD_HOSTNAME || code == NET_ERR_LOCK_FAILED || code == NET_ERR_SYSTEM || !read_host(now) ||
        name.substr(0, name.find('.')) != now)
        return failure;
    failure.what = "the host name is " + now + " now, but not everything followed";
    if (code == NET_ERR_EXEC_FAILED || code == 0) {
        failure.reason = "the unit syslog-ng could not be reloaded, or a subscriber of net/hostname_change failed";
        failure.advice =
            "the files are written; systemctl status syslog-ng tells about the unit, and -v names what failed";
    } else {
        failure.advice = "check with df that the file system of /etc has room and is writable, then run it again";
    }
    return failure;
}

int report_change(const Session &session, const std::string &before, const std::string &after)
{
    if (!session.json)
        return print("host name: " + printable(before) + " -> " + printable(after) + "\n");
    Json json;
    json.begin_object().field("action", "set");
    json.key("before").begin_object().field_or_null("host", before).end_object();
    json.key("after").begin_object().field_or_null("host", after).end_object().end_object();
    return print(json.text() + "\n");
}

int set(const Session &session, const std::string &name)
{
    const std::string what = "cannot set the host name to " + name;
    forget_error();
    if (!is_plain(name))
        return fail(session, {what, "it holds what no host name may hold",
                              "give 1 to 63 letters, digits and hyphens; the first must not be a hyphen"});
    std::string before;
    std::string after;
    if (!read_host(before))
        return fail(session, {what});
    forget_error();
    const auto call = [&] { return KAVOLnxSetHostname(name.c_str()); };
    if (with_progress(session, "setting the host name to " + name, call) != 0)
        return fail(session, explain(name));
    if (!read_host(after))
        return fail(session, {"the change is made, but cannot read the host name"});
    return report_change(session, before, after);
}

void build_show(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return show(session); }, "  kavonet hostname show");
}

void build_set(CLI::App &verb, Session &session)
{
    const auto name = std::make_shared<std::string>();
    verb.add_option("NAME", *name, "The new name, of 1 to 63 characters")->required()->type_name("");
    set_action(
        verb, session, [&session, name] { return set(session, *name); }, "  kavonet hostname set nas1");
}

constexpr Word VERBS[] = {
    {"show", "Print the host name", build_show},
    {"set", "Give the appliance another host name, now and at every start", build_set},
};

} // namespace

void noun_hostname(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet hostname show\n"
              "  kavonet hostname set nas1");
}

} // namespace cli
