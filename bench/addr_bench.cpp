// The validators that every address from a caller goes through, beside the system's own parser on the same texts.
#include <array>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include "kavonetsdk/addr.h"

namespace {

constexpr std::array V4_TEXTS = {"192.168.1.77", "10.0.0.1", "172.16.254.254", "8.8.8.8", "223.255.255.255"};
constexpr std::array V6_TEXTS = {"fe80::1", "2001:db8:85a3::8a2e:370:7334", "::", "2001:db8:0:1:1:1:1:1",
                                 "::ffff:192.168.1.77"};

// Runs one parser over all texts; the time is that of one text.
template <class Texts, class Parser> void run(benchmark::State &state, const Texts &texts, Parser parse)
{
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(parse(texts[i]));
        i = i + 1 == texts.size() ? 0 : i + 1;
    }
}

void inet_pton_v4(benchmark::State &state)
{
    run(state, V4_TEXTS, [](const char *text) {
        in_addr address;
        return inet_pton(AF_INET, text, &address);
    });
}
BENCHMARK(inet_pton_v4);

void sep_ip(benchmark::State &state)
{
    run(state, V4_TEXTS, [](const char *text) {
        int part[4];
        return cKLIBISepIP(text, part);
    });
}
BENCHMARK(sep_ip);

void is_ip_addr(benchmark::State &state)
{
    run(state, V4_TEXTS, BlKLIBIsIpAddr);
}
BENCHMARK(is_ip_addr);

void inet_pton_v6(benchmark::State &state)
{
    run(state, V6_TEXTS, [](const char *text) {
        in6_addr address;
        return inet_pton(AF_INET6, text, &address);
    });
}
BENCHMARK(inet_pton_v6);

void is_v6_ip_addr_valid(benchmark::State &state)
{
    run(state, V6_TEXTS, BlKLIBIsv6IpAddrValid);
}
BENCHMARK(is_v6_ip_addr_valid);

} // namespace
