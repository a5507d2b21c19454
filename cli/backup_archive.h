// The file that a backup is: a plain tar archive that any tar can list and unpack. Its first member, MANIFEST, is text:
//
//   #mtree
//   # kavonet backup 1
//   # host nas1
//   # created 2026-01-31T12:00:00Z
//   ./etc/hostname type=file size=5 sha256digest=2cf2...9824
//
// so that tools for mtree(5) check it too. The other members are the files, each named by its path without the leading "/".
#pragma once

#include <stdexcept>
#include <string>

#include "config_files.h"

namespace cli {

struct Backup {
    std::string host;
    std::string created; // as in the manifest
    ConfigFiles files;
};

// Why an archive cannot be written or is not taken, and what to do.
struct BackupError : std::runtime_error {
    BackupError(const std::string &reason, std::string what_to_do)
        : std::runtime_error(reason),
          advice(std::move(what_to_do))
    {
    }
    std::string advice;
};

// A backup holds no more than this, so that reading one needs bounded memory.
inline constexpr size_t MOST_FILES = 10'000;
inline constexpr size_t LARGEST_FILE = size_t{16} << 20;
inline constexpr size_t LARGEST_BACKUP = size_t{256} << 20;

// Throws a BackupError when the files are more than a backup may hold, or one of them cannot be restored.
void check_files(const ConfigFiles &files);

// Writes the archive, readable by its owner only. It appears whole or not at all. Throws a BackupError.
void write_backup(const std::string &archive, const Backup &backup);

// Reads an archive to its end and checks it: every member a regular file that is a configuration file, no other and none
// twice, each as the manifest says. Throws a BackupError.
void read_backup(const std::string &archive, Backup &backup);

} // namespace cli
