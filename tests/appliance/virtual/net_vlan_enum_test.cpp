#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_vlan_enum.cpp";
constexpr char VLAN_LIST[] = "/proc/net/vlan/config";
constexpr char HEADERS[] = "VLAN Dev name\t | VLAN ID\nName-Type: VLAN_NAME_TYPE_RAW_PLUS_VID_NO_PAD\n";

class VlanEnum : public VirtualTest {
protected:
    void SetUp() override
    {
        VirtualTest::SetUp();
        if (!IsSkipped())
            plain_proc_net();
    }
    void TearDown() override
    {
        free(vlans);
        VirtualTest::TearDown();
    }

    static void kernel_list(const std::string &content) { write_file(VLAN_LIST, content); }

    // Lists into outputs that hold something else; gives "name/parent/id" of each.
    std::vector<std::string> list()
    {
        free(vlans);
        static KLIBNETVLANINFO other;
        vlans = &other;
        count = 77;
        result = KLIBNetVlanEnum(&vlans, &count);
        std::vector<std::string> found;
        for (int i = 0; i < count; ++i)
            found.push_back(std::string(vlans[i].szIfname) + "/" + vlans[i].szRowDev + "/" +
                            std::to_string(vlans[i].vlanId));
        return found;
    }

    void expect_none()
    {
        EXPECT_EQ(nullptr, vlans);
        EXPECT_EQ(0, count);
    }

    KLIBNETVLANINFO *vlans = nullptr;
    int32_t count = 0;
    int result = -7;
};

TEST_F(VlanEnum, ListsTheKernelsVlansInItsOrder)
{
    kernel_list(std::string(HEADERS) + "eth0.100       | 100  | eth0\neth1.4094      | 4094  | eth1\n"
                                       "bond0.1        | 1  | bond0\n");
    EXPECT_THAT(list(), ElementsAre("eth0.100/eth0/100", "eth1.4094/eth1/4094", "bond0.1/bond0/1"));
    EXPECT_EQ(0, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
    KLIBNETVLANINFO expected{};
    strcpy(expected.szIfname, "eth0.100");
    strcpy(expected.szRowDev, "eth0");
    expected.vlanId = 100;
    EXPECT_EQ(0, memcmp(&expected, &vlans[0], sizeof expected)) << "the rest of each record is zero";
}

TEST_F(VlanEnum, ReadsTabsBlanksAndALastLineWithoutEnd)
{
    kernel_list(std::string(HEADERS) + "eth0.5\t| 5  | eth0\n  eth1.6 |6|eth1\neth2.7\t \t|\t7 \t |  eth2 and more");
    EXPECT_THAT(list(), ElementsAre("eth0.5/eth0/5", "eth1.6/eth1/6", "eth2.7/eth2/7"));
}

TEST_F(VlanEnum, TheLongestNamesStandRightBeforeTheirBar)
{
    kernel_list(std::string(HEADERS) + "abcdefghij.4094| 4094  | abcdefghij\n"
                                       "v| 1  | abcdefghijklmno\n");
    EXPECT_THAT(list(), testing::Not(testing::Contains("abcdefghij.4094/abcdefghij/4094")));
    EXPECT_EQ(-1, result) << "a short name needs its blanks";
    kernel_list(std::string(HEADERS) + "abcdefghij.4094| 4094  | abcdefghij\n"
                                       "v              | 1  | abcdefghijklmno\n");
    EXPECT_THAT(list(), ElementsAre("abcdefghij.4094/abcdefghij/4094", "v/abcdefghijklmno/1"));
}

TEST_F(VlanEnum, ALongerParentIsCut)
{
    kernel_list(std::string(HEADERS) + "eth0.5         | 5  | abcdefghijklmnopqrstuvwxyz\n");
    EXPECT_THAT(list(), ElementsAre(std::string("eth0.5/") + support::NAME_OF_15 + "/5"));
}

TEST_F(VlanEnum, WithoutVlanSupportThereAreNone)
{
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(0, result);
    expect_none();
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(VlanEnum, TheHeadersAloneHoldNone)
{
    for (const char *content : {HEADERS, "", "VLAN Dev name\t | VLAN ID\n", "\n", "\n\n", "x"}) {
        kernel_list(content);
        EXPECT_THAT(list(), IsEmpty());
        EXPECT_EQ(0, result) << content;
        expect_none();
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(VlanEnum, WhateverTheHeadersHoldIsSkipped)
{
    kernel_list("eth8.1 | 1 | eth8\n\neth0.5 | 5 | eth0\n");
    EXPECT_THAT(list(), ElementsAre("eth0.5/eth0/5"));
}

TEST_F(VlanEnum, ALineOfAnotherFormFailsTheWholeList)
{
    for (const std::string &line :
         {std::string(), std::string(" "), std::string("eth0.5"), std::string("eth0.5 | 5"),
          std::string("eth0.5 | 5 |"), std::string("eth0.5 | 5 | "), std::string("eth0.5 | | eth0"),
          std::string("eth0.5 | x | eth0"), std::string("| 5 | eth0"), std::string("eth0.5  5 | eth0"),
          std::string("eth0.5 5 eth0"), std::string("eth0.5| 5 | eth0"), std::string("eth0.5 | 5.0 | eth0"),
          std::string("eth0 5 | 5 | eth0"), std::string("abcdefghijklmnop | 5 | eth0"),
          std::string(100000, 'x') + " | 5 | eth0", std::string("\xff\xfe\x01")}) {
        clear();
        kernel_list(std::string(HEADERS) + "eth0.100       | 100  | eth0\n" + line + "\neth1.1 | 1 | eth1\n");
        EXPECT_THAT(list(), IsEmpty());
        EXPECT_EQ(-1, result) << line.substr(0, 40);
        expect_none();
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_FORMAT));
        ASSERT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, log_lines()[0].level);
        if (line.size() < 100) {
            EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Get wrong format from ") + VLAN_LIST + ": " + line));
        }
    }
}

TEST_F(VlanEnum, ALineThatIsNotThereFails)
{
    kernel_list(std::string(HEADERS) + "eth0.100       | 100  | eth0\neth1.1 | 1 | eth1\n");
    fail_call("KLIBCSzListGet", 2);
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(-1, result);
    expect_none();
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Get NULL string from ") + VLAN_LIST));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(VlanEnum, MissingMemoryIsAFailure)
{
    kernel_list(std::string(HEADERS) + "eth0.100       | 100  | eth0\n");
    for (const char *call : {"KLIBCSzListAlloc", "calloc"}) {
        clear();
        fail_call(call);
        EXPECT_THAT(list(), IsEmpty());
        EXPECT_EQ(-1, result) << call;
        expect_none();
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY)) << call;
    }
}

TEST_F(VlanEnum, AListThatCannotBeReadIsAFailure)
{
    kernel_list(std::string(HEADERS) + "eth0.100       | 100  | eth0\n");
    fail_call("KLIBCFileReadLines");
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(-1, result);
    expect_none();
    EXPECT_EQ(0x5151U, last_error().code) << "the platform's record stays";
}

TEST_F(VlanEnum, ReadsALongList)
{
    std::string content = HEADERS;
    for (int id = 1; id <= 4094; ++id)
        content += "eth0." + std::to_string(id) + " | " + std::to_string(id) + " | eth0\n";
    kernel_list(content);
    EXPECT_EQ(4094U, list().size());
    EXPECT_EQ(4094, vlans[4093].vlanId);
}

TEST_F(VlanEnum, RefusesNullOutputs)
{
    kernel_list(std::string(HEADERS) + "eth0.100       | 100  | eth0\n");
    KLIBNETVLANINFO other;
    vlans = &other;
    count = 77;
    EXPECT_EQ(-1, KLIBNetVlanEnum(nullptr, &count));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    clear();
    EXPECT_EQ(-1, KLIBNetVlanEnum(&vlans, nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(-1, KLIBNetVlanEnum(nullptr, nullptr));
    EXPECT_EQ(&other, vlans);
    EXPECT_EQ(77, count);
    vlans = nullptr;
}

} // namespace
