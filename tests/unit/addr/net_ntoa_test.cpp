#include "addr_test.h"

#include <arpa/inet.h>

namespace {

TEST(NetNtoa, WritesTheBytesInMemoryOrder)
{
    for (const char *text : {"192.168.1.77", "0.0.0.0", "255.255.255.255", "1.2.3.4", "127.0.0.1", "100.0.200.9"})
        EXPECT_STREQ(text, KAVONetNtoa(inet_addr(text)));
    const unsigned char bytes[4] = {10, 20, 30, 250};
    uint32_t address = 0;
    memcpy(&address, bytes, sizeof address);
    EXPECT_STREQ("10.20.30.250", KAVONetNtoa(address));
}

TEST(NetNtoa, EveryCallOverwritesTheOneBuffer)
{
    const char *first = KAVONetNtoa(inet_addr("223.255.255.255"));
    const char *second = KAVONetNtoa(inet_addr("1.2.3.4"));
    EXPECT_EQ(first, second);
    EXPECT_STREQ("1.2.3.4", first);
}

} // namespace
