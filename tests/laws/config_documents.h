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

// A configuration or a selector's answer before serialization. Keeps the order of its keys.
using Document = nlohmann::ordered_json;

// The position of a value in a document. The readers look for different keys in each place; values
// that they never look into are Elsewhere.
enum class Place : std::uint8_t { Root, Route, Outbounds, Outbound, Transport, Answer, Elsewhere };

std::string_view wordOf(Place place);

// True if a reader looks for the key in an object at this place.
bool isKnown(Place place, std::string_view key);

// The known keys of all places, near misses and others.
const std::vector<std::string>& allKeys();

// An object with the known keys of all places and valid values. A reader that looks where it should
// not finds something there.
const Document& objectOfKnownKeys();

// Any JSON value.
Document generateJson(Choices& choices);

// A value for the key: valid, a near miss, or rarely any JSON value. Valid if the choices are
// exhausted.
Document generateValueOf(std::string_view key, Choices& choices);

// Objects with most known keys of their places and a few others.
Document generateConfig(Choices& choices);
Document generateOutboundObject(Choices& choices);
Document generateSelectorAnswer(Choices& choices);

using Members = std::vector<std::pair<std::string, Document>>;
using Edit = std::function<void(Members& members, Place place)>;

// Calls `edit` with the members of every object of the document, inner objects first. Values that
// `edit` adds are not edited.
void editObjects(Document& document, Place place, const Edit& edit);

// The key with a mark that textOf removes. It lets an edit add a key that the object already has,
// because a Document cannot hold duplicate keys.
std::string duplicateKey(std::string_view key);

// The JSON text, on one line or indented, with non-ASCII characters raw or escaped.
std::string textOf(const Document& document, Choices& choices);

}  // namespace egress::test

#endif
