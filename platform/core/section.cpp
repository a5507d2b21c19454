#include <cstring>

#include "core/fail.h"
#include "core/line.h"
#include "core/replace_file.h"

namespace {

using kavo::Bytes;

bool is_text(const char *text)
{
    return text != nullptr && *text != '\0';
}

// Every line that begins so ends the section before it.
bool begins_section(std::string_view line)
{
    return !line.empty() && line.front() == '[';
}

// The name between the brackets; empty when the line names no section.
std::string_view section_name(std::string_view line)
{
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r'))
        line.remove_suffix(1);
    if (line.size() < 3 || line.front() != '[' || line.back() != ']')
        return {};
    line.remove_prefix(1);
    line.remove_suffix(1);
    return line;
}

// Walks through the lines of a file and knows in which section it is.
class SectionLines {
public:
    explicit SectionLines(std::string_view content) : lines_(content) {}

    bool next()
    {
        if (!lines_.next())
            return false;
        heads_ = begins_section(lines_.text());
        if (heads_)
            name_ = section_name(lines_.text());
        return true;
    }

    [[nodiscard]] const kavo::Lines &line() const { return lines_; }
    [[nodiscard]] bool heads() const { return heads_; }           // the line is a section's first
    [[nodiscard]] std::string_view name() const { return name_; } // empty before the first section

private:
    kavo::Lines lines_;
    std::string_view name_;
    bool heads_ = false;
};

bool is_empty_line(std::string_view line)
{
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

// Where further keys of a section belong: behind its last line that is not empty. What follows is given; false when
// there is no such section.
bool find_end(std::string_view content, std::string_view name, size_t &rest)
{
    bool found = false;
    for (SectionLines lines(content); lines.next();) {
        if (lines.name() == name && !is_empty_line(lines.line().text())) {
            rest = lines.line().rest().size();
            found = true;
        }
    }
    return found;
}

bool add_keys(std::string_view content, std::string_view name, kavo::KeyEdit &keys, Bytes &out)
{
    size_t rest = 0;
    const bool found = find_end(content, name, rest);
    for (SectionLines lines(content); lines.next();) {
        const bool inside = lines.name() == name && !lines.heads();
        if (!(inside ? keys.pass(out, lines.line()) : out.append(lines.line().whole())))
            return false;
        if (found && lines.line().rest().size() == rest && !keys.append_rest(out))
            return false;
    }
    return found ||
           (kavo::end_line(out) && out.append("[") && out.append(name) && out.append("]\n") && keys.append_rest(out));
}

// A section's key must not look like the head of another.
bool all_taken(const kavo::LineFormat &format, const tagKLIBSZHASH *keys)
{
    for (size_t i = 0; i < keys->count; ++i) {
        const auto &entry = keys->entries[i];
        if (strchr(" \t[", entry.key[0]) != nullptr || !format.takes(entry.key, entry.value))
            return false;
    }
    return true;
}

// The keys of a section. False when out of memory.
bool collect(std::string_view content, std::string_view name, const kavo::Hash &keys, bool &found)
{
    for (SectionLines lines(content); lines.next();) {
        if (lines.name() != name)
            continue;
        found = true;
        kavo::KeyValue pair;
        if (lines.heads() || !kavo::parse_line(lines.line().text(), kavo::Indent::IGNORED, pair))
            continue;
        if (!kavo::set(keys.get(), pair.key, kavo::unquoted(pair.value)))
            return false;
    }
    return true;
}

} // namespace

extern "C" int KLIBCFileEnumSection(const char *szPath, PKLIBSZLIST *ppList)
{
    if (!is_text(szPath) || ppList == nullptr || *ppList == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    Bytes content;
    if (!kavo::read_file(szPath, content))
        return -1;
    const kavo::Hash names; // a section may stand in several pieces
    if (!names)
        return -1;
    for (SectionLines lines(content.view()); lines.next();) {
        if (lines.heads() && !lines.name().empty() && !kavo::set(names.get(), lines.name(), ""))
            return kavo::fail(kavo::ERROR_MEMORY, -1);
    }
    return KLIBCSzHashEnumKey(names.get(), ppList);
}

extern "C" int KLIBCFileGetSection(const char *szPath, const char *szSection, PKLIBSZHASH *ppHash)
{
    if (!is_text(szPath) || !is_text(szSection) || ppHash == nullptr || *ppHash == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    Bytes content;
    if (!kavo::read_file(szPath, content))
        return -1;
    const kavo::Hash keys;
    bool found = false;
    if (!keys || !collect(content.view(), szSection, keys, found))
        return kavo::fail(kavo::ERROR_MEMORY, -1);
    if (!found)
        return kavo::fail(kavo::ERROR_READ, -1);
    for (size_t i = 0; i < keys.get()->count; ++i) {
        const auto &entry = keys.get()->entries[i];
        if (!kavo::set(*ppHash, entry.key, entry.value))
            return kavo::fail(kavo::ERROR_MEMORY, -1);
    }
    return static_cast<int>(keys.get()->count);
}

extern "C" int KLIBCFileAddSection(const char *szPath, const char *szSection, PKLIBSZHASH pHash, const char *szFormat)
{
    kavo::LineFormat format;
    if (!is_text(szPath) || !is_text(szSection) || strpbrk(szSection, "\n\r") != nullptr || pHash == nullptr ||
        !format.parse(szFormat) || !all_taken(format, pHash))
        return kavo::fail(kavo::ERROR_PARAMETER, -1);

    kavo::FileChange change;
    if (!change.begin(szPath))
        return -1;
    Bytes out;
    kavo::KeyEdit keys(pHash, nullptr, format, kavo::Indent::IGNORED);
    if (!add_keys(change.content(), szSection, keys, out))
        return kavo::fail(kavo::ERROR_MEMORY, -1);
    return change.finish(out.view()) ? 0 : -1;
}
