#include <cstdint>
#include <optional>
#include <simdjson.h>
#include <string>

#include "bench/peers/json_peers.h"
#include "bench/peers/outbound_rules.h"

namespace egress::bench {
namespace {

namespace ondemand = simdjson::ondemand;

template <typename T, typename Value>
std::optional<T> as(Value& value) {
  T result{};
  if (value.get(result) != simdjson::SUCCESS) return std::nullopt;
  return result;
}

void readString(ondemand::value& value, std::string& field) {
  if (const auto text = as<std::string_view>(value)) field = *text;
}

void readServerPorts(ondemand::value& value, Outbound& outbound) {
  outbound.portSpecified = true;
  std::size_t count = 0;
  if (auto entries = as<ondemand::array>(value)) {
    for (ondemand::value entry : *entries) {
      addPortEntry(as<std::string_view>(entry), outbound);
      ++count;
    }
  }
  if (count == 0) outbound.portMalformed = true;
  if (count > 1) outbound.portHopping = true;
}

void readTransport(ondemand::value& value, Outbound& outbound) {
  outbound.hasTransport = true;
  auto transport = as<ondemand::object>(value);
  if (!transport) return;
  for (ondemand::field field : *transport) {
    if (field.key() == "type") readString(field.value(), outbound.transportType);
  }
}

// Members in the order in which they come, which costs this parser least.
Outbound readOutbound(ondemand::object object) {
  Outbound outbound;
  for (ondemand::field field : object) {
    const ondemand::raw_json_string key = field.key();
    ondemand::value& value = field.value();
    if (key == "tag") {
      readString(value, outbound.tag);
    } else if (key == "type") {
      readString(value, outbound.type);
    } else if (key == "detour") {
      readString(value, outbound.detour);
    } else if (key == "server") {
      readString(value, outbound.server);
      outbound.hasServer = !outbound.server.empty();
    } else if (key == "server_port") {
      outbound.portSpecified = true;
      addPort(as<std::int64_t>(value), outbound);
    } else if (key == "server_ports") {
      readServerPorts(value, outbound);
    } else if (key == "transport") {
      readTransport(value, outbound);
    }
  }
  return outbound;
}

void readRoute(ondemand::value& value, ProxyConfig& config) {
  auto route = as<ondemand::object>(value);
  if (!route) return;
  for (ondemand::field field : *route) {
    if (field.key() != "auto_detect_interface") continue;
    const auto flag = as<bool>(field.value());
    config.configStatus = flag ? ConfigStatus::OK : ConfigStatus::AUTO_DETECT_INVALID;
    config.autoDetectInterface = flag.value_or(false);
  }
}

// One parser for all documents, as the library advises; it keeps its buffers.
ondemand::parser& sharedParser() {
  static ondemand::parser parser;
  return parser;
}

ProxyConfig readConfig(const std::string& text) {
  ProxyConfig config = unusable(ConfigStatus::AUTO_DETECT_MISSING);
  const simdjson::padded_string padded(text);
  ondemand::document document;
  if (sharedParser().iterate(padded).get(document) != simdjson::SUCCESS) {
    return unusable(ConfigStatus::JSON_PARSE_FAILED);
  }
  for (ondemand::field field : document.get_object()) {
    const ondemand::raw_json_string key = field.key();
    if (key == "route") readRoute(field.value(), config);
    if (key != "outbounds") continue;
    auto list = as<ondemand::array>(field.value());
    if (!list) continue;
    for (ondemand::value element : *list) {
      if (auto object = as<ondemand::object>(element)) {
        config.outbounds.push_back(readOutbound(*object));
      }
    }
  }
  return config;
}

SelectorAnswerStatus readAnswer(const std::string& text, std::string* now) {
  const simdjson::padded_string padded(text);
  ondemand::document document;
  ondemand::object root;
  if (sharedParser().iterate(padded).get(document) != simdjson::SUCCESS ||
      document.get_object().get(root) != simdjson::SUCCESS) {
    return SelectorAnswerStatus::Malformed;
  }
  std::string_view choice;
  if (root["now"].get(choice) != simdjson::SUCCESS || choice.empty()) {
    return SelectorAnswerStatus::NowMissing;
  }
  if (now != nullptr) *now = choice;
  return SelectorAnswerStatus::Ok;
}

}  // namespace

JsonReader simdjsonOnDemand() {
  return {.name = "simdjson-ondemand",
          .library = simdjsonDom().library,
          .readConfig = readConfig,
          .readAnswer = readAnswer};
}

}  // namespace egress::bench
