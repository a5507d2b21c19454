#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diag/config_files.h"
#include "frame/command.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "frame/text.h"
#include "kavonetsdk/diag.h"

using namespace kavonet;

namespace {

// The name of a target with six more letters; longer targets are not restored.
using TemporaryName = Text<262>;

// Nobody but root reads or writes a file before it is whole.
constexpr mode_t RESTORE_MASK = 0600;
constexpr mode_t RESTORED_MODE = 0644;
constexpr int EXPECTED_ITEMS = 1024;

// Under this name log readers look for what a preparation did.
constexpr char PREPARATION[] = "__PrepareImport";

// Hands each pattern of the list to `handle` until one fails.
template <class Handle> bool each_pattern(const char *patterns, Handle handle)
{
    PatternList list(patterns);
    if (!list) {
        log_err("Failed to memory allocation for string.");
        return false;
    }
    const char *pattern = list.next();
    if (pattern == nullptr) {
        log_err("Failed to parse pathPattern %s.", patterns);
        return false;
    }
    for (; pattern != nullptr; pattern = list.next()) {
        if (!handle(pattern)) {
            log_err("Failed to handle pattern %s.", pattern);
            return false;
        }
    }
    return true;
}

// Hands each file of the directory that the pattern matches to `visit`, the last first.
template <class Visit> bool each_match(const char *folder, const char *pattern, Visit visit)
{
    const Listing listing(folder);
    if (listing.error() != 0) {
        log_err("Failed to read file from [%s]: %d.", folder, listing.error());
        return false;
    }
    return listing.each_match(pattern, visit);
}

// ---- Export

// The size of an open file, which is then at its begin again; -1 when it cannot be told.
long size_of(FILE *file)
{
    if (fseek(file, 0, SEEK_END) != 0)
        return -1;
    const long size = ftell(file);
    rewind(file);
    return size;
}

bool export_content(PKLIBSZHASH *hash, const char *path, FILE *file, long size)
{
    const size_t expected = static_cast<size_t>(size);
    const Allocated<char> content(static_cast<char *>(malloc(expected + 1)));
    if (!content) {
        log_err("Failed to malloc(%ld).", static_cast<long>(expected + 1));
        return false;
    }
    const size_t actual = fread(content.get(), 1, expected, file);
    if (actual != expected) {
        log_err("Failed to read config [%s] with expected size %lld and actual size %lld.", path,
                static_cast<long long>(expected), static_cast<long long>(actual));
        return false;
    }
    content.get()[expected] = '\0';
    if (KLIBCSzHashSetValue(hash, path, content.get()) < 0) {
        log_err("Failed to setup KLIBSZHASH.");
        return false;
    }
    return true;
}

// What cannot be opened is left out of the backup; what is opened and cannot be taken whole ends it.
bool export_file(PKLIBSZHASH *hash, const char *path)
{
    struct stat status;
    if (stat(path, &status) != 0) {
        log_err("Failed to stat %s, skipping its backup: %m", path);
        return true;
    }
    if (!S_ISREG(status.st_mode))
        return true;
    const File file(fopen(path, "re"));
    if (!file) {
        log_err("Failed to fopen %s, skipping its backup: %m", path);
        return true;
    }
    const long size = size_of(file.get());
    if (size < 0) {
        log_err("Failed to ftell(%s), skipping its backup: %s", path, strerror(errno));
        return true;
    }
    return export_content(hash, path, file.get(), size);
}

bool export_pattern(PKLIBSZHASH *hash, const char *pattern)
{
    const PatternFolder folder(pattern);
    if (!folder) {
        log_err("Failed to memory allocation for string.");
        return false;
    }
    if (KLIBCFileCheckDir(folder.path()) == 0)
        return true;
    return each_match(folder.path(), pattern, [hash](const char *path) { return export_file(hash, path); });
}

// ---- Import

// A file that cannot be deleted is passed over without a word.
bool delete_file(const char *path)
{
    if (unlink(path) == 0)
        log_info("%s: delete file '%s'.", PREPARATION, path);
    return true;
}

// Makes the directory of a pattern, or takes the files that the pattern matches out of it.
bool prepare_import(const char *pattern, unsigned int flags)
{
    const PatternFolder folder(pattern);
    if (!folder) {
        log_err("Failed to memory allocation for string.");
        return false;
    }
    if (KLIBCFileCheckDir(folder.path()) != 0)
        return (flags & KAVO_CONFIG_DELETE_OLD) == 0 || each_match(folder.path(), pattern, delete_file);
    // The directory's mode is what the creation mask of the restore leaves of it.
    if (KLIBCExecl("/bin/mkdir", RUN_OPTIONS, "-p", folder.path(), static_cast<char *>(nullptr)) != 0) {
        log_err("Failed to mkdir -p %s.", folder.path());
        return false;
    }
    return true;
}

// Makes the temporary file beside the target. No stream on failure, and no file is left.
FILE *create_temporary(const char *path, TemporaryName &temporary)
{
    temporary.format("%sXXXXXX", path);
    errno = ENAMETOOLONG; // the reason where the name was cut
    const int fd = temporary.cut() ? -1 : mkstemp(temporary.buffer());
    if (fd < 0) {
        log_err("Failed to mkstemp(%s): %s", temporary.c_str(), strerror(errno));
        return nullptr;
    }
    (void)fcntl(fd, F_SETFD, FD_CLOEXEC);
    FILE *file = fdopen(fd, "w");
    if (file == nullptr) {
        log_err("Failed to fopen %s, skipping its restore: %m", path);
        close(fd);
        unlink(temporary.c_str());
    }
    return file;
}

// Brings what was written to the disk and closes the file.
bool finish_file(FILE *file)
{
    const int fd = fileno(file);
    const bool finished = fchmod(fd, RESTORED_MODE) == 0 && fflush(file) == 0 && fsync(fd) == 0;
    const int error = errno;
    if (fclose(file) != 0)
        return false;
    errno = error;
    return finished;
}

// Writes the temporary file. False when it is not there to take the target's place.
bool write_temporary(const char *path, const char *value, TemporaryName &temporary)
{
    FILE *file = create_temporary(path, temporary);
    if (file == nullptr)
        return false;
    // Without a buffer a short write shows here, however little is written. The file takes its place all the same: callers
    // depend on every path of the hash being there afterwards.
    setvbuf(file, nullptr, _IONBF, 0);
    const size_t expected = strlen(value);
    const size_t actual = fwrite(value, 1, expected, file);
    if (actual != expected)
        log_err("Failed to write config [%s] with expected size %lld and actual size %lld.", path,
                static_cast<long long>(expected), static_cast<long long>(actual));
    if (finish_file(file))
        return true;
    log_err("Failed to sync %s, skipping its restore: %m", path);
    unlink(temporary.c_str());
    return false;
}

// Sets the keys of a file's sections in the file that is to replace it. Whatever fails, the restore goes on.
void carry_sections(const char *path, const char *temporary)
{
    StringHash keys(KLIBCSzHashAlloc(EXPECTED_ITEMS));
    if (!keys)
        return log_err("Failed to allocate hash.");
    StringList sections(KLIBCSzListAlloc(EXPECTED_ITEMS));
    if (!sections)
        return log_err("Failed to allocate list.");
    if (KLIBCFileEnumSection(path, sections.handle()) < 0)
        return log_err("Failed to enum section from %s", path);
    for (int i = 0; i < sections->nItem; ++i) {
        const char *section = KLIBCSzListGet(sections.get(), i);
        KLIBCHashRemoveAll(keys.get());
        if (KLIBCFileGetSection(path, section, keys.handle()) < 0)
            log_err("Failed to get section [%s] from [%s]", section, path);
        else if (KLIBCFileAddSection(temporary, section, keys.get(), "\t%s=%s\n") < 0)
            log_err("Failed to add section [%s] to [%s]", section, temporary);
    }
}

void restore_file(const char *path, const char *value, unsigned int flags)
{
    TemporaryName temporary;
    if (!write_temporary(path, value, temporary))
        return;
    if ((flags & KAVO_CONFIG_KEEP_SECTIONS) != 0)
        carry_sections(path, temporary.c_str());
    // A temporary file that cannot take its place stays: it is all that there is of the restored content.
    if (rename(temporary.c_str(), path) != 0)
        log_err("Failed to rename(%s, %s): %s", temporary.c_str(), path, strerror(errno));
}

} // namespace

extern "C" int KAVOConfigExport(PKLIBSZHASH *ppHash, const char *szPatterns)
{
    if (ppHash == nullptr || *ppHash == nullptr || szPatterns == nullptr) {
        log_err("Invalid arguments for %s", __func__);
        return -1;
    }
    const auto handle = [ppHash](const char *pattern) { return export_pattern(ppHash, pattern); };
    return each_pattern(szPatterns, handle) ? 0 : -1;
}

extern "C" int KAVOConfigImport(PKLIBSZHASH pHash, const char *szPatterns, unsigned int flags)
{
    const CreationMask mask(RESTORE_MASK);
    if (pHash == nullptr || szPatterns == nullptr) {
        log_err("Invalid arguments.");
        return -1;
    }
    StringList paths(KLIBCSzListAlloc(EXPECTED_ITEMS));
    if (!paths) {
        log_err("Failed to memory allocation.");
        return -1;
    }
    if (KLIBCSzHashEnumKey(pHash, paths.handle()) < 0) {
        log_err("Failed to KLIBCSzHashEnumKey().");
        return -1;
    }
    if (!each_pattern(szPatterns, [flags](const char *pattern) { return prepare_import(pattern, flags); })) {
        log_err("Failed to prepare import.");
        return -1;
    }
    // The hash says what is restored; its paths are deliberately not compared with the patterns.
    for (int i = 0; i < paths->nItem; ++i) {
        const char *path = KLIBCSzListGet(paths.get(), i);
        if (const char *value = KLIBCSzHashGetValue(pHash, path); value != nullptr)
            restore_file(path, value, flags);
    }
    return 0;
}
