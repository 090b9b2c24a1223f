#include <array>

#include "egress/scenarios/scenarios.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_check.h"
#include "egress/selfcheck/report_readers.h"

namespace egress {
namespace {

constexpr int kChainLinks = 12;  // any number above the limit of eight follows works

Outbound makeLeaf(std::string_view tag) {
  return makeOutbound(tag, "shadowsocks", "198.51.100.10", 443);
}

SelectorAnswer makeChoice(std::string_view selectorTag, std::string_view now) {
  return makeSelectorAnswer(selectorTag, SelectorAnswerStatus::Ok, now);
}

std::vector<SocketSource> usualSocket() {
  return {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)};
}

struct UsableCase {
  std::string_view label;
  std::vector<Outbound> outbounds;
  std::vector<SelectorAnswer> selectorAnswers;
  std::string_view selectorHint;
  std::vector<SocketSource> sockets;
  std::vector<ReportCheck> checks;
};

std::vector<UsableCase> usableCases() {
  return {
      {.label = "selector/none",
       .outbounds = {makeLeaf("proxy")},
       .selectorAnswers = {},
       .selectorHint = "",
       .sockets = usualSocket(),
       .checks = {{.label = "selector/none endpoint",
                   .key = "activeEndpointStatus",
                   .expected = IsWord{"OK"}},
                  {.label = "selector/none hint fresh",
                   .key = "selectorHintStale",
                   .expected = IsBoolean{false}}}},
      {.label = "selector/unified",
       .outbounds = {makeSelectorOutbound("proxy"), makeLeaf("node_3")},
       .selectorAnswers = {makeChoice("proxy", "node_3")},
       .selectorHint = "proxy",
       .sockets = usualSocket(),
       .checks = {{.label = "selector/unified endpoint",
                   .key = "activeEndpointStatus",
                   .expected = IsWord{"OK"}},
                  {.label = "selector/unified hint fresh",
                   .key = "selectorHintStale",
                   .expected = IsBoolean{false}},
                  {.label = "selector/unified selectionStatus",
                   .key = "selectionStatus",
                   .expected = IsWord{"OK"}}}},
      {.label = "selector/chain",
       .outbounds = {makeSelectorOutbound("proxy"), makeSelectorOutbound("proxy-chain-quorlex"),
                     makeOutbound("node_7", "anytls", "198.51.100.10", 443)},
       .selectorAnswers = {makeChoice("proxy", "proxy-chain-quorlex"),
                           makeChoice("proxy-chain-quorlex", "node_7")},
       .selectorHint = "proxy-chain-quorlex",
       .sockets = {},
       .checks = {{.label = "selector/chain endpoint",
                   .key = "activeEndpointStatus",
                   .expected = IsWord{"OK"}},
                  {.label = "selector/chain hint fresh",
                   .key = "selectorHintStale",
                   .expected = IsBoolean{false}}}},
      {.label = "selector/stale-hint",
       .outbounds = {makeSelectorOutbound("proxy"), makeLeaf("node_3")},
       .selectorAnswers = {makeChoice("proxy", "node_3")},
       .selectorHint = "proxy-chain-from-a-previous-session",
       .sockets = {},
       .checks = {{.label = "selector/stale-hint endpoint",
                   .key = "activeEndpointStatus",
                   .expected = IsWord{"OK"}},
                  {.label = "selector/stale-hint selectorHintStale true",
                   .key = "selectorHintStale",
                   .expected = IsBoolean{true}}}},
  };
}

void runUsableCase(SelfCheckRun& run, const UsableCase& row) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  input.outbounds = row.outbounds;
  input.selectorAnswers = row.selectorAnswers;
  input.selectorHint = row.selectorHint;
  input.sockets.rows = row.sockets;
  const EgressReport report = diagnoseAndAudit(run, row.label, input);
  for (const ReportCheck& check : row.checks) checkReport(run.recorder, report, check);
}

struct UnusableAnswerCase {
  std::string_view label;
  SelectorAnswerStatus status = SelectorAnswerStatus::Ok;
  std::string_view now;
  std::string_view endpoint;
  std::string_view selectionStatus;
};

constexpr auto kUnusableAnswers = std::to_array<UnusableAnswerCase>({
    {.label = "selector/transport-failed",
     .status = SelectorAnswerStatus::TransportFailed,
     .now = "",
     .endpoint = "SELECTOR_TRANSPORT_FAILED",
     .selectionStatus = "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
    {.label = "selector/malformed",
     .status = SelectorAnswerStatus::Malformed,
     .now = "",
     .endpoint = "SELECTOR_RESPONSE_MALFORMED",
     .selectionStatus = "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
    {.label = "selector/now-missing",
     .status = SelectorAnswerStatus::NowMissing,
     .now = "",
     .endpoint = "SELECTOR_NOW_MISSING",
     .selectionStatus = "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
    {.label = "selector/now-empty",
     .status = SelectorAnswerStatus::Ok,
     .now = "",
     .endpoint = "SELECTOR_NOW_MISSING",
     .selectionStatus = "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
    {.label = "selector/now-unknown-tag",
     .status = SelectorAnswerStatus::Ok,
     .now = "node_404",
     .endpoint = "OUTBOUND_NOT_FOUND",
     .selectionStatus = "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"},
});

void runUnusableAnswer(SelfCheckRun& run, const UnusableAnswerCase& row) {
  DiagnosisInput input = makeInputWithOutbound(makeSelectorOutbound("proxy"));
  input.selectorAnswers = {makeSelectorAnswer("proxy", row.status, row.now)};
  const EgressReport report = diagnoseAndAudit(run, row.label, input);
  const std::string label(row.label);
  checkEqual(run.recorder, reportString(report, "activeEndpointStatus"), row.endpoint,
             label + " endpoint");
  checkEqual(run.recorder, reportString(report, "selectionStatus"), row.selectionStatus,
             label + " selectionStatus");
}

struct WalkFailureCase {
  std::string_view label;
  std::vector<Outbound> outbounds;
  std::vector<SelectorAnswer> selectorAnswers;
  std::string_view endpoint;
};

std::string chainTag(std::string_view prefix, int index) {
  return std::string(prefix) + std::to_string(index);
}

// "proxy", then "sel_0" to "sel_12", each answered with the next one except the last.
WalkFailureCase selectorDepthCase() {
  WalkFailureCase row{.label = "selector/depth",
                      .outbounds = {makeSelectorOutbound("proxy")},
                      .selectorAnswers = {makeChoice("proxy", "sel_0")},
                      .endpoint = "SELECTOR_DEPTH_EXCEEDED"};
  for (int i = 0; i < kChainLinks; ++i) {
    row.outbounds.push_back(makeSelectorOutbound(chainTag("sel_", i)));
    row.selectorAnswers.push_back(makeChoice(chainTag("sel_", i), chainTag("sel_", i + 1)));
  }
  row.outbounds.push_back(makeSelectorOutbound(chainTag("sel_", kChainLinks)));
  return row;
}

// "proxy", then "hop_0" to "hop_12", each with a detour to the next one except the last.
WalkFailureCase detourDepthCase() {
  WalkFailureCase row{.label = "detour/depth",
                      .outbounds = {makeDetourOutbound("proxy", "hop_0")},
                      .selectorAnswers = {},
                      .endpoint = "DETOUR_DEPTH_EXCEEDED"};
  for (int i = 0; i < kChainLinks; ++i) {
    row.outbounds.push_back(makeDetourOutbound(chainTag("hop_", i), chainTag("hop_", i + 1)));
  }
  row.outbounds.push_back(makeLeaf(chainTag("hop_", kChainLinks)));
  return row;
}

std::array<WalkFailureCase, 6> walkFailures() {
  return {{
      {.label = "selector/not-queried",
       .outbounds = {makeSelectorOutbound("proxy")},
       .selectorAnswers = {},
       .endpoint = "SELECTOR_TRANSPORT_FAILED"},
      {.label = "selector/cycle",
       .outbounds = {makeSelectorOutbound("proxy"), makeSelectorOutbound("group")},
       .selectorAnswers = {makeChoice("proxy", "group"), makeChoice("group", "proxy")},
       .endpoint = "SELECTOR_CYCLE"},
      selectorDepthCase(),
      {.label = "detour/cycle",
       .outbounds = {makeDetourOutbound("proxy", "hop"), makeDetourOutbound("hop", "proxy")},
       .selectorAnswers = {},
       .endpoint = "DETOUR_CYCLE"},
      detourDepthCase(),
      {.label = "leaf/no-proxy",
       .outbounds = {makeLeaf("node_1")},
       .selectorAnswers = {},
       .endpoint = "OUTBOUND_NOT_FOUND"},
  }};
}

void runWalkFailure(SelfCheckRun& run, const WalkFailureCase& row) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  input.outbounds = row.outbounds;
  input.selectorAnswers = row.selectorAnswers;
  const EgressReport report = diagnoseAndAudit(run, row.label, input);
  checkEqual(run.recorder, reportString(report, "activeEndpointStatus"), row.endpoint,
             std::string(row.label) + " endpoint");
}

}  // namespace

void runSelectorAndDetourScenarios(SelfCheckRun& run) {
  for (const UsableCase& row : usableCases()) runUsableCase(run, row);
  for (const UnusableAnswerCase& row : kUnusableAnswers) runUnusableAnswer(run, row);
  for (const WalkFailureCase& row : walkFailures()) runWalkFailure(run, row);
}

}  // namespace egress
