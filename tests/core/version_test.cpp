#include "egress/version.h"

#include <string>

#include <gtest/gtest.h>

namespace egress::test {
namespace {

TEST(Version, NumberAndTextMatchTheThreeParts) {
  EXPECT_EQ(EGRESS_VERSION / 10000, EGRESS_VERSION_MAJOR);
  EXPECT_EQ(EGRESS_VERSION / 100 % 100, EGRESS_VERSION_MINOR);
  EXPECT_EQ(EGRESS_VERSION % 100, EGRESS_VERSION_PATCH);
  EXPECT_EQ(kVersion, std::to_string(EGRESS_VERSION_MAJOR) + "." +
                          std::to_string(EGRESS_VERSION_MINOR) + "." +
                          std::to_string(EGRESS_VERSION_PATCH));
}

TEST(Version, TheBuildTakesItsVersionFromTheHeader) {
  EXPECT_EQ(kVersion, EGRESS_PROJECT_VERSION);
}

}  // namespace
}  // namespace egress::test
