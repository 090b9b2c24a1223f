#include "egress_snapshot/snapshot_from_texts.h"

#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "egress/config/proxy_config.h"
#include "egress/core/write_report.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "tests/egress_snapshot/expect_refused.h"

namespace egress::snapshot {
namespace {

constexpr std::string_view kConfig = R"({
  // as people write it
  "route": {"auto_detect_interface": true},
  "outbounds": [
    {"tag": "proxy", "type": "selector"},
    {"tag": "leaf", "type": "trojan", "server": "198.51.100.10", "server_port": 443},
  ]
})";

HostSnapshot snapshotOf(std::string_view config, std::string_view answers) {
  return std::get<HostSnapshot>(snapshotFromTexts(config, answers));
}

TEST(SnapshotFromTexts, TheConfigurationIsBlankedAndRead) {
  const HostSnapshot snapshot = snapshotOf(kConfig, "");
  EXPECT_EQ(snapshot.config.configStatus, ConfigStatus::OK);
  EXPECT_TRUE(snapshot.config.autoDetectInterface);
  ASSERT_EQ(snapshot.config.outbounds.size(), 2U);
  EXPECT_EQ(snapshot.config.outbounds[1].server, "198.51.100.10");
  EXPECT_FALSE(snapshot.blanked.byteOrderMark);
  EXPECT_EQ(snapshot.blanked.comments, 1U);
  EXPECT_EQ(snapshot.blanked.trailingCommas, 1U);
}

TEST(SnapshotFromTexts, AConfigurationThatCannotBeReadHasItsStatus) {
  EXPECT_EQ(snapshotOf("", "").config.configStatus, ConfigStatus::NO_CONFIG);
  EXPECT_EQ(snapshotOf("{", "").config.configStatus, ConfigStatus::JSON_PARSE_FAILED);
  EXPECT_EQ(snapshotOf("{}", "").config.configStatus, ConfigStatus::AUTO_DETECT_MISSING);
}

TEST(SnapshotFromTexts, TheAnswersLeadTheWalk) {
  const HostSnapshot snapshot = snapshotOf(kConfig, R"({"proxy": {"now": "leaf"}, "x": 1})");
  ASSERT_EQ(snapshot.selectorAnswers.size(), 2U);
  EXPECT_EQ(snapshot.selectorAnswers[0].now, "leaf");
  EXPECT_EQ(snapshot.selectorAnswers[1].status, SelectorAnswerStatus::Malformed);
  EXPECT_EQ(diagnose(snapshot).endpoint.status, ActiveEndpointStatus::OK);
}

TEST(SnapshotFromTexts, WithoutAnswersThereAreNone) {
  EXPECT_TRUE(snapshotOf(kConfig, "").selectorAnswers.empty());
  EXPECT_TRUE(snapshotOf(kConfig, "{}").selectorAnswers.empty());
}

TEST(SnapshotFromTexts, AnswersThatAreNoObjectAreRefused) {
  expectRefused(snapshotFromTexts(kConfig, "[1]"), "", "an array is not an object");
  expectRefused(snapshotFromTexts(kConfig, "{"), "", "cut off after byte 1");
}

TEST(SnapshotFromTexts, TheListsWereNotTaken) {
  const HostSnapshot snapshot = snapshotOf(kConfig, "");
  const auto expectNotTaken = [](const auto& list) {
    EXPECT_TRUE(list.enumFailed);
    EXPECT_EQ(list.failureReason, "not taken");
    EXPECT_TRUE(list.rows.empty());
  };
  expectNotTaken(snapshot.adapters);
  expectNotTaken(snapshot.routes);
  expectNotTaken(snapshot.sockets);
  EXPECT_TRUE(snapshot.origin.program.empty());
}

}  // namespace
}  // namespace egress::snapshot
