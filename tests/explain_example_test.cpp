// examples/embed/explain.cpp on broken configurations.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/run_program.h"

namespace egress::test {
namespace {

std::string explained(const std::string& config) {
  return runProgram("printf %s '" + config + "' | '" EGRESS_EXPLAIN_PROGRAM "'").output;
}

std::string configOf(const std::string& outbounds) {
  return R"({"route": {"auto_detect_interface": true}, "outbounds": [)" + outbounds + "]}";
}

TEST(ExplainExample, NamesTheByteWhereJsonIsRefused) {
  EXPECT_EQ(explained("{\n  \"route\": {\"auto_detect_interface\": true,}\n}"),
            "line 2, byte 44 of the text: NO_KEY\nNOT_EVALUATED_CONFIG_UNAVAILABLE\n");
}

TEST(ExplainExample, NamesAFlagThatIsNotABoolean) {
  EXPECT_EQ(
      explained(R"({"route": {"auto_detect_interface": "true"}, "outbounds": []})"),
      "VALUE_UNUSABLE, route.auto_detect_interface = true\nNOT_EVALUATED_CONFIG_UNAVAILABLE\n");
}

TEST(ExplainExample, NamesAKeyAndItsValue) {
  EXPECT_EQ(explained(configOf(R"({"tag": "proxy", "type": "vless", "server": "de-1.example",
                                   "server_port": 70000})")),
            "VALUE_UNUSABLE, outbound 0 'proxy', server = de-1.example\n"
            "VALUE_UNUSABLE, outbound 0 'proxy', server_port = 70000\n"
            "ENDPOINT_INVALID\n");
}

TEST(ExplainExample, NamesTheSelectorWithoutAnAnswer) {
  EXPECT_EQ(explained(configOf(R"({"tag": "proxy", "type": "selector"})")),
            "SELECTOR_WITHOUT_ANSWER, outbound 0 'proxy'\nSELECTOR_TRANSPORT_FAILED 'proxy'\n");
}

TEST(ExplainExample, NamesTheTagThatNoOutboundHas) {
  EXPECT_EQ(explained(configOf(R"({"tag": "proxy", "type": "vless", "detour": "hop"})")),
            "OUTBOUND_NOT_FOUND 'hop'\n");
}

TEST(ExplainExample, PrintsOnlyOkForAUsableEndpoint) {
  EXPECT_EQ(explained(configOf(R"({"tag": "proxy", "type": "vless", "server": "192.0.2.1",
                                   "server_port": 443})")),
            "OK\n");
}

}  // namespace
}  // namespace egress::test
