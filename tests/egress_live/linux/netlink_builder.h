#ifndef EGRESS_TESTS_EGRESS_LIVE_LINUX_NETLINK_BUILDER_H
#define EGRESS_TESTS_EGRESS_LIVE_LINUX_NETLINK_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

#include <linux/netlink.h>

#include "egress_live/linux/netlink_message.h"

namespace egress::live {

using Bytes = std::vector<std::byte>;

inline Bytes bytesOfText(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

template <typename Value>
Bytes bytesOfValue(const Value& value) {
  const auto bytes = std::as_bytes(std::span(&value, 1));
  return {bytes.begin(), bytes.end()};
}

// One attribute.
struct Attribute {
  int type;
  Bytes value;
};

// The attributes, each aligned except the last.
inline Bytes attributes(std::initializer_list<Attribute> list) {
  Bytes all;
  for (const Attribute& attribute : list) {
    const nlattr header{
        .nla_len = static_cast<std::uint16_t>(sizeof(nlattr) + attribute.value.size()),
        .nla_type = static_cast<std::uint16_t>(attribute.type)};
    const Bytes bytes = bytesOfValue(header);
    all.resize(aligned(all.size()));
    all.insert(all.end(), bytes.begin(), bytes.end());
    all.insert(all.end(), attribute.value.begin(), attribute.value.end());
  }
  return all;
}

// Of the request that a message answers.
constexpr std::uint32_t kSequence = 3;
constexpr std::uint32_t kPort = 4001;

// Builds a netlink message.
class Message {
 public:
  template <typename Payload>
  Message(int type, const Payload& payload) : type_(type), bytes_(sizeof(nlmsghdr)) {
    append(bytesOfValue(payload));
  }

  Message& with(int attribute, const Bytes& value) {
    bytes_.resize(aligned(bytes_.size()));
    append(attributes({{attribute, value}}));
    return *this;
  }

  template <typename Value>
  Message& with(int attribute, const Value& value) {
    return with(attribute, bytesOfValue(value));
  }

  Message& withFlags(int flags) {
    flags_ = flags;
    return *this;
  }

  // The message, or its first bytes as a whole message, in an allocation of exactly that size.
  [[nodiscard]] Bytes bytes() const { return first(bytes_.size()); }
  [[nodiscard]] Bytes first(std::size_t size) const {
    const nlmsghdr header{.nlmsg_len = static_cast<std::uint32_t>(size),
                          .nlmsg_type = static_cast<std::uint16_t>(type_),
                          .nlmsg_flags = static_cast<std::uint16_t>(flags_),
                          .nlmsg_seq = kSequence,
                          .nlmsg_pid = kPort};
    Bytes bytes(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(size));
    std::memcpy(bytes.data(), &header, sizeof(header));
    return bytes;
  }

  [[nodiscard]] std::size_t size() const { return bytes_.size(); }

 private:
  void append(const Bytes& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

  int type_;
  int flags_ = 0;
  Bytes bytes_;  // the header is filled in at the end
};

// The messages, each aligned except the last, in an allocation of exactly their size.
inline Bytes joined(std::initializer_list<Message> messages) {
  Bytes all;
  for (const Message& message : messages) {
    all.resize(aligned(all.size()));
    const Bytes bytes = message.bytes();
    all.insert(all.end(), bytes.begin(), bytes.end());
  }
  all.shrink_to_fit();
  return all;
}

inline NetlinkReply replyWith(std::initializer_list<Message> messages) {
  return {.bytes = joined(messages)};
}

}  // namespace egress::live

#endif
