#include "egress_live/linux/packet_filter.h"

#include <memory>

#include <gtest/gtest.h>
#include <pcap/pcap.h>

#include "egress_live/linux/captured_packet.h"
#include "tests/egress_live/linux/packet_builder.h"

namespace egress::live {
namespace {

constexpr int kIpv4 = 0x0800;
constexpr int kIpv6 = 0x86DD;
constexpr int kTcp = 6;
constexpr int kUdp = 17;

// Whether the filter for an endpoint, as libpcap compiles it for cooked headers, accepts a packet.
bool accepts(std::string_view address, std::uint32_t port, const std::string& bytes) {
  const std::unique_ptr<pcap_t, void (*)(pcap_t*)> capture(
      pcap_open_dead(DLT_LINUX_SLL2, static_cast<int>(kCaptureSize)), &pcap_close);
  const std::string text = filterText(parseNumericAddress(address), port);
  bpf_program filter{};
  EXPECT_EQ(pcap_compile(capture.get(), &filter, text.c_str(), 1, PCAP_NETMASK_UNKNOWN), 0)
      << text << ": " << pcap_geterr(capture.get());
  pcap_pkthdr header{};
  header.caplen = static_cast<bpf_u_int32>(bytes.size());
  header.len = header.caplen;
  const void* const data = bytes.data();
  const int result = pcap_offline_filter(&filter, &header, static_cast<const u_char*>(data));
  pcap_freecode(&filter);
  return result != 0;
}

std::string ipv4(int protocol, int packetType = 4) {
  return cookedHeader(kIpv4, packetType) + ipv4Header(protocol) + ports() + std::string(16, '\0');
}

std::string ipv6(int nextHeader, const std::string& extensions = {}) {
  return cookedHeader(kIpv6) + ipv6Header(nextHeader) + extensions + ports() +
         std::string(16, '\0');
}

TEST(FilterText, AcceptsOutgoingPacketsToTheEndpoint) {
  for (const int protocol : {kTcp, kUdp}) {
    EXPECT_TRUE(accepts("198.51.100.10", 443, ipv4(protocol)));
    EXPECT_TRUE(accepts("2001:db8:f::10", 443, ipv6(protocol)));
  }
}

TEST(FilterText, AcceptsPacketsThatArriveOnTheLoopbackInterface) {
  const std::string_view loopback("\0\0\0\1", 4);
  const std::string packet = ipv4Header(kTcp) + ports() + std::string(16, '\0');
  EXPECT_TRUE(accepts("198.51.100.10", 443, cookedHeader(kIpv4, 0, loopback) + packet));
  EXPECT_FALSE(accepts("198.51.100.10", 444, cookedHeader(kIpv4, 0, loopback) + packet));
}

TEST(FilterText, FindsPortsBehindOptionsOfIpv4) {
  const std::string options(40, '\x01');
  EXPECT_TRUE(
      accepts("198.51.100.10", 443, cookedHeader(kIpv4) + ipv4Header(kTcp, options) + ports()));
  EXPECT_FALSE(
      accepts("198.51.100.10", 444, cookedHeader(kIpv4) + ipv4Header(kTcp, options) + ports()));
}

TEST(FilterText, LeavesPacketsWithExtensionsOfIpv6ToTheirParser) {
  const std::string hopByHop = ipv6(0, bytesOf({kTcp, 0, 1, 4, 0, 0, 0, 0}));
  EXPECT_TRUE(accepts("2001:db8:f::10", 443, hopByHop));
  EXPECT_FALSE(accepts("2001:db8:f::11", 443, hopByHop));
}

TEST(FilterText, AcceptsNoOtherPacket) {
  EXPECT_FALSE(accepts("198.51.100.10", 444, ipv4(kTcp)));
  EXPECT_FALSE(accepts("2001:db8:f::10", 444, ipv6(kUdp)));
  EXPECT_FALSE(accepts("198.51.100.10", 51000, ipv4(kTcp)));  // its source port
  EXPECT_FALSE(accepts("10.0.0.7", 443, ipv4(kTcp)));         // its source
  EXPECT_FALSE(accepts("2001:db8:1::2", 443, ipv6(kTcp)));
  for (const char* const other :
       {"199.51.100.10", "198.50.100.10", "198.51.101.10", "198.51.100.11"}) {
    EXPECT_FALSE(accepts(other, 443, ipv4(kTcp))) << other;
  }
  for (const int packetType : {0, 1, 2, 3}) {
    EXPECT_FALSE(accepts("198.51.100.10", 443, ipv4(kTcp, packetType))) << packetType;
  }
  EXPECT_FALSE(accepts("198.51.100.10", 443, ipv4(1)));  // ICMP
  EXPECT_FALSE(accepts("198.51.100.10", 443, ipv6(kTcp)));
  EXPECT_FALSE(accepts("2001:db8:f::10", 443, ipv4(kTcp)));
}

}  // namespace
}  // namespace egress::live
