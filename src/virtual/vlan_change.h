// What the making and the removing of a VLAN share: the event around it, the rewritten files, and the tools that are told.
// Error records and log lines name the file of the function, so the helpers take the place that they are called from.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "frame/command.h"
#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "kavonetsdk/event.h"
#include "kavonetsdk/pppoe.h"

namespace kavonet {

inline constexpr char NETWORK_SCRIPT[] = "/etc/rc.network";

// Tells subscribers that the adapter of `from` is `to` from now on: before the change, and after it with its result.
class NameChange {
public:
    NameChange(const char *from, const char *to) : from_(from), to_(to), event_("net/ifname_change") {}

    explicit operator bool() const { return static_cast<bool>(event_); }

    bool announce_before() { return announce(Event::PRE, 0); }
    // An event that is not open any more is told nothing, which is no failure.
    bool announce_after(int result) { return KLIBPluginHasInit(event_.handle()) == 0 || announce(Event::POST, result); }

private:
    bool announce(int phase, int result)
    {
        const bool set = KLIBNetIFChgPluginSetArgs(event_.handle(), &from_, 1, &to_, 1, result) == 0;
        return set && event_.fire(phase);
    }

    const char *from_;
    const char *to_;
    Event event_;
};

// The lines of a file, however long they are.
class Lines {
public:
    explicit Lines(const char *path) : file_(fopen(path, "re")) {}
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;
    ~Lines() { free(line_); }

    explicit operator bool() const { return static_cast<bool>(file_); }

    // Whether there is one more line; it is given without its newline.
    bool next(std::string_view &line)
    {
        const ssize_t length = getline(&line_, &room_, file_.get());
        if (length < 0)
            return false;
        line = {line_, static_cast<size_t>(length)};
        if (line.ends_with('\n'))
            line.remove_suffix(1);
        return true;
    }

    // Whether all lines were read: the reading also stops where it fails, or where the memory does.
    [[nodiscard]] bool ended() const { return feof(file_.get()) != 0 && ferror(file_.get()) == 0; }

private:
    File file_;
    char *line_ = nullptr;
    size_t room_ = 0;
};

using Prefixes = std::initializer_list<std::string_view>;

// Compared by hand: without optimisation starts_with() needs the C++ run-time library.
inline bool begins_with_any(std::string_view line, Prefixes prefixes)
{
    for (const std::string_view prefix : prefixes) {
        if (line.size() >= prefix.size() && memcmp(line.data(), prefix.data(), prefix.size()) == 0)
            return true;
    }
    return false;
}

// A configuration file that is written beside its target, and moved over it when it is whole.
class NewConfig {
public:
    enum class Take { BEGINNING_SO, ALL_OTHERS };

    explicit NewConfig(const char *name_template) : name_("%s", name_template) {}
    NewConfig(const NewConfig &) = delete;
    NewConfig &operator=(const NewConfig &) = delete;
    ~NewConfig()
    {
        if (exists_)
            unlink(name_.c_str());
    }

    bool open()
    {
        *file_.handle() = KLIBCFileTempFileOpen(name_.buffer());
        exists_ = static_cast<bool>(file_);
        return exists_;
    }

    __attribute__((format(printf, 2, 3))) void add(const char *format, ...)
    {
        va_list args;
        va_start(args, format);
        written_ = vfprintf(file_.get(), format, args) >= 0 && written_;
        va_end(args);
    }

    // Copies the lines of a file that begin so, or all others. False with its code when it cannot be read.
    bool copy(const char *from, Take take, Prefixes prefixes, const char *path = __builtin_FILE(),
              int line = __builtin_LINE())
    {
        Lines lines(from);
        if (!lines)
            return fail(NET_ERR_OPEN_FAILED, false, path, line);
        std::string_view text;
        while (lines.next(text)) {
            if (begins_with_any(text, prefixes) == (take == Take::BEGINNING_SO))
                add_line(text);
        }
        return lines.ended() || fail(NET_ERR_OPEN_FAILED, false, path, line);
    }

    // Whether all of it is on the disk; a failure's code is set.
    bool finish(const char *path = __builtin_FILE(), int line = __builtin_LINE())
    {
        written_ = written_ && fflush(file_.get()) == 0 && fsync(fileno(file_.get())) == 0;
        const bool closed = fclose(file_.release()) == 0;
        return (written_ && closed) || fail(NET_ERR_WRITE_FAILED, false, path, line);
    }

    bool move_to(const char *target, const char *path = __builtin_FILE(), int line = __builtin_LINE())
    {
        if (rename(name_.c_str(), target) != 0)
            return false;
        exists_ = false;
        if (chmod(target, 0644) == 0)
            return true;
        log_err_at(path, line, "change %s's mode failed", target);
        return false;
    }

private:
    // The newline stands behind the last line of a file too, or what follows would become part of it.
    void add_line(std::string_view text)
    {
        written_ = fwrite(text.data(), 1, text.size(), file_.get()) == text.size() && written_;
        written_ = fputc('\n', file_.get()) != EOF && written_;
    }

    Path name_;
    File file_;
    bool exists_ = false;
    bool written_ = true;
};

inline bool disable_pppoe(const char *name, const char *path = __builtin_FILE(), int line = __builtin_LINE())
{
    if (KLIBDisablePPPoEOnIf(name) != -1)
        return true;
    log_err_at(path, line, "Disable PPPoE interface %s Failed.[0x%04X %s:%d]", name, PLATFORM_ERROR);
    return false;
}

// Tells the firewall and traffic control, in this order and up to the first failure, once the new interface is up.
inline bool tell_tools(const char *from, const char *to, const char *path = __builtin_FILE(),
                       int line = __builtin_LINE())
{
    constexpr unsigned SECONDS_TO_COME_UP = 2;
    constexpr struct {
        const char *tool;
        const char *option;
    } COMMANDS[] = {{"/usr/kavo/bin/kavofirewall", "--change-adapter"},
                    {"/usr/kavo/bin/kavofirewall", "--change-security-adapter"},
                    {"/usr/kavo/bin/tctool", "-change_interface"}};
    sleep(SECONDS_TO_COME_UP);
    for (const auto &[tool, option] : COMMANDS) {
        if (KLIBCExecl(tool, RUN_OPTIONS, option, from, to, static_cast<const char *>(nullptr)) == 0)
            continue;
        // One text for every tool and option; log readers know it so.
        log_err_at(path, line, "Failed to %s -change_interface %s %s", tool, from, to);
        return false;
    }
    return true;
}

} // namespace kavonet
