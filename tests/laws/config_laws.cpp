#include "tests/laws/config_laws.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "egress/config/classify_endpoint.h"
#include "egress/config/config_defects.h"
#include "egress/config/protocols.h"
#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"
#include "tests/laws/config_documents.h"
#include "tests/laws/config_reading.h"
#include "tests/laws/mutate.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"
#include "tests/support/record_equality.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

// The output before a call. Longer than most answers, to detect a partial overwrite.
constexpr std::string_view kBefore = "a value that is longer than most answers";

Violation inconsistencyIn(const Outbound& outbound) {
  const auto isPort = [](std::uint32_t port) { return port >= 1 && port <= 65535; };
  if (!std::all_of(outbound.ports.begin(), outbound.ports.end(), isPort)) {
    return "port out of range";
  }
  if (outbound.hasServer == outbound.server.empty()) return "hasServer contradicts server";
  const bool hasPortData =
      !outbound.ports.empty() || outbound.portMalformed || outbound.portHopping;
  if (hasPortData && !outbound.portSpecified) return "port data without portSpecified";
  if (!outbound.transportType.empty() && !outbound.hasTransport) {
    return "transport type without hasTransport";
  }
  return {};
}

Violation inconsistencyIn(const ProxyConfig& config) {
  if (config.configStatus != ConfigStatus::OK) {
    if (config.autoDetectInterface) return "flag set in an unusable configuration";
    if (!config.outbounds.empty()) return "outbounds in an unusable configuration";
  }
  for (const Outbound& outbound : config.outbounds) {
    const Violation violation = inconsistencyIn(outbound);
    if (!violation.empty()) return violation + describe(outbound);
  }
  return {};
}

struct Subject {
  Place root;
  Document (*generate)(Choices& choices);
};

Subject subjectOf(TextKind kind) {
  return kind == TextKind::Config ? Subject{Place::Root, generateConfig}
                                  : Subject{Place::Answer, generateSelectorAnswer};
}

Violation checkSameResult(TextKind kind, const std::string& before, const std::string& after) {
  std::string was;
  std::string is;
  bool same = false;
  if (kind == TextKind::Config) {
    const ProxyConfig a = readProxyConfig(before, true);
    const ProxyConfig b = readProxyConfig(after, true);
    same = a == b;
    if (!same) was = describe(a);
    if (!same) is = describe(b);
  } else {
    std::string nowBefore(kBefore);
    std::string nowAfter(kBefore);
    was = describe(readSelectorAnswer(before, &nowBefore), nowBefore);
    is = describe(readSelectorAnswer(after, &nowAfter), nowAfter);
    same = was == is;
  }
  if (same) return {};
  return joined({before, "\nis read as ", was, "\nbut\n", after, "\nis read as ", is});
}

// True if the result contains an outbound or a choice.
bool isUsable(TextKind kind, std::string_view text) {
  return kind == TextKind::Config ? !readProxyConfig(text, true).outbounds.empty()
                                  : readSelectorAnswer(text, nullptr) == SelectorAnswerStatus::Ok;
}

// Compares the results for a generated document before and after the edit.
Violation checkEdit(TextKind kind, Choices& choices, Counts& counts, const Edit& edit) {
  const Subject subject = subjectOf(kind);
  const Document document = subject.generate(choices);
  Document edited = document;
  editObjects(edited, subject.root, edit);
  const std::string before = textOf(document, choices);
  if (isUsable(kind, before)) ++counts[joined({"usable ", wordOf(subject.root)})];
  return checkSameResult(kind, before, textOf(edited, choices));
}

std::vector<std::string> keysUnknownIn(Place place) {
  std::vector<std::string> unknown;
  std::copy_if(allKeys().begin(), allKeys().end(), std::back_inserter(unknown),
               [place](const std::string& key) { return !isKnown(place, key); });
  return unknown;
}

void insertAt(Members& members, std::size_t position, std::string_view key, Document value) {
  members.emplace(members.begin() + static_cast<std::ptrdiff_t>(position), duplicateKey(key),
                  std::move(value));
}

void countInsertion(Place place, std::size_t position, std::size_t size, Counts& counts) {
  std::string_view where = ", middle";
  if (position == size) where = ", end";
  if (position == 0) where = ", front";
  ++counts[joined({wordOf(place), where})];
}

// A position between the members of an object, or at its start or end.
struct Gap {
  std::size_t object = 0;  // number of the object in edit order
  Place place = Place::Elsewhere;
  std::size_t position = 0;
  std::size_t size = 0;  // of the object
};

std::vector<Gap> gapsOf(Document document, Place root) {
  std::vector<Gap> gaps;
  std::size_t object = 0;
  editObjects(document, root, [&](const Members& members, Place place) {
    for (std::size_t position = 0; position <= members.size(); ++position) {
      gaps.push_back({object, place, position, members.size()});
    }
    ++object;
  });
  return gaps;
}

void fillGap(Document& document, Place root, const Gap& gap, std::string_view key,
             const Document& value) {
  std::size_t object = 0;
  editObjects(document, root, [&](Members& members, Place /*place*/) {
    if (object++ == gap.object) insertAt(members, gap.position, key, value);
  });
}

// Keeps the order if the choices are exhausted.
void shuffle(Members& members, Choices& choices) {
  for (std::size_t i = members.size(); i > 1; --i) {
    std::swap(members[i - 1], members[i - 1 - choices.below(i)]);
  }
}

// Repeats one of the keys at a position after its first occurrence.
void repeatOneKey(Members& members, Place place, Choices& choices, Counts& counts) {
  if (members.empty()) return;
  const std::size_t first = choices.below(members.size());
  const std::string key = members[first].first;
  const std::size_t position = first + 1 + choices.below(members.size() - first);
  insertAt(members, position, key,
           choices.flag() ? generateJson(choices) : generateValueOf(key, choices));
  ++counts[isKnown(place, key) ? joined({wordOf(place), ", ", key}) : std::string(wordOf(place))];
}

ProxyConfig readOutbounds(const std::vector<Document>& elements, bool detects) {
  Document config = Document::object();
  config["route"]["auto_detect_interface"] = detects;
  config["outbounds"] = elements;
  Choices none("");
  return readProxyConfig(textOf(config, none), true);
}

// Compares reading the elements together with reading each on its own.
Violation checkOutboundList(const std::vector<Document>& elements, bool detects, Counts& counts) {
  ProxyConfig expected{
      .configStatus = ConfigStatus::OK, .autoDetectInterface = detects, .outbounds = {}};
  for (const Document& element : elements) {
    const ProxyConfig alone = readOutbounds({element}, detects);
    const std::size_t count = element.is_object() ? 1 : 0;
    ++counts[count == 1 ? "kept" : "skipped"];
    if (alone.outbounds.size() != count) {
      return joined({element.dump(), "\nis read as ", describe(alone)});
    }
    expected.outbounds.insert(expected.outbounds.end(), alone.outbounds.begin(),
                              alone.outbounds.end());
  }
  const ProxyConfig together = readOutbounds(elements, detects);
  if (together == expected) return {};
  return joined({Document(elements).dump(), "\nis read as ", describe(together),
                 "\nbut each on its own as ", describe(expected)});
}

constexpr std::string_view kAlphabet = "{}[]\":,\\ 019-+.eEu\ntfnr\0\x7F\xC3\xFF"sv;

std::string generateText(TextKind kind, Choices& choices) {
  if (choices.exhausted()) return {};
  const Subject subject = subjectOf(kind);
  Document document = subject.generate(choices);
  Counts ignored;
  editObjects(document, subject.root, [&](Members& members, Place place) {
    if (choices.below(4) == 3) repeatOneKey(members, place, choices, ignored);
    if (choices.below(4) == 3) shuffle(members, choices);
  });
  std::string text = textOf(document, choices);
  if (choices.below(4) == 3) mutate(text, kAlphabet, choices);
  return text;
}

bool isOfEndpoint(const ConfigDefect& defect) {
  if (defect.kind == ConfigDefectKind::SEVERAL_PORTS) return true;
  return defect.key == "type" || defect.key == "transport.type" || defect.key.starts_with("server");
}

// Whether an outbound could be a leaf, but is not usable as one.
bool lacksEndpoint(const Outbound& outbound) {
  if (outboundTypeOf(outbound.type) == OutboundType::Selector || !outbound.detour.empty()) {
    return false;
  }
  NumericAddress address;
  std::uint32_t port = 0;
  const ActiveEndpointStatus status = classifyEndpoint(outbound, address, port);
  return status != ActiveEndpointStatus::OK &&
         status != ActiveEndpointStatus::LEAF_HAS_NO_REMOTE_ENDPOINT;
}

}  // namespace

Violation checkConfigText(std::string_view text) {
  const ExactText exact(text);
  const ProxyConfig config = readProxyConfig(exact.view(), true);
  const Violation inconsistency = inconsistencyIn(config);
  if (!inconsistency.empty()) {
    return joined({text, "\ngives an inconsistent record: ", inconsistency});
  }
  const ProxyConfig expected = expectedConfig(text);
  if (config != expected) {
    return joined({text, "\nis read as ", describe(config), "\nexpected ", describe(expected)});
  }
  const ProxyConfig without = readProxyConfig(exact.view(), false);
  if (without != ProxyConfig{}) {
    return joined({text, "\nis read without hasText as ", describe(without)});
  }
  return checkConfigDefects(text);
}

Violation checkConfigDefects(std::string_view text) {
  const ProxyConfig config = readProxyConfig(ExactText(text).view(), true);
  bool outside = false;
  std::set<std::size_t> skipped;  // positions of elements that are not objects
  std::set<std::size_t> withoutEndpoint;
  for (const ConfigDefect& defect : findConfigDefects(ExactText(text).view(), {}, "")) {
    if (!defect.position) {
      outside = outside || defect.key != "outbounds";
    } else if (defect.kind == ConfigDefectKind::VALUE_UNUSABLE && defect.key.empty()) {
      skipped.insert(*defect.position);
    } else if (isOfEndpoint(defect)) {
      withoutEndpoint.insert(*defect.position);
    }
  }
  if (outside == (config.configStatus == ConfigStatus::OK)) {
    return joined({text, "\nhas defects that do not match ", toString(config.configStatus)});
  }
  std::size_t position = 0;
  for (const Outbound& outbound : config.outbounds) {
    while (skipped.contains(position)) ++position;
    if (withoutEndpoint.contains(position) != lacksEndpoint(outbound)) {
      return joined({text, "\nhas wrong defects of outbound ", std::to_string(position)});
    }
    ++position;
  }
  return {};
}

Violation checkSelectorAnswerText(std::string_view text) {
  const ExactText exact(text);
  std::string now(kBefore);
  const SelectorAnswerStatus status = readSelectorAnswer(exact.view(), &now);
  if (now.empty()) return joined({text, "\ngives an empty choice"});
  std::string expectedNow;
  const SelectorAnswerStatus expected = expectedAnswer(text, expectedNow);
  if (expected != SelectorAnswerStatus::Ok) expectedNow = kBefore;
  if (status != expected || now != expectedNow) {
    return joined({text, "\nis read as ", describe(status, now), "\nexpected ",
                   describe(expected, expectedNow)});
  }
  const SelectorAnswerStatus withoutOutput = readSelectorAnswer(exact.view(), nullptr);
  if (withoutOutput != status) {
    return joined({text, "\nis read without an output as ", describe(withoutOutput, "")});
  }
  return {};
}

std::string generateConfigText(Choices& choices) {
  return generateText(TextKind::Config, choices);
}

std::string generateSelectorAnswerText(Choices& choices) {
  return generateText(TextKind::SelectorAnswer, choices);
}

Violation checkUnknownKeys(TextKind kind, Choices& choices, Counts& counts) {
  return checkEdit(kind, choices, counts, [&](Members& members, Place place) {
    if (choices.flag()) return;
    const std::size_t size = members.size();
    const std::size_t position = choices.below(size + 1);
    const std::string key = choices.oneOf(keysUnknownIn(place));
    insertAt(members, position, key,
             choices.flag() ? generateJson(choices) : generateValueOf(key, choices));
    countInsertion(place, position, size, counts);
  });
}

Violation checkEveryUnknownKey(TextKind kind, std::string_view text, Counts& counts) {
  const Subject subject = subjectOf(kind);
  const Document document = Document::parse(text);
  for (const Gap& gap : gapsOf(document, subject.root)) {
    for (const std::string& key : keysUnknownIn(gap.place)) {
      Choices none("");
      for (const Document& value : {generateValueOf(key, none), objectOfKnownKeys(), Document()}) {
        Document edited = document;
        fillGap(edited, subject.root, gap, key, value);
        countInsertion(gap.place, gap.position, gap.size, counts);
        Violation violation = checkSameResult(kind, std::string(text), textOf(edited, none));
        if (!violation.empty()) return violation;
      }
    }
  }
  return {};
}

Violation checkReorderedKeys(TextKind kind, Choices& choices, Counts& counts) {
  return checkEdit(kind, choices, counts, [&](Members& members, Place place) {
    const Members before = members;
    shuffle(members, choices);
    if (members != before) ++counts[std::string(wordOf(place))];
  });
}

Violation checkRepeatedKeys(TextKind kind, Choices& choices, Counts& counts) {
  return checkEdit(kind, choices, counts, [&](Members& members, Place place) {
    if (choices.flag()) repeatOneKey(members, place, choices, counts);
  });
}

Violation checkOutboundsAreIndependent(Choices& choices, Counts& counts) {
  const bool detects = choices.flag();
  std::vector<Document> elements(choices.below(6));
  for (Document& element : elements) element = generateOutboundObject(choices);
  if (Violation violation = checkOutboundList(elements, detects, counts); !violation.empty()) {
    return violation;
  }
  if (elements.empty()) return {};
  Document& replaced = elements[choices.below(elements.size())];
  const bool wasKept = replaced.is_object();
  replaced = choices.flag() ? generateJson(choices) : generateOutboundObject(choices);
  if (wasKept != replaced.is_object()) ++counts["replaced"];
  return checkOutboundList(elements, detects, counts);
}

}  // namespace egress::test
