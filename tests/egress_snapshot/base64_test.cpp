#include "egress_snapshot/base64.h"

#include <gtest/gtest.h>

namespace egress::snapshot {
namespace {

TEST(Base64, EncodesTheTestVectorsOfTheRfc) {
  EXPECT_EQ(base64Of(""), "");
  EXPECT_EQ(base64Of("f"), "Zg==");
  EXPECT_EQ(base64Of("fo"), "Zm8=");
  EXPECT_EQ(base64Of("foo"), "Zm9v");
  EXPECT_EQ(base64Of("foobar"), "Zm9vYmFy");
}

}  // namespace
}  // namespace egress::snapshot
