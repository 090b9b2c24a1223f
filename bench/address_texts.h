#ifndef EGRESS_BENCH_ADDRESS_TEXTS_H
#define EGRESS_BENCH_ADDRESS_TEXTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "bench/random_source.h"

namespace egress::bench {

// Any IPv4 address, as a dotted quad.
std::string makeIpv4Text(RandomSource& random);

// An IPv6 address as systems write it (RFC 5952): most with a prefix of four groups and an
// interface identifier of four, some short ones with "::".
std::string makeIpv6Text(RandomSource& random);

// `count` texts, of which about `ipv4Percent` in a hundred are IPv4.
std::vector<std::string> makeAddressTexts(std::size_t count, std::size_t ipv4Percent);

}  // namespace egress::bench

#endif
