#ifndef EGRESS_SNAPSHOT_SNAPSHOT_FIELDS_H
#define EGRESS_SNAPSHOT_SNAPSHOT_FIELDS_H

#include <concepts>
#include <type_traits>

#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

// The members of each record in JSON, for writing and for reading alike: calls visit(key, field)
// for each field of a const record to write or a mutable one to read into.

template <typename Record, typename Expected>
concept Either = std::same_as<std::remove_const_t<Record>, Expected>;

void visitFields(const auto& visit, Either<Origin> auto& origin) {
  visit("time", origin.time);
  visit("program", origin.program);
  visit("programVersion", origin.programVersion);
  visit("system", origin.system);
}

void visitFields(const auto& visit, Either<Outbound> auto& outbound) {
  visit("tag", outbound.tag);
  visit("type", outbound.type);
  visit("detour", outbound.detour);
  visit("hasServer", outbound.hasServer);
  visit("server", outbound.server);
  visit("portSpecified", outbound.portSpecified);
  visit("portMalformed", outbound.portMalformed);
  visit("portHopping", outbound.portHopping);
  visit("ports", outbound.ports);
  visit("hasTransport", outbound.hasTransport);
  visit("transportType", outbound.transportType);
}

void visitFields(const auto& visit, Either<ProxyConfig> auto& config) {
  visit("configStatus", config.configStatus);
  visit("autoDetectInterface", config.autoDetectInterface);
  visit("outbounds", config.outbounds);
}

void visitFields(const auto& visit, Either<SelectorAnswer> auto& answer) {
  visit("selectorTag", answer.selectorTag);
  visit("status", answer.status);
  visit("now", answer.now);
}

void visitFields(const auto& visit, Either<BlankedParts> auto& blanked) {
  visit("byteOrderMark", blanked.byteOrderMark);
  visit("comments", blanked.comments);
  visit("trailingCommas", blanked.trailingCommas);
}

void visitFields(const auto& visit, Either<SelectorQuery> auto& query) {
  visit("selectorTag", query.selectorTag);
  visit("outcome", query.outcome);
  visit("reason", query.reason);
}

void visitFields(const auto& visit, Either<ResolvedName> auto& row) {
  visit("name", row.name);
  visit("address", row.address);
  visit("source", row.source);
}

void visitFields(const auto& visit, Either<Process> auto& process) {
  visit("id", process.id);
  visit("user", process.user);
  visit("program", process.program);
}

void visitFields(const auto& visit, Either<Adapter> auto& row) {
  visit("name", row.name);
  visit("interfaceIndex", row.interfaceIndex);
  visit("operStatus", row.operStatus);
  visit("interfaceMetric", row.interfaceMetric);
  visit("addresses", row.addresses);
  visit("kind", row.kind);
}

void visitFields(const auto& visit, Either<RouteRow> auto& row) {
  visit("family", row.family);
  visit("interfaceIndex", row.interfaceIndex);
  visit("routeMetric", row.routeMetric);
}

void visitFields(const auto& visit, Either<SeenPackets> auto& seen) {
  visit("interfaceIndex", seen.interfaceIndex);
  visit("count", seen.count);
}

void visitFields(const auto& visit, Either<Socket> auto& row) {
  visit("protocol", row.protocol);
  visit("state", row.state);
  visit("localAddress", row.localAddress);
  visit("localPort", row.localPort);
  visit("remoteAddress", row.remoteAddress);
  visit("remotePort", row.remotePort);
  visit("boundInterfaceIndex", row.boundInterfaceIndex);
  visit("mark", row.mark);
  visit("user", row.user);
  visit("routeInterfaceIndex", row.routeInterfaceIndex);
  visit("seenPackets", row.seenPackets);
}

void visitFields(const auto& visit, Either<MissingFact> auto& missing) {
  visit("fact", missing.fact);
  visit("reason", missing.reason);
}

template <typename List>
concept EitherList = Either<List, SnapshotList<Adapter>> || Either<List, SnapshotList<RouteRow>> ||
    Either<List, SnapshotList<Socket>>;

void visitFields(const auto& visit, EitherList auto& list) {
  visit("enumFailed", list.enumFailed);
  visit("failureReason", list.failureReason);
  visit("rows", list.rows);
}

void visitFields(const auto& visit, Either<HostSnapshot> auto& snapshot) {
  visit("origin", snapshot.origin);
  visit("config", snapshot.config);
  visit("blanked", snapshot.blanked);
  visit("mainTag", snapshot.mainTag);
  visit("selectorAnswers", snapshot.selectorAnswers);
  visit("queries", snapshot.queries);
  visit("selectorHint", snapshot.selectorHint);
  visit("resolvedNames", snapshot.resolvedNames);
  visit("processes", snapshot.processes);
  visit("listeningAt", snapshot.listeningAt);
  visit("adapters", snapshot.adapters);
  visit("routes", snapshot.routes);
  visit("sockets", snapshot.sockets);
  visit("observedSeconds", snapshot.observedSeconds);
  visit("missingFacts", snapshot.missingFacts);
}

}  // namespace egress::snapshot

#endif
