#include "backup_archive.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <set>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "archive_library.h"
#include "text.h"

namespace cli {
namespace {

constexpr char MANIFEST[] = "MANIFEST";
constexpr char FORMAT[] = "#mtree\n# kavonet backup 1\n";
constexpr char HOST[] = "# host ";
constexpr char CREATED[] = "# created ";
constexpr size_t LARGEST_MANIFEST = size_t{8} << 20;
constexpr size_t LONGEST_PATH = 255; // the library restores no longer ones
constexpr size_t BLOCK = 65536;

constexpr char UNUSABLE_ADVICE[] = "nothing was changed; take another backup";
constexpr char SPACE_ADVICE[] = "check with df that its file system has room and is writable";

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    ~Fd() { close_now(); }

    [[nodiscard]] int get() const { return fd_; }
    bool close_now()
    {
        const int fd = fd_;
        fd_ = -1;
        return fd < 0 || close(fd) == 0;
    }

private:
    int fd_;
};

using Reader = std::unique_ptr<archive, decltype(ArchiveLibrary::archive_read_free)>;
using Writer = std::unique_ptr<archive, decltype(ArchiveLibrary::archive_write_free)>;
using Entry = std::unique_ptr<archive_entry, decltype(ArchiveLibrary::archive_entry_free)>;

template <class Pointer> Pointer *needed(Pointer *pointer)
{
    if (pointer == nullptr)
        throw std::bad_alloc();
    return pointer;
}

// ---- Writing

[[noreturn]] void cannot_write(archive *writer)
{
    const char *reason = archive_library().archive_error_string(writer);
    throw BackupError(reason == nullptr ? "it cannot be written" : reason, SPACE_ADVICE);
}

// A warning is about names that are no text: they are stored as the bytes that they are.
void written(archive *writer, la_ssize_t result)
{
    if (result < ARCHIVE_WARN)
        cannot_write(writer);
}

void put_member(archive *writer, const std::string &name, std::string_view content, time_t time)
{
    const ArchiveLibrary &library = archive_library();
    const Entry entry(needed(library.archive_entry_new()), library.archive_entry_free);
    library.archive_entry_set_pathname(entry.get(), name.c_str());
    library.archive_entry_set_filetype(entry.get(), AE_IFREG);
    library.archive_entry_set_perm(entry.get(), 0644);
    library.archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
    library.archive_entry_set_mtime(entry.get(), time, 0);
    written(writer, library.archive_write_header(writer, entry.get()));
    while (!content.empty()) {
        const la_ssize_t n = library.archive_write_data(writer, content.data(), content.size());
        if (n <= 0)
            cannot_write(writer);
        content.remove_prefix(static_cast<size_t>(n));
    }
}

// A member's name: the path as it stands below the root.
std::string member_of(const std::string &path)
{
    return path.substr(1);
}

void put_files(archive *writer, const ConfigFiles &files, time_t time)
{
    for (const std::string &path : files.paths())
        put_member(writer, member_of(path), files.find(path), time);
}

la_ssize_t append_to_text(archive * /*writer*/, void *text, const void *data, size_t size)
{
    static_cast<std::string *>(text)->append(static_cast<const char *>(data), size);
    return static_cast<la_ssize_t>(size);
}

// The lines of the manifest: a file each, with size and digest.
std::string listed(const ConfigFiles &files)
{
    const ArchiveLibrary &library = archive_library();
    const Writer writer(needed(library.archive_write_new()), library.archive_write_free);
    std::string text;
    written(writer.get(), library.archive_write_set_format_mtree(writer.get()));
    written(writer.get(), library.archive_write_set_options(writer.get(), "!all,type,size,sha256"));
    written(writer.get(), library.archive_write_open(writer.get(), &text, nullptr, append_to_text, nullptr));
    put_files(writer.get(), files, 0);
    written(writer.get(), library.archive_write_close(writer.get()));
    return text.substr(text.find('\n') + 1); // its own "#mtree" stands above already
}

std::string manifest_of(const Backup &backup)
{
    return FORMAT + (HOST + printable(backup.host) + "\n") + CREATED + backup.created + "\n" + listed(backup.files);
}

void put_archive(int fd, const Backup &backup)
{
    const ArchiveLibrary &library = archive_library();
    const Writer writer(needed(library.archive_write_new()), library.archive_write_free);
    written(writer.get(), library.archive_write_set_format_pax_restricted(writer.get()));
    written(writer.get(), library.archive_write_open_fd(writer.get(), fd));
    const time_t now = time(nullptr);
    put_member(writer.get(), MANIFEST, manifest_of(backup), now);
    put_files(writer.get(), backup.files, now);
    written(writer.get(), library.archive_write_close(writer.get()));
}

[[noreturn]] void fail_with_errno(const char *advice)
{
    throw BackupError(strerror(errno), advice);
}

// A device or folder must not be replaced by mistake.
void refuse_other_than_file(const std::string &archive)
{
    struct stat status {};
    if (lstat(archive.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        throw BackupError("there is something of that name that is no regular file", "give the name of a new file");
}

// ---- Reading

[[noreturn]] void refuse(const std::string &reason)
{
    throw BackupError(reason, UNUSABLE_ADVICE);
}

[[noreturn]] void damaged(archive *reader)
{
    const char *reason = archive_library().archive_error_string(reader);
    refuse(std::string("it is damaged, or no tar archive") + (reason == nullptr ? "" : std::string(": ") + reason));
}

// The content of the member that was found last.
std::string content_of(archive *reader, archive_entry *entry, const std::string &name, size_t most)
{
    const ArchiveLibrary &library = archive_library();
    const la_int64_t size = library.archive_entry_size(entry);
    if (size < 0 || static_cast<uint64_t>(size) > most)
        refuse("\"" + name + "\" is larger than a backup's files may be");
    std::string content(static_cast<size_t>(size), '\0');
    size_t used = 0;
    while (used < content.size()) {
        const la_ssize_t n = library.archive_read_data(reader, content.data() + used, content.size() - used);
        if (n <= 0)
            damaged(reader);
        used += static_cast<size_t>(n);
    }
    if (content.find('\0') != std::string::npos)
        refuse("\"" + name + "\" holds a NUL byte, which no configuration file may");
    return content;
}

// The next member, which must be a plain file; null at the end. `name` receives what it is called.
archive_entry *next_member(archive *reader, std::string &name)
{
    const ArchiveLibrary &library = archive_library();
    archive_entry *entry = nullptr;
    const int result = library.archive_read_next_header(reader, &entry);
    if (result == ARCHIVE_EOF)
        return nullptr;
    const char *given = result == ARCHIVE_OK ? library.archive_entry_pathname(entry) : nullptr;
    if (given == nullptr)
        damaged(reader);
    name = given;
    if (library.archive_entry_filetype(entry) != AE_IFREG || library.archive_entry_hardlink(entry) != nullptr)
        refuse("\"" + name + "\" is no regular file");
    return entry;
}

std::string read_manifest(archive *reader)
{
    std::string name;
    archive_entry *entry = next_member(reader, name);
    if (entry == nullptr || name != MANIFEST)
        refuse(std::string("its first member is not ") + MANIFEST + ", so it is no backup of this command");
    return content_of(reader, entry, name, LARGEST_MANIFEST);
}

void read_files(archive *reader, ConfigFiles &files)
{
    std::string name;
    size_t count = 0;
    size_t total = 0;
    while (archive_entry *entry = next_member(reader, name)) {
        const std::string path = "/" + name;
        if (!is_config_file(path) || path.size() > LONGEST_PATH)
            refuse("\"" + name + "\" is none of the files that a backup may hold");
        if (files.find(path) != nullptr)
            refuse("\"" + name + "\" is in it twice");
        const std::string content = content_of(reader, entry, name, LARGEST_FILE);
        total += content.size();
        if (++count > MOST_FILES || total > LARGEST_BACKUP)
            refuse("it holds more than a backup may");
        files.set(path, content);
    }
}

// Takes the first line off when it begins so. False when it does not.
bool take_line(std::string_view &text, std::string_view begin, std::string &rest)
{
    const size_t end = text.find('\n');
    if (!text.starts_with(begin) || end == std::string_view::npos)
        return false;
    rest = text.substr(begin.size(), end - begin.size());
    text.remove_prefix(end + 1);
    return true;
}

// What the lines say of each file, in whatever order lines and words stand.
std::multiset<std::string> sayings(std::string_view lines)
{
    std::multiset<std::string> result;
    for (std::string line; take_line(lines, "", line);) {
        std::multiset<std::string> words;
        for (size_t begin = 0; begin < line.size();) {
            const size_t end = std::min(line.find(' ', begin), line.size());
            const bool below = line.compare(begin, 2, "./") == 0; // some versions of the library write it, some do not
            words.insert(line.substr(below ? begin + 2 : begin, end - begin - (below ? 2 : 0)));
            begin = end + 1;
        }
        std::string saying;
        for (const std::string &word : words)
            saying += word + " ";
        result.insert(saying);
    }
    return result;
}

void check_manifest(const std::string &manifest, Backup &backup)
{
    std::string_view rest = manifest;
    if (!rest.starts_with(FORMAT))
        refuse("it is no backup of this command, or of a newer one");
    rest.remove_prefix(sizeof FORMAT - 1);
    if (!take_line(rest, HOST, backup.host) || !take_line(rest, CREATED, backup.created) ||
        (!rest.empty() && rest.back() != '\n') || sayings(rest) != sayings(listed(backup.files)))
        refuse("its files are not those that its manifest lists");
}

} // namespace

void check_files(const ConfigFiles &files)
{
    constexpr char ADVICE[] = "take the file out of the configuration, or make it smaller";
    const auto paths = files.paths();
    size_t total = 0;
    for (const std::string &path : paths) {
        const size_t size = strlen(files.find(path));
        total += size;
        if (path.size() > LONGEST_PATH)
            throw BackupError(path + " has a name that is too long to be restored", ADVICE);
        if (size > LARGEST_FILE)
            throw BackupError(path + " is too large for a backup", ADVICE);
    }
    if (paths.size() > MOST_FILES || total > LARGEST_BACKUP)
        throw BackupError("the configuration is too large for a backup", ADVICE);
}

void write_backup(const std::string &archive, const Backup &backup)
{
    refuse_other_than_file(archive);
    std::string temporary = archive + ".XXXXXX";
    Fd file(mkostemp(temporary.data(), O_CLOEXEC));
    if (file.get() < 0)
        fail_with_errno("check that its folder exists and is writable");
    try {
        put_archive(file.get(), backup);
        if (fsync(file.get()) != 0 || !file.close_now() || rename(temporary.c_str(), archive.c_str()) != 0)
            fail_with_errno(SPACE_ADVICE);
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

void read_backup(const std::string &archive, Backup &backup)
{
    // Without waiting: a pipe is refused, not waited for.
    const Fd file(open(archive.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (file.get() < 0)
        fail_with_errno("check the name of the archive");
    struct stat status {};
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw BackupError("it is no regular file", "give the name of an archive that \"kavonet backup export\" made");
    const ArchiveLibrary &library = archive_library();
    const Reader reader(needed(library.archive_read_new()), library.archive_read_free);
    if (library.archive_read_support_format_tar(reader.get()) != ARCHIVE_OK ||
        library.archive_read_open_fd(reader.get(), file.get(), BLOCK) != ARCHIVE_OK)
        damaged(reader.get());
    const std::string manifest = read_manifest(reader.get());
    read_files(reader.get(), backup.files);
    check_manifest(manifest, backup);
}

} // namespace cli
