#ifndef EGRESS_BENCH_DOCUMENTS_H
#define EGRESS_BENCH_DOCUMENTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace egress::bench {

enum class Layout : std::uint8_t { Line, Indented };

// A configuration such as hosts of the proxy engine write: a selector over `outbounds` others, of
// which most have a uuid, "tls" and "transport" with headers, besides "dns", "inbounds" and route
// rules that the diagnosis has no use for. The same on every machine.
std::string makeConfigText(std::size_t outbounds, Layout layout);

// What a selector answers, 31 bytes.
inline constexpr std::string_view kSelectorAnswerText = R"({"name":"proxy","now":"node_3"})";

}  // namespace egress::bench

#endif
