#ifndef EGRESS_LIVE_LINUX_NETLINK_MESSAGE_H
#define EGRESS_LIVE_LINUX_NETLINK_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <libmnl/libmnl.h>
#include <linux/netlink.h>

#include "egress_live/linux/errors.h"

namespace egress::live {

// Netlink messages (RFC 3549) as bytes. Nothing here talks to the kernel, and no byte is read
// before a length says that it is there.

// The data messages of one complete reply, in the order received, each aligned.
struct NetlinkReply {
  std::vector<std::byte> bytes;
};

enum class ReplyProgress : std::uint8_t { More, Complete, Interrupted };

// A request, as the messages of its reply refer to it.
struct NetlinkRequest {
  std::string what;            // is asked for, for error messages
  std::uint32_t sequence = 0;  // of the request
  std::uint32_t port = 0;      // of the socket that sent it
  bool isDump = true;          // asks for a list, not for one data message
};

// The kernel refused a request.
struct KernelError : EnumerationError {
  KernelError(const std::string& what, int number)
      : EnumerationError(withSystemError(what, number)), errorNumber(number) {}
  int errorNumber;  // errno
};

// One datagram that the socket received.
struct NetlinkPart {
  std::uint32_t sender = 0;          // port of the sender; the kernel's is 0
  std::span<const std::byte> bytes;  // aligned for nlmsghdr
};

// Appends the data messages of one part to the reply, which is complete at the end of a dump, or
// with the first data message of another request. Ignores a part that the kernel did not send: with
// CAP_NET_ADMIN, processes may send messages to each other. Throws KernelError if the kernel
// reports an error, and EnumerationError if the part is cut off or a message answers another
// request.
[[nodiscard]] ReplyProgress addPart(const NetlinkRequest& request, const NetlinkPart& part,
                                    NetlinkReply& reply);

[[nodiscard]] constexpr std::size_t aligned(std::size_t size) {
  constexpr std::size_t kAlignment = MNL_ALIGNTO;
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

// Whether a whole message begins here, with `left` bytes to the end. mnl_nlmsg_ok alone takes a
// length of 2^31 or more as a negative one, which fits.
[[nodiscard]] inline bool isWholeMessage(const nlmsghdr* message, int left) {
  return mnl_nlmsg_ok(message, left) && message->nlmsg_len <= static_cast<std::uint32_t>(left);
}

template <typename Handle>
void forEachMessage(std::span<const std::byte> bytes, Handle handle) {
  const void* at = bytes.data();
  int left = static_cast<int>(bytes.size());
  for (const auto* message = static_cast<const nlmsghdr*>(at); isWholeMessage(message, left);
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
// message.
[[nodiscard]] const nlattr* findAttribute(const nlmsghdr& message, std::size_t fixedSize,
                                          std::uint16_t type);

// The first attribute of a type in the value of an attribute, or nullptr. Valid as long as the
// message.
[[nodiscard]] const nlattr* findNestedAttribute(const nlattr& attribute, std::uint16_t type);

// The value of an attribute.
[[nodiscard]] std::span<const std::byte> bytesOf(const nlattr& attribute);

// The value of an attribute. Throws EnumerationError if the attribute is too short.
template <typename Value>
[[nodiscard]] Value valueOf(const nlattr& attribute) {
  const std::span<const std::byte> bytes = bytesOf(attribute);
  if (bytes.size() < sizeof(Value)) throw EnumerationError("a netlink attribute is too short");
  Value value{};
  std::memcpy(&value, bytes.data(), sizeof(value));
  return value;
}

// The text in an attribute, up to its first zero byte.
[[nodiscard]] std::string textOf(const nlattr& attribute);

// The text of a binary address in network byte order, as inet_ntop formats it. An IPv4-mapped IPv6
// address (RFC 4291, section 2.5.5.2) is formatted as the IPv4 address that the packets contain.
// Throws EnumerationError if there are too few bytes.
[[nodiscard]] std::string addressText(int family, std::span<const std::byte> bytes);

}  // namespace egress::live

#endif
