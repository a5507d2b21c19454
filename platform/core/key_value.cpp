#include <algorithm>
#include <cstring>

#include "core/fail.h"
#include "core/line.h"
#include "core/replace_file.h"

namespace {

using kavo::Bytes;

constexpr char SETTINGS_FILE[] = "/etc/kavoinfo.conf";

bool is_text(const char *text)
{
    return text != nullptr && *text != '\0';
}

// The value of a key, a part of the content; the last line wins, as for a shell that reads the file. False when absent.
bool find_value(std::string_view content, std::string_view key, std::string_view &value)
{
    bool found = false;
    for (kavo::Lines lines(content); lines.next();) {
        kavo::KeyValue pair;
        if (kavo::parse_line(lines.text(), kavo::Indent::PART_OF_KEY, pair) && pair.key == key) {
            value = kavo::unquoted(pair.value);
            found = true;
        }
    }
    return found;
}

bool all_taken(const kavo::LineFormat &format, const tagKLIBSZHASH *set)
{
    for (size_t i = 0; i < kavo::count(set); ++i) {
        if (!format.takes(set->entries[i].key, set->entries[i].value))
            return false;
    }
    return true;
}

bool all_keys(const tagKLIBSZHASH *remove)
{
    for (size_t i = 0; i < kavo::count(remove); ++i) {
        if (!kavo::is_key(remove->entries[i].key))
            return false;
    }
    return true;
}

bool edit(std::string_view content, kavo::KeyEdit &&keys, Bytes &out)
{
    for (kavo::Lines lines(content); lines.next();) {
        if (!keys.pass(out, lines))
            return kavo::fail(kavo::ERROR_MEMORY, false);
    }
    return keys.append_rest(out) || kavo::fail(kavo::ERROR_MEMORY, false);
}

enum class Missing { REFUSED, CREATED };

int set_keys(const char *path, const tagKLIBSZHASH *set, const tagKLIBSZHASH *remove, const char *format_text,
             Missing missing)
{
    kavo::LineFormat format;
    if (!is_text(path) || !format.parse(format_text) || !all_taken(format, set) || !all_keys(remove))
        return kavo::fail(kavo::ERROR_PARAMETER, -1);

    kavo::FileChange change;
    if (!change.begin(path))
        return -1;
    if (missing == Missing::REFUSED && !change.existed())
        return kavo::fail(kavo::ERROR_OPEN, -1);
    Bytes out;
    if (!edit(change.content(), kavo::KeyEdit(set, remove, format, format.indent()), out))
        return -1;
    return change.finish(out.view()) ? 0 : -1;
}

int set_key(const char *path, const char *key, const char *value, const char *format, Missing missing)
{
    if (key == nullptr || value == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    const kavo::Hash hash;
    if (!hash || !kavo::set(hash.get(), key, value))
        return kavo::fail(kavo::ERROR_MEMORY, -1);
    return set_keys(path, hash.get(), nullptr, format, missing);
}

int remove_key(const char *path, const char *key)
{
    if (!is_text(path) || key == nullptr || !kavo::is_key(key))
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    const kavo::Hash hash;
    if (!hash || !kavo::set(hash.get(), key, ""))
        return kavo::fail(kavo::ERROR_MEMORY, -1);

    kavo::FileChange change;
    if (!change.begin(path))
        return -1;
    Bytes out;
    if (!edit(change.content(), kavo::KeyEdit(nullptr, hash.get(), {}, kavo::Indent::PART_OF_KEY), out))
        return -1;
    const bool same = out.view().size() == change.content().size();
    return same || change.finish(out.view()) ? 0 : -1;
}

} // namespace

extern "C" int KLIBCFileGetKeyValue(const char *szPath, const char *szKey, char *szValue, int cbValue, int flags)
{
    if (szValue == nullptr || cbValue <= 0)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    szValue[0] = '\0';
    if (!is_text(szPath) || szKey == nullptr || !kavo::is_key(szKey) || flags != 0)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);

    Bytes content;
    std::string_view value;
    if (!kavo::read_file(szPath, content))
        return -1;
    if (!find_value(content.view(), szKey, value))
        return 0;
    const size_t length = std::min(value.size(), static_cast<size_t>(cbValue) - 1);
    memcpy(szValue, value.data(), length);
    szValue[length] = '\0';
    return 1;
}

extern "C" int KLIBCFileSetKeyValue(const char *szPath, const char *szKey, const char *szValue, const char *szFormat)
{
    return set_key(szPath, szKey, szValue, szFormat, Missing::REFUSED);
}

extern "C" int KLIBCFileSetKeys(const char *szPath, PKLIBSZHASH pSet, PKLIBSZHASH pRemove, const char *szFormat)
{
    return set_keys(szPath, pSet, pRemove, szFormat, Missing::CREATED);
}

extern "C" int KLIBCFileRemoveKey(const char *szPath, const char *szKey)
{
    return remove_key(szPath, szKey);
}

extern "C" int KLIBCFileCheckKeyValue(const char *szPath, const char *szKey, const char *szExpected, int flags)
{
    if (!is_text(szPath) || szKey == nullptr || !kavo::is_key(szKey) || szExpected == nullptr || flags != 0)
        return kavo::fail(kavo::ERROR_PARAMETER, 0);
    Bytes content;
    std::string_view value;
    if (!kavo::read_file(szPath, content))
        return 0;
    return find_value(content.view(), szKey, value) && value == szExpected ? 1 : 0;
}

extern "C" int KLIBCINFOSetKeyValue(const char *szKey, const char *szValue)
{
    return set_key(SETTINGS_FILE, szKey, szValue, nullptr, Missing::CREATED);
}

extern "C" int KLIBCINFORemoveKey(const char *szKey)
{
    return remove_key(SETTINGS_FILE, szKey);
}
