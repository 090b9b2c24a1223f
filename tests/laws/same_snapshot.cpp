#include "tests/laws/same_snapshot.h"

#include <algorithm>
#include <tuple>

namespace egress::test {
namespace {

using snapshot::Adapter;
using snapshot::HostSnapshot;
using snapshot::Origin;
using snapshot::SnapshotList;
using snapshot::Socket;

// All fields of a record. A structured binding names every field, so that a new one does not
// compile until it is compared.

auto fieldsOf(const Origin& record) {
  const auto& [time, program, programVersion, system] = record;
  return std::tie(time, program, programVersion, system);
}

auto fieldsOf(const Outbound& record) {
  const auto& [tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
               ports, hasTransport, transportType] = record;
  return std::tie(tag, type, detour, hasServer, server, portSpecified, portMalformed, portHopping,
                  ports, hasTransport, transportType);
}

auto fieldsOf(const ProxyConfig& record) {
  const auto& [configStatus, autoDetectInterface, outbounds] = record;
  return std::tie(configStatus, autoDetectInterface, outbounds);
}

auto fieldsOf(const SelectorAnswer& record) {
  const auto& [selectorTag, status, now] = record;
  return std::tie(selectorTag, status, now);
}

auto fieldsOf(const Adapter& record) {
  const auto& [name, interfaceIndex, operStatus, interfaceMetric, addresses] = record;
  return std::tie(name, interfaceIndex, operStatus, interfaceMetric, addresses);
}

auto fieldsOf(const RouteRow& record) {
  const auto& [family, interfaceIndex, routeMetric] = record;
  return std::tie(family, interfaceIndex, routeMetric);
}

auto fieldsOf(const Socket& record) {
  const auto& [protocol, state, localAddress, localPort, remoteAddress, remotePort,
               boundInterfaceIndex, mark, user, routeInterfaceIndex] = record;
  return std::tie(protocol, state, localAddress, localPort, remoteAddress, remotePort,
                  boundInterfaceIndex, mark, user, routeInterfaceIndex);
}

template <typename Row>
auto fieldsOf(const SnapshotList<Row>& record) {
  const auto& [enumFailed, failureReason, rows] = record;
  return std::tie(enumFailed, failureReason, rows);
}

auto fieldsOf(const HostSnapshot& record) {
  const auto& [origin, config, selectorAnswers, selectorHint, adapters, routes, sockets] = record;
  return std::tie(origin, config, selectorAnswers, selectorHint, adapters, routes, sockets);
}

template <typename Value>
bool same(const Value& a, const Value& b) {
  if constexpr (requires { fieldsOf(a); }) {
    return std::apply(
        [&b](const auto&... fieldsOfA) {
          return std::apply(
              [&](const auto&... fieldsOfB) { return (same(fieldsOfA, fieldsOfB) && ...); },
              fieldsOf(b));
        },
        fieldsOf(a));
  } else if constexpr (requires { fieldsOf(a.front()); }) {
    return std::ranges::equal(a, b, [](const auto& x, const auto& y) { return same(x, y); });
  } else {
    return a == b;
  }
}

}  // namespace

bool sameSnapshot(const HostSnapshot& a, const HostSnapshot& b) {
  return same(a, b);
}

}  // namespace egress::test
