#include "egress_live/linux/find_listener.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress_live/enter_network.h"
#include "egress_live/linux/errors.h"
#include "tests/egress_live/linux/child_process.h"
#include "tests/egress_live/linux/listening_socket.h"

namespace egress::live {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

const Deadline kNever = Deadline::max();

Listener at(const std::string& path) {
  return {.unixSocketPath = path, .address = "", .port = 0};
}

Listener at(const std::string& address, std::uint32_t port) {
  return {.unixSocketPath = "", .address = address, .port = port};
}

std::uint32_t ownId() {
  return static_cast<std::uint32_t>(getpid());
}

// The IDs of the processes that listen there.
std::vector<std::uint32_t> idsAt(const Listener& listener) {
  const auto found = findListener(listener, kNever);
  if (const auto* const none = std::get_if<NoProcess>(&found)) {
    ADD_FAILURE() << none->message;
    return {};
  }
  std::vector<std::uint32_t> ids;
  for (const FoundProcess& one : std::get<FoundProcesses>(found)) ids.push_back(one.process.id);
  return ids;
}

NoProcess reasonAt(const Listener& listener) {
  auto found = findListener(listener, kNever);
  if (auto* const none = std::get_if<NoProcess>(&found)) return std::move(*none);
  ADD_FAILURE() << "found a process at " << placeOf(listener);
  return {};
}

TEST(PlaceOf, IsThePathOrTheAddressAndPort) {
  EXPECT_EQ(placeOf(at("/run/engine.sock")), "/run/engine.sock");
  EXPECT_EQ(placeOf(at("127.0.0.1", 9090)), "127.0.0.1:9090");
  EXPECT_EQ(placeOf(at("::1", 9090)), "[::1]:9090");
  EXPECT_EQ(placeOf(at("[::1]", 9090)), "[::1]:9090");
  EXPECT_EQ(placeOf(at("", 9090)), "port 9090");
}

TEST(FindListener, IsTheProcessWithASocketAtThePath) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor listener = listenAt(path);
  ASSERT_GE(listener.number(), 0);
  const auto found = findListener(at(path), kNever);
  const auto& processes = std::get<FoundProcesses>(found);
  ASSERT_EQ(processes.size(), 1);
  EXPECT_EQ(processes[0].process.id, ownId());
  EXPECT_EQ(processes[0].process.user, getuid());
  EXPECT_THAT(processes[0].process.program, testing::EndsWith("/egress_live_tests"));
}

TEST(FindListener, IsTheProcessWithASocketAtTheAddressAndPort) {
  const TcpListener ipv4 = listenAtAddress("::ffff:127.0.0.1");
  if (ipv4.port == 0) GTEST_SKIP() << "the loopback is down, or there is no IPv6";
  EXPECT_THAT(idsAt(at("127.0.0.1", ipv4.port)), ElementsAre(ownId()));
  EXPECT_THAT(idsAt(at("", ipv4.port)), ElementsAre(ownId()));
  EXPECT_EQ(reasonAt(at("127.0.0.2", ipv4.port)).reason, NoProcessReason::NOT_VISIBLE);
  const TcpListener wildcard = listenAtAddress("::");
  EXPECT_THAT(idsAt(at("::1", wildcard.port)), ElementsAre(ownId()));
  EXPECT_THAT(idsAt(at("127.0.0.1", wildcard.port)), ElementsAre(ownId()));
}

TEST(FindListener, FindsAllProcessesOfOneUserThatHaveTheSocket) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor listener = listenAt(path);
  const ChildProcess worker([] { return ""; });
  const ChildProcess closed([&] {
    close(listener.number());
    return "";
  });
  EXPECT_THAT(idsAt(at(path)), UnorderedElementsAre(ownId(), worker.id()));
}

TEST(FindListener, FindsASocketInAThreadThatDoesNotShareDescriptors) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  Pipe end = makePipe();
  Pipe started = makePipe();
  std::thread thread([&] {
    bool isDone = unshare(CLONE_FILES) == 0;
    const Descriptor listener = listenAt(path);
    isDone = isDone && write(started.write.number(), "x", 1) == 1;
    char byte = 0;
    EXPECT_TRUE(isDone && read(end.read.number(), &byte, 1) == 1);
  });
  char byte = 0;
  EXPECT_EQ(read(started.read.number(), &byte, 1), 1);
  EXPECT_THAT(idsAt(at(path)), ElementsAre(ownId()));
  EXPECT_EQ(write(end.write.number(), "x", 1), 1);
  thread.join();
}

TEST(FindListener, SaysThatNobodyListens) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  EXPECT_EQ(reasonAt(at(path)).message,
            "cannot connect to '" + path + "': No such file or directory");
  { const Descriptor closed = listenAt(path); }
  EXPECT_EQ(reasonAt(at(path)).message, "cannot connect to '" + path + "': Connection refused");
  EXPECT_EQ(reasonAt(at(path)).reason, NoProcessReason::NOT_VISIBLE);
  EXPECT_EQ(reasonAt(at("127.0.0.1", 0)).message,
            "no process listens at 127.0.0.1:0 in this network namespace");
  EXPECT_EQ(reasonAt(at("", 65536)).message,
            "no process listens at port 65536 in this network namespace");
  EXPECT_EQ(reasonAt(at("", 0)).reason, NoProcessReason::NOT_VISIBLE);
}

TEST(FindListener, ListsTheProcessesOfDifferentUsers) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor listener = listenAt(path);
  const ChildProcess child([] { return becomeOtherUser() ? "" : std::strerror(errno); });
  if (!child.text().empty()) return printSkipped("cannot become another user: " + child.text());
  const NoProcess none = reasonAt(at(path));
  EXPECT_EQ(none.reason, NoProcessReason::DIFFERENT_USERS);
  EXPECT_EQ(none.message,
            "processes of different users have the socket open that listens at '" + path + "'");
  ASSERT_EQ(none.processes.size(), 2);
  EXPECT_THAT(
      none.processes,
      UnorderedElementsAre(
          testing::FieldsAre(ownId(), getuid(), testing::EndsWith("/egress_live_tests")),
          testing::FieldsAre(child.id(), kOtherUser, testing::EndsWith("/egress_live_tests"))));
}

TEST(FindListener, SaysThatTheProcessIsNotVisible) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor listener = listenAt(path);
  const TcpListener tcp = listenAtAddress("::");
  const ChildProcess child([&]() -> std::string {
    if (!becomeOtherUser()) return "skipped";
    close(listener.number());
    close(tcp.descriptor.number());
    return reasonAt(at(path)).message + '\n' + reasonAt(at("::1", tcp.port)).message;
  });
  if (child.text() == "skipped") return printSkipped("cannot become another user");
  const std::string remedy =
      " is not visible to this user; run as root, or as the user of the engine";
  EXPECT_EQ(child.text(), "the process that listens at '" + path + "'" + remedy +
                              "\nthe process that listens at [::1]:" + std::to_string(tcp.port) +
                              remedy);
}

TEST(FindListener, FindsTheProcessBehindAUnixSocketInAnotherNetwork) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  Descriptor listener;
  const ChildProcess child([&] {
    const bool isPermitted = enterNewNetwork();
    listener = listenAt(path);
    return isPermitted ? "" : "not permitted";
  });
  if (!child.text().empty()) GTEST_SKIP() << "cannot create network namespaces";
  const NoProcess none = reasonAt(at(path));
  EXPECT_EQ(none.reason, NoProcessReason::OTHER_NETWORK);
  EXPECT_EQ(none.message, "process " + std::to_string(child.id()) + ", which listens at '" + path +
                              "', is in another network namespace");
  EXPECT_THAT(none.processes, ElementsAre(testing::FieldsAre(
                                  child.id(), getuid(), testing::EndsWith("/egress_live_tests"))));

  std::thread([&] {
    if (enterNetworkOf(child.id())) return;  // needs CAP_SYS_ADMIN; see enter_network_test.cpp
    EXPECT_THAT(idsAt(at(path)), ElementsAre(child.id()));
  }).join();
}

TEST(FindListener, FindsAProcessThatTookTheSocketToAnotherNetwork) {
  const TcpListener tcp = listenAtAddress("::");
  if (tcp.port == 0) GTEST_SKIP() << "there is no IPv6";
  const ChildProcess holder([] { return enterNewNetwork() ? "" : "not permitted"; });
  if (!holder.text().empty()) GTEST_SKIP() << "cannot create network namespaces";
  EXPECT_THAT(idsAt(at("::1", tcp.port)), ElementsAre(ownId()));
  close(tcp.descriptor.number());
  const NoProcess none = reasonAt(at("::1", tcp.port));
  EXPECT_EQ(none.reason, NoProcessReason::OTHER_NETWORK);
  EXPECT_EQ(none.message, "process " + std::to_string(holder.id()) + ", which listens at [::1]:" +
                              std::to_string(tcp.port) + ", is in another network namespace");
}

TEST(FindListener, SaysThatAProcessInAnotherNetworkIsNotVisible) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  Descriptor listener;
  const ChildProcess child([&] {
    const bool isPermitted = enterNewNetwork();
    listener = listenAt(path);
    std::filesystem::permissions(path, std::filesystem::perms::all);
    return isPermitted ? "" : "not permitted";
  });
  if (!child.text().empty()) GTEST_SKIP() << "cannot create network namespaces";
  const ChildProcess asking(
      [&]() -> std::string { return becomeOtherUser() ? reasonAt(at(path)).message : "skipped"; });
  if (asking.text() == "skipped") return printSkipped("cannot become another user");
  EXPECT_EQ(asking.text(), "the process that listens at '" + path +
                               "' in another network namespace is not visible to this user; run "
                               "as root, or as the user of the engine");
}

TEST(FindListener, SaysThatTheTimeIsOver) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor listener = listenAt(path);
  try {
    static_cast<void>(findListener(at(path), Deadline::min()));
    FAIL();
  } catch (const EnumerationError& error) {
    EXPECT_STREQ(error.what(), "there is more in '/proc' than can be read in the time limit");
  }
}

}  // namespace
}  // namespace egress::live
