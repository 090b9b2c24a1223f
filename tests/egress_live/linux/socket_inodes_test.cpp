#include "egress_live/linux/socket_inodes.h"

#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "egress_live/linux/errors.h"

namespace egress::live {
namespace {

TEST(SocketInodesOf, SaysThatTheTimeIsOver) {
  const std::string id = std::to_string(getpid());
  const ProcDirectory directory = openDirectory(openProc(), id).value();
  try {
    static_cast<void>(socketInodesOf(directory, Deadline::min()));
    FAIL();
  } catch (const EnumerationError& error) {
    EXPECT_EQ(error.what(),
              "there is more in '/proc/" + id + "/task' than can be read in the time limit");
  }
}

}  // namespace
}  // namespace egress::live
