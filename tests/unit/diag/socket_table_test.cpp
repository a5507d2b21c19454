// Lines of the kernel's socket tables, read as the scanf formats say that they stand for.
#include "diag/socket_table.h"

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace kavonet;

namespace {

constexpr char REMOTE[] = " 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 1 1 0 100 0 0 10 0";
constexpr unsigned int NONE = 0xDEAD;

struct Read {
    int fields;
    unsigned int port;
    unsigned int state;
    bool operator==(const Read &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Read &read)
{
    return out << read.fields << " fields, port " << read.port << ", state " << read.state;
}

Read parsed(const std::string &text)
{
    const SocketLine line("%s", text.c_str());
    Read read{0, NONE, NONE};
    SocketColumns all(line);
    if (read_port_and_state(all, read.port, read.state))
        read.fields = 2;
    SocketColumns columns(line);
    unsigned int port = NONE;
    if (read.fields == 0 && read_local_port(columns, port))
        read.fields = 1;
    EXPECT_TRUE(read.fields != 1 || port == read.port) << text;
    return read;
}

Read scanned(const std::string &text)
{
    const SocketLine line("%s", text.c_str());
    Read read{0, NONE, NONE};
    // NOLINTNEXTLINE(cert-err34-c): the format itself is what is asked for
    read.fields =
        sscanf(line.c_str(), "%*d: %*64[0-9A-Fa-f]:%X %*64[0-9A-Fa-f]:%*X %X %*X:%*X %*X:%*X %*X %*d %*d %*d ",
               &read.port, &read.state);
    if (read.fields < 0)
        read.fields = 0;
    return read;
}

TEST(SocketTable, ReadsLinesOfTheKernel)
{
    const std::string six = "   1: 00000000000000000000000001000000:0016 00000000000000000000000000000000:0000 0A ";
    EXPECT_EQ((Read{2, 8080, 10}), parsed(std::string("   0: 0100007F:1F90") + REMOTE));
    EXPECT_EQ((Read{2, 22, 10}), parsed(six + "00000000:00000000 00:00000000 00000000  0  0 2 1 0 100 0 0 10 0"));
    EXPECT_EQ((Read{2, 53, 7}), parsed("  123: 00000000:0035 00000000:0000 07 00000000:00000000 00:00000000 00000000"));
    EXPECT_EQ((Read{2, 65535, 1}), parsed("99999: 0100007F:FFFF 0100007F:1F90 01"));
}

TEST(SocketTable, PassesOverTheHeader)
{
    for (const char *header :
         {"  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode",
          "  sl  local_address                         remote_address                        st tx_queue rx_queue"})
        EXPECT_EQ((Read{0, NONE, NONE}), parsed(header));
}

// Whatever the line: the same as the format that it stands for.
TEST(SocketTable, AgreesWithTheFormat)
{
    const std::string rest = REMOTE;
    const std::vector<std::string> lines = {"",
                                            "\n",
                                            ":",
                                            "0",
                                            "0:",
                                            "0: ",
                                            " 0: A",
                                            "0: A:",
                                            "0: A:B",
                                            "0:A:B",
                                            "0 :A:B",
                                            "0: A :B",
                                            "0: A: B",
                                            "0: :B",
                                            "-1: A:B",
                                            "+1: A:B",
                                            "-: A:B",
                                            "--1: A:B",
                                            "x: A:B",
                                            "0x1: A:B",
                                            "1.5: A:B",
                                            "0:\tA:B",
                                            "0:\n\v\f\r A:B",
                                            "0: G:1",
                                            "0: Ag:1",
                                            "0: a:1",
                                            "0: f:G",
                                            "0: 0100007F:1F90",
                                            "0: 0100007F:1F90 ",
                                            "0: 0100007F:1F90 0",
                                            "0: 0100007F:1F90 0:",
                                            "0: 0100007F:1F90 0:0",
                                            "0: 0100007F:1F90 0:0 ",
                                            "0: 0100007F:1F90 0:0 0A",
                                            "0: 0100007F:1F90 0:0 0a",
                                            "0: 0100007F:1F90 :0 0A",
                                            "0: 0100007F:1F90 0: 0A",
                                            "0: 0100007F:1F90 0:0 G",
                                            "0: 0100007F:1F90 0:0\t0A",
                                            "0: 0100007F:1F900:0 0A",
                                            "0: 0100007F:1F90G 0:0 0A",
                                            "0: 0100007F:-1 0:0 0A",
                                            "0: 0100007F:+50 0:0 0A",
                                            "0: 0100007F:0x50 0:0 0x0A",
                                            "0: 0100007F:0X50 0:0 0XA",
                                            "0: 0100007F:10050 0:0 0A",
                                            "0: 0100007F:FFFFFFFF 0:0 0A",
                                            "0: 0100007F:100000050 0:0 10000000A",
                                            "0: 0100007F:1F90 0:0 FFFFFFFFA",
                                            "0: 0100007F:1F90 " + std::string(64, 'A') + ":0 0A",
                                            "0: 0100007F:1F90 " + std::string(65, 'A') + ":0 0A",
                                            "0: " + std::string(64, 'A') + ":1F90" + rest,
                                            "0: " + std::string(65, 'A') + ":1F90" + rest,
                                            std::string(400, '9') + ": A:1F90" + rest,
                                            std::string(900, ' ') + "0: A:1F90" + rest,
                                            "0: A:" + std::string(40, '0') + "50" + rest,
                                            "\xff: A:B",
                                            "0: \xc4:B",
                                            "0: A:\xff"};
    for (const std::string &line : lines)
        EXPECT_EQ(scanned(line), parsed(line)) << line;
}

TEST(SocketTable, AgreesWithTheFormatOnEveryCutLine)
{
    const std::string line = std::string("   0: 0100007F:1F90") + REMOTE + "\n";
    for (size_t length = 0; length <= line.size(); ++length)
        EXPECT_EQ(scanned(line.substr(0, length)), parsed(line.substr(0, length))) << length;
    for (size_t at = 0; at < line.size(); ++at) {
        for (const char c : {' ', ':', 'A', 'g', '-', '\t', '0'}) {
            std::string changed = line;
            changed[at] = c;
            EXPECT_EQ(scanned(changed), parsed(changed)) << changed;
        }
    }
}

TEST(SocketTable, NamesTheTables)
{
    EXPECT_STREQ("/proc/net/tcp", socket_tables(1)[0]);
    EXPECT_STREQ("/proc/net/tcp6", socket_tables(1)[1]);
    for (const unsigned int other : {0U, 2U, 17U, 0xFFFFFFFFU}) {
        EXPECT_STREQ("/proc/net/udp", socket_tables(other)[0]);
        EXPECT_STREQ("/proc/net/udp6", socket_tables(other)[1]);
    }
}

} // namespace
