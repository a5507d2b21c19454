#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "kavo/systemd.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"

using namespace support;

namespace {

constexpr unsigned BAD_PARAMETER = 0x0D00;
constexpr unsigned EXEC_FAILED = 0x2A00;

// The private root has neither a bus nor a service manager.
using SystemdTest = PrivateRoot;

} // namespace

TEST_F(SystemdTest, NamesThatNoUnitCanHaveAreRefused)
{
    for (const std::string &name :
         {std::string(), std::string("a b"), std::string("../x.service"), std::string("a/b"), std::string("x\n"),
          std::string("x;y"), std::string("\xc3\xa4"), std::string(256, 'x'), std::string(250, 'x')}) {
        for (const auto call : {KAVOCSystemdStart, KAVOCSystemdStop, KAVOCSystemdReload}) {
            clear_error();
            EXPECT_EQ(0, call(name.c_str())) << name;
            EXPECT_EQ(BAD_PARAMETER, last_error().code) << name;
        }
        clear_error();
        EXPECT_EQ(-1, KAVOCSystemdActiveStatusGet(name.c_str())) << name;
        EXPECT_EQ(BAD_PARAMETER, last_error().code) << name;
        EXPECT_EQ("systemd.cpp", last_error().file);
    }
    EXPECT_EQ(0, KAVOCSystemdStart(nullptr));
    EXPECT_EQ(-1, KAVOCSystemdActiveStatusGet(nullptr));
    EXPECT_TRUE(log_lines().empty());
}

TEST_F(SystemdTest, NoBusIsAFailure)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/tmp/another-bus", 1);
    const auto before = open_descriptors();
    EXPECT_EQ(0, KAVOCSystemdStart("dhclient@eth0.10"));
    EXPECT_EQ(EXEC_FAILED, last_error().code);
    EXPECT_EQ("systemd.cpp", last_error().file);
    EXPECT_EQ(0, KAVOCSystemdStop("lab.target"));
    EXPECT_EQ(0, KAVOCSystemdReload("ddnsd"));
    EXPECT_EQ(-1, KAVOCSystemdActiveStatusGet("ddnsd"));
    EXPECT_EQ(before, open_descriptors());
    const std::string reason = " \\(No such file or directory\\)";
    EXPECT_EQ(LOG_WARNING, logged("systemd.cpp:[0-9]+ Failed to start dhclient@eth0.10.service\\." + reason));
    EXPECT_EQ(LOG_WARNING, logged("systemd.cpp:[0-9]+ Failed to stop lab.target\\." + reason));
    EXPECT_EQ(LOG_WARNING, logged("systemd.cpp:[0-9]+ Failed to reload ddnsd.service\\." + reason));
    EXPECT_EQ(LOG_WARNING, logged("systemd.cpp:[0-9]+ Failed to ask for ddnsd.service\\." + reason));
    EXPECT_EQ(4U, log_lines().size());
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

TEST_F(SystemdTest, ABusThatDoesNotAnswerIsGivenUp)
{
    mkdir("/run/dbus", 0755);
    const int silent = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "/run/dbus/system_bus_socket");
    ASSERT_EQ(0, bind(silent, reinterpret_cast<sockaddr *>(&address), sizeof address));
    ASSERT_EQ(0, listen(silent, 5));
    const auto before = open_descriptors();
    EXPECT_EQ(-1, KAVOCSystemdActiveStatusGet("ddnsd"));
    EXPECT_EQ(EXEC_FAILED, last_error().code);
    EXPECT_EQ(LOG_WARNING, logged("systemd.cpp:[0-9]+ Failed to ask for ddnsd.service. \\(the bus does not answer\\)"));
    EXPECT_EQ(before, open_descriptors());
    close(silent);
}
