#ifndef EGRESS_BENCH_PEERS_TREE_WALK_H
#define EGRESS_BENCH_PEERS_TREE_WALK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bench/peers/json_peers.h"
#include "egress/json/decimal_integer.h"

// From a tree that some library parsed to our records, by the look-ups that the library offers. A
// `Tree` names them:
//   parse(text)       the root; for a text that is not JSON, not an object, or an exception
//   find(value, key)  pointer or optional: the member of an object, none for anything else
//   string, integer, boolean (value)  optional: none for a value of another kind
//   isObject, isArray (value)
//   items(value)      the range of an array's elements
namespace egress::bench {

inline ProxyConfig unusable(ConfigStatus status) {
  return {.configStatus = status, .autoDetectInterface = false, .outbounds = {}};
}

// A port, or nothing where there is no integer.
inline void addPort(std::optional<std::int64_t> port, Outbound& outbound) {
  if (port && *port >= 1 && *port <= 65535) {
    outbound.ports.push_back(static_cast<std::uint32_t>(*port));
  } else {
    outbound.portMalformed = true;
  }
}

// An entry of "server_ports", or nothing where there is no string.
inline void addPortEntry(std::optional<std::string_view> entry, Outbound& outbound) {
  if (entry && entry->find(':') != std::string_view::npos) {
    outbound.portHopping = true;
  } else {
    addPort(entry ? parseDecimalInteger(*entry) : std::nullopt, outbound);
  }
}

template <typename Tree, typename Value>
void readString(const Value& object, std::string_view key, std::string& field) {
  if (const auto member = Tree::find(object, key)) {
    if (const auto text = Tree::string(*member)) field = *text;
  }
}

template <typename Tree, typename Value>
void readServerPorts(const Value& ports, Outbound& outbound) {
  outbound.portSpecified = true;
  std::size_t count = 0;
  if (Tree::isArray(ports)) {
    for (const auto& entry : Tree::items(ports)) {
      addPortEntry(Tree::string(entry), outbound);
      ++count;
    }
  }
  if (count == 0) outbound.portMalformed = true;
  if (count > 1) outbound.portHopping = true;
}

template <typename Tree, typename Value>
Outbound readOutbound(const Value& object) {
  Outbound outbound;
  readString<Tree>(object, "tag", outbound.tag);
  readString<Tree>(object, "type", outbound.type);
  readString<Tree>(object, "detour", outbound.detour);
  readString<Tree>(object, "server", outbound.server);
  outbound.hasServer = !outbound.server.empty();
  if (const auto port = Tree::find(object, "server_port")) {
    outbound.portSpecified = true;
    addPort(Tree::integer(*port), outbound);
  }
  if (const auto ports = Tree::find(object, "server_ports")) {
    readServerPorts<Tree>(*ports, outbound);
  }
  if (const auto transport = Tree::find(object, "transport")) {
    outbound.hasTransport = true;
    readString<Tree>(*transport, "type", outbound.transportType);
  }
  return outbound;
}

template <typename Tree, typename Value>
ProxyConfig readConfigTree(const Value& root) {
  ProxyConfig config;
  if (!Tree::isObject(root)) return unusable(ConfigStatus::JSON_PARSE_FAILED);
  const auto route = Tree::find(root, "route");
  if (!route) return unusable(ConfigStatus::AUTO_DETECT_MISSING);
  const auto autoDetect = Tree::find(*route, "auto_detect_interface");
  if (!autoDetect) return unusable(ConfigStatus::AUTO_DETECT_MISSING);
  const auto flag = Tree::boolean(*autoDetect);
  if (!flag) return unusable(ConfigStatus::AUTO_DETECT_INVALID);
  config.configStatus = ConfigStatus::OK;
  config.autoDetectInterface = *flag;
  const auto outbounds = Tree::find(root, "outbounds");
  if (!outbounds || !Tree::isArray(*outbounds)) return config;
  for (const auto& element : Tree::items(*outbounds)) {
    if (Tree::isObject(element)) config.outbounds.push_back(readOutbound<Tree>(element));
  }
  return config;
}

template <typename Tree, typename Value>
SelectorAnswerStatus readAnswerTree(const Value& root, std::string* now) {
  if (!Tree::isObject(root)) return SelectorAnswerStatus::Malformed;
  const auto member = Tree::find(root, "now");
  if (!member) return SelectorAnswerStatus::NowMissing;
  const auto choice = Tree::string(*member);
  if (!choice || choice->empty()) return SelectorAnswerStatus::NowMissing;
  if (now != nullptr) *now = *choice;
  return SelectorAnswerStatus::Ok;
}

template <typename Tree>
JsonReader treeReader(const std::string& name, const std::string& version) {
  return {
      .name = name,
      .version = version,
      .readConfig = [](const std::string& text) { return readConfigTree<Tree>(Tree::parse(text)); },
      .readAnswer = [](const std::string& text,
                       std::string* now) { return readAnswerTree<Tree>(Tree::parse(text), now); }};
}

}  // namespace egress::bench

#endif
