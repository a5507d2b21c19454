#include "core/replace_file.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "core/descriptor.h"
#include "core/fail.h"
#include "core/fingerprint.h"
#include "core/lock_file.h"
#include "core/lock_wait.h"
#include "core/open_file.h"
#include "core/temporary_name.h"

namespace kavo {
namespace {

// A change takes milliseconds; who waits this long waits for something that hangs.
constexpr int LONGEST_WAIT = 30;

// Writers of a file meet at one of a fixed number of locks: so their lock files stay few although every temporary file
// has a name of its own. Writers of two files that share one wait for each other, which is harmless, because no writer
// waits for a second lock while it holds one.
int lock_writers(const char *target)
{
    char name[32];
    snprintf(name, sizeof name, "write.%02x", static_cast<unsigned>(fingerprint(target) & 0x7F));
    const int fd = open_lock_file(name);
    if (fd >= 0 && !lock_open_file(fd, LockMode::EXCLUSIVE, LONGEST_WAIT)) {
        close_lock_file(fd);
        return -1;
    }
    return fd;
}

bool read_open_file(const Descriptor &file, Bytes &content)
{
    if (content.append_file(file.get()))
        return true;
    return fail(errno == ENOMEM ? ERROR_MEMORY : ERROR_READ, false);
}

bool write_all(int fd, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written >= 0)
            content.remove_prefix(static_cast<size_t>(written));
        else if (errno != EINTR)
            return false;
    }
    return true;
}

// Some file systems have nothing to sync and say so.
bool sync(int fd)
{
    return fsync(fd) == 0 || errno == EINVAL;
}

bool give_attributes(int fd, const Attributes &attributes)
{
    struct stat status;
    if (fstat(fd, &status) != 0)
        return false;
    const bool owned = !attributes.existed || (status.st_uid == attributes.uid && status.st_gid == attributes.gid);
    // The mode comes last: a change of owner takes bits off it.
    return (owned || fchown(fd, attributes.uid, attributes.gid) == 0) && fchmod(fd, attributes.mode) == 0;
}

// A new file in an open folder, under a name that begins with a dot: those who list the folder's files pass it over.
class NewFile {
public:
    NewFile(int folder, std::string_view target) : folder_(folder)
    {
        for (int attempt = 0; attempt < MOST_ATTEMPTS && !file_; ++attempt) {
            if (!temporary_name(".", target, name_))
                return;
            file_ = Descriptor(openat(folder, name_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
            if (!file_ && errno != EEXIST)
                return;
        }
        made_ = static_cast<bool>(file_);
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile()
    {
        const int saved = errno;
        if (made_)
            unlinkat(folder_, name_, 0);
        errno = saved;
    }

    explicit operator bool() const { return made_; }

    bool fill(std::string_view content, const Attributes &attributes)
    {
        return write_all(file_.get(), content) && give_attributes(file_.get(), attributes) && sync(file_.get()) &&
               file_.close_now();
    }

    bool move_to(const char *target)
    {
        if (renameat(folder_, name_, folder_, target) != 0)
            return false;
        made_ = false;
        return true;
    }

private:
    static constexpr int MOST_ATTEMPTS = 100;

    int folder_;
    TemporaryName name_;
    Descriptor file_;
    bool made_ = false;
};

} // namespace

FileChange::~FileChange()
{
    const int saved = errno;
    if (lock_ >= 0)
        close_lock_file(lock_);
    errno = saved;
}

bool FileChange::begin(const char *path)
{
    if (!follow_links(path, target_))
        return fail(ERROR_OPEN, false);
    lock_ = lock_writers(target_);
    if (lock_ < 0)
        return fail(ERROR_LOCK, false);

    struct stat status;
    const Descriptor file = open_plain_file(target_, status); // a device must not be replaced by a file
    if (!file)
        return errno == ENOENT || fail(ERROR_OPEN, false);
    attributes_ = {true, status.st_mode & 07777, status.st_uid, status.st_gid};
    return read_open_file(file, content_);
}

bool FileChange::finish(std::string_view content)
{
    PathBuffer folder_name;
    join(folder_name, folder_of(target_));
    const Descriptor folder(open(folder_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        return fail(ERROR_OPEN, false);
    const std::string_view base = base_of(target_);
    NewFile file(folder.get(), base);
    if (!file)
        return fail(ERROR_OPEN, false);
    if (!file.fill(content, attributes_))
        return fail(ERROR_WRITE, false);
    if (!file.move_to(base.data())) // the end of the path, so terminated
        return fail(ERROR_RENAME, false);
    return sync(folder.get()) || fail(ERROR_WRITE, false);
}

bool read_file(const char *path, Bytes &content)
{
    const Descriptor file = open_file(path);
    if (!file)
        return fail(ERROR_OPEN, false);
    return read_open_file(file, content);
}

} // namespace kavo
