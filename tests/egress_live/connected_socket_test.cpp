// Asking over a socket that the caller has connected already.

#include <algorithm>
#include <array>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "egress_live/ask_engine.h"
#include "tests/egress_live/counting_engine.h"

namespace egress::live {
namespace {

using snapshot::HostSnapshot;
using snapshot::QueryOutcome;

const std::string& absentPath() {
  static const std::string path = testing::TempDir() + "no-engine-here";
  return path;
}

// Asks over a connected socket; nobody accepts connections at the path. The engine closes the
// connection after `answers`.
HostSnapshot askConnected(std::size_t answers) {
  std::array<int, 2> ends{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  EngineAccess access;
  access.urlTemplate = "http://localhost/{tag}";
  access.unixSocketPath = absentPath();
  access.connectedSocket = ends[0];
  HostSnapshot snapshot = test::selectorChain();
  std::thread engine(test::answerRequests, ends[1], answers);
  askSelectors(access, snapshot);
  EXPECT_GE(fcntl(ends[0], F_GETFD), 0) << "closed the socket of its caller";
  close(ends[0]);
  engine.join();
  return snapshot;
}

TEST(ConnectedSocket, IsUsedForAllQueriesUntilItIsClosed) {
  const HostSnapshot snapshot = askConnected(100);
  ASSERT_EQ(snapshot.queries.size(), 9U);
  for (std::size_t i = 0; i < snapshot.queries.size(); ++i) {
    EXPECT_EQ(snapshot.queries[i].outcome, QueryOutcome::ANSWERED) << snapshot.queries[i].reason;
    EXPECT_EQ(snapshot.selectorAnswers[i].now, std::to_string(i + 2));
  }
}

TEST(ConnectedSocket, IsUsedForTheFirstConnectionOnly) {
  for (const std::size_t answers : {1U, 3U}) {
    const HostSnapshot snapshot = askConnected(answers);
    ASSERT_EQ(snapshot.queries.size(), answers + 1);
    EXPECT_EQ(snapshot.queries[answers - 1].outcome, QueryOutcome::ANSWERED);
    EXPECT_EQ(snapshot.queries[answers].outcome, QueryOutcome::REFUSED);
    EXPECT_EQ(snapshot.queries[answers].reason,
              "cannot connect to '" + absentPath() + "': No such file or directory");
  }
}

TEST(ConnectedSocket, ThatCannotBeUsedIsAFailure) {
  const HostSnapshot snapshot = askConnected(0);
  ASSERT_EQ(snapshot.queries.size(), 1U);
  EXPECT_EQ(snapshot.queries[0].outcome, QueryOutcome::FAILED);
}

TEST(ConnectedSocket, IsNotUsedForTcp) {
  const test::CountingEngine engine;
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  EngineAccess access;
  access.urlTemplate = engine.urlTemplate();
  access.connectedSocket = ends[0];
  HostSnapshot snapshot = test::selectorChain();
  askSelectors(access, snapshot);
  ASSERT_EQ(snapshot.queries.size(), 9U);
  EXPECT_EQ(snapshot.queries[0].outcome, QueryOutcome::ANSWERED);
  for (const int end : ends) close(end);
}

}  // namespace
}  // namespace egress::live
