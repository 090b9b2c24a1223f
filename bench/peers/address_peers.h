#ifndef EGRESS_BENCH_PEERS_ADDRESS_PEERS_H
#define EGRESS_BENCH_PEERS_ADDRESS_PEERS_H

#include <string>

#include "egress/config/numeric_address.h"

namespace egress::bench {

// The system's parser, told the family.
NumericAddress inetPtonIpv4(const std::string& text);
NumericAddress inetPtonIpv6(const std::string& text);

// The same, where the text says the family: it is IPv6 when it holds a colon.
NumericAddress inetPton(const std::string& text);

// Boost.Asio, which finds the family out itself; there when Boost was found.
NumericAddress asioMakeAddress(const std::string& text);

}  // namespace egress::bench

#endif
