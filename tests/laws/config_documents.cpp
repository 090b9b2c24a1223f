#include "tests/laws/config_documents.h"

#include <algorithm>
#include <limits>
#include <span>

#include "tests/support/joined.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

// Marks the key of a duplicate member. Does not occur in generated texts.
constexpr std::string_view kDuplicateMark = "<duplicate>";

constexpr auto kRootKeys = std::to_array<std::string_view>({"route", "outbounds"});
constexpr auto kRouteKeys = std::to_array<std::string_view>({"auto_detect_interface"});
constexpr auto kOutboundKeys = std::to_array<std::string_view>(
    {"tag", "type", "detour", "server", "server_port", "server_ports", "transport"});
constexpr auto kTransportKeys = std::to_array<std::string_view>({"type"});
constexpr auto kAnswerKeys = std::to_array<std::string_view>({"now"});

constexpr auto kTexts = std::to_array<std::string_view>(
    {"proxy", "node_1", "direct", "", "ws", "true", "443", "20000:40000", "a\0b"sv, "n\xC3\xB6",
     "\xF0\x9F\x98\x80", R"(say "\")", "/ray", "\n", "route"});
constexpr auto kTypes =
    std::to_array<std::string_view>({"vless", "vmess", "trojan", "anytls", "shadowsocks", "tuic",
                                     "selector", "dns", "socks", "quic", "grpc", "kcp"});
constexpr auto kServers = std::to_array<std::string_view>(
    {"198.51.100.10", "", "2001:db8::1", "[::1]", "node.example", " ", "0"});

constexpr std::int64_t kMaxInt32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMinInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMaxInt64 = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMinInt64 = std::numeric_limits<std::int64_t>::min();
constexpr auto kIntegers = std::to_array<std::int64_t>(
    {443, 0, 1, -1, 65535, 65536, 65537, 8443, -443, 70000, kMaxInt32, kMaxInt32 + 1, kMinInt32,
     kMinInt32 - 1, 4294967296 + 443, kMaxInt64, kMinInt64});
constexpr auto kNonIntegers = std::to_array<double>({443.0, 1.5, -0.0, 4.43e2, 1e300, 1e-7});
constexpr std::uint64_t kTooLarge = static_cast<std::uint64_t>(kMaxInt64) + 1;

constexpr auto kPortEntries = std::to_array<std::string_view>({"443",
                                                               "8443",
                                                               "20000:40000",
                                                               "1",
                                                               "65535",
                                                               "0",
                                                               "65536",
                                                               "00443",
                                                               "-443",
                                                               "",
                                                               "-",
                                                               ":",
                                                               "x:y",
                                                               "443a",
                                                               " 443",
                                                               "+443",
                                                               "443.0",
                                                               "4 43",
                                                               "99999999999999999999",
                                                               "4294967739",
                                                               "443\0"sv});

std::span<const std::string_view> knownKeys(Place place) {
  switch (place) {
    case Place::Root: return kRootKeys;
    case Place::Route: return kRouteKeys;
    case Place::Outbound: return kOutboundKeys;
    case Place::Transport: return kTransportKeys;
    case Place::Answer: return kAnswerKeys;
    case Place::Outbounds:
    case Place::Elsewhere: break;
  }
  return {};
}

Place placeOfMember(Place object, std::string_view key) {
  if (object == Place::Root && key == "route") return Place::Route;
  if (object == Place::Root && key == "outbounds") return Place::Outbounds;
  if (object == Place::Outbound && key == "transport") return Place::Transport;
  return Place::Elsewhere;
}

Place placeOfItem(Place array) {
  return array == Place::Outbounds ? Place::Outbound : Place::Elsewhere;
}

Document generateJson(Choices& choices, std::size_t levels) {
  switch (choices.below(levels > 0 ? 10 : 7)) {
    case 0: return nullptr;
    case 1: return false;
    case 2: return true;
    case 3: return choices.oneOf(kIntegers);
    case 4: return choices.oneOf(kNonIntegers);
    case 5: return kTooLarge;
    case 6: return std::string(choices.oneOf(kTexts));
    case 7: {
      Document array = Document::array();
      for (std::size_t i = choices.below(4); i > 0; --i) {
        array.push_back(generateJson(choices, levels - 1));
      }
      return array;
    }
    case 8: return objectOfKnownKeys();
    default: break;
  }
  Document object = Document::object();
  for (std::size_t i = choices.below(4); i > 0; --i) {
    object[choices.oneOf(allKeys())] = generateJson(choices, levels - 1);
  }
  return object;
}

Document generateObject(Place place, Choices& choices) {
  Document object = Document::object();
  for (const std::string_view key : knownKeys(place)) {
    while (choices.rarely(8)) object[choices.oneOf(allKeys())] = generateJson(choices);
    if (choices.below(8) != 7) object[std::string(key)] = generateValueOf(key, choices);
  }
  return object;
}

// Mostly an entry of the table; rarely any JSON value, or an entry with hundreds of digits.
Document generatePortEntry(Choices& choices) {
  if (choices.rarely(8)) return generateJson(choices);
  if (!choices.rarely(8)) return std::string(choices.oneOf(kPortEntries));
  const std::string many(100 + choices.below(200), choices.flag() ? '9' : '0');
  return joined({many, choices.oneOf(kPortEntries)});
}

Document generatePortEntries(Choices& choices) {
  constexpr std::array<std::size_t, 6> kSizes = {1, 1, 1, 0, 2, 4};
  Document entries = Document::array();
  for (std::size_t i = choices.oneOf(kSizes); i > 0; --i) {
    entries.push_back(generatePortEntry(choices));
  }
  return entries;
}

Document generateOutbounds(Choices& choices) {
  constexpr std::array<std::size_t, 6> kSizes = {1, 0, 1, 2, 3, 5};
  Document outbounds = Document::array();
  for (std::size_t i = choices.oneOf(kSizes); i > 0; --i) {
    outbounds.push_back(generateOutboundObject(choices));
  }
  return outbounds;
}

}  // namespace

std::string_view wordOf(Place place) {
  switch (place) {
    case Place::Root: return "root";
    case Place::Route: return "route";
    case Place::Outbounds: return "outbounds";
    case Place::Outbound: return "outbound";
    case Place::Transport: return "transport";
    case Place::Answer: return "answer";
    case Place::Elsewhere: break;
  }
  return "elsewhere";
}

bool isKnown(Place place, std::string_view key) {
  const std::span<const std::string_view> known = knownKeys(place);
  return std::find(known.begin(), known.end(), key) != known.end();
}

const std::vector<std::string>& allKeys() {
  static const std::vector<std::string> keys = {"route",
                                                "auto_detect_interface",
                                                "outbounds",
                                                "tag",
                                                "type",
                                                "detour",
                                                "server",
                                                "server_port",
                                                "server_ports",
                                                "transport",
                                                "now",
                                                "Route",
                                                "route ",
                                                "auto-detect-interface",
                                                "auto_detect_interfac",
                                                "outbound",
                                                "TAG",
                                                std::string("tag\0", 4),
                                                "typ\xC3\xA9",
                                                "server_portx",
                                                "",
                                                "nowhere",
                                                "tls",
                                                "log",
                                                "inbounds",
                                                "name"};
  return keys;
}

const Document& objectOfKnownKeys() {
  static const Document object = [] {
    Document made = Document::object();
    Choices none("");
    for (const auto& keys : {knownKeys(Place::Root), knownKeys(Place::Route),
                             knownKeys(Place::Outbound), knownKeys(Place::Answer)}) {
      for (const std::string_view key : keys) made[std::string(key)] = generateValueOf(key, none);
    }
    return made;
  }();
  return object;
}

Document generateJson(Choices& choices) {
  return generateJson(choices, 3);
}

Document generateValueOf(std::string_view key, Choices& choices) {
  if (choices.rarely(8)) return generateJson(choices);
  if (key == "route") return generateObject(Place::Route, choices);
  if (key == "auto_detect_interface") return !choices.flag();
  if (key == "outbounds") return generateOutbounds(choices);
  if (key == "type" && choices.flag()) return std::string(choices.oneOf(kTypes));
  if (key == "server") return std::string(choices.oneOf(kServers));
  if (key == "server_port") return choices.oneOf(kIntegers);
  if (key == "server_ports") return generatePortEntries(choices);
  if (key == "transport") return generateObject(Place::Transport, choices);
  return std::string(choices.oneOf(kTexts));
}

Document generateConfig(Choices& choices) {
  return choices.rarely(64) ? generateJson(choices) : generateObject(Place::Root, choices);
}

Document generateOutboundObject(Choices& choices) {
  return choices.rarely(8) ? generateJson(choices) : generateObject(Place::Outbound, choices);
}

Document generateSelectorAnswer(Choices& choices) {
  if (choices.rarely(16)) return generateJson(choices);
  Document answer = generateObject(Place::Answer, choices);
  if (choices.flag()) answer["name"] = generateValueOf("name", choices);
  return answer;
}

void editObjects(Document& document, Place place, const Edit& edit) {
  if (document.is_array()) {
    for (Document& item : document) editObjects(item, placeOfItem(place), edit);
  }
  if (!document.is_object()) return;
  // The readers do not look into "outbounds" if it is an object.
  if (place == Place::Outbounds) place = Place::Elsewhere;
  Members members;
  for (const auto& item : document.items()) {
    editObjects(item.value(), placeOfMember(place, item.key()), edit);
    members.emplace_back(item.key(), std::move(item.value()));
  }
  edit(members, place);
  document = Document::object();
  for (auto& [key, value] : members) document[key] = std::move(value);
}

std::string duplicateKey(std::string_view key) {
  return joined({kDuplicateMark, key});
}

std::string textOf(const Document& document, Choices& choices) {
  const int indent = choices.flag() ? 1 : -1;
  const bool escapes = choices.flag();
  std::string text = document.dump(indent, ' ', escapes);
  for (std::size_t at = text.find(kDuplicateMark); at != std::string::npos;
       at = text.find(kDuplicateMark, at)) {
    text.erase(at, kDuplicateMark.size());
  }
  return text;
}

}  // namespace egress::test
