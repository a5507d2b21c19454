// What the overview and the nouns read alike: name servers, the default gateway, the host name.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "json.h"
#include "kavonetsdk/kavonetsdk.h"

namespace cli {

// ---- Name servers

struct Dns {
    bool is_static = false;
    std::vector<std::string> servers{};    // those in use
    std::vector<std::string> configured{}; // the administrator's, used in mode static

    [[nodiscard]] const char *mode() const { return is_static ? "static" : "auto"; }
    [[nodiscard]] std::string text() const; // "static 10.0.0.1, 10.0.0.2"
};

// False with an error record when they cannot be read.
bool read_dns(Dns &dns);

// The fields "mode", "servers" and "static_servers".
void put_dns(Json &json, const Dns &dns);

// "10.0.0.1, 10.0.0.2", safe to print; empty when there is none.
std::string joined(const std::vector<std::string> &texts);

// A list as the library takes and fills it.
class TextList {
public:
    TextList();
    explicit TextList(const std::vector<std::string> &texts);
    TextList(const TextList &) = delete;
    TextList &operator=(const TextList &) = delete;
    ~TextList();

    PKLIBSZLIST *address() { return &list_; }
    [[nodiscard]] const KLIBSZLIST *get() const { return list_; }
    [[nodiscard]] std::vector<std::string> texts() const;

private:
    PKLIBSZLIST list_;
};

// ---- The default gateway

struct Gateway {
    std::string address{}; // of the kernel's default route; empty when there is none
    std::string interface {
    };                        // likewise
    std::string configured{}; // for the next start

    [[nodiscard]] std::string text() const; // "10.0.0.1 on eth0"; "none"
};

// False with an error record, where there is one, when it cannot be read.
bool read_gateway(Gateway &gateway);
bool read_live_gateway(Gateway &gateway);
bool read_configured_gateway(Gateway &gateway);

// The fields "gateway", "interface" and "configured".
void put_gateway(Json &json, const Gateway &gateway);

// The file that the configured gateway stands in.
inline constexpr char GATEWAY_FILE[] = "/etc/sysconfig/network";

// ---- The host name

// Its first label. False with an error record when it cannot be read.
bool read_host(std::string &name);

} // namespace cli
