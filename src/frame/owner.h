// Owners of what must be released: each gives back what it holds when it goes.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include "kavo/core.h"
#include "kavo/plugin.h"

namespace kavonet {

// Something held by a pointer and freed by a function.
template <class Type, auto Free> class Owned {
public:
    Owned() = default;
    explicit Owned(Type *held) : held_(held) {}
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned()
    {
        if (held_ != nullptr)
            Free(held_);
    }

    explicit operator bool() const { return held_ != nullptr; }
    Type *get() const { return held_; }
    Type *operator->() const { return held_; }
    Type &operator[](int i) const { return held_[i]; }
    // The handle's address, for calls that may move what it names.
    Type **handle() { return &held_; }
    Type *release() { return std::exchange(held_, nullptr); }

private:
    Type *held_ = nullptr;
};

using StringList = Owned<KLIBSZLIST, KLIBCSzListFree>;
using StringHash = Owned<KLIBSZHASH, KLIBCSzHashFree>;
using File = Owned<FILE, fclose>;
using Command = Owned<FILE, KLIBCPclose>;
template <class Type> using Allocated = Owned<Type, free>;

// A descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor()
    {
        if (fd_ >= 0) {
            const int saved = errno;
            close(fd_);
            errno = saved;
        }
    }

    explicit operator bool() const { return fd_ >= 0; }
    [[nodiscard]] int get() const { return fd_; }

private:
    int fd_ = -1;
};

// The datagram socket that interface requests go through.
class Socket : public Descriptor {
public:
    Socket() : Descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
};

// A hold of a configuration lock class. Its word says class and mode, its wait is the library's own for every class.
class ConfigLock {
public:
    enum Word { NETWORK_READ = 0x105, NETWORK_WRITE = 0x106, SETTINGS_READ = 0x805, SETTINGS_WRITE = 0x806 };
    static constexpr int WAIT_SECONDS = 5;

    explicit ConfigLock(Word word) : lock_class_(word & 0xF00), held_(KLIBCFileLock(word, WAIT_SECONDS) != -1) {}
    ConfigLock(const ConfigLock &) = delete;
    ConfigLock &operator=(const ConfigLock &) = delete;
    ~ConfigLock()
    {
        if (held_)
            KLIBCFileUnlock(lock_class_);
    }

    explicit operator bool() const { return held_; }

    // For those who must know: whether the lock was given back.
    bool release() { return std::exchange(held_, false) && KLIBCFileUnlock(lock_class_) >= 0; }

private:
    int lock_class_;
    bool held_;
};

// An event: opened, given arguments, fired and closed.
class Event {
public:
    static constexpr int PRE = 4;
    static constexpr int POST = 5;

    // Which events are closed: those that were opened, or, as some callers' platforms expect, every one that was tried.
    enum class Closing { IF_OPENED, ALWAYS };

    explicit Event(const char *name, Closing closing = Closing::IF_OPENED)
        : opened_(KLIBPluginSDKInit("net", name, &handle_) >= 0),
          closing_(closing)
    {
    }
    Event(const Event &) = delete;
    Event &operator=(const Event &) = delete;
    ~Event()
    {
        if (handle_ != 0 || closing_ == Closing::ALWAYS)
            KLIBPluginExit(handle_);
    }

    explicit operator bool() const { return opened_; }
    [[nodiscard]] KLIBPLUGINHANDLE handle() const { return handle_; }
    bool set(const char *key, const char *value) { return KLIBPluginSetArg(handle_, key, value) >= 0; }
    bool fire(int phase) { return KLIBPluginAction(phase, handle_) >= 0; }

private:
    KLIBPLUGINHANDLE handle_ = 0;
    bool opened_;
    Closing closing_;
};

} // namespace kavonet
