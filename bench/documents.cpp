#include "bench/documents.h"

#include <array>

#include <nlohmann/json.hpp>

#include "bench/address_texts.h"
#include "bench/random_source.h"

namespace egress::bench {
namespace {

using Document = nlohmann::ordered_json;

std::string nodeTag(std::size_t node) {
  return "node_" + std::to_string(node);
}

// `length` hexadecimal digits.
std::string hexText(std::size_t length, RandomSource& random) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text.push_back(kDigits[random.below(kDigits.size())]);
  return text;
}

// The text form of RFC 9562.
std::string uuidText(RandomSource& random) {
  std::string text = hexText(8, random);
  for (const std::size_t length : {4U, 4U, 4U, 12U})
    text.append("-").append(hexText(length, random));
  return text;
}

std::string hostName(std::size_t node) {
  return "edge-" + std::to_string(node) + ".example.net";
}

Document makeTls(std::size_t node) {
  return {{"enabled", true},
          {"server_name", hostName(node)},
          {"insecure", false},
          {"alpn", {"h2", "http/1.1"}},
          {"min_version", "1.2"}};
}

Document makeTransport(std::size_t node, RandomSource& random) {
  return {{"type", random.percent(70) ? "ws" : "grpc"},
          {"path", "/" + hexText(12, random)},
          {"headers", {{"Host", hostName(node)}, {"User-Agent", "Browser/5.0 (\"compatible\")"}}},
          {"max_early_data", 2048}};
}

Document makeOutbound(std::size_t node, RandomSource& random) {
  constexpr std::array<std::string_view, 4> kTypes = {"vless", "vmess", "trojan", "shadowsocks"};
  Document outbound = {{"type", kTypes.at(random.below(kTypes.size()))}, {"tag", nodeTag(node)}};
  const std::size_t server = random.below(100);
  outbound["server"] = server < 50   ? makeIpv4Text(random)
                       : server < 75 ? makeIpv6Text(random)
                                     : hostName(node);
  if (random.percent(90)) {
    outbound["server_port"] = random.percent(60) ? 443 : 1024 + random.below(60000);
  } else {
    outbound["server_ports"] = {"443", "20000:40000"};
  }
  outbound["uuid"] = uuidText(random);
  if (random.percent(5) && node > 0) outbound["detour"] = nodeTag(random.below(node));
  if (random.percent(80)) outbound["tls"] = makeTls(node);
  if (random.percent(60)) outbound["transport"] = makeTransport(node, random);
  outbound["connect_timeout"] = "5s";
  outbound["weight"] = 0.5 + static_cast<double>(random.below(100)) / 8;
  return outbound;
}

Document makeSelector(std::size_t outbounds) {
  Document members = Document::array();
  for (std::size_t node = 0; node < outbounds; ++node) members.push_back(nodeTag(node));
  return {{"type", "selector"}, {"tag", "proxy"}, {"outbounds", members}, {"default", nodeTag(0)}};
}

Document makeRules(std::size_t count, RandomSource& random) {
  Document rules = Document::array();
  for (std::size_t rule = 0; rule < count; ++rule) {
    rules.push_back({{"domain_suffix", {hexText(6, random) + ".example.org", "example.com"}},
                     {"port", {80, 443}},
                     {"outbound", random.percent(50) ? "proxy" : "direct"}});
  }
  return rules;
}

}  // namespace

std::string makeConfigText(std::size_t outbounds, Layout layout) {
  RandomSource random(/*seed=*/1);
  Document config;
  config["log"] = {{"level", "warn"}, {"timestamp", true}};
  config["dns"] = {{"servers", {{{"tag", "local"}, {"address", "192.0.2.53"}}}},
                   {"final", "local"}};
  config["inbounds"] = {{{"type", "mixed"}, {"listen", "127.0.0.1"}, {"listen_port", 2080}}};
  Document list = {makeSelector(outbounds)};
  for (std::size_t node = 0; node < outbounds; ++node) list.push_back(makeOutbound(node, random));
  list.push_back({{"type", "direct"}, {"tag", "direct"}});
  config["outbounds"] = std::move(list);
  config["route"] = {{"rules", makeRules(1 + outbounds / 10, random)},
                     {"final", "proxy"},
                     {"auto_detect_interface", true}};
  return layout == Layout::Line ? config.dump() : config.dump(/*indent=*/2);
}

}  // namespace egress::bench
