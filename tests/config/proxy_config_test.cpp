#include "egress/config/proxy_config.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using enum ConfigStatus;
using namespace std::string_view_literals;

using Ports = std::vector<std::uint32_t>;

constexpr std::string_view kUsable =
    R"({"route":{"auto_detect_interface":true},"outbounds":[{"tag":"proxy"}]})";

constexpr auto kNonStrings = std::to_array<std::string_view>(
    {"1", "1.5", "true", "false", "null", "[]", "{}", R"(["x"])", R"({"tag":"x"})"});

void expectUnusable(std::string_view text, bool hasText, ConfigStatus status) {
  SCOPED_TRACE(text);
  const ProxyConfig config = readProxyConfig(ExactText(text).view(), hasText);
  EXPECT_EQ(config.configStatus, status)
      << toString(config.configStatus) << ", not " << toString(status);
  EXPECT_FALSE(config.autoDetectInterface);
  EXPECT_THAT(config.outbounds, testing::IsEmpty());
}

void expectUnusable(std::string_view text, ConfigStatus status) {
  expectUnusable(text, true, status);
}

// A root object with `members`: without outbounds, and with them before and after `members`.
void expectUnusableRoot(std::string_view members, ConfigStatus status) {
  const std::string outbounds = R"("outbounds":[{"tag":"proxy"}])";
  const std::string given(members);
  const std::string comma = members.empty() ? "" : ",";
  expectUnusable(joined({"{", given, "}"}), status);
  expectUnusable(joined({"{", given, comma, outbounds, "}"}), status);
  expectUnusable(joined({"{", outbounds, comma, given, "}"}), status);
}

// Reads a usable configuration without surrounding whitespace, so that no proper prefix is valid.
ProxyConfig readUsable(std::string_view text) {
  forEveryCut(text, [](std::string_view cut) {
    expectUnusable(cut, cut.empty() ? NO_CONFIG : JSON_PARSE_FAILED);
  });
  ProxyConfig config = readProxyConfig(ExactText(text).view(), true);
  EXPECT_EQ(config.configStatus, OK) << toString(config.configStatus) << ": " << text;
  return config;
}

// The outbounds of a root object with a valid route and `members`.
std::vector<Outbound> readRoot(std::string_view members) {
  ProxyConfig config =
      readUsable(joined({R"({"route":{"auto_detect_interface":true},)", members, "}"}));
  EXPECT_TRUE(config.autoDetectInterface);
  return std::move(config.outbounds);
}

void expectOutbound(const Outbound& actual, const Outbound& expected) {
  EXPECT_EQ(actual.tag, expected.tag);
  EXPECT_EQ(actual.type, expected.type);
  EXPECT_EQ(actual.detour, expected.detour);
  EXPECT_EQ(actual.hasServer, expected.hasServer);
  EXPECT_EQ(actual.server, expected.server);
  EXPECT_EQ(actual.portSpecified, expected.portSpecified);
  EXPECT_EQ(actual.portMalformed, expected.portMalformed);
  EXPECT_EQ(actual.portHopping, expected.portHopping);
  EXPECT_EQ(actual.ports, expected.ports);
  EXPECT_EQ(actual.hasTransport, expected.hasTransport);
  EXPECT_EQ(actual.transportType, expected.transportType);
}

void expectOutbounds(std::string_view rootMembers, const std::vector<Outbound>& expected) {
  SCOPED_TRACE(rootMembers);
  const std::vector<Outbound> actual = readRoot(rootMembers);
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    SCOPED_TRACE(i);
    expectOutbound(actual[i], expected[i]);
  }
}

void expectMembers(std::string_view members, const Outbound& expected) {
  expectOutbounds(joined({"\"outbounds\":[{", members, "}]"}), {expected});
}

void expectTags(std::string_view rootMembers, const std::vector<std::string_view>& tags) {
  std::vector<Outbound> expected(tags.size());
  for (std::size_t i = 0; i < tags.size(); ++i) expected[i].tag = tags[i];
  expectOutbounds(rootMembers, expected);
}

std::string member(std::string_view key, std::string_view value) {
  return joined({"\"", key, "\":", value});
}

std::string bothMembers(std::string_view first, std::string_view second) {
  return std::string(first).append(",").append(second);
}

enum class PortFlags : std::uint8_t { None, Malformed, Hopping, MalformedAndHopping };

void expectPorts(std::string_view members, PortFlags flags, const Ports& ports) {
  using enum PortFlags;
  Outbound expected;
  expected.portSpecified = true;
  expected.portMalformed = flags == Malformed || flags == MalformedAndHopping;
  expected.portHopping = flags == Hopping || flags == MalformedAndHopping;
  expected.ports = ports;
  expectMembers(members, expected);
}

void expectTransport(std::string_view transport, std::string_view type) {
  Outbound expected;
  expected.hasTransport = true;
  expected.transportType = type;
  expectMembers(member("transport", transport), expected);
}

TEST(ProxyConfig, IsNoConfigByDefault) {
  const ProxyConfig fresh;
  EXPECT_EQ(fresh.configStatus, NO_CONFIG);
  EXPECT_FALSE(fresh.autoDetectInterface);
  EXPECT_THAT(fresh.outbounds, testing::IsEmpty());
}

TEST(ProxyConfig, NoTextOrEmptyTextIsNoConfig) {
  for (const std::string_view text : {""sv, kUsable, " "sv, "not json"sv, R"({"route":{}})"sv}) {
    expectUnusable(text, false, NO_CONFIG);
  }
  expectUnusable("", NO_CONFIG);
  expectUnusable(std::string_view(), NO_CONFIG);
}

TEST(ProxyConfig, InvalidJsonOrANonObjectRootIsAParseFailure) {
  for (const std::string_view text :
       {// Whitespace, which is not an empty text.
        " ", "\n", "\t", "\r", " \t\r\n ",
        // Syntax errors, also with an unusable route.
        "not json", "{route:{}}", "{'route':1}", R"({"route":{},})", R"({"route" {}})",
        R"({"route":tru})", R"({"route":{}} x)", R"({"route":{"auto_detect_interface":1})",
        R"({"route":{"auto_detect_interface":true},"outbounds":[{]})",
        // A root that is not an object.
        "[]", "true", R"("x")", "1", "1.5", "null", R"(["route"])"}) {
    expectUnusable(text, JSON_PARSE_FAILED);
  }
  expectUnusable(joined({"[", kUsable, "]"}), JSON_PARSE_FAILED);
  expectUnusable(joined({"\xEF\xBB\xBF", kUsable}), JSON_PARSE_FAILED);
  for (const std::string_view tail : {"x"sv, " x"sv, "}"sv, ","sv, "{}"sv, "\0"sv, "\v"sv}) {
    expectUnusable(joined({kUsable, tail}), JSON_PARSE_FAILED);
  }
  EXPECT_EQ(readProxyConfig(joined({" \t\r\n", kUsable, " \t\r\n"}), true).configStatus, OK);
}

TEST(ProxyConfig, TooDeepNestingUnderAnIgnoredKeyIsAParseFailure) {
  const auto nested = [](std::size_t levels) {
    return joined({R"({"route":{"auto_detect_interface":true},"deep":)",
                   std::string(levels, '[') + std::string(levels, ']'), "}"});
  };
  EXPECT_EQ(readProxyConfig(nested(64), true).configStatus, OK);
  expectUnusable(nested(65), JSON_PARSE_FAILED);
}

TEST(ProxyConfig, AutoDetectIsMissingWithoutTheFlagInARouteObject) {
  for (const std::string_view members :
       {R"()", R"("Route":{"auto_detect_interface":true})", R"("auto_detect_interface":true)",
        R"("route ":{"auto_detect_interface":true})",
        R"("x":{"route":{"auto_detect_interface":true}})",
        R"("route":[{"auto_detect_interface":true}])", R"("route":"auto_detect_interface")",
        R"("route":[])", R"("route":null)", R"("route":true)", R"("route":1)", R"("route":1.5)",
        R"("route":{})", R"("route":{"Auto_Detect_Interface":true})",
        R"("route":{"auto_detect_interface ":true})", R"("route":{"auto_detect":true})",
        R"("route":{"x":{"auto_detect_interface":true}})", R"("route":{"":true})"}) {
    expectUnusableRoot(members, AUTO_DETECT_MISSING);
  }
}

TEST(ProxyConfig, ANonBooleanFlagIsInvalid) {
  for (const std::string_view flag : {R"("true")", R"("false")", R"("")", "1", "0", "1.0", "null",
                                      "[]", "[true]", "{}", R"({"auto_detect_interface":true})"}) {
    expectUnusableRoot(joined({R"("route":{"auto_detect_interface":)", flag, "}"}),
                       AUTO_DETECT_INVALID);
  }
}

TEST(ProxyConfig, ReadsTheFlag) {
  EXPECT_TRUE(readUsable(R"({"route":{"auto_detect_interface":true}})").autoDetectInterface);
  EXPECT_FALSE(readUsable(R"({"route":{"auto_detect_interface":false}})").autoDetectInterface);
}

TEST(ProxyConfig, TheFirstOfRepeatedRouteKeysWins) {
  expectUnusableRoot(R"("route":1,"route":{"auto_detect_interface":true})", AUTO_DETECT_MISSING);
  expectUnusableRoot(R"("route":{},"route":{"auto_detect_interface":true})", AUTO_DETECT_MISSING);
  expectUnusableRoot(R"("route":{"auto_detect_interface":"x","auto_detect_interface":true})",
                     AUTO_DETECT_INVALID);
  EXPECT_TRUE(readUsable(R"({"route":{"auto_detect_interface":true,"auto_detect_interface":1},)"
                         R"("route":{"auto_detect_interface":false}})")
                  .autoDetectInterface);
}

TEST(ProxyConfig, NoOutboundsWithoutAnArray) {
  for (const std::string_view members :
       {R"("log":{})", R"("Outbounds":[{"tag":"a"}])", R"("outbounds":{"tag":"a"})",
        R"("outbounds":{"0":{"tag":"a"}})", R"("outbounds":"a")", R"("outbounds":null)",
        R"("outbounds":true)", R"("outbounds":1)", R"("outbounds":[])",
        R"("x":{"outbounds":[{"tag":"a"}]})", R"("outbounds":null,"outbounds":[{"tag":"a"}])"}) {
    expectTags(members, {});
  }
}

TEST(ProxyConfig, OutboundsKeepTheirOrderAndRepeatedTags) {
  expectTags(R"("outbounds":[{"tag":"b"},{"tag":"a"},{"tag":"b"}])", {"b", "a", "b"});
  expectTags(R"("outbounds":[{"tag":"a"}],"outbounds":[{"tag":"b"}])", {"a"});
  const ProxyConfig config =
      readUsable(R"({"outbounds":[{"tag":"a"}],"route":{"auto_detect_interface":false}})");
  ASSERT_EQ(config.outbounds.size(), 1U);
  EXPECT_EQ(config.outbounds.front().tag, "a");
}

TEST(ProxyConfig, SkipsNonObjectElements) {
  expectTags(R"("outbounds":[1,{"tag":"a"},null])", {"a"});
  expectTags(R"("outbounds":[{"tag":"a"},"b",{"tag":"c"}])", {"a", "c"});
  expectTags(R"("outbounds":[1,1.5,true,false,null,"tag",[],[{"tag":"a"}]])", {});
}

TEST(ProxyConfig, KeepsAnOutboundWithoutKnownKeys) {
  expectMembers("", {});
  expectTags(R"("outbounds":[{},{"tag":"a"},{}])", {"", "a", ""});
  expectMembers(R"("Tag":"a","TYPE":"b","dETOUR":"c","Server":"d","server_Port":443,)"
                R"("Server_ports":["443"],"Transport":{"type":"ws"},"port":443,"tag ":"a")",
                {});
  expectMembers(R"("x":{"tag":"a","type":"b","detour":"c","server":"d","server_port":443,)"
                R"("server_ports":["443"],"transport":{"type":"ws"}})",
                {});
}

constexpr auto kTexts = std::to_array<std::pair<std::string_view, std::string Outbound::*>>(
    {{"tag", &Outbound::tag}, {"type", &Outbound::type}, {"detour", &Outbound::detour}});

TEST(ProxyConfig, KeepsEveryByteOfTagTypeAndDetour) {
  const std::vector<std::pair<std::string_view, std::string_view>> values = {
      {R"("proxy")", "proxy"},     {R"("")", ""},       {R"(" Proxy ")", " Proxy "},
      {R"("a\u0000b")", "a\0b"sv}, {R"("\"")", R"(")"}, {"\"\xFF\"", "\xFF"}};
  for (const auto& [key, field] : kTexts) {
    for (const auto& [text, value] : values) {
      Outbound expected;
      expected.*field = value;
      expectMembers(member(key, text), expected);
    }
  }
}

TEST(ProxyConfig, ANonStringTagTypeOrDetourIsEmptyAndHidesALaterOne) {
  for (const auto& [key, field] : kTexts) {
    const std::string later = joined({",", member(key, R"("later")")});
    for (const std::string_view text : kNonStrings) {
      expectMembers(member(key, text), {});
      expectMembers(member(key, text) + later, {});
    }
    expectMembers(member(key, R"("")") + later, {});
    Outbound expected;
    expected.*field = "first";
    expectMembers(member(key, R"("first")") + later, expected);
    expectMembers(bothMembers(member(key, R"("first")"), member(key, "1")), expected);
  }
}

TEST(ProxyConfig, AServerIsANonEmptyString) {
  for (const std::string_view server : {"203.0.113.9", "node.example", "2001:db8::1", " "}) {
    Outbound expected;
    expected.hasServer = true;
    expected.server = server;
    const std::string text = joined({R"("server":")", server, "\""});
    expectMembers(text, expected);
    expectMembers(text + R"(,"server":"later")", expected);
    expectMembers(text + R"(,"server":1)", expected);
  }
}

TEST(ProxyConfig, AnEmptyOrNonStringServerIsMissingAndHidesALaterOne) {
  expectMembers(R"("server":"")", {});
  expectMembers(R"("server":"","server":"hidden")", {});
  for (const std::string_view text : kNonStrings) {
    expectMembers(member("server", text), {});
    expectMembers(member("server", text) + R"(,"server":"hidden")", {});
  }
}

void expectEntry(std::string_view entry, PortFlags flags, const Ports& ports) {
  expectPorts(joined({R"("server_ports":[")", entry, R"("])"}), flags, ports);
}

// A number as "server_port" and as the only entry of "server_ports", also with leading zeros.
void expectNumber(std::string_view number, PortFlags flags, const Ports& ports) {
  const std::string_view sign = number.starts_with('-') ? "-" : "";
  for (const std::string_view zeros : {"", "0", "0000000000000000000000000"}) {
    const std::string text = joined({sign, zeros, number.substr(sign.size())});
    expectPorts(member("server_port", text), flags, ports);
    expectEntry(text, flags, ports);
  }
}

TEST(ProxyConfig, NumbersFrom1To65535AreSinglePorts) {
  for (const std::uint32_t port :
       {1U, 2U, 9U, 127U, 128U, 255U, 256U, 443U, 32767U, 32768U, 65534U, 65535U}) {
    expectNumber(std::to_string(port), PortFlags::None, {port});
  }
}

TEST(ProxyConfig, ANumberOutOfRangeOrNotAnIntegerIsMalformed) {
  for (const std::string_view text :
       {"0", "-0", "-1", "-5", "-443", "65536", "70000", "-32768", "-32769", "2147483647",
        "2147483648", "-2147483648", "-2147483649", "4294967295", "4294967296",
        "9223372036854775807", "9223372036854775808", "-9223372036854775808",
        "-9223372036854775809", "18446744073709551615", "18446744073709551616",
        // 1 modulo 2^16, 2^32 and 2^64; 443 modulo 2^32 and 2^64.
        "65537", "-65535", "4294967297", "-4294967295", "18446744073709551617",
        "-18446744073709551615", "4294967739", "-4294966853", "18446744073709552059",
        // Not integers.
        "443.0", "4.43e2", "443e0"}) {
    expectNumber(text, PortFlags::Malformed, {});
  }
}

TEST(ProxyConfig, ANonNumericServerPortIsMalformed) {
  for (const std::string_view text : {R"("443")", R"("")", R"("1:2")", "true", "false", "null",
                                      "[]", "[443]", "{}", R"({"server_port":443})"}) {
    expectPorts(member("server_port", text), PortFlags::Malformed, {});
  }
}

TEST(ProxyConfig, ServerPortsThatAreEmptyOrNotAnArrayAreMalformed) {
  for (const std::string_view text :
       {"[]", "[ ]", R"("443")", R"("20000:40000")", "443", "443.0", "true", "false", "null", "{}",
        R"({"0":"443"})", R"({"20000:40000":"443"})"}) {
    expectPorts(member("server_ports", text), PortFlags::Malformed, {});
  }
}

TEST(ProxyConfig, AnEntryThatIsNotADecimalIntegerIsMalformed) {
  for (const std::string_view text :
       {"", " ", "-", "--1", "+", "+443", " 443", "443 ", "4 43", "443a", "a443", "abc", "0x1bb",
        "1bb", "443,8443", "443-8443", "443;8443", "443/tcp",
        // Escapes, an Arabic digit, a fullwidth colon.
        R"(\t443)", R"(443\n)", R"(443\u0000)", "\xD9\xA4", "443\xEF\xBC\x9A"}) {
    expectEntry(text, PortFlags::Malformed, {});
  }
}

TEST(ProxyConfig, ANonStringEntryIsMalformed) {
  for (const std::string_view entry :
       {"443", "443.0", "true", "false", "null", "[]", R"(["443"])", R"([["443"]])",
        R"(["20000:40000"])", R"(["443","8443"])", "{}", R"({"443":"20000:40000"})"}) {
    expectPorts(member("server_ports", joined({"[", entry, "]"})), PortFlags::Malformed, {});
  }
}

TEST(ProxyConfig, AnEntryWithAColonIsARange) {
  for (const std::string_view text :
       {"20000:40000", ":", "::", "x:y", "443:", ":443", "443:443", "40000:20000", "0:70000", "-:",
        " 443:8443 ", "443:x", "443a:", "443,8443:", "2001:db8::1", "\\u003a", "99999999999:1"}) {
    expectEntry(text, PortFlags::Hopping, {});
  }
}

TEST(ProxyConfig, TwoOrMoreEntriesAreHopping) {
  using enum PortFlags;
  struct Entries {
    std::string_view list;
    PortFlags flags = Hopping;
    Ports ports = {};
  };
  const std::vector<Entries> rows = {
      {.list = R"(["443","8443"])", .flags = Hopping, .ports = {443, 8443}},
      {.list = R"(["8443","443"])", .flags = Hopping, .ports = {8443, 443}},
      {.list = R"(["443","443"])", .flags = Hopping, .ports = {443, 443}},
      {.list = R"(["3","1","2"])", .flags = Hopping, .ports = {3, 1, 2}},
      {.list = R"(["20000:40000","443"])", .flags = Hopping, .ports = {443}},
      {.list = R"(["443","20000:40000","8443"])", .flags = Hopping, .ports = {443, 8443}},
      {.list = R"(["1:2","3:4"])", .flags = Hopping, .ports = {}},
      {.list = R"(["443","0"])", .flags = MalformedAndHopping, .ports = {443}},
      {.list = R"(["x","443"])", .flags = MalformedAndHopping, .ports = {443}},
      {.list = R"([443,"8443"])", .flags = MalformedAndHopping, .ports = {8443}},
      {.list = R"(["443",null,"8443"])", .flags = MalformedAndHopping, .ports = {443, 8443}},
      {.list = R"(["65536","443","65535"])", .flags = MalformedAndHopping, .ports = {443, 65535}},
      {.list = R"(["20000:40000",""])", .flags = MalformedAndHopping, .ports = {}},
      {.list = R"([0,"20000:40000"])", .flags = MalformedAndHopping, .ports = {}},
      {.list = R"(["",""])", .flags = MalformedAndHopping, .ports = {}},
      {.list = R"([null,null])", .flags = MalformedAndHopping, .ports = {}},
      {.list = R"([[],{}])", .flags = MalformedAndHopping, .ports = {}},
  };
  for (const Entries& row : rows) {
    expectPorts(member("server_ports", row.list), row.flags, row.ports);
  }
}

TEST(ProxyConfig, BothPortKeysAddUpWithServerPortFirst) {
  using enum PortFlags;
  struct Both {
    std::string_view port;
    std::string_view list;
    PortFlags flags = None;
    Ports ports = {};
  };
  const std::vector<Both> rows = {
      {.port = "443", .list = R"(["8443"])", .flags = None, .ports = {443, 8443}},
      {.port = "443", .list = R"(["443"])", .flags = None, .ports = {443, 443}},
      {.port = "8443", .list = R"(["443","1"])", .flags = Hopping, .ports = {8443, 443, 1}},
      {.port = "443", .list = R"(["20000:40000"])", .flags = Hopping, .ports = {443}},
      {.port = "443", .list = "[]", .flags = Malformed, .ports = {443}},
      {.port = "443", .list = "null", .flags = Malformed, .ports = {443}},
      {.port = "443", .list = R"(["x"])", .flags = Malformed, .ports = {443}},
      {.port = "0", .list = R"(["8443"])", .flags = Malformed, .ports = {8443}},
      {.port = "null", .list = R"(["1:2"])", .flags = MalformedAndHopping, .ports = {}},
      {.port = "70000", .list = R"([443])", .flags = Malformed, .ports = {}},
  };
  for (const Both& row : rows) {
    const std::string port = member("server_port", row.port);
    const std::string list = member("server_ports", row.list);
    expectPorts(bothMembers(port, list), row.flags, row.ports);
    expectPorts(bothMembers(list, port), row.flags, row.ports);
  }
}

TEST(ProxyConfig, TheFirstOfRepeatedPortKeysWins) {
  using enum PortFlags;
  expectPorts(R"("server_port":443,"server_port":8443)", None, {443});
  expectPorts(R"("server_port":443,"server_port":null)", None, {443});
  expectPorts(R"("server_port":"443","server_port":443)", Malformed, {});
  expectPorts(R"("server_ports":["443"],"server_ports":["8443"])", None, {443});
  expectPorts(R"("server_ports":["443"],"server_ports":["1:2"])", None, {443});
  expectPorts(R"("server_ports":[],"server_ports":["443"])", Malformed, {});
}

TEST(ProxyConfig, ReadsTheTransportType) {
  const std::vector<std::pair<std::string_view, std::string_view>> rows = {
      {R"({"type":"ws","path":"/ray"})", "ws"},
      {R"({"path":"/ray","type":"grpc"})", "grpc"},
      {R"({"type":"WS "})", "WS "},
      {R"({"type":"ws","type":"quic"})", "ws"},
      {R"({"type":"ws","type":1})", "ws"},
      {R"({"x":{"type":"quic"},"type":"ws"})", "ws"}};
  for (const auto& [transport, type] : rows) expectTransport(transport, type);
}

TEST(ProxyConfig, AnyOtherTransportHasNoType) {
  for (const std::string_view transport :
       {R"("ws")", R"("")", "1", "1.5", "true", "false", "null", "[]", R"(["ws"])", "{}",
        R"([{"type":"ws"}])", R"({"path":"/ray"})", R"({"Type":"ws"})", R"({"type":""})",
        R"({"type":1,"type":"ws"})", R"({"x":{"type":"ws"}})"}) {
    expectTransport(transport, "");
  }
  for (const std::string_view type : kNonStrings) {
    expectTransport(joined({"{", member("type", type), "}"}), "");
  }
  expectTransport(R"("ws","transport":{"type":"ws"})", "");
  expectTransport(R"({},"transport":{"type":"ws"})", "");
}

TEST(ProxyConfig, ADefectAffectsOnlyItsOwnOutbound) {
  Outbound before;
  before.tag = "a";
  before.portSpecified = true;
  before.ports = {443};
  Outbound after;
  after.tag = "b";
  for (const std::string_view defect :
       {R"({})", "null", R"({"tag":1})", R"({"server":null})", R"({"server_port":70000})",
        R"({"server_ports":[]})", R"({"server_ports":["1:2","x"]})", R"({"transport":"ws"})",
        R"({"tag":"x","type":"y","detour":"z","server":"s","server_port":1,"transport":{}})"}) {
    const std::string text =
        joined({R"("outbounds":[{"tag":"a","server_port":443},)", defect, R"(,{"tag":"b"}])"});
    SCOPED_TRACE(text);
    const std::vector<Outbound> outbounds = readRoot(text);
    ASSERT_EQ(outbounds.size(), defect == "null" ? 2U : 3U);
    expectOutbound(outbounds.front(), before);
    expectOutbound(outbounds.back(), after);
  }
}

Outbound proxyAt(std::string_view type, std::int32_t port) {
  Outbound outbound = makeOutbound("proxy", type, "198.51.100.10", port);
  outbound.portSpecified = true;
  return outbound;
}

TEST(ProxyConfig, ReadsWholeOutbounds) {
  expectMembers(R"("type":"shadowsocks","tag":"proxy","server":"198.51.100.10","server_port":443)",
                proxyAt("shadowsocks", 443));

  Outbound range = proxyAt("hysteria2", 0);
  range.portHopping = true;
  expectMembers(
      R"("type":"hysteria2","tag":"proxy","server":"198.51.100.10","server_ports":["20000:40000"])",
      range);

  Outbound tooHigh = proxyAt("vmess", 0);
  tooHigh.portMalformed = true;
  expectMembers(R"("type":"vmess","tag":"proxy","server":"198.51.100.10","server_port":70000)",
                tooHigh);

  Outbound behindFront = proxyAt("vmess", 443);
  behindFront.detour = "front";
  behindFront.hasTransport = true;
  behindFront.transportType = "ws";
  expectMembers(R"("type":"vmess","tag":"proxy","server":"198.51.100.10","server_port":443,)"
                R"("detour":"front","transport":{"type":"ws","path":"/ray"})",
                behindFront);
}

TEST(ProxyConfig, IgnoresUnknownKeysAtEveryLevel) {
  const ProxyConfig config = readUsable(
      R"({"log":{"level":"info"},"route":{"final":"proxy","auto_detect_interface":false,)"
      R"("rules":[{"outbound":"direct"}]},"inbounds":[{"tag":"in","server_port":1}],)"
      R"("outbounds":[{"uuid":"x","tag":"proxy","tls":{"enabled":true,"server":"sni"}}]})");
  EXPECT_FALSE(config.autoDetectInterface);
  ASSERT_EQ(config.outbounds.size(), 1U);
  Outbound expected;
  expected.tag = "proxy";
  expectOutbound(config.outbounds.front(), expected);
}

}  // namespace
}  // namespace egress::test
