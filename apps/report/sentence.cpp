#include "apps/report/sentence.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>

#include "apps/report/culprit.h"
#include "apps/report/text.h"

namespace egress::report {
namespace {

using snapshot::CheckedSocket;
using snapshot::SocketRole;

using Interfaces = std::vector<std::uint32_t>;

// The sockets that the sentence is about.
struct Subject {
  std::vector<const CheckedSocket*> sockets;
  std::string text;  // "2 TCP connections to 203.0.113.5:443"
  bool isOne = false;
  std::size_t unknown = 0;  // how many leave nobody knows where
};

Subject subjectOf(const Finding& finding, SocketRole role) {
  Subject subject;
  std::size_t tcp = 0;
  for (const CheckedSocket& socket : finding.check().sockets) {
    if (socket.role != role) continue;
    subject.sockets.push_back(&socket);
    if (socket.leavesThrough.empty()) ++subject.unknown;
    const snapshot::Socket& row = finding.snapshot.sockets.rows[socket.row];
    if (row.protocol == snapshot::SocketProtocol::TCP) ++tcp;
  }
  const std::size_t udp = subject.sockets.size() - tcp;
  subject.isOne = subject.sockets.size() == 1;
  const char* const kind = role == SocketRole::TRYING ? "TCP connection attempt" : "TCP connection";
  if (tcp > 0) subject.text = numberOf(tcp, kind);
  if (udp > 0) subject.text += (tcp > 0 ? " and " : "") + numberOf(udp, "UDP socket");
  subject.text += " to " + endpointText(finding);
  return subject;
}

Interfaces unionOf(const Subject& subject, Interfaces CheckedSocket::*member) {
  std::set<std::uint32_t> all;
  for (const CheckedSocket* const socket : subject.sockets) {
    all.insert((socket->*member).begin(), (socket->*member).end());
  }
  return {all.begin(), all.end()};
}

// For example "1 of ", before the sockets; empty if it is all of them.
std::string partOf(const Subject& subject, std::size_t count) {
  return count == subject.sockets.size() ? "" : std::to_string(count) + " of ";
}

std::string leaveThrough(const Finding& finding, const Subject& subject) {
  const Interfaces interfaces = unionOf(subject, &CheckedSocket::leavesThrough);
  const std::size_t count = subject.sockets.size() - subject.unknown;
  return namesOf(finding, interfaces) + ": " + partOf(subject, count) + subject.text +
         (count == 1 ? " leaves" : " leave") + " through " +
         (interfaces.size() == 1 ? "it" : "them");
}

// What the system does not tell, for example "where 1 of them leaves".
std::string whereTheyLeave(const Subject& subject) {
  if (subject.isOne) return "where it leaves";
  if (subject.unknown == subject.sockets.size()) return "where they leave";
  return "where " + std::to_string(subject.unknown) + " of them " +
         (subject.unknown == 1 ? "leaves" : "leave");
}

std::optional<std::uint32_t> namedByCore(const Finding& finding) {
  const Selection& selection = finding.diagnosis().selection;
  if (!selection.ordinal) return std::nullopt;
  return interfaceIndexOf(finding.diagnosis(), *selection.ordinal);
}

bool isLoopback(const Finding& finding, std::uint32_t interface) {
  return std::ranges::any_of(finding.snapshot.adapters.rows, [&](const snapshot::Adapter& row) {
    return row.interfaceIndex == interface && row.kind == snapshot::InterfaceKind::LOOPBACK;
  });
}

Sentence disagreement(const Finding& finding, const Subject& subject) {
  const std::uint32_t named = namedByCore(finding).value_or(0);
  const std::string name = namesOf(finding, {named});
  Sentence sentence{leaveThrough(finding, subject) + ", with the source address of " + name + ".",
                    {}};
  if (!isLoopback(finding, named)) {
    sentence.todo =
        (subject.isOne ? "If it should leave through " : "If they should leave through ") + name +
        ", bind the engine to it, or add a routing rule for its source address";
  }
  return sentence;
}

std::string reasonOfNoWay(const Finding& finding, const CheckedSocket& socket) {
  const auto isDown = [&](std::uint32_t interface) {
    const auto& rows = finding.snapshot.adapters.rows;
    return std::ranges::any_of(rows, [interface](const snapshot::Adapter& row) {
      return row.interfaceIndex == interface && snapshot::isDown(row);
    });
  };
  for (const auto& interface : {socket.byBoundDevice, socket.byRoute}) {
    if (interface && isDown(*interface)) return namesOf(finding, {*interface}) + " is down";
  }
  return "the system has no route";
}

Sentence noWayOut(const Finding& finding, const Subject& subject) {
  std::size_t count = 0;
  std::set<std::string> reasons;
  for (const CheckedSocket* const socket : subject.sockets) {
    if (!socket->hasNoWayOut) continue;
    ++count;
    reasons.insert(reasonOfNoWay(finding, *socket));
  }
  return {"no way out: " + partOf(subject, count) + subject.text +
              " cannot leave: " + enumeration({reasons.begin(), reasons.end()}) + ".",
          "Set the interface up, or repair the route; an engine that does not notice must "
          "reconnect"};
}

Sentence attempt(const Finding& finding, const Subject& subject) {
  if (std::ranges::any_of(subject.sockets, &CheckedSocket::hasNoWayOut)) {
    return noWayOut(finding, subject);
  }
  const std::string todo = "Check that the server runs, and that the way to it is open";
  if (finding.check().interfaceIndex) {
    return {leaveThrough(finding, subject) + ", without an answer so far.", todo};
  }
  return {"no answer: " + subject.text + (subject.isOne ? " has" : " have") + " no answer so far.",
          todo};
}

Sentence noSocket(const Finding& finding) {
  const std::size_t others = finding.check().sockets.size();
  std::string text = "no connection: the engine has no TCP connection to " + endpointText(finding);
  if (others == 1) text += "; 1 other socket to it does not count";
  if (others > 1) text += "; " + std::to_string(others) + " other sockets to it do not count";
  return {text + ".", "Send traffic through the engine, then run this again"};
}

// The system does not tell, and the core names no interface.
Sentence unsettled(const Finding& finding, const Subject& subject) {
  const std::string owners = namesOf(finding, unionOf(subject, &CheckedSocket::bySource));
  const auto unknown = [&subject](const std::string& what) {
    return Sentence{
        "unknown: " + what + ", and the system does not tell " + whereTheyLeave(subject) + ".",
        "Let the engine reconnect, then run this again"};
  };
  using enum SelectionStatus;
  const SelectionStatus status = finding.diagnosis().selection.status;
  if (status == NOT_APPLICABLE_OS_ROUTED) {
    return {"unknown: the system's routes decide, and it does not tell where " +
                partOf(subject, subject.unknown) + subject.text +
                (subject.unknown == 1 ? " leaves." : " leave."),
            {}};
  }
  if (status == SOCKET_SOURCE_ADDRESS_UNMAPPED) {
    return unknown("no interface has the source address of " + subject.text);
  }
  if (status == PARTIAL_SOCKET_SOURCE_MAPPING) {
    return unknown("no interface has the source addresses of some of " + subject.text);
  }
  if (status == MULTIPLE_MATCHING_SOCKET_INTERFACES) {
    return unknown(subject.text + " have source addresses of " + owners);
  }
  return unknown(owners + " have the source address of " + subject.text);  // ambiguous
}

// The engine uses several addresses of the server, through different interfaces.
Sentence severalAddresses(const Finding& finding) {
  std::set<std::uint32_t> interfaces;
  std::vector<std::string> parts;
  for (const snapshot::AddressFinding& address : finding.addresses) {
    const std::optional<std::uint32_t> named = interfaceNamedBy(address);
    if (named) interfaces.insert(*named);
    parts.push_back(readable(address.address) + " through " +
                    (named ? finding.interfaceNames.at(*named) : "no known interface"));
  }
  const std::string names = namesOf(finding, {interfaces.begin(), interfaces.end()});
  return {names + ": the engine uses several addresses of the server: " + enumeration(parts) + ".",
          "If they should leave through one, let the engine reconnect, then run this again"};
}

Sentence culpritSentence(const Culprit& culprit) {
  return {"unknown: " + culprit.what + ".", culprit.todo};
}

}  // namespace

Sentence sentenceFor(const Finding& finding) {
  using enum snapshot::CrossCheckStatus;
  const Diagnosis& diagnosis = finding.diagnosis();
  if (diagnosis.endpoint.status != ActiveEndpointStatus::OK) {
    return culpritSentence(endpointCulprit(finding));
  }
  if (!doAgree(finding.addresses)) return severalAddresses(finding);
  if (outcomeOf(finding) == Outcome::CANNOT_LOOK) return culpritSentence(listCulprit(finding));
  const bool isTrying = finding.check().status == TRYING;
  const Subject subject = subjectOf(finding, isTrying ? SocketRole::TRYING : SocketRole::COUNTED);
  switch (finding.check().status) {
    case AGREES:
    case SETTLES: return {leaveThrough(finding, subject) + ".", {}};
    case DISAGREES: return disagreement(finding, subject);
    case SEVERAL:
      return {leaveThrough(finding, subject) + ".",
              "If they should leave through one, let the engine reconnect, then run this again"};
    case NO_WAY_OUT: return noWayOut(finding, subject);
    case TRYING: return attempt(finding, subject);
    case NO_SOCKET: return noSocket(finding);
    case UNKNOWN: break;
  }
  const std::optional<std::uint32_t> named = namedByCore(finding);
  if (!named) return unsettled(finding, subject);
  return {namesOf(finding, {*named}) + ": " + subject.text + (subject.isOne ? " has" : " have") +
              " its source address; the system does not tell " + whereTheyLeave(subject) + ".",
          {}};
}

std::string endText(std::string_view address, std::uint32_t port) {
  const bool isIpv6 = address.find(':') != std::string_view::npos;
  const std::string text = readable(address);
  return (isIpv6 ? "[" + text + "]" : text) + ":" + std::to_string(port);
}

std::string endpointText(const Finding& finding) {
  std::string_view address = finding.addresses.front().address;
  if (address.starts_with('[') && address.ends_with(']')) {
    address = address.substr(1, address.size() - 2);
  }
  return endText(address, finding.diagnosis().endpoint.port);
}

std::string namesOf(const Finding& finding, const Interfaces& interfaces) {
  std::vector<std::string> names;
  for (const std::uint32_t index : interfaces) names.push_back(finding.interfaceNames.at(index));
  return enumeration(names);
}

}  // namespace egress::report
