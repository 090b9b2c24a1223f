// The walk from "proxy" to the leaf, and what the leaf is: every small graph, every long way, every
// combination of a leaf's fields.

#include <array>
#include <cstddef>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "egress/config/resolve_active_outbound.h"
#include "tests/laws/core_laws.h"
#include "tests/laws/generated_input.h"
#include "tests/laws/naive_core.h"
#include "tests/laws/random_rounds.h"

namespace egress::test {
namespace {

using enum ActiveEndpointStatus;
using StatusCensus = std::map<ActiveEndpointStatus, std::size_t>;

void print(const StatusCensus& census) {
  for (const auto& [status, times] : census) std::cout << times << " " << toString(status) << "\n";
}

// An outbound of a graph and, for a selector, its answer.
struct Node {
  std::string type;
  std::string detour;
  bool answered = false;
  SelectorAnswerStatus status = SelectorAnswerStatus::Ok;
  std::string now;
};

Node dialling(const std::string& type, const std::string& detour) {
  Node node;
  node.type = type;
  node.detour = detour;
  return node;
}

Node choosing(const std::string& type, SelectorAnswerStatus status, const std::string& now) {
  Node node = dialling(type, "a");  // a selector's own detour must not matter
  node.answered = true;
  node.status = status;
  node.now = now;
  return node;
}

const std::array<std::string, 5> kGraphTags = {"proxy", "a", "b", "c", "nowhere"};

// Everything that one outbound of a graph of `count` can be.
std::vector<Node> everyNode(std::size_t count) {
  std::vector<std::string> targets(kGraphTags.begin(),
                                   kGraphTags.begin() + static_cast<std::ptrdiff_t>(count));
  targets.push_back(kGraphTags.back());
  std::vector<Node> nodes = {dialling("shadowsocks", "")};
  for (const std::string& target : targets) nodes.push_back(dialling("shadowsocks", target));
  for (const char* const type : {"selector", "urltest"}) {
    using enum SelectorAnswerStatus;
    nodes.push_back(dialling(type, ""));  // never asked
    for (const auto status : {TransportFailed, Malformed, NowMissing}) {
      nodes.push_back(choosing(type, status, "a"));
    }
    nodes.push_back(choosing(type, Ok, ""));
    for (const std::string& target : targets) nodes.push_back(choosing(type, Ok, target));
  }
  return nodes;
}

void add(const Node& node, const std::string& tag, DiagnosisInput& input) {
  Outbound outbound;
  outbound.tag = tag;
  outbound.type = node.type;
  outbound.detour = node.detour;
  input.outbounds.push_back(outbound);
  if (node.answered) {
    input.selectorAnswers.push_back({.selectorTag = tag, .status = node.status, .now = node.now});
  }
}

TEST(ResolutionLaws, EveryGraphOfUpToFourOutboundsIsWalkedAsByTheNaiveCore) {
  std::size_t graphs = 0;
  StatusCensus census;
  for (std::size_t count = 0; count <= 4; ++count) {
    const std::vector<Node> nodes = everyNode(count);
    std::array<std::size_t, 4> chosen{};  // counts up like the digits of a number
    for (bool more = true; more;) {
      DiagnosisInput input;
      for (std::size_t i = 0; i < count; ++i) add(nodes[chosen[i]], kGraphTags[i], input);
      ASSERT_EQ(judgeResolution(input), "") << "graph " << graphs << " of " << count;
      ++graphs;
      ++census[resolveActiveOutbound(input).status];

      std::size_t place = 0;
      while (place < count && ++chosen[place] == nodes.size()) chosen[place++] = 0;
      more = place < count;
    }
  }
  std::cout << graphs << " graphs\n";
  print(census);
  // A leaf, detours to each outbound and to nowhere, and two kinds of selectors with no answer,
  // four useless ones, or one that names an outbound or nowhere.
  const auto variants = [](std::size_t n) { return 1 + (n + 1) + 2 * (1 + 4 + n + 1); };
  std::size_t expected = 1;
  for (std::size_t count = 1; count <= 4; ++count) {
    std::size_t product = 1;
    for (std::size_t i = 0; i < count; ++i) product *= variants(count);
    expected += product;
  }
  EXPECT_EQ(graphs, expected);
  for (const auto status :
       {OK, SELECTOR_TRANSPORT_FAILED, SELECTOR_RESPONSE_MALFORMED, SELECTOR_NOW_MISSING,
        SELECTOR_CYCLE, DETOUR_CYCLE, OUTBOUND_NOT_FOUND}) {
    EXPECT_GT(census[status], 0) << toString(status);
  }
}

// Ways of `follows` follows, each by a selector, a urltest or a detour, to an end of three kinds.
enum class End { Leaf, Nowhere, BackToStart };

DiagnosisInput makeChain(std::size_t follows, std::size_t mix, End end) {
  DiagnosisInput input;
  for (std::size_t i = 0; i < follows; ++i) {
    const std::string tag = i == 0 ? "proxy" : "hop_" + std::to_string(i);
    std::string target = "hop_" + std::to_string(i + 1);
    if (i + 1 == follows && end == End::BackToStart) target = "proxy";
    const std::array<Node, 3> kinds = {choosing("selector", SelectorAnswerStatus::Ok, target),
                                       choosing("urltest", SelectorAnswerStatus::Ok, target),
                                       dialling("vless", target)};
    add(kinds[mix % 3], tag, input);
    mix /= 3;
  }
  if (end == End::Leaf) add(dialling("trojan", ""), "hop_" + std::to_string(follows), input);
  return input;
}

// The outbound that the deciding step leaves from is of this kind.
bool selectsAt(std::size_t mix, std::size_t place) {
  for (; place > 0; --place) mix /= 3;
  return mix % 3 != 2;
}

ActiveEndpointStatus wantedOfChain(std::size_t follows, std::size_t mix, End end) {
  if (follows > 8) return selectsAt(mix, 8) ? SELECTOR_DEPTH_EXCEEDED : DETOUR_DEPTH_EXCEEDED;
  if (end == End::Leaf) return OK;
  if (end == End::Nowhere) return OUTBOUND_NOT_FOUND;
  return selectsAt(mix, follows - 1) ? SELECTOR_CYCLE : DETOUR_CYCLE;
}

TEST(ResolutionLaws, EightFollowsOfAnyMixReachTheirEndAndNineAreTooDeep) {
  std::size_t chains = 0;
  for (std::size_t follows = 7; follows <= 10; ++follows) {
    std::size_t mixes = 1;
    for (std::size_t i = 0; i < follows; ++i) mixes *= 3;
    for (std::size_t mix = 0; mix < mixes; ++mix) {
      for (const End end : {End::Leaf, End::Nowhere, End::BackToStart}) {
        const DiagnosisInput input = makeChain(follows, mix, end);
        const Resolution resolution = resolveActiveOutbound(input);
        ASSERT_EQ(resolution.status, wantedOfChain(follows, mix, end))
            << follows << " follows, mix " << mix;
        ASSERT_EQ(resolution.leaf.has_value(), resolution.status == OK);
        ASSERT_EQ(resolution.leaf.value_or(input.outbounds.size() - 1), input.outbounds.size() - 1);
        ASSERT_EQ(judgeResolution(input), "");
        ++chains;
      }
    }
  }
  std::cout << chains << " chains\n";
  EXPECT_EQ(chains, 3 * (2187 + 6561 + 19683 + 59049));
}

TEST(ResolutionLaws, GeneratedOutboundsAreWalkedAsByTheNaiveCore) {
  StatusCensus census;
  holdOnRandomBytes(100'000, 200, [&census](std::string_view bytes) {
    Choices choices(bytes);
    DiagnosisInput input;
    generateOutbounds(choices, input);
    ++census[naiveWalk(input).status];
    return judgeResolution(input);
  });
  print(census);
  for (const auto status :
       {OK, SELECTOR_TRANSPORT_FAILED, SELECTOR_RESPONSE_MALFORMED, SELECTOR_NOW_MISSING,
        SELECTOR_CYCLE, DETOUR_CYCLE, OUTBOUND_NOT_FOUND}) {
    EXPECT_GT(census[status], 0) << toString(status);
  }
}

TEST(ClassificationLaws, EveryCombinationOfALeafsFieldsIsJudgedAsByTheDecisionTable) {
  constexpr std::array<std::string_view, 16> kTypes = {
      "direct", "block",  "dns",         "hysteria",  "hysteria2", "tuic",  "vmess",  "vless",
      "trojan", "anytls", "shadowsocks", "wireguard", "",          "Vmess", "vmess2", "selector"};
  constexpr std::array<std::string_view, 4> kServers = {"198.51.100.10", "2001:db8::1",
                                                        "node.example", ""};
  constexpr std::array<std::string_view, 8> kTransports = {"",     "ws",  "grpc", "http",
                                                           "quic", "kcp", "WS",   "websocket"};
  StatusCensus census;
  Outbound leaf;
  std::size_t combinations = 0;
  for (std::size_t flags = 0; flags < 32; ++flags) {
    leaf.hasServer = (flags & 1) != 0;
    leaf.portSpecified = (flags & 2) != 0;
    leaf.portMalformed = (flags & 4) != 0;
    leaf.portHopping = (flags & 8) != 0;
    leaf.hasTransport = (flags & 16) != 0;
    for (const std::string_view type : kTypes) {
      leaf.type = type;
      for (const std::string_view server : kServers) {
        leaf.server = server;
        for (const std::string_view transport : kTransports) {
          leaf.transportType = transport;
          for (std::size_t ports = 0; ports <= 2; ++ports) {
            leaf.ports.assign(ports, 443);
            ASSERT_EQ(judgeClassification(leaf), "")
                << "flags " << flags << ", type " << type << ", server " << server << ", transport "
                << transport << ", ports " << ports;
            ++census[naiveClassification(leaf)];
            ++combinations;
          }
        }
      }
    }
  }
  std::cout << combinations << " leaves\n";
  print(census);
  EXPECT_EQ(combinations, 32 * 16 * 4 * 8 * 3);
  EXPECT_EQ(census.size(), 8);  // OK and the seven words that a leaf can earn
}

}  // namespace
}  // namespace egress::test
