// The files that a list of shell patterns names.
#pragma once

#include <cstdlib>
#include <cstring>

#include <fnmatch.h>
#include <glob.h>
#include <libgen.h>
#include <sys/stat.h>

#include "frame/owner.h"
#include "frame/paths.h"

namespace kavonet {

// The patterns of "pattern;pattern", one after another. False when out of memory.
class PatternList {
public:
    explicit PatternList(const char *patterns) : copy_(strdup(patterns)), rest_(copy_.get()) {}

    explicit operator bool() const { return static_cast<bool>(copy_); }
    // Null when there is no further one.
    const char *next() { return strtok_r(nullptr, ";", &rest_); }

private:
    Allocated<char> copy_;
    char *rest_;
};

// The directory that a pattern's files stand in. False when out of memory.
class PatternFolder {
public:
    explicit PatternFolder(const char *pattern) : copy_(strdup(pattern)), path_(copy_ ? dirname(copy_.get()) : nullptr)
    {
    }

    explicit operator bool() const { return static_cast<bool>(copy_); }
    [[nodiscard]] const char *path() const { return path_; }

private:
    Allocated<char> copy_;
    const char *path_;
};

// What stands in a directory, hidden names aside.
class Listing {
public:
    explicit Listing(const char *folder) : result_(glob(Path("%s/*", folder).c_str(), GLOB_ERR, nullptr, &found_)) {}
    Listing(const Listing &) = delete;
    Listing &operator=(const Listing &) = delete;
    ~Listing() { globfree(&found_); }

    // What glob gave; an empty directory is no error.
    [[nodiscard]] int error() const { return result_ == GLOB_NOMATCH ? 0 : result_; }

    // Hands every path that the pattern matches to `visit`, the last first, until one is not taken.
    template <class Visit> bool each_match(const char *pattern, Visit visit) const
    {
        for (size_t i = found_.gl_pathc; i-- > 0;) {
            const char *path = found_.gl_pathv[i];
            if (fnmatch(pattern, path, FNM_PATHNAME | FNM_EXTMATCH) == 0 && !visit(path))
                return false;
        }
        return true;
    }

private:
    glob_t found_{};
    int result_;
};

// The file-creation mask of the process for a while.
class CreationMask {
public:
    explicit CreationMask(mode_t mask) : before_(umask(mask)) {}
    CreationMask(const CreationMask &) = delete;
    CreationMask &operator=(const CreationMask &) = delete;
    ~CreationMask() { umask(before_); }

private:
    mode_t before_;
};

} // namespace kavonet
