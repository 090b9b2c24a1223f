#include "egress_snapshot/diagnose_snapshot.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "egress/config/numeric_address.h"
#include "egress/core/diagnose_egress.h"

namespace egress::snapshot {
namespace {

// An address with a port.
using RemoteEnd = std::tuple<std::uint32_t, std::array<std::uint8_t, 16>, std::uint32_t>;

RemoteEnd remoteEnd(std::string_view addressText, std::uint32_t port) {
  const NumericAddress address = parseNumericAddress(addressText);
  return {address.family, address.bytes, port};
}

// Where the engine's sockets go.
struct UsedEnds {
  std::set<RemoteEnd> counted;
  std::set<RemoteEnd> tried;
};

UsedEnds usedEnds(const SnapshotList<Socket>& sockets, CountedSockets counted) {
  UsedEnds ends;
  if (sockets.enumFailed) return {};
  for (const Socket& row : sockets.rows) {
    const RemoteEnd end = remoteEnd(row.remoteAddress, row.remotePort);
    if (isCounted(row, counted)) ends.counted.insert(end);
    if (isAttempt(row)) ends.tried.insert(end);
  }
  return ends;
}

// The addresses of the servers that the configuration has by name.
class Addresses {
 public:
  explicit Addresses(const std::vector<ResolvedName>& rows) {
    for (const ResolvedName& row : rows) byName_[row.name].push_back(row.address);
  }
  Addresses(const HostSnapshot& snapshot, CountedSockets counted)
      : Addresses(snapshot.resolvedNames) {
    if (!byName_.empty()) ends_ = usedEnds(snapshot.sockets, counted);
  }

  // Those that the engine uses for this outbound, at most kMaxAddresses; if it uses none, the first
  // of all. Nothing if its server is not a resolved name.
  [[nodiscard]] std::vector<std::string_view> inUse(const Outbound& outbound) const {
    const auto found = outbound.hasServer ? byName_.find(outbound.server) : byName_.end();
    if (found == byName_.end()) return {};
    const std::vector<std::string_view>& all = found->second;
    if (outbound.ports.size() != 1) return {all.front()};
    for (const std::set<RemoteEnd>* const ends : {&ends_.counted, &ends_.tried}) {
      std::vector<std::string_view> used = among(all, *ends, outbound.ports.front());
      if (!used.empty()) return used;
    }
    return {all.front()};
  }

 private:
  static std::vector<std::string_view> among(const std::vector<std::string_view>& addresses,
                                             const std::set<RemoteEnd>& ends, std::uint32_t port) {
    std::vector<std::string_view> used;
    std::set<RemoteEnd> known;
    for (const std::string_view address : addresses) {
      const RemoteEnd end = remoteEnd(address, port);
      if (!ends.contains(end) || !known.insert(end).second) continue;
      used.push_back(address);
      if (used.size() == kMaxAddresses) break;
    }
    return used;
  }

  std::map<std::string_view, std::vector<std::string_view>> byName_;
  UsedEnds ends_;
};

// Exchanges the tag where the core starts and the main tag. Being its own inverse, it leaves equal
// tags equal and different ones different, so that the walk is the same one from another start.
class TagExchange {
 public:
  explicit TagExchange(const std::string& mainTag)
      : mainTag_(mainTag.empty() ? kStartTag : std::string_view(mainTag)) {}

  void apply(std::string& tag) const {
    if (tag == mainTag_) {
      tag = kStartTag;
    } else if (tag == kStartTag) {
      tag = mainTag_;
    }
  }

  void apply(DiagnosisInput& input) const {
    for (Outbound& outbound : input.outbounds) {
      apply(outbound.tag);
      apply(outbound.detour);
    }
    for (SelectorAnswer& answer : input.selectorAnswers) {
      apply(answer.selectorTag);
      apply(answer.now);
    }
    apply(input.selectorHint);
  }

  void apply(Resolution& resolution) const {
    for (std::string& tag : resolution.visitedTags) apply(tag);
    apply(resolution.soughtTag);
  }

 private:
  std::string_view mainTag_;
};

// What the walk reads.
DiagnosisInput inputOfTheWalk(const HostSnapshot& snapshot, const Addresses& addresses) {
  DiagnosisInput input;
  setProxyConfig(input, snapshot.config);
  for (Outbound& outbound : input.outbounds) {
    const std::vector<std::string_view> used = addresses.inUse(outbound);
    if (!used.empty()) outbound.server = used.front();
  }
  input.selectorAnswers = snapshot.selectorAnswers;
  input.selectorHint = snapshot.selectorHint;
  TagExchange(snapshot.mainTag).apply(input);
  return input;
}

void addRows(const HostSnapshot& snapshot, CountedSockets counted, DiagnosisInput& input) {
  input.adapters.enumFailed = snapshot.adapters.enumFailed;
  input.adapters.rows.reserve(snapshot.adapters.rows.size());
  for (const Adapter& row : snapshot.adapters.rows) {
    input.adapters.rows.push_back({.interfaceIndex = row.interfaceIndex,
                                   .operStatus = row.operStatus,
                                   .interfaceMetric = row.interfaceMetric,
                                   .addresses = row.addresses});
  }
  input.routes = {.enumFailed = snapshot.routes.enumFailed, .rows = snapshot.routes.rows};
  input.sockets.enumFailed = snapshot.sockets.enumFailed;
  input.sockets.rows.reserve(snapshot.sockets.rows.size());
  for (const Socket& row : snapshot.sockets.rows) {
    if (!isCounted(row, counted)) continue;
    input.sockets.rows.push_back({.localAddress = row.localAddress,
                                  .localPort = row.localPort,
                                  .remoteAddress = row.remoteAddress,
                                  .remotePort = row.remotePort});
  }
}

Diagnosis diagnoseWithTagsOf(const HostSnapshot& snapshot, const DiagnosisInput& input) {
  Diagnosis diagnosis = egress::diagnose(input);
  TagExchange(snapshot.mainTag).apply(diagnosis.resolution);
  return diagnosis;
}

AddressFinding findingFor(const HostSnapshot& snapshot, const DiagnosisInput& input) {
  AddressFinding finding;
  finding.diagnosis = diagnoseWithTagsOf(snapshot, input);
  if (finding.diagnosis.endpoint.status == ActiveEndpointStatus::OK) {
    finding.address = input.outbounds.at(finding.diagnosis.resolution.leaf.value()).server;
  }
  return finding;
}

}  // namespace

DiagnosisInput toInput(const HostSnapshot& snapshot, CountedSockets counted) {
  DiagnosisInput input = inputOfTheWalk(snapshot, Addresses(snapshot, counted));
  addRows(snapshot, counted, input);
  return input;
}

Diagnosis diagnose(const HostSnapshot& snapshot, CountedSockets counted) {
  return diagnoseWithTagsOf(snapshot, toInput(snapshot, counted));
}

Diagnosis diagnoseWay(const HostSnapshot& snapshot) {
  return diagnoseWithTagsOf(snapshot, inputOfTheWalk(snapshot, Addresses(snapshot.resolvedNames)));
}

std::vector<AddressFinding> diagnoseAddresses(const HostSnapshot& snapshot,
                                              CountedSockets counted) {
  const Addresses addresses(snapshot, counted);
  DiagnosisInput input = inputOfTheWalk(snapshot, addresses);
  addRows(snapshot, counted, input);
  std::vector<AddressFinding> findings;
  findings.push_back(findingFor(snapshot, input));
  const std::optional<std::size_t> leaf = findings.front().diagnosis.resolution.leaf;
  if (!leaf) return findings;
  const std::vector<std::string_view> used = addresses.inUse(snapshot.config.outbounds.at(*leaf));
  for (std::size_t i = 1; i < used.size(); ++i) {
    input.outbounds.at(*leaf).server = used[i];
    findings.push_back(findingFor(snapshot, input));
  }
  return findings;
}

void crossCheckAddresses(const HostSnapshot& snapshot, std::vector<AddressFinding>& findings,
                         CountedSockets counted) {
  for (AddressFinding& finding : findings) {
    finding.crossCheck = crossCheck(snapshot, finding.diagnosis, counted);
  }
}

std::optional<std::uint32_t> interfaceNamedBy(const AddressFinding& finding) {
  const std::optional<std::int64_t> ordinal = finding.diagnosis.selection.ordinal;
  const bool isUnknown = finding.crossCheck.status == CrossCheckStatus::UNKNOWN;
  if (!isUnknown) return finding.crossCheck.interfaceIndex;
  return ordinal ? interfaceIndexOf(finding.diagnosis, *ordinal) : std::nullopt;
}

bool doAgree(const std::vector<AddressFinding>& findings) {
  return std::ranges::all_of(findings, [&findings](const AddressFinding& finding) {
    return interfaceNamedBy(finding) == interfaceNamedBy(findings.front());
  });
}

}  // namespace egress::snapshot
