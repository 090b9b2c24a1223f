#include "egress_live/linux/processes.h"

#include <chrono>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress_live/linux/errors.h"
#include "tests/egress_live/linux/child_process.h"

namespace egress::live {
namespace {

const Deadline kNever = Deadline::max();

FoundProcesses ownProcess() {
  const auto id = static_cast<std::uint32_t>(getpid());
  return std::get<FoundProcesses>(findProcesses(id, kNever));
}

TEST(FindProcesses, TellsTheUserAndTheProgram) {
  const FoundProcesses found = ownProcess();
  ASSERT_EQ(found.size(), 1);
  EXPECT_EQ(found[0].process.id, static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(found[0].process.user, getuid());
  EXPECT_THAT(found[0].process.program, testing::EndsWith("/egress_live_tests"));
}

TEST(FindProcesses, TellsTheProcessInAnotherNetwork) {
  const ChildProcess child([] { return enterNewNetwork() ? "" : "not permitted"; });
  if (!child.text().empty()) GTEST_SKIP() << "cannot create network namespaces";
  const auto found = findProcesses(child.id(), kNever);
  const auto* const none = std::get_if<NoProcess>(&found);
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(none->reason, NoProcessReason::OTHER_NETWORK);
  EXPECT_EQ(none->message,
            "process " + std::to_string(child.id()) + " is in another network namespace");
  ASSERT_EQ(none->processes.size(), 1);
  EXPECT_EQ(none->processes[0].id, child.id());
  EXPECT_EQ(none->processes[0].user, getuid());
  EXPECT_THAT(none->processes[0].program, testing::EndsWith("/egress_live_tests"));
}

TEST(FindProcesses, SaysThatTheTimeIsOver) {
  try {
    static_cast<void>(findProcesses(ProcessName{.name = "any"}, Deadline::min()));
    FAIL();
  } catch (const EnumerationError& error) {
    EXPECT_STREQ(error.what(), "there is more in '/proc' than can be read in the time limit");
  }
}

}  // namespace
}  // namespace egress::live
