// The lines of resolver files. Readers of the finished files and the reader of the sources take them apart differently, and
// callers see both results.
#pragma once

#include <cstdio>
#include <cstring>

#include "frame/text.h"
#include "kavo/core.h"

namespace kavonet {

using ResolverLine = Text<512>;

// The next line with its newline, or as much of it as fits: the rest of an over-long line is passed over, so that nothing
// in its middle is taken for a line. False at the end.
inline bool next_resolver_line(FILE *file, ResolverLine &line)
{
    int length = 0;
    int c = getc(file);
    const bool found = c != EOF;
    for (; c != EOF; c = getc(file)) {
        if (length < ResolverLine::size() - 1)
            line.buffer()[length++] = static_cast<char>(c);
        if (c == '\n')
            break;
    }
    line.buffer()[length] = '\0';
    return found;
}

// The server of a finished file's line, null when it names none. It is what stands right behind the first separator: two
// separators in a row give an empty text, which is not skipped. Cuts the line.
inline const char *server_of_line(ResolverLine &line)
{
    constexpr char KEYWORD[] = "nameserver";
    constexpr char SEPARATORS[] = " \t\n";
    if (strncmp(line.c_str(), KEYWORD, sizeof KEYWORD - 1) != 0)
        return nullptr;
    char *rest = line.buffer();
    strsep(&rest, SEPARATORS);
    return strsep(&rest, SEPARATORS);
}

using SourceText = Text<1024>;

// Takes the server of a source's line. A line that names none leaves the text as it is: the server before it is then
// listed once more. The sources hold only servers, and their writers know what other lines do.
inline void scan_source_line(const char *text, SourceText &server)
{
    SourceText line("%s", text);
    KLIBCStrTrimSpace(line.buffer(), 0);
    sscanf(line.c_str(), "nameserver\t%1023s", server.buffer());
}

} // namespace kavonet
