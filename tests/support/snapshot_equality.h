#ifndef EGRESS_TESTS_SUPPORT_SNAPSHOT_EQUALITY_H
#define EGRESS_TESTS_SUPPORT_SNAPSHOT_EQUALITY_H

#include <ostream>
#include <tuple>

#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/snapshot_json.h"

// Equality of HostSnapshot and its records, for tests. fieldsOf names every field of a record: with
// a field more or less it does not compile.

namespace egress {

inline auto fieldsOf(const Outbound& record) {
  const auto& [tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
               ports, hasTransport, transportType] = record;
  return std::tie(tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
                  ports, hasTransport, transportType);
}
inline bool operator==(const Outbound& a, const Outbound& b) {
  return fieldsOf(a) == fieldsOf(b);
}

inline auto fieldsOf(const ProxyConfig& record) {
  const auto& [configStatus, autoDetectInterface, outbounds] = record;
  return std::tie(configStatus, autoDetectInterface, outbounds);
}
inline bool operator==(const ProxyConfig& a, const ProxyConfig& b) {
  return fieldsOf(a) == fieldsOf(b);
}

inline auto fieldsOf(const SelectorAnswer& record) {
  const auto& [selectorTag, status, now] = record;
  return std::tie(selectorTag, status, now);
}
inline bool operator==(const SelectorAnswer& a, const SelectorAnswer& b) {
  return fieldsOf(a) == fieldsOf(b);
}

inline auto fieldsOf(const RouteRow& record) {
  const auto& [family, interfaceIndex, routeMetric] = record;
  return std::tie(family, interfaceIndex, routeMetric);
}
inline bool operator==(const RouteRow& a, const RouteRow& b) {
  return fieldsOf(a) == fieldsOf(b);
}

}  // namespace egress

namespace egress::snapshot {

inline auto fieldsOf(const Origin& record) {
  const auto& [time, program, programVersion, system] = record;
  return std::tie(time, program, programVersion, system);
}
inline bool operator==(const Origin& a, const Origin& b) {
  return fieldsOf(a) == fieldsOf(b);
}

inline auto fieldsOf(const Adapter& record) {
  const auto& [name, interfaceIndex, operStatus, interfaceMetric, addresses] = record;
  return std::tie(name, interfaceIndex, operStatus, interfaceMetric, addresses);
}
inline bool operator==(const Adapter& a, const Adapter& b) {
  return fieldsOf(a) == fieldsOf(b);
}

inline auto fieldsOf(const Socket& record) {
  const auto& [protocol, state, localAddress, localPort, remoteAddress, remotePort,
               boundInterfaceIndex, mark, user, routeInterfaceIndex] = record;
  return std::tie(protocol, state, localAddress, localPort, remoteAddress, remotePort,
                  boundInterfaceIndex, mark, user, routeInterfaceIndex);
}
inline bool operator==(const Socket& a, const Socket& b) {
  return fieldsOf(a) == fieldsOf(b);
}

template <typename Row>
auto fieldsOf(const SnapshotList<Row>& record) {
  const auto& [enumFailed, failureReason, rows] = record;
  return std::tie(enumFailed, failureReason, rows);
}
template <typename Row>
bool operator==(const SnapshotList<Row>& a, const SnapshotList<Row>& b) {
  return fieldsOf(a) == fieldsOf(b);
}

inline auto fieldsOf(const HostSnapshot& record) {
  const auto& [origin, config, selectorAnswers, selectorHint, adapters, routes, sockets] = record;
  return std::tie(origin, config, selectorAnswers, selectorHint, adapters, routes, sockets);
}
inline bool operator==(const HostSnapshot& a, const HostSnapshot& b) {
  return fieldsOf(a) == fieldsOf(b);
}

// How GoogleTest prints one in a failure.
inline std::ostream& operator<<(std::ostream& out, const HostSnapshot& snapshot) {
  return out << snapshotToJson(snapshot);
}

}  // namespace egress::snapshot

#endif
