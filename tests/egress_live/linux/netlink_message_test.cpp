#include "egress_live/linux/netlink_message.h"

#include <array>
#include <cerrno>
#include <limits>
#include <string>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using testing::ElementsAre;

constexpr int kType = NLMSG_MIN_TYPE;  // of a data message

// A request whose messages the builder makes.
const NetlinkRequest kRequest = {.what = "links", .sequence = kSequence, .port = kPort};

ReplyProgress add(std::span<const std::byte> part, NetlinkReply& reply) {
  return addPart(kRequest, {.sender = 0, .bytes = part}, reply);
}

// The error of a part, or "".
std::string errorOf(std::span<const std::byte> part) {
  NetlinkReply reply;
  try {
    static_cast<void>(add(part, reply));
  } catch (const EnumerationError& error) {
    return error.what();
  }
  return "";
}

std::vector<int> payloadsIn(const NetlinkReply& reply) {
  std::vector<int> payloads;
  forEachMessage(reply.bytes, [&payloads](const nlmsghdr& message) {
    payloads.push_back(payloadOf<int>(message));
  });
  return payloads;
}

const nlmsghdr& messageIn(const Bytes& bytes) {
  return *static_cast<const nlmsghdr*>(static_cast<const void*>(bytes.data()));
}

TEST(AddPart, KeepsTheDataMessagesOfAllParts) {
  NetlinkReply reply;
  EXPECT_EQ(add(joined({{kType, 1}, {kType, 2}}), reply), ReplyProgress::More);
  EXPECT_EQ(add(joined({{kType, 3}, {NLMSG_DONE, 0}}), reply), ReplyProgress::Complete);
  EXPECT_THAT(payloadsIn(reply), ElementsAre(1, 2, 3));
}

TEST(AddPart, AlignsAMessageOfAnOddSize) {
  NetlinkReply reply;
  const Message odd = Message(kType, 1).with(1, bytesOfText("odd"));
  for (int part = 0; part < 2; ++part) {
    EXPECT_EQ(add(joined({odd}), reply), ReplyProgress::More);
  }
  EXPECT_THAT(payloadsIn(reply), ElementsAre(1, 1));
  EXPECT_EQ(reply.bytes.size(), 2 * aligned(odd.size()));
}

TEST(AddPart, IgnoresNoop) {
  NetlinkReply reply;
  EXPECT_EQ(add(joined({{NLMSG_NOOP, 1}, {kType, 2}}), reply), ReplyProgress::More);
  EXPECT_THAT(payloadsIn(reply), ElementsAre(2));
}

TEST(AddPart, DetectsAnInterruptionInAnyMessage) {
  for (const int type : {kType, NLMSG_NOOP, NLMSG_DONE}) {
    NetlinkReply reply;
    const Message interrupted = Message(type, 0).withFlags(NLM_F_MULTI | NLM_F_DUMP_INTR);
    EXPECT_EQ(add(joined({{kType, 1}, interrupted}), reply), ReplyProgress::Interrupted);
  }
}

TEST(AddPart, ReportsTheErrorsOfTheKernel) {
  EXPECT_EQ(errorOf(joined({{NLMSG_ERROR, -EPERM}})),
            "links: the kernel returned an error: Operation not permitted");
  EXPECT_EQ(errorOf(joined({{kType, 1}, {NLMSG_DONE, -ENOMEM}})),
            "links: the kernel returned an error: Cannot allocate memory");
  EXPECT_EQ(errorOf(joined({{NLMSG_OVERRUN, 0}})), "links: the kernel lost data (NLMSG_OVERRUN)");
}

TEST(AddPart, ReportsErrorsThatAreNoErrno) {
  for (const int error : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 1}) {
    EXPECT_THAT(errorOf(joined({{NLMSG_ERROR, error}})),
                testing::StartsWith("links: the kernel returned an error: "));
  }
}

TEST(AddPart, AnErrorOfZeroIsAnAcknowledgement) {
  NetlinkReply reply;
  EXPECT_EQ(add(joined({{NLMSG_ERROR, 0}}), reply), ReplyProgress::Complete);
}

TEST(AddPart, TheErrorOfTheKernelHasItsNumber) {
  struct Row {
    int error;
    int number;
  };
  for (const Row& row : {Row{-EPERM, EPERM}, Row{-ENETUNREACH, ENETUNREACH}}) {
    NetlinkReply reply;
    try {
      static_cast<void>(add(joined({{NLMSG_ERROR, row.error}}), reply));
      FAIL() << row.error;
    } catch (const KernelError& error) {
      EXPECT_EQ(error.errorNumber, row.number);
    }
  }
}

// A request for one data message.
const NetlinkRequest kSingleRequest = {
    .what = "route", .sequence = kSequence, .port = kPort, .isDump = false};

TEST(AddPart, ASingleReplyIsCompleteWithItsFirstDataMessage) {
  NetlinkReply reply;
  const Bytes nothing = joined({{NLMSG_NOOP, 1}});
  EXPECT_EQ(addPart(kSingleRequest, {.sender = 0, .bytes = nothing}, reply), ReplyProgress::More);
  const Bytes part = joined({{kType, 2}, {kType, 3}});
  EXPECT_EQ(addPart(kSingleRequest, {.sender = 0, .bytes = part}, reply), ReplyProgress::Complete);
  EXPECT_THAT(payloadsIn(reply), ElementsAre(2));
}

TEST(AddPart, ASingleReplyThatIsCutOffIsNoReply) {
  const Bytes part = joined({{kType, 1}});
  for (std::size_t size = 1; size < part.size(); ++size) {
    const Bytes cut(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(size));
    NetlinkReply reply;
    EXPECT_THROW(static_cast<void>(addPart(kSingleRequest, {.sender = 0, .bytes = cut}, reply)),
                 EnumerationError);
    EXPECT_THAT(payloadsIn(reply), ElementsAre());
  }
}

TEST(AddPart, RejectsErrorsThatAreTooShort) {
  for (const int type : {NLMSG_ERROR, NLMSG_DONE}) {
    const Message message(type, 0);
    for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
      EXPECT_EQ(errorOf(message.first(size)), "a netlink message is too short");
    }
  }
}

TEST(AddPart, RejectsAPartThatIsCutOffInAMessage) {
  const Bytes part = joined({{kType, 1}, {kType, 2}});
  for (std::size_t size = 1; size < part.size(); ++size) {
    const Bytes cut(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(errorOf(cut), size == part.size() / 2 ? "" : "links: a netlink message is cut off");
  }
}

TEST(AddPart, RejectsLengthsThatDoNotFit) {
  for (const std::uint32_t length : {0U, 15U, 21U, 0x7FFFFFFFU, 0x80000000U, 0x80000014U, ~0U}) {
    Bytes part = Message(kType, 1).bytes();
    std::memcpy(part.data(), &length, sizeof(length));
    EXPECT_EQ(errorOf(part), "links: a netlink message is cut off") << length;
    EXPECT_THAT(payloadsIn({.bytes = part}), ElementsAre()) << length;
  }
}

TEST(AddPart, IgnoresWhatTheKernelDidNotSend) {
  NetlinkReply reply;
  const Bytes forged = joined({{kType, 1}, {NLMSG_DONE, 0}});
  for (const std::uint32_t sender : {1U, kPort, 4294967295U}) {
    EXPECT_EQ(addPart(kRequest, {.sender = sender, .bytes = forged}, reply), ReplyProgress::More);
    EXPECT_EQ(addPart(kRequest, {.sender = sender, .bytes = Bytes(1)}, reply), ReplyProgress::More);
  }
  EXPECT_THAT(payloadsIn(reply), ElementsAre());
}

TEST(AddPart, RejectsAMessageThatAnswersAnotherRequest) {
  const Bytes part = joined({{kType, 1}, {NLMSG_DONE, 0}});
  for (const NetlinkRequest& other :
       {NetlinkRequest{"links", kSequence + 1, kPort}, NetlinkRequest{"links", 0, kPort},
        NetlinkRequest{"links", kSequence, 0}, NetlinkRequest{"links", kSequence, kPort + 1}}) {
    NetlinkReply reply;
    try {
      static_cast<void>(addPart(other, {.sender = 0, .bytes = part}, reply));
      FAIL() << other.sequence << ' ' << other.port;
    } catch (const EnumerationError& error) {
      EXPECT_STREQ(error.what(), "links: a netlink message answers another request");
    }
    EXPECT_THAT(payloadsIn(reply), ElementsAre());
  }
}

TEST(PayloadOf, RejectsAMessageThatIsTooShort) {
  const Message message(kType, 7);
  EXPECT_EQ(payloadOf<int>(messageIn(message.bytes())), 7);
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(payloadOf<int>(messageIn(message.first(size)))),
                 EnumerationError);
  }
}

TEST(FindAttribute, FindsTheFirstOfItsType) {
  const Bytes bytes =
      Message(kType, 0).with(1, bytesOfText("odd")).with(2, 20).with(3, 30).with(2, 21).bytes();
  const nlattr* const found = findAttribute(messageIn(bytes), sizeof(int), 2);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(valueOf<int>(*found), 20);
  EXPECT_EQ(findAttribute(messageIn(bytes), sizeof(int), 4), nullptr);
}

TEST(FindAttribute, FindsNothingWithoutAttributes) {
  EXPECT_EQ(findAttribute(messageIn(Message(kType, 0).bytes()), sizeof(int), 0), nullptr);
}

TEST(FindAttribute, FindsNoAttributeThatIsCutOff) {
  const Message message = Message(kType, 0).with(1, 10).with(2, 20);
  const std::size_t endOfFirst = message.size() - sizeof(nlattr) - sizeof(int);
  for (std::size_t size = sizeof(nlmsghdr) + sizeof(int); size < message.size(); ++size) {
    const Bytes cut = message.first(size);
    EXPECT_EQ(findAttribute(messageIn(cut), sizeof(int), 1) != nullptr, size >= endOfFirst) << size;
    EXPECT_EQ(findAttribute(messageIn(cut), sizeof(int), 2), nullptr) << size;
  }
}

TEST(FindAttribute, StopsAtALengthThatDoesNotFit) {
  for (const auto length : std::to_array<std::uint16_t>({0, 3, 9, 65535})) {
    Bytes bytes = Message(kType, 0).with(1, 10).bytes();
    std::memcpy(&bytes[sizeof(nlmsghdr) + sizeof(int)], &length, sizeof(length));
    EXPECT_EQ(findAttribute(messageIn(bytes), sizeof(int), 1), nullptr) << length;
  }
}

// Returns the attribute 1 of a message.
const nlattr& attributeIn(const Bytes& bytes) {
  return *findAttribute(messageIn(bytes), sizeof(int), 1);
}

TEST(FindNestedAttribute, FindsTheFirstOfItsTypeInsideOnly) {
  const Bytes inner = attributes({{2, bytesOfText("odd")}, {3, bytesOfValue(30)}});
  const Bytes bytes = Message(kType, 0).with(1, inner).with(4, 40).bytes();
  const nlattr* const found = findNestedAttribute(attributeIn(bytes), 3);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(valueOf<int>(*found), 30);
  EXPECT_EQ(findNestedAttribute(attributeIn(bytes), 1), nullptr);
  EXPECT_EQ(findNestedAttribute(attributeIn(bytes), 4), nullptr);
  const Bytes empty = Message(kType, 0).with(1, Bytes{}).bytes();
  EXPECT_EQ(findNestedAttribute(attributeIn(empty), 0), nullptr);
}

TEST(FindNestedAttribute, FindsNoAttributeThatIsCutOff) {
  const Bytes inner = attributes({{2, bytesOfValue(20)}, {3, bytesOfText("end")}});
  const std::size_t endOfFirst = sizeof(nlattr) + sizeof(int);
  for (std::size_t size = 0; size < inner.size(); ++size) {
    const Bytes cut(inner.begin(), inner.begin() + static_cast<std::ptrdiff_t>(size));
    const Bytes bytes = Message(kType, 0).with(1, cut).bytes();
    EXPECT_EQ(findNestedAttribute(attributeIn(bytes), 2) != nullptr, size >= endOfFirst) << size;
    EXPECT_EQ(findNestedAttribute(attributeIn(bytes), 3), nullptr) << size;
  }
}

TEST(FindNestedAttribute, StopsAtALengthThatDoesNotFit) {
  for (const auto length : std::to_array<std::uint16_t>({0, 3, 9, 65535})) {
    Bytes inner = attributes({{2, bytesOfValue(20)}});
    std::memcpy(inner.data(), &length, sizeof(length));
    // The next attribute would complete it.
    const Bytes bytes = Message(kType, 0).with(1, inner).with(4, 40).bytes();
    EXPECT_EQ(findNestedAttribute(attributeIn(bytes), 2), nullptr) << length;
  }
}

TEST(ValueOf, RejectsAnAttributeThatIsTooShort) {
  for (const std::size_t size : {0U, 1U, 3U}) {
    const Bytes bytes = Message(kType, 0).with(1, Bytes(size)).bytes();
    EXPECT_THROW(static_cast<void>(valueOf<std::uint32_t>(attributeIn(bytes))), EnumerationError);
  }
  const Bytes longer = Message(kType, 0).with(1, std::array{7, 8}).bytes();
  EXPECT_EQ(valueOf<int>(attributeIn(longer)), 7);
}

TEST(TextOf, EndsAtTheFirstZeroByteOrWithTheAttribute) {
  using namespace std::string_view_literals;
  struct Row {
    std::string_view bytes;
    std::string_view text;
  };
  for (const Row& row : {Row{"eth0\0"sv, "eth0"}, Row{"eth0"sv, "eth0"}, Row{"a\0b\0"sv, "a"},
                         Row{"\0"sv, ""}, Row{""sv, ""}, Row{"\xFF\x1B"sv, "\xFF\x1B"}}) {
    const Bytes bytes = Message(kType, 0).with(1, bytesOfText(row.bytes)).bytes();
    EXPECT_EQ(textOf(attributeIn(bytes)), row.text);
  }
}

TEST(AddressText, FormatsBothFamilies) {
  EXPECT_EQ(addressText(AF_INET, bytesOfText("\xC0\x01\x02\x03")), "192.1.2.3");
  Bytes ipv6(16);
  ipv6.front() = std::byte{0xFD};
  ipv6.back() = std::byte{7};
  EXPECT_EQ(addressText(AF_INET6, ipv6), "fd00::7");
}

TEST(AddressText, FormatsMappedAddressesAsIpv4) {
  Bytes mapped(16);
  mapped[10] = mapped[11] = std::byte{0xFF};
  mapped[12] = std::byte{192};
  mapped[15] = std::byte{7};
  EXPECT_EQ(addressText(AF_INET6, mapped), "192.0.0.7");
  mapped[11] = std::byte{0xFE};
  EXPECT_EQ(addressText(AF_INET6, mapped), "::fffe:c000:7");
}

TEST(AddressText, RejectsTooFewBytes) {
  struct Row {
    int family;
    std::size_t size;
  };
  for (const Row& row : {Row{AF_INET, 4}, Row{AF_INET6, 16}}) {
    for (std::size_t size = 0; size < row.size; ++size) {
      EXPECT_THROW(static_cast<void>(addressText(row.family, Bytes(size))), EnumerationError);
    }
    EXPECT_NE(addressText(row.family, Bytes(row.size)), "");
  }
}

}  // namespace
}  // namespace egress::live
