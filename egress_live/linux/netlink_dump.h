#ifndef EGRESS_LIVE_LINUX_NETLINK_DUMP_H
#define EGRESS_LIVE_LINUX_NETLINK_DUMP_H

#include <cstdint>
#include <span>
#include <string_view>

#include "egress_live/linux/netlink_message.h"

namespace egress::live {

// Requests a dump and receives all of it. `payload` follows the message header. Retries a few times
// if the kernel marks the dump as interrupted (NLM_F_DUMP_INTR). Throws EnumerationError if no
// complete reply arrives; the message begins with `what`.
[[nodiscard]] NetlinkReply dumpNetlink(std::string_view what, int bus, std::uint16_t type,
                                       std::span<const std::byte> payload);

template <typename Payload>
[[nodiscard]] NetlinkReply dumpNetlink(std::string_view what, int bus, std::uint16_t type,
                                       const Payload& payload) {
  return dumpNetlink(what, bus, type, std::as_bytes(std::span(&payload, 1)));
}

// Requests one data message and receives it; `payload` follows the message header. Throws
// KernelError with the errno that the kernel returned, and EnumerationError if no reply arrives;
// the message begins with `what`.
[[nodiscard]] NetlinkReply requestNetlink(std::string_view what, int bus, std::uint16_t type,
                                          std::span<const std::byte> payload);

}  // namespace egress::live

#endif
