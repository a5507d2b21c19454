// The file that keeps the aliases of all interfaces.
#pragma once

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <json-c/printbuf.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frame/owner.h"
#include "frame/paths.h"
#include "ipv4/alias_json.h"

namespace kavonet {

inline constexpr char ALIAS_STORE[] = "/usr/kavo/etc/net/ip_alias";

// What a file holds. json-c's own reader of files goes on when it runs short of memory and then gives a part of what is
// there, so the text is read here.
class JsonFile {
public:
    explicit JsonFile(const char *path)
    {
        errno = 0;
        const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
        if (file && read_text(file))
            parse();
        else
            unread_ = is_short_of_means(errno);
    }

    // Nothing when the file cannot be opened, read or parsed.
    [[nodiscard]] json_object *get() const { return content_.get(); }

    // Whether there was no memory or descriptor to read the file: it may well be whole.
    [[nodiscard]] bool unread() const { return unread_; }

private:
    // Only errno tells such a failure from a file that cannot be parsed.
    static bool is_short_of_means(int error)
    {
        return error == ENOMEM || error == EMFILE || error == ENFILE || error == EIO;
    }

    bool grow()
    {
        room_ = room_ == 0 ? 4096 : room_ * 2;
        if (room_ > INT_MAX / 2) {
            errno = ENOMEM;
            return false;
        }
        auto *moved = static_cast<char *>(realloc(text_.get(), room_));
        if (moved == nullptr)
            return false;
        *text_.handle() = moved;
        return true;
    }

    bool read_text(const Descriptor &file)
    {
        for (;;) {
            if (size_ == room_ && !grow())
                return false;
            const ssize_t count = read(file.get(), text_.get() + size_, room_ - size_);
            if (count == 0)
                return true;
            if (count < 0 && errno != EINTR)
                return false;
            size_ += count < 0 ? 0 : static_cast<size_t>(count);
        }
    }

    void parse()
    {
        const Owned<json_tokener, json_tokener_free> parser(json_tokener_new());
        // Its buffer for one text is made long enough for any: it does not notice when that cannot grow.
        unread_ = !parser || printbuf_memset(parser->pb, 0, 0, static_cast<int>(size_) + 1) < 0;
        if (unread_)
            return;
        errno = 0;
        JsonValue value(json_tokener_parse_ex(parser.get(), text_.get(), static_cast<int>(size_)));
        // Without memory for a value it stops there and gives what surrounds it, as if that were all.
        unread_ = errno == ENOMEM;
        if (!unread_)
            *content_.handle() = value.release();
    }

    Allocated<char> text_;
    size_t room_ = 0;
    size_t size_ = 0;
    JsonValue content_;
    bool unread_ = false;
};

// What is stored. Nothing when the file is missing or holds no JSON object.
class StoredAliases {
public:
    explicit operator bool() const { return json_object_is_type(file_.get(), json_type_object) != 0; }
    [[nodiscard]] json_object *get() const { return *this ? file_.get() : nullptr; }
    [[nodiscard]] bool unread() const { return file_.unread(); }

private:
    JsonFile file_{ALIAS_STORE};
};

// A file beside the store that takes its place once it is complete: who reads the store, or looks after a crash, finds the
// old content or the new one. Until then it is deleted when this goes.
class NewAliasStore {
public:
    NewAliasStore()
    {
        // A store that is a link stays one.
        if (realpath(ALIAS_STORE, target_.buffer()) == nullptr)
            target_.format("%s", ALIAS_STORE);
    }
    NewAliasStore(const NewAliasStore &) = delete;
    NewAliasStore &operator=(const NewAliasStore &) = delete;
    ~NewAliasStore()
    {
        const int saved = errno;
        if (!path_.empty())
            unlink(path_.c_str());
        errno = saved;
    }

    bool write(json_object *content)
    {
        if (KLIBCFileITmpName(target_.c_str(), path_.buffer(), path_.size()) < 0) {
            path_.format("%s", "");
            return false;
        }
        return json_object_to_file_ext(path_.c_str(), content, JSON_C_TO_STRING_PRETTY) == 0 && holds(content) &&
               secure();
    }

    bool take_place()
    {
        if (rename(path_.c_str(), target_.c_str()) != 0)
            return false;
        path_.format("%s", "");
        return sync_folder();
    }

private:
    // Some file systems have nothing to sync and say so.
    static bool sync(const Descriptor &file) { return file && (fsync(file.get()) == 0 || errno == EINVAL); }

    // Short of memory, json-c leaves out what it has no room for and reports success.
    [[nodiscard]] bool holds(json_object *content) const
    {
        const JsonFile written(path_.c_str());
        return json_object_equal(written.get(), content) != 0;
    }

    // Brings the content to the disk, under the mode and owner of the file that it replaces.
    [[nodiscard]] bool secure() const
    {
        const Descriptor file(open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        struct stat old;
        if (!file)
            return false;
        if (stat(target_.c_str(), &old) == 0) {
            // The mode comes last: a change of owner takes bits off it.
            if (!S_ISREG(old.st_mode) || fchown(file.get(), old.st_uid, old.st_gid) != 0 ||
                fchmod(file.get(), old.st_mode & ALLPERMS) != 0)
                return false;
        }
        return sync(file);
    }

    // The new name is not safe before the folder is.
    bool sync_folder()
    {
        *strrchr(target_.buffer(), '/') = '\0';
        return sync(Descriptor(open(target_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    }

    Path target_;
    Path path_; // of the new file, as long as it has not taken its place
};

// False when it could not be written; the old one then stands as it was, unless only the last sync failed.
inline bool write_alias_store(json_object *store)
{
    NewAliasStore file;
    return file.write(store) && file.take_place();
}

} // namespace kavonet
