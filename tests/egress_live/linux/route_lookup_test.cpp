#include "egress_live/linux/route_lookup.h"

#include <cerrno>
#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/socket.h>

#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using snapshot::Socket;
using snapshot::SocketProtocol;

const Bytes kSource4 = bytesOfText({"\x0A\0\0\x01", 4});
const Bytes kTarget4 = bytesOfText({"\xC6\x33\x64\x0A", 4});

constexpr RequestParts kAll;
constexpr RequestParts kWithoutPorts = {.ports = false};

// From 10.0.0.1:51000 to 198.51.100.10:443, without facts.
Socket socket4() {
  Socket socket;
  socket.localAddress = "10.0.0.1";
  socket.localPort = 0xC738;  // 51000
  socket.remoteAddress = "198.51.100.10";
  socket.remotePort = 0x01BB;  // 443
  return socket;
}

Bytes header(int family, int bits) {
  rtmsg message{};
  message.rtm_family = static_cast<unsigned char>(family);
  message.rtm_dst_len = message.rtm_src_len = static_cast<unsigned char>(bits);
  return bytesOfValue(message);
}

// The parts one after the other, the whole aligned.
Bytes payload(const Bytes& first, const Bytes& second) {
  Bytes all = first;
  all.insert(all.end(), second.begin(), second.end());
  all.resize(aligned(all.size()));
  return all;
}

TEST(RouteRequestFor, NamesAddressesProtocolAndPorts) {
  EXPECT_EQ(routeRequestFor(socket4(), kAll),
            payload(header(AF_INET, 32), attributes({{RTA_DST, kTarget4},
                                                     {RTA_SRC, kSource4},
                                                     {RTA_IP_PROTO, {std::byte{IPPROTO_TCP}}},
                                                     {RTA_SPORT, bytesOfText("\xC7\x38")},
                                                     {RTA_DPORT, bytesOfText("\x01\xBB")}})));
}

TEST(RouteRequestFor, NamesTheFactsOfTheSocketThatAreKnown) {
  Socket socket = socket4();
  socket.protocol = SocketProtocol::UDP;
  socket.boundInterfaceIndex = 5;
  socket.mark = 7;
  socket.user = 1000;
  const Bytes all =
      payload(header(AF_INET, 32), attributes({{RTA_DST, kTarget4},
                                               {RTA_SRC, kSource4},
                                               {RTA_OIF, bytesOfValue(5)},
                                               {RTA_MARK, bytesOfValue(7)},
                                               {RTA_UID, bytesOfValue(1000)},
                                               {RTA_IP_PROTO, {std::byte{IPPROTO_UDP}}}}));
  EXPECT_EQ(routeRequestFor(socket, kWithoutPorts), all);
}

TEST(RouteRequestFor, LeavesOutNoDeviceAndNoMark) {
  Socket socket = socket4();
  const Bytes without = routeRequestFor(socket, kWithoutPorts);
  socket.boundInterfaceIndex = 0;
  socket.mark = 0;
  EXPECT_EQ(routeRequestFor(socket, kWithoutPorts), without);
  socket.user = 0;  // root
  EXPECT_NE(routeRequestFor(socket, kWithoutPorts), without);
}

TEST(RouteRequestFor, NamesIpv6AddressesWhole) {
  Socket socket = socket4();
  socket.localAddress = "fd00::7";
  socket.remoteAddress = "2001:db8::1";
  Bytes source(16);
  source[0] = std::byte{0xFD};
  source[15] = std::byte{7};
  Bytes target(16);
  target[0] = std::byte{0x20};
  target[1] = std::byte{0x01};
  target[2] = std::byte{0x0D};
  target[3] = std::byte{0xB8};
  target[15] = std::byte{1};
  EXPECT_EQ(routeRequestFor(socket, kWithoutPorts),
            payload(header(AF_INET6, 128), attributes({{RTA_DST, target},
                                                       {RTA_SRC, source},
                                                       {RTA_IP_PROTO, {std::byte{IPPROTO_TCP}}}})));
}

TEST(RouteRequestFor, MayLeaveOutTheSource) {
  rtmsg message{};
  message.rtm_family = AF_INET;
  message.rtm_dst_len = 32;
  EXPECT_EQ(routeRequestFor(socket4(), {.source = false, .ports = false}),
            payload(bytesOfValue(message),
                    attributes({{RTA_DST, kTarget4}, {RTA_IP_PROTO, {std::byte{IPPROTO_TCP}}}})));
}

TEST(RouteRequestFor, SocketsThatDifferInPortsDifferOnlyWithPorts) {
  Socket other = socket4();
  ++other.localPort;
  EXPECT_EQ(routeRequestFor(socket4(), kWithoutPorts), routeRequestFor(other, kWithoutPorts));
  EXPECT_NE(routeRequestFor(socket4(), kAll), routeRequestFor(other, kAll));
}

TEST(RouteRequestFor, RejectsAddressesThatAreNotTwoNumericOnesOfOneFamily) {
  for (const std::string text : {"", "host.invalid", "fd00::7", "10.0.0.1 "}) {
    Socket socket = socket4();
    socket.localAddress = text;
    EXPECT_THROW(static_cast<void>(routeRequestFor(socket, kAll)), EnumerationError) << text;
    socket = socket4();
    socket.remoteAddress = text;
    EXPECT_THROW(static_cast<void>(routeRequestFor(socket, kAll)), EnumerationError) << text;
  }
}

Message route() {
  rtmsg header{};
  header.rtm_family = AF_INET;
  header.rtm_type = RTN_UNICAST;
  return {RTM_NEWROUTE, header};
}

TEST(RouteInterfaceIn, IsTheOneOfTheRoute) {
  const Message message = route().with(RTA_DST, kTarget4).with(RTA_OIF, 5U).with(RTA_TABLE, 254U);
  EXPECT_EQ(routeInterfaceIn(replyWith({message})), 5U);
}

TEST(RouteInterfaceIn, RejectsAReplyWithoutInterface) {
  EXPECT_THROW(static_cast<void>(routeInterfaceIn({})), EnumerationError);
  EXPECT_THROW(static_cast<void>(routeInterfaceIn(replyWith({route()}))), EnumerationError);
  EXPECT_THROW(static_cast<void>(routeInterfaceIn(replyWith({route().with(RTA_OIF, 0U)}))),
               EnumerationError);
}

TEST(RouteInterfaceIn, RejectsAReplyThatIsCutOff) {
  const Message message = route().with(RTA_OIF, 5U);
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(routeInterfaceIn({.bytes = message.first(size)})),
                 EnumerationError)
        << size;
  }
  EXPECT_THROW(static_cast<void>(routeInterfaceIn(replyWith({route().with(RTA_OIF, Bytes(3))}))),
               EnumerationError);
}

TEST(MeansNoRoute, KnowsTheErrorsOfALookUp) {
  for (const int error : {ENETUNREACH, EHOSTUNREACH, ENETDOWN, ENODEV, EACCES, EINVAL}) {
    EXPECT_TRUE(meansNoRoute(error)) << error;
  }
  for (const int error : {0, EPERM, ENOMEM, ENOBUFS, EOPNOTSUPP, EAGAIN, EINTR, EAFNOSUPPORT, -1}) {
    EXPECT_FALSE(meansNoRoute(error)) << error;
  }
}

}  // namespace
}  // namespace egress::live
