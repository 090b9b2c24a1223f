#include "egress_live/linux/route_lookup.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <span>
#include <sys/socket.h>

#include <linux/rtnetlink.h>

#include "egress/config/numeric_address.h"

namespace egress::live {
namespace {

using snapshot::Socket;
using snapshot::SocketProtocol;

void append(std::span<const std::byte> bytes, std::vector<std::byte>& payload) {
  payload.insert(payload.end(), bytes.begin(), bytes.end());
  payload.resize(aligned(payload.size()));
}

void addAttribute(std::uint16_t type, std::span<const std::byte> value,
                  std::vector<std::byte>& payload) {
  const nlattr header{.nla_len = static_cast<std::uint16_t>(sizeof(nlattr) + value.size()),
                      .nla_type = type};
  append(std::as_bytes(std::span(&header, 1)), payload);
  append(value, payload);
}

template <typename Value>
void addValue(std::uint16_t type, Value value, std::vector<std::byte>& payload) {
  addAttribute(type, std::as_bytes(std::span(&value, 1)), payload);
}

void addPort(std::uint16_t type, std::uint32_t port, std::vector<std::byte>& payload) {
  addValue(type, htons(static_cast<std::uint16_t>(port)), payload);
}

}  // namespace

std::vector<std::byte> routeRequestFor(const Socket& socket, const RequestParts& parts) {
  const NumericAddress source = parseNumericAddress(socket.localAddress);
  const NumericAddress target = parseNumericAddress(socket.remoteAddress);
  if (!source.valid || !target.valid || source.family != target.family) {
    throw EnumerationError("the addresses of a socket are not two numeric ones of one family");
  }
  const bool isIpv4 = target.family == 4;
  const std::size_t size = isIpv4 ? sizeof(in_addr) : sizeof(in6_addr);
  rtmsg header{};
  header.rtm_family = isIpv4 ? AF_INET : AF_INET6;
  header.rtm_dst_len = static_cast<unsigned char>(8 * size);
  header.rtm_src_len = parts.source ? header.rtm_dst_len : std::uint8_t{0};
  const bool isTcp = socket.protocol == SocketProtocol::TCP;

  std::vector<std::byte> payload;
  append(std::as_bytes(std::span(&header, 1)), payload);
  addAttribute(RTA_DST, std::as_bytes(std::span(target.bytes)).first(size), payload);
  if (parts.source) {
    addAttribute(RTA_SRC, std::as_bytes(std::span(source.bytes)).first(size), payload);
  }
  const std::uint32_t device = socket.boundInterfaceIndex.value_or(0);
  if (device != 0) addValue(RTA_OIF, device, payload);
  const std::uint32_t mark = socket.mark.value_or(0);
  if (mark != 0) addValue(RTA_MARK, mark, payload);
  if (socket.user) addValue(RTA_UID, *socket.user, payload);
  addValue(RTA_IP_PROTO, static_cast<std::uint8_t>(isTcp ? IPPROTO_TCP : IPPROTO_UDP), payload);
  if (parts.ports) {
    addPort(RTA_SPORT, socket.localPort, payload);
    addPort(RTA_DPORT, socket.remotePort, payload);
  }
  return payload;
}

std::uint32_t routeInterfaceIn(const NetlinkReply& reply) {
  std::uint32_t interfaceIndex = 0;
  forEachMessage(reply.bytes, [&interfaceIndex](const nlmsghdr& message) {
    const auto& route = payloadOf<rtmsg>(message);
    const nlattr* const index = findAttribute(message, sizeof(route), RTA_OIF);
    if (index != nullptr) interfaceIndex = valueOf<std::uint32_t>(*index);
  });
  if (interfaceIndex == 0) throw EnumerationError("the kernel returned a route without interface");
  return interfaceIndex;
}

bool meansNoRoute(int errorNumber) noexcept {
  switch (errorNumber) {
    case ENETUNREACH:
    case EHOSTUNREACH:
    case ENETDOWN:
    case ENODEV:
    case EACCES:               // a route of type prohibit
    case EINVAL: return true;  // a route of type blackhole, or the source address is not the host's
    default: return false;
  }
}

}  // namespace egress::live
