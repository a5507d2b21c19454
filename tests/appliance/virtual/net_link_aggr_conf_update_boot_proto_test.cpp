#include "appliance/virtual/bond_test.h"

namespace {

constexpr char FILE_NAME[] = "net_link_aggr_conf_update_boot_proto.cpp";

class LinkAggrConfUpdateBootProto : public BondTest {
protected:
    void TearDown() override
    {
        KLIBCSzHashFree(keys);
        BondTest::TearDown();
    }

    int update(const std::string &content)
    {
        KLIBCHashRemoveAll(keys);
        write_ifcfg("eth0", content);
        const int result = KAVONetLinkAggrConfUpdateBootProto(ifcfg("eth0").c_str(), &keys);
        EXPECT_EQ(content, read_file(ifcfg("eth0"))) << "the file is only read";
        return result;
    }

    // "KEY=value" of each key that was put into the hash.
    std::vector<std::string> put()
    {
        PKLIBSZLIST list = KLIBCSzListAlloc(0);
        EXPECT_LE(0, KLIBCSzHashEnumKey(keys, &list));
        const List names(list);
        std::vector<std::string> all;
        for (const std::string &name : items(list))
            all.push_back(name + "=" + KLIBCSzHashGetValue(keys, name.c_str()));
        return all;
    }

    PKLIBSZHASH keys = KLIBCSzHashAlloc(1024);
};

TEST_F(LinkAggrConfUpdateBootProto, KeepsAMethodThatGetsAnAddress)
{
    for (const char *method : {"static", "dhcp", "STATIC", "Dhcp", "\"dhcp\""}) {
        EXPECT_EQ(0, update(std::string("BOOTPROTO=") + method + "\nIPADDR=10.0.0.5\n")) << method;
        EXPECT_THAT(put(), IsEmpty()) << method;
    }
}

TEST_F(LinkAggrConfUpdateBootProto, AnyOtherMethodBecomesDhcpWithoutAnAddress)
{
    for (const char *method : {"none", "", "statics", "dhcp6", " dhcp", "'dhcp'"}) {
        EXPECT_EQ(0, update(std::string("BOOTPROTO=") + method + "\nIPADDR=10.0.0.5\n")) << method;
        EXPECT_THAT(put(), ElementsAre("BOOTPROTO=dhcp", "IPADDR=", "NETMASK=")) << method;
    }
}

TEST_F(LinkAggrConfUpdateBootProto, AMissingMethodBecomesDhcpAndLeavesTheAddress)
{
    EXPECT_EQ(0, update("IPADDR=10.0.0.5\n"));
    EXPECT_THAT(put(), ElementsAre("BOOTPROTO=dhcp"));
    KLIBCHashRemoveAll(keys);
    EXPECT_EQ(0, KAVONetLinkAggrConfUpdateBootProto("/etc/none", &keys));
    EXPECT_THAT(put(), ElementsAre("BOOTPROTO=dhcp"));
    EXPECT_FALSE(exists("/etc/none"));
}

TEST_F(LinkAggrConfUpdateBootProto, ValuesAreReadToSixtyThreeCharacters)
{
    EXPECT_EQ(0, update("BOOTPROTO=" + std::string(59, ' ') + "dhcp and more\n"));
    EXPECT_THAT(put(), ElementsAre("BOOTPROTO=dhcp", "IPADDR=", "NETMASK="));
}

TEST_F(LinkAggrConfUpdateBootProto, AKeyThatCannotBePutIsAFailure)
{
    for (int n = 1; n <= 3; ++n) {
        clear();
        fail_call("KLIBCSzHashSetValue", n);
        EXPECT_EQ(-1, update("BOOTPROTO=none\n")) << n;
    }
    clear();
    fail_call("KLIBCSzHashSetValue");
    EXPECT_EQ(-1, update(""));
}

TEST_F(LinkAggrConfUpdateBootProto, RefusesBadArguments)
{
    PKLIBSZHASH none = nullptr;
    for (const char *path : {static_cast<const char *>(nullptr), ""}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetLinkAggrConfUpdateBootProto(path, &keys));
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    support::clear_error();
    EXPECT_EQ(-1, KAVONetLinkAggrConfUpdateBootProto("/etc/none", nullptr));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVONetLinkAggrConfUpdateBootProto("/etc/none", &none));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
}

} // namespace
