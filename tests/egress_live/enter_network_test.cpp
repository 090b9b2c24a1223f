#include "egress_live/enter_network.h"

#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress_live/take_snapshot.h"
#include "tests/egress_live/linux/child_process.h"

namespace egress::live {
namespace {

std::string takenFrom(std::uint32_t process) {
  const auto taken = takeSnapshot(process);
  if (const auto* const none = std::get_if<NoProcess>(&taken)) return none->message;
  std::string names;
  for (const auto& adapter : std::get<snapshot::HostSnapshot>(taken).adapters.rows) {
    names += adapter.name + ' ';
  }
  return names;
}

TEST(EnterNetworkOf, MovesOnlyTheCallingThread) {
  const ChildProcess child([] { return enterNewNetwork() ? "" : "not permitted"; });
  if (!child.text().empty()) GTEST_SKIP() << "cannot create network namespaces";
  const std::string prefix = "process " + std::to_string(child.id());
  std::optional<std::string> reason;
  std::string before;
  std::string after;
  std::thread([&] {
    before = takenFrom(child.id());
    reason = enterNetworkOf(child.id());
    after = takenFrom(child.id());
  }).join();
  EXPECT_EQ(before, prefix + " is in another network namespace");
  EXPECT_EQ(takenFrom(child.id()), before);
  if (reason) {
    EXPECT_EQ(*reason,
              "cannot enter the network namespace of " + prefix + ": Operation not permitted");
    return printSkipped(*reason);
  }
  EXPECT_THAT(after, testing::MatchesRegex("lo .*"));
}

TEST(EnterNetworkOf, SaysWhyNot) {
  constexpr std::uint32_t kNone = (1U << 22U) + 1;  // above the largest process ID
  EXPECT_EQ(enterNetworkOf(kNone),
            "cannot enter the network namespace of process 4194305: No such file or directory");
  const ChildProcess child([] {
    if (!becomeOtherUser()) return std::string();
    return enterNetworkOf(static_cast<std::uint32_t>(getpid())).value_or("entered");
  });
  if (child.text().empty()) return printSkipped("cannot become another user");
  EXPECT_EQ(child.text(), "cannot enter the network namespace of process " +
                              std::to_string(child.id()) + ": Operation not permitted");
}

}  // namespace
}  // namespace egress::live
