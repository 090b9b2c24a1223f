#include "egress_live/linux/sockets.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/inet_diag.h>
#include <linux/sock_diag.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using snapshot::Socket;
using snapshot::SocketProtocol;
using snapshot::SocketState;
using testing::ElementsAre;
using testing::Field;

constexpr std::uint32_t kInode = 77;

// A socket from 10.0.0.1:51000 to 10.0.0.2:443.
inet_diag_msg socket(int state = TCP_ESTABLISHED, std::uint32_t inode = kInode) {
  inet_diag_msg message{};
  message.idiag_family = AF_INET;
  message.idiag_state = static_cast<std::uint8_t>(state);
  message.idiag_inode = inode;
  message.id.idiag_sport = htons(51000);
  message.id.idiag_dport = htons(443);
  message.id.idiag_src[0] = htonl(0x0A000001);
  message.id.idiag_dst[0] = htonl(0x0A000002);
  return message;
}

std::vector<Socket> socketsFrom(std::initializer_list<inet_diag_msg> rows,
                                SocketProtocol protocol = SocketProtocol::TCP) {
  Bytes bytes;
  for (const inet_diag_msg& row : rows) {
    const Bytes message = Message(SOCK_DIAG_BY_FAMILY, row).bytes();
    bytes.insert(bytes.end(), message.begin(), message.end());
  }
  return socketsIn({.bytes = bytes}, protocol, {kInode, kInode + 1});
}

TEST(SocketsIn, ReadsBothEndsProtocolAndState) {
  for (const SocketProtocol protocol : {SocketProtocol::TCP, SocketProtocol::UDP}) {
    const std::vector<Socket> rows = socketsFrom({socket()}, protocol);
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].protocol, protocol);
    EXPECT_EQ(rows[0].state, SocketState::ESTABLISHED);
    EXPECT_EQ(rows[0].localAddress, "10.0.0.1");
    EXPECT_EQ(rows[0].localPort, 51000);
    EXPECT_EQ(rows[0].remoteAddress, "10.0.0.2");
    EXPECT_EQ(rows[0].remotePort, 443);
  }
}

TEST(SocketsIn, ReadsOnlyThoseWithTheInodes) {
  EXPECT_THAT(socketsFrom({socket(TCP_ESTABLISHED, kInode - 1), socket(TCP_FIN_WAIT2, kInode + 1),
                           socket(TCP_ESTABLISHED, kInode + 2), socket(TCP_CLOSE_WAIT, kInode),
                           socket(TCP_ESTABLISHED, 0)}),
              ElementsAre(Field(&Socket::state, SocketState::FIN_WAIT_2),
                          Field(&Socket::state, SocketState::CLOSE_WAIT)));
}

TEST(SocketsIn, KnowsTheStatesOfAConnection) {
  using enum SocketState;
  struct Row {
    int linuxState;
    SocketState state;
  };
  for (const Row& row :
       {Row{TCP_ESTABLISHED, ESTABLISHED}, Row{TCP_FIN_WAIT1, FIN_WAIT_1},
        Row{TCP_SYN_SENT, SYN_SENT}, Row{TCP_FIN_WAIT2, FIN_WAIT_2},
        Row{TCP_CLOSE_WAIT, CLOSE_WAIT}, Row{TCP_LAST_ACK, LAST_ACK}, Row{TCP_CLOSING, CLOSING}}) {
    EXPECT_THAT(socketsFrom({socket(row.linuxState)}),
                ElementsAre(Field(&Socket::state, row.state)))
        << row.linuxState;
  }
}

TEST(SocketsIn, IgnoresASocketThatHasLeftTheListedStates) {
  for (const int state : {0, int{TCP_SYN_RECV}, int{TCP_TIME_WAIT}, int{TCP_CLOSE}, int{TCP_LISTEN},
                          TCP_CLOSING + 1, 255}) {
    EXPECT_THAT(socketsFrom({socket(state), socket()}),
                ElementsAre(Field(&Socket::state, SocketState::ESTABLISHED)))
        << state;
  }
}

TEST(SocketsIn, ReadsIpv6AndMappedAddresses) {
  inet_diag_msg row = socket();
  row.idiag_family = AF_INET6;
  inet_pton(AF_INET6, "fd00::7", &row.id.idiag_src);
  inet_pton(AF_INET6, "::ffff:192.0.2.1", &row.id.idiag_dst);
  EXPECT_THAT(socketsFrom({row}),
              ElementsAre(testing::AllOf(Field(&Socket::localAddress, "fd00::7"),
                                         Field(&Socket::remoteAddress, "192.0.2.1"))));
}

TEST(SocketsIn, ReadsTheBoundDeviceAndTheUser) {
  inet_diag_msg bound = socket();
  bound.id.idiag_if = 5;
  bound.idiag_uid = 1000;
  const std::vector<Socket> rows = socketsFrom({bound, socket()});
  ASSERT_EQ(rows.size(), 2);
  EXPECT_EQ(rows[0].boundInterfaceIndex, 5);
  EXPECT_EQ(rows[0].user, 1000);
  EXPECT_EQ(rows[1].boundInterfaceIndex, 0);
  EXPECT_EQ(rows[1].user, 0);
  EXPECT_EQ(rows[0].routeInterfaceIndex, std::nullopt);
}

// The socket in a message that may be cut off, or is not a whole one.
std::vector<Socket> socketsOf(const Bytes& message) {
  return socketsIn({.bytes = message}, SocketProtocol::TCP, {kInode});
}

TEST(SocketsIn, ReadsTheMarkThatTheKernelShows) {
  const Message unmarked(SOCK_DIAG_BY_FAMILY, socket());
  EXPECT_THAT(socketsOf(unmarked.bytes()), ElementsAre(Field(&Socket::mark, std::nullopt)));
  for (const std::uint32_t mark : {0U, 7U, 4294967295U}) {
    Message marked = Message(SOCK_DIAG_BY_FAMILY, socket())
                         .with(INET_DIAG_SHUTDOWN, std::uint8_t{1})
                         .with(INET_DIAG_MARK, mark);
    EXPECT_THAT(socketsOf(marked.bytes()), ElementsAre(Field(&Socket::mark, mark)));
    for (std::size_t size = unmarked.size(); size < marked.size(); ++size) {
      EXPECT_THAT(socketsOf(marked.first(size)), ElementsAre(Field(&Socket::mark, std::nullopt)));
    }
  }
}

TEST(SocketsIn, RejectsAMarkThatIsTooShort) {
  const Message message = Message(SOCK_DIAG_BY_FAMILY, socket()).with(INET_DIAG_MARK, Bytes(3));
  EXPECT_THROW(static_cast<void>(socketsOf(message.bytes())), EnumerationError);
}

TEST(SocketsIn, RejectsShortMessages) {
  const Message message(SOCK_DIAG_BY_FAMILY, socket());
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(
        static_cast<void>(socketsIn({.bytes = message.first(size)}, SocketProtocol::TCP, {kInode})),
        EnumerationError);
  }
}

}  // namespace
}  // namespace egress::live
