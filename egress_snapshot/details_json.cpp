#include "egress_snapshot/details_json.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "egress/config/protocols.h"
#include "egress/core/status_words.h"
#include "egress/core/write_report.h"
#include "egress_snapshot/write_record.h"

namespace egress::snapshot {
namespace {

// How an interface is shown.
struct ShownInterface {
  std::int64_t ordinal = 0;  // in the report
  std::string name;          // the first that one of its rows has; empty: unknown
};
using ShownInterfaces = std::map<std::uint32_t, ShownInterface>;  // by the system's index

ShownInterfaces shownInterfaces(const HostSnapshot& snapshot, const Diagnosis& diagnosis) {
  ShownInterfaces shown;
  for (const DiagnosedInterface& row : diagnosis.interfaces) {
    shown[row.interfaceIndex].ordinal = row.ordinal;
  }
  for (const Adapter& row : snapshot.adapters.rows) {
    const auto found = shown.find(row.interfaceIndex);
    if (found != shown.end() && found->second.name.empty()) found->second.name = row.name;
  }
  return shown;
}

// Ordinal and name as members of the open object.
void writeIdentity(JsonWriter& writer, std::int64_t ordinal, const std::string& name) {
  writer.member("ordinal");
  writer.scalar(ordinal);
  if (!name.empty()) writeMember(writer, "name", name);
}

void writeInterface(JsonWriter& writer, const ShownInterface& shown) {
  writer.open('{');
  writeIdentity(writer, shown.ordinal, shown.name);
  writer.close('}');
}

void writeInterfaceMember(JsonWriter& writer, const char* key, const ShownInterfaces& interfaces,
                          std::uint32_t interfaceIndex) {
  const auto shown = interfaces.find(interfaceIndex);
  if (shown == interfaces.end()) return;
  writer.member(key);
  writeInterface(writer, shown->second);
}

// The interface that a fact names. Null if it names none, absent if it is unknown.
void writeFact(JsonWriter& writer, const char* key, const ShownInterfaces& interfaces,
               std::optional<std::uint32_t> interfaceIndex) {
  if (!interfaceIndex) return;
  if (*interfaceIndex != 0) return writeInterfaceMember(writer, key, interfaces, *interfaceIndex);
  writer.member(key);
  writer.scalar(nullptr);
}

void writeInterfaceArray(JsonWriter& writer, const char* key, const ShownInterfaces& interfaces,
                         const std::vector<std::uint32_t>& interfaceIndexes) {
  writer.member(key);
  writer.open('[');
  for (const std::uint32_t interfaceIndex : interfaceIndexes) {
    const auto shown = interfaces.find(interfaceIndex);
    if (shown == interfaces.end()) continue;
    writer.element();
    writeInterface(writer, shown->second);
  }
  writer.close(']');
}

// What leads the walk on from an outbound that is not its last.
const char* leadingOn(const std::string& outboundType) {
  return outboundTypeOf(outboundType) == OutboundType::Selector ? "SELECTOR" : "DETOUR";
}

void writeWay(JsonWriter& writer, const HostSnapshot& snapshot, const Resolution& resolution) {
  writer.open('{');
  writer.member("entered");
  writer.open('[');
  std::size_t rest = resolution.visitedTags.size();
  for (const std::string& tag : resolution.visitedTags) {
    --rest;
    const auto outbound = std::ranges::find(snapshot.config.outbounds, tag, &Outbound::tag);
    if (outbound == snapshot.config.outbounds.end()) continue;
    writer.element();
    writer.open('{');
    writeMember(writer, "tag", tag);
    writeMember(writer, "type", outbound->type);
    if (rest > 0) {
      writer.member("ledOnBy");
      writer.scalar(leadingOn(outbound->type));
    }
    writer.close('}');
  }
  writer.close(']');
  if (!resolution.soughtTag.empty()) writeMember(writer, "soughtTag", resolution.soughtTag);
  writer.close('}');
}

// What was done to the input before it was diagnosed.
void writeInput(JsonWriter& writer, const HostSnapshot& snapshot) {
  writer.open('{');
  writeMember(writer, "blanked", snapshot.blanked);
  writeMember(writer, "mainTag", snapshot.mainTag);
  writeMember(writer, "queries", snapshot.queries);
  writeMember(writer, "resolvedNames", snapshot.resolvedNames);
  writeMember(writer, "listeningAt", snapshot.listeningAt);
  writer.close('}');
}

// The address as it is configured or resolved.
void writeEndpoint(JsonWriter& writer, const HostSnapshot& snapshot,
                   const AddressFinding& finding) {
  const Diagnosis& diagnosis = finding.diagnosis;
  const std::vector<Outbound>& outbounds = snapshot.config.outbounds;
  const std::size_t leaf = diagnosis.resolution.leaf.value_or(outbounds.size());
  writer.open('{');
  writeMember(writer, "status", diagnosis.endpoint.status);
  if (diagnosis.endpoint.status == ActiveEndpointStatus::OK) {
    writeMember(writer, "address", finding.address);
    writeMember(writer, "port", diagnosis.endpoint.port);
    const bool hasName = leaf < outbounds.size() && outbounds[leaf].server != finding.address;
    if (hasName) writeMember(writer, "name", outbounds[leaf].server);
  }
  writer.close('}');
}

// The other addresses of the endpoint's name that the engine uses.
void writeOtherAddresses(JsonWriter& writer, const std::vector<AddressFinding>& findings,
                         const ShownInterfaces& interfaces) {
  writer.open('[');
  for (std::size_t i = 1; i < findings.size(); ++i) {
    writer.element();
    writer.open('{');
    writeMember(writer, "address", findings[i].address);
    writer.member("selectionStatus");
    writer.scalar(egress::toString(findings[i].diagnosis.selection.status));
    writeMember(writer, "crossCheckStatus", findings[i].crossCheck.status);
    const std::optional<std::uint32_t> named = interfaceNamedBy(findings[i]);
    if (named) writeInterfaceMember(writer, "interface", interfaces, *named);
    writer.close('}');
  }
  writer.close(']');
}

void writeCrossCheck(JsonWriter& writer, const HostSnapshot& snapshot, const CrossCheck& crossCheck,
                     const ShownInterfaces& interfaces) {
  writer.open('{');
  writeMember(writer, "status", crossCheck.status);
  if (crossCheck.interfaceIndex) {
    writeInterfaceMember(writer, "interface", interfaces, *crossCheck.interfaceIndex);
  }
  writeMember(writer, "observedSeconds", snapshot.observedSeconds);
  writer.close('}');
}

// One row for each interface, with the sum of its packets.
void writePackets(JsonWriter& writer, const Socket& socket, const ShownInterfaces& interfaces) {
  std::map<std::uint32_t, std::uint64_t> counts;
  for (const SeenPackets& seen : socket.seenPackets) {
    if (seen.count > 0) counts[seen.interfaceIndex] += seen.count;
  }
  writer.member("byPackets");
  writer.open('[');
  for (const auto& [interfaceIndex, count] : counts) {
    const auto shown = interfaces.find(interfaceIndex);
    if (shown == interfaces.end()) continue;
    writer.element();
    writer.open('{');
    writer.member("interface");
    writeInterface(writer, shown->second);
    writer.member("count");
    writer.scalar(count);
    writer.close('}');
  }
  writer.close(']');
}

void writeSocket(JsonWriter& writer, const CheckedSocket& checked, const Socket& socket,
                 const ShownInterfaces& interfaces) {
  writer.open('{');
  writeMember(writer, "protocol", socket.protocol);
  writeMember(writer, "state", socket.state);
  writeMember(writer, "localAddress", socket.localAddress);
  writeMember(writer, "localPort", socket.localPort);
  writeMember(writer, "remoteAddress", socket.remoteAddress);
  writeMember(writer, "remotePort", socket.remotePort);
  writeMember(writer, "user", socket.user);
  writeMember(writer, "mark", socket.mark);
  writeFact(writer, "boundDevice", interfaces, socket.boundInterfaceIndex);
  writeMember(writer, "role", checked.role);
  writeInterfaceArray(writer, "bySource", interfaces, checked.bySource);
  writeFact(writer, "byRoute", interfaces, socket.routeInterfaceIndex);
  writePackets(writer, socket, interfaces);
  writeMember(writer, "decidedBy", checked.decidedBy);
  writeInterfaceArray(writer, "leavesThrough", interfaces, checked.leavesThrough);
  writeMember(writer, "hasNoWayOut", checked.hasNoWayOut);
  writer.close('}');
}

// The sockets to all addresses.
void writeSockets(JsonWriter& writer, const HostSnapshot& snapshot,
                  const std::vector<AddressFinding>& findings, const ShownInterfaces& interfaces) {
  writer.open('[');
  for (const AddressFinding& finding : findings) {
    for (const CheckedSocket& checked : finding.crossCheck.sockets) {
      if (checked.row >= snapshot.sockets.rows.size()) continue;
      writer.element();
      writeSocket(writer, checked, snapshot.sockets.rows[checked.row], interfaces);
    }
  }
  writer.close(']');
}

// One row for each row of the adapters, by ordinal.
void writeInterfaces(JsonWriter& writer, const HostSnapshot& snapshot,
                     const ShownInterfaces& interfaces) {
  std::vector<std::pair<std::int64_t, std::size_t>> rows;  // ordinal, position
  for (std::size_t i = 0; i < snapshot.adapters.rows.size(); ++i) {
    const auto shown = interfaces.find(snapshot.adapters.rows[i].interfaceIndex);
    if (shown != interfaces.end()) rows.emplace_back(shown->second.ordinal, i);
  }
  std::ranges::sort(rows);
  writer.open('[');
  for (const auto& [ordinal, position] : rows) {
    const Adapter& row = snapshot.adapters.rows[position];
    writer.element();
    writer.open('{');
    writeIdentity(writer, ordinal, row.name);
    writeMember(writer, "kind", row.kind);
    writeMember(writer, "operStatus", row.operStatus);
    writeMember(writer, "addresses", row.addresses);
    writer.close('}');
  }
  writer.close(']');
}

// The lists that could not be taken, with the reasons.
void writeFailures(JsonWriter& writer, const HostSnapshot& snapshot) {
  const auto writeFailure = [&writer](const char* key, const auto& list) {
    if (list.enumFailed) writeMember(writer, key, list.failureReason);
  };
  writer.open('{');
  writeFailure("adapters", snapshot.adapters);
  writeFailure("routes", snapshot.routes);
  writeFailure("sockets", snapshot.sockets);
  writer.close('}');
}

}  // namespace

void writeDetails(const HostSnapshot& snapshot, const std::vector<AddressFinding>& findings,
                  const TextSink& sink, JsonLayout layout, const std::optional<std::string>& file) {
  const Diagnosis& diagnosis = findings.front().diagnosis;
  const ShownInterfaces interfaces = shownInterfaces(snapshot, diagnosis);
  JsonWriter writer(sink, layout);
  openDocument(writer, kDetailsFormat, kDetailsVersion);
  writeMember(writer, "file", file);
  writeMember(writer, "origin", snapshot.origin);
  writer.member("input");
  writeInput(writer, snapshot);
  writeMember(writer, "report", writeReport(diagnosis));
  writer.member("way");
  writeWay(writer, snapshot, diagnosis.resolution);
  writer.member("endpoint");
  writeEndpoint(writer, snapshot, findings.front());
  writer.member("otherAddresses");
  writeOtherAddresses(writer, findings, interfaces);
  writeMember(writer, "doAddressesAgree", doAgree(findings));
  writer.member("crossCheck");
  writeCrossCheck(writer, snapshot, findings.front().crossCheck, interfaces);
  writer.member("sockets");
  writeSockets(writer, snapshot, findings, interfaces);
  writer.member("interfaces");
  writeInterfaces(writer, snapshot, interfaces);
  writeMember(writer, "missingFacts", snapshot.missingFacts);
  writeMember(writer, "processes", snapshot.processes);
  writer.member("failures");
  writeFailures(writer, snapshot);
  writer.close('}');
  writer.finish();
}

std::string detailsToJson(const HostSnapshot& snapshot, const std::vector<AddressFinding>& findings,
                          JsonLayout layout, const std::optional<std::string>& file) {
  std::string text;
  const auto append = [&text](std::string_view part) { text += part; };
  writeDetails(snapshot, findings, append, layout, file);
  return text;
}

}  // namespace egress::snapshot
