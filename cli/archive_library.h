// The archive library, loaded by the first backup that is written or read: nothing else needs it.
#pragma once

#include <archive.h>
#include <archive_entry.h>

namespace cli {

// Every function of it that the command uses, once in a list: the structure and the loader are made from it.
#define ARCHIVE_FUNCTIONS(USE)                                                                                         \
    USE(archive_errno)                                                                                                 \
    USE(archive_error_string)                                                                                          \
    USE(archive_entry_filetype)                                                                                        \
    USE(archive_entry_free)                                                                                            \
    USE(archive_entry_hardlink)                                                                                        \
    USE(archive_entry_new)                                                                                             \
    USE(archive_entry_pathname)                                                                                        \
    USE(archive_entry_set_filetype)                                                                                    \
    USE(archive_entry_set_mtime)                                                                                       \
    USE(archive_entry_set_pathname)                                                                                    \
    USE(archive_entry_set_perm)                                                                                        \
    USE(archive_entry_set_size)                                                                                        \
    USE(archive_entry_size)                                                                                            \
    USE(archive_read_data)                                                                                             \
    USE(archive_read_free)                                                                                             \
    USE(archive_read_new)                                                                                              \
    USE(archive_read_next_header)                                                                                      \
    USE(archive_read_open_fd)                                                                                          \
    USE(archive_read_support_format_tar)                                                                               \
    USE(archive_write_close)                                                                                           \
    USE(archive_write_data)                                                                                            \
    USE(archive_write_free)                                                                                            \
    USE(archive_write_header)                                                                                          \
    USE(archive_write_new)                                                                                             \
    USE(archive_write_open)                                                                                            \
    USE(archive_write_open_fd)                                                                                         \
    USE(archive_write_set_format_mtree)                                                                                \
    USE(archive_write_set_format_pax_restricted)                                                                       \
    USE(archive_write_set_options)

struct ArchiveLibrary {
#define USE(name) decltype(&::name) name; // NOLINT(bugprone-macro-parentheses): it declares the name
    ARCHIVE_FUNCTIONS(USE)
#undef USE
};

// Throws a BackupError when the library is not installed.
const ArchiveLibrary &archive_library();

} // namespace cli
