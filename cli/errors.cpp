#include "errors.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>

#include <net/if.h>
#include <unistd.h>

#include "json.h"
#include "kavo/core.h"
#include "kavonetsdk/kavonetsdk.h"
#include "text.h"

namespace cli {
namespace {

struct Code {
    unsigned code;
    const char *name;
    const char *meaning;
    const char *advice;
};

constexpr Code CODES[] = {
    {NET_ERR_NO_SPACE, "NET_ERR_NO_SPACE", "a table is full or a buffer could not grow",
     "take away interfaces or addresses that are not needed, then try again"},
    {NET_ERR_OUT_OF_MEMORY, "NET_ERR_OUT_OF_MEMORY", "out of memory, or a list that this depends on could not be read",
     "free memory and try again; with -v the log lines say which list it was"},
    {NET_ERR_LOCK_FAILED, "NET_ERR_LOCK_FAILED", "the configuration lock was not to be had in time",
     "another program is changing the network configuration: wait for it and try again"},
    {NET_ERR_OPEN_FAILED, "NET_ERR_OPEN_FAILED", "a file could not be opened or created",
     "with -v the log lines name the file; check that it exists and that its file system is writable"},
    {NET_ERR_READ_FAILED, "NET_ERR_READ_FAILED", "a file could not be read",
     "with -v the log lines name the file; try again"},
    {NET_ERR_WRITE_FAILED, "NET_ERR_WRITE_FAILED", "a file could not be written",
     "check with df that the file systems of /etc and /tmp have room and are writable"},
    {NET_ERR_BAD_PARAMETER, "NET_ERR_BAD_PARAMETER", "a name or number that is not allowed",
     "check what was given: an interface name has 1 to 15 characters, no white space, no control character and no "
     "\"/\""},
    {NET_ERR_BAD_HOSTNAME, "NET_ERR_BAD_HOSTNAME",
     "a host name that is empty, longer than 63 characters or more than one line",
     "give a host name of 1 to 63 characters"},
    {NET_ERR_BAD_ADDRESS, "NET_ERR_BAD_ADDRESS", "malformed address, mask or prefix",
     "give the address as A.B.C.D/PREFIX, for example 192.168.1.5/24"},
    {NET_ERR_RENAME_FAILED, "NET_ERR_RENAME_FAILED", "a finished file could not be moved into its place",
     "check that /etc is writable; with -v the log lines name the file"},
    {NET_ERR_EXEC_FAILED, "NET_ERR_EXEC_FAILED", "a command or a service unit failed",
     "with -v the log lines name it; systemctl status and journalctl -u show what a unit said"},
    {NET_ERR_SOCKET_FAILED, "NET_ERR_SOCKET_FAILED", "no socket was to be had for asking the kernel",
     "raise the limit of open files (ulimit -n) or end programs that hold too many, then try again"},
    {NET_ERR_IOCTL_FAILED, "NET_ERR_IOCTL_FAILED", "the kernel refused a request about the interface",
     "kavonet if list shows the interfaces that exist"},
    {NET_ERR_BAD_FORMAT, "NET_ERR_BAD_FORMAT", "a file of the kernel has an unknown form",
     "with -v the log lines name the file; this kernel may not be supported"},
    {NET_ERR_SYSTEM, "NET_ERR_SYSTEM", "the system refused", "with -v the log lines say what was refused"},
    {NET_ERR_ALREADY_EXISTS, "NET_ERR_ALREADY_EXISTS", "it is already there",
     "nothing needs to be done, or remove the old one first"},
    {NET_ERR_NO_SUCH_DEVICE, "NET_ERR_NO_SUCH_DEVICE", "no such interface, or none of the requested kind",
     "kavonet if list shows the interfaces that exist"},
    {NET_ERR_LIST_FULL, "NET_ERR_LIST_FULL", "the bond already has its 32 members",
     "take a member out of the bond first"},
};

constexpr Code UNKNOWN_CODE = {0, "", "a code that this command does not know",
                               "with -v the log lines say what happened"};

constexpr char NO_CODE_REASON[] = "the library gave no error code";

// The error record as it is when a failure is reported.
struct Record {
    unsigned code = KLIBCErrGet();
    std::string file = KLIBCErrorGetFile();
    int line = KLIBCErrorGetLine();
};

const Code &meaning_of(unsigned code)
{
    const auto *found =
        std::find_if(std::begin(CODES), std::end(CODES), [code](const Code &row) { return row.code == code; });
    return found == std::end(CODES) ? UNKNOWN_CODE : *found;
}

std::string reason_of(const Failure &failure, const Record &record)
{
    if (!failure.reason.empty())
        return failure.reason;
    return record.code == 0 ? NO_CODE_REASON : meaning_of(record.code).meaning;
}

std::string advice_of(const Failure &failure, const Record &record)
{
    if (failure.needs_root && geteuid() != 0)
        return "run it as root: only root may change the network configuration";
    if (record.code == NET_ERR_LOCK_FAILED && geteuid() != 0)
        return "run it as root: only root may take the lock";
    if (!failure.advice.empty())
        return failure.advice;
    return record.code == 0 ? NO_CODE_ADVICE : meaning_of(record.code).advice;
}

std::string as_text(const Failure &failure, const Record &record)
{
    std::string line = "kavonet: " + failure.what + ": " + reason_of(failure, record);
    if (record.code != 0)
        line += formatted(" (0x%04X, %s:%d)", record.code, record.file.c_str(), record.line);
    return printable(line) + "\n  what to do: " + printable(advice_of(failure, record)) + "\n";
}

std::string as_json(const Failure &failure, const Record &record)
{
    Json json;
    json.begin_object().key("error").begin_object();
    json.field("kind", "failed").field("message", failure.what).field("reason", reason_of(failure, record));
    if (record.code == 0) {
        json.null_field("code").null_field("name").null_field("file").null_field("line");
    } else {
        json.field("code", formatted("0x%04X", record.code)).field_or_null("name", meaning_of(record.code).name);
        json.field("file", record.file).field("line", record.line);
    }
    json.field("advice", advice_of(failure, record)).end_object().end_object();
    return json.text() + "\n";
}

using InterfaceTable = std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)>;

// The interface that the user may have meant, empty when none is near.
std::string similar_interface(const std::string &name)
{
    const InterfaceTable table(if_nameindex(), if_freenameindex);
    std::vector<const char *> names;
    for (const auto *entry = table.get(); entry != nullptr && entry->if_index != 0; ++entry)
        names.push_back(entry->if_name);
    const char *found = nearest(name, names);
    return found == nullptr ? "" : found;
}

bool is_missing(const std::string &interface)
{
    return !interface.empty() && interface.size() < IF_NAMESIZE && if_nametoindex(interface.c_str()) == 0 &&
           errno == ENODEV;
}

} // namespace

void forget_error()
{
    KLIBCErrSetEx(0, "", 0);
}

KeptError::KeptError() : code_(KLIBCErrGet()), file_(KLIBCErrorGetFile()), line_(KLIBCErrorGetLine()) {}

KeptError::~KeptError()
{
    KLIBCErrSetEx(code_, file_, line_);
}

int fail(const Session &session, const Failure &failure)
{
    const Record record;
    print_error(session.json ? as_json(failure, record) : as_text(failure, record));
    return FAILED;
}

int fail_on(const Session &session, const std::string &interface, Failure failure)
{
    if (is_missing(interface)) {
        const std::string similar = similar_interface(interface);
        failure.needs_root = false;
        failure.reason = "there is no interface of that name";
        failure.advice = (similar.empty() ? "" : "did you mean " + similar + "? ") +
                         "kavonet if list shows the interfaces that exist";
    }
    return fail(session, failure);
}

int misused(const Session &session, const std::string &what, const std::string &advice)
{
    if (!session.json) {
        print_error("kavonet: " + printable(what) + "\n  what to do: " + printable(advice) + "\n");
        return USAGE;
    }
    Json json;
    json.begin_object().key("error").begin_object();
    json.field("kind", "usage").field("message", what).null_field("reason");
    json.null_field("code").null_field("name").null_field("file").null_field("line");
    json.field("advice", advice).end_object().end_object();
    print_error(json.text() + "\n");
    return USAGE;
}

} // namespace cli
