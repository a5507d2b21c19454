// kavonet backup: the configuration files as one archive, and back.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

#include "backup_archive.h"
#include "config_files.h"
#include "errors.h"
#include "json.h"
#include "kavonetsdk/kavonetsdk.h"
#include "noun.h"
#include "progress.h"
#include "table.h"
#include "text.h"

namespace cli {
namespace {

struct Arguments {
    std::string archive;
    bool dry_run = false;
    bool exact = false;
};

// Keeps other programs from changing the configuration, or, for reading, from being in the middle of a change.
class ConfigHold {
public:
    enum Use { READ = 5, WRITE = 6 };

    explicit ConfigHold(Use use)
        : network_(KLIBCFileLock(NETWORK | use, PATIENCE) != -1),
          settings_(network_ && KLIBCFileLock(SETTINGS | use, PATIENCE) != -1)
    {
    }
    ConfigHold(const ConfigHold &) = delete;
    ConfigHold &operator=(const ConfigHold &) = delete;
    ~ConfigHold()
    {
        if (settings_)
            KLIBCFileUnlock(SETTINGS);
        if (network_)
            KLIBCFileUnlock(NETWORK);
    }

    explicit operator bool() const { return settings_; }

private:
    static constexpr int NETWORK = 0x100;
    static constexpr int SETTINGS = 0x800;
    static constexpr int PATIENCE = 5; // seconds

    bool network_;
    bool settings_;
};

// False with an error record when other programs do not come to an end.
bool take_hold(const Session &session, std::optional<ConfigHold> &hold, ConfigHold::Use use)
{
    forget_error();
    with_progress(session, "waiting for other programs that change the configuration", [&] { hold.emplace(use); });
    return static_cast<bool>(*hold);
}

int fail_backup(const Session &session, const std::string &what, const BackupError &error)
{
    forget_error();
    return fail(session, {what, error.what(), error.advice});
}

// The configuration as it is.
class Current {
public:
    Current() : result_(KAVOConfigExport(files_.handle(), config_patterns().c_str())) {}

    [[nodiscard]] bool read() const { return result_ == 0; }
    // A file's content, null where it is missing or could not be read whole: the library leaves out what it cannot open
    // and cuts contents at a NUL byte, and does not say so in its result.
    [[nodiscard]] const char *content(const std::string &path) const
    {
        const char *content = files_.find(path);
        struct stat status {};
        const bool whole = content != nullptr && stat(path.c_str(), &status) == 0 &&
                           static_cast<uint64_t>(status.st_size) == strlen(content);
        return whole ? content : nullptr;
    }

private:
    ConfigFiles files_;
    int result_;
};

// ---- export

std::string host_name()
{
    char name[256] = "";
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::string now_as_text()
{
    const time_t now = time(nullptr);
    tm parts{};
    char text[32] = "";
    gmtime_r(&now, &parts);
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

void take_backup(const std::string &archive, Backup &backup)
{
    backup.host = host_name();
    backup.created = now_as_text();
    const Current current;
    if (!current.read())
        throw BackupError("a configuration file cannot be read", NO_CODE_ADVICE);
    for (const std::string &path : list_config_files()) {
        const char *content = current.content(path);
        if (content == nullptr)
            throw BackupError(path + " cannot be read, or holds a NUL byte",
                              "run it as root; look at the file with od -c");
        backup.files.set(path, content);
    }
    check_files(backup.files);
    write_backup(archive, backup);
}

int report_export(const Session &session, const Arguments &arguments, const Backup &backup)
{
    const auto paths = backup.files.paths();
    if (!session.json) {
        Table table({{"SIZE", Column::RIGHT}, {"FILE"}});
        for (const std::string &path : paths)
            table.row({std::to_string(strlen(backup.files.find(path))), path});
        return print(printable(arguments.archive) + ": " + std::to_string(paths.size()) + " files of " +
                     printable(backup.host) + "\n\n" + table.text());
    }
    Json json;
    json.begin_object().field("action", "export").field("archive", arguments.archive);
    json.field("host", backup.host).field("created", backup.created).key("files").begin_array();
    for (const std::string &path : paths) {
        json.begin_object().field("path", path);
        json.field("size", static_cast<int64_t>(strlen(backup.files.find(path)))).end_object();
    }
    json.end_array().end_object();
    return print(json.text() + "\n");
}

int export_files(const Session &session, const Arguments &arguments)
{
    const std::string what = "cannot write the backup " + arguments.archive;
    std::optional<ConfigHold> hold;
    if (!take_hold(session, hold, ConfigHold::READ))
        return fail(session, {.what = what, .needs_root = true});
    Backup backup;
    try {
        with_progress(session, "writing the backup " + arguments.archive,
                      [&] { take_backup(arguments.archive, backup); });
    } catch (const BackupError &error) {
        return fail_backup(session, what, error);
    }
    return report_export(session, arguments, backup);
}

// ---- import

// What a restore does to one file.
struct Change {
    enum Kind { CREATE, REPLACE, SAME, REMOVE, KEEP } kind;
    std::string path;
    std::vector<std::string> removed{}; // lines that go
    std::vector<std::string> added{};   // lines that come
};

// The word for a change, and how it looks in a table.
struct KindWord {
    const char *word;
    const char *colour;
};
constexpr KindWord KIND_WORDS_OF_CHANGE[] = {
    {"create", GOOD}, {"replace", GOOD}, {"same", QUIET}, {"remove", BAD}, {"keep", QUIET}};

const KindWord &word_of(const Change &change)
{
    return KIND_WORDS_OF_CHANGE[change.kind];
}

bool writes(const Change &change)
{
    return change.kind == Change::CREATE || change.kind == Change::REPLACE;
}

bool changes_something(const Change &change)
{
    return writes(change) || change.kind == Change::REMOVE;
}

std::vector<std::string> lines_of(const char *content)
{
    std::vector<std::string> lines;
    while (*content != '\0') {
        const size_t length = strcspn(content, "\n");
        lines.emplace_back(content, length);
        content += length + (content[length] == '\n' ? 1 : 0);
    }
    return lines;
}

// The lines of the one text that the other has not, in their order.
std::vector<std::string> lines_only_in(const std::vector<std::string> &some, const std::vector<std::string> &others)
{
    std::multiset<std::string_view> rest(others.begin(), others.end());
    std::vector<std::string> result;
    for (const std::string &line : some) {
        if (const auto found = rest.find(line); found != rest.end())
            rest.erase(found);
        else
            result.push_back(line);
    }
    return result;
}

// Throws a BackupError when something stands in the file's place that it cannot replace.
Change change_of(const std::string &path, const char *now, const char *then)
{
    struct stat status {};
    const bool exists = lstat(path.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
        throw BackupError(path + " is no file here", "move it away; nothing was changed");
    if (now != nullptr && strcmp(now, then) == 0)
        return {Change::SAME, path};
    const auto old_lines = lines_of(now == nullptr ? "" : now);
    const auto new_lines = lines_of(then);
    return {exists ? Change::REPLACE : Change::CREATE, path, lines_only_in(old_lines, new_lines),
            lines_only_in(new_lines, old_lines)};
}

std::vector<Change> plan(const Backup &backup, const Current &current, bool exact)
{
    std::vector<Change> changes;
    for (const std::string &path : backup.files.paths())
        changes.push_back(change_of(path, current.content(path), backup.files.find(path)));
    for (const std::string &path : list_config_files()) {
        if (backup.files.find(path) != nullptr)
            continue;
        const char *content = current.content(path);
        changes.push_back({exact ? Change::REMOVE : Change::KEEP, path,
                           exact && content != nullptr ? lines_of(content) : std::vector<std::string>()});
    }
    std::sort(changes.begin(), changes.end(), [](const Change &a, const Change &b) { return a.path < b.path; });
    return changes;
}

bool make_folder(const std::string &path)
{
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        errno = ENOTDIR;
        return S_ISDIR(status.st_mode);
    }
    return errno == ENOENT && make_folder(folder_of(path)) && mkdir(path.c_str(), 0755) == 0;
}

// A folder that the library made would be open to everybody: its file-creation mask is made for files.
void make_folders(const std::vector<Change> &changes)
{
    umask(022);
    for (const Change &change : changes) {
        const std::string folder = folder_of(change.path);
        if (writes(change) && !make_folder(folder))
            throw BackupError(folder + " cannot be made: " + strerror(errno), "no file was changed");
    }
}

// Puts the files in their places. What is to go is removed last: at any instant the appliance has the one configuration or
// the other for each file of the backup.
void carry_out(const std::vector<Change> &changes, const ConfigFiles &files)
{
    ConfigFiles wanted;
    for (const Change &change : changes) {
        if (writes(change))
            wanted.set(change.path, files.find(change.path));
    }
    make_folders(changes);
    if (!wanted.paths().empty() && KAVOConfigImport(wanted.get(), present_config_patterns().c_str(), 0) != 0)
        throw BackupError("the restore cannot be prepared", NO_CODE_ADVICE);

    // The library does not say in its result which files it could not restore.
    const Current current;
    std::string failed;
    for (const std::string &path : wanted.paths()) {
        const char *content = current.content(path);
        if (content == nullptr || strcmp(content, wanted.find(path)) != 0)
            failed += (failed.empty() ? "" : ", ") + path;
    }
    if (!failed.empty())
        throw BackupError("not restored: " + failed, "check with df that the file systems have room and are writable, "
                                                     "then run it again with -v");
    for (const Change &change : changes) {
        if (change.kind == Change::REMOVE && unlink(change.path.c_str()) != 0)
            throw BackupError(change.path + " cannot be removed: " + strerror(errno), "run it again");
    }
}

void put_lines(Json &json, const char *key, const std::vector<std::string> &lines)
{
    json.key(key).begin_array();
    for (const std::string &line : lines)
        json.value(line);
    json.end_array();
}

std::string changes_as_json(const Arguments &arguments, const Backup &backup, const std::vector<Change> &changes)
{
    Json json;
    json.begin_object().field("action", "import").field("archive", arguments.archive);
    json.field("dry_run", arguments.dry_run).field("host", backup.host).field("created", backup.created);
    json.key("files").begin_array();
    for (const Change &change : changes) {
        json.begin_object().field("path", change.path).field("change", word_of(change).word);
        put_lines(json, "removed", change.removed);
        put_lines(json, "added", change.added);
        json.end_object();
    }
    json.end_array().end_object();
    return json.text() + "\n";
}

std::string lines_as_text(const Change &change)
{
    std::string text = "\n" + printable(change.path) + "\n";
    for (const std::string &line : change.removed)
        text += "  - " + printable(line) + "\n";
    for (const std::string &line : change.added)
        text += "  + " + printable(line) + "\n";
    return text;
}

std::string changes_as_text(const Arguments &arguments, const Backup &backup, const std::vector<Change> &changes)
{
    std::string text = "backup of " + printable(backup.host) + ", made " + printable(backup.created) + "\n\n";
    Table table({{"CHANGE"}, {"FILE"}});
    size_t count = 0;
    for (const Change &change : changes) {
        table.row({{word_of(change).word, word_of(change).colour}, change.path});
        count += changes_something(change) ? 1 : 0;
    }
    text += table.text();
    if (arguments.dry_run) {
        for (const Change &change : changes) {
            if (changes_something(change))
                text += lines_as_text(change);
        }
        return text + "\nnothing was changed: a dry run\n";
    }
    if (count == 0)
        return text + "\nnothing to change\n";
    return text + "\n" +
           formatted("%zu of them changed; that comes into force when the appliance starts again\n", count);
}

int import_files(const Session &session, const Arguments &arguments)
{
    const std::string what = "cannot restore the backup " + arguments.archive;
    std::vector<Change> changes;
    Backup backup;
    try {
        with_progress(session, "reading the backup " + arguments.archive,
                      [&] { read_backup(arguments.archive, backup); });
        std::optional<ConfigHold> hold;
        if (!take_hold(session, hold, arguments.dry_run ? ConfigHold::READ : ConfigHold::WRITE))
            return fail(session, {.what = what, .needs_root = true});
        changes = plan(backup, Current(), arguments.exact);
        if (!arguments.dry_run)
            with_progress(session, "restoring the backup " + arguments.archive,
                          [&] { carry_out(changes, backup.files); });
    } catch (const BackupError &error) {
        return fail_backup(session, what, error);
    }
    return print(session.json ? changes_as_json(arguments, backup, changes)
                              : changes_as_text(arguments, backup, changes));
}

// ---- the command line

void build_export(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_file(verb, arguments->archive, "The archive to write; one that exists is replaced")->required();
    set_action(
        verb, session, [&session, arguments] { return export_files(session, *arguments); },
        "  kavonet backup export /root/network.tar\n"
        "  tar -xOf /root/network.tar MANIFEST");
}

void build_import(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_file(verb, arguments->archive, "An archive that \"kavonet backup export\" made")->required();
    verb.add_flag("--dry-run", arguments->dry_run,
                  "Show what would change, file by file and line by line; change nothing");
    verb.add_flag("--exact", arguments->exact, "Remove configuration files that the archive does not hold");
    set_action(
        verb, session, [&session, arguments] { return import_files(session, *arguments); },
        "  kavonet backup import /root/network.tar --dry-run\n"
        "  kavonet backup import /root/network.tar --exact");
}

constexpr Word VERBS[] = {
    {"export", "Write the configuration files into one archive", build_export},
    {"import", "Put the configuration files of an archive back", build_import},
};

} // namespace

void noun_backup(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet backup export /root/network.tar\n"
              "  kavonet backup import /root/network.tar --dry-run");
}

} // namespace cli
