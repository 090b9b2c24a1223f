#include "bench/diagnosis_inputs.h"

#include <string>
#include <string_view>
#include <utility>

#include "bench/address_texts.h"
#include "bench/random_source.h"
#include "egress/config/numeric_address.h"

namespace egress::bench {
namespace {

constexpr std::string_view kEndpointAddress = "198.51.100.10";
constexpr std::uint32_t kEndpointPort = 443;

InterfaceRow makeAdapter(std::size_t place, RandomSource& random) {
  InterfaceRow adapter;
  adapter.interfaceIndex = static_cast<std::uint32_t>(2 + 3 * place);
  adapter.operStatus = random.percent(80) ? 1 : 2;
  adapter.interfaceMetric = static_cast<std::uint32_t>(random.below(100));
  adapter.addresses = {
      makeIpv4Text(random), makeIpv4Text(random), makeIpv6Text(random),
      "fe80::" + makeIpv6Text(random).substr(0, 4) + "%eth" + std::to_string(place)};
  return adapter;
}

SocketSource makeSocket(const DiagnosisInput& input, RandomSource& random) {
  const InterfaceRow& adapter = input.adapters.rows[random.below(input.adapters.rows.size())];
  const bool isIpv4 = random.percent(85);
  const std::string& owned = adapter.addresses[(isIpv4 ? 0 : 2) + random.below(2)];
  SocketSource socket;
  socket.localAddress = random.percent(98) ? owned : makeIpv4Text(random);
  socket.localPort = static_cast<std::uint32_t>(32768 + random.below(28232));
  socket.remoteAddress = isIpv4 ? makeIpv4Text(random) : makeIpv6Text(random);
  socket.remotePort = random.percent(50) ? kEndpointPort : 53;
  if (isIpv4 && random.percent(75)) {
    socket.remoteAddress = kEndpointAddress;
    socket.remotePort = kEndpointPort;
  }
  return socket;
}

}  // namespace

DiagnosisInput makeDiagnosisInput(std::size_t sockets, std::size_t adapters) {
  RandomSource random(/*seed=*/3);
  DiagnosisInput input;
  input.configStatus = ConfigStatus::OK;
  input.autoDetectInterface = true;
  Outbound outbound;
  outbound.tag = "proxy";
  outbound.type = "shadowsocks";
  outbound.hasServer = true;
  outbound.server = kEndpointAddress;
  outbound.portSpecified = true;
  outbound.ports = {kEndpointPort};
  input.outbounds.push_back(std::move(outbound));
  for (std::size_t i = 0; i < adapters; ++i) {
    input.adapters.rows.push_back(makeAdapter(i, random));
  }
  for (const std::int32_t family : {4, 6}) {
    input.routes.rows.push_back({.family = family, .interfaceIndex = 2, .routeMetric = 100});
  }
  for (std::size_t i = 0; i < sockets; ++i) {
    input.sockets.rows.push_back(makeSocket(input, random));
  }
  return input;
}

std::size_t touchEveryRow(const DiagnosisInput& input) {
  std::size_t sum = 0;
  const auto parse = [&sum](std::string_view text) {
    const NumericAddress address = parseNumericAddress(text);
    sum += std::size_t{address.bytes[3]} + address.bytes[15];
  };
  for (const InterfaceRow& adapter : input.adapters.rows) {
    sum += adapter.interfaceIndex + static_cast<std::uint32_t>(adapter.operStatus) +
           adapter.interfaceMetric;
    for (const std::string& address : adapter.addresses) parse(address);
  }
  for (const RouteRow& route : input.routes.rows) sum += route.interfaceIndex + route.routeMetric;
  for (const SocketSource& socket : input.sockets.rows) {
    parse(socket.localAddress);
    if (socket.remotePort == kEndpointPort) parse(socket.remoteAddress);
  }
  return sum;
}

}  // namespace egress::bench
