#ifndef EGRESS_TESTS_LAWS_CONFIG_LAWS_H
#define EGRESS_TESTS_LAWS_CONFIG_LAWS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "tests/laws/choices.h"
#include "tests/laws/complaint.h"

namespace egress::test {

// How often which case was met, by its name; a law that never met one has shown nothing of it.
using Census = std::map<std::string, std::size_t, std::less<>>;

// What the proxy engine writes and the library reads.
enum class TextKind : std::uint8_t { Config, SelectorAnswer };

// readProxyConfig gives what a plain transcription of its rules gives, in every field, and nothing
// that contradicts itself; without a text there is no configuration, whatever the bytes.
Complaint judgeConfigText(std::string_view text);

// readSelectorAnswer gives what a plain transcription of its rules gives, with an output and
// without one, and leaves the output alone unless the answer is Ok.
Complaint judgeSelectorAnswerText(std::string_view text);

// A text as the engine writes it, or with defects in its values, its keys or its bytes. No text at
// all when there are no choices.
std::string generateConfigText(Choices& choices);
std::string generateSelectorAnswerText(Choices& choices);

// Three laws on generated texts. Each counts what it changed, and as "telling root" or "telling
// answer" the texts from which there is something to read.

// What is read does not change when some objects, looked into or not, get a key that is not known
// in their place. Counts "root, front", "route, middle", "elsewhere, end" and so on.
Complaint judgeUnknownKeys(TextKind kind, Choices& choices, Census& census);

// What is read does not change with the order of the keys. Counts the objects that got another
// order, as "root" and so on.
Complaint judgeReorderedKeys(TextKind kind, Choices& choices, Census& census);

// What is read does not change when a key comes a second time, behind the first, with whatever
// value. Counts "root", "outbound, server_port" and so on; the key only where it is known.
Complaint judgeRepeatedKeys(TextKind kind, Choices& choices, Census& census);

// What is read does not change with any unknown key in any place of any object of this text. Counts
// as judgeUnknownKeys does.
Complaint judgeEveryUnknownKey(TextKind kind, std::string_view text, Census& census);

// Reading many outbounds gives what reading each on its own gives, one after the other; also when
// one of them is exchanged for another. Counts the elements "skipped" and "kept", and those that
// were "exchanged" for one of which that is not true.
Complaint judgeOutboundsOnTheirOwn(Choices& choices, Census& census);

}  // namespace egress::test

#endif
