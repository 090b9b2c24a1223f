#include "egress/config/config_defects.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/config/classify_endpoint.h"
#include "egress/config/proxy_config.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A defect as one line: kind, position, 'tag', key, kind of the value and <value>.
std::string lineOf(const ConfigDefect& defect) {
  std::string line = toString(defect.kind);
  if (defect.position) line.append(" ").append(std::to_string(*defect.position));
  if (!defect.tag.empty()) line.append(" '").append(defect.tag).append("'");
  if (!defect.key.empty()) line.append(" ").append(defect.key);
  if (defect.kind == ConfigDefectKind::VALUE_UNUSABLE) {
    line.append(" ").append(toString(defect.valueKind));
    line.append("<").append(defect.value).append(">");
  }
  return line;
}

std::vector<std::string> linesOf(std::string_view text,
                                 const std::vector<SelectorAnswer>& answers = {},
                                 std::string_view hint = "") {
  std::vector<std::string> lines;
  for (const ConfigDefect& defect : findConfigDefects(text, answers, hint)) {
    lines.push_back(lineOf(defect));
  }
  return lines;
}

std::string configOf(std::string_view outbounds) {
  return R"({"route":{"auto_detect_interface":true},"outbounds":)" + std::string(outbounds) + "}";
}

constexpr std::string_view kGood =
    R"({"tag":"proxy","type":"vless","server":"192.0.2.1","server_port":443})";

TEST(ConfigDefects, NoneInAUsableConfiguration) {
  EXPECT_THAT(linesOf(configOf("[" + std::string(kGood) + "]"), {}, "proxy"), IsEmpty());
  EXPECT_THAT(linesOf(configOf("[]")), IsEmpty());
  const std::vector<SelectorAnswer> answers = {
      {.selectorTag = "proxy", .status = SelectorAnswerStatus::Ok, .now = "a"}};
  EXPECT_THAT(linesOf(configOf(R"([{"tag":"proxy","type":"selector"},{"tag":"d","type":"direct"},
      {"tag":"a","type":"trojan","server":"2001:db8::1","server_ports":["443"],
       "transport":{"type":"ws"}}])"),
                      answers, "a"),
              IsEmpty());
}

TEST(ConfigDefects, InvalidJsonOrANonObjectRootIsTheOnlyDefect) {
  EXPECT_THAT(linesOf("", {}, "hint"), ElementsAre("NOT_JSON"));
  EXPECT_THAT(linesOf("{"), ElementsAre("NOT_JSON"));
  EXPECT_THAT(linesOf("[1]"), ElementsAre("VALUE_UNUSABLE Array<>"));
  EXPECT_THAT(linesOf("true"), ElementsAre("VALUE_UNUSABLE Bool<true>"));
  EXPECT_THAT(linesOf("false"), ElementsAre("VALUE_UNUSABLE Bool<false>"));
}

TEST(ConfigDefects, NamesBadRouteAndOutbounds) {
  EXPECT_THAT(linesOf("{}"), ElementsAre("KEY_MISSING route", "KEY_MISSING outbounds"));
  EXPECT_THAT(linesOf(R"({"route":[],"outbounds":{}})"),
              ElementsAre("VALUE_UNUSABLE route Array<>", "VALUE_UNUSABLE outbounds Object<>"));
  EXPECT_THAT(linesOf(R"({"route":{},"outbounds":[]})"),
              ElementsAre("KEY_MISSING route.auto_detect_interface"));
  EXPECT_THAT(linesOf(R"({"route":{"auto_detect_interface":"true"},"outbounds":[]})"),
              ElementsAre("VALUE_UNUSABLE route.auto_detect_interface String<true>"));
}

TEST(ConfigDefects, PositionsIncludeNonObjectElements) {
  EXPECT_THAT(
      linesOf(configOf("[7,null," + std::string(kGood) + R"(,{"type":"direct"}])")),
      ElementsAre("VALUE_UNUSABLE 0 Integer<7>", "VALUE_UNUSABLE 1 Null<>", "KEY_MISSING 3 tag"));
}

TEST(ConfigDefects, NamesTheKeysOfAnEndpointAndTheirValues) {
  struct Row {
    std::string_view members;  // after the tag "a"
    std::vector<std::string> lines;
  };
  const std::vector<Row> rows = {
      {R"("type":"vless")", {"KEY_MISSING 0 'a' server", "KEY_MISSING 0 'a' server_port"}},
      {R"("type":"vless","server":"de-1.example","server_port":443)",
       {"VALUE_UNUSABLE 0 'a' server String<de-1.example>"}},
      {R"("type":"vless","server":"","server_port":443)", {"VALUE_UNUSABLE 0 'a' server String<>"}},
      {R"("type":"vless","server":7,"server_port":443)",
       {"VALUE_UNUSABLE 0 'a' server Integer<7>"}},
      {R"("type":"vless","server":"192.0.2.1","server_port":70000)",
       {"VALUE_UNUSABLE 0 'a' server_port Integer<70000>"}},
      {R"("type":"vless","server":"192.0.2.1","server_port":443.5e0)",
       {"VALUE_UNUSABLE 0 'a' server_port Number<443.5e0>"}},
      {R"("type":"vless","server":"192.0.2.1","server_port":99999999999999999999)",
       {"VALUE_UNUSABLE 0 'a' server_port Number<99999999999999999999>"}},
      {R"("type":"vless","server":"192.0.2.1","server_port":"443")",
       {"VALUE_UNUSABLE 0 'a' server_port String<443>"}},
      {R"("type":"vless","server":"192.0.2.1","server_ports":[])",
       {"VALUE_UNUSABLE 0 'a' server_ports Array<>"}},
      {R"("type":"vless","server":"192.0.2.1","server_ports":"443")",
       {"VALUE_UNUSABLE 0 'a' server_ports String<443>"}},
      {R"("type":"vless","server":"192.0.2.1","server_ports":["443",8443,"x"])",
       {"VALUE_UNUSABLE 0 'a' server_ports[1] Integer<8443>",
        "VALUE_UNUSABLE 0 'a' server_ports[2] String<x>", "SEVERAL_PORTS 0 'a' server_ports"}},
      {R"("type":"vless","server":"192.0.2.1","server_ports":["20000:40000"])",
       {"SEVERAL_PORTS 0 'a' server_ports"}},
      {R"("type":"vless","server":"192.0.2.1","server_port":1,"server_ports":["2"])",
       {"SEVERAL_PORTS 0 'a' server_ports"}},
      {R"("type":"wireguard","server":"192.0.2.1","server_port":443)",
       {"VALUE_UNUSABLE 0 'a' type String<wireguard>"}},
      {R"("type":"tuic","server":"192.0.2.1","server_port":443)",
       {"VALUE_UNUSABLE 0 'a' type String<tuic>"}},
      {R"("server":"192.0.2.1","server_port":443)", {"KEY_MISSING 0 'a' type"}},
      {R"("type":"vmess","server":"192.0.2.1","server_port":443,"transport":{"type":"quic"})",
       {"VALUE_UNUSABLE 0 'a' transport.type String<quic>"}},
      {R"("type":"vmess","server":"192.0.2.1","server_port":443,"transport":{"type":"kcp"})",
       {"VALUE_UNUSABLE 0 'a' transport.type String<kcp>"}},
      {R"("type":"vmess","server":"192.0.2.1","server_port":443,"transport":"kcp")", {}},
      {R"("type":"vless","detour":3,"server":"192.0.2.1","server_port":443)",
       {"VALUE_UNUSABLE 0 'a' detour Integer<3>"}},
      {R"("type":"vless","detour":"b")", {}},  // not a leaf, needs no endpoint
      {R"("type":"direct")", {}},
  };
  for (const Row& row : rows) {
    const std::string outbound = R"([{"tag":"a",)" + std::string(row.members) + "}]";
    EXPECT_THAT(linesOf(configOf(outbound)), testing::ElementsAreArray(row.lines)) << row.members;
  }
}

TEST(ConfigDefects, OnlyAnUnusableValueHasAKind) {
  EXPECT_EQ(ConfigDefect{}.valueKind, JsonKind::Null);
  for (const ConfigDefect& defect : findConfigDefects("{}", {}, "hint")) {
    EXPECT_EQ(defect.valueKind, JsonKind::Null) << lineOf(defect);
    EXPECT_EQ(defect.value, "") << lineOf(defect);
  }
}

TEST(ConfigDefects, ALongValueIsTruncated) {
  EXPECT_EQ(kMaxDefectText, 80U);
  const std::string longText(kMaxDefectText + 1, 'x');
  const std::vector<ConfigDefect> defects = findConfigDefects(
      configOf(R"([{"tag":"a","type":")" + longText + R"(","server":"::1","server_port":1}])"), {},
      "");
  ASSERT_EQ(defects.size(), 1U);
  EXPECT_EQ(defects[0].value, longText.substr(1));
}

TEST(ConfigDefects, EveryOutboundWithAnEarlierTagIsRepeated) {
  EXPECT_THAT(linesOf(configOf(R"([{"tag":"b","type":"direct"},{"tag":"a","type":"direct"},
                                   {"tag":"b","type":"selector"},{"tag":"b","type":"direct"},
                                   {"tag":"B","type":"direct"}])")),
              ElementsAre("TAG_REPEATED 2 'b' tag", "TAG_REPEATED 3 'b' tag"));
}

TEST(ConfigDefects, MatchesSelectorsAnswersAndTheHint) {
  const std::string config = configOf(R"([{"tag":"proxy","type":"selector"},
      {"tag":"auto","type":"urltest"},{"tag":"d","type":"direct"}])");
  const auto answer = [](std::string_view tag) {
    return SelectorAnswer{
        .selectorTag = std::string(tag), .status = SelectorAnswerStatus::Ok, .now = "d"};
  };
  EXPECT_THAT(linesOf(config, {answer("proxy"), answer("d"), answer("Auto")}, "none"),
              ElementsAre("SELECTOR_WITHOUT_ANSWER 1 'auto'", "ANSWER_WITHOUT_SELECTOR 'd'",
                          "ANSWER_WITHOUT_SELECTOR 'Auto'", "HINT_UNKNOWN 'none'"));
  EXPECT_THAT(linesOf(config, {answer("auto"), answer("proxy")}, "d"), IsEmpty());
  EXPECT_THAT(linesOf(config, {answer("auto"), answer("proxy")}, "zzz"),
              ElementsAre("HINT_UNKNOWN 'zzz'"));
  EXPECT_THAT(linesOf(config, {answer("auto"), answer("proxy")}, ""), IsEmpty());
}

TEST(ConfigDefects, AFailedAnswerCountsAsAnAnswer) {
  EXPECT_THAT(
      linesOf(configOf(R"([{"tag":"proxy","type":"selector"}])"),
              {{.selectorTag = "proxy", .status = SelectorAnswerStatus::Malformed, .now = ""}}),
      IsEmpty());
}

// Every combination of values of the keys of an endpoint.
TEST(ConfigDefects, NoneExactlyWhenTheOutboundIsUsable) {
  const std::vector<std::string> types = {"",
                                          R"("type":"vless",)",
                                          R"("type":"direct",)",
                                          R"("type":"tuic",)",
                                          R"("type":"x",)",
                                          R"("type":1,)"};
  const std::vector<std::string> servers = {"", R"("server":"192.0.2.1",)", R"("server":"name",)",
                                            R"("server":"",)", R"("server":[],)"};
  const std::vector<std::string> ports = {"", R"("server_port":443,)", R"("server_port":0,)",
                                          R"("server_port":65536,)", R"("server_port":null,)"};
  const std::vector<std::string> lists = {"",
                                          R"("server_ports":["443"],)",
                                          R"("server_ports":["1:2"],)",
                                          R"("server_ports":["1","2"],)",
                                          R"("server_ports":["1","x"],)",
                                          R"("server_ports":["0"],)",
                                          R"("server_ports":[443],)",
                                          R"("server_ports":[],)",
                                          R"("server_ports":7,)"};
  const std::vector<std::string> transports = {"",
                                               R"("transport":{"type":"ws"},)",
                                               R"("transport":{"type":"quic"},)",
                                               R"("transport":{"type":"kcp"},)",
                                               R"("transport":{"type":""},)",
                                               R"("transport":{"type":1},)",
                                               R"("transport":{},)",
                                               R"("transport":"quic",)"};
  std::size_t usable = 0;
  std::size_t unusable = 0;
  for (const auto& type : types) {
    for (const auto& server : servers) {
      for (const auto& port : ports) {
        for (const auto& list : lists) {
          for (const auto& transport : transports) {
            const std::string text =
                configOf(joined({"[{", type, server, port, list, transport, R"("tag":"proxy"}])"}));
            const ProxyConfig config = readProxyConfig(text, /*hasText=*/true);
            ASSERT_EQ(config.outbounds.size(), 1U);
            NumericAddress address;
            std::uint32_t number = 0;
            const auto status = classifyEndpoint(config.outbounds[0], address, number);
            const bool isUsable = status == ActiveEndpointStatus::OK ||
                                  status == ActiveEndpointStatus::LEAF_HAS_NO_REMOTE_ENDPOINT;
            ASSERT_EQ(linesOf(text).empty(), isUsable) << text;
            ++(isUsable ? usable : unusable);
          }
        }
      }
    }
  }
  EXPECT_GT(usable, 300U);
  EXPECT_GT(unusable, 300U);
}

TEST(ConfigDefects, EachKindHasItsOwnWordAndUnknownNumbersGetTheLastOne) {
  std::vector<std::string> words;
  for (std::uint32_t number = 0; number < 9; ++number) {
    words.emplace_back(toString(ConfigDefectKind{number}));
  }
  EXPECT_THAT(words, ElementsAre("NOT_JSON", "KEY_MISSING", "VALUE_UNUSABLE", "SEVERAL_PORTS",
                                 "TAG_REPEATED", "SELECTOR_WITHOUT_ANSWER",
                                 "ANSWER_WITHOUT_SELECTOR", "HINT_UNKNOWN", "HINT_UNKNOWN"));
}

}  // namespace
}  // namespace egress::test
