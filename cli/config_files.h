// The configuration files that a backup holds: which they are, and their contents by path.
#pragma once

#include <string>
#include <vector>

#include "kavo/core.h"

namespace cli {

// Contents by path, as the library hands them out and takes them.
class ConfigFiles {
public:
    ConfigFiles();
    ConfigFiles(const ConfigFiles &) = delete;
    ConfigFiles &operator=(const ConfigFiles &) = delete;
    ~ConfigFiles();

    void set(const std::string &path, const std::string &content);
    [[nodiscard]] const char *find(const std::string &path) const; // null when there is none
    [[nodiscard]] std::vector<std::string> paths() const;          // sorted

    PKLIBSZHASH *handle() { return &hash_; }
    [[nodiscard]] PKLIBSZHASH get() const { return hash_; }

private:
    PKLIBSZHASH hash_;
};

// The patterns of the network's configuration files, as the library takes them.
std::string config_patterns();
// Those of them whose directory is there.
std::string present_config_patterns();

// Whether a path is one that the patterns name. Nothing else may come out of a backup.
bool is_config_file(const std::string &path);

// The configuration files that there are, links to some included; sorted.
std::vector<std::string> list_config_files();

// The directory of a path.
std::string folder_of(const std::string &path);

} // namespace cli
