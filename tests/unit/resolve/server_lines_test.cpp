#include "resolve/server_lines.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "frame/owner.h"

using kavonet::next_resolver_line;
using kavonet::ResolverLine;
using kavonet::scan_source_line;
using kavonet::server_of_line;
using kavonet::SourceText;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Texts = std::vector<std::string>;

Texts lines_of(std::string content)
{
    Texts lines;
    const kavonet::File file(fmemopen(content.data(), content.size(), "r"));
    for (ResolverLine line; next_resolver_line(file.get(), line);)
        lines.emplace_back(line.c_str());
    return lines;
}

// "-" when the line names no server.
std::string server_of(const std::string &text)
{
    ResolverLine line("%s", text.c_str());
    const char *server = server_of_line(line);
    return server == nullptr ? "-" : server;
}

std::string scanned(const std::string &line, const std::string &before = "before")
{
    SourceText server("%s", before.c_str());
    scan_source_line(line.c_str(), server);
    return server.c_str();
}

TEST(ResolverLines, ComeWithTheirNewline)
{
    EXPECT_THAT(lines_of("a\n\nb c\nlast"), ElementsAre("a\n", "\n", "b c\n", "last"));
    EXPECT_THAT(lines_of("\n"), ElementsAre("\n"));
}

TEST(ResolverLines, AreCutTo511BytesAndGoOnBehindTheirNewline)
{
    const std::string full(510, 'a');
    EXPECT_THAT(lines_of(full + "\nb\n"), ElementsAre(full + "\n", "b\n"));
    EXPECT_THAT(lines_of(full + "a\nb\n"), ElementsAre(full + "a", "b\n"));
    EXPECT_THAT(lines_of(full + "abc nameserver x\nb\n"), ElementsAre(full + "a", "b\n"));
    EXPECT_THAT(lines_of(std::string(10'000, 'a')), ElementsAre(std::string(511, 'a')));
}

TEST(ResolverLines, EndAtANulForTheirReader)
{
    EXPECT_THAT(lines_of(std::string("a\0b\n\0\nc\n", 8)), ElementsAre("a", "", "c\n"));
    EXPECT_THAT(lines_of(std::string("\0\0\0", 3)), ElementsAre(""));
}

TEST(ResolverLines, OfAFileThatCannotBeReadAreNone)
{
    const kavonet::File folder(fopen("/", "r"));
    ASSERT_TRUE(folder);
    ResolverLine line;
    EXPECT_FALSE(next_resolver_line(folder.get(), line));
}

TEST(ServerOfLine, IsTheSecondField)
{
    EXPECT_EQ("192.0.2.1", server_of("nameserver 192.0.2.1\n"));
    EXPECT_EQ("192.0.2.1", server_of("nameserver\t192.0.2.1"));
    EXPECT_EQ("192.0.2.1", server_of("nameserver\t192.0.2.1 # a comment\n"));
    EXPECT_EQ("192.0.2.1\r", server_of("nameserver 192.0.2.1\r\n"));
    EXPECT_EQ("anything", server_of("nameserver anything\n"));
    EXPECT_EQ("x", server_of("nameservers x\n")); // only the first ten letters are looked at
    EXPECT_EQ("#", server_of("nameserver # none\n"));
}

TEST(ServerOfLine, IsEmptyBetweenTwoSeparators)
{
    EXPECT_EQ("", server_of("nameserver  192.0.2.1\n"));
    EXPECT_EQ("", server_of("nameserver\t 192.0.2.1\n"));
    EXPECT_EQ("", server_of("nameserver \n"));
    EXPECT_EQ("", server_of("nameserver "));
    EXPECT_EQ("", server_of("nameserver\n")); // the newline is a separator too
    EXPECT_EQ("", server_of("nameserver192.0.2.1\n"));
}

TEST(ServerOfLine, IsNoneOfOtherLines)
{
    for (const char *line : {"", "\n", "nameserver", "nameserver192.0.2.1", "nameserve 192.0.2.1\n", "Nameserver 1\n",
                             " nameserver 1\n", "\tnameserver 1\n", "#nameserver 1\n", "search nameserver 1\n"})
        EXPECT_EQ("-", server_of(line)) << line;
}

TEST(SourceLine, NamesAServerBehindAnyBlanks)
{
    for (const char *line : {"nameserver\t192.0.2.1", "nameserver 192.0.2.1", "  nameserver \t 192.0.2.1 \t",
                             "nameserver192.0.2.1", "nameserver 192.0.2.1 rest", "nameserver\v\f192.0.2.1\r"})
        EXPECT_EQ("192.0.2.1", scanned(line)) << line;
    EXPECT_EQ("s", scanned("nameservers 192.0.2.1"));
}

TEST(SourceLine, LeavesTheServerBeforeOtherwise)
{
    for (const char *line : {"", " ", "nameserver", "nameserver ", "nameserve 192.0.2.1", "# nameserver 192.0.2.1",
                             "NAMESERVER 192.0.2.1", "search example.org", "\xff"}) {
        EXPECT_EQ("before", scanned(line)) << line;
        EXPECT_EQ("", scanned(line, "")) << line;
    }
}

TEST(SourceLine, IsCutTo1023Bytes)
{
    EXPECT_EQ(std::string(1013, 'a'), scanned("nameserver" + std::string(1013, 'a')));
    EXPECT_EQ(std::string(1013, 'a'), scanned("nameserver" + std::string(5000, 'a')));
    EXPECT_EQ("a", scanned("nameserver" + std::string(1012, ' ') + "ab"));
    EXPECT_EQ("before", scanned("nameserver" + std::string(1013, ' ') + "ab"));
    EXPECT_EQ("before", scanned(std::string(1023, ' ') + "nameserver a")); // cut before the blanks are taken off
}

} // namespace
