#include "tests/laws/cross_check_laws.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "tests/laws/naive_cross_check.h"
#include "tests/support/cross_check_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using snapshot::CheckedSocket;
using snapshot::CountedSockets;
using snapshot::CrossCheck;
using snapshot::HostSnapshot;
using snapshot::Socket;

CrossCheck resultOf(const HostSnapshot& record, CountedSockets counted) {
  return crossCheck(record, diagnose(record, counted), counted);
}

std::string describe(const CrossCheck& result) {
  std::string text = textOf(result);
  for (const CheckedSocket& socket : result.sockets) {
    text.append(joined({"\n", std::to_string(socket.row), ": ", textOf(socket)}));
  }
  return text;
}

Violation compare(const char* what, const std::string& found, const std::string& wanted) {
  if (found == wanted) return {};
  return joined({what, ":\n", found, "\nnot\n", wanted});
}

template <typename Row>
void shuffle(std::vector<Row>& rows, Choices& choices) {
  for (std::size_t i = rows.size(); i > 1; --i) std::swap(rows[i - 1], rows[choices.below(i)]);
}

// The result with its sockets in the order of their texts, without their rows.
std::string describeWithoutOrder(const CrossCheck& result) {
  std::multiset<std::string> sockets;
  for (const CheckedSocket& socket : result.sockets) sockets.insert(textOf(socket));
  std::string text = textOf(result);
  for (const std::string& socket : sockets) text.append("\n").append(socket);
  return text;
}

Violation checkNames(const HostSnapshot& record, const CrossCheck& result) {
  std::set<std::uint32_t> adapters;
  for (const snapshot::Adapter& row : record.adapters.rows) adapters.insert(row.interfaceIndex);
  std::set<std::uint32_t> used;
  for (const CheckedSocket& checked : result.sockets) {
    const Socket& socket = record.sockets.rows.at(checked.row);
    std::set<std::uint32_t> named;
    if (socket.boundInterfaceIndex) named.insert(*socket.boundInterfaceIndex);
    if (socket.routeInterfaceIndex) named.insert(*socket.routeInterfaceIndex);
    for (const snapshot::SeenPackets& seen : socket.seenPackets) named.insert(seen.interfaceIndex);
    for (const std::uint32_t index : checked.leavesThrough) {
      if (!named.contains(index)) return "leaves through an interface that no fact names";
      if (!adapters.contains(index)) return "leaves through an interface that no adapter has";
      used.insert(index);
    }
  }
  const bool isUsed = !result.interfaceIndex || used.contains(*result.interfaceIndex);
  return isUsed ? "" : "names an interface that no socket leaves through";
}

// Replaces each index of an adapter by its ordinal.
void toOrdinals(const HostSnapshot& record, CrossCheck& result) {
  std::set<std::uint32_t> indexes;
  for (const snapshot::Adapter& row : record.adapters.rows) indexes.insert(row.interfaceIndex);
  const auto replace = [&indexes](std::uint32_t& index) {
    index = static_cast<std::uint32_t>(std::distance(indexes.begin(), indexes.find(index))) + 1;
  };
  if (result.interfaceIndex) replace(*result.interfaceIndex);
  for (CheckedSocket& socket : result.sockets) {
    for (auto* const list : {&socket.bySource, &socket.byPackets, &socket.leavesThrough}) {
      std::ranges::for_each(*list, replace);
    }
    for (auto* const fact : {&socket.byBoundDevice, &socket.byRoute}) {
      if (*fact) replace(**fact);
    }
  }
}

Violation checkAnonymizedResult(const HostSnapshot& record, CrossCheck result,
                                CountedSockets counted) {
  const auto anonymized = snapshot::anonymized(record);
  const auto* const other = std::get_if<HostSnapshot>(&anonymized);
  if (other == nullptr) return "refused to anonymize the record";
  CrossCheck found = resultOf(*other, counted);
  toOrdinals(record, result);
  toOrdinals(*other, found);
  return compare("of the anonymized record, with ordinals", describe(found), describe(result));
}

Violation checkCounting(const HostSnapshot& record, CountedSockets counted, Choices& choices) {
  const Diagnosis diagnosis = diagnose(record, counted);
  const CrossCheck result = crossCheck(record, diagnosis, counted);
  Violation violation = compare("the cross-check is", describe(result),
                                describe(naiveCrossCheck(record, diagnosis, counted)));
  if (violation.empty()) violation = checkNames(record, result);
  HostSnapshot shuffled = record;
  shuffle(shuffled.adapters.rows, choices);
  shuffle(shuffled.sockets.rows, choices);
  if (violation.empty()) {
    violation = compare("with shuffled rows", describeWithoutOrder(resultOf(shuffled, counted)),
                        describeWithoutOrder(result));
  }
  return violation.empty() ? checkAnonymizedResult(record, result, counted) : violation;
}

}  // namespace

Violation checkCrossCheck(const HostSnapshot& record, Choices& choices) {
  Violation violation = checkCounting(record, CountedSockets::TCP, choices);
  if (!violation.empty()) return violation;
  return checkCounting(record, CountedSockets::TCP_AND_UDP, choices);
}

}  // namespace egress::test
