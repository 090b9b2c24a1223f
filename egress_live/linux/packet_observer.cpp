#include "egress_live/packet_observer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <poll.h>
#include <span>
#include <string>
#include <string_view>

#include <pcap/pcap.h>

#include "egress_live/linux/captured_packet.h"
#include "egress_live/linux/errors.h"
#include "egress_live/linux/packet_counts.h"
#include "egress_live/linux/packet_filter.h"
#include "egress_live/linux/stacked_interfaces.h"

namespace egress::live {
namespace {

using Clock = std::chrono::steady_clock;

// A few thousand packets, for the time between two readings.
constexpr int kBufferSize = 1 << 20;

struct CloseCapture {
  void operator()(pcap_t* capture) const noexcept { pcap_close(capture); }
};
using CaptureHandle = std::unique_ptr<pcap_t, CloseCapture>;

[[noreturn]] void fail(std::string_view reason) {
  throw EnumerationError(std::string("cannot capture packets: ").append(reason));
}

// What libpcap says about its last error.
[[noreturn]] void fail(const CaptureHandle& capture) {
  fail(pcap_geterr(capture.get()));
}

// On all interfaces, also those that are created later. libpcap sets the properties of a capture
// that is not active; that cannot fail then.
CaptureHandle createCapture() {
  std::array<char, PCAP_ERRBUF_SIZE> error{};
  CaptureHandle capture(pcap_create("any", error.data()));
  if (capture == nullptr) fail(error.data());
  pcap_set_snaplen(capture.get(), static_cast<int>(kCaptureSize));
  pcap_set_promisc(capture.get(), 0);
  pcap_set_immediate_mode(capture.get(), 1);
  pcap_set_buffer_size(capture.get(), kBufferSize);
  return capture;
}

void activate(const CaptureHandle& capture) {
  const int status = pcap_activate(capture.get());
  if (status == PCAP_ERROR_PERM_DENIED) fail("Operation not permitted; it needs CAP_NET_RAW");
  if (status < 0) fail(capture);
  std::array<char, PCAP_ERRBUF_SIZE> error{};
  if (pcap_setnonblock(capture.get(), 1, error.data()) != 0) fail(error.data());
  // The cooked header of version 1 does not name the interface.
  if (pcap_set_datalink(capture.get(), DLT_LINUX_SLL2) != 0) fail(capture);
}

// The next packet that is there, or nothing.
std::optional<std::span<const std::byte>> nextCaptured(const CaptureHandle& capture) {
  pcap_pkthdr* header = nullptr;
  const u_char* bytes = nullptr;
  const int status = pcap_next_ex(capture.get(), &header, &bytes);
  if (status < 0) fail(capture);
  if (status == 0) return std::nullopt;
  return std::as_bytes(std::span(bytes, header->caplen));
}

// Sets the filter that accepts nothing and drops what was captured under the one before.
void discardPackets(const CaptureHandle& capture) {
  bpf_insn nothing = BPF_STMT(BPF_RET | BPF_K, 0);
  bpf_program filter = {.bf_len = 1, .bf_insns = &nothing};
  if (pcap_setfilter(capture.get(), &filter) != 0) fail(capture);
  while (nextCaptured(capture)) {
  }
}

CaptureHandle openCapture() {
  CaptureHandle capture = createCapture();
  activate(capture);
  discardPackets(capture);
  return capture;
}

void setFilter(const CaptureHandle& capture, const std::string& text) {
  bpf_program filter{};
  if (pcap_compile(capture.get(), &filter, text.c_str(), 1, PCAP_NETMASK_UNKNOWN) != 0) {
    fail(capture);
  }
  const int status = pcap_setfilter(capture.get(), &filter);
  pcap_freecode(&filter);
  if (status != 0) fail(capture);
}

// Waits until a packet may be there or the deadline has passed.
void waitForPacket(const CaptureHandle& capture, Clock::time_point deadline) {
  using std::chrono::milliseconds;
  constexpr milliseconds kLongest = std::chrono::hours(1);  // fits into an int
  const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
  pollfd waiting = {.fd = pcap_get_selectable_fd(capture.get()), .events = POLLIN, .revents = 0};
  const auto timeout = static_cast<int>(std::clamp(left, milliseconds(0), kLongest).count());
  if (poll(&waiting, 1, timeout) < 0 && errno != EINTR) fail(withSystemError("poll"));
}

void countPackets(const CaptureHandle& capture, Clock::time_point deadline, PacketCounts& counts) {
  do {
    const auto captured = nextCaptured(capture);
    if (!captured) {
      waitForPacket(capture, deadline);
    } else if (const auto packet = packetIn(*captured)) {
      counts.add(*packet);
    }
  } while (Clock::now() < deadline);
}

}  // namespace

struct PacketObserver::Capture {
  CaptureHandle handle;  // nullptr if it cannot be opened
  std::string problem;   // then the reason
};

PacketObserver::PacketObserver() : capture_(std::make_unique<Capture>()) {
  try {
    capture_->handle = openCapture();
  } catch (const EnumerationError& error) {
    capture_->problem = error.what();
  }
}

PacketObserver::~PacketObserver() = default;

void PacketObserver::observe(const ActiveEndpoint& endpoint, std::uint32_t seconds,
                             snapshot::HostSnapshot& snapshot) {
  PacketCounts counts(endpoint, snapshot.sockets.rows);
  if (counts.isEmpty()) return;
  try {
    if (capture_->handle == nullptr) throw EnumerationError(capture_->problem);
    setFilter(capture_->handle, filterText(endpoint.address, endpoint.port));
    countPackets(capture_->handle, Clock::now() + std::chrono::seconds(seconds), counts);
    discardPackets(capture_->handle);
    if (counts.areOnSeveral()) counts.leaveUppermost(takeStackedInterfaces());
  } catch (const EnumerationError& error) {
    snapshot.missingFacts.push_back({.fact = snapshot::FactKind::PACKETS, .reason = error.what()});
    return;
  }
  counts.moveTo(snapshot.sockets.rows);
  snapshot.observedSeconds = seconds;
}

}  // namespace egress::live
