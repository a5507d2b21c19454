// The table of codes.
#include "command.h"

namespace cli_test {

// Every code of the library has its name, meaning and advice in the command.
TEST(ErrorTable, KnowsEveryCodeOfTheLibrary)
{
    const std::string header = support::read_file(KAVO_SOURCE_DIR "/include/kavonetsdk/error.h");
    const std::string table = support::read_file(KAVO_SOURCE_DIR "/cli/errors.cpp");
    int codes = 0;
    for (const std::string &line : support::lines_of(header)) {
        const size_t begin = line.find("NET_ERR_");
        const size_t end = line.find(" = 0x");
        if (begin == std::string::npos || end == std::string::npos)
            continue;
        const std::string name = line.substr(begin, end - begin);
        EXPECT_THAT(table, testing::HasSubstr("{" + name + ", \"" + name + "\",")) << "no meaning and advice";
        ++codes;
    }
    EXPECT_LE(18, codes);
}

} // namespace cli_test
