#include "egress/config/config_defects.h"

#include <algorithm>
#include <string>
#include <utility>

#include "egress/config/numeric_address.h"
#include "egress/config/port_values.h"
#include "egress/config/protocols.h"
#include "egress/json/json_reader.h"
#include "egress/json/json_value.h"

namespace egress {
namespace {

using Tags = std::vector<std::string_view>;

bool contains(const Tags& sorted, std::string_view tag) {
  return std::ranges::binary_search(sorted, tag);
}

// The positions of all tags in "outbounds", sorted by tag, then by position.
using TagPositions = std::vector<std::pair<std::string_view, std::size_t>>;

// The first position of a tag, or nothing.
std::optional<std::size_t> firstPositionOf(const TagPositions& tags, std::string_view tag) {
  const auto found = std::ranges::lower_bound(tags, std::pair(tag, std::size_t{0}));
  if (found == tags.end() || found->first != tag) return std::nullopt;
  return found->second;
}

std::string valueText(const JsonValue& value) {
  if (value.kind == JsonKind::Bool) return value.boolValue ? "true" : "false";
  if (value.kind == JsonKind::Integer) return std::to_string(value.intValue);
  return value.stringValue.substr(0, kMaxDefectText);  // of a Number, too: the reader kept its text
}

// The readers treat an empty string like none.
bool isText(const JsonValue* value) {
  return value != nullptr && value->kind == JsonKind::String && !value->stringValue.empty();
}

// One outbound, or the configuration as a whole, while its defects are listed.
struct Place {
  std::vector<ConfigDefect>& defects;
  std::optional<std::size_t> position = {};
  std::string_view tag = {};
};

void addDefect(const Place& place, ConfigDefectKind kind, std::string_view key) {
  place.defects.push_back({.kind = kind,
                           .position = place.position,
                           .tag = std::string(place.tag),
                           .key = std::string(key),
                           .valueKind = JsonKind::Null,
                           .value = {}});
}

void addUnusable(const Place& place, std::string_view key, const JsonValue& value) {
  addDefect(place, ConfigDefectKind::VALUE_UNUSABLE, key);
  place.defects.back().valueKind = value.kind;
  place.defects.back().value = valueText(value);
}

// For a key whose value is absent or unusable.
void addMissingOrUnusable(const Place& place, std::string_view key, const JsonValue* value) {
  if (value == nullptr) {
    addDefect(place, ConfigDefectKind::KEY_MISSING, key);
  } else {
    addUnusable(place, key, *value);
  }
}

void listRoute(const JsonValue& root, std::vector<ConfigDefect>& defects) {
  const Place place{.defects = defects};
  const JsonValue* const route = findMember(root, "route");
  if (route == nullptr || route->kind != JsonKind::Object) {
    addMissingOrUnusable(place, "route", route);
    return;
  }
  const JsonValue* const autoDetect = findMember(*route, "auto_detect_interface");
  if (autoDetect == nullptr || autoDetect->kind != JsonKind::Bool) {
    addMissingOrUnusable(place, "route.auto_detect_interface", autoDetect);
  }
}

void listServer(const Place& place, const JsonValue* server) {
  if (!isText(server) || !parseNumericAddress(server->stringValue).valid) {
    addMissingOrUnusable(place, "server", server);
  }
}

void listPorts(const Place& place, const JsonValue* port, const JsonValue* ports) {
  if (port == nullptr && ports == nullptr) {
    addDefect(place, ConfigDefectKind::KEY_MISSING, "server_port");
    return;
  }
  std::size_t count = 0;
  if (port != nullptr) {
    ++count;
    if (!serverPortOf(*port)) addUnusable(place, "server_port", *port);
  }
  if (ports != nullptr && (ports->kind != JsonKind::Array || ports->items.empty())) {
    addUnusable(place, "server_ports", *ports);
  } else if (ports != nullptr) {
    for (std::size_t i = 0; i < ports->items.size(); ++i) {
      const PortEntry entry = portEntryOf(ports->items[i]);
      count += entry.isRange ? 2 : 1;
      if (entry.isRange || entry.port) continue;
      addUnusable(place, "server_ports[" + std::to_string(i) + "]", ports->items[i]);
    }
  }
  if (count > 1) addDefect(place, ConfigDefectKind::SEVERAL_PORTS, "server_ports");
}

void listTransport(const Place& place, const JsonValue* transport) {
  const JsonValue* const type = transport == nullptr ? nullptr : findMember(*transport, "type");
  if (!isText(type)) return;
  if (transportTypeOf(type->stringValue) != TransportType::Supported) {
    addUnusable(place, "transport.type", *type);
  }
}

// What makes an outbound an endpoint that can be followed.
void listEndpoint(const Place& place, const JsonValue& outbound, const JsonValue* type,
                  OutboundType outboundType) {
  listServer(place, findMember(outbound, "server"));
  listPorts(place, findMember(outbound, "server_port"), findMember(outbound, "server_ports"));
  if (outboundType == OutboundType::Supported) {
    listTransport(place, findMember(outbound, "transport"));
  } else {
    addMissingOrUnusable(place, "type", type);
  }
}

void listOutbound(const Place& place, const JsonValue& outbound, OutboundType outboundType) {
  if (place.tag.empty()) addMissingOrUnusable(place, "tag", findMember(outbound, "tag"));
  const JsonValue* const detour = findMember(outbound, "detour");
  if (detour != nullptr && detour->kind != JsonKind::String) addUnusable(place, "detour", *detour);
  if (outboundType == OutboundType::Selector || outboundType == OutboundType::NoEndpoint) return;
  if (!isText(detour)) listEndpoint(place, outbound, findMember(outbound, "type"), outboundType);
}

std::string_view textOf(const JsonValue& object, std::string_view key) {
  const JsonValue* const value = findMember(object, key);
  return isText(value) ? std::string_view(value->stringValue) : std::string_view{};
}

TagPositions tagPositionsOf(const std::vector<JsonValue>& outbounds) {
  TagPositions tags;
  tags.reserve(outbounds.size());
  for (std::size_t i = 0; i < outbounds.size(); ++i) {
    if (const std::string_view tag = textOf(outbounds[i], "tag"); !tag.empty()) {
      tags.emplace_back(tag, i);
    }
  }
  std::ranges::sort(tags);
  return tags;
}

Tags answeredTagsOf(const std::vector<SelectorAnswer>& answers) {
  Tags tags;
  tags.reserve(answers.size());
  for (const SelectorAnswer& answer : answers) tags.emplace_back(answer.selectorTag);
  std::ranges::sort(tags);
  return tags;
}

void listOutbounds(const std::vector<JsonValue>& outbounds,
                   const std::vector<SelectorAnswer>& answers, std::string_view selectorHint,
                   std::vector<ConfigDefect>& defects) {
  using enum ConfigDefectKind;
  const TagPositions tags = tagPositionsOf(outbounds);
  const Tags answered = answeredTagsOf(answers);
  Tags selectors;
  for (std::size_t i = 0; i < outbounds.size(); ++i) {
    Place place{.defects = defects, .position = i};
    if (outbounds[i].kind != JsonKind::Object) {
      addUnusable(place, "", outbounds[i]);
      continue;
    }
    place.tag = textOf(outbounds[i], "tag");
    const OutboundType outboundType = outboundTypeOf(textOf(outbounds[i], "type"));
    if (!place.tag.empty() && firstPositionOf(tags, place.tag) != i) {
      addDefect(place, TAG_REPEATED, "tag");
    } else if (outboundType == OutboundType::Selector) {
      selectors.push_back(place.tag);
      if (!contains(answered, place.tag)) addDefect(place, SELECTOR_WITHOUT_ANSWER, "");
    }
    listOutbound(place, outbounds[i], outboundType);
  }

  std::ranges::sort(selectors);
  for (const SelectorAnswer& answer : answers) {
    if (contains(selectors, answer.selectorTag)) continue;
    addDefect({.defects = defects, .tag = answer.selectorTag}, ANSWER_WITHOUT_SELECTOR, "");
  }
  if (selectorHint.empty() || firstPositionOf(tags, selectorHint)) return;
  addDefect({.defects = defects, .tag = selectorHint}, HINT_UNKNOWN, "");
}

}  // namespace

std::vector<ConfigDefect> findConfigDefects(std::string_view configText,
                                            const std::vector<SelectorAnswer>& answers,
                                            std::string_view selectorHint) {
  std::vector<ConfigDefect> defects;
  const Place whole{.defects = defects};
  JsonValue root;
  if (!parseJsonDocument(configText, root, NumberText::Keep)) {
    addDefect(whole, ConfigDefectKind::NOT_JSON, "");
    return defects;
  }
  if (root.kind != JsonKind::Object) {
    addUnusable(whole, "", root);
    return defects;
  }
  listRoute(root, defects);
  const JsonValue* const list = findMember(root, "outbounds");
  const bool isList = list != nullptr && list->kind == JsonKind::Array;
  if (!isList) addMissingOrUnusable(whole, "outbounds", list);
  const std::vector<JsonValue> none;
  listOutbounds(isList ? list->items : none, answers, selectorHint, defects);
  return defects;
}

const char* toString(ConfigDefectKind kind) noexcept {
  using enum ConfigDefectKind;
  switch (kind) {
    case NOT_JSON: return "NOT_JSON";
    case KEY_MISSING: return "KEY_MISSING";
    case VALUE_UNUSABLE: return "VALUE_UNUSABLE";
    case SEVERAL_PORTS: return "SEVERAL_PORTS";
    case TAG_REPEATED: return "TAG_REPEATED";
    case SELECTOR_WITHOUT_ANSWER: return "SELECTOR_WITHOUT_ANSWER";
    case ANSWER_WITHOUT_SELECTOR: return "ANSWER_WITHOUT_SELECTOR";
    case HINT_UNKNOWN: break;
  }
  return "HINT_UNKNOWN";
}

}  // namespace egress
