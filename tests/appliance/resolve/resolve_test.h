// What the tests of name resolution share.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <syslog.h>
#include <unistd.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/event.h"
#include "kavonetsdk/resolve.h"
#include "support/tidy_root.h"

using support::entries;
using support::exists;
using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_in;
using support::NO_ERROR_SET;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

// A literal with the NULs that it holds.
template <size_t Size> std::string bytes(const char (&literal)[Size])
{
    return {literal, Size - 1};
}

// A string list of the platform.
class List {
public:
    List() = default;
    explicit List(const Texts &texts)
    {
        for (const std::string &text : texts)
            KLIBCSzListPush(&list_, text.c_str());
    }
    List(const List &) = delete;
    List &operator=(const List &) = delete;
    ~List() { KLIBCSzListFree(list_); }

    PKLIBSZLIST get() { return list_; }
    PKLIBSZLIST *handle() { return &list_; }
    [[nodiscard]] Texts texts() const
    {
        Texts all;
        for (int i = 0; i < list_->nItem; ++i)
            all.emplace_back(KLIBCSzListGet(list_, i));
        return all;
    }

private:
    PKLIBSZLIST list_ = KLIBCSzListAlloc(0);
};

class ResolveTest : public support::TidyRoot {
protected:
    static constexpr char RESOLV[] = "/etc/resolv.conf";
    static constexpr char STATIC[] = "/etc/resolv.conf.static";
    static constexpr char OPTION[] = "/etc/resolv.conf.option";
    static constexpr char AUTO_4[] = "/etc/iproute2/config/resolv4.conf";
    static constexpr char AUTO_6[] = "/etc/iproute2/config/resolv6.conf";
    static constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
    static constexpr char HOSTS[] = "/etc/hosts";
    static constexpr char HOSTNAME[] = "/etc/hostname";
    static constexpr char OLD_RESOLV[] = "nameserver\t192.0.2.99\n";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        for (const char *path : {STATIC, OPTION, AUTO_4, AUTO_6})
            unlink(path);
        unlink(RESOLV); // the machine's may be a link
        write_file(RESOLV, OLD_RESOLV);
        before_ = temporaries();
        support::clear_error();
    }

    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_EQ(before_, temporaries());
        }
        TidyRoot::TearDown();
    }

    // The files beside the finished ones that a call may have left.
    static Texts temporaries()
    {
        Texts found;
        for (const std::string &name : entries("/etc")) {
            const bool ours = name.find("resolv.conf") != std::string::npos || name.find("hosts") != std::string::npos;
            if (ours && name != "resolv.conf" && name != "resolv.conf.static" && name != "resolv.conf.option" &&
                name != "hosts" && name != "hosts.allow" && name != "hosts.deny")
                found.push_back(name);
        }
        return found;
    }

    static void mode_is(const std::string &mode) { write_file(SETTINGS, "dns_mode=\"" + mode + "\"\n"); }

    static unsigned permissions(const std::string &path)
    {
        struct stat status {};
        EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
        return status.st_mode & 07777U;
    }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        unlink(support::RECORDED_CALLS);
    }

    // A failed platform call leaves its own record: the library has set no code of its own.
    static void expect_no_code_of_ours() { EXPECT_STREQ("fault.c", KLIBCErrorGetFile()); }

    // ---- A full disk: /etc becomes a small file system of its own, with the files that it had under these names.

    static constexpr size_t PAGE = 4096;

    static void make_etc_small(const Texts &kept, size_t pages = 64)
    {
        std::vector<std::pair<std::string, std::string>> files;
        for (const std::string &path : kept)
            files.emplace_back(path, read_file(path));
        ASSERT_EQ(0, mount("tmpfs", "/etc", "tmpfs", 0, ("mode=755,size=" + std::to_string(pages * PAGE)).c_str()));
        for (const auto &[path, content] : files)
            write_file(path, content);
    }

    // Leaves that many pages free.
    static void fill_etc(size_t free_pages)
    {
        unlink(FILLER);
        struct statvfs space {};
        ASSERT_EQ(0, statvfs("/etc", &space));
        ASSERT_GE(space.f_bavail, free_pages);
        write_file(FILLER, std::string((space.f_bavail - free_pages) * PAGE, 'x'));
        ASSERT_EQ(0, statvfs("/etc", &space));
        ASSERT_EQ(free_pages, space.f_bavail);
    }

    static void empty_etc() { unlink(FILLER); }

    // ---- A file system that takes no change

    static void make_etc_read_only()
    {
        ASSERT_EQ(0, mount("/etc", "/etc", nullptr, MS_BIND, nullptr));
        ASSERT_EQ(0, mount(nullptr, "/etc", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr)) << strerror(errno);
    }
    static void make_etc_writable() { ASSERT_EQ(0, umount2("/etc", MNT_DETACH)); }

private:
    static constexpr char FILLER[] = "/etc/filler";

    Texts before_;
};
