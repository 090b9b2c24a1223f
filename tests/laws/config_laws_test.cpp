// Compares the readers of configurations and selector answers with simple readers, and checks that
// irrelevant changes of a text do not change the result.

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

// Prints the count of each name and fails if it is less than `least`.
void expectEach(const Counts& counts, std::size_t least, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const auto found = counts.find(name);
    const std::size_t times = found == counts.end() ? 0 : found->second;
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
const std::vector<std::string> kUsable = {"usable root", "usable answer"};
const std::vector<std::string> kOutboundKeys = {
    "outbound, tag",         "outbound, type",         "outbound, detour",   "outbound, server",
    "outbound, server_port", "outbound, server_ports", "outbound, transport"};

std::string_view yesOrNo(bool is) {
  return is ? ": yes" : ": no";
}

void countOutbound(const Outbound& outbound, Counts& counts) {
  const auto count = [&counts](std::string_view what, bool is) {
    ++counts[joined({what, yesOrNo(is)})];
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

void countConfig(std::string_view text, Counts& counts) {
  const ProxyConfig config = readProxyConfig(text, true);
  ++counts[toString(config.configStatus)];
  if (config.configStatus != ConfigStatus::OK) return;
  ++counts[joined({"detects", yesOrNo(config.autoDetectInterface)})];
  ++counts[joined({"several outbounds", yesOrNo(config.outbounds.size() > 1)})];
  for (const Outbound& outbound : config.outbounds) countOutbound(outbound, counts);
}

void countAnswer(std::string_view text, Counts& counts) {
  switch (readSelectorAnswer(text, nullptr)) {
    case SelectorAnswerStatus::Ok: ++counts["ok"]; break;
    case SelectorAnswerStatus::TransportFailed: ++counts["transport failed"]; break;
    case SelectorAnswerStatus::Malformed: ++counts["malformed"]; break;
    case SelectorAnswerStatus::NowMissing: ++counts["now missing"]; break;
  }
}

// A configuration with an object in every place, and objects where other kinds are expected.
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

TEST(ConfigLaws, RandomBytesMatchTheSimpleReaders) {
  checkOnRandomBytes(20'000, 12, checkConfigText);
  checkOnRandomBytes(20'000, 12, checkSelectorAnswerText);
}

TEST(ConfigLaws, GeneratedConfigurationsMatchTheSimpleReader) {
  Counts counts;
  checkOnRandomBytes(10'000, 250, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    const std::string text = generateConfigText(choices);
    countConfig(text, counts);
    return checkConfigText(text);
  });
  expectEach(
      counts, 20,
      {"OK", "NO_CONFIG", "JSON_PARSE_FAILED", "AUTO_DETECT_MISSING", "AUTO_DETECT_INVALID"});
  expectEach(counts, 20,
             eachWith({"detects", "several outbounds", "tag", "type", "detour", "server",
                       "port specified", "malformed", "hopping", "malformed and hopping",
                       "one port", "several ports", "transport", "transport type"},
                      kYesAndNo));
}

TEST(ConfigLaws, GeneratedAnswersMatchTheSimpleReader) {
  Counts counts;
  checkOnRandomBytes(25'000, 40, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    const std::string text = generateSelectorAnswerText(choices);
    countAnswer(text, counts);
    return checkSelectorAnswerText(text);
  });
  expectEach(counts, 20, {"ok", "malformed", "now missing"});
  EXPECT_EQ(counts.count("transport failed"), 0);
}

// What an outbound needs besides a port to be a usable endpoint.
constexpr std::string_view kEndpoint = R"("type":"vless","server":"192.0.2.1",)";

TEST(ConfigLaws, EveryShortServerPortsEntryMatchesTheSimpleReader) {
  Counts counts;
  std::string entry;
  forEveryText("0156-:+", 5, entry, [&counts](const std::string& text) {
    const std::string config = configOf(joined({kEndpoint, R"("server_ports":[")", text, R"("])"}));
    ASSERT_EQ(checkConfigText(config), "");
    countConfig(config, counts);
  });
  EXPECT_EQ(counts["OK"], 1 + 7 + 7 * 7 + 7 * 7 * 7 + 7 * 7 * 7 * 7 + 7 * 7 * 7 * 7 * 7);
  expectEach(counts, 20, eachWith({"malformed", "hopping", "one port"}, kYesAndNo));
}

TEST(ConfigLaws, EveryShortServerPortMatchesTheSimpleReader) {
  Counts counts;
  std::string port;
  forEveryText("0156-.e", 5, port, [&counts](const std::string& text) {
    const std::string config = configOf(joined({kEndpoint, R"("server_port":)", text}));
    ASSERT_EQ(checkConfigText(config), "");
    countConfig(config, counts);
  });
  expectEach(counts, 20, {"JSON_PARSE_FAILED"});
  expectEach(counts, 20, eachWith({"malformed", "one port"}, kYesAndNo));
}

TEST(ConfigLaws, AnUnknownKeyAnywhereInAConfigurationChangesNothing) {
  Counts counts;
  EXPECT_EQ(checkEveryUnknownKey(TextKind::Config, kConfig, counts), "");
  expectEach(counts, 1, eachWith(kPlaces, {", front", ", middle", ", end"}));
}

TEST(ConfigLaws, AnUnknownKeyAnywhereInAnAnswerChangesNothing) {
  Counts counts;
  EXPECT_EQ(checkEveryUnknownKey(
                TextKind::SelectorAnswer,
                R"({"name":"proxy","now":"node_3","history":[{"now":"x","delay":1}]})", counts),
            "");
  expectEach(counts, 1, eachWith({"answer", "elsewhere"}, {", front", ", middle", ", end"}));
}

using KeyLaw = Violation (*)(TextKind kind, Choices& choices, Counts& counts);

void checkOnGeneratedTexts(KeyLaw law, TextKind kind, std::size_t rounds, std::size_t maxBytes,
                           Counts& counts) {
  checkOnRandomBytes(rounds, maxBytes, [&](std::string_view bytes) {
    Choices choices(bytes);
    return law(kind, choices, counts);
  });
}

TEST(ConfigLaws, UnknownKeysInGeneratedTextsChangeNothing) {
  Counts counts;
  checkOnGeneratedTexts(checkUnknownKeys, TextKind::Config, 5'000, 500, counts);
  checkOnGeneratedTexts(checkUnknownKeys, TextKind::SelectorAnswer, 8'000, 60, counts);
  expectEach(counts, 20, eachWith(kPlaces, {", front", ", middle", ", end"}));
  expectEach(counts, 20, eachWith({"answer"}, {", front", ", middle", ", end"}));
  expectEach(counts, 1'000, kUsable);
}

TEST(ConfigLaws, TheOrderOfKeysChangesNothing) {
  Counts counts;
  checkOnGeneratedTexts(checkReorderedKeys, TextKind::Config, 5'000, 300, counts);
  checkOnGeneratedTexts(checkReorderedKeys, TextKind::SelectorAnswer, 8'000, 40, counts);
  expectEach(counts, 20, kPlaces);
  expectEach(counts, 20, {"answer"});
  expectEach(counts, 1'000, kUsable);
}

TEST(ConfigLaws, ARepeatedKeyChangesNothing) {
  Counts counts;
  checkOnGeneratedTexts(checkRepeatedKeys, TextKind::Config, 5'000, 300, counts);
  checkOnGeneratedTexts(checkRepeatedKeys, TextKind::SelectorAnswer, 8'000, 40, counts);
  expectEach(counts, 20, {"root, route", "root, outbounds", "route, auto_detect_interface"});
  expectEach(counts, 20, kOutboundKeys);
  expectEach(counts, 20, {"transport, type", "answer, now"});
  expectEach(counts, 1'000, kUsable);
}

TEST(ConfigLaws, OutboundsAreReadIndependently) {
  Counts counts;
  checkOnRandomBytes(4'000, 200, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    return checkOutboundsAreIndependent(choices, counts);
  });
  expectEach(counts, 20, {"kept", "skipped", "replaced"});
}

}  // namespace
}  // namespace egress::test
