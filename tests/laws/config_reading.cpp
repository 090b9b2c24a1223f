#include "tests/laws/config_reading.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "egress/json/json_reader.h"
#include "egress/json/json_value.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

// The members of an object by key, none for anything else. Of a repeated key the first one stays,
// because it comes last.
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

// The first row whose condition holds decides.
template <typename Status>
using DecisionTable = std::initializer_list<std::pair<bool, Status>>;

template <typename Status>
Status decide(DecisionTable<Status> table) {
  return std::find_if(table.begin(), table.end(), [](const auto& row) { return row.first; })
      ->second;
}

// A port is written in digits alone, of which those that count are one to five.
std::optional<std::uint32_t> portIn(std::string_view text) {
  if (text.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  if (text.empty() || text.size() > 5) return std::nullopt;
  std::uint32_t port = 0;
  std::from_chars(text.data(), text.data() + text.size(), port);
  return port <= 65535 ? std::optional(port) : std::nullopt;
}

enum class PortWord : std::uint8_t { Single, Range, Unusable };

struct PortReading {
  PortWord word = PortWord::Unusable;
  std::uint32_t port = 0;  // Single
};

PortReading readingOf(const std::string& digits) {
  const std::optional<std::uint32_t> port = portIn(digits);
  return port ? PortReading{PortWord::Single, *port} : PortReading{};
}

PortReading readingOfEntry(const JsonValue& entry) {
  if (entry.kind != JsonKind::String) return {};
  const auto colons = std::count(entry.stringValue.begin(), entry.stringValue.end(), ':');
  return colons > 0 ? PortReading{PortWord::Range, 0} : readingOf(entry.stringValue);
}

// What the two port keys hold, one after the other; a list that is none is one unusable entry.
std::vector<PortReading> portReadings(const JsonValue* single, const JsonValue* list) {
  std::vector<PortReading> readings;
  if (single != nullptr) {
    readings.push_back(isKind(single, JsonKind::Integer)
                           ? readingOf(std::to_string(single->intValue))
                           : PortReading{});
  }
  if (list == nullptr) return readings;
  if (!isKind(list, JsonKind::Array) || list->items.empty()) readings.emplace_back();
  if (!isKind(list, JsonKind::Array)) return readings;
  for (const JsonValue& entry : list->items) readings.push_back(readingOfEntry(entry));
  return readings;
}

Outbound expectedOutbound(const JsonValue& object) {
  const JsonValue* const single = memberOf(&object, "server_port");
  const JsonValue* const list = memberOf(&object, "server_ports");
  const JsonValue* const transport = memberOf(&object, "transport");
  const std::vector<PortReading> readings = portReadings(single, list);
  const auto has = [&readings](PortWord word) {
    return std::any_of(readings.begin(), readings.end(),
                       [word](const PortReading& reading) { return reading.word == word; });
  };

  Outbound outbound;
  outbound.tag = stringAt(&object, "tag");
  outbound.type = stringAt(&object, "type");
  outbound.detour = stringAt(&object, "detour");
  outbound.server = stringAt(&object, "server");
  outbound.hasServer = !outbound.server.empty();
  outbound.portSpecified = single != nullptr || list != nullptr;
  outbound.portMalformed = has(PortWord::Unusable);
  outbound.portHopping =
      has(PortWord::Range) || (isKind(list, JsonKind::Array) && list->items.size() >= 2);
  for (const PortReading& reading : readings) {
    if (reading.word == PortWord::Single) outbound.ports.push_back(reading.port);
  }
  outbound.hasTransport = transport != nullptr;
  outbound.transportType = stringAt(transport, "type");
  return outbound;
}

// Does not compile when an outbound gets another field.
auto fieldsOf(const Outbound& outbound) {
  const auto& [tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
               ports, hasTransport, transportType] = outbound;
  return std::tie(tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
                  ports, hasTransport, transportType);
}

bool sameOutbounds(const std::vector<Outbound>& a, const std::vector<Outbound>& b) {
  return std::equal(
      a.begin(), a.end(), b.begin(), b.end(),
      [](const Outbound& one, const Outbound& other) { return fieldsOf(one) == fieldsOf(other); });
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

bool sameConfig(const ProxyConfig& a, const ProxyConfig& b) {
  return a.configStatus == b.configStatus && a.autoDetectInterface == b.autoDetectInterface &&
         sameOutbounds(a.outbounds, b.outbounds);
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
