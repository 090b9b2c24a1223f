#ifndef EGRESS_TESTS_SUPPORT_SNAPSHOT_EQUALITY_H
#define EGRESS_TESTS_SUPPORT_SNAPSHOT_EQUALITY_H

#include <ostream>
#include <tuple>

#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/support/record_equality.h"

// Equality of HostSnapshot and its records, in the same way.

namespace egress::snapshot {

using egress::operator==;  // for every record with fieldsOf

inline auto fieldsOf(const Origin& record) {
  const auto& [time, program, programVersion, system] = record;
  return std::tie(time, program, programVersion, system);
}

inline auto fieldsOf(const Process& record) {
  const auto& [id, user, program] = record;
  return std::tie(id, user, program);
}

inline auto fieldsOf(const Adapter& record) {
  const auto& [name, interfaceIndex, operStatus, interfaceMetric, addresses, kind] = record;
  return std::tie(name, interfaceIndex, operStatus, interfaceMetric, addresses, kind);
}

inline auto fieldsOf(const SeenPackets& record) {
  const auto& [interfaceIndex, count] = record;
  return std::tie(interfaceIndex, count);
}

inline auto fieldsOf(const Socket& record) {
  const auto& [protocol, state, localAddress, localPort, remoteAddress, remotePort,
               boundInterfaceIndex, mark, user, routeInterfaceIndex, seenPackets] = record;
  return std::tie(protocol, state, localAddress, localPort, remoteAddress, remotePort,
                  boundInterfaceIndex, mark, user, routeInterfaceIndex, seenPackets);
}

inline auto fieldsOf(const MissingFact& record) {
  const auto& [fact, reason] = record;
  return std::tie(fact, reason);
}

inline auto fieldsOf(const BlankedParts& record) {
  const auto& [byteOrderMark, comments, trailingCommas] = record;
  return std::tie(byteOrderMark, comments, trailingCommas);
}

inline auto fieldsOf(const SelectorQuery& record) {
  const auto& [selectorTag, outcome, reason] = record;
  return std::tie(selectorTag, outcome, reason);
}

inline auto fieldsOf(const ResolvedName& record) {
  const auto& [name, address, source] = record;
  return std::tie(name, address, source);
}

template <typename Row>
auto fieldsOf(const SnapshotList<Row>& record) {
  const auto& [enumFailed, failureReason, rows] = record;
  return std::tie(enumFailed, failureReason, rows);
}

inline auto fieldsOf(const HostSnapshot& record) {
  const auto& [origin, config, blanked, mainTag, selectorAnswers, queries, selectorHint,
               resolvedNames, processes, listeningAt, adapters, routes, sockets, observedSeconds,
               missingFacts] = record;
  return std::tie(origin, config, blanked, mainTag, selectorAnswers, queries, selectorHint,
                  resolvedNames, processes, listeningAt, adapters, routes, sockets, observedSeconds,
                  missingFacts);
}

// How GoogleTest prints one in a failure.
inline std::ostream& operator<<(std::ostream& out, const HostSnapshot& snapshot) {
  return out << snapshotToJson(snapshot);
}

}  // namespace egress::snapshot

#endif
