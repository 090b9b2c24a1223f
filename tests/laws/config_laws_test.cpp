// Configurations and selectors' answers, held against a second, plain reading of both, and against
// changes that must not matter.

#include "tests/laws/config_laws.h"

#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"
#include "tests/laws/every_text.h"
#include "tests/laws/random_rounds.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

// Fails for each name that was counted less than `least` times, and prints the others' numbers.
void expectEach(const Census& census, std::size_t least, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const auto found = census.find(name);
    const std::size_t times = found == census.end() ? 0 : found->second;
    EXPECT_GE(times, least) << name;
    std::cout << times << " x " << name << "\n";
  }
}

std::vector<std::string> eachWith(const std::vector<std::string>& names,
                                  const std::vector<std::string>& endings) {
  std::vector<std::string> all;
  for (const std::string& name : names) {
    for (const std::string& ending : endings) all.push_back(joined({name, ending}));
  }
  return all;
}

const std::vector<std::string> kYesAndNo = {": yes", ": no"};
const std::vector<std::string> kPlaces = {"root", "route", "outbound", "transport", "elsewhere"};
const std::vector<std::string> kTelling = {"telling root", "telling answer"};
const std::vector<std::string> kOutboundKeys = {
    "outbound, tag",         "outbound, type",         "outbound, detour",   "outbound, server",
    "outbound, server_port", "outbound, server_ports", "outbound, transport"};

std::string_view yesOrNo(bool is) {
  return is ? ": yes" : ": no";
}

void countOutbound(const Outbound& outbound, Census& census) {
  const auto count = [&census](std::string_view what, bool is) {
    ++census[joined({what, yesOrNo(is)})];
  };
  count("tag", !outbound.tag.empty());
  count("type", !outbound.type.empty());
  count("detour", !outbound.detour.empty());
  count("server", outbound.hasServer);
  count("port specified", outbound.portSpecified);
  count("malformed", outbound.portMalformed);
  count("hopping", outbound.portHopping);
  count("malformed and hopping", outbound.portMalformed && outbound.portHopping);
  count("one port", outbound.ports.size() == 1);
  count("several ports", outbound.ports.size() > 1);
  count("transport", outbound.hasTransport);
  count("transport type", !outbound.transportType.empty());
}

void countConfig(std::string_view text, Census& census) {
  const ProxyConfig config = readProxyConfig(text, true);
  ++census[toString(config.configStatus)];
  if (config.configStatus != ConfigStatus::OK) return;
  ++census[joined({"detects", yesOrNo(config.autoDetectInterface)})];
  ++census[joined({"several outbounds", yesOrNo(config.outbounds.size() > 1)})];
  for (const Outbound& outbound : config.outbounds) countOutbound(outbound, census);
}

void countAnswer(std::string_view text, Census& census) {
  switch (readSelectorAnswer(text, nullptr)) {
    case SelectorAnswerStatus::Ok: ++census["ok"]; break;
    case SelectorAnswerStatus::TransportFailed: ++census["transport failed"]; break;
    case SelectorAnswerStatus::Malformed: ++census["malformed"]; break;
    case SelectorAnswerStatus::NowMissing: ++census["now missing"]; break;
  }
}

// A configuration with one of everything that is looked into, and objects where none should be.
constexpr std::string_view kConfig =
    R"({"log":{"level":"info","output":""},"route":{"final":"proxy","auto_detect_interface":true,"rules":[{}]},)"
    R"("outbounds":[{"type":"vmess","tag":"proxy","detour":"front","server":"198.51.100.10",)"
    R"("server_port":443,"server_ports":["8443","20000:40000"],)"
    R"("transport":{"path":"/ray","type":"ws","headers":{"Host":"h"}},"tls":{"enabled":true}},)"
    R"({"tag":{"x":1},"server_port":{},"server_ports":[{"y":2}],"transport":[{}]},[{}],{}]})";

std::string configOf(std::string_view outboundMembers) {
  return joined(
      {R"({"route":{"auto_detect_interface":true},"outbounds":[{)", outboundMembers, "}]}"});
}

TEST(ConfigLaws, RandomBytesAreReadAsByThePlainReading) {
  holdOnRandomBytes(20'000, 12, judgeConfigText);
  holdOnRandomBytes(20'000, 12, judgeSelectorAnswerText);
}

TEST(ConfigLaws, GeneratedConfigurationsAreReadAsByThePlainReading) {
  Census census;
  holdOnRandomBytes(10'000, 250, [&census](std::string_view bytes) {
    Choices choices(bytes);
    const std::string text = generateConfigText(choices);
    countConfig(text, census);
    return judgeConfigText(text);
  });
  expectEach(
      census, 20,
      {"OK", "NO_CONFIG", "JSON_PARSE_FAILED", "AUTO_DETECT_MISSING", "AUTO_DETECT_INVALID"});
  expectEach(census, 20,
             eachWith({"detects", "several outbounds", "tag", "type", "detour", "server",
                       "port specified", "malformed", "hopping", "malformed and hopping",
                       "one port", "several ports", "transport", "transport type"},
                      kYesAndNo));
}

TEST(ConfigLaws, GeneratedAnswersAreReadAsByThePlainReading) {
  Census census;
  holdOnRandomBytes(25'000, 40, [&census](std::string_view bytes) {
    Choices choices(bytes);
    const std::string text = generateSelectorAnswerText(choices);
    countAnswer(text, census);
    return judgeSelectorAnswerText(text);
  });
  expectEach(census, 20, {"ok", "malformed", "now missing"});
  EXPECT_EQ(census.count("transport failed"), 0);
}

TEST(ConfigLaws, EveryShortEntryOfServerPortsIsReadAsByThePlainReading) {
  Census census;
  std::string entry;
  forEveryText("0156-:+", 5, entry, [&census](const std::string& text) {
    const std::string config = configOf(joined({R"("server_ports":[")", text, R"("])"}));
    ASSERT_EQ(judgeConfigText(config), "");
    countConfig(config, census);
  });
  EXPECT_EQ(census["OK"], 1 + 7 + 7 * 7 + 7 * 7 * 7 + 7 * 7 * 7 * 7 + 7 * 7 * 7 * 7 * 7);
  expectEach(census, 20, eachWith({"malformed", "hopping", "one port"}, kYesAndNo));
}

TEST(ConfigLaws, EveryShortServerPortIsReadAsByThePlainReading) {
  Census census;
  std::string port;
  forEveryText("0156-.e", 5, port, [&census](const std::string& text) {
    const std::string config = configOf(joined({R"("server_port":)", text}));
    ASSERT_EQ(judgeConfigText(config), "");
    countConfig(config, census);
  });
  expectEach(census, 20, {"JSON_PARSE_FAILED"});
  expectEach(census, 20, eachWith({"malformed", "one port"}, kYesAndNo));
}

TEST(ConfigLaws, AnUnknownKeyInAnyPlaceOfAConfigurationChangesNothing) {
  Census census;
  EXPECT_EQ(judgeEveryUnknownKey(TextKind::Config, kConfig, census), "");
  expectEach(census, 1, eachWith(kPlaces, {", front", ", middle", ", end"}));
}

TEST(ConfigLaws, AnUnknownKeyInAnyPlaceOfAnAnswerChangesNothing) {
  Census census;
  EXPECT_EQ(judgeEveryUnknownKey(
                TextKind::SelectorAnswer,
                R"({"name":"proxy","now":"node_3","history":[{"now":"x","delay":1}]})", census),
            "");
  expectEach(census, 1, eachWith({"answer", "elsewhere"}, {", front", ", middle", ", end"}));
}

using KeyLaw = Complaint (*)(TextKind kind, Choices& choices, Census& census);

void holdOnGeneratedTexts(KeyLaw law, TextKind kind, std::size_t rounds, std::size_t maxBytes,
                          Census& census) {
  holdOnRandomBytes(rounds, maxBytes, [&](std::string_view bytes) {
    Choices choices(bytes);
    return law(kind, choices, census);
  });
}

TEST(ConfigLaws, UnknownKeysInGeneratedTextsChangeNothing) {
  Census census;
  holdOnGeneratedTexts(judgeUnknownKeys, TextKind::Config, 5'000, 500, census);
  holdOnGeneratedTexts(judgeUnknownKeys, TextKind::SelectorAnswer, 8'000, 60, census);
  expectEach(census, 20, eachWith(kPlaces, {", front", ", middle", ", end"}));
  expectEach(census, 20, eachWith({"answer"}, {", front", ", middle", ", end"}));
  expectEach(census, 1'000, kTelling);
}

TEST(ConfigLaws, TheOrderOfKeysChangesNothing) {
  Census census;
  holdOnGeneratedTexts(judgeReorderedKeys, TextKind::Config, 5'000, 300, census);
  holdOnGeneratedTexts(judgeReorderedKeys, TextKind::SelectorAnswer, 8'000, 40, census);
  expectEach(census, 20, kPlaces);
  expectEach(census, 20, {"answer"});
  expectEach(census, 1'000, kTelling);
}

TEST(ConfigLaws, ARepeatedKeyBehindTheFirstOneChangesNothing) {
  Census census;
  holdOnGeneratedTexts(judgeRepeatedKeys, TextKind::Config, 5'000, 300, census);
  holdOnGeneratedTexts(judgeRepeatedKeys, TextKind::SelectorAnswer, 8'000, 40, census);
  expectEach(census, 20, {"root, route", "root, outbounds", "route, auto_detect_interface"});
  expectEach(census, 20, kOutboundKeys);
  expectEach(census, 20, {"transport, type", "answer, now"});
  expectEach(census, 1'000, kTelling);
}

TEST(ConfigLaws, NoOutboundChangesAnother) {
  Census census;
  holdOnRandomBytes(4'000, 200, [&census](std::string_view bytes) {
    Choices choices(bytes);
    return judgeOutboundsOnTheirOwn(choices, census);
  });
  expectEach(census, 20, {"kept", "skipped", "exchanged"});
}

}  // namespace
}  // namespace egress::test
