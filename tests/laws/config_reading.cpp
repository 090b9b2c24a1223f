#include "tests/laws/config_reading.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "egress/json/json_reader.h"
#include "egress/json/json_value.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

// The members of an object by key; empty for other kinds. Inserts in reverse order, so that the
// first of repeated keys wins.
std::map<std::string_view, const JsonValue*> membersOf(const JsonValue* value) {
  std::map<std::string_view, const JsonValue*> members;
  if (value == nullptr || value->kind != JsonKind::Object) return members;
  for (std::size_t i = value->memberKeys.size(); i-- > 0;) {
    members[value->memberKeys[i]] = &value->memberValues[i];
  }
  return members;
}

const JsonValue* memberOf(const JsonValue* value, std::string_view key) {
  const auto members = membersOf(value);
  const auto found = members.find(key);
  return found == members.end() ? nullptr : found->second;
}

bool isKind(const JsonValue* value, JsonKind kind) {
  return value != nullptr && value->kind == kind;
}

std::string stringAt(const JsonValue* object, std::string_view key) {
  const JsonValue* const value = memberOf(object, key);
  return isKind(value, JsonKind::String) ? value->stringValue : std::string();
}

// The first row with a true condition decides.
template <typename Status>
using DecisionTable = std::initializer_list<std::pair<bool, Status>>;

template <typename Status>
Status decide(DecisionTable<Status> table) {
  return std::find_if(table.begin(), table.end(), [](const auto& row) { return row.first; })
      ->second;
}

// Digits only, one to five of them after the leading zeros.
std::optional<std::uint32_t> portNumber(std::string_view text) {
  if (text.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  if (text.empty() || text.size() > 5) return std::nullopt;
  std::uint32_t port = 0;
  std::from_chars(text.data(), text.data() + text.size(), port);
  return port <= 65535 ? std::optional(port) : std::nullopt;
}

enum class PortKind : std::uint8_t { Single, Range, Unusable };

struct ParsedPort {
  PortKind kind = PortKind::Unusable;
  std::uint32_t port = 0;  // Single
};

ParsedPort parsePort(const std::string& digits) {
  const std::optional<std::uint32_t> port = portNumber(digits);
  return port ? ParsedPort{PortKind::Single, *port} : ParsedPort{};
}

ParsedPort parseEntry(const JsonValue& entry) {
  if (entry.kind != JsonKind::String) return {};
  const auto colons = std::count(entry.stringValue.begin(), entry.stringValue.end(), ':');
  return colons > 0 ? ParsedPort{PortKind::Range, 0} : parsePort(entry.stringValue);
}

// The values of both port keys, in order. A "server_ports" that is not an array counts as one
// unusable entry.
std::vector<ParsedPort> parsePorts(const JsonValue* single, const JsonValue* list) {
  std::vector<ParsedPort> parsed;
  if (single != nullptr) {
    parsed.push_back(isKind(single, JsonKind::Integer) ? parsePort(std::to_string(single->intValue))
                                                       : ParsedPort{});
  }
  if (list == nullptr) return parsed;
  if (!isKind(list, JsonKind::Array) || list->items.empty()) parsed.emplace_back();
  if (!isKind(list, JsonKind::Array)) return parsed;
  for (const JsonValue& entry : list->items) parsed.push_back(parseEntry(entry));
  return parsed;
}

Outbound expectedOutbound(const JsonValue& object) {
  const JsonValue* const single = memberOf(&object, "server_port");
  const JsonValue* const list = memberOf(&object, "server_ports");
  const JsonValue* const transport = memberOf(&object, "transport");
  const std::vector<ParsedPort> parsed = parsePorts(single, list);
  const auto has = [&parsed](PortKind kind) {
    return std::any_of(parsed.begin(), parsed.end(),
                       [kind](const ParsedPort& port) { return port.kind == kind; });
  };

  Outbound outbound;
  outbound.tag = stringAt(&object, "tag");
  outbound.type = stringAt(&object, "type");
  outbound.detour = stringAt(&object, "detour");
  outbound.server = stringAt(&object, "server");
  outbound.hasServer = !outbound.server.empty();
  outbound.portSpecified = single != nullptr || list != nullptr;
  outbound.portMalformed = has(PortKind::Unusable);
  outbound.portHopping =
      has(PortKind::Range) || (isKind(list, JsonKind::Array) && list->items.size() >= 2);
  for (const ParsedPort& port : parsed) {
    if (port.kind == PortKind::Single) outbound.ports.push_back(port.port);
  }
  outbound.hasTransport = transport != nullptr;
  outbound.transportType = stringAt(transport, "type");
  return outbound;
}

}  // namespace

ProxyConfig expectedConfig(std::string_view text) {
  JsonValue root;
  const bool isJson = parseJsonDocument(text, root);
  const JsonValue* const flag = memberOf(memberOf(&root, "route"), "auto_detect_interface");
  ProxyConfig config;
  config.configStatus = decide<ConfigStatus>({
      {text.empty(), ConfigStatus::NO_CONFIG},
      {!isJson || root.kind != JsonKind::Object, ConfigStatus::JSON_PARSE_FAILED},
      {flag == nullptr, ConfigStatus::AUTO_DETECT_MISSING},
      {!isKind(flag, JsonKind::Bool), ConfigStatus::AUTO_DETECT_INVALID},
      {true, ConfigStatus::OK},
  });
  if (config.configStatus != ConfigStatus::OK) return config;
  config.autoDetectInterface = flag->boolValue;
  const JsonValue* const outbounds = memberOf(&root, "outbounds");
  if (!isKind(outbounds, JsonKind::Array)) return config;
  for (const JsonValue& item : outbounds->items) {
    if (item.kind == JsonKind::Object) config.outbounds.push_back(expectedOutbound(item));
  }
  return config;
}

SelectorAnswerStatus expectedAnswer(std::string_view text, std::string& now) {
  JsonValue root;
  const bool isJson = parseJsonDocument(text, root);
  now = stringAt(&root, "now");
  return decide<SelectorAnswerStatus>({
      {!isJson || root.kind != JsonKind::Object, SelectorAnswerStatus::Malformed},
      {now.empty(), SelectorAnswerStatus::NowMissing},
      {true, SelectorAnswerStatus::Ok},
  });
}

std::string describe(const Outbound& outbound) {
  std::string text =
      joined({"\n  tag '", outbound.tag, "', type '", outbound.type, "', detour '", outbound.detour,
              "', server '", outbound.server, "'", outbound.hasServer ? " (has one)" : "",
              outbound.portSpecified ? ", port specified" : "",
              outbound.portMalformed ? ", malformed" : "", outbound.portHopping ? ", hopping" : "",
              outbound.hasTransport ? ", transport '" : ", no transport '", outbound.transportType,
              "', ports"});
  for (const std::uint32_t port : outbound.ports) text += joined({" ", std::to_string(port)});
  return text;
}

std::string describe(const ProxyConfig& config) {
  std::string text = joined(
      {toString(config.configStatus), config.autoDetectInterface ? ", detects" : ", no detecting"});
  for (const Outbound& outbound : config.outbounds) text += describe(outbound);
  return text;
}

std::string describe(SelectorAnswerStatus status, std::string_view now) {
  return joined({"status ", std::to_string(static_cast<std::int32_t>(status)), ", '", now, "'"});
}

}  // namespace egress::test
