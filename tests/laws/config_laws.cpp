#include "tests/laws/config_laws.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"
#include "tests/laws/config_documents.h"
#include "tests/laws/config_reading.h"
#include "tests/laws/damage.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

// An output that a partial overwrite would show in: longer than the choices of most answers.
constexpr std::string_view kBefore = "the choice that was known before this answer";

Complaint contradictionIn(const Outbound& outbound) {
  const auto isPort = [](std::uint32_t port) { return port >= 1 && port <= 65535; };
  if (!std::all_of(outbound.ports.begin(), outbound.ports.end(), isPort)) return "no such port";
  if (outbound.hasServer == outbound.server.empty()) return "a server and none";
  const bool saysPort = !outbound.ports.empty() || outbound.portMalformed || outbound.portHopping;
  if (saysPort && !outbound.portSpecified) return "a port that nobody specified";
  if (!outbound.transportType.empty() && !outbound.hasTransport) return "a type of no transport";
  return {};
}

Complaint contradictionIn(const ProxyConfig& config) {
  if (config.configStatus != ConfigStatus::OK) {
    if (config.autoDetectInterface) return "a flag of an unusable configuration";
    if (!config.outbounds.empty()) return "outbounds of an unusable configuration";
  }
  for (const Outbound& outbound : config.outbounds) {
    const Complaint complaint = contradictionIn(outbound);
    if (!complaint.empty()) return complaint + describe(outbound);
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

Complaint judgeSameReading(TextKind kind, const std::string& before, const std::string& after) {
  std::string was;
  std::string is;
  bool same = false;
  if (kind == TextKind::Config) {
    const ProxyConfig a = readProxyConfig(before, true);
    const ProxyConfig b = readProxyConfig(after, true);
    same = sameConfig(a, b);
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
  return joined({before, "\nis read as ", was, "\nbut\n", after, "\nas ", is});
}

// True when more is read from the text than that it cannot be used.
bool isTelling(TextKind kind, std::string_view text) {
  return kind == TextKind::Config ? !readProxyConfig(text, true).outbounds.empty()
                                  : readSelectorAnswer(text, nullptr) == SelectorAnswerStatus::Ok;
}

// Generates a document and holds its text against that of the same document after the edit.
Complaint judgeEdited(TextKind kind, Choices& choices, Census& census, const Edit& edit) {
  const Subject subject = subjectOf(kind);
  const Document document = subject.generate(choices);
  Document edited = document;
  editObjects(edited, subject.root, edit);
  const std::string before = textOf(document, choices);
  if (isTelling(kind, before)) ++census[joined({"telling ", wordOf(subject.root)})];
  return judgeSameReading(kind, before, textOf(edited, choices));
}

std::vector<std::string> keysUnknownIn(Place place) {
  std::vector<std::string> unknown;
  std::copy_if(allKeys().begin(), allKeys().end(), std::back_inserter(unknown),
               [place](const std::string& key) { return !isKnown(place, key); });
  return unknown;
}

void insertAt(Members& members, std::size_t position, std::string_view key, Document value) {
  members.emplace(members.begin() + static_cast<std::ptrdiff_t>(position), oneMore(key),
                  std::move(value));
}

void countInsertion(Place place, std::size_t position, std::size_t size, Census& census) {
  std::string_view where = ", middle";
  if (position == size) where = ", end";
  if (position == 0) where = ", front";
  ++census[joined({wordOf(place), where})];
}

// Before, between or behind the members of an object.
struct Gap {
  std::size_t object = 0;  // in the order in which they are edited
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

// Changes the order; the first choices leave it.
void shuffle(Members& members, Choices& choices) {
  for (std::size_t i = members.size(); i > 1; --i) {
    std::swap(members[i - 1], members[i - 1 - choices.below(i)]);
  }
}

// Puts one of the keys that are there a second time somewhere behind the first one.
void repeatOneKey(Members& members, Place place, Choices& choices, Census& census) {
  if (members.empty()) return;
  const std::size_t first = choices.below(members.size());
  const std::string key = members[first].first;
  const std::size_t position = first + 1 + choices.below(members.size() - first);
  insertAt(members, position, key,
           choices.flag() ? generateJson(choices) : generateValueOf(key, choices));
  ++census[isKnown(place, key) ? joined({wordOf(place), ", ", key}) : std::string(wordOf(place))];
}

ProxyConfig readOutbounds(const std::vector<Document>& elements, bool detects) {
  Document config = Document::object();
  config["route"]["auto_detect_interface"] = detects;
  config["outbounds"] = elements;
  Choices none("");
  return readProxyConfig(textOf(config, none), true);
}

// Reads the elements together and each on its own.
Complaint judgeList(const std::vector<Document>& elements, bool detects, Census& census) {
  ProxyConfig expected{
      .configStatus = ConfigStatus::OK, .autoDetectInterface = detects, .outbounds = {}};
  for (const Document& element : elements) {
    const ProxyConfig alone = readOutbounds({element}, detects);
    const std::size_t wanted = element.is_object() ? 1 : 0;
    ++census[wanted == 1 ? "kept" : "skipped"];
    if (alone.outbounds.size() != wanted) {
      return joined({element.dump(), "\nis read as ", describe(alone)});
    }
    expected.outbounds.insert(expected.outbounds.end(), alone.outbounds.begin(),
                              alone.outbounds.end());
  }
  const ProxyConfig together = readOutbounds(elements, detects);
  if (sameConfig(together, expected)) return {};
  return joined({Document(elements).dump(), "\nis read as ", describe(together),
                 "\nbut one by one as ", describe(expected)});
}

constexpr std::string_view kTellingBytes = "{}[]\":,\\ 019-+.eEu\ntfnr\0\x7F\xC3\xFF"sv;

std::string generateText(TextKind kind, Choices& choices) {
  if (choices.exhausted()) return {};
  const Subject subject = subjectOf(kind);
  Document document = subject.generate(choices);
  Census uncounted;
  editObjects(document, subject.root, [&](Members& members, Place place) {
    if (choices.below(4) == 3) repeatOneKey(members, place, choices, uncounted);
    if (choices.below(4) == 3) shuffle(members, choices);
  });
  std::string text = textOf(document, choices);
  if (choices.below(4) == 3) damage(text, kTellingBytes, choices);
  return text;
}

}  // namespace

Complaint judgeConfigText(std::string_view text) {
  const ExactText exact(text);
  const ProxyConfig config = readProxyConfig(exact.view(), true);
  const Complaint contradiction = contradictionIn(config);
  if (!contradiction.empty()) return joined({text, "\nis read as ", contradiction});
  const ProxyConfig expected = expectedConfig(text);
  if (!sameConfig(config, expected)) {
    return joined({text, "\nis read as ", describe(config), "\nnot as ", describe(expected)});
  }
  const ProxyConfig without = readProxyConfig(exact.view(), false);
  if (!sameConfig(without, ProxyConfig{})) {
    return joined({text, "\nis read, although there is none, as ", describe(without)});
  }
  return {};
}

Complaint judgeSelectorAnswerText(std::string_view text) {
  const ExactText exact(text);
  std::string now(kBefore);
  const SelectorAnswerStatus status = readSelectorAnswer(exact.view(), &now);
  if (now.empty()) return joined({text, "\nnames an empty choice"});
  std::string expectedNow;
  const SelectorAnswerStatus expected = expectedAnswer(text, expectedNow);
  if (expected != SelectorAnswerStatus::Ok) expectedNow = kBefore;
  if (status != expected || now != expectedNow) {
    return joined({text, "\nis read as ", describe(status, now), "\nnot as ",
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

Complaint judgeUnknownKeys(TextKind kind, Choices& choices, Census& census) {
  return judgeEdited(kind, choices, census, [&](Members& members, Place place) {
    if (choices.flag()) return;
    const std::size_t size = members.size();
    const std::size_t position = choices.below(size + 1);
    const std::string key = choices.oneOf(keysUnknownIn(place));
    insertAt(members, position, key,
             choices.flag() ? generateJson(choices) : generateValueOf(key, choices));
    countInsertion(place, position, size, census);
  });
}

Complaint judgeEveryUnknownKey(TextKind kind, std::string_view text, Census& census) {
  const Subject subject = subjectOf(kind);
  const Document document = Document::parse(text);
  for (const Gap& gap : gapsOf(document, subject.root)) {
    for (const std::string& key : keysUnknownIn(gap.place)) {
      Choices none("");
      for (const Document& value : {generateValueOf(key, none), objectOfKnownKeys(), Document()}) {
        Document edited = document;
        fillGap(edited, subject.root, gap, key, value);
        countInsertion(gap.place, gap.position, gap.size, census);
        Complaint complaint = judgeSameReading(kind, std::string(text), textOf(edited, none));
        if (!complaint.empty()) return complaint;
      }
    }
  }
  return {};
}

Complaint judgeReorderedKeys(TextKind kind, Choices& choices, Census& census) {
  return judgeEdited(kind, choices, census, [&](Members& members, Place place) {
    const Members before = members;
    shuffle(members, choices);
    if (members != before) ++census[std::string(wordOf(place))];
  });
}

Complaint judgeRepeatedKeys(TextKind kind, Choices& choices, Census& census) {
  return judgeEdited(kind, choices, census, [&](Members& members, Place place) {
    if (choices.flag()) repeatOneKey(members, place, choices, census);
  });
}

Complaint judgeOutboundsOnTheirOwn(Choices& choices, Census& census) {
  const bool detects = choices.flag();
  std::vector<Document> elements(choices.below(6));
  for (Document& element : elements) element = generateOutboundObject(choices);
  if (Complaint complaint = judgeList(elements, detects, census); !complaint.empty()) {
    return complaint;
  }
  if (elements.empty()) return {};
  Document& exchanged = elements[choices.below(elements.size())];
  const bool wasKept = exchanged.is_object();
  exchanged = choices.flag() ? generateJson(choices) : generateOutboundObject(choices);
  if (wasKept != exchanged.is_object()) ++census["exchanged"];
  return judgeList(elements, detects, census);
}

}  // namespace egress::test
