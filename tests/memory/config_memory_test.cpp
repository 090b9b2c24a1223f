// Allocations and out-of-memory behaviour of the readers of configurations, answers and addresses.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "egress/config/address_text.h"
#include "egress/config/classify_endpoint.h"
#include "egress/config/config_defects.h"
#include "egress/config/numeric_address.h"
#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"
#include "tests/memory/fail_each_allocation.h"
#include "tests/memory/large_input.h"

namespace egress::test {
namespace {

constexpr std::string_view kLongAddress =
    "[2001:0db8:0000:0000:0000:0000:192.168.100.200%ethernet0]";

TEST(ConfigMemory, ReadingAConfigurationThrowsOnEveryFailure) {
  const std::string text = largeConfig(6, R"(["443","444",{"a":"value that is never read"}])");
  ProxyConfig config;
  const std::size_t failures =
      failEachAllocation([&] { config = readProxyConfig(text, /*hasText=*/true); },
                         [&] {
                           EXPECT_EQ(config.configStatus, ConfigStatus::NO_CONFIG);
                           EXPECT_TRUE(config.outbounds.empty());
                         });
  EXPECT_GT(failures, 100U);
  EXPECT_EQ(config.configStatus, ConfigStatus::OK);
  EXPECT_EQ(config.outbounds.size(), 7U);
}

TEST(ConfigMemory, AFailureIsNotReportedAsAParseError) {
  const std::string text = largeConfig(2, "[");
  ConfigStatus status = ConfigStatus::OK;
  const std::size_t failures =
      failEachAllocation([&] { status = readProxyConfig(text, /*hasText=*/true).configStatus; },
                         [&] { EXPECT_EQ(status, ConfigStatus::OK); });
  EXPECT_GT(failures, 10U);
  EXPECT_EQ(status, ConfigStatus::JSON_PARSE_FAILED);
}

TEST(ConfigMemory, AFailedReadOfAnAnswerDoesNotChangeNow) {
  const std::string text =
      R"({"name":"the queried selector, with a long tag","now":")" + nodeTag(3) + "\"}";
  for (const std::string& before : {nodeTag(2), std::string("short")}) {
    std::string now = before;
    SelectorAnswerStatus status = SelectorAnswerStatus::TransportFailed;
    const std::size_t failures =
        failEachAllocation([&] { status = readSelectorAnswer(text, &now); },
                           [&] {
                             EXPECT_EQ(now, before);
                             EXPECT_EQ(status, SelectorAnswerStatus::TransportFailed);
                           });
    EXPECT_GT(failures, 3U);
    EXPECT_EQ(status, SelectorAnswerStatus::Ok);
    EXPECT_EQ(now, nodeTag(3));
  }
}

TEST(ConfigMemory, ListingDefectsThrowsOnEveryFailure) {
  const std::string tag = nodeTag(1);
  const std::string text = R"({"outbounds":[{"tag":")" + tag + R"(","server":")" + nodeTag(2) +
                           R"(","server_port":1.5},{"tag":")" + tag + R"("}]})";
  const std::vector<SelectorAnswer> answers = {
      {.selectorTag = nodeTag(3), .status = SelectorAnswerStatus::Ok, .now = ""}};
  std::vector<ConfigDefect> defects;
  const std::size_t failures =
      failEachAllocation([&] { defects = findConfigDefects(text, answers, nodeTag(4)); },
                         [&] { EXPECT_TRUE(defects.empty()); });
  EXPECT_GT(failures, 20U);
  EXPECT_EQ(defects.size(), 10U);
}

TEST(ConfigMemory, ClassifyingAnEndpointDoesNotAllocate) {
  DiagnosisInput input = largeInput(1, 1);
  Outbound& leaf = input.outbounds.back();
  NumericAddress address;
  std::uint32_t port = 0;
  ActiveEndpointStatus status{};
  const auto classify = [&] { status = classifyEndpoint(leaf, address, port); };
  EXPECT_EQ(allocationsOf(classify), 0U);
  EXPECT_EQ(status, ActiveEndpointStatus::OK);
  leaf.hasTransport = true;
  EXPECT_EQ(allocationsOf(classify), 0U);
  EXPECT_EQ(status, ActiveEndpointStatus::TRANSPORT_UNKNOWN);
}

TEST(ConfigMemory, ParsingAndComparingAddressesDoesNotAllocate) {
  NumericAddress address;
  EXPECT_EQ(allocationsOf([&] { address = parseNumericAddress(kLongAddress); }), 0U);
  EXPECT_TRUE(address.valid);
  bool same = false;
  EXPECT_EQ(allocationsOf([&] { same = sameNumericAddress(address, address); }), 0U);
  EXPECT_TRUE(same);
}

TEST(ConfigMemory, ParsingPartsOfAddressesDoesNotAllocate) {
  const std::string endless(1000, '1');
  std::array<std::uint8_t, 16> bytes{};
  HexGroups groups;
  std::size_t accepted = 0;
  EXPECT_EQ(allocationsOf([&] {
              const auto first = std::span(bytes).first<4>();
              if (parseIpv4Text("198.51.100.100", first)) ++accepted;
              if (parseIpv4Text(endless, first)) ++accepted;
              if (parseIpv6Text("2001:0db8:0:0:0:0:192.168.100.200", bytes)) ++accepted;
              if (parseIpv6Text(endless, bytes)) ++accepted;
              if (parseHexGroups("2001:0db8:192.168.100.200", true, groups)) ++accepted;
              if (parseHexGroups(endless, true, groups)) ++accepted;
            }),
            0U);
  EXPECT_EQ(accepted, 3U);
}

}  // namespace
}  // namespace egress::test
