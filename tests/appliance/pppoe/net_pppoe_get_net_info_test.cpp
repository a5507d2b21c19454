#include "appliance/pppoe/pppoe_test.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>

namespace {

class PppoeGetNetInfo : public PppoeTest {
protected:
    void SetUp() override
    {
        PppoeTest::SetUp();
        if (IsSkipped())
            return;
        plain_proc_net();
        write_file("/proc/net/dev", "one\ntwo\n ppp0: 1\n");
        write_file(CACHE, "ppp7");
        support::answer_ioctl([this](int fd, unsigned long question, void *argument) {
            EXPECT_LE(0, fd);
            auto &request = *static_cast<ifreq *>(argument);
            asked_.push_back(std::string(request.ifr_name) + (question == SIOCGIFADDR ? " address" : " mask"));
            if (question != SIOCGIFADDR && question != SIOCGIFNETMASK)
                return support::ASK_KERNEL;
            auto &address = *reinterpret_cast<sockaddr_in *>(&request.ifr_addr);
            address.sin_addr.s_addr = inet_addr(question == SIOCGIFADDR ? "198.51.100.42" : "255.255.255.255");
            errno = EADDRNOTAVAIL;
            return question == refused_ ? -1 : 0;
        });
    }

    unsigned long refused_ = 0;
    std::vector<std::string> asked_;
    char address_[20] = "old";
    char mask_[20] = "old";
};

TEST_F(PppoeGetNetInfo, GivesAddressAndMask)
{
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_STREQ("198.51.100.42", address_);
    EXPECT_STREQ("255.255.255.255", mask_);
    EXPECT_THAT(asked_, ElementsAre("ppp7 address", "ppp7 mask"));
    EXPECT_EQ("ppp7", read_file(CACHE));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(PppoeGetNetInfo, GivesTheAddressAlone)
{
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, sizeof address_, nullptr, sizeof mask_));
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, sizeof address_, mask_, 0));
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, sizeof address_, mask_, -1));
    EXPECT_STREQ("198.51.100.42", address_);
    EXPECT_STREQ("old", mask_);
    EXPECT_EQ(3U, asked_.size());
}

TEST_F(PppoeGetNetInfo, TheMaskAloneIsNeverAnswered)
{
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(nullptr, sizeof address_, mask_, sizeof mask_));
    EXPECT_STREQ("old", mask_);
    EXPECT_FALSE(exists(CACHE));
    write_file(CACHE, "ppp7");
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(address_, 0, mask_, sizeof mask_));
    EXPECT_FALSE(exists(CACHE));
    EXPECT_THAT(asked_, IsEmpty());
}

TEST_F(PppoeGetNetInfo, NothingWantedIsNothingAsked)
{
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(nullptr, 20, nullptr, 20));
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, 0, mask_, -1));
    unlink("/proc/net/dev");
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(nullptr, 0, nullptr, 0));
    EXPECT_EQ("ppp7", read_file(CACHE));
    EXPECT_THAT(asked_, IsEmpty());
}

TEST_F(PppoeGetNetInfo, AnswersAreCutToTheirBuffers)
{
    char address[4] = "xxx";
    char mask[1] = {'x'};
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address, sizeof address, mask, sizeof mask));
    EXPECT_STREQ("198", address);
    EXPECT_STREQ("", mask);
}

TEST_F(PppoeGetNetInfo, ALongNameIsCutAt15Characters)
{
    write_file(CACHE, "ppp-with-a-long-name-and-more-than-31-characters");
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, sizeof address_, nullptr, 0));
    EXPECT_THAT(asked_, ElementsAre("ppp-with-a-long address"));
}

TEST_F(PppoeGetNetInfo, EachFailureForgetsTheName)
{
    refused_ = SIOCGIFADDR;
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_STREQ("old", address_);
    EXPECT_FALSE(exists(CACHE));
    EXPECT_EQ(1U, asked_.size());

    write_file(CACHE, "ppp7");
    refused_ = SIOCGIFNETMASK;
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_STREQ("198.51.100.42", address_);
    EXPECT_STREQ("old", mask_);
    EXPECT_FALSE(exists(CACHE));

    write_file(CACHE, "ppp7");
    fail_call("socket");
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(address_, sizeof address_, nullptr, 0));
    EXPECT_FALSE(exists(CACHE));

    write_file(CACHE, "ppp7");
    write_file("/proc/net/dev", "one\ntwo\n");
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(address_, sizeof address_, nullptr, 0));
    EXPECT_FALSE(exists(CACHE));
}

TEST_F(PppoeGetNetInfo, AfterAFailureTheStatusCommandIsAskedAgain)
{
    record("/usr/sbin/pppoe-status", 0, "ppp8 Point-to-Point");
    refused_ = SIOCGIFADDR;
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(address_, sizeof address_, nullptr, 0));
    refused_ = 0;
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, sizeof address_, nullptr, 0));
    EXPECT_THAT(asked_, ElementsAre("ppp7 address", "ppp8 address"));
    EXPECT_EQ("ppp8", read_file(CACHE));
}

TEST_F(PppoeGetNetInfo, APlantedLinkIsForgottenNotFollowed)
{
    write_file("/etc/victim", "x");
    unlink(CACHE);
    ASSERT_EQ(0, symlink("/etc/victim", CACHE));
    write_file("/proc/net/dev", "one\ntwo\n");
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(address_, sizeof address_, nullptr, 0));
    EXPECT_EQ("x", read_file("/etc/victim"));
    EXPECT_THAT(support::entries("/tmp"), testing::Not(testing::Contains("kavopppoe.intf")));
}

TEST_F(PppoeGetNetInfo, ReadsARealInterface)
{
    ASSERT_EQ(0, system("umount /proc/self/net 2>/dev/null; true"));
    support::answer_ioctl({});
    add_card("ppp7", "10.9.8.7/27");
    write_file("/proc/net/dev", "one\ntwo\n ppp7: 1\n");
    EXPECT_EQ(0, KAVOPPPoeNetInfoGet(address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_STREQ("10.9.8.7", address_);
    EXPECT_STREQ("255.255.255.224", mask_);
}

} // namespace
