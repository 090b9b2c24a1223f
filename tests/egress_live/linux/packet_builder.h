#ifndef EGRESS_TESTS_EGRESS_LIVE_LINUX_PACKET_BUILDER_H
#define EGRESS_TESTS_EGRESS_LIVE_LINUX_PACKET_BUILDER_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace egress::live {

// The bytes of packets, written down from the RFCs that captured_packet.h names.

inline std::string bytesOf(std::initializer_list<int> values) {
  std::string bytes;
  for (const int value : values) bytes.push_back(static_cast<char>(value));
  return bytes;
}

// Protocol, 2 reserved bytes, interface, ARP hardware type, packet type,
// length of the address and 8 bytes for it.
// Outgoing on interface 0x01020304 unless other values are given.
inline std::string cookedHeader(int protocol, int packetType = 4,
                                std::string_view interfaceIndex = "\1\2\3\4") {
  return bytesOf({protocol >> 8, protocol & 0xFF, 0, 0}) + std::string(interfaceIndex) +
         bytesOf({0, 1, packetType, 6}) + "\x02\x42\xAC\x11\x02\x03" + bytesOf({0, 0});
}

// From 10.0.0.7 to 198.51.100.10. `options` is filled up to a multiple of 4 bytes by the caller.
inline std::string ipv4Header(int protocol, std::string_view options = {}, int flagsAndOffset = 0) {
  const int words = 5 + static_cast<int>(options.size() / 4);
  return bytesOf({0x40 | words,
                  0,
                  0,
                  60,
                  0xAB,
                  0xCD,
                  flagsAndOffset >> 8,
                  flagsAndOffset & 0xFF,
                  64,
                  protocol,
                  0x12,
                  0x34,
                  10,
                  0,
                  0,
                  7,
                  198,
                  51,
                  100,
                  10}) +
         std::string(options);
}

// From 2001:db8:1::2 to 2001:db8:f::10.
inline std::string ipv6Header(int nextHeader) {
  return bytesOf({0x60, 0,    0,    0,    0, 20,  nextHeader, 64,                          //
                  0x20, 0x01, 0x0D, 0xB8, 0, 1,   0,          0,  0, 0, 0, 0, 0, 0, 0, 2,  //
                  0x20, 0x01, 0x0D, 0xB8, 0, 0xF, 0,          0,  0, 0, 0, 0, 0, 0, 0, 0x10});
}

// From port 51000 to port 443, as in TCP and UDP.
inline std::string ports() {
  return bytesOf({0xC7, 0x38, 0x01, 0xBB});
}

}  // namespace egress::live

#endif
