#include "tests/laws/core_laws.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "egress/config/classify_endpoint.h"
#include "egress/config/resolve_active_outbound.h"
#include "egress/core/diagnose_egress.h"
#include "tests/laws/naive_core.h"
#include "tests/support/joined.h"
#include "tests/support/scalar_text.h"

namespace egress::test {
namespace {

using Rows = std::vector<ReportRow>;
using Words = std::vector<std::string>;

// The expected value of a key.
struct MemberRule {
  std::string_view key;
  ReportKind kind = ReportKind::Null;
  bool mayBeNull = false;
  const Words* words = nullptr;  // the declared words, for a string
};

struct MemberShape {
  MemberRule rule;
  std::vector<MemberRule> row;  // the members of each row, for an array
};

// The members in their order, including the optional "autoDetectInterfaceEnabled".
std::vector<MemberShape> shapeOfTheReport() {
  using enum ReportKind;
  const auto word = [](std::string_view key, const Words& words) {
    return MemberRule{.key = key, .kind = String, .words = &words};
  };
  const auto integer = [](std::string_view key) { return MemberRule{.key = key, .kind = Integer}; };
  const auto ordinal = [](std::string_view key) {
    return MemberRule{.key = key, .kind = Integer, .mayBeNull = true};
  };
  const auto boolean = [](std::string_view key) { return MemberRule{.key = key, .kind = Boolean}; };
  const auto array = [](std::string_view key) { return MemberRule{.key = key}; };
  return {
      {word("configStatus", declaredConfigStatus()), {}},
      {boolean("autoDetectInterfaceEnabled"), {}},
      {word("egressSelectionPolicy", declaredEgressSelectionPolicy()), {}},
      {word("activeEndpointStatus", declaredActiveEndpointStatus()), {}},
      {boolean("selectorHintStale"), {}},
      {ordinal("selectedInterfaceOrdinal"), {}},
      {word("selectionStatus", declaredSelectionStatus()), {}},
      {word("interfacesStatus", declaredInterfacesStatus()), {}},
      {array("interfaces"),
       {integer("ordinal"), integer("operStatus"), integer("interfaceMetric")}},
      {word("defaultRoutesStatus", declaredDefaultRoutesStatus()), {}},
      {array("defaultRoutes"),
       {integer("family"), ordinal("interfaceOrdinal"),
        word("interfaceOrdinalStatus", declaredInterfaceOrdinalStatus()), integer("routeMetric")}},
      {word("socketSourcesStatus", declaredSocketSourcesStatus()), {}},
      {array("observedSocketSources"), {integer("interfaceOrdinal")}},
  };
}

// Whether a scalar has the expected key, kind and word, and default values in its other fields.
bool fits(const MemberRule& rule, std::string_view key, const ReportScalar& scalar) {
  const bool isNull = rule.mayBeNull && scalar.kind == ReportKind::Null;
  if (key != rule.key || (scalar.kind != rule.kind && !isNull)) return false;
  ReportScalar bare;
  bare.kind = scalar.kind;
  if (scalar.kind == ReportKind::Boolean) bare.boolValue = scalar.boolValue;
  if (scalar.kind == ReportKind::Integer) bare.intValue = scalar.intValue;
  if (scalar.kind == ReportKind::String) bare.stringValue = scalar.stringValue;
  if (scalar != bare) return false;
  if (scalar.kind != ReportKind::String) return true;
  return std::ranges::find(*rule.words, scalar.stringValue) != rule.words->end();
}

bool fits(const MemberShape& shape, const ReportMember& member) {
  if (const auto* const scalar = std::get_if<ReportScalar>(&member.value)) {
    return shape.row.empty() && fits(shape.rule, member.key, *scalar);
  }
  if (shape.row.empty() || member.key != shape.rule.key) return false;
  const auto fitsRow = [&shape](const ReportRow& row) {
    return std::ranges::equal(row, shape.row, [](const auto& pair, const MemberRule& rule) {
      return fits(rule, pair.first, pair.second);
    });
  };
  return std::ranges::all_of(std::get<Rows>(member.value), fitsRow);
}

Violation checkShape(const DiagnosisInput& input, const EgressReport& report) {
  static const std::vector<MemberShape> kShape = shapeOfTheReport();
  auto shape = kShape.begin();
  for (const ReportMember& member : report.members) {
    const bool leftOut = shape != kShape.end() && shape->rule.key == "autoDetectInterfaceEnabled" &&
                         input.configStatus != ConfigStatus::OK;
    if (leftOut) ++shape;
    if (shape == kShape.end() || !fits(*shape, member)) {
      return joined({"the member ", member.key, " is unexpected or has an unexpected value"});
    }
    ++shape;
  }
  return shape == kShape.end() ? "" : "members are missing";
}

template <typename List>
void shuffle(List& list, Choices& choices) {
  for (std::size_t i = list.size(); i > 1; --i) std::swap(list[i - 1], list[choices.below(i)]);
}

// Replaces the interface indexes by ones that no generated input contains, in the same order.
DiagnosisInput withOtherIndexes(DiagnosisInput input, Choices& /*choices*/) {
  std::map<std::uint32_t, std::uint32_t> others;
  for (const InterfaceRow& row : input.adapters.rows) others[row.interfaceIndex] = 0;
  for (const RouteRow& row : input.routes.rows) others[row.interfaceIndex] = 0;
  std::uint32_t next = 3'735'928'000;
  for (auto& [index, other] : others) other = next += 17;
  for (InterfaceRow& row : input.adapters.rows) row.interfaceIndex = others[row.interfaceIndex];
  for (RouteRow& row : input.routes.rows) row.interfaceIndex = others[row.interfaceIndex];
  return input;
}

// Renames all tags except "proxy", where the walk starts, and the empty tag.
DiagnosisInput withOtherTags(DiagnosisInput input, Choices& /*choices*/) {
  const auto rename = [](std::string& tag) {
    if (!tag.empty() && tag != "proxy") tag.insert(0, "renamed-");
  };
  for (Outbound& outbound : input.outbounds) {
    rename(outbound.tag);
    rename(outbound.detour);
  }
  for (SelectorAnswer& answer : input.selectorAnswers) {
    rename(answer.selectorTag);
    rename(answer.now);
  }
  rename(input.selectorHint);
  return input;
}

// Maps ports to other ports, one to one. Local ports are not used, so they all get the same number.
DiagnosisInput withOtherPorts(DiagnosisInput input, Choices& /*choices*/) {
  const auto renumber = [](std::uint32_t& port) { port ^= 0x5A5A5A5A; };
  for (Outbound& outbound : input.outbounds) std::ranges::for_each(outbound.ports, renumber);
  for (SocketSource& socket : input.sockets.rows) {
    renumber(socket.remotePort);
    socket.localPort = 31415;
  }
  return input;
}

// Only the first answer for a selector counts. After the others are removed, the order is
// irrelevant.
DiagnosisInput withShuffledAnswers(DiagnosisInput input, Choices& choices) {
  std::set<std::string> seen;
  std::erase_if(input.selectorAnswers, [&seen](const SelectorAnswer& answer) {
    return !seen.insert(answer.selectorTag).second;
  });
  shuffle(input.selectorAnswers, choices);
  return input;
}

DiagnosisInput withShuffledSockets(DiagnosisInput input, Choices& choices) {
  shuffle(input.sockets.rows, choices);
  return input;
}

DiagnosisInput withoutFailedRows(DiagnosisInput input, Choices& /*choices*/) {
  if (input.adapters.enumFailed) input.adapters.rows.clear();
  if (input.routes.enumFailed) input.routes.rows.clear();
  if (input.sockets.enumFailed) input.sockets.rows.clear();
  return input;
}

// Adds a socket to an address that no generated input contains.
DiagnosisInput withUnrelatedSocket(DiagnosisInput input, Choices& choices) {
  SocketSource unrelated{"10.0.0.7", 52000, "203.0.113.77", 443};
  if (choices.flag()) unrelated.localAddress = "192.168.1.50";
  auto& rows = input.sockets.rows;
  const auto at = static_cast<std::ptrdiff_t>(choices.below(rows.size() + 1));
  rows.insert(rows.begin() + at, unrelated);
  return input;
}

struct Change {
  std::string_view name;
  DiagnosisInput (*apply)(DiagnosisInput, Choices&);
  bool observedMayDiffer = false;
};

constexpr std::array<Change, kInputChanges> kChanges = {{
    {.name = "another order of sockets", .apply = withShuffledSockets},
    {.name = "another order of answers", .apply = withShuffledAnswers},
    {.name = "other indexes", .apply = withOtherIndexes},
    {.name = "other tags", .apply = withOtherTags},
    {.name = "other ports", .apply = withOtherPorts},
    {.name = "no rows in a failed snapshot", .apply = withoutFailedRows},
    {.name = "an unrelated socket", .apply = withUnrelatedSocket, .observedMayDiffer = true},
}};

void dropObservedSources(EgressReport& report) {
  std::erase_if(report.members,
                [](const ReportMember& member) { return member.key == "observedSocketSources"; });
}

}  // namespace

std::string describe(const EgressReport& report) {
  std::string text;
  for (const ReportMember& member : report.members) {
    text += joined({"  ", member.key, ":"});
    if (const auto* const scalar = std::get_if<ReportScalar>(&member.value)) {
      text += joined({" ", textOf(*scalar)});
    } else {
      for (const ReportRow& row : std::get<Rows>(member.value)) {
        text += " {";
        for (const auto& [key, value] : row) text += joined({" ", key, " ", textOf(value)});
        text += " }";
      }
    }
    text += "\n";
  }
  return text;
}

Violation checkResolution(const DiagnosisInput& input) {
  const Resolution resolution = resolveActiveOutbound(input);
  const NaiveWalk expected = naiveWalk(input);
  if (resolution.status == expected.status && resolution.leaf == expected.leaf &&
      resolution.visitedTags == expected.visitedTags &&
      resolution.soughtTag == expected.soughtTag) {
    return {};
  }
  std::string path;
  for (const std::string& tag : resolution.visitedTags) path += joined({" '", tag, "'"});
  return joined({"the walk", path, " gives ", toString(resolution.status), ", expected ",
                 toString(expected.status), " after ", std::to_string(expected.visitedTags.size()),
                 " tags; or the leaf or the sought tag differs"});
}

Violation checkClassification(const Outbound& leaf) {
  NumericAddress untouched;
  untouched.family = 99;  // no parser gives this
  untouched.bytes.fill(0xA5);
  constexpr std::uint32_t kUntouchedPort = 0xDEAD'BEEF;
  NumericAddress address = untouched;
  std::uint32_t port = kUntouchedPort;

  const ActiveEndpointStatus status = classifyEndpoint(leaf, address, port);
  const ActiveEndpointStatus expected = naiveClassification(leaf);
  if (status != expected) {
    return joined({"classified as ", toString(status), ", expected ", toString(expected)});
  }
  if (status == ActiveEndpointStatus::OK) {
    const bool written =
        sameNumericAddress(address, parseNumericAddress(leaf.server)) && port == leaf.ports.front();
    return written ? "" : "OK, but address or port differ from the leaf";
  }
  const bool kept = !address.valid && address.family == untouched.family &&
                    address.bytes == untouched.bytes && port == kUntouchedPort;
  return kept ? "" : joined({"outputs written on ", toString(status)});
}

Violation checkReport(const DiagnosisInput& input) {
  const EgressReport report = diagnoseEgress(input);
  const EgressReport expected = naiveReport(input);
  if (report != expected) {
    return joined({"the report is\n", describe(report), "expected\n", describe(expected)});
  }
  return checkShape(input, report);
}

Violation checkChange(std::size_t number, const DiagnosisInput& input, Choices& choices) {
  const Change& change = kChanges.at(number);
  EgressReport before = diagnoseEgress(input);
  EgressReport after = diagnoseEgress(change.apply(input, choices));
  if (change.observedMayDiffer) {
    dropObservedSources(before);
    dropObservedSources(after);
  }
  if (before == after) return {};
  return joined(
      {change.name, " changed the report from\n", describe(before), "to\n", describe(after)});
}

}  // namespace egress::test
