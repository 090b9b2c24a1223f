#include "tests/laws/anonymize_laws.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "egress/config/numeric_address.h"
#include "egress/config/protocols.h"
#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/laws/core_laws.h"
#include "tests/laws/naive_core.h"
#include "tests/laws/renamed_snapshot.h"
#include "tests/support/joined.h"
#include "tests/support/snapshot_equality.h"

namespace egress::test {
namespace {

using snapshot::Adapter;
using snapshot::HostSnapshot;
using snapshot::Refusal;
using snapshot::Socket;

// What anonymizing replaces, in the order of the record.
struct Replaced {
  std::vector<std::string> addresses;
  std::vector<std::string> tags;
  std::vector<std::uint32_t> indexes;
};

Replaced takeReplaced(HostSnapshot& record) {
  Replaced replaced;
  const auto takeAddress = [&](std::string& text) {
    replaced.addresses.push_back(std::exchange(text, ""));
  };
  const auto takeTag = [&](std::string& text) { replaced.tags.push_back(std::exchange(text, "")); };
  const auto takeIndex = [&](std::uint32_t& index) {
    replaced.indexes.push_back(std::exchange(index, 0));
  };
  for (Adapter& row : record.adapters.rows) {
    takeIndex(row.interfaceIndex);
    std::ranges::for_each(row.addresses, takeAddress);
  }
  for (RouteRow& row : record.routes.rows) takeIndex(row.interfaceIndex);
  for (Socket& row : record.sockets.rows) {
    takeAddress(row.localAddress);
    takeAddress(row.remoteAddress);
    for (auto* const fact : {&row.boundInterfaceIndex, &row.routeInterfaceIndex}) {
      if (fact->value_or(0) != 0) takeIndex(**fact);  // 0 means none, and stays
    }
    for (snapshot::SeenPackets& seen : row.seenPackets) takeIndex(seen.interfaceIndex);
  }
  for (Outbound& row : record.config.outbounds) {
    takeTag(row.tag);
    takeTag(row.detour);
    takeAddress(row.server);
  }
  for (SelectorAnswer& row : record.selectorAnswers) {
    takeTag(row.selectorTag);
    takeTag(row.now);
  }
  takeTag(record.selectorHint);
  takeTag(record.mainTag);
  for (snapshot::ResolvedName& row : record.resolvedNames) {
    takeAddress(row.name);
    takeAddress(row.address);
  }
  return replaced;
}

// What equal addresses have in common.
std::string addressIdentity(const std::string& text) {
  const NumericAddress address = parseNumericAddress(text);
  if (!address.valid) return joined({"text ", text});
  return joined({"IPv", std::to_string(address.family), " ",
                 std::string(address.bytes.begin(), address.bytes.end())});
}

std::string tagIdentity(const std::string& tag) {
  return tag;
}

// What a replaced tag keeps: whether it is empty, and whether it is the start of the walk.
std::string tagKind(const std::string& tag) {
  return tag.empty() || tag == "proxy" ? tag : "other";
}

using TextFunction = std::string (*)(const std::string& text);

// Each text keeps its kind; equal ones stay equal, and different ones different.
Violation checkTexts(const std::vector<std::string>& before, const std::vector<std::string>& after,
                     TextFunction kindOf, TextFunction identityOf) {
  if (before.size() != after.size()) return "texts were added or removed";
  std::map<std::string, std::string> forward;
  std::map<std::string, std::string> backward;
  for (std::size_t i = 0; i < before.size(); ++i) {
    const std::string shown = joined({"'", before[i], "' became '", after[i], "'"});
    if (kindOf(before[i]) != kindOf(after[i])) return joined({shown, ", of another kind"});
    const std::string identity = identityOf(before[i]);
    const std::string replacement = identityOf(after[i]);
    if (forward.try_emplace(identity, replacement).first->second != replacement) {
      return joined({shown, ", elsewhere '", forward[identity], "'"});
    }
    if (backward.try_emplace(replacement, identity).first->second != identity) {
      return joined({shown, ", and so did '", backward[replacement], "'"});
    }
  }
  return {};
}

// Indexes become their ranks, from 1.
Violation checkIndexes(const std::vector<std::uint32_t>& before,
                       const std::vector<std::uint32_t>& after) {
  std::vector<std::uint32_t> sorted = before;
  std::ranges::sort(sorted);
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  const bool areRanks = std::ranges::equal(before, after, {}, [&](std::uint32_t index) {
    return std::ranges::lower_bound(sorted, index) - sorted.begin() + 1;
  });
  return areRanks ? "" : "an index did not become its rank";
}

// "proxy" for the main tag, and the main tag for "proxy".
std::string exchanged(const std::string& tag, const std::string& mainTag) {
  if (mainTag.empty()) return tag;
  if (tag == mainTag) return "proxy";
  return tag == "proxy" ? mainTag : tag;
}

// The input of the walk for the core, which starts at "proxy".
DiagnosisInput startingAtProxy(const HostSnapshot& record) {
  DiagnosisInput input;
  setProxyConfig(input, record.config);
  input.selectorAnswers = record.selectorAnswers;
  for (Outbound& row : input.outbounds) {
    row.tag = exchanged(row.tag, record.mainTag);
    row.detour = exchanged(row.detour, record.mainTag);
  }
  for (SelectorAnswer& row : input.selectorAnswers) {
    row.selectorTag = exchanged(row.selectorTag, record.mainTag);
    row.now = exchanged(row.now, record.mainTag);
  }
  return input;
}

// Keeps the first outbound with each tag that the walk enters, and the first answer for each such
// selector.
void keepUsed(HostSnapshot& record) {
  std::set<std::string> tags;
  if (record.config.configStatus == ConfigStatus::OK) {
    for (const std::string& tag : naiveWalk(startingAtProxy(record)).visitedTags) {
      tags.insert(exchanged(tag, record.mainTag));
    }
  }
  std::map<std::string, Outbound> first;
  std::vector<Outbound> outbounds;
  for (const Outbound& outbound : record.config.outbounds) {
    const bool isFirst = first.emplace(outbound.tag, outbound).second;
    if (isFirst && tags.contains(outbound.tag)) outbounds.push_back(outbound);
  }
  std::set<std::string> answered;
  std::vector<SelectorAnswer> answers;
  for (const SelectorAnswer& answer : record.selectorAnswers) {
    const std::string& tag = answer.selectorTag;
    const bool isFirst = answered.insert(tag).second;
    if (!isFirst || !tags.contains(tag)) continue;
    const std::string& type = first.at(tag).type;
    if (type == "selector" || type == "urltest") answers.push_back(answer);
  }
  record.config.outbounds = outbounds;
  record.selectorAnswers = answers;
  std::erase_if(record.resolvedNames, [&outbounds](const snapshot::ResolvedName& row) {
    return std::ranges::none_of(outbounds, [&row](const Outbound& outbound) {
      return outbound.hasServer && outbound.server == row.name;
    });
  });
}

// The record as it must be apart from what takeReplaced takes. Interfaces have the names of their
// new indexes.
HostSnapshot withoutPrivateData(HostSnapshot record, const std::vector<Adapter>& anonymized) {
  keepUsed(record);
  record.origin = {};
  record.blanked = {};
  record.queries.clear();
  record.listeningAt.clear();
  record.processes.clear();
  record.adapters.failureReason.clear();
  record.routes.failureReason.clear();
  record.sockets.failureReason.clear();
  for (snapshot::MissingFact& missing : record.missingFacts) missing.reason.clear();
  for (Socket& row : record.sockets.rows) {
    row.localPort = 0;
    row.user.reset();
  }
  for (Outbound& row : record.config.outbounds) {
    const bool isUnknown = outboundTypeOf(row.type) == OutboundType::Unknown;
    if (isUnknown && !row.type.empty()) row.type = "other";
    if (transportTypeOf(row.transportType) == TransportType::Unknown) row.transportType = "other";
  }
  auto& rows = record.adapters.rows;
  for (std::size_t i = 0; i < std::min(rows.size(), anonymized.size()); ++i) {
    if (rows[i].name.empty()) continue;
    rows[i].name = joined({"if", std::to_string(anonymized[i].interfaceIndex)});
  }
  return record;
}

Violation checkReplacements(const HostSnapshot& original, HostSnapshot anonymized) {
  HostSnapshot expected = withoutPrivateData(original, anonymized.adapters.rows);
  const Replaced before = takeReplaced(expected);
  const Replaced after = takeReplaced(anonymized);
  Violation violation = checkTexts(before.addresses, after.addresses, networkOf, addressIdentity);
  if (violation.empty()) violation = checkTexts(before.tags, after.tags, tagKind, tagIdentity);
  if (violation.empty()) violation = checkIndexes(before.indexes, after.indexes);
  const bool restIsKept = expected == anonymized;
  if (violation.empty() && !restIsKept) violation = "more was changed, or less dropped";
  return violation;
}

Violation checkReportIsKept(const HostSnapshot& original, const HostSnapshot& anonymized) {
  const EgressReport before = diagnoseEgress(toInput(original));
  const EgressReport after = diagnoseEgress(toInput(anonymized));
  if (before == after) return {};
  return joined({"the report changed from\n", describe(before), "to\n", describe(after)});
}

}  // namespace

Violation checkAnonymized(const HostSnapshot& record) {
  const auto result = snapshot::anonymized(record);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    return joined({"refused: ", toString(*refusal)});
  }
  const auto& anonymized = std::get<HostSnapshot>(result);
  Violation violation = checkReportIsKept(record, anonymized);
  if (violation.empty()) violation = checkReplacements(record, anonymized);
  const auto again = snapshot::anonymized(anonymized);
  const bool isStable = std::get<HostSnapshot>(again) == anonymized;
  if (violation.empty() && !isStable) violation = "anonymizing again changed the record";
  return violation;
}

Violation checkPrivacy(const HostSnapshot& record, Choices& choices) {
  const RenamedSnapshot other = renamed(record, choices);
  const auto result = snapshot::anonymized(other.record);
  const std::string text = snapshot::snapshotToJson(std::get<HostSnapshot>(result));
  for (const std::string& secret : other.secrets) {
    if (text.find(secret) != std::string::npos) {
      return joined({"contains '", secret, "':\n", text});
    }
  }
  const auto expected = snapshot::anonymized(record);
  if (std::get<HostSnapshot>(result) == std::get<HostSnapshot>(expected)) return {};
  return joined({"depends on private data:\n", text, "\nand\n",
                 snapshot::snapshotToJson(std::get<HostSnapshot>(expected))});
}

}  // namespace egress::test
