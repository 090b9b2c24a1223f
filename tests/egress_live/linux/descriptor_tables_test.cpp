#include "egress_live/linux/descriptor_tables.h"

#include <cerrno>
#include <sched.h>
#include <semaphore>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>
#include <linux/kcmp.h>

namespace egress::live {
namespace {

std::uint32_t thisThread() {
  return static_cast<std::uint32_t>(gettid());
}

bool canCompare() {
  return syscall(SYS_kcmp, gettid(), gettid(), KCMP_FILES, 0, 0) == 0;
}

// A thread that waits until the end of the test, with a table of its own if wanted.
class WaitingThread {
 public:
  explicit WaitingThread(bool hasOwnTable)
      : thread_([this, hasOwnTable] {
          if (hasOwnTable && unshare(CLONE_FILES) != 0) ADD_FAILURE() << errno;
          id_ = thisThread();
          started_.release();
          end_.acquire();
        }) {
    started_.acquire();
  }
  WaitingThread(const WaitingThread&) = delete;
  WaitingThread& operator=(const WaitingThread&) = delete;
  WaitingThread(WaitingThread&&) = delete;
  WaitingThread& operator=(WaitingThread&&) = delete;
  ~WaitingThread() {
    end_.release();
    thread_.join();
  }
  [[nodiscard]] std::uint32_t id() const { return id_; }

 private:
  std::uint32_t id_ = 0;
  std::binary_semaphore started_{0};
  std::binary_semaphore end_{0};
  std::thread thread_;  // last, because it uses the others
};

TEST(DescriptorTables, ASharedTableIsNewOnlyOnce) {
  if (!canCompare()) GTEST_SKIP() << "this kernel has no kcmp";
  const WaitingThread sharing(/*hasOwnTable=*/false);
  const WaitingThread first(/*hasOwnTable=*/true);
  const WaitingThread second(/*hasOwnTable=*/true);
  const WaitingThread third(/*hasOwnTable=*/true);
  DescriptorTables tables;
  EXPECT_TRUE(tables.add(thisThread()));
  EXPECT_FALSE(tables.add(sharing.id()));
  EXPECT_TRUE(tables.add(first.id()));
  EXPECT_TRUE(tables.add(second.id()));
  EXPECT_TRUE(tables.add(third.id()));
  for (const std::uint32_t thread :
       {thisThread(), sharing.id(), first.id(), second.id(), third.id()}) {
    EXPECT_FALSE(tables.add(thread));
  }
}

TEST(DescriptorTables, ATableThatCannotBeComparedIsNew) {
  constexpr std::uint32_t kNone = (1U << 22U) + 1;  // above the largest ID
  DescriptorTables tables;
  EXPECT_TRUE(tables.add(kNone));
  EXPECT_TRUE(tables.add(kNone));
  EXPECT_TRUE(tables.add(thisThread()));
}

}  // namespace
}  // namespace egress::live
