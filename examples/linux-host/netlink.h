#ifndef EGRESS_EXAMPLES_LINUX_HOST_NETLINK_H
#define EGRESS_EXAMPLES_LINUX_HOST_NETLINK_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <libmnl/libmnl.h>
#include <linux/netlink.h>

#include "examples/linux-host/errors.h"

namespace linux_host {

// The data messages of one complete netlink dump (RFC 3549), in the order received.
struct NetlinkReply {
  std::vector<std::byte> bytes;
};

// Requests a dump and receives all of it. `payload` follows the message header. Retries a few times
// if the kernel marks the dump as interrupted (NLM_F_DUMP_INTR). Throws EnumerationError if no
// complete reply arrives; the message begins with `what`.
[[nodiscard]] NetlinkReply dumpNetlink(const std::string& what, int bus, std::uint16_t type,
                                       const void* payload, std::size_t payloadSize);

template <typename Payload>
[[nodiscard]] NetlinkReply dumpNetlink(const std::string& what, int bus, std::uint16_t type,
                                       const Payload& payload) {
  return dumpNetlink(what, bus, type, &payload, sizeof(payload));
}

template <typename Handle>
void forEachMessage(const NetlinkReply& reply, Handle handle) {
  const void* at = reply.bytes.data();
  int left = static_cast<int>(reply.bytes.size());
  for (const auto* message = static_cast<const nlmsghdr*>(at); mnl_nlmsg_ok(message, left);
       message = mnl_nlmsg_next(message, &left)) {
    handle(*message);
  }
}

// The fixed-size header of a message's payload. Throws EnumerationError if the message is too
// short.
template <typename Payload>
[[nodiscard]] const Payload& payloadOf(const nlmsghdr& message) {
  if (mnl_nlmsg_get_payload_len(&message) < sizeof(Payload)) {
    throw EnumerationError("a netlink message is too short");
  }
  return *static_cast<const Payload*>(mnl_nlmsg_get_payload(&message));
}

// The first attribute of a type after the fixed-size header, or nullptr. Valid as long as the
// reply.
[[nodiscard]] const nlattr* findAttribute(const nlmsghdr& message, std::size_t fixedSize,
                                          std::uint16_t type);

// The value of an attribute. Throws EnumerationError if the attribute is too short.
template <typename Value>
[[nodiscard]] Value valueOf(const nlattr& attribute) {
  if (mnl_attr_get_payload_len(&attribute) < sizeof(Value)) {
    throw EnumerationError("a netlink attribute is too short");
  }
  Value value{};
  std::memcpy(&value, mnl_attr_get_payload(&attribute), sizeof(value));
  return value;
}

// The text of a binary address in network byte order, as inet_ntop formats it. An IPv4-mapped IPv6
// address (RFC 4291, section 2.5.5.2) is formatted as the IPv4 address that the packets contain.
// Throws EnumerationError if `size` is too small.
[[nodiscard]] std::string addressText(int family, const void* bytes, std::size_t size);

}  // namespace linux_host

#endif
