#include <string>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "kavo/core.h"
#include "support/private_root.h"
#include "support/read_back.h"

using namespace support;

namespace {

// A system whose /sys and /proc say only what a test writes there, and which lists no built-in modules.
class ModuleTest : public PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        plain_sys();
        ASSERT_EQ(0, mount("tmpfs", "/proc", "tmpfs", 0, "mode=755"));
        mkdir("/lib/modules", 0755);
        ASSERT_EQ(0, mount("tmpfs", "/lib/modules", "tmpfs", 0, "mode=755"));
        utsname system{};
        uname(&system);
        built_in_ = std::string("/lib/modules/") + system.release + "/modules.builtin";
    }

    std::string built_in_;
};

using SystemTest = PrivateRoot;

} // namespace

TEST_F(ModuleTest, NothingSaysSo)
{
    EXPECT_EQ(0, KLIBCModuleIsLoad("8021q"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("bonding"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ModuleTest, ALoadedModuleStandsInSys)
{
    mkdir("/sys/module", 0755);
    mkdir("/sys/module/8021q", 0755);
    mkdir("/sys/module/nf_conntrack", 0755);
    EXPECT_EQ(1, KLIBCModuleIsLoad("8021q"));
    EXPECT_EQ(1, KLIBCModuleIsLoad("nf_conntrack"));
    EXPECT_EQ(1, KLIBCModuleIsLoad("nf-conntrack"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("8021"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("8021qq"));
}

TEST_F(ModuleTest, ALoadedModuleStandsInTheList)
{
    write_file("/proc/modules",
               "garp 16384 1 8021q, Live 0x0000000000000000\nnf_conntrack 40960 0 - Live 0x0000000000000000\n");
    EXPECT_EQ(1, KLIBCModuleIsLoad("garp"));
    EXPECT_EQ(1, KLIBCModuleIsLoad("nf-conntrack"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("8021q"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("gar"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("conntrack"));
}

TEST_F(ModuleTest, BuiltInSupportCounts)
{
    write_file(built_in_, "kernel/net/8021q/8021q.ko\nkernel/net/802/garp.ko.xz\nkernel/lib/crc-ccitt.ko\n");
    EXPECT_EQ(1, KLIBCModuleIsLoad("8021q"));
    EXPECT_EQ(1, KLIBCModuleIsLoad("garp"));
    EXPECT_EQ(1, KLIBCModuleIsLoad("crc_ccitt"));
    EXPECT_EQ(1, KLIBCModuleIsLoad("crc-ccitt"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("net"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("arp"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("crc"));
}

TEST_F(ModuleTest, VlanSupportShowsItself)
{
    write_file("/proc/net/vlan/config", "");
    EXPECT_EQ(1, KLIBCModuleIsLoad("8021q"));
    EXPECT_EQ(0, KLIBCModuleIsLoad("bonding"));
}

TEST_F(ModuleTest, HostileNamesAreRefused)
{
    mkdir("/sys/module", 0755);
    const std::string longest(63, 'a');
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string("../module"), std::string("a/b"),
          std::string("8021q "), std::string("8021q\n"), std::string("a.ko"), longest + "a"}) {
        clear_error();
        EXPECT_EQ(-1, KLIBCModuleIsLoad(name.c_str())) << name;
        EXPECT_EQ(0x0D00U, last_error().code) << name;
        EXPECT_EQ("system.cpp", last_error().file);
    }
    clear_error();
    EXPECT_EQ(-1, KLIBCModuleIsLoad(nullptr));
    EXPECT_EQ(0x0D00U, last_error().code);
    clear_error();
    EXPECT_EQ(0, KLIBCModuleIsLoad(longest.c_str()));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ModuleTest, AListThatCannotBeReadIsAnError)
{
    mkdir("/proc/modules", 0755);
    EXPECT_EQ(-1, KLIBCModuleIsLoad("bonding"));
    EXPECT_EQ(0x0A00U, last_error().code);
    // What is found elsewhere is found nevertheless.
    write_file(built_in_, "kernel/drivers/net/bonding/bonding.ko\n");
    EXPECT_EQ(1, KLIBCModuleIsLoad("bonding"));
}

TEST_F(SystemTest, TwoControllersAreAFactoryDefault)
{
    EXPECT_EQ(0, KLIBCSupportDualhead());
    write_file("/etc.defaults/kavoinfo.conf", "support_dual_head=\"no\"\n");
    EXPECT_EQ(0, KLIBCSupportDualhead());
    write_file("/etc.defaults/kavoinfo.conf", "support_dual_head=\"yes\"\n");
    EXPECT_EQ(1, KLIBCSupportDualhead());
    write_file("/etc/kavoinfo.conf", "support_dual_head=\"yes\"\n");
    unlink("/etc.defaults/kavoinfo.conf");
    EXPECT_EQ(0, KLIBCSupportDualhead());
}
