// One content of a resolver file, through both ways of reading its servers.
#include <cstdint>
#include <sstream>
#include <vector>

#include "frame/owner.h"
#include "fuzz/property.h"
#include "resolve/server_lines.h"

namespace {

using Texts = std::vector<std::string>;

std::string until_nul(const std::string &text)
{
    return text.substr(0, text.find('\0'));
}

Texts split(const std::string &content)
{
    Texts lines;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// What stands behind the first separator, once more and without strsep.
Texts expected_servers(const std::string &content)
{
    Texts servers;
    Texts lines = split(content);
    for (size_t i = 0; i < lines.size(); ++i) {
        const bool ended = i + 1 < lines.size() || content.back() == '\n';
        const std::string line = until_nul((lines[i] + (ended ? "\n" : "")).substr(0, 511));
        const size_t first = line.find_first_of(" \t\n");
        if (line.rfind("nameserver", 0) != 0 || first == std::string::npos)
            continue;
        const size_t second = line.find_first_of(" \t\n", first + 1);
        servers.push_back(line.substr(first + 1, second == std::string::npos ? second : second - first - 1));
    }
    return servers;
}

void check_finished_file(std::string content)
{
    Texts servers;
    size_t count = 0;
    if (!content.empty()) {
        const kavonet::File file(fmemopen(content.data(), content.size(), "r"));
        for (kavonet::ResolverLine line; kavonet::next_resolver_line(file.get(), line); ++count) {
            HOLDS(strlen(line.c_str()) < 512, content.c_str());
            const char *server = kavonet::server_of_line(line);
            if (server != nullptr)
                servers.emplace_back(server);
        }
    }
    HOLDS(count == split(content).size(), content.c_str());
    HOLDS(servers == expected_servers(content), content.c_str());
}

// The first word behind the keyword of a line without its outer blanks, once more and without sscanf.
std::string expected_source_server(const std::string &text, const std::string &before)
{
    static const std::string BLANKS = " \t\n\v\f\r";
    std::string line = text.substr(0, 1023);
    const size_t begin = line.find_first_not_of(BLANKS);
    line = begin == std::string::npos ? "" : line.substr(begin, line.find_last_not_of(BLANKS) + 1 - begin);
    if (line.rfind("nameserver", 0) != 0)
        return before;
    const size_t word = line.find_first_not_of(BLANKS, 10);
    return word == std::string::npos ? before : line.substr(word, line.find_first_of(BLANKS, word) - word);
}

void check_source(const std::string &content)
{
    kavonet::SourceText server;
    std::string expected;
    for (const std::string &whole : split(content)) {
        ExactText line(until_nul(whole));
        kavonet::scan_source_line(line.get(), server);
        expected = expected_source_server(line.str(), expected);
        HOLDS(expected == server.c_str(), line.get());
        // It always stays on the one line that it is written to.
        HOLDS(strpbrk(server.c_str(), " \t\n\r") == nullptr, line.get());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string content(reinterpret_cast<const char *>(data), size);
    check_finished_file(content);
    check_source(content);
    return 0;
}
