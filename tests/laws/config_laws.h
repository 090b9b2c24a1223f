#ifndef EGRESS_TESTS_LAWS_CONFIG_LAWS_H
#define EGRESS_TESTS_LAWS_CONFIG_LAWS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "tests/laws/choices.h"
#include "tests/laws/violation.h"

namespace egress::test {

// The number of cases by name, to show that a test covers each case.
using Counts = std::map<std::string, std::size_t, std::less<>>;

// The texts of the proxy engine that the library reads.
enum class TextKind : std::uint8_t { Config, SelectorAnswer };

// readProxyConfig gives the same record as a simple reader, and a consistent one. Without hasText
// it gives no configuration for any bytes. findConfigDefects agrees: see checkConfigDefects.
Violation checkConfigText(std::string_view text);

// The text has a defect outside its outbounds exactly when its status is not OK. An outbound that
// can be a leaf has a defect of its endpoint exactly when its classification is neither OK nor
// LEAF_HAS_NO_REMOTE_ENDPOINT; any other outbound has none.
Violation checkConfigDefects(std::string_view text);

// readSelectorAnswer gives the same result as a simple reader, with and without an output, and does
// not change the output unless the answer is Ok.
Violation checkSelectorAnswerText(std::string_view text);

// A text as the engine writes it, or with defects in values, keys or bytes. Empty if the choices
// are exhausted.
std::string generateConfigText(Choices& choices);
std::string generateSelectorAnswerText(Choices& choices);

// Three laws on generated texts. Each counts its changes, and the texts with a usable result as
// "usable root" or "usable answer".

// Adding unknown keys to objects does not change the result. Counts "root, front", "route, middle",
// "elsewhere, end" and so on.
Violation checkUnknownKeys(TextKind kind, Choices& choices, Counts& counts);

// Reordering keys does not change the result. Counts the reordered objects, as "root" and so on.
Violation checkReorderedKeys(TextKind kind, Choices& choices, Counts& counts);

// Repeating a key after its first occurrence, with any value, does not change the result. Counts
// "root", "outbound, server_port" and so on, with the key if it is known in its place.
Violation checkRepeatedKeys(TextKind kind, Choices& choices, Counts& counts);

// Adding any unknown key at any position of any object of this text does not change the result.
// Counts like checkUnknownKeys.
Violation checkEveryUnknownKey(TextKind kind, std::string_view text, Counts& counts);

// Reading outbounds together gives the same records as reading each on its own, also after one
// element was replaced. Counts elements "kept" and "skipped", and "replaced" when a kept element
// was replaced by a skipped one or the reverse.
Violation checkOutboundsAreIndependent(Choices& choices, Counts& counts);

}  // namespace egress::test

#endif
