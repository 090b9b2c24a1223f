#include "apps/report/answer.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/report/notes.h"
#include "apps/report/sentence.h"
#include "apps/report/text.h"
#include "egress/core/status_words.h"

namespace egress::report {
namespace {

using snapshot::CheckedSocket;
using snapshot::CrossCheckStatus;
using snapshot::Evidence;
using snapshot::SocketRole;
using snapshot::SocketState;

// One row of the body: its label and its text.
using Row = std::pair<std::string, std::string>;
using Rows = std::vector<Row>;

std::string wayText(const Finding& finding) {
  const Diagnosis& diagnosis = finding.diagnosis();
  std::string text;
  for (const std::string& tag : diagnosis.resolution.visitedTags) {
    text += readable(tag);
    const bool isLeaf =
        diagnosis.resolution.leaf && &tag == &diagnosis.resolution.visitedTags.back();
    if (isLeaf) {
      const Outbound& leaf = finding.snapshot.config.outbounds.at(*diagnosis.resolution.leaf);
      text += " (" + readable(leaf.type) + ")";
    }
    text += kArrow;
  }
  return text +
         (diagnosis.endpoint.status == ActiveEndpointStatus::OK ? endpointText(finding) : "?");
}

std::string stateText(const snapshot::Socket& row) {
  if (row.protocol == snapshot::SocketProtocol::UDP) return "UDP";
  if (row.state == SocketState::SYN_SENT) return "no answer yet";
  const auto number = static_cast<std::size_t>(row.state);
  std::string text(
      snapshot::kSocketStateWords.at(std::min(number, snapshot::kSocketStateWords.size() - 1)));
  for (char& c : text) c = c == '_' ? '-' : static_cast<char>(c - 'A' + 'a');
  return text;
}

// A socket without its local port, in which sockets often differ alone.
std::string socketText(const Finding& finding, const CheckedSocket& socket) {
  const snapshot::Socket& row = finding.snapshot.sockets.rows[socket.row];
  std::string text(kArrow);
  text += endText(row.remoteAddress, row.remotePort) + "  " + stateText(row);
  if (socket.byBoundDevice) text += ", bound to " + namesOf(finding, {*socket.byBoundDevice});
  if (row.mark.value_or(0) != 0) text += ", mark " + std::to_string(*row.mark);
  const bool isOneForAll = finding.check().interfaceIndex.has_value();
  if (!isOneForAll && !socket.leavesThrough.empty()) {
    text += ", leaves through " + namesOf(finding, socket.leavesThrough);
  }
  if (socket.hasNoWayOut) text += ", no way out";
  if (socket.role == SocketRole::NOT_COUNTED) text += ", does not count";
  return text;
}

// Equal sockets in one row, in the order of the first ones.
Rows socketRows(const Finding& finding) {
  constexpr std::size_t kMaxRows = 10;
  std::map<std::pair<std::string, std::string>, std::size_t> places;  // by local address and rest
  std::vector<std::pair<std::string, std::size_t>> groups;            // the first one, how many
  for (const CheckedSocket& socket : finding.check().sockets) {
    const snapshot::Socket& row = finding.snapshot.sockets.rows[socket.row];
    const std::string rest = socketText(finding, socket);
    const auto [place, isNew] = places.try_emplace({row.localAddress, rest}, groups.size());
    if (isNew) groups.emplace_back(endText(row.localAddress, row.localPort) + rest, 0);
    ++groups[place->second].second;
  }
  Rows rows;
  for (std::size_t i = 0; i < std::min(groups.size(), kMaxRows); ++i) {
    const auto& [text, count] = groups[i];
    const std::string alike = count > 1 ? " (" + std::to_string(count) + " alike)" : "";
    rows.emplace_back(i == 0 ? "sockets" : "", text + alike);
  }
  if (groups.size() > kMaxRows) {
    rows.emplace_back("", "and " + std::to_string(groups.size() - kMaxRows) + " more kinds");
  }
  return rows;
}

std::string evidenceText(const Finding& finding) {
  std::set<Evidence> kinds;
  for (const CheckedSocket& socket : finding.check().sockets) {
    if (socket.role == SocketRole::COUNTED) kinds.insert(socket.decidedBy);
  }
  std::string text;
  for (const auto& [kind, name] :
       {std::pair{Evidence::PACKETS, "the packets that were seen"},
        std::pair{Evidence::ROUTE, "the system's routes for these connections"},
        std::pair{Evidence::BOUND_DEVICE, "the devices that the sockets are bound to"}}) {
    if (kinds.contains(kind)) text.append(text.empty() ? "" : " and ").append(name);
  }
  return text;
}

std::string checkText(const Finding& finding) {
  using enum CrossCheckStatus;
  const CrossCheckStatus status = finding.check().status;
  std::string word(snapshot::kCrossCheckStatusWords.at(static_cast<std::size_t>(status)));
  switch (status) {
    case AGREES:
    case DISAGREES: return word + " with " + evidenceText(finding);
    case SETTLES:
      return word + " by " + evidenceText(finding) +
             "; the source addresses alone: " + toString(finding.diagnosis().selection.status);
    case SEVERAL:
    case NO_WAY_OUT: return word + " by " + evidenceText(finding);
    case TRYING:
    case NO_SOCKET:
    case UNKNOWN: break;
  }
  return word;
}

// What is not normal about the interface that is named.
void addInterfaceNotes(const Finding& finding, Rows& rows) {
  if (!finding.check().interfaceIndex) return;
  const std::string name = finding.interfaceNames.at(*finding.check().interfaceIndex);
  for (const snapshot::Adapter& row : finding.snapshot.adapters.rows) {
    if (row.interfaceIndex != finding.check().interfaceIndex) continue;
    if (row.kind == snapshot::InterfaceKind::TUNNEL) {
      rows.emplace_back("note", name +
                                    " is a tunnel: its packets leave this host inside others, "
                                    "through another interface");
    }
    if (row.kind == snapshot::InterfaceKind::LOOPBACK) {
      rows.emplace_back("note", name + " is the loopback: the endpoint is on this host");
    }
    return;
  }
}

// Marks matter only to routes, whose own reason says so.
void addMissingFacts(const Finding& finding, Rows& rows) {
  for (const snapshot::MissingFact& missing : finding.snapshot.missingFacts) {
    if (missing.fact == snapshot::FactKind::MARK) continue;
    const bool isCulprit = missing.fact == snapshot::FactKind::ADDRESS;  // has its own sentence
    if (isCulprit) continue;
    std::string text = std::string("the ") + nameOf(missing.fact) + " are not known";
    if (!missing.reason.empty()) text += ": " + readable(missing.reason);
    rows.emplace_back("note", std::move(text));
  }
}

template <typename Row>
void addFailure(const char* name, const snapshot::SnapshotList<Row>& list, Rows& rows) {
  if (!list.enumFailed) return;
  std::string text = std::string("the ") + name + " could not be listed";
  if (!list.failureReason.empty()) text += ": " + readable(list.failureReason);
  rows.emplace_back("note", std::move(text));
}

// The failures that the sentence is not about.
void addFailures(const Finding& finding, Rows& rows) {
  const bool isCulprit = outcomeOf(finding) == Outcome::CANNOT_LOOK;
  const snapshot::HostSnapshot& snapshot = finding.snapshot;
  if (!isCulprit) addFailure("sockets", snapshot.sockets, rows);
  if (!isCulprit || snapshot.sockets.enumFailed) addFailure("interfaces", snapshot.adapters, rows);
  addFailure("default routes", snapshot.routes, rows);
}

Rows bodyOf(const Finding& finding, const Sentence& sentence) {
  Rows rows;
  const Diagnosis& diagnosis = finding.diagnosis();
  for (const Note& note : inputNotes(finding)) rows.emplace_back(note.label, note.text);
  if (!diagnosis.resolution.visitedTags.empty()) rows.emplace_back("way", wayText(finding));
  if (diagnosis.endpoint.status == ActiveEndpointStatus::OK) {
    for (Row& row : socketRows(finding)) rows.push_back(std::move(row));
    rows.emplace_back("check", checkText(finding));
  }
  addInterfaceNotes(finding, rows);
  addMissingFacts(finding, rows);
  addFailures(finding, rows);
  if (diagnosis.selectorHintStale) {
    rows.emplace_back("note", "the way does not pass through the hint " +
                                  readable(finding.snapshot.selectorHint));
  }
  if (!sentence.todo.empty()) rows.emplace_back("do", sentence.todo + ".");
  return rows;
}

std::string coloured(const std::string& line, Outcome outcome) {
  const char* const colour = outcome == Outcome::NAMED ? "\x1b[1;32m" : "\x1b[1;33m";
  const std::size_t colon = line.find(": ");
  return colour + line.substr(0, colon) + "\x1b[0m" + line.substr(colon);
}

}  // namespace

std::string answerText(const Finding& finding, const TextStyle& style) {
  constexpr std::size_t kLabelColumns = 9;
  const Sentence sentence = sentenceFor(finding);
  std::string text = wrapped("", sentence.text, style.width);
  if (style.isColoured) text = coloured(text, outcomeOf(finding));
  const Rows body = bodyOf(finding, sentence);
  if (!body.empty()) text += '\n';
  for (const auto& [label, content] : body) {
    std::string start = "  " + label;
    start.resize(2 + kLabelColumns, ' ');
    text += wrapped(start, content, style.width);
  }
  return text;
}

}  // namespace egress::report
