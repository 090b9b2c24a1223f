#ifndef EGRESS_TESTS_SUPPORT_RECORD_EQUALITY_H
#define EGRESS_TESTS_SUPPORT_RECORD_EQUALITY_H

#include <tuple>

#include "egress/core/diagnosis_input.h"

// Equality of DiagnosisInput and its records, for tests. fieldsOf names every field of a record:
// with a field more or less it does not compile.

namespace egress {

inline auto fieldsOf(const Outbound& record) {
  const auto& [tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
               ports, hasTransport, transportType] = record;
  return std::tie(tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
                  ports, hasTransport, transportType);
}

inline auto fieldsOf(const ProxyConfig& record) {
  const auto& [configStatus, autoDetectInterface, outbounds] = record;
  return std::tie(configStatus, autoDetectInterface, outbounds);
}

inline auto fieldsOf(const SelectorAnswer& record) {
  const auto& [selectorTag, status, now] = record;
  return std::tie(selectorTag, status, now);
}

inline auto fieldsOf(const InterfaceRow& record) {
  const auto& [interfaceIndex, operStatus, interfaceMetric, addresses] = record;
  return std::tie(interfaceIndex, operStatus, interfaceMetric, addresses);
}

inline auto fieldsOf(const RouteRow& record) {
  const auto& [family, interfaceIndex, routeMetric] = record;
  return std::tie(family, interfaceIndex, routeMetric);
}

inline auto fieldsOf(const SocketSource& record) {
  const auto& [localAddress, localPort, remoteAddress, remotePort] = record;
  return std::tie(localAddress, localPort, remoteAddress, remotePort);
}

template <typename Row>
auto fieldsOf(const Snapshot<Row>& record) {
  const auto& [enumFailed, rows] = record;
  return std::tie(enumFailed, rows);
}

inline auto fieldsOf(const DiagnosisInput& record) {
  const auto& [configStatus, autoDetectInterface, outbounds, adapters, routes, sockets,
               selectorAnswers, selectorHint] = record;
  return std::tie(configStatus, autoDetectInterface, outbounds, adapters, routes, sockets,
                  selectorAnswers, selectorHint);
}

template <typename Record>
requires requires(const Record& record) {
  fieldsOf(record);
}
bool operator==(const Record& a, const Record& b) {
  return fieldsOf(a) == fieldsOf(b);
}

}  // namespace egress

#endif
