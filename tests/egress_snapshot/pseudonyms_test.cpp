#include "egress_snapshot/pseudonyms.h"

#include <array>
#include <set>

#include <gtest/gtest.h>

#include "tests/support/joined.h"

namespace egress::snapshot {
namespace {

using egress::test::joined;

std::string ipv4Text(std::size_t address) {
  const auto part = [address](unsigned shift) { return std::to_string(address >> shift & 0xFFU); };
  return joined({part(24), ".", part(16), ".", part(8), ".", part(0)});
}

struct Row {
  std::string_view text;
  std::string_view first;  // what replaces it if it is the first address
};

// Each class: both ends of its ranges, and their neighbours.
constexpr auto kRows = std::to_array<Row>({
    // The unspecified address stays.
    {.text = "0.0.0.0", .first = "0.0.0.0"},
    {.text = "0.0.0.1", .first = "192.0.2.1"},
    // 10.0.0.0/8
    {.text = "9.255.255.255", .first = "192.0.2.1"},
    {.text = "10.0.0.0", .first = "10.0.0.1"},
    {.text = "10.255.255.255", .first = "10.0.0.1"},
    {.text = "11.0.0.0", .first = "192.0.2.1"},
    // 100.64.0.0/10
    {.text = "100.63.255.255", .first = "192.0.2.1"},
    {.text = "100.64.0.0", .first = "100.64.0.1"},
    {.text = "100.127.255.255", .first = "100.64.0.1"},
    {.text = "100.128.0.0", .first = "192.0.2.1"},
    // 127.0.0.0/8
    {.text = "126.255.255.255", .first = "192.0.2.1"},
    {.text = "127.0.0.0", .first = "127.0.0.1"},
    {.text = "127.0.0.53", .first = "127.0.0.1"},
    {.text = "127.255.255.255", .first = "127.0.0.1"},
    {.text = "128.0.0.0", .first = "192.0.2.1"},
    // 169.254.0.0/16
    {.text = "169.253.255.255", .first = "192.0.2.1"},
    {.text = "169.254.0.0", .first = "169.254.0.1"},
    {.text = "169.254.255.255", .first = "169.254.0.1"},
    {.text = "169.255.0.0", .first = "192.0.2.1"},
    // 172.16.0.0/12
    {.text = "172.15.255.255", .first = "192.0.2.1"},
    {.text = "172.16.0.0", .first = "10.0.0.1"},
    {.text = "172.31.255.255", .first = "10.0.0.1"},
    {.text = "172.32.0.0", .first = "192.0.2.1"},
    // 192.168.0.0/16
    {.text = "192.167.255.255", .first = "192.0.2.1"},
    {.text = "192.168.0.0", .first = "10.0.0.1"},
    {.text = "192.168.255.255", .first = "10.0.0.1"},
    {.text = "192.169.0.0", .first = "192.0.2.1"},
    // All others are global: documentation, multicast, reserved and broadcast too.
    {.text = "192.0.2.200", .first = "192.0.2.1"},
    {.text = "198.51.100.1", .first = "192.0.2.1"},
    {.text = "224.0.0.1", .first = "192.0.2.1"},
    {.text = "240.0.0.1", .first = "192.0.2.1"},
    {.text = "255.255.255.255", .first = "192.0.2.1"},
    // :: and ::1 stay.
    {.text = "::", .first = "::"},
    {.text = "0:0:0:0:0:0:0:0", .first = "::"},
    {.text = "::1", .first = "::1"},
    {.text = "::0001", .first = "::1"},
    {.text = "::2", .first = "2001:db8::1"},
    {.text = "::100", .first = "2001:db8::1"},
    {.text = "100::", .first = "2001:db8::1"},
    {.text = "100::1", .first = "2001:db8::1"},
    // fc00::/7
    {.text = "fbff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", .first = "2001:db8::1"},
    {.text = "fc00::", .first = "fd00::1"},
    {.text = "fdff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", .first = "fd00::1"},
    {.text = "fe00::", .first = "2001:db8::1"},
    // fe80::/10
    {.text = "fe7f:ffff:ffff:ffff:ffff:ffff:ffff:ffff", .first = "2001:db8::1"},
    {.text = "fe80::", .first = "fe80::1"},
    {.text = "febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff", .first = "fe80::1"},
    {.text = "fec0::", .first = "2001:db8::1"},
    {.text = "ff80::", .first = "2001:db8::1"},
    // Global, and documentation too.
    {.text = "2001:db8::77", .first = "2001:db8::1"},
    {.text = "ff02::1", .first = "2001:db8::1"},
    // ::ffff:0:0/96 becomes the mapped form.
    {.text = "::fffe:ffff:ffff", .first = "2001:db8::1"},
    {.text = "::ffff:0:0", .first = "::ffff:0.0.0.0"},
    {.text = "::ffff:a00:1", .first = "::ffff:10.0.0.1"},
    {.text = "::ffff:127.0.0.9", .first = "::ffff:127.0.0.1"},
    {.text = "::ffff:ffff:ffff", .first = "::ffff:192.0.2.1"},
    {.text = "::1:0:0:0", .first = "2001:db8::1"},
    {.text = "1::ffff:10.0.0.1", .first = "2001:db8::1"},
    {.text = "::10.0.0.1", .first = "2001:db8::1"},
    // Brackets and zones are dropped.
    {.text = "[fe80::9%eth0]", .first = "fe80::1"},
    {.text = "fe80::9%private-name", .first = "fe80::1"},
    {.text = "[2a00::1]", .first = "2001:db8::1"},
    {.text = "192.168.1.1%eth0", .first = "10.0.0.1"},
    // Any other text becomes a name; an empty one stays.
    {.text = "", .first = ""},
    {.text = "proxy.corp.example.net", .first = "host-1.example"},
    {.text = " 10.0.0.1", .first = "host-1.example"},
    {.text = "10.0.0.1:443", .first = "host-1.example"},
    {.text = "10.0.0", .first = "host-1.example"},
    {.text = "[]", .first = "host-1.example"},
    {.text = "\xFF", .first = "host-1.example"},
    {.text = "proxy", .first = "host-1.example"},
});

TEST(Pseudonyms, ReplaceAnAddressByOneOfItsClass) {
  for (const Row& row : kRows) {
    EXPECT_EQ(Pseudonyms().address(std::string(row.text)), row.first) << row.text;
  }
}

TEST(Pseudonyms, ReplaceEqualAddressesByEqualOnes) {
  Pseudonyms pseudonyms;
  EXPECT_EQ(pseudonyms.address("10.9.9.9"), "10.0.0.1");
  EXPECT_EQ(pseudonyms.address("10.8.8.8"), "10.0.0.2");
  EXPECT_EQ(pseudonyms.address("10.9.9.9"), "10.0.0.1");
  EXPECT_EQ(pseudonyms.address("[FD00:0::7]"), "fd00::1");
  EXPECT_EQ(pseudonyms.address("fd00::8"), "fd00::2");
  EXPECT_EQ(pseudonyms.address("fd00:0:0:0::7%eth0"), "fd00::1");
  EXPECT_EQ(pseudonyms.address("name"), "host-1.example");
  EXPECT_EQ(pseudonyms.address("Name"), "host-2.example");
  EXPECT_EQ(pseudonyms.address("name"), "host-1.example");
}

TEST(Pseudonyms, NumberEachClassAndFamilyOnItsOwn) {
  Pseudonyms pseudonyms;
  EXPECT_EQ(pseudonyms.address("8.8.8.8"), "192.0.2.1");
  EXPECT_EQ(pseudonyms.address("172.16.1.1"), "10.0.0.1");
  EXPECT_EQ(pseudonyms.address("192.168.1.1"), "10.0.0.2");
  EXPECT_EQ(pseudonyms.address("100.64.3.3"), "100.64.0.1");
  EXPECT_EQ(pseudonyms.address("127.1.1.1"), "127.0.0.1");
  EXPECT_EQ(pseudonyms.address("169.254.3.3"), "169.254.0.1");
  EXPECT_EQ(pseudonyms.address("2a00::1"), "2001:db8::1");
  EXPECT_EQ(pseudonyms.address("fe80::5"), "fe80::1");
  EXPECT_EQ(pseudonyms.address("fd12::1"), "fd00::1");
  EXPECT_EQ(pseudonyms.address("name"), "host-1.example");
  EXPECT_EQ(pseudonyms.address("9.9.9.9"), "192.0.2.2");
  EXPECT_EQ(pseudonyms.address("2a00::2"), "2001:db8::2");
}

TEST(Pseudonyms, AMappedAddressHasTheNumberOfItsIpv4Address) {
  Pseudonyms pseudonyms;
  EXPECT_EQ(pseudonyms.address("8.8.8.8"), "192.0.2.1");
  EXPECT_EQ(pseudonyms.address("::ffff:9.9.9.9"), "::ffff:192.0.2.2");
  EXPECT_EQ(pseudonyms.address("::ffff:8.8.8.8"), "::ffff:192.0.2.1");
  EXPECT_EQ(pseudonyms.address("9.9.9.9"), "192.0.2.2");
}

struct NumberRow {
  std::size_t number;  // from 1
  std::string_view address;
};

TEST(Pseudonyms, GlobalAddressesFillTheDocumentationRangesAndThenTheReservedOne) {
  Pseudonyms pseudonyms;
  std::vector<std::string> found = {""};
  for (std::size_t i = 0; i < 1024; ++i) {
    found.push_back(pseudonyms.address(ipv4Text((std::size_t{11} << 24) + i)));
  }
  for (const NumberRow& row : std::to_array<NumberRow>({
           {.number = 1, .address = "192.0.2.1"},
           {.number = 255, .address = "192.0.2.255"},
           {.number = 256, .address = "198.51.100.0"},
           {.number = 511, .address = "198.51.100.255"},
           {.number = 512, .address = "203.0.113.0"},
           {.number = 767, .address = "203.0.113.255"},
           {.number = 768, .address = "240.0.0.0"},
           {.number = 769, .address = "240.0.0.1"},
           {.number = 1024, .address = "240.0.1.0"},
       })) {
    EXPECT_EQ(found.at(row.number), row.address);
  }
  EXPECT_EQ(std::set(found.begin(), found.end()).size(), 1025U);
}

TEST(Pseudonyms, AWholeClassHasDifferentReplacements) {
  Pseudonyms pseudonyms;
  std::set<std::string> found;
  const std::size_t first = std::size_t{169} << 24 | std::size_t{254} << 16;
  for (std::size_t i = 0; i < 65'535; ++i) found.insert(pseudonyms.address(ipv4Text(first + i)));
  EXPECT_TRUE(found.contains("169.254.1.0"));
  EXPECT_TRUE(found.contains("169.254.255.255"));
  EXPECT_FALSE(found.contains("169.254.0.0"));
  // The last one has the first address of the range.
  found.insert(pseudonyms.address("169.254.255.255"));
  EXPECT_TRUE(found.contains("169.254.0.0"));
  EXPECT_EQ(found.size(), 65'536U);
}

TEST(Pseudonyms, Ipv6AddressesCountInTheLastTwoGroups) {
  Pseudonyms pseudonyms;
  std::vector<std::string> found = {""};
  for (std::size_t i = 0; i < 65'537; ++i) {
    found.push_back(pseudonyms.address("2a00::" + ipv4Text(i)));
  }
  for (const NumberRow& row : std::to_array<NumberRow>({
           {.number = 1, .address = "2001:db8::1"},
           {.number = 10, .address = "2001:db8::a"},
           {.number = 16, .address = "2001:db8::10"},
           {.number = 65535, .address = "2001:db8::ffff"},
           {.number = 65536, .address = "2001:db8::1:0"},
           {.number = 65537, .address = "2001:db8::1:1"},
       })) {
    EXPECT_EQ(found.at(row.number), row.address);
  }
  EXPECT_EQ(std::set(found.begin(), found.end()).size(), 65'538U);
}

TEST(Pseudonyms, ReplaceTagsExceptTheStartOfTheWalk) {
  Pseudonyms pseudonyms;
  EXPECT_EQ(pseudonyms.tag(""), "");
  EXPECT_EQ(pseudonyms.tag("proxy"), "proxy");
  EXPECT_EQ(pseudonyms.tag("Tokyo"), "tag-1");
  EXPECT_EQ(pseudonyms.tag("Proxy"), "tag-2");
  EXPECT_EQ(pseudonyms.tag("tag-1"), "tag-3");
  EXPECT_EQ(pseudonyms.tag("Tokyo"), "tag-1");
  // Tags and hosts are different things.
  EXPECT_EQ(pseudonyms.address("Tokyo"), "host-1.example");
}

}  // namespace
}  // namespace egress::snapshot
