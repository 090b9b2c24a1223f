#include "egress_snapshot/anonymize.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "egress/config/protocols.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/pseudonyms.h"
#include "egress_snapshot/same_report.h"

namespace egress::snapshot {
namespace {

constexpr const char* kOtherType = "other";

// The tags of the outbounds that the walk to the endpoint enters.
std::set<std::string> enteredTags(const HostSnapshot& snapshot) {
  if (snapshot.config.configStatus != ConfigStatus::OK) return {};  // there is no walk
  const std::vector<std::string> visited = diagnoseWay(snapshot).resolution.visitedTags;
  return {visited.begin(), visited.end()};
}

// The walk uses the first outbound with a tag, the first answer for a selector, and the addresses
// of its servers. Which others a configuration has tells one provider from another.
void dropUnused(HostSnapshot& snapshot) {
  std::set<std::string> entered = enteredTags(snapshot);
  std::set<std::string> selectors;
  std::vector<Outbound> outbounds;
  for (Outbound& outbound : snapshot.config.outbounds) {
    if (entered.erase(outbound.tag) == 0) continue;
    const bool selects = outboundTypeOf(outbound.type) == OutboundType::Selector;
    if (selects) selectors.insert(outbound.tag);
    outbounds.push_back(std::move(outbound));
  }
  std::vector<SelectorAnswer> answers;
  for (SelectorAnswer& answer : snapshot.selectorAnswers) {
    if (selectors.erase(answer.selectorTag) != 0) answers.push_back(std::move(answer));
  }
  std::set<std::string> servers;
  for (const Outbound& outbound : outbounds) {
    if (outbound.hasServer) servers.insert(outbound.server);
  }
  std::erase_if(snapshot.resolvedNames,
                [&servers](const ResolvedName& row) { return !servers.contains(row.name); });
  snapshot.config.outbounds = std::move(outbounds);
  snapshot.selectorAnswers = std::move(answers);
}

// Calls visit(index) for each interface index in the record.
template <typename Visit>
void forEachIndex(HostSnapshot& snapshot, Visit visit) {
  for (Adapter& row : snapshot.adapters.rows) visit(row.interfaceIndex);
  for (RouteRow& row : snapshot.routes.rows) visit(row.interfaceIndex);
  for (Socket& row : snapshot.sockets.rows) {
    for (auto* const fact : {&row.boundInterfaceIndex, &row.routeInterfaceIndex}) {
      if (fact->value_or(0) != 0) visit(fact->value());  // 0 means none
    }
    for (SeenPackets& seen : row.seenPackets) visit(seen.interfaceIndex);
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
  for (ResolvedName& row : snapshot.resolvedNames) {
    row.name = pseudonyms.address(row.name);
    row.address = pseudonyms.address(row.address);
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
  snapshot.mainTag = pseudonyms.tag(snapshot.mainTag);
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

// A local port and the time link a socket to the log of the server.
void dropFacts(HostSnapshot& snapshot) {
  snapshot.origin = {};
  snapshot.blanked = {};
  snapshot.queries.clear();
  snapshot.processes.clear();
  snapshot.listeningAt.clear();
  snapshot.adapters.failureReason.clear();
  snapshot.routes.failureReason.clear();
  snapshot.sockets.failureReason.clear();
  for (MissingFact& missing : snapshot.missingFacts) missing.reason.clear();
  for (Socket& row : snapshot.sockets.rows) {
    row.localPort = 0;
    row.user = std::nullopt;
  }
}

}  // namespace

Result<HostSnapshot> anonymized(const HostSnapshot& snapshot) {
  HostSnapshot result = snapshot;
  dropUnused(result);
  dropFacts(result);
  Pseudonyms pseudonyms;
  replaceAddresses(result, pseudonyms);
  replaceTags(result, pseudonyms);
  replaceUnknownTypes(result);
  replaceInterfaces(result);
  return ifSameReport(snapshot, std::move(result));
}

}  // namespace egress::snapshot
