#ifndef EGRESS_TESTS_EGRESS_SNAPSHOT_EXPECT_REFUSED_H
#define EGRESS_TESTS_EGRESS_SNAPSHOT_EXPECT_REFUSED_H

#include <string_view>

#include <gtest/gtest.h>

#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// Expects a refusal with exactly this place and reason.
template <typename Value>
void expectRefused(const Result<Value>& result, std::string_view place, std::string_view reason) {
  const auto* const refusal = std::get_if<Refusal>(&result);
  ASSERT_NE(refusal, nullptr) << "not refused";
  EXPECT_EQ(refusal->place, place);
  EXPECT_EQ(refusal->reason, reason);
}

}  // namespace egress::snapshot

#endif
