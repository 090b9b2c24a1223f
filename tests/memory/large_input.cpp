#include "tests/memory/large_input.h"

#include <cstdint>

#include "tests/support/joined.h"

namespace egress::test {
namespace {

std::string nodeText(std::size_t number, std::string_view extra) {
  const std::string detour = number == 0 ? nodeTag(1) : "";
  return joined({R"({"tag":")", nodeTag(number), R"(","type":"vless","detour":")", detour,
                 R"(","server":"2001:0db8:0000:0000:0000:0000:0000:0001","server_port":443,)",
                 R"("transport":{"type":"a transport type that is unknown"},"extra":)", extra,
                 "}"});
}

}  // namespace

std::string nodeTag(std::size_t number) {
  return "a node whose tag is rather long " + std::to_string(number);
}

std::string largeConfig(std::size_t nodes, std::string_view extra) {
  std::string text = R"({"route":{"auto_detect_interface":true},"outbounds":[)"
                     R"({"tag":"proxy","type":"selector"})";
  for (std::size_t i = 0; i < nodes; ++i) text += joined({",", nodeText(i, extra)});
  return text + "]}";
}

DiagnosisInput largeInput(std::size_t nodes, std::size_t rows) {
  DiagnosisInput input;
  setProxyConfig(input, readProxyConfig(largeConfig(nodes, "[]"), /*hasText=*/true));
  for (Outbound& outbound : input.outbounds) outbound.hasTransport = false;
  input.selectorAnswers = {
      {.selectorTag = "proxy", .status = SelectorAnswerStatus::Ok, .now = nodeTag(0)}};
  input.selectorHint = nodeTag(1);
  for (std::size_t i = 0; i < rows; ++i) {
    const auto index = static_cast<std::uint32_t>((rows - i) / 2);
    const std::string address = "2001:0db8:0000:0000:0000:0000:0001:" + std::to_string(index);
    input.adapters.rows.push_back({.interfaceIndex = index,
                                   .operStatus = 1,
                                   .interfaceMetric = static_cast<std::uint32_t>(i),
                                   .addresses = {address}});
    input.routes.rows.push_back({.family = 6, .interfaceIndex = index, .routeMetric = 256});
    input.sockets.rows.push_back({.localAddress = input.adapters.rows.front().addresses.front(),
                                  .localPort = 51000,
                                  .remoteAddress = "2001:0db8:0000:0000:0000:0000:0000:0001",
                                  .remotePort = 443});
  }
  return input;
}

}  // namespace egress::test
