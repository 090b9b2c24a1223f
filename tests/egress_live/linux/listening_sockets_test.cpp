#include "egress_live/linux/listening_sockets.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <string_view>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/inet_diag.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kPort = 9090;

ListeningSocket socketAt(std::string_view address, std::uint32_t inode = 1) {
  return {.inode = inode, .address = parseNumericAddress(address), .port = kPort};
}

std::set<std::uint32_t> inodesFor(const std::string& address,
                                  const std::vector<ListeningSocket>& all) {
  return inodesListeningAt(Listener{.unixSocketPath = "", .address = address, .port = kPort}, all);
}

TEST(InodesListeningAt, ASocketAcceptsAtItsAddressAndAtThoseOfItsWildcard) {
  struct Row {
    std::string_view socket;
    std::string listener;
    bool accepts;
  };
  for (const Row& row : {
           Row{"127.0.0.1", "127.0.0.1", true},
           Row{"127.0.0.1", "::ffff:127.0.0.1", true},
           Row{"127.0.0.1", "[::ffff:7f00:1]", true},
           Row{"127.0.0.1", "", true},
           Row{"127.0.0.1", "127.0.0.2", false},
           Row{"127.0.0.1", "::1", false},
           Row{"127.0.0.2", "127.0.0.2", true},
           Row{"127.255.255.254", "", true},
           Row{"::1", "::1", true},
           Row{"::1", "[0:0:0:0:0:0:0:1]", true},
           Row{"::1", "", true},
           Row{"::1", "127.0.0.1", false},
           Row{"0.0.0.0", "127.0.0.1", true},
           Row{"0.0.0.0", "::ffff:127.0.0.1", true},
           Row{"0.0.0.0", "", true},
           Row{"0.0.0.0", "::1", false},
           Row{"::", "::1", true},
           Row{"::", "127.0.0.1", true},
           Row{"::", "", true},
           Row{"192.0.2.1", "127.0.0.1", false},
           Row{"192.0.2.1", "", false},
           Row{"126.255.255.255", "", false},
           Row{"128.0.0.1", "", false},
           Row{"2001:db8::1", "::1", false},
           Row{"7f00::", "", false},
           Row{"::2", "", false},
           Row{"127.0.0.1", "localhost", false},
           Row{"0.0.0.0", "localhost", false},
           Row{"::", "localhost", false},
       }) {
    EXPECT_EQ(!inodesFor(row.listener, {socketAt(row.socket)}).empty(), row.accepts)
        << row.socket << " for '" << row.listener << "'";
  }
}

TEST(InodesListeningAt, ASocketThatIsOnlyForIpv6DoesNotAcceptIpv4) {
  ListeningSocket socket = socketAt("::");
  socket.isOnlyIpv6 = true;
  EXPECT_THAT(inodesFor("127.0.0.1", {socket}), IsEmpty());
  EXPECT_THAT(inodesFor("::1", {socket}), ElementsAre(1));
  EXPECT_THAT(inodesFor("", {socket}), ElementsAre(1));
}

TEST(InodesListeningAt, OnlyThePortCounts) {
  ListeningSocket socket = socketAt("127.0.0.1");
  for (const std::uint32_t port : {0U, kPort - 1, kPort + 1, kPort + 65536}) {
    socket.port = port;
    EXPECT_THAT(inodesFor("127.0.0.1", {socket}), IsEmpty()) << port;
    EXPECT_THAT(inodesFor("", {socket}), IsEmpty()) << port;
  }
}

TEST(InodesListeningAt, ASocketBoundToAnotherDeviceThanTheLoopbackAcceptsNothingHere) {
  for (const auto& [device, accepts] :
       {std::pair{0U, true}, std::pair{1U, true}, std::pair{2U, false}}) {
    ListeningSocket socket = socketAt("0.0.0.0");
    socket.boundInterfaceIndex = device;
    EXPECT_EQ(!inodesFor("127.0.0.1", {socket}).empty(), accepts) << device;
    EXPECT_EQ(!inodesFor("", {socket}).empty(), accepts) << device;
  }
}

TEST(InodesListeningAt, AnAddressIsPreferredToWildcardsInAnyOrder) {
  const ListeningSocket wildcard = socketAt("0.0.0.0", 1);
  const ListeningSocket dualStack = socketAt("::", 2);
  const ListeningSocket address = socketAt("127.0.0.1", 3);
  const ListeningSocket shared = socketAt("127.0.0.1", 4);
  EXPECT_THAT(inodesFor("127.0.0.1", {wildcard, address, dualStack, shared}), ElementsAre(3, 4));
  EXPECT_THAT(inodesFor("127.0.0.1", {address, wildcard}), ElementsAre(3));
  EXPECT_THAT(inodesFor("127.0.0.1", {wildcard, dualStack}), ElementsAre(1, 2));
  EXPECT_THAT(inodesFor("127.0.0.2", {wildcard, address, dualStack}), ElementsAre(1, 2));
  EXPECT_THAT(inodesFor("", {wildcard, address, socketAt("::1", 5)}), ElementsAre(1, 3, 5));
  EXPECT_THAT(inodesFor("127.0.0.1", {}), IsEmpty());
}

inet_diag_msg tcpSocket(int family, const char* address, int state = TCP_LISTEN) {
  inet_diag_msg message{};
  message.idiag_family = static_cast<std::uint8_t>(family);
  message.idiag_state = static_cast<std::uint8_t>(state);
  message.idiag_inode = 77;
  message.id.idiag_sport = htons(9090);
  message.id.idiag_if = 1;
  inet_pton(family, address, &message.id.idiag_src);
  return message;
}

TEST(ListeningSocketsIn, ReadsWhereASocketListens) {
  const auto sockets = listeningSocketsIn(
      replyWith({Message(SOCK_DIAG_BY_FAMILY, tcpSocket(AF_INET, "127.0.0.1")),
                 Message(SOCK_DIAG_BY_FAMILY, tcpSocket(AF_INET6, "::"))
                     .with(INET_DIAG_SKV6ONLY, std::uint8_t{1}),
                 Message(SOCK_DIAG_BY_FAMILY, tcpSocket(AF_INET6, "::ffff:127.0.0.3"))
                     .with(INET_DIAG_SKV6ONLY, std::uint8_t{0})}));
  ASSERT_EQ(sockets.size(), 3);
  EXPECT_EQ(sockets[0].inode, 77);
  EXPECT_EQ(sockets[0].port, 9090);
  EXPECT_EQ(sockets[0].boundInterfaceIndex, 1);
  EXPECT_TRUE(sameNumericAddress(sockets[0].address, parseNumericAddress("127.0.0.1")));
  EXPECT_FALSE(sockets[0].isOnlyIpv6);
  EXPECT_TRUE(sameNumericAddress(sockets[1].address, parseNumericAddress("::")));
  EXPECT_TRUE(sockets[1].isOnlyIpv6);
  EXPECT_TRUE(sameNumericAddress(sockets[2].address, parseNumericAddress("127.0.0.3")));
  EXPECT_FALSE(sockets[2].isOnlyIpv6);
}

TEST(ListeningSocketsIn, IgnoresASocketThatDoesNotListenAnyMore) {
  for (const int state : {0, int{TCP_ESTABLISHED}, int{TCP_CLOSE}, TCP_CLOSING + 1, 255}) {
    EXPECT_THAT(listeningSocketsIn(replyWith(
                    {Message(SOCK_DIAG_BY_FAMILY, tcpSocket(AF_INET, "127.0.0.1", state))})),
                IsEmpty())
        << state;
  }
}

TEST(ListeningSocketsIn, ASocketOfAnotherFamilyAcceptsNothing) {
  inet_diag_msg other = tcpSocket(AF_INET, "0.0.0.0");
  other.idiag_family = AF_UNSPEC;
  const auto sockets = listeningSocketsIn(replyWith({Message(SOCK_DIAG_BY_FAMILY, other)}));
  ASSERT_EQ(sockets.size(), 1);
  for (const char* const address : {"", "0.0.0.0", "::", "127.0.0.1"}) {
    EXPECT_THAT(inodesFor(address, sockets), IsEmpty()) << address;
  }
}

TEST(ListeningSocketsIn, RejectsShortMessages) {
  const Message message(SOCK_DIAG_BY_FAMILY, tcpSocket(AF_INET, "127.0.0.1"));
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(listeningSocketsIn({.bytes = message.first(size)})),
                 EnumerationError);
  }
}

Message unixSocket(std::uint32_t inode, int state = TCP_LISTEN) {
  unix_diag_msg socket{};
  socket.udiag_family = AF_UNIX;
  socket.udiag_type = SOCK_STREAM;
  socket.udiag_state = static_cast<std::uint8_t>(state);
  socket.udiag_ino = inode;
  return {SOCK_DIAG_BY_FAMILY, socket};
}

unix_diag_vfs place(std::uint32_t inode, std::uint32_t device) {
  return {.udiag_vfs_ino = inode, .udiag_vfs_dev = device};
}

TEST(InodesListeningAt, AUnixSocketIsThatOfTheFileWithThisInodeAndDevice) {
  const NetlinkReply reply = replyWith({
      unixSocket(1).with(UNIX_DIAG_VFS, place(11, 12)),
      unixSocket(2).with(UNIX_DIAG_VFS, place(11, 13)),
      unixSocket(3).with(UNIX_DIAG_VFS, place(10, 12)),
      unixSocket(4),  // at an abstract name
      unixSocket(5, TCP_ESTABLISHED).with(UNIX_DIAG_VFS, place(11, 12)),
      unixSocket(6).with(UNIX_DIAG_NAME, Bytes(3)).with(UNIX_DIAG_VFS, place(11, 12)),
  });
  EXPECT_THAT(inodesListeningAt(SocketFile{.inode = 11, .device = 12}, reply), ElementsAre(1, 6));
  EXPECT_THAT(inodesListeningAt(SocketFile{.inode = 12, .device = 11}, reply), IsEmpty());
}

TEST(InodesListeningAt, TheKernelTellsTheLower32BitsOfTheInodeOfAFile) {
  const NetlinkReply reply = replyWith({unixSocket(1).with(UNIX_DIAG_VFS, place(11, 12))});
  const std::uint64_t inode = (std::uint64_t{3} << 32U) + 11;
  EXPECT_THAT(inodesListeningAt(SocketFile{.inode = inode, .device = 12}, reply), ElementsAre(1));
}

TEST(InodesListeningAt, RejectsShortMessagesAboutUnixSockets) {
  const Message message = unixSocket(1);
  const SocketFile file{.inode = 11, .device = 12};
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(inodesListeningAt(file, {.bytes = message.first(size)})),
                 EnumerationError);
  }
  EXPECT_THROW(static_cast<void>(inodesListeningAt(
                   file, replyWith({unixSocket(1).with(UNIX_DIAG_VFS, Bytes(7))}))),
               EnumerationError);
}

}  // namespace
}  // namespace egress::live
