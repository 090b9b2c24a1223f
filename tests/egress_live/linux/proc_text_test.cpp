#include "egress_live/linux/proc_text.h"

#include <array>

#include <gtest/gtest.h>

namespace egress::live {
namespace {

using namespace std::string_view_literals;

struct NumberRow {
  std::string_view text;
  std::optional<std::uint32_t> number;
};

TEST(NumberIn, AcceptsOnlyDecimalDigits) {
  for (const NumberRow& row : std::to_array<NumberRow>({{"0", 0},
                                                        {"4294967295", 4294967295},
                                                        {"4294967296", std::nullopt},
                                                        {"", std::nullopt},
                                                        {".", std::nullopt},
                                                        {"self", std::nullopt},
                                                        {"1a", std::nullopt},
                                                        {"-1", std::nullopt},
                                                        {"+1", std::nullopt},
                                                        {" 1", std::nullopt},
                                                        {"1\0"sv, std::nullopt}})) {
    EXPECT_EQ(numberIn(row.text), row.number) << row.text;
  }
}

TEST(NameIn, OnlyTheLastNewlineIsNotOfTheName) {
  EXPECT_EQ(nameIn("engine\n"), "engine");
  EXPECT_EQ(nameIn("engine\n\n"), "engine\n");
  EXPECT_EQ(nameIn("engine\nx\n"), "engine\nx");
  EXPECT_EQ(nameIn("engine"), "engine");
  EXPECT_EQ(nameIn("\n"), "");
  EXPECT_EQ(nameIn(""), "");
}

TEST(RealUserIn, IsTheFirstNumberOfItsLine) {
  for (const NumberRow& row : std::to_array<NumberRow>({
           {"Name:\tengine\nUid:\t1000\t0\t0\t0\nGid:\t7\t7\t7\t7\n", 1000},
           {"Name:\tx\nUid:\t4294967294\t0", 4294967294},
           {"Name:\tx\\nUid:\t0\t\nUid:\t1000\t0\t0\t0\n", 1000},  // the name is "x\nUid:..."
           {"Name:\tUid:\t0\t0\nUid:\t1000\t0\t0\t0\n", 1000},
           {"Uid:\t1000\t0\t0\t0\n", std::nullopt},  // the first line is the name
           {"Name:\tx\nUid:\t\n", std::nullopt},
           {"Name:\tx\n", std::nullopt},
           {"", std::nullopt},
       })) {
    EXPECT_EQ(realUserIn(row.text), row.number) << row.text;
  }
}

TEST(ProgramIn, ADeletedFileKeepsItsName) {
  EXPECT_EQ(programIn("/usr/bin/engine"), "/usr/bin/engine");
  EXPECT_EQ(programIn("/usr/bin/engine (deleted)"), "/usr/bin/engine");
  EXPECT_EQ(programIn("/usr/bin/engine (deleted) (deleted)"), "/usr/bin/engine (deleted)");
  EXPECT_EQ(programIn(" (deleted)"), "");
  EXPECT_EQ(programIn(""), "");
}

TEST(FileNameIn, IsWhatFollowsTheLastSlash) {
  EXPECT_EQ(fileNameIn("/usr/bin/engine"), "engine");
  EXPECT_EQ(fileNameIn("engine"), "engine");
  EXPECT_EQ(fileNameIn("/"), "");
  EXPECT_EQ(fileNameIn(""), "");
}

TEST(SocketInodeIn, AcceptsNoOtherKindOfDescriptor) {
  for (const NumberRow& row : std::to_array<NumberRow>({{"socket:[12345]", 12345},
                                                        {"socket:[4294967295]", 4294967295},
                                                        {"socket:[4294967296]", std::nullopt},
                                                        {"socket:[]", std::nullopt},
                                                        {"socket:[1", std::nullopt},
                                                        {"socket:[", std::nullopt},
                                                        {"/tmp/socket:[1]", std::nullopt},
                                                        {"socket:[1] (deleted)", std::nullopt},
                                                        {"pipe:[1]", std::nullopt},
                                                        {"", std::nullopt}})) {
    EXPECT_EQ(socketInodeIn(row.text), row.number) << row.text;
  }
}

constexpr std::string_view kMounts =
    "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
    "2 27 8:3 / /srv/a\\0402\\0408:4 rw shared:1 - ext4 /dev/sda3 rw\n"
    "27 1 259:1048575 / / rw - ext4 /dev/vda rw\n";

TEST(MountedDeviceIn, IsTheDeviceOfTheMountWithThisId) {
  EXPECT_EQ(mountedDeviceIn(kMounts, 22), 21);
  EXPECT_EQ(mountedDeviceIn(kMounts, 2), 8U * 1048576 + 3);
  EXPECT_EQ(mountedDeviceIn(kMounts, 27), 259U * 1048576 + 1048575);
  EXPECT_EQ(mountedDeviceIn(kMounts, 1), std::nullopt);  // only a parent
  EXPECT_EQ(mountedDeviceIn(kMounts, 0), std::nullopt);
  EXPECT_EQ(mountedDeviceIn("", 22), std::nullopt);
}

TEST(MountedDeviceIn, ALineThatIsCutOffHasNoDevice) {
  for (const std::string_view line : {"7", "7 ", "7 1", "7 1 ", "7 1 8", "7 1 8:", "7 1 :3 / /",
                                      "7 1 8:x / /", "7 1 8 3 / /", "\n7\n8:3 / /"}) {
    EXPECT_EQ(mountedDeviceIn(line, 7), std::nullopt) << line;
  }
  EXPECT_EQ(mountedDeviceIn("7 1 8:3", 7), 8U * 1048576 + 3);
}

}  // namespace
}  // namespace egress::live
