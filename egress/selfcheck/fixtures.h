#ifndef EGRESS_SELFCHECK_FIXTURES_H
#define EGRESS_SELFCHECK_FIXTURES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "egress/core/diagnosis_input.h"

namespace egress {

// A small, healthy host: one outbound "proxy" of type "shadowsocks" at 198.51.100.10 port 443; the
// adapter with index 11 at 192.168.1.50, then the one with index 5 at 10.0.0.7, so that a report
// gives them the ordinals 2 and 1; an IPv4 route through index 5 and an IPv6 route through index
// 11; no sockets, selector answers or hint.
[[nodiscard]] DiagnosisInput makeDefaultInput(bool autoDetectInterface);

// The same with `outbound` as its only one; "auto_detect_interface" is on.
[[nodiscard]] DiagnosisInput makeInputWithOutbound(Outbound outbound);

// The parts of the default input.
[[nodiscard]] ProxyConfig makeDefaultProxyConfig(bool autoDetectInterface);
[[nodiscard]] AdapterSnapshot makeDefaultAdapters();

// An empty `server` omits the server, a `port` below 1 the port.
[[nodiscard]] Outbound makeOutbound(std::string_view tag, std::string_view type,
                                    std::string_view server, std::int32_t port);

// An outbound with an endpoint of its own, 203.0.113.9 port 8443, that dials through `detour`.
[[nodiscard]] Outbound makeDetourOutbound(std::string_view tag, std::string_view detour);

[[nodiscard]] Outbound makeSelectorOutbound(std::string_view tag);

[[nodiscard]] SelectorAnswer makeSelectorAnswer(std::string_view selectorTag,
                                                SelectorAnswerStatus status, std::string_view now);

[[nodiscard]] SocketSource makeSocketSource(std::string_view localAddress, std::uint32_t localPort,
                                            std::string_view remoteAddress,
                                            std::uint32_t remotePort);

[[nodiscard]] InterfaceRow makeInterfaceRow(std::uint32_t interfaceIndex, std::int32_t operStatus,
                                            std::uint32_t interfaceMetric,
                                            const std::vector<std::string>& addresses);

}  // namespace egress

#endif
