#include "egress_live/linux/netlink_message.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <limits>
#include <netinet/in.h>
#include <sys/socket.h>

namespace egress::live {
namespace {

// The error in NLMSG_ERROR or NLMSG_DONE: 0 or an errno. NLMSG_DONE contains one if the kernel
// fails in the middle of a dump.
int errorIn(const nlmsghdr& message) {
  constexpr int kMost = std::numeric_limits<int>::max();
  return -std::max(payloadOf<int>(message), -kMost);
}

void append(const nlmsghdr& message, NetlinkReply& reply) {
  const auto* const first = static_cast<const std::byte*>(static_cast<const void*>(&message));
  reply.bytes.insert(reply.bytes.end(), first, first + message.nlmsg_len);
  reply.bytes.resize(aligned(reply.bytes.size()));
}

const nlattr* findAttributeBetween(const void* at, const char* end, std::uint16_t type) {
  while (true) {
    const auto* const attribute = static_cast<const nlattr*>(at);
    const auto left = end - static_cast<const char*>(at);
    if (!mnl_attr_ok(attribute, static_cast<int>(left))) return nullptr;
    if (mnl_attr_get_type(attribute) == type) return attribute;
    at = mnl_attr_next(attribute);
  }
}

}  // namespace

ReplyProgress addPart(const NetlinkRequest& request, const NetlinkPart& part, NetlinkReply& reply) {
  constexpr std::uint32_t kKernel = 0;
  if (part.sender != kKernel) return ReplyProgress::More;

  const std::string& name = request.what;
  const void* at = part.bytes.data();
  int left = static_cast<int>(part.bytes.size());
  for (const auto* message = static_cast<const nlmsghdr*>(at); isWholeMessage(message, left);
       message = mnl_nlmsg_next(message, &left)) {
    if (message->nlmsg_seq != request.sequence || message->nlmsg_pid != request.port) {
      throw EnumerationError(name + ": a netlink message answers another request");
    }
    if ((message->nlmsg_flags & NLM_F_DUMP_INTR) != 0) return ReplyProgress::Interrupted;
    switch (message->nlmsg_type) {
      case NLMSG_NOOP: break;
      case NLMSG_ERROR:
      case NLMSG_DONE:
        if (const int error = errorIn(*message); error != 0) {
          throw KernelError(name + ": the kernel returned an error", error);
        }
        return ReplyProgress::Complete;
      case NLMSG_OVERRUN: throw EnumerationError(name + ": the kernel lost data (NLMSG_OVERRUN)");
      default:
        append(*message, reply);
        if (!request.isDump) return ReplyProgress::Complete;
        break;
    }
  }
  if (left > 0) throw EnumerationError(name + ": a netlink message is cut off");
  return ReplyProgress::More;
}

const nlattr* findAttribute(const nlmsghdr& message, std::size_t fixedSize, std::uint16_t type) {
  const void* const first = &message;
  // Not mnl_nlmsg_get_payload_tail, which is aligned: up to 3 bytes behind the message.
  const auto* const end = static_cast<const char*>(first) + message.nlmsg_len;
  return findAttributeBetween(mnl_nlmsg_get_payload_offset(&message, fixedSize), end, type);
}

const nlattr* findNestedAttribute(const nlattr& attribute, std::uint16_t type) {
  const void* const first = mnl_attr_get_payload(&attribute);
  const auto* const end = static_cast<const char*>(first) + mnl_attr_get_payload_len(&attribute);
  return findAttributeBetween(first, end, type);
}

std::span<const std::byte> bytesOf(const nlattr& attribute) {
  return {static_cast<const std::byte*>(mnl_attr_get_payload(&attribute)),
          mnl_attr_get_payload_len(&attribute)};
}

std::string textOf(const nlattr& attribute) {
  const std::span<const std::byte> bytes = bytesOf(attribute);
  const auto end = std::ranges::find(bytes, std::byte{0});
  std::string text;
  for (const std::byte byte : bytes.first(static_cast<std::size_t>(end - bytes.begin()))) {
    text += static_cast<char>(byte);
  }
  return text;
}

std::string addressText(int family, std::span<const std::byte> bytes) {
  if (bytes.size() < (family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr))) {
    throw EnumerationError("a netlink address is too short");
  }
  if (family == AF_INET6) {
    in6_addr address{};
    std::memcpy(&address, bytes.data(), sizeof(address));
    constexpr std::size_t kMappedPrefix = 12;  // bytes before the IPv4 address
    if (IN6_IS_ADDR_V4MAPPED(&address)) return addressText(AF_INET, bytes.subspan(kMappedPrefix));
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  inet_ntop(family, bytes.data(), text.data(), text.size());
  return text.data();
}

}  // namespace egress::live
