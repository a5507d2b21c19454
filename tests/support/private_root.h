// A private appliance for each test: its own root (an overlay on tmpfs that nobody else sees), network, host name and
// run-time folder. What a test writes, mounts or configures is gone with it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace support {

// Where, in the private root, the recorded calls stand: one a line, in order.
inline constexpr char RECORDED_CALLS[] = "/run/recorded-calls";

class PrivateRoot : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // ---- Commands that are written down instead of run

    // Puts a recorder in the place of a program: it writes its arguments down, prints `output` and ends with `status`.
    static void record(const std::string &program, int status = 0, const std::string &output = "");
    // Puts a shell script there, which may call "record_call \"$0\" \"$@\"" itself.
    static void script(const std::string &program, const std::string &body);
    // The recorded calls in order, each "[program] [argument] ...".
    static std::vector<std::string> calls();

    // ---- Events

    // Puts a subscriber in place that writes down what it got and ends with `status`.
    static void subscribe(const std::string &event, int status = 0);
    // The deliveries in order: "net/ipv4_change pre KEY=value KEY=value", keys sorted.
    static std::vector<std::string> events();

    // ---- Interfaces

    // Runs a shell command with the real tools; its failure fails the test. Returns what it printed.
    static std::string shell(const std::string &command);
    // A pair of real cards; the peer's name ends in "p".
    static void add_card(const std::string &name, const std::string &address = "", bool up = true);
    // Replaces /sys (or /proc/net) by an empty folder that the test fills itself.
    static void plain_sys();
    static void plain_proc_net();

    // ---- Files

    static std::string ifcfg(const std::string &name); // its path
    static void write_ifcfg(const std::string &name, const std::string &content);
    static void write_lease(const std::string &name, const std::string &content);
};

} // namespace support
