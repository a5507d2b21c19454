// The secrets of the PPPoE client: of whatever the file holds, a record gets a whole name and a password from the user's
// own line, and nothing of it gets into the log.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>

#include "kavo/core.h"
#include "kavonetsdk/pppoe.h"
#include "property.h"
#include "support/log_capture.h"

namespace {

std::string user;    // the stored name
std::string secrets; // the file

// The pieces that a reader with room for 511 bytes sees, each up to its first NUL.
std::vector<std::string> pieces()
{
    std::vector<std::string> found;
    for (size_t at = 0; at < secrets.size();) {
        const size_t newline = secrets.find('\n', at);
        const size_t end = newline == std::string::npos ? secrets.size() : newline + 1;
        const size_t next = end - at > 511 ? at + 511 : end;
        found.emplace_back(secrets.substr(at, next - at).c_str());
        at = next;
    }
    return found;
}

std::string trimmed(const std::string &text)
{
    constexpr char BLANKS[] = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(BLANKS);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

bool find_password(std::string &password)
{
    for (const std::string &piece : pieces()) {
        const size_t star = piece.find('*');
        if (piece.compare(0, 1, "#") == 0 || star == std::string::npos || trimmed(piece.substr(0, star)) != user)
            continue;
        password = trimmed(piece.substr(star + 1)).substr(0, 31);
        return true;
    }
    return false;
}

std::string plain(const std::string &stored)
{
    std::string name;
    if (stored[0] == '\'') {
        for (size_t i = 1; i < stored.size(); ++i) {
            if (stored.compare(i, 5, "'\"'\"'") == 0) {
                name += '\'';
                i += 4;
            } else if (stored[i] == '\'') {
                break;
            } else {
                name += stored[i];
            }
        }
    } else {
        for (size_t i = 0; i < stored.size(); ++i) {
            if (stored.compare(i, 2, "\\#") != 0)
                name += stored[i];
        }
    }
    return name.substr(0, 255);
}

// Whether a quoted name has its closing quote behind the quotes that are parts of it.
bool is_closed(std::string stored)
{
    if (stored[0] != '\'')
        return true;
    for (size_t quote = stored.find('\'', 1); quote != std::string::npos; quote = stored.find('\'', quote)) {
        if (stored.compare(quote, 5, "'\"'\"'") != 0)
            return true;
        stored.erase(quote, 5);
    }
    return false;
}

} // namespace

// Stand-ins for the client's file and the file of secrets.
extern "C" int KLIBCFileGetKeyValue(const char *, const char *szKey, char *szValue, int cbValue, int)
{
    snprintf(szValue, static_cast<size_t>(cbValue), "%s", strcmp(szKey, "USER") == 0 ? user.c_str() : "eth0");
    return 1;
}

extern "C" int KLIBCFileCheckKeyValue(const char *, const char *, const char *, int)
{
    return 1;
}

extern "C" FILE *fopen64(const char *path, const char *mode)
{
    if (strcmp(path, "/etc/ppp/pap-secrets") != 0) { // the corpus
        static const auto real = reinterpret_cast<FILE *(*)(const char *, const char *)>(dlsym(RTLD_NEXT, "fopen64"));
        return real(path, mode);
    }
    return fmemopen(secrets.data(), secrets.size(), "r");
}

// The first line is the stored name, the rest the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    const size_t newline = bytes.find('\n');
    if (newline == std::string::npos || newline + 1 == size)
        return 0; // a memory stream holds at least a byte
    user = std::string(bytes.substr(0, newline).c_str()).substr(0, 255);
    secrets = bytes.substr(newline + 1);

    PPPoEConf conf;
    memset(&conf, 'x', sizeof conf);
    HOLDS(PPPoEConfigGet(&conf) == 0, bytes.c_str());
    std::string password;
    const bool found = !user.empty() && is_closed(user) && find_password(password);
    HOLDS(memchr(conf.szUser, '\0', sizeof conf.szUser) != nullptr, bytes.c_str());
    HOLDS(memchr(conf.szPassword, '\0', sizeof conf.szPassword) != nullptr, bytes.c_str());
    HOLDS(password == conf.szPassword, bytes.c_str());
    HOLDS((found ? plain(user) : "") == conf.szUser, bytes.c_str());
    HOLDS(support::log_lines().empty(), bytes.c_str());
    return 0;
}
