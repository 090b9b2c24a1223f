// Replaces the functions for communication with the kernel, libmnl's and recvfrom, and injects the
// fault in EGRESS_FAULT, "REQUEST:FAULT", for example "links:error". If it is unset, calls the
// functions that it replaces.

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <map>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/socket.h>

#include <libmnl/libmnl.h>
#include <linux/if_addr.h>
#include <linux/inet_diag.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>

namespace {

std::string currentRequest;  // sent last
nlmsghdr currentHeader = {};
unsigned currentPort = 0;
std::map<std::string, int> requestCounts;  // by name
int partCount = 0;                         // parts of the current reply

bool isRequested(const std::string& request, std::string_view fault) {
  const char* const wanted = std::getenv("EGRESS_FAULT");
  return wanted != nullptr && request + ":" + std::string(fault) == wanted;
}

bool isRequested(std::string_view fault) {
  return isRequested(currentRequest, fault);
}

// The error number in the fault "error" or, for all requests but the first, "error-later", EPERM,
// or "error-NUMBER"; 0: another fault.
int requestedError() {
  constexpr int kMostErrors = 134;
  if (isRequested("error")) return EPERM;
  if (isRequested("error-later") && requestCounts[currentRequest] > 1) return EPERM;
  for (int error = 1; error < kMostErrors; ++error) {
    if (isRequested("error-" + std::to_string(error))) return error;
  }
  return 0;
}

// The function that is replaced.
template <typename Function>
Function* real(Function& /*replaced*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string nameOfSockets(const void* payload) {
  const auto& request = *static_cast<const inet_diag_req_v2*>(payload);
  if (request.sdiag_family == AF_UNIX) return "unix";
  const char* const version = request.sdiag_family == AF_INET6 ? "6" : "4";
  if (request.sdiag_protocol == IPPROTO_UDP) return std::string("udp") + version;
  const bool isListening = request.idiag_states == 1U << TCP_LISTEN;
  return std::string(isListening ? "listening" : "tcp") + version;
}

std::string nameOf(const nlmsghdr& message) {
  const auto* const bytes = static_cast<const std::uint8_t*>(mnl_nlmsg_get_payload(&message));
  const std::string version = bytes[0] == AF_INET6 ? "6" : "4";
  switch (message.nlmsg_type) {
    case RTM_GETLINK: return "links";
    case RTM_GETADDR: return "addresses";
    case RTM_GETROUTE:
      return ((message.nlmsg_flags & NLM_F_DUMP) != 0 ? "routes" : "look-up") + version;
    case RTM_GETRULE: return "rules" + version;
    case RTM_GETNEXTHOP: return "next-hops";
    default: return nameOfSockets(bytes);
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
    message_->nlmsg_seq = currentHeader.nlmsg_seq;
    message_->nlmsg_pid = currentPort;
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
  if (const int error = requestedError(); error != 0) {
    reply.add<nlmsgerr>(NLMSG_ERROR).error = -error;
    return reply.size();
  }
  if (isRequested("no-interface")) {
    reply.add<rtmsg>(RTM_NEWROUTE).rtm_family = AF_INET;
    return reply.size();
  }
  if (isRequested("overrun")) {
    reply.add<int>(NLMSG_OVERRUN);
    return reply.size();
  }
  if (isRequested("short")) {
    reply.add<std::uint16_t>(currentHeader.nlmsg_type);
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
  if (isRequested("unknown-next-hop") ||
      (isRequested("unknown-next-hop-once") && requestCounts[currentRequest] == 1)) {
    auto& route = reply.add<rtmsg>(RTM_NEWROUTE);
    route.rtm_family = AF_INET;
    route.rtm_type = RTN_UNICAST;
    reply.addAttribute(RTA_NH_ID, sizeof(kUnknownIndex), &kUnknownIndex);
    return reply.end();
  }
  return 0;
}

// Sends a reply without any row to the socket of the request, as any process of this network
// namespace with CAP_NET_ADMIN may.
void forgeReply(const mnl_socket& target, int bus) {
  alignas(nlmsghdr) std::array<char, 256> buffer{};
  Reply reply(buffer.data());
  const auto size = static_cast<std::size_t>(reply.end());
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_pid = mnl_socket_get_portid(&target);
  mnl_socket* const sender = mnl_socket_open2(bus, SOCK_CLOEXEC);
  const ssize_t sent = sendto(mnl_socket_get_fd(sender), buffer.data(), size, 0,
                              reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  if (sent < 0) std::fputs("cannot forge a reply\n", stderr);
  mnl_socket_close(sender);
}

// Hides the mark of a socket, as the kernel does without CAP_NET_ADMIN.
void hideMark(nlmsghdr& message) {
  constexpr std::uint16_t kUnknownAttribute = 999;
  auto* const first = static_cast<std::uint8_t*>(mnl_nlmsg_get_payload(&message));
  auto* const end = static_cast<std::uint8_t*>(mnl_nlmsg_get_payload_tail(&message));
  auto* attribute = reinterpret_cast<nlattr*>(first + sizeof(inet_diag_msg));
  while (
      mnl_attr_ok(attribute, static_cast<int>(end - reinterpret_cast<std::uint8_t*>(attribute)))) {
    if (mnl_attr_get_type(attribute) == INET_DIAG_MARK) attribute->nla_type = kUnknownAttribute;
    attribute = mnl_attr_next(attribute);
  }
}

// Modifies the kernel's reply.
void corrupt(void* buffer, ssize_t size) {
  int left = static_cast<int>(size);
  for (auto* message = static_cast<nlmsghdr*>(buffer); mnl_nlmsg_ok(message, left);
       message = mnl_nlmsg_next(message, &left)) {
    const bool isEnd =
        message->nlmsg_type == NLMSG_DONE || (message->nlmsg_flags & NLM_F_MULTI) == 0;
    if (isRequested("interrupt") || (isRequested("interrupt-early") && !isEnd) ||
        (isRequested("interrupt-once") && requestCounts[currentRequest] == 1 && isEnd)) {
      message->nlmsg_flags |= NLM_F_DUMP_INTR;
    }
    if (isRequested("other-sequence")) ++message->nlmsg_seq;
    if (isRequested("other-port") && isEnd) ++message->nlmsg_pid;
    if (isRequested("late-error") && isEnd) {
      *static_cast<int*>(mnl_nlmsg_get_payload(message)) = -ENOMEM;
    }
    if (isRequested("no-mark") && !isEnd) hideMark(*message);
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
  currentHeader = *static_cast<const nlmsghdr*>(req);
  currentRequest = nameOf(*static_cast<const nlmsghdr*>(req));
  currentPort = mnl_socket_get_portid(nl);
  ++requestCounts[currentRequest];
  partCount = 0;
  if (isRequested("forged")) {
    forgeReply(*nl,
               currentHeader.nlmsg_type == SOCK_DIAG_BY_FAMILY ? NETLINK_SOCK_DIAG : NETLINK_ROUTE);
  }
  if (isRequested("send")) {
    errno = EPERM;
    return -1;
  }
  return real(mnl_socket_sendto, "mnl_socket_sendto")(nl, req, siz);
}

ssize_t recvfrom(int fd, void* buf, std::size_t n, int flags, sockaddr* addr, socklen_t* addr_len) {
  ++partCount;
  if (isRequested("receive") || (isRequested("receive-late") && partCount > 1)) {
    errno = ENOBUFS;
    return -1;
  }
  const auto replaced = real(recvfrom, "recvfrom");
  const ssize_t received = replaced(fd, buf, n, flags, addr, addr_len);
  if (isRequested("empty")) return 0;
  if (isRequested("truncated")) return static_cast<ssize_t>(n) + 1;
  if (const ssize_t faked = fakeReply(buf); faked != 0) return faked;
  if (received > 0) corrupt(buf, received);
  return received;
}

}  // extern "C"
