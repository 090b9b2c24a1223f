#include "egress_live/take_snapshot.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress_live/linux/descriptor.h"
#include "tests/egress_live/linux/child_process.h"
#include "tests/egress_live/linux/listening_socket.h"

namespace egress::live {
namespace {

using snapshot::HostSnapshot;
using snapshot::Socket;
using testing::AllOf;
using testing::ContainsRegex;
using testing::Field;

sockaddr* pointerTo(sockaddr_in& address) {
  return static_cast<sockaddr*>(static_cast<void*>(&address));
}

sockaddr_in loopback() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

bool hasLoopback() {
  const Descriptor made(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = loopback();
  address.sin_port = htons(1);
  return connect(made.number(), pointerTo(address), sizeof(address)) == 0 || errno != ENETUNREACH;
}

// A socket bound to a free port of the loopback.
Descriptor boundSocket(int type) {
  Descriptor made(socket(AF_INET, type | SOCK_CLOEXEC, 0));
  sockaddr_in address = loopback();
  EXPECT_EQ(bind(made.number(), pointerTo(address), sizeof(address)), 0) << std::strerror(errno);
  return made;
}

std::uint16_t portOf(const Descriptor& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof(address);
  EXPECT_EQ(getsockname(socket.number(), pointerTo(address), &size), 0) << std::strerror(errno);
  return ntohs(address.sin_port);
}

void connectTo(const Descriptor& socket, std::uint16_t port) {
  sockaddr_in address = loopback();
  address.sin_port = htons(port);
  EXPECT_EQ(connect(socket.number(), pointerTo(address), sizeof(address)), 0)
      << std::strerror(errno);
}

std::uint32_t ownProcess() {
  return static_cast<std::uint32_t>(getpid());
}

HostSnapshot snapshotOf(const ProcessChoice& choice) {
  auto taken = takeSnapshot(choice);
  if (const auto* const none = std::get_if<NoProcess>(&taken)) {
    ADD_FAILURE() << none->message;
    return {};
  }
  return std::get<HostSnapshot>(std::move(taken));
}

auto isSocket(snapshot::SocketProtocol protocol, std::uint16_t localPort,
              std::uint16_t remotePort) {
  return AllOf(Field(&Socket::protocol, protocol),
               Field(&Socket::state, snapshot::SocketState::ESTABLISHED),
               Field(&Socket::localAddress, "127.0.0.1"), Field(&Socket::localPort, localPort),
               Field(&Socket::remoteAddress, "127.0.0.1"), Field(&Socket::remotePort, remotePort));
}

TEST(TakeSnapshot, HasTheConnectedSocketsOfThisProcess) {
  if (!hasLoopback()) GTEST_SKIP() << "the loopback is down";
  using enum snapshot::SocketProtocol;
  const Descriptor listener = boundSocket(SOCK_STREAM);
  ASSERT_EQ(listen(listener.number(), 1), 0) << std::strerror(errno);
  const Descriptor client = boundSocket(SOCK_STREAM);
  connectTo(client, portOf(listener));
  ASSERT_FALSE(HasFailure());  // accept would wait for the client
  const Descriptor server(accept(listener.number(), nullptr, nullptr));
  ASSERT_GE(server.number(), 0) << std::strerror(errno);
  const Descriptor unconnected = boundSocket(SOCK_DGRAM);
  const Descriptor datagram = boundSocket(SOCK_DGRAM);
  connectTo(datagram, portOf(unconnected));

  const HostSnapshot snapshot = snapshotOf(ownProcess());
  EXPECT_FALSE(snapshot.sockets.enumFailed) << snapshot.sockets.failureReason;
  EXPECT_THAT(snapshot.sockets.rows,
              testing::UnorderedElementsAre(isSocket(TCP, portOf(client), portOf(listener)),
                                            isSocket(TCP, portOf(listener), portOf(client)),
                                            isSocket(UDP, portOf(datagram), portOf(unconnected))));
  const auto loopbackRow =
      std::ranges::find(snapshot.adapters.rows, "lo", &snapshot::Adapter::name);
  ASSERT_NE(loopbackRow, snapshot.adapters.rows.end()) << snapshot.adapters.failureReason;
  EXPECT_THAT(loopbackRow->addresses, testing::Contains("127.0.0.1"));
  EXPECT_FALSE(snapshot.routes.enumFailed) << snapshot.routes.failureReason;
}

TEST(TakeSnapshot, FillsInTimeAndSystemAndLeavesTheRestToTheCaller) {
  const HostSnapshot snapshot = snapshotOf(ownProcess());
  EXPECT_THAT(snapshot.origin.time,
              ContainsRegex("^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$"));
  EXPECT_THAT(snapshot.origin.system, ContainsRegex("^Linux [^ ]+ [^ ]+$"));
  EXPECT_EQ(snapshot.origin.program, "");
  EXPECT_EQ(snapshot.config.configStatus, ConfigStatus::NO_CONFIG);
  EXPECT_TRUE(snapshot.selectorAnswers.empty());
}

TEST(TakeSnapshot, FindsThisProcessByItsName) {
  if (!hasLoopback()) GTEST_SKIP() << "the loopback is down";
  std::ofstream("/proc/self/comm") << "egress-live-one";
  const Descriptor unconnected = boundSocket(SOCK_DGRAM);
  const Descriptor datagram = boundSocket(SOCK_DGRAM);
  connectTo(datagram, portOf(unconnected));
  EXPECT_THAT(snapshotOf(ProcessName{.name = "egress-live-one"}).sockets.rows,
              testing::Contains(
                  isSocket(snapshot::SocketProtocol::UDP, portOf(datagram), portOf(unconnected))));
}

TEST(TakeSnapshot, FindsThisProcessByWhereItListens) {
  const TemporaryDirectory directory;
  const Listener listener{.unixSocketPath = directory.path() + "/socket", .address = "", .port = 0};
  const Descriptor listening = listenAt(listener.unixSocketPath);
  const HostSnapshot snapshot = snapshotOf(listener);
  EXPECT_THAT(snapshot.processes,
              testing::ElementsAre(Field(&snapshot::Process::id, ownProcess())));
  EXPECT_EQ(snapshot.listeningAt, listener.unixSocketPath);
  EXPECT_EQ(snapshotOf(ownProcess()).listeningAt, "");
}

TEST(TakeSnapshot, SaysWhichProcessThereIsNot) {
  constexpr std::uint32_t kNone = (1U << 22U) + 1;  // above the largest process ID
  struct Row {
    ProcessChoice choice;
    std::string_view message;
  };
  for (const Row& row :
       {Row{kNone, "no process 4194305 is visible to this user"},
        Row{ProcessName{.name = "no-such-process"},
            "no process named 'no-such-process' is visible to this user in this network "
            "namespace"},
        Row{ProcessName{},
            "no process named '' is visible to this user in this network namespace"}}) {
    const auto taken = takeSnapshot(row.choice);
    const auto* const none = std::get_if<NoProcess>(&taken);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->reason, NoProcessReason::NOT_VISIBLE);
    EXPECT_EQ(none->message, row.message);
  }
}

}  // namespace
}  // namespace egress::live
