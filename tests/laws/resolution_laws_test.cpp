// The walk from "proxy" to the leaf on every small graph and every long chain, and the
// classification of every combination of a leaf's fields.

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
using StatusCounts = std::map<ActiveEndpointStatus, std::size_t>;

void print(const StatusCounts& counts) {
  for (const auto& [status, times] : counts) std::cout << times << " " << toString(status) << "\n";
}

// An outbound of a graph and, for a selector, its answer.
struct Node {
  std::string type;
  std::string detour;
  bool answered = false;
  SelectorAnswerStatus status = SelectorAnswerStatus::Ok;
  std::string now;
};

Node detourNode(const std::string& type, const std::string& detour) {
  Node node;
  node.type = type;
  node.detour = detour;
  return node;
}

Node selectorNode(const std::string& type, SelectorAnswerStatus status, const std::string& now) {
  Node node = detourNode(type, "a");  // a selector's detour must be ignored
  node.answered = true;
  node.status = status;
  node.now = now;
  return node;
}

const std::array<std::string, 5> kGraphTags = {"proxy", "a", "b", "c", "nowhere"};

// All variants of an outbound in a graph of `count` outbounds.
std::vector<Node> everyNode(std::size_t count) {
  std::vector<std::string> targets(kGraphTags.begin(),
                                   kGraphTags.begin() + static_cast<std::ptrdiff_t>(count));
  targets.push_back(kGraphTags.back());
  std::vector<Node> nodes = {detourNode("shadowsocks", "")};
  for (const std::string& target : targets) nodes.push_back(detourNode("shadowsocks", target));
  for (const char* const type : {"selector", "urltest"}) {
    using enum SelectorAnswerStatus;
    nodes.push_back(detourNode(type, ""));  // not queried
    for (const auto status : {TransportFailed, Malformed, NowMissing}) {
      nodes.push_back(selectorNode(type, status, "a"));
    }
    nodes.push_back(selectorNode(type, Ok, ""));
    for (const std::string& target : targets) nodes.push_back(selectorNode(type, Ok, target));
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

TEST(ResolutionLaws, EveryGraphOfUpToFourOutboundsMatchesTheNaiveCore) {
  std::size_t graphs = 0;
  StatusCounts counts;
  for (std::size_t count = 0; count <= 4; ++count) {
    const std::vector<Node> nodes = everyNode(count);
    std::array<std::size_t, 4> chosen{};  // incremented like the digits of a number
    for (bool more = true; more;) {
      DiagnosisInput input;
      for (std::size_t i = 0; i < count; ++i) add(nodes[chosen[i]], kGraphTags[i], input);
      ASSERT_EQ(checkResolution(input), "") << "graph " << graphs << " of " << count;
      ++graphs;
      ++counts[resolveActiveOutbound(input).status];

      std::size_t place = 0;
      while (place < count && ++chosen[place] == nodes.size()) chosen[place++] = 0;
      more = place < count;
    }
  }
  std::cout << graphs << " graphs\n";
  print(counts);
  // A leaf; a detour to each outbound or to an unknown tag; two types of selectors without an
  // answer, with one of four failed answers, or selecting an outbound or an unknown tag.
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
    EXPECT_GT(counts[status], 0) << toString(status);
  }
}

// The target of the last step of a chain.
enum class End { Leaf, Nowhere, BackToStart };

// A chain of `steps` steps. Digit i of `mix`, in base 3, selects the type of outbound i: selector,
// urltest or detour.
DiagnosisInput makeChain(std::size_t steps, std::size_t mix, End end) {
  DiagnosisInput input;
  for (std::size_t i = 0; i < steps; ++i) {
    const std::string tag = i == 0 ? "proxy" : "hop_" + std::to_string(i);
    std::string target = "hop_" + std::to_string(i + 1);
    if (i + 1 == steps && end == End::BackToStart) target = "proxy";
    const std::array<Node, 3> kinds = {selectorNode("selector", SelectorAnswerStatus::Ok, target),
                                       selectorNode("urltest", SelectorAnswerStatus::Ok, target),
                                       detourNode("vless", target)};
    add(kinds[mix % 3], tag, input);
    mix /= 3;
  }
  if (end == End::Leaf) add(detourNode("trojan", ""), "hop_" + std::to_string(steps), input);
  return input;
}

// Whether outbound `place` of the chain is a selector or urltest.
bool selectsAt(std::size_t mix, std::size_t place) {
  for (; place > 0; --place) mix /= 3;
  return mix % 3 != 2;
}

ActiveEndpointStatus expectedStatus(std::size_t steps, std::size_t mix, End end) {
  if (steps > 8) return selectsAt(mix, 8) ? SELECTOR_DEPTH_EXCEEDED : DETOUR_DEPTH_EXCEEDED;
  if (end == End::Leaf) return OK;
  if (end == End::Nowhere) return OUTBOUND_NOT_FOUND;
  return selectsAt(mix, steps - 1) ? SELECTOR_CYCLE : DETOUR_CYCLE;
}

TEST(ResolutionLaws, EightStepsOfAnyKindSucceedAndNineAreTooDeep) {
  std::size_t chains = 0;
  for (std::size_t steps = 7; steps <= 10; ++steps) {
    std::size_t mixes = 1;
    for (std::size_t i = 0; i < steps; ++i) mixes *= 3;
    for (std::size_t mix = 0; mix < mixes; ++mix) {
      for (const End end : {End::Leaf, End::Nowhere, End::BackToStart}) {
        const DiagnosisInput input = makeChain(steps, mix, end);
        const Resolution resolution = resolveActiveOutbound(input);
        ASSERT_EQ(resolution.status, expectedStatus(steps, mix, end))
            << steps << " steps, mix " << mix;
        ASSERT_EQ(resolution.leaf.has_value(), resolution.status == OK);
        ASSERT_EQ(resolution.leaf.value_or(input.outbounds.size() - 1), input.outbounds.size() - 1);
        ASSERT_EQ(checkResolution(input), "");
        ++chains;
      }
    }
  }
  std::cout << chains << " chains\n";
  EXPECT_EQ(chains, 3 * (2187 + 6561 + 19683 + 59049));
}

TEST(ResolutionLaws, GeneratedOutboundsMatchTheNaiveCore) {
  StatusCounts counts;
  checkOnRandomBytes(100'000, 200, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    DiagnosisInput input;
    generateOutbounds(choices, input);
    ++counts[naiveWalk(input).status];
    return checkResolution(input);
  });
  print(counts);
  for (const auto status :
       {OK, SELECTOR_TRANSPORT_FAILED, SELECTOR_RESPONSE_MALFORMED, SELECTOR_NOW_MISSING,
        SELECTOR_CYCLE, DETOUR_CYCLE, OUTBOUND_NOT_FOUND}) {
    EXPECT_GT(counts[status], 0) << toString(status);
  }
}

TEST(ClassificationLaws, EveryCombinationOfFieldsMatchesTheNaiveCore) {
  constexpr std::array<std::string_view, 16> kTypes = {
      "direct", "block",  "dns",         "hysteria",  "hysteria2", "tuic",  "vmess",  "vless",
      "trojan", "anytls", "shadowsocks", "wireguard", "",          "Vmess", "vmess2", "selector"};
  constexpr std::array<std::string_view, 4> kServers = {"198.51.100.10", "2001:db8::1",
                                                        "node.example", ""};
  constexpr std::array<std::string_view, 8> kTransports = {"",     "ws",  "grpc", "http",
                                                           "quic", "kcp", "WS",   "websocket"};
  StatusCounts counts;
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
            ASSERT_EQ(checkClassification(leaf), "")
                << "flags " << flags << ", type " << type << ", server " << server << ", transport "
                << transport << ", ports " << ports;
            ++counts[naiveClassification(leaf)];
            ++combinations;
          }
        }
      }
    }
  }
  std::cout << combinations << " leaves\n";
  print(counts);
  EXPECT_EQ(combinations, 32 * 16 * 4 * 8 * 3);
  EXPECT_EQ(counts.size(), 8);  // OK and the seven other statuses of a leaf
}

}  // namespace
}  // namespace egress::test
