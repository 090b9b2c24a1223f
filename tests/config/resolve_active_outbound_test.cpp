#include "egress/config/resolve_active_outbound.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"

namespace egress::test {
namespace {

using enum ActiveEndpointStatus;
using Answer = SelectorAnswerStatus;

constexpr std::string_view kLeafTag = "leaf";
constexpr std::string_view kUnknownTag = "node_404";

Outbound leaf(std::string_view tag) {
  return makeOutbound(tag, "shadowsocks", "198.51.100.10", 443);
}

Outbound detour(std::string_view tag, std::string_view target) {
  return makeDetourOutbound(tag, target);
}

Outbound selector(std::string_view tag) {
  return makeSelectorOutbound(tag);
}

Outbound typed(std::string_view tag, std::string_view type, std::string_view target = "") {
  Outbound outbound = makeDetourOutbound(tag, target);
  outbound.type = type;
  return outbound;
}

SelectorAnswer answer(std::string_view selectorTag, std::string_view now,
                      Answer status = Answer::Ok) {
  return makeSelectorAnswer(selectorTag, status, now);
}

SelectorAnswer failure(std::string_view selectorTag, Answer status) {
  return makeSelectorAnswer(selectorTag, status, "");
}

// The result of a walk: a leaf or an error.
struct End {
  ActiveEndpointStatus status = OK;
  std::vector<std::string> visited;
  std::size_t leafIndex = 0;  // if OK
};

End leafAt(std::size_t index, std::vector<std::string> visited) {
  return {.status = OK, .visited = std::move(visited), .leafIndex = index};
}

End stopped(ActiveEndpointStatus status, std::vector<std::string> visited) {
  return {.status = status, .visited = std::move(visited)};
}

struct Walk {
  std::string_view name;
  std::vector<Outbound> outbounds = {};
  std::vector<SelectorAnswer> answers = {};
  End end = {};
};

void expectWalk(const Walk& walk) {
  SCOPED_TRACE(walk.name);
  DiagnosisInput input;
  input.outbounds = walk.outbounds;
  input.selectorAnswers = walk.answers;
  const Resolution resolution = resolveActiveOutbound(input);
  EXPECT_EQ(resolution.status, walk.end.status)
      << toString(resolution.status) << ", not " << toString(walk.end.status);
  EXPECT_EQ(resolution.leaf,
            walk.end.status == OK ? std::optional(walk.end.leafIndex) : std::nullopt);
  EXPECT_EQ(resolution.soughtTag.empty(), walk.end.status == OK);
  EXPECT_THAT(resolution.visitedTags, testing::ElementsAreArray(walk.end.visited));
}

void expectWalks(const std::vector<Walk>& walks) {
  for (const Walk& walk : walks) expectWalk(walk);
}

// Walks through the same outbounds.
void expectWalks(const std::vector<Outbound>& outbounds, std::vector<Walk> walks) {
  for (Walk& walk : walks) {
    walk.outbounds = outbounds;
    expectWalk(walk);
  }
}

std::string tagOfLink(std::size_t i) {
  return i == 0 ? "proxy" : "hop_" + std::to_string(i);
}

std::vector<std::string> tagsOfLinks(std::size_t count) {
  std::vector<std::string> tags;
  for (std::size_t i = 0; i < count; ++i) tags.push_back(tagOfLink(i));
  return tags;
}

// Outbounds "proxy", "hop_1", "hop_2" and so on, one for each letter of `kinds`: 's' a selector,
// 'u' a urltest, 'd' an outbound with a detour. Each leads to the next, the last one to `target`.
// The leaf is the last outbound, at index kinds.size().
Walk chain(std::string_view kinds, std::string_view target) {
  Walk walk;
  walk.name = kinds;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const std::string tag = tagOfLink(i);
    const std::string next = i + 1 < kinds.size() ? tagOfLink(i + 1) : std::string(target);
    if (kinds[i] == 'd') {
      walk.outbounds.push_back(detour(tag, next));
      continue;
    }
    walk.outbounds.push_back(kinds[i] == 's' ? selector(tag) : typed(tag, "urltest"));
    walk.answers.push_back(answer(tag, next));
  }
  walk.outbounds.push_back(leaf(kLeafTag));
  return walk;
}

void expectChainStops(std::string_view kinds, std::string_view target, ActiveEndpointStatus status,
                      std::size_t linksVisited) {
  SCOPED_TRACE(target);
  Walk walk = chain(kinds, target);
  walk.end = stopped(status, tagsOfLinks(linksVisited));
  expectWalk(walk);
}

TEST(ResolveActiveOutbound, IsNotFoundByDefault) {
  const Resolution fresh;
  EXPECT_EQ(fresh.status, OUTBOUND_NOT_FOUND);
  EXPECT_EQ(fresh.leaf, std::nullopt);
  EXPECT_THAT(fresh.visitedTags, testing::IsEmpty());
}

TEST(ResolveActiveOutbound, NothingIsVisitedWithoutProxy) {
  const std::vector<std::pair<std::string_view, std::vector<Outbound>>> rows = {
      {"an empty list", {}},
      {"another tag", {leaf("node_1")}},
      {"other letter case", {leaf("Proxy"), leaf("PROXY"), leaf("proxY")}},
      {"look-alikes", {leaf("prox"), leaf("proxy2"), leaf(" proxy"), leaf("proxy "), leaf("")}},
      {"a detour to proxy alone", {detour("hop", "proxy")}},
  };
  for (const auto& [name, outbounds] : rows) {
    expectWalk({.name = name, .outbounds = outbounds, .end = stopped(OUTBOUND_NOT_FOUND, {})});
  }
}

TEST(ResolveActiveOutbound, NonSelectorsFollowTheirDetourOrAreTheLeaf) {
  for (const std::string_view type :
       {"direct", "block", "dns", "shadowsocks", "wireguard", "", "x",
        // Near misses.
        "Selector", "SELECTOR", "selectoR", "selector ", " selector", "select", "selectors",
        "URLTest", "urlTest", "URLTEST", "UrlTest", "urltes", "urltest2", "url"}) {
    expectWalk({.name = type,
                .outbounds = {leaf("node_1"), typed("proxy", type)},
                .answers = {answer("proxy", "node_1")},
                .end = leafAt(1, {"proxy"})});
    expectWalk({.name = type,
                .outbounds = {typed("proxy", type, "front"), leaf("node_1"), leaf("front")},
                .answers = {answer("proxy", "node_1")},
                .end = leafAt(2, {"proxy", "front"})});
  }
}

TEST(ResolveActiveOutbound, SelectorAndUrltestFollowTheAnswerNotTheDetour) {
  for (const std::string_view type : {"selector", "urltest"}) {
    const Outbound proxy = typed("proxy", type, "front");
    const std::vector<Outbound> outbounds = {proxy, leaf("front"), leaf("node_3")};
    expectWalks(outbounds,
                {
                    {.name = type,
                     .answers = {answer("proxy", "node_3")},
                     .end = leafAt(2, {"proxy", "node_3"})},
                    {.name = "not queried", .end = stopped(SELECTOR_TRANSPORT_FAILED, {"proxy"})},
                    {.name = "an answer without choice",
                     .answers = {answer("proxy", "")},
                     .end = stopped(SELECTOR_NOW_MISSING, {"proxy"})},
                    {.name = "selecting itself",
                     .answers = {answer("proxy", "proxy")},
                     .end = stopped(SELECTOR_CYCLE, {"proxy"})},
                });
  }
}

TEST(ResolveActiveOutbound, ASelectorWithoutAnAnswerIsATransportFailure) {
  const std::vector<std::pair<std::string_view, std::vector<SelectorAnswer>>> rows = {
      {"no answers at all", {}},
      {"an answer for another selector only", {answer("group", "node_1")}},
      {"an answer for a tag in other letter case", {answer("Proxy", "node_1")}},
      {"an answer for a prefix", {answer("prox", "node_1")}},
      {"an answer for a longer tag", {answer("proxy2", "node_1")}},
      {"an answer for the empty tag", {answer("", "node_1")}},
  };
  for (const auto& [name, answers] : rows) {
    expectWalk({.name = name,
                .outbounds = {selector("proxy"), selector("group"), leaf("node_1")},
                .answers = answers,
                .end = stopped(SELECTOR_TRANSPORT_FAILED, {"proxy"})});
  }
  expectWalk({.name = "the second selector was not queried",
              .outbounds = {selector("proxy"), selector("group"), leaf("node_1")},
              .answers = {answer("proxy", "group")},
              .end = stopped(SELECTOR_TRANSPORT_FAILED, {"proxy", "group"})});
}

struct FailedAnswer {
  std::string_view name;
  Answer status = Answer::Ok;
  ActiveEndpointStatus result = OK;
};

constexpr auto kFailedAnswers = std::to_array<FailedAnswer>({
    {.name = "TransportFailed",
     .status = Answer::TransportFailed,
     .result = SELECTOR_TRANSPORT_FAILED},
    {.name = "Malformed", .status = Answer::Malformed, .result = SELECTOR_RESPONSE_MALFORMED},
    {.name = "NowMissing", .status = Answer::NowMissing, .result = SELECTOR_NOW_MISSING},
    {.name = "Ok without a choice", .status = Answer::Ok, .result = SELECTOR_NOW_MISSING},
});

TEST(ResolveActiveOutbound, AFailedAnswerEndsTheWalk) {
  for (const FailedAnswer& row : kFailedAnswers) {
    for (const std::string_view now : {"", "node_3", "proxy", "node_404"}) {
      if (row.status == Answer::Ok && !now.empty()) continue;
      expectWalk({.name = row.name,
                  .outbounds = {selector("proxy"), leaf("node_3"), leaf("")},
                  .answers = {answer("proxy", now, row.status)},
                  .end = stopped(row.result, {"proxy"})});
    }
    expectWalk({.name = row.name,
                .outbounds = {detour("proxy", "group"), selector("group"), leaf("node_3")},
                .answers = {failure("group", row.status)},
                .end = stopped(row.result, {"proxy", "group"})});
  }
}

TEST(ResolveActiveOutbound, AnUnknownAnswerStatusIsTreatedAsOk) {
  for (const int number : {-1, 4, 7, 1000}) {
    SCOPED_TRACE(number);
    const auto status = static_cast<Answer>(number);
    const std::vector<Outbound> outbounds = {selector("proxy"), leaf("node_3")};
    expectWalks(outbounds, {
                               {.name = "with a choice",
                                .answers = {answer("proxy", "node_3", status)},
                                .end = leafAt(1, {"proxy", "node_3"})},
                               {.name = "without a choice",
                                .answers = {answer("proxy", "", status)},
                                .end = stopped(SELECTOR_NOW_MISSING, {"proxy"})},
                           });
  }
}

TEST(ResolveActiveOutbound, SelectorsAreMatchedToAnswersByTag) {
  const std::vector<Outbound> outbounds = {leaf("node_7"), selector("group"), selector("proxy"),
                                           leaf("node_8")};
  expectWalks({
      {.name = "answers not in walk order",
       .outbounds = outbounds,
       .answers = {answer("group", "node_8"), answer("proxy", "group")},
       .end = leafAt(3, {"proxy", "group", "node_8"})},
      {.name = "a failed answer that the walk does not need",
       .outbounds = outbounds,
       .answers = {failure("group", Answer::Malformed), answer("proxy", "node_7")},
       .end = leafAt(0, {"proxy", "node_7"})},
      {.name = "a failed answer that the walk needs",
       .outbounds = outbounds,
       .answers = {answer("proxy", "group"), failure("group", Answer::Malformed)},
       .end = stopped(SELECTOR_RESPONSE_MALFORMED, {"proxy", "group"})},
      {.name = "a failed answer for a non-selector",
       .outbounds = {detour("proxy", "front"), leaf("front"), leaf("node_1")},
       .answers = {failure("proxy", Answer::Malformed), answer("front", "node_1")},
       .end = leafAt(1, {"proxy", "front"})},
  });
}

TEST(ResolveActiveOutbound, TheFirstAnswerForASelectorWins) {
  const std::vector<Outbound> outbounds = {selector("proxy"), leaf("a"), leaf("b")};
  expectWalks(outbounds,
              {
                  {.name = "two choices",
                   .answers = {answer("proxy", "b"), answer("proxy", "a")},
                   .end = leafAt(2, {"proxy", "b"})},
                  {.name = "a failure before a choice",
                   .answers = {failure("proxy", Answer::Malformed), answer("proxy", "a")},
                   .end = stopped(SELECTOR_RESPONSE_MALFORMED, {"proxy"})},
                  {.name = "an empty choice before a choice",
                   .answers = {answer("proxy", ""), answer("proxy", "a")},
                   .end = stopped(SELECTOR_NOW_MISSING, {"proxy"})},
                  {.name = "a choice before a failure",
                   .answers = {answer("proxy", "a"), failure("proxy", Answer::TransportFailed)},
                   .end = leafAt(1, {"proxy", "a"})},
              });
}

TEST(ResolveActiveOutbound, TheFirstOutboundWithATagWins) {
  expectWalks({
      {.name = "two leaves tagged proxy",
       .outbounds = {leaf("node_1"), leaf("proxy"), leaf("proxy")},
       .end = leafAt(1, {"proxy"})},
      {.name = "a dead end before a leaf",
       .outbounds = {detour("proxy", "node_404"), leaf("proxy")},
       .end = stopped(OUTBOUND_NOT_FOUND, {"proxy"})},
      {.name = "two targets",
       .outbounds = {leaf("front"), detour("proxy", "front"), leaf("front")},
       .end = leafAt(0, {"proxy", "front"})},
      {.name = "the second one would end the cycle",
       .outbounds = {detour("proxy", "front"), detour("front", "proxy"), leaf("front")},
       .end = stopped(DETOUR_CYCLE, {"proxy", "front"})},
  });
}

TEST(ResolveActiveOutbound, AnUnknownTargetIsNotVisited) {
  const std::vector<Outbound> lookAlikes = {selector("proxy"), leaf("node_"),    leaf("node_4"),
                                            leaf("node_4040"), leaf("Node_404"), leaf("")};
  expectWalks({
      {.name = "a selector that selects node_404",
       .outbounds = lookAlikes,
       .answers = {answer("proxy", "node_404")},
       .end = stopped(OUTBOUND_NOT_FOUND, {"proxy"})},
      {.name = "a dangling detour",
       .outbounds = {detour("proxy", "node_404"), leaf("node_4"), leaf("NODE_404")},
       .end = stopped(OUTBOUND_NOT_FOUND, {"proxy"})},
      {.name = "a dangling detour after a selector",
       .outbounds = {selector("proxy"), detour("front", "node_404")},
       .answers = {answer("proxy", "front")},
       .end = stopped(OUTBOUND_NOT_FOUND, {"proxy", "front"})},
  });
}

TEST(ResolveActiveOutbound, ComparesWholeTags) {
  expectWalks({
      {.name = "a target that shares a prefix with visited tags",
       .outbounds = {detour("proxy", "proxy2"), detour("proxy2", "prox"), leaf("prox")},
       .end = leafAt(2, {"proxy", "proxy2", "prox"})},
      {.name = "a target that differs from a visited tag in letter case",
       .outbounds = {detour("proxy", "Proxy"), leaf("Proxy")},
       .end = leafAt(1, {"proxy", "Proxy"})},
      {.name = "tags similar to the target",
       .outbounds = {leaf("node_"), leaf("node_10"), selector("proxy"), leaf("node_1")},
       .answers = {answer("proxy2", "node_"), answer("prox", "node_10"), answer("proxy", "node_1")},
       .end = leafAt(3, {"proxy", "node_1"})},
  });
}

TEST(ResolveActiveOutbound, IgnoresEndpointFields) {
  Outbound invalid = typed("node_1", "");
  invalid.hasServer = false;
  invalid.server.clear();
  invalid.portMalformed = true;
  invalid.ports.clear();
  expectWalk({.name = "a leaf without an endpoint",
              .outbounds = {detour("proxy", "node_1"), invalid},
              .end = leafAt(1, {"proxy", "node_1"})});
}

TEST(ResolveActiveOutbound, TheStepThatClosesACycleDecidesTheStatus) {
  const std::vector<std::tuple<std::string_view, std::string_view, ActiveEndpointStatus>> cycles = {
      {"s", "proxy", SELECTOR_CYCLE},      {"dd", "proxy", DETOUR_CYCLE},
      {"sd", "proxy", DETOUR_CYCLE},       {"d", "proxy", DETOUR_CYCLE},
      {"u", "proxy", SELECTOR_CYCLE},      {"ss", "proxy", SELECTOR_CYCLE},
      {"ds", "proxy", SELECTOR_CYCLE},     {"du", "proxy", SELECTOR_CYCLE},
      {"ud", "proxy", DETOUR_CYCLE},       {"ss", "hop_1", SELECTOR_CYCLE},
      {"sd", "hop_1", DETOUR_CYCLE},       {"ds", "hop_1", SELECTOR_CYCLE},
      {"sds", "hop_1", SELECTOR_CYCLE},    {"dsd", "hop_1", DETOUR_CYCLE},
      {"dds", "hop_1", SELECTOR_CYCLE},    {"ssd", "hop_1", DETOUR_CYCLE},
      {"ddddddd", "hop_3", DETOUR_CYCLE},  {"ddddddds", "hop_6", SELECTOR_CYCLE},
      {"sssssssd", "proxy", DETOUR_CYCLE}, {"ssssssss", "hop_7", SELECTOR_CYCLE},
  };
  for (const auto& [kinds, target, status] : cycles) {
    expectChainStops(kinds, target, status, kinds.size());
  }
}

// Nine or more links. The ninth step is too deep, whatever its target.
constexpr auto kDeepChains = std::to_array<std::pair<std::string_view, ActiveEndpointStatus>>({
    {"sssssssss", SELECTOR_DEPTH_EXCEEDED},
    {"ddddddddd", DETOUR_DEPTH_EXCEEDED},
    {"sdsdsdsds", SELECTOR_DEPTH_EXCEEDED},
    {"dsdsdsdsd", DETOUR_DEPTH_EXCEEDED},
    {"dddddddds", SELECTOR_DEPTH_EXCEEDED},
    {"ssssssssd", DETOUR_DEPTH_EXCEEDED},
    {"sssssssssd", SELECTOR_DEPTH_EXCEEDED},
    {"ddddddddds", DETOUR_DEPTH_EXCEEDED},
    {"uuuuuuuuu", SELECTOR_DEPTH_EXCEEDED},
    {"sssssssssssss", SELECTOR_DEPTH_EXCEEDED},
});

TEST(ResolveActiveOutbound, UpToEightStepsReachTheLeaf) {
  EXPECT_EQ(kMaxFollowSteps, 8U);
  for (const std::string_view kinds :
       {"ssssssss", "dddddddd", "sdsdsdsd", "ddddssss", "uuuuuuuu"}) {
    for (std::size_t steps = 1; steps <= kinds.size(); ++steps) {
      Walk walk = chain(kinds.substr(0, steps), kLeafTag);
      walk.end = leafAt(steps, tagsOfLinks(steps));
      walk.end.visited.emplace_back(kLeafTag);
      expectWalk(walk);
    }
  }
}

TEST(ResolveActiveOutbound, TheNinthStepDecidesTheDepthStatus) {
  for (const auto& [kinds, status] : kDeepChains) expectChainStops(kinds, kLeafTag, status, 9);
}

TEST(ResolveActiveOutbound, DepthIsCheckedBeforeCycles) {
  for (const auto& [kinds, status] : kDeepChains) {
    for (const std::string_view target : {"proxy", "hop_1", "hop_4", "hop_8"}) {
      expectChainStops(kinds, target, status, 9);
    }
  }
}

TEST(ResolveActiveOutbound, DepthIsCheckedBeforeTheTargetIsLookedUp) {
  expectChainStops("ssssssss", kUnknownTag, OUTBOUND_NOT_FOUND, 8);
  expectChainStops("dddddddd", kUnknownTag, OUTBOUND_NOT_FOUND, 8);
  expectChainStops("sssssssss", kUnknownTag, SELECTOR_DEPTH_EXCEEDED, 9);
  expectChainStops("ddddddddd", kUnknownTag, DETOUR_DEPTH_EXCEEDED, 9);
}

TEST(ResolveActiveOutbound, AnswersAreCheckedBeforeDepth) {
  for (const std::string_view kinds : {"sssssssss", "dddddddds"}) {
    for (const FailedAnswer& row : kFailedAnswers) {
      SCOPED_TRACE(row.name);
      Walk walk = chain(kinds, "");
      walk.answers.back().status = row.status;
      walk.end = stopped(row.result, tagsOfLinks(9));
      expectWalk(walk);
      walk.answers.pop_back();
      walk.end.status = SELECTOR_TRANSPORT_FAILED;
      expectWalk(walk);
    }
  }
}

TEST(ResolveActiveOutbound, AFailedWalkReportsTheSoughtTag) {
  struct Row {
    std::string_view sought;
    ActiveEndpointStatus status;
    Walk walk;
  };
  const Walk depth = chain("sssssssss", kLeafTag);
  const Walk detours = chain("ddddddddd", kLeafTag);
  const std::vector<Outbound> selected = {selector("proxy"), selector("group"), leaf("a")};
  const auto through = [&](const SelectorAnswer& last) {
    return Walk{.name = "", .outbounds = selected, .answers = {answer("proxy", "group"), last}};
  };
  const std::vector<Row> rows = {
      {"proxy", OUTBOUND_NOT_FOUND, {.name = "", .outbounds = {leaf("Proxy")}}},
      {"node_404", OUTBOUND_NOT_FOUND, through(answer("group", "node_404"))},
      {"node_404", OUTBOUND_NOT_FOUND, {.name = "", .outbounds = {detour("proxy", "node_404")}}},
      {"group", SELECTOR_TRANSPORT_FAILED, through(answer("other", "a"))},
      {"group", SELECTOR_TRANSPORT_FAILED, through(failure("group", Answer::TransportFailed))},
      {"group", SELECTOR_RESPONSE_MALFORMED, through(failure("group", Answer::Malformed))},
      {"group", SELECTOR_NOW_MISSING, through(failure("group", Answer::NowMissing))},
      {"group", SELECTOR_NOW_MISSING, through(answer("group", ""))},
      {"proxy", SELECTOR_CYCLE, through(answer("group", "proxy"))},
      {"hop",
       DETOUR_CYCLE,
       {.name = "", .outbounds = {detour("proxy", "hop"), detour("hop", "hop")}}},
      {"leaf", SELECTOR_DEPTH_EXCEEDED, depth},
      {"leaf", DETOUR_DEPTH_EXCEEDED, detours},
      {"", OK, through(answer("group", "a"))},
  };
  for (const Row& row : rows) {
    DiagnosisInput input;
    input.outbounds = row.walk.outbounds;
    input.selectorAnswers = row.walk.answers;
    const Resolution resolution = resolveActiveOutbound(input);
    EXPECT_EQ(resolution.status, row.status) << toString(resolution.status);
    EXPECT_EQ(resolution.soughtTag, row.sought) << toString(row.status);
  }
}

}  // namespace
}  // namespace egress::test
