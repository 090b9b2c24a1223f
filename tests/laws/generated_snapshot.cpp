#include "tests/laws/generated_snapshot.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "tests/laws/generated_input.h"
#include "tests/laws/mutate.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;
using Json = nlohmann::ordered_json;
using snapshot::Adapter;
using snapshot::FactKind;
using snapshot::HostSnapshot;
using snapshot::InterfaceKind;
using snapshot::MissingFact;
using snapshot::Process;
using snapshot::Socket;
using snapshot::SocketProtocol;
using snapshot::SocketState;

constexpr std::uint32_t kMaxUint32 = std::numeric_limits<std::uint32_t>::max();

// Some look like the replacements of an anonymized record.
constexpr std::array kNames = {"eth0"sv, ""sv, "wlan0"sv, "if2"sv, "if1"sv, "e\u00e4\U0001f600"sv};
constexpr std::array kTexts = {""sv,         "tag-2"sv, "host-1.example"sv,
                               "10.0.0.1"sv, "other"sv, "\"\\\n\x7f"sv};
// Inside and beside each range that anonymizing tells apart.
constexpr std::array kAddresses = {"127.0.0.1"sv,
                                   "127.255.255.255"sv,
                                   "128.0.0.0"sv,
                                   "169.254.0.1"sv,
                                   "169.255.0.0"sv,
                                   "100.64.0.0"sv,
                                   "100.127.255.255"sv,
                                   "100.128.0.0"sv,
                                   "100.63.255.255"sv,
                                   "10.255.255.255"sv,
                                   "11.0.0.0"sv,
                                   "172.31.255.255"sv,
                                   "172.32.0.0"sv,
                                   "172.15.255.255"sv,
                                   "192.168.255.255"sv,
                                   "192.169.0.0"sv,
                                   "192.0.2.1"sv,
                                   "240.0.0.1"sv,
                                   "255.255.255.255"sv,
                                   "0.0.0.1"sv,
                                   "::1"sv,
                                   "::2"sv,
                                   "1::1"sv,
                                   "fe80::"sv,
                                   "febf:ffff::1"sv,
                                   "fec0::1"sv,
                                   "fe7f::1"sv,
                                   "fc00::1"sv,
                                   "fdff:ffff::1"sv,
                                   "fe00::1"sv,
                                   "fbff::1"sv,
                                   "2001:db8::1"sv,
                                   "::ffff:0.0.0.0"sv,
                                   "::ffff:10.0.0.7"sv,
                                   "::ffff:100.64.0.0"sv,
                                   "::fffe:10.0.0.7"sv,
                                   "::ffff:127.0.0.1"sv};
constexpr std::array<std::uint32_t, 5> kFacts = {0, 5, 11, 1000, kMaxUint32};

// The bytes that mutations of a JSON text insert.
constexpr std::string_view kAlphabet = "[]{},:\"\\u019-+.eEtfn/ \n\f\0\x80\xEF"sv;

std::optional<std::uint32_t> generateFact(Choices& choices) {
  if (choices.flag()) return std::nullopt;
  return choices.oneOf(kFacts);
}

// Up to `atMost` of any bytes: base64 has three forms, by their number.
std::string generateBytes(Choices& choices, std::size_t atMost) {
  std::string bytes(choices.below(atMost + 1), '\0');
  for (char& byte : bytes) byte = static_cast<char>(choices.nextByte());
  return bytes;
}

std::vector<snapshot::SeenPackets> generateSeenPackets(Choices& choices) {
  std::vector<snapshot::SeenPackets> seen(choices.rarely(8) ? choices.below(3) : 0);
  for (snapshot::SeenPackets& row : seen) {
    row = {.interfaceIndex = choices.oneOf(kFacts), .count = choices.oneOf(kFacts)};
  }
  return seen;
}

Socket generateSocket(const SocketSource& row, Choices& choices) {
  // There are 2 protocols and 11 states; a caller may pass any number.
  return {.protocol = static_cast<SocketProtocol>(choices.rarely(32) ? 2 : choices.below(2)),
          .state = static_cast<SocketState>(choices.below(12)),
          .localAddress = row.localAddress,
          .localPort = row.localPort,
          .remoteAddress = row.remoteAddress,
          .remotePort = row.remotePort,
          .boundInterfaceIndex = generateFact(choices),
          .mark = generateFact(choices),
          .user = generateFact(choices),
          .routeInterfaceIndex = generateFact(choices),
          .seenPackets = generateSeenPackets(choices)};
}

template <typename Row>
void setFailure(snapshot::SnapshotList<Row>& list, bool enumFailed, Choices& choices) {
  list.enumFailed = enumFailed;
  if (enumFailed) list.failureReason = choices.oneOf(kTexts);
}

// Every text of the record.
std::vector<std::string*> textsOf(HostSnapshot& record) {
  std::vector<std::string*> texts = {
      &record.origin.time,          &record.origin.program,        &record.origin.programVersion,
      &record.origin.system,        &record.selectorHint,          &record.adapters.failureReason,
      &record.routes.failureReason, &record.sockets.failureReason, &record.mainTag,
      &record.listeningAt};
  for (Outbound& row : record.config.outbounds) {
    texts.insert(texts.end(), {&row.tag, &row.type, &row.detour, &row.server, &row.transportType});
  }
  for (SelectorAnswer& row : record.selectorAnswers) {
    texts.insert(texts.end(), {&row.selectorTag, &row.now});
  }
  for (Process& row : record.processes) texts.push_back(&row.program);
  for (snapshot::SelectorQuery& row : record.queries) {
    texts.insert(texts.end(), {&row.selectorTag, &row.reason});
  }
  for (snapshot::ResolvedName& row : record.resolvedNames) {
    texts.insert(texts.end(), {&row.name, &row.address});
  }
  for (MissingFact& row : record.missingFacts) texts.push_back(&row.reason);
  for (Adapter& row : record.adapters.rows) {
    texts.push_back(&row.name);
    for (std::string& address : row.addresses) texts.push_back(&address);
  }
  for (Socket& row : record.sockets.rows) {
    texts.insert(texts.end(), {&row.localAddress, &row.remoteAddress});
  }
  return texts;
}

// Replaces a few addresses, so that the others still match.
void replaceAddresses(HostSnapshot& record, Choices& choices) {
  const auto replace = [&choices](std::string& address) {
    if (choices.rarely(8)) address = choices.oneOf(kAddresses);
  };
  for (Adapter& row : record.adapters.rows) std::ranges::for_each(row.addresses, replace);
  for (Socket& row : record.sockets.rows) {
    replace(row.localAddress);
    replace(row.remoteAddress);
  }
}

// A start other than "proxy", for some the tag of an outbound.
void setMainTag(HostSnapshot& record, Choices& choices) {
  if (!choices.rarely(4)) return;
  const auto& outbounds = record.config.outbounds;
  record.mainTag = outbounds.empty() || choices.rarely(4) ? "absent" : choices.oneOf(outbounds).tag;
}

// Gives some servers a name, which stands for their address, some sockets' and some others.
void nameServers(HostSnapshot& record, Choices& choices) {
  if (!choices.rarely(4)) return;
  std::size_t number = 0;
  for (Outbound& row : record.config.outbounds) {
    if (choices.flag()) continue;
    const std::string name = "name-" + std::to_string(++number % 3) + ".example";
    const auto add = [&](const std::string& address) {
      record.resolvedNames.push_back(
          {.name = name,
           .address = address,
           .source = static_cast<snapshot::NameSource>(choices.below(3))});  // 2 is unknown
    };
    if (choices.flag()) add(row.server);
    if (!record.sockets.rows.empty()) add(choices.oneOf(record.sockets.rows).remoteAddress);
    if (choices.flag()) add(std::string(choices.oneOf(kAddresses)));
    row.server = name;
  }
}

// What does not change the report.
void addHistory(HostSnapshot& record, Choices& choices) {
  if (!choices.rarely(4)) return;
  record.blanked = {.byteOrderMark = choices.flag(),
                    .comments = choices.oneOf(kFacts),
                    .trailingCommas = choices.oneOf(kFacts)};
  record.listeningAt = "127.0.0.1:9090";
  for (const SelectorAnswer& answer : record.selectorAnswers) {
    record.queries.push_back(
        {.selectorTag = answer.selectorTag,
         .outcome = static_cast<snapshot::QueryOutcome>(choices.below(13)),  // 12 is unknown
         .reason = std::string(choices.oneOf(kTexts))});
  }
}

// One or two levels of values of every kind, for any field the right or the wrong one.
Json generateValue(Choices& choices) {
  static const auto kValues = std::to_array<Json>({nullptr,
                                                   true,
                                                   false,
                                                   0,
                                                   1,
                                                   -1,
                                                   1.0,
                                                   2,
                                                   -2147483649,
                                                   4294967295,
                                                   4294967296,
                                                   1e300,
                                                   std::numeric_limits<std::uint64_t>::max(),
                                                   std::numeric_limits<std::int64_t>::min(),
                                                   "",
                                                   "OK",
                                                   "Ok",
                                                   "TCP",
                                                   "LISTEN",
                                                   "\u00e4\x7f\n",
                                                   std::string(100, 'x'),
                                                   Json::array(),
                                                   Json::object(),
                                                   Json::object({{"base64", "QQ=="}}),
                                                   Json::object({{"base64", "QQ="}}),
                                                   Json::object({{"base64", 1}}),
                                                   Json::object({{"", 1}})});
  return choices.oneOf(kValues);
}

Json& elementOf(Json& container, std::size_t number) {
  return *std::next(container.begin(), static_cast<std::ptrdiff_t>(number));
}

void removeElement(Json& container, std::size_t number) {
  container.erase(std::next(container.begin(), static_cast<std::ptrdiff_t>(number)));
}

// Replaces, adds or removes one value below the root.
void damageValue(Json& root, Choices& choices) {
  Json* value = &root;
  while (value->is_structured() && !value->empty()) {
    const std::size_t number = choices.below(value->size());
    if (choices.rarely(8)) return removeElement(*value, number);
    if (choices.rarely(8)) break;
    value = &elementOf(*value, number);
  }
  if (value->is_object() && choices.flag()) {
    (*value)[std::string(choices.oneOf(kTexts))] = generateValue(choices);
  } else if (value->is_array() && choices.flag()) {
    value->push_back(generateValue(choices));
  } else {
    *value = generateValue(choices);
  }
}

}  // namespace

HostSnapshot generateSnapshot(Choices& choices) {
  DiagnosisInput input = generateInput(choices);
  HostSnapshot record;
  if (choices.flag()) record.origin = {"2026-11-22T04:23:00Z", "egress-report", "2.0", "Linux 6.1"};
  record.config = {.configStatus = input.configStatus,
                   .autoDetectInterface = input.autoDetectInterface,
                   .outbounds = std::move(input.outbounds)};
  record.selectorAnswers = std::move(input.selectorAnswers);
  record.selectorHint = input.selectorHint;
  setFailure(record.adapters, input.adapters.enumFailed, choices);
  setFailure(record.routes, input.routes.enumFailed, choices);
  setFailure(record.sockets, input.sockets.enumFailed, choices);
  for (InterfaceRow& row : input.adapters.rows) {
    record.adapters.rows.push_back({.name = std::string(choices.oneOf(kNames)),
                                    .interfaceIndex = row.interfaceIndex,
                                    .operStatus = row.operStatus,
                                    .interfaceMetric = row.interfaceMetric,
                                    .addresses = std::move(row.addresses),
                                    .kind = {}});
  }
  record.routes.rows = std::move(input.routes.rows);
  for (const SocketSource& row : input.sockets.rows) {
    record.sockets.rows.push_back(generateSocket(row, choices));
  }
  for (std::size_t i = choices.below(3); i > 0; --i) {
    record.processes.push_back({.id = choices.oneOf(kFacts),
                                .user = choices.oneOf(kFacts),
                                .program = std::string(choices.oneOf(kNames))});
  }
  for (Adapter& row : record.adapters.rows) {
    if (choices.flag()) row.kind = static_cast<InterfaceKind>(choices.below(4));  // 3 is unknown
  }
  record.observedSeconds = generateFact(choices);
  for (std::size_t i = choices.rarely(8) ? choices.below(3) : 0; i > 0; --i) {
    record.missingFacts.push_back({.fact = static_cast<FactKind>(choices.below(5)),
                                   .reason = std::string(choices.oneOf(kTexts))});
  }
  replaceAddresses(record, choices);
  setMainTag(record, choices);
  nameServers(record, choices);
  addHistory(record, choices);
  const std::vector<std::string*> texts = textsOf(record);
  for (std::size_t i = choices.rarely(2) ? choices.below(4) : 0; i > 0; --i) {
    std::string& text = *choices.oneOf(texts);
    text = choices.flag() ? generateBytes(choices, 6) : std::string(choices.oneOf(kTexts));
  }
  return record;
}

HostSnapshot aimedAtEndpoint(HostSnapshot record, Choices& choices) {
  Outbound leaf;
  leaf.tag = "proxy";
  leaf.type = "vless";
  leaf.hasServer = true;
  leaf.server = "198.51.100.10";
  leaf.portSpecified = true;
  leaf.ports = {443};
  record.config = {.configStatus = ConfigStatus::OK,
                   .autoDetectInterface = !choices.rarely(4),
                   .outbounds = {std::move(leaf)}};
  record.sockets.enumFailed = choices.rarely(16);
  std::vector<std::uint32_t> indexes = {choices.oneOf(kFacts)};
  std::vector<std::string> sources = {"192.0.2.99"};
  for (const Adapter& row : record.adapters.rows) {
    indexes.insert(indexes.end(), 4, row.interfaceIndex);
    sources.insert(sources.end(), row.addresses.begin(), row.addresses.end());
  }
  for (Socket& row : record.sockets.rows) {
    if (choices.rarely(8)) continue;
    row.protocol = choices.rarely(8) ? SocketProtocol::UDP : SocketProtocol::TCP;
    row.state = choices.rarely(4) ? SocketState::SYN_SENT : SocketState::ESTABLISHED;
    row.localAddress = choices.oneOf(sources);
    row.remoteAddress = choices.rarely(4) ? "[198.51.100.10]" : "198.51.100.10";
    row.remotePort = 443;
    if (choices.flag()) row.routeInterfaceIndex = choices.oneOf(indexes);
    if (choices.flag()) row.boundInterfaceIndex = choices.oneOf(indexes);
    if (choices.rarely(4)) row.seenPackets = {{choices.oneOf(indexes), 1}};
    if (choices.rarely(4))
      row.seenPackets.push_back({choices.oneOf(indexes), choices.oneOf(kFacts)});
  }
  return record;
}

std::string damaged(const std::string& text, Choices& choices) {
  Json root = Json::parse(text);
  constexpr int kIndent = 2;
  for (std::size_t i = choices.below(3); i > 0; --i) damageValue(root, choices);
  std::string result = root.dump(kIndent);
  for (std::size_t i = choices.rarely(4) ? choices.below(3) : 0; i > 0; --i) {
    mutate(result, kAlphabet, choices);
  }
  return result;
}

}  // namespace egress::test
