// What the system's ipcalc says of an address: its first line, "NETWORK=..." or "BROADCAST=...".
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

using IpcalcLine = Text<1024>;

// Runs ipcalc with an option and the caller's word, and reads at most `size` - 1 characters of its first line, without
// the white space around them. The word may begin with "-": ipcalc has no option that changes anything, and what is not
// the expected line is ignored. False when ipcalc cannot be started.
inline bool ask_ipcalc(const char *option, const char *word, size_t size, IpcalcLine &line)
{
    const Command ipcalc(KLIBCPopen("/bin/ipcalc", "r", option, word, static_cast<char *>(nullptr)));
    if (!ipcalc)
        return false;
    if (fgets(line.buffer(), static_cast<int>(std::min(size, IpcalcLine::capacity)), ipcalc.get()) == nullptr)
        *line.buffer() = '\0';
    KLIBCStrTrimSpace(line.buffer(), 0);
    return true;
}

// Copies the word behind `key`, cut to the buffer. The buffer stays as it is when the line has no such key or no word.
inline void copy_ipcalc_value(const IpcalcLine &line, const char *key, char *buffer, size_t size)
{
    static constexpr char SPACE[] = " \t\n\v\f\r";
    const size_t key_length = strlen(key);
    if (strncmp(line.c_str(), key, key_length) != 0)
        return;
    const char *word = line.c_str() + key_length;
    word += strspn(word, SPACE);
    if (*word != '\0')
        snprintf(buffer, size, "%.*s", static_cast<int>(strcspn(word, SPACE)), word);
}

} // namespace kavonet
