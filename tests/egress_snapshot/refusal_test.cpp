#include "egress_snapshot/refusal.h"

#include <gtest/gtest.h>

namespace egress::snapshot {
namespace {

TEST(Refusal, PrintsThePlaceBeforeTheReason) {
  EXPECT_EQ(toString({.place = "/sockets/rows/3", .reason = "missing"}),
            "/sockets/rows/3: missing");
}

TEST(Refusal, PrintsTheReasonAloneForTheRoot) {
  EXPECT_EQ(toString({.place = "", .reason = "the text is empty"}), "the text is empty");
}

}  // namespace
}  // namespace egress::snapshot
