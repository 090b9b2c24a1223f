#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench/peers/json_peers.h"
#include "bench/peers/outbound_rules.h"

namespace egress::bench {
namespace {

using nlohmann::json;

// Where in the document an event comes from.
enum class Place : std::uint8_t {
  Root,
  Config,
  Route,
  Outbounds,
  Outbound,
  Ports,
  Transport,
  Other
};

// Takes the events of a document; keeps what our records need.
class ConfigEvents : public json::json_sax_t {
 public:
  ProxyConfig config = unusable(ConfigStatus::AUTO_DETECT_MISSING);

  bool key(string_t& key) override {
    key_ = key;
    return true;
  }
  bool start_object(std::size_t /*elements*/) override {
    const Place outer = place();
    Place inner = Place::Other;
    if (outer == Place::Root) inner = Place::Config;
    if (outer == Place::Config && key_ == "route") inner = Place::Route;
    if (outer == Place::Outbounds) {
      config.outbounds.emplace_back();
      inner = Place::Outbound;
    }
    if (outer == Place::Outbound && key_ == "transport") {
      last().hasTransport = true;
      inner = Place::Transport;
    }
    places_.push_back(inner);
    return true;
  }
  bool end_object() override {
    places_.pop_back();
    return true;
  }
  bool start_array(std::size_t /*elements*/) override {
    const Place outer = place();
    Place inner = Place::Other;
    if (outer == Place::Config && key_ == "outbounds") inner = Place::Outbounds;
    if (outer == Place::Outbound && key_ == "server_ports") {
      last().portSpecified = true;
      portEntries_ = 0;
      inner = Place::Ports;
    }
    places_.push_back(inner);
    return true;
  }
  bool end_array() override {
    if (place() == Place::Ports && portEntries_ == 0) last().portMalformed = true;
    if (place() == Place::Ports && portEntries_ > 1) last().portHopping = true;
    places_.pop_back();
    return true;
  }
  bool boolean(bool value) override {
    if (place() == Place::Route && key_ == "auto_detect_interface") {
      config.configStatus = ConfigStatus::OK;
      config.autoDetectInterface = value;
    }
    return true;
  }
  bool string(string_t& value) override {
    if (place() == Place::Outbound) outboundString(value);
    if (place() == Place::Transport && key_ == "type") last().transportType = value;
    if (place() == Place::Ports) {
      addPortEntry(value, last());
      ++portEntries_;
    }
    return true;
  }
  bool number_integer(number_integer_t value) override { return integer(value); }
  bool number_unsigned(number_unsigned_t value) override {
    return integer(static_cast<std::int64_t>(value));
  }
  bool null() override { return true; }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return true; }
  bool binary(binary_t& /*value*/) override { return true; }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const json::exception& /*error*/) override {
    return false;
  }

 private:
  [[nodiscard]] Place place() const { return places_.back(); }
  Outbound& last() { return config.outbounds.back(); }

  bool integer(std::int64_t value) {
    if (place() == Place::Outbound && key_ == "server_port") {
      last().portSpecified = true;
      addPort(value, last());
    }
    return true;
  }

  void outboundString(string_t& value) {
    Outbound& outbound = last();
    if (key_ == "tag") outbound.tag = value;
    if (key_ == "type") outbound.type = value;
    if (key_ == "detour") outbound.detour = value;
    if (key_ != "server") return;
    outbound.server = value;
    outbound.hasServer = !value.empty();
  }

  std::vector<Place> places_ = {Place::Root};
  std::string key_;
  std::size_t portEntries_ = 0;
};

ProxyConfig readConfig(const std::string& text) {
  ConfigEvents events;
  if (!json::sax_parse(text, &events)) return unusable(ConfigStatus::JSON_PARSE_FAILED);
  return std::move(events.config);
}

// The root object's "now", whichever kind it is of; the benchmark's answer has a string.
class AnswerEvents : public ConfigEvents {
 public:
  std::optional<std::string> choice;

  bool key(string_t& key) override {
    isNow_ = key == "now";
    return true;
  }
  bool start_object(std::size_t /*elements*/) override { return true; }
  bool end_object() override { return true; }
  bool string(string_t& value) override {
    if (isNow_ && !choice) choice = value;
    return true;
  }

 private:
  bool isNow_ = false;
};

SelectorAnswerStatus readAnswer(const std::string& text, std::string* now) {
  AnswerEvents events;
  if (!json::sax_parse(text, &events)) return SelectorAnswerStatus::Malformed;
  if (!events.choice || events.choice->empty()) return SelectorAnswerStatus::NowMissing;
  if (now != nullptr) *now = *events.choice;
  return SelectorAnswerStatus::Ok;
}

}  // namespace

JsonReader nlohmannSax() {
  return {.name = "nlohmann-sax",
          .library = nlohmannDom().library,
          .readConfig = readConfig,
          .readAnswer = readAnswer};
}

}  // namespace egress::bench
