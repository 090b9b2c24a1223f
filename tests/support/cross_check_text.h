#ifndef EGRESS_TESTS_SUPPORT_CROSS_CHECK_TEXT_H
#define EGRESS_TESTS_SUPPORT_CROSS_CHECK_TEXT_H

#include <string>

#include "egress_snapshot/cross_check.h"
#include "tests/support/joined.h"

// The results of a cross-check as text: equal texts are equal values.

namespace egress::test {

inline std::string textOf(const std::vector<std::uint32_t>& indexes) {
  std::string text = "{";
  for (const std::uint32_t index : indexes) text.append(" ").append(std::to_string(index));
  return text.append(" }");
}

inline std::string textOf(std::optional<std::uint32_t> index) {
  return index ? std::to_string(*index) : "none";
}

// Without its row.
inline std::string textOf(const snapshot::CheckedSocket& socket) {
  const auto role = static_cast<std::size_t>(socket.role);
  const auto decidedBy = static_cast<std::size_t>(socket.decidedBy);
  return joined({snapshot::kSocketRoleWords.at(role), ", source ", textOf(socket.bySource),
                 ", bound ", textOf(socket.byBoundDevice), ", route ", textOf(socket.byRoute),
                 ", packets ", textOf(socket.byPackets), ", by ",
                 snapshot::kEvidenceWords.at(decidedBy), " leaves ", textOf(socket.leavesThrough),
                 socket.hasNoWayOut ? ", no way out" : ""});
}

// Without its sockets.
inline std::string textOf(const snapshot::CrossCheck& result) {
  const auto status = static_cast<std::size_t>(result.status);
  return joined({snapshot::kCrossCheckStatusWords.at(status), " ", textOf(result.interfaceIndex)});
}

}  // namespace egress::test

#endif
