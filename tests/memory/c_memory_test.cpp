// Every function of the C interface when memory runs out.

#include <functional>
#include <new>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "egress_c/egress.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_c/owned_result.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
#include "tests/memory/fail_each_allocation.h"
#include "tests/memory/failing_allocations.h"

#ifdef EGRESS_HAS_C_LIVE
#include <unistd.h>

#include "egress_c_live/egress_live.h"
#endif

namespace egress::test {
namespace {

using c::OwnedResult;

// Lets each allocation of a function fail. Its result has the status for that, and the last one
// this status. Returns the number of allocations.
std::size_t failEachAllocationOf(const std::function<const egress_result*()>& function,
                                 egress_status status = EGRESS_OK) {
  const auto call = [&] {
    const OwnedResult result(function());
    if (result.status() == EGRESS_NO_MEMORY) throw std::bad_alloc();
    EXPECT_EQ(result.status(), status) << result.text();
  };
  call();  // makes the lists of words, which stay
  return failEachAllocation(call, [] {});
}

TEST(CMemory, EveryFunctionOfASnapshotReturnsTheStatus) {
  const std::string text = snapshotToJson(snapshot::namedSnapshot());
  for (const auto function : {egress_diagnose, egress_diagnose_in_detail, egress_anonymize}) {
    EXPECT_GT(failEachAllocationOf([&] { return function(text.data(), text.size()); }), 100U);
    const auto refuse = [&] { return function(text.data(), text.size() - 1); };
    EXPECT_GT(failEachAllocationOf(refuse, EGRESS_REFUSED), 10U);
  }
}

TEST(CMemory, AFreedResultLeavesNothing) {
  const std::ptrdiff_t before = allocationsAlive();
  const egress_result* const result = egress_version();
  EXPECT_GT(allocationsAlive(), before);
  egress_result_free(result);
  EXPECT_EQ(allocationsAlive(), before);
}

TEST(CMemory, ReadingAConfigurationReturnsTheStatus) {
  constexpr std::string_view kConfig = R"({"route": {"auto_detect_interface": true}, "outbounds": [
    {"tag": "proxy", "type": "a type that is longer than a short string"}]})";
  constexpr std::string_view kAnswers = R"({"proxy": {"now": "a tag longer than a short string"}})";
  const auto read = [&](std::size_t answersLength) {
    return egress_read_config(kConfig.data(), kConfig.size(), kAnswers.data(), answersLength);
  };
  EXPECT_GT(failEachAllocationOf([&] { return read(kAnswers.size()); }), 30U);
  EXPECT_GT(failEachAllocationOf([&] { return read(kAnswers.size() - 1); }, EGRESS_REFUSED), 5U);
}

TEST(CMemory, TheOtherFunctionsReturnTheStatus) {
  EXPECT_GE(failEachAllocationOf(egress_version), 1U);
  EXPECT_GT(failEachAllocationOf([] { return egress_explain("OK", 2); }), 10U);
  constexpr std::string_view kFaulty = R"(["a text that is longer than a short string",)";
  const auto findFault = [&] { return egress_find_json_fault(kFaulty.data(), kFaulty.size()); };
  EXPECT_GT(failEachAllocationOf(findFault), 3U);
  const auto findConfigFault = [&] {
    return egress_find_config_fault(kFaulty.data(), kFaulty.size());
  };
  EXPECT_GT(failEachAllocationOf(findConfigFault), 4U);
  const auto makeResult = [] { return egress_result_new(EGRESS_OK, "text", 4); };
  EXPECT_EQ(failEachAllocationOf(makeResult), 1U);
}

#ifdef EGRESS_HAS_C_LIVE
TEST(CMemory, TakingASnapshotReturnsTheStatus) {
  constexpr std::string_view kBase = R"({"format": "egress-snapshot", "version": 1})";
  const auto takeOfProcess = [&] {
    return egress_take_snapshot_of_process(kBase.data(), kBase.size(),
                                           static_cast<uint32_t>(getpid()));
  };
  EXPECT_GT(failEachAllocationOf(takeOfProcess), 100U);
  const auto takeOfName = [&] {
    return egress_take_snapshot_of_name(kBase.data(), kBase.size(), "no such process", 15);
  };
  EXPECT_GT(failEachAllocationOf(takeOfName, EGRESS_NO_PROCESS), 10U);
}
#endif

}  // namespace
}  // namespace egress::test
