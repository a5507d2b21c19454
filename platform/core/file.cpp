#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/descriptor.h"
#include "core/fail.h"
#include "core/line.h"
#include "core/list.h"
#include "core/replace_file.h"

namespace {

using kavo::Bytes;

constexpr int WHOLE_LINE = 2;

bool is_text(const char *text)
{
    return text != nullptr && *text != '\0';
}

void copy_cut(std::string_view text, char *buffer, int size)
{
    const size_t length = std::min(text.size(), static_cast<size_t>(size) - 1);
    memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

bool starts_with(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && memcmp(text.data(), prefix.data(), prefix.size()) == 0;
}

bool push_entries(DIR *folder, PKLIBSZLIST *list)
{
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(folder);
        if (entry == nullptr)
            return errno == 0 || kavo::fail(kavo::ERROR_READ, false);
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && !kavo::push(list, name))
            return kavo::fail(kavo::ERROR_MEMORY, false);
    }
}

// Puts the strings from the n-th on in order.
void sort_from(PKLIBSZLIST list, int n)
{
    char **all = kavo::strings(list);
    std::sort(all + n, all + list->nItem, [](const char *a, const char *b) { return strcmp(a, b) < 0; });
}

int replace_all(std::string_view content, std::string_view from, std::string_view to, Bytes &out)
{
    int count = 0;
    for (;;) {
        const void *found = memmem(content.data(), content.size(), from.data(), from.size());
        if (found == nullptr || count == INT_MAX)
            return out.append(content) ? count : -1;
        const std::string_view before(content.data(),
                                      static_cast<size_t>(static_cast<const char *>(found) - content.data()));
        if (!out.append(before) || !out.append(to))
            return -1;
        content.remove_prefix(before.size() + from.size());
        ++count;
    }
}

} // namespace

extern "C" int KLIBCFileGetLine(const char *szPath, const char *szPrefix, char *szLine, int cbLine, int mode)
{
    if (szLine == nullptr || cbLine <= 0)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    szLine[0] = '\0';
    if (!is_text(szPath) || szPrefix == nullptr || mode != WHOLE_LINE)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    Bytes content;
    if (!kavo::read_file(szPath, content))
        return -1;
    for (kavo::Lines lines(content.view()); lines.next();) {
        if (starts_with(lines.text(), szPrefix)) {
            copy_cut(lines.text(), szLine, cbLine);
            return 1;
        }
    }
    return 0;
}

extern "C" int KLIBCFileReadLines(const char *szPath, PKLIBSZLIST *ppList)
{
    if (!is_text(szPath) || ppList == nullptr || *ppList == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    Bytes content;
    if (!kavo::read_file(szPath, content))
        return -1;
    const int before = (*ppList)->nItem;
    for (kavo::Lines lines(content.view()); lines.next();) {
        if (!kavo::push(ppList, lines.text())) {
            kavo::cut_list(*ppList, before);
            return kavo::fail(kavo::ERROR_MEMORY, -1);
        }
    }
    return (*ppList)->nItem - before;
}

extern "C" int KLIBCFileEnumDir(const char *szDir, int flags, PKLIBSZLIST *ppList, int max)
{
    if (!is_text(szDir) || flags != 0 || ppList == nullptr || *ppList == nullptr || max < 0)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    DIR *folder = opendir(szDir);
    if (folder == nullptr)
        return kavo::fail(kavo::ERROR_OPEN, -1);
    const int before = (*ppList)->nItem;
    const bool complete = push_entries(folder, ppList);
    closedir(folder);
    if (!complete) {
        kavo::cut_list(*ppList, before);
        return -1;
    }
    sort_from(*ppList, before);
    if ((*ppList)->nItem - before > max)
        kavo::cut_list(*ppList, before + max);
    return (*ppList)->nItem - before;
}

extern "C" int KLIBCFileExist(const char *szPath)
{
    if (!is_text(szPath))
        return kavo::fail(kavo::ERROR_PARAMETER, 0);
    struct stat status;
    return stat(szPath, &status) == 0 ? 1 : 0;
}

extern "C" int KLIBCFileCheckDir(const char *szPath)
{
    if (!is_text(szPath))
        return kavo::fail(kavo::ERROR_PARAMETER, 0);
    struct stat status;
    return stat(szPath, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}

extern "C" int KLIBCFileTouch(const char *szPath)
{
    if (!is_text(szPath))
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    if (utimensat(AT_FDCWD, szPath, nullptr, 0) == 0)
        return 0;
    if (errno != ENOENT)
        return kavo::fail(kavo::ERROR_OPEN, -1);
    const kavo::Descriptor file(open(szPath, O_WRONLY | O_CREAT | O_EXCL | O_NOCTTY | O_CLOEXEC, 0644));
    if (!file) // somebody else may have made it meanwhile
        return errno == EEXIST && utimensat(AT_FDCWD, szPath, nullptr, 0) == 0 ? 0 : kavo::fail(kavo::ERROR_OPEN, -1);
    return fchmod(file.get(), 0644) == 0 ? 0 : kavo::fail(kavo::ERROR_WRITE, -1);
}

extern "C" int KLIBCFileReplaceSubStr(const char *szPath, const char *szFrom, const char *szTo)
{
    if (!is_text(szPath) || !is_text(szFrom) || szTo == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    kavo::FileChange change;
    if (!change.begin(szPath))
        return -1;
    if (!change.existed())
        return kavo::fail(kavo::ERROR_OPEN, -1);
    Bytes out;
    const int count = replace_all(change.content(), szFrom, szTo, out);
    if (count < 0)
        return kavo::fail(kavo::ERROR_MEMORY, -1);
    return count == 0 || change.finish(out.view()) ? count : -1;
}
