#include "config_files.h"

#include <algorithm>
#include <new>

#include <fnmatch.h>
#include <glob.h>
#include <sys/stat.h>

namespace cli {
namespace {

// The last part alone is a pattern. Copies that programs leave beside a file while they change it are none of it.
constexpr const char *PATTERNS[] = {
    "/etc/sysconfig/network-scripts/ifcfg-!(*.saved|*.bak|*.tmp*)",
    "/etc/sysconfig/network",
    "/etc/sysconfig/pppoe-relay/!(*.saved|*.bak|*.tmp*)",
    "/etc/kavoinfo.conf",
    "/etc/resolv.conf",
    "/etc/resolv.conf.static",
    "/etc/resolv.conf.option",
    "/etc/hosts",
    "/etc/hostname",
    "/etc/ppp/pppoe.conf",
    "/usr/kavo/etc/net/ip_alias",
};

std::string name_of(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

// Directory and name are looked at apart: what stands in "!()" matches slashes and leading dots too. Hidden names are not
// found by the library; "." and ".." are among them.
bool matches(const std::string &pattern, const std::string &path)
{
    const std::string name = name_of(path);
    return folder_of(path) == folder_of(pattern) && !name.empty() && name.front() != '.' &&
           fnmatch(name_of(pattern).c_str(), name.c_str(), FNM_EXTMATCH) == 0;
}

void append(std::string &list, const char *pattern)
{
    if (!list.empty())
        list += ';';
    list += pattern;
}

bool is_folder(const std::string &path)
{
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool is_file(const char *path)
{
    struct stat status {};
    return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

ConfigFiles::ConfigFiles() : hash_(KLIBCSzHashAlloc(1024))
{
    if (hash_ == nullptr)
        throw std::bad_alloc();
}

ConfigFiles::~ConfigFiles()
{
    KLIBCSzHashFree(hash_);
}

void ConfigFiles::set(const std::string &path, const std::string &content)
{
    if (KLIBCSzHashSetValue(&hash_, path.c_str(), content.c_str()) < 0)
        throw std::bad_alloc();
}

const char *ConfigFiles::find(const std::string &path) const
{
    return KLIBCSzHashGetValue(hash_, path.c_str());
}

std::vector<std::string> ConfigFiles::paths() const
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    if (list == nullptr || KLIBCSzHashEnumKey(hash_, &list) < 0) {
        KLIBCSzListFree(list);
        throw std::bad_alloc();
    }
    std::vector<std::string> paths;
    paths.reserve(static_cast<size_t>(list->nItem));
    for (int i = 0; i < list->nItem; ++i)
        paths.emplace_back(KLIBCSzListGet(list, i));
    KLIBCSzListFree(list);
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::string config_patterns()
{
    std::string list;
    for (const char *pattern : PATTERNS)
        append(list, pattern);
    return list;
}

std::string present_config_patterns()
{
    std::string list;
    for (const char *pattern : PATTERNS) {
        if (is_folder(folder_of(pattern)))
            append(list, pattern);
    }
    return list;
}

bool is_config_file(const std::string &path)
{
    return std::any_of(std::begin(PATTERNS), std::end(PATTERNS),
                       [&path](const char *pattern) { return matches(pattern, path); });
}

std::vector<std::string> list_config_files()
{
    std::vector<std::string> files;
    for (const char *pattern : PATTERNS) {
        glob_t found{};
        const int result = glob((folder_of(pattern) + "/*").c_str(), 0, nullptr, &found);
        for (size_t i = 0; result == 0 && i < found.gl_pathc; ++i) {
            const char *path = found.gl_pathv[i];
            if (matches(pattern, path) && is_file(path))
                files.emplace_back(path);
        }
        globfree(&found);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string folder_of(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}

} // namespace cli
