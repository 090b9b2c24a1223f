#include "egress_live/linux/processes.h"

#include <chrono>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress_live/linux/errors.h"

namespace egress::live {
namespace {

const Deadline kNever = Deadline::max();
const Deadline kPast = Deadline::min();

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

TEST(FindProcesses, SaysThatTheTimeIsOver) {
  try {
    static_cast<void>(findProcesses(ProcessName{.name = "any"}, kPast));
    FAIL();
  } catch (const EnumerationError& error) {
    EXPECT_STREQ(error.what(), "there is more in '/proc' than can be read in the time limit");
  }
}

TEST(SocketInodesOf, SaysThatTheTimeIsOver) {
  const FoundProcesses found = ownProcess();
  try {
    static_cast<void>(socketInodesOf(found, kPast));
    FAIL();
  } catch (const EnumerationError& error) {
    EXPECT_EQ(error.what(), "there is more in '/proc/" + std::to_string(getpid()) +
                                "/task' than can be read in the time limit");
  }
}

}  // namespace
}  // namespace egress::live
