// Replaces libmnl's functions for communication with the kernel and injects the fault in
// EGRESS_FAULT, "REQUEST:FAULT", for example "links:error". If it is unset, calls libmnl's own
// functions.

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <map>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>

#include <libmnl/libmnl.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

namespace {

std::string currentRequest;  // sent last
std::uint16_t currentType = 0;
std::map<std::string, int> requestCounts;  // by name
int partCount = 0;                         // parts of the current reply

bool isRequested(const std::string& request, std::string_view fault) {
  const char* const wanted = std::getenv("EGRESS_FAULT");
  return wanted != nullptr && request + ":" + std::string(fault) == wanted;
}

bool isRequested(std::string_view fault) {
  return isRequested(currentRequest, fault);
}

// libmnl's own function.
template <typename Function>
Function* real(Function& /*replaced*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string nameOf(const nlmsghdr& message) {
  const auto* const bytes = static_cast<const std::uint8_t*>(mnl_nlmsg_get_payload(&message));
  const std::string version = bytes[0] == AF_INET6 ? "6" : "4";
  switch (message.nlmsg_type) {
    case RTM_GETLINK: return "links";
    case RTM_GETADDR: return "addresses";
    case RTM_GETROUTE: return "routes" + version;
    default: return (bytes[1] == IPPROTO_TCP ? "tcp" : "udp") + version;
  }
}

// Builds a fake reply.
class Reply {
 public:
  explicit Reply(void* buffer) : buffer_(static_cast<char*>(buffer)) {}

  // Starts a message with `Payload` as its fixed-size header.
  template <typename Payload>
  Payload& add(int type) {
    message_ = mnl_nlmsg_put_header(buffer_ + size_);
    message_->nlmsg_type = static_cast<std::uint16_t>(type);
    auto* const payload = mnl_nlmsg_put_extra_header(message_, sizeof(Payload));
    size_ += message_->nlmsg_len;
    return *static_cast<Payload*>(payload);
  }

  void addAttribute(std::uint16_t type, std::size_t size, const void* value) {
    size_ -= message_->nlmsg_len;
    mnl_attr_put(message_, type, size, value);
    size_ += message_->nlmsg_len;
  }

  ssize_t end() {
    add<int>(NLMSG_DONE) = 0;
    return static_cast<ssize_t>(size_);
  }

  [[nodiscard]] ssize_t size() const { return static_cast<ssize_t>(size_); }

 private:
  char* buffer_;
  std::size_t size_ = 0;
  nlmsghdr* message_ = nullptr;
};

constexpr std::uint32_t kUnknownIndex = 999999;

// Writes a complete fake reply; returns 0 for other faults.
ssize_t fakeReply(void* buffer) {
  Reply reply(buffer);
  if (isRequested("error")) {
    reply.add<nlmsgerr>(NLMSG_ERROR).error = -EPERM;
    return reply.size();
  }
  if (isRequested("overrun")) {
    reply.add<int>(NLMSG_OVERRUN);
    return reply.size();
  }
  if (isRequested("short")) {
    reply.add<std::uint16_t>(currentType);
    return reply.end();
  }
  if (isRequested("unknown-interface") ||
      (isRequested("unknown-interface-once") && requestCounts[currentRequest] == 1)) {
    auto& address = reply.add<ifaddrmsg>(RTM_NEWADDR);
    address.ifa_family = AF_INET;
    address.ifa_index = kUnknownIndex;
    const in_addr value{};
    reply.addAttribute(IFA_LOCAL, sizeof(value), &value);
    return reply.end();
  }
  return 0;
}

// Modifies the kernel's reply.
void corrupt(void* buffer, ssize_t size) {
  int left = static_cast<int>(size);
  for (auto* message = static_cast<nlmsghdr*>(buffer); mnl_nlmsg_ok(message, left);
       message = mnl_nlmsg_next(message, &left)) {
    const bool isEnd = message->nlmsg_type == NLMSG_DONE;
    if (isRequested("interrupt") || (isRequested("interrupt-early") && !isEnd) ||
        (isRequested("interrupt-once") && requestCounts[currentRequest] == 1 && isEnd)) {
      message->nlmsg_flags |= NLM_F_DUMP_INTR;
    }
    if (isRequested("late-error") && isEnd) {
      *static_cast<int*>(mnl_nlmsg_get_payload(message)) = -ENOMEM;
    }
  }
}

}  // namespace

extern "C" {

mnl_socket* mnl_socket_open2(int bus, int flags) {
  if (isRequested(bus == NETLINK_ROUTE ? "route" : "diag", "open")) {
    errno = EPROTONOSUPPORT;
    return nullptr;
  }
  return real(mnl_socket_open2, "mnl_socket_open2")(bus, flags);
}

int mnl_socket_bind(mnl_socket* nl, unsigned groups, pid_t pid) {
  if (isRequested("any", "bind")) {
    errno = EACCES;
    return -1;
  }
  return real(mnl_socket_bind, "mnl_socket_bind")(nl, groups, pid);
}

ssize_t mnl_socket_sendto(const mnl_socket* nl, const void* req, std::size_t siz) {
  currentRequest = nameOf(*static_cast<const nlmsghdr*>(req));
  ++requestCounts[currentRequest];
  currentType = static_cast<const nlmsghdr*>(req)->nlmsg_type;
  partCount = 0;
  if (isRequested("send")) {
    errno = EPERM;
    return -1;
  }
  return real(mnl_socket_sendto, "mnl_socket_sendto")(nl, req, siz);
}

ssize_t mnl_socket_recvfrom(const mnl_socket* nl, void* buf, std::size_t siz) {
  ++partCount;
  if (isRequested("receive") || (isRequested("receive-late") && partCount > 1)) {
    errno = ENOBUFS;
    return -1;
  }
  if (isRequested("empty")) return 0;
  if (const ssize_t faked = fakeReply(buf); faked != 0) return faked;
  const ssize_t received = real(mnl_socket_recvfrom, "mnl_socket_recvfrom")(nl, buf, siz);
  if (received > 0) corrupt(buf, received);
  return received;
}

}  // extern "C"
