#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "egress_c/egress.h"
#include "egress_c/result_of.h"
#include "tests/egress_c/owned_result.h"

namespace egress::c {
namespace {

TEST(Result, HoldsACopyOfTheTextAndAZeroByteAfterIt) {
  std::string text("a\0b", 3);
  const OwnedResult result(egress_result_new(EGRESS_REFUSED, text.data(), text.size()));
  text = "xyz";
  EXPECT_EQ(result.status(), static_cast<egress_status>(EGRESS_REFUSED));
  EXPECT_EQ(result.text(), std::string_view("a\0b", 3));
  EXPECT_EQ(*(result.text().data() + 3), '\0');
}

TEST(Result, MayHaveAnEmptyText) {
  for (const char* const text : {"", static_cast<const char*>(nullptr)}) {
    const OwnedResult result(egress_result_new(EGRESS_OK, text, 0));
    EXPECT_EQ(result.status(), static_cast<egress_status>(EGRESS_OK));
    EXPECT_EQ(result.text(), "");
    EXPECT_EQ(*result.text().data(), '\0');
  }
}

TEST(Result, WithoutMemoryThereIsOneForAll) {
  const OwnedResult first(egress_result_new(EGRESS_NO_MEMORY, "ignored", 7));
  const OwnedResult second(egress_result_new(EGRESS_NO_MEMORY, nullptr, 0));
  EXPECT_EQ(first.text().data(), second.text().data());
  EXPECT_EQ(first.status(), static_cast<egress_status>(EGRESS_NO_MEMORY));
  EXPECT_EQ(first.text(), "out of memory");
}

TEST(Result, FreeingNullDoesNothing) {
  egress_result_free(nullptr);
}

TEST(Result, WorkGivesItsStatusAndText) {
  const OwnedResult result(
      resultOf([] { return Outcome{.status = EGRESS_NO_PROCESS, .text = "none"}; }));
  EXPECT_EQ(result.status(), static_cast<egress_status>(EGRESS_NO_PROCESS));
  EXPECT_EQ(result.text(), "none");
}

TEST(Result, ExceptionsOfTheWorkBecomeAStatus) {
  const OwnedResult noMemory(resultOf([]() -> Outcome { throw std::bad_alloc(); }));
  EXPECT_EQ(noMemory.status(), static_cast<egress_status>(EGRESS_NO_MEMORY));
  const OwnedResult tooLong(resultOf([]() -> Outcome { throw std::length_error("too long"); }));
  EXPECT_EQ(tooLong.status(), static_cast<egress_status>(EGRESS_NO_MEMORY));
  const OwnedResult failed(resultOf([]() -> Outcome { throw std::logic_error("a defect"); }));
  EXPECT_EQ(failed.status(), static_cast<egress_status>(EGRESS_FAILED));
  EXPECT_EQ(failed.text(), "internal error");
  const OwnedResult unknown(resultOf([]() -> Outcome { throw 1; }));
  EXPECT_EQ(unknown.status(), static_cast<egress_status>(EGRESS_FAILED));
}

}  // namespace
}  // namespace egress::c
