#include "egress_snapshot/anonymize.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "egress/config/protocols.h"
#include "egress_snapshot/pseudonyms.h"
#include "egress_snapshot/same_report.h"

namespace egress::snapshot {
namespace {

constexpr const char* kOtherType = "other";

// Calls visit(index) for each interface index in the record.
template <typename Visit>
void forEachIndex(HostSnapshot& snapshot, Visit visit) {
  for (Adapter& row : snapshot.adapters.rows) visit(row.interfaceIndex);
  for (RouteRow& row : snapshot.routes.rows) visit(row.interfaceIndex);
  for (Socket& row : snapshot.sockets.rows) {
    for (auto* const fact : {&row.boundInterfaceIndex, &row.routeInterfaceIndex}) {
      if (fact->value_or(0) != 0) visit(fact->value());  // 0 means none
    }
  }
}

void replaceInterfaces(HostSnapshot& snapshot) {
  std::map<std::uint32_t, std::uint32_t> ranks;  // from 1
  forEachIndex(snapshot, [&ranks](std::uint32_t index) { ranks[index] = 0; });
  std::uint32_t rank = 0;
  for (auto& entry : ranks) entry.second = ++rank;
  forEachIndex(snapshot, [&ranks](std::uint32_t& index) { index = ranks.at(index); });
  for (Adapter& row : snapshot.adapters.rows) {
    if (!row.name.empty()) row.name = std::string("if").append(std::to_string(row.interfaceIndex));
  }
}

void replaceAddresses(HostSnapshot& snapshot, Pseudonyms& pseudonyms) {
  for (Adapter& row : snapshot.adapters.rows) {
    for (std::string& address : row.addresses) address = pseudonyms.address(address);
  }
  for (Socket& row : snapshot.sockets.rows) {
    row.localAddress = pseudonyms.address(row.localAddress);
    row.remoteAddress = pseudonyms.address(row.remoteAddress);
  }
  for (Outbound& outbound : snapshot.config.outbounds) {
    outbound.server = pseudonyms.address(outbound.server);
  }
}

void replaceTags(HostSnapshot& snapshot, Pseudonyms& pseudonyms) {
  for (Outbound& outbound : snapshot.config.outbounds) {
    outbound.tag = pseudonyms.tag(outbound.tag);
    outbound.detour = pseudonyms.tag(outbound.detour);
  }
  for (SelectorAnswer& answer : snapshot.selectorAnswers) {
    answer.selectorTag = pseudonyms.tag(answer.selectorTag);
    answer.now = pseudonyms.tag(answer.now);
  }
  snapshot.selectorHint = pseudonyms.tag(snapshot.selectorHint);
}

// An unknown type may contain private text; all unknown types give the same diagnosis.
void replaceUnknownTypes(HostSnapshot& snapshot) {
  for (Outbound& outbound : snapshot.config.outbounds) {
    const bool isUnknown = outboundTypeOf(outbound.type) == OutboundType::Unknown;
    if (isUnknown && !outbound.type.empty()) outbound.type = kOtherType;
    if (transportTypeOf(outbound.transportType) == TransportType::Unknown) {
      outbound.transportType = kOtherType;
    }
  }
}

void dropUnneeded(HostSnapshot& snapshot) {
  snapshot.origin = {};
  snapshot.processes.clear();
  snapshot.adapters.failureReason.clear();
  snapshot.routes.failureReason.clear();
  snapshot.sockets.failureReason.clear();
  for (Socket& row : snapshot.sockets.rows) row.user = std::nullopt;
}

}  // namespace

Result<HostSnapshot> anonymized(const HostSnapshot& snapshot) {
  HostSnapshot result = snapshot;
  Pseudonyms pseudonyms;
  replaceAddresses(result, pseudonyms);
  replaceTags(result, pseudonyms);
  replaceUnknownTypes(result);
  replaceInterfaces(result);
  dropUnneeded(result);
  return ifSameReport(snapshot, std::move(result));
}

}  // namespace egress::snapshot
