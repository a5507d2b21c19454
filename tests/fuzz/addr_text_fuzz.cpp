// One text through every function that reads one.
#include <array>
#include <climits>
#include <cstdint>

#include <arpa/inet.h>

#include "fuzz/property.h"
#include "kavonetsdk/addr.h"
#include "support/log_capture.h"

namespace {

using Parts = std::array<int, 4>;

bool octet(int part)
{
    return part >= 0 && part <= 255;
}

// The rules of dotted addresses once more, with nothing but strtol.
int expected_parts(const std::string &text, Parts &parts)
{
    std::string rest = text.substr(0, 31);
    for (size_t i = 0; i < 4; ++i) {
        if (i == 3 && rest.empty())
            return 3;
        char *end = nullptr;
        const long number = strtol(rest.c_str(), &end, 0);
        parts[i] = number > INT_MAX ? INT_MAX : number < INT_MIN ? INT_MIN : static_cast<int>(number);
        const std::string after = end;
        if (i == 3)
            return after.empty() ? 4 : 3;
        if (after.substr(0, 1) != "." || after.substr(0, 2) == "..")
            return static_cast<int>(i);
        rest = after.substr(1);
    }
    return 4;
}

void check_address(const char *text)
{
    Parts parts{};
    Parts expected{};
    const int count = cKLIBISepIP(text, parts.data());
    HOLDS(count == expected_parts(text, expected) && parts == expected, text);

    const bool octets = count == 4 && octet(parts[0]) && octet(parts[1]) && octet(parts[2]) && octet(parts[3]);
    const bool host = octets && parts[0] != 127 && parts[0] <= 223;
    HOLDS(BlKLIBIsIpAddr(text) == (host ? 1 : 0), text);
    HOLDS(KAVONetIsPrivateIP(text) == 0 || octets, text);

    // What the system reads strictly, this library reads alike.
    std::array<uint8_t, 4> bytes{};
    const bool strict = inet_pton(AF_INET, text, bytes.data()) == 1;
    HOLDS(!strict || (octets && parts == Parts{bytes[0], bytes[1], bytes[2], bytes[3]}), text);
    HOLDS((KAVONetGetAddrType(text) == AF_INET) == strict, text);
    HOLDS(!strict || KAVONetNetmaskToPrefix(text) >= 0, text);
}

void check_mask(const std::string &text)
{
    ExactText mask(text);
    if (BlKLIBIsIpMask(mask.get()) == 0) {
        HOLDS(mask.str() == text, text.c_str());
        return;
    }
    Parts parts{};
    HOLDS(cKLIBISepIP(mask.get(), parts.data()) == 4, text.c_str());
    HOLDS(cKLIBICalMask(parts.data()) == KAVONetNetmaskToPrefix(mask.get()), text.c_str());
    ExactText again(mask.str());
    HOLDS(BlKLIBIsIpMask(again.get()) == 1 && again.str() == mask.str(), text.c_str());
}

using Conversion = int(char *text, char *out);

// A conversion gives the same in place and apart; what it wrote, the other one turns back and forth without loss.
void check_conversion(const std::string &text, Conversion *there, Conversion *back)
{
    constexpr size_t ROOM = sizeof "255.255.255.255/255.255.255.255";
    ExactText in(text);
    ExactText out(ROOM, "before");
    if (there(in.get(), out.get()) != 0) {
        HOLDS(in.str() == text && out.str() == "before", text.c_str());
        return;
    }
    HOLDS(in.str() == text, text.c_str());
    ExactText in_place(text.size() < ROOM ? ROOM : text.size() + 1, text);
    HOLDS(there(in_place.get(), nullptr) == 0 && in_place.str() == out.str(), text.c_str());

    ExactText returned(ROOM, out.str());
    HOLDS(back(returned.get(), nullptr) == 0 && there(returned.get(), nullptr) == 0, text.c_str());
    HOLDS(returned.str() == out.str(), text.c_str());
}

void check_split(const std::string &text)
{
    for (const size_t size : {size_t{2}, size_t{8}, size_t{16}, size_t{20}, size_t{64}}) {
        ExactText address(size, "");
        unsigned prefix = 0;
        const bool split = KAVONetSeperateSubnet(text.c_str(), address.get(), static_cast<int>(size), &prefix) == 0;
        HOLDS(!split || (prefix <= 32 && BlKLIBIsIpAddr(address.get()) == 1), text.c_str());
        HOLDS(!split || text.rfind(address.str() + "/", 0) == 0, text.c_str());
    }
}

bool all_atoms(const std::string &text)
{
    const size_t dot = text.find('.');
    const bool first = BlKLIBIsAtom(text.substr(0, dot).c_str()) == 1;
    return first && (dot == std::string::npos || all_atoms(text.substr(dot + 1)));
}

void check_names(const std::string &text)
{
    const char *sz = text.c_str();
    HOLDS(BlKLIBIsHostname(sz) == 0 || BlKLIBIsAtom(sz) == 1, sz);
    HOLDS(BlKLIBIsAtom(sz) == 0 || BlKLIBIsDomain(sz) == 1, sz);
    HOLDS((BlKLIBIsDomain(sz) == 1) == all_atoms(text.substr(0, 511)), sz);

    const size_t slash = text.find('/');
    const bool v6 = KAVONetGetAddrType(text.substr(0, slash).c_str()) == AF_INET6;
    HOLDS(slash == std::string::npos ? (BlKLIBIsv6IpAddrValid(sz) == 1) == v6 : BlKLIBIsv6IpAddrValid(sz) == 0 || v6,
          sz);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    const std::string text = bytes.substr(0, bytes.find('\0'));
    ExactText exact(text);
    check_address(exact.get());
    check_mask(text);
    check_conversion(text, ErrKLIBSubnetToIpMask, ErrKLIBIpMaskToSubnet);
    check_conversion(text, ErrKLIBIpMaskToSubnet, ErrKLIBSubnetToIpMask);
    check_split(text);
    check_names(text);
    support::clear_log();
    return 0;
}
