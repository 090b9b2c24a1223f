#include "egress_snapshot/json_text.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "egress/json/json_fault.h"
#include "egress_snapshot/json_fault_json.h"

namespace egress::snapshot {
namespace {

using nlohmann::detail::error_handler_t;

constexpr std::size_t kMaxShown = 40;  // bytes of a string in a reason, or of a key in a place

// One array or object that is open where a text breaks off.
struct OpenContainer {
  bool isArray = false;
  std::size_t index = 0;           // of the element, in an array
  std::optional<std::string> key;  // of the member, in an object, after the first key
};

// Follows the place in a text, without a value of it.
class PlaceTracker : public JsonReceiver {
 public:
  bool null() { return endValue(); }
  bool boolean(bool /*value*/) { return endValue(); }
  bool number_integer(std::int64_t /*value*/) { return endValue(); }
  bool number_unsigned(std::uint64_t /*value*/) { return endValue(); }
  bool number_float(double /*value*/, const std::string& /*text*/) { return endValue(); }
  bool string(const std::string& /*value*/) { return endValue(); }

  bool start_array(std::size_t /*size*/) { return open(/*isArray=*/true); }
  bool start_object(std::size_t /*size*/) { return open(/*isArray=*/false); }
  bool end_array() { return close(); }
  bool end_object() { return close(); }

  bool key(const std::string& key) {
    open_.back().key = key.substr(0, kMaxShown);
    return true;
  }

  [[nodiscard]] std::string place() const {
    Json::json_pointer pointer;
    for (const OpenContainer& container : open_) {
      if (container.isArray) pointer.push_back(std::to_string(container.index));
      if (container.key) pointer.push_back(*container.key);
    }
    return pointer.to_string();
  }

 private:
  bool open(bool isArray) {
    open_.push_back({.isArray = isArray, .key = {}});
    return true;
  }
  bool close() {
    open_.pop_back();
    return endValue();
  }
  bool endValue() {
    if (!open_.empty()) ++open_.back().index;
    return true;
  }

  std::vector<OpenContainer> open_;
};

// The place of the value at which nlohmann/json stops in a text that it refuses, or that ends where
// the core stops.
std::string placeOfFault(std::string_view text) {
  PlaceTracker tracker;
  [[maybe_unused]] const bool isComplete = Json::sax_parse(text, &tracker);
  return tracker.place();
}

std::string reasonOfFault(std::string_view text, const JsonFault& fault) {
  const std::string offset = std::to_string(fault.offset);
  if (fault.kind == JsonFaultKind::END_OF_TEXT) return "cut off after byte " + offset;
  std::string reason = "not JSON: line ";
  return reason.append(std::to_string(positionOf(text, fault.offset).line))
      .append(", byte ")
      .append(offset)
      .append(" of the text: ")
      .append(egress::toString(fault.kind));
}

}  // namespace

Refusal refusalAt(const Place& place, std::string reason) {
  std::vector<std::string> steps;  // from the value to the root
  for (const Place* step = &place; step->parent != nullptr; step = step->parent) {
    steps.push_back(step->index ? std::to_string(*step->index)
                                : std::string(step->key.substr(0, kMaxShown)));
  }
  Json::json_pointer pointer;
  std::ranges::reverse(steps);
  for (const std::string& step : steps) pointer.push_back(step);
  return {.place = pointer.to_string(), .reason = std::move(reason)};
}

std::string shownValue(const Json& value) {
  if (value.is_structured()) return std::string("an ").append(value.type_name());
  constexpr int kNoIndent = -1;
  if (!value.is_string()) return value.dump(kNoIndent);
  const auto& text = value.get_ref<const std::string&>();
  // Not UTF-8 if it is cut inside a character.
  const Json shown = text.substr(0, kMaxShown);
  return shown.dump(kNoIndent, ' ', /*ensure_ascii=*/true, error_handler_t::replace)
      .append(text.size() > kMaxShown ? "..." : "");
}

Refusal refuse(const Place& place, const Json& value, const char* verdict) {
  return refusalAt(place, shownValue(value).append(" ").append(verdict));
}

Problem readValue(const Json& value, const Place& place, bool& result) {
  if (!value.is_boolean()) return refuse(place, value, "is not true or false");
  result = value.get<bool>();
  return std::nullopt;
}

Problem readValue(const Json& value, const Place& place, std::int64_t& result) {
  if (!value.is_number()) return refuse(place, value, "is not a number");
  if (!value.is_number_integer()) return refuse(place, value, "is not an integer that fits");
  // nlohmann/json has an unsigned number for every integer without a sign.
  const bool isHuge =
      value.is_number_unsigned() && !std::in_range<std::int64_t>(value.get<std::uint64_t>());
  if (isHuge) return refuse(place, value, "does not fit");
  result = value.get<std::int64_t>();
  return std::nullopt;
}

Problem parseJson(std::string_view text, JsonTree& tree) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // some editors write it
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  if (text.empty()) return Refusal{.place = "", .reason = "the text is empty"};
  // First the core's reader: nlohmann/json accepts any depth, and ignores what follows a zero byte.
  if (const std::optional<JsonFault> fault = findJsonFault(text)) {
    return Refusal{.place = placeOfFault(text.substr(0, fault->offset)),
                   .reason = reasonOfFault(text, *fault)};
  }
  if (parseInto(tree, text)) return std::nullopt;
  return Refusal{.place = placeOfFault(text),
                 .reason =
                     "not strict JSON: invalid UTF-8, a control character or an unpaired "
                     "surrogate in a string, or a number with a leading zero or out of range"};
}

bool isUtf8(const std::string& bytes) {
  const auto isAscii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
  if (std::ranges::all_of(bytes, isAscii)) return true;  // nearly always, and much faster
  const std::string withoutInvalid =
      Json(bytes).dump(-1, ' ', /*ensure_ascii=*/false, error_handler_t::ignore);
  return Json::parse(withoutInvalid, nullptr, /*allow_exceptions=*/false) == bytes;
}

}  // namespace egress::snapshot
