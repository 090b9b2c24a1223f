#ifndef EGRESS_TESTS_LAWS_CONFIG_DOCUMENTS_H
#define EGRESS_TESTS_LAWS_CONFIG_DOCUMENTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/laws/choices.h"

namespace egress::test {

// A configuration or a selector's answer before it is a text. Keeps the order of its keys.
using Document = nlohmann::ordered_json;

// Where a value stands. The readers look for other keys in each of these places; what they never
// look into is Elsewhere, however deep it is and whatever its keys are.
enum class Place : std::uint8_t { Root, Route, Outbounds, Outbound, Transport, Answer, Elsewhere };

std::string_view wordOf(Place place);

// True when a reader looks for the key in an object that stands there.
bool isKnown(Place place, std::string_view key);

// All keys that are known in some place, keys that are nearly those, and others.
const std::vector<std::string>& allKeys();

// An object with all keys that are known in some place, each with a good value; a reader that looks
// where it should not finds something there.
const Document& objectOfKnownKeys();

// Any JSON value.
Document generateJson(Choices& choices);

// A value that fits the key, or one that nearly fits, or rarely any JSON value. Without choices it
// is a good one.
Document generateValueOf(std::string_view key, Choices& choices);

// Objects with most of the keys that are known in their places and a few others.
Document generateConfig(Choices& choices);
Document generateOutboundObject(Choices& choices);
Document generateSelectorAnswer(Choices& choices);

using Members = std::vector<std::pair<std::string, Document>>;
using Edit = std::function<void(Members& members, Place place)>;

// Lets `edit` change the members of every object of the document, the inner objects first. What it
// adds is not edited in turn.
void editObjects(Document& document, Place place, const Edit& edit);

// The key as an edit adds it to an object that may have it already; a document holds no key twice,
// but its text does.
std::string oneMore(std::string_view key);

// The JSON text, in one line or in many, with bytes above 127 as such or as escapes.
std::string textOf(const Document& document, Choices& choices);

}  // namespace egress::test

#endif
