// What the tests of the functions that write an interface's flags share.
#pragma once

#include "iface_test.h"

// A function that takes a name and answers 1 or 0.
class FlagsTest : public IfaceTest {
protected:
    using Function = int (*)(const char *name);

    static int flags_of(const std::string &name)
    {
        return std::stoi(read_file("/sys/class/net/" + name + "/flags"), nullptr, 16);
    }

    static bool is_up(const std::string &name) { return (flags_of(name) & IFF_UP) != 0; }

    // The flags that were asked to be written, in order.
    std::vector<int> written() const
    {
        std::vector<int> flags;
        size_t record = 0;
        for (const unsigned long request : drivers.requests) {
            if (request == SIOCSIFFLAGS)
                flags.push_back(drivers.records[record].ifr_flags);
            ++record;
        }
        return flags;
    }

    // Each failure gives 0 without a code.
    void fails_without_socket_or_kernel(Function function, unsigned long last_request)
    {
        card("eth0");
        const int before = flags_of("eth0");
        fail_call("socket");
        EXPECT_EQ(0, function("eth0"));
        EXPECT_EQ(0, function("eth7"));
        for (const unsigned long request : {static_cast<unsigned long>(SIOCGIFFLAGS), last_request}) {
            drivers = {};
            drivers.refused[{request, "eth0"}] = EPERM;
            use_drivers();
            EXPECT_EQ(0, function("eth0")) << std::hex << request;
            support::answer_ioctl({});
        }
        EXPECT_EQ(before, flags_of("eth0"));
        EXPECT_EQ(NO_ERROR_SET, last_error());
        EXPECT_THAT(support::log_lines(), IsEmpty());
    }

    void refuses_what_is_no_name(Function function, const char *file)
    {
        use_drivers();
        forget();
        EXPECT_EQ(0, function(nullptr));
        EXPECT_TRUE(is_bad_parameter_in(file));
        for (const char *name : HOSTILE_NAMES) {
            forget();
            EXPECT_EQ(0, function(name)) << name;
            EXPECT_TRUE(is_bad_parameter_in(file)) << name;
        }
        EXPECT_THAT(drivers.requests, IsEmpty());
    }
};
