#include "egress_live/curl/engine_client.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <netdb.h>
#include <new>
#include <string_view>
#include <sys/socket.h>
#include <utility>

#include "egress/config/numeric_address.h"
#include "egress_live/curl/connected_socket.h"

namespace egress::live {
namespace {

// libcurl must be initialised before the first use of any handle, once for the process.
CURLcode initialize() {
  static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
  return code;
}

// libcurl takes 0 for no limit.
long millisecondsIn(std::uint32_t timeout) {
  constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
  return static_cast<long>(std::clamp<std::uint32_t>(timeout, 1, kLargest));
}

// libcurl takes "NAME:" for the order to leave out a header, and "NAME;" for one without a value.
std::string headerLine(const std::string& header) {
  const std::size_t colon = header.find(':');
  const bool hasValue = header.find_first_not_of(" \t", colon + 1) != std::string::npos;
  return hasValue ? header : header.substr(0, colon) + ";";
}

std::string addressText(const sockaddr& address, std::size_t length) {
  std::array<char, NI_MAXHOST> text{};
  const auto bytes = static_cast<socklen_t>(length);
  const int error =
      getnameinfo(&address, bytes, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST);
  return error == 0 ? text.data() : std::string();
}

}  // namespace

EngineClient::EngineClient(const EngineAccess& access, const EngineUrl& url)
    : access_(access),
      peer_(access.unixSocketPath.empty() ? hostAndPortOf(url) : "'" + access.unixSocketPath + "'"),
      setup_(initialize()),
      connectedSocket_(url.scheme == "http" ? access.connectedSocket : -1) {
  if (setup_ != CURLE_OK) return;
  handle_.reset(curl_easy_init());
  if (!handle_) throw std::bad_alloc();
  setLimits();
  setPeer();
  setCallbacks();
}

template <typename Value>
void EngineClient::set(CURLoption option, Value value) {
  if (setup_ == CURLE_OK) setup_ = curl_easy_setopt(handle_.get(), option, value);
}

void EngineClient::addHeader(const std::string& line) {
  curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  static_cast<void>(headers_.release());  // its first element is that of the longer list
  headers_.reset(longer);
}

void EngineClient::setLimits() {
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_PATH_AS_IS, 1L);  // a tag may be ".."
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_PROXY, "");  // none, not even from the environment
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // do not wait for a resolver after the time limit
  set(CURLOPT_TIMEOUT_MS, millisecondsIn(access_.timeoutMilliseconds));
  set(CURLOPT_CONNECTTIMEOUT_MS, millisecondsIn(access_.timeoutMilliseconds));
}

void EngineClient::setPeer() {
  if (!access_.unixSocketPath.empty()) {
    set(CURLOPT_UNIX_SOCKET_PATH, access_.unixSocketPath.c_str());
  }
  if (!access_.caCertificates.empty()) {
    // libcurl only reads the text.
    curl_blob blob{.data = const_cast<char*>(access_.caCertificates.data()),
                   .len = access_.caCertificates.size(),
                   .flags = CURL_BLOB_COPY};
    set(CURLOPT_CAINFO_BLOB, &blob);
    set(CURLOPT_CAPATH, static_cast<char*>(nullptr));  // the system's, which would count as well
  }
  for (const std::string& header : access_.headers) addHeader(headerLine(header));
  set(CURLOPT_HTTPHEADER, headers_.get());
}

void EngineClient::setCallbacks() {
  set(CURLOPT_WRITEFUNCTION, &EngineClient::keepAnswer);
  set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  set(CURLOPT_OPENSOCKETFUNCTION, &EngineClient::openSocket);
  set(CURLOPT_OPENSOCKETDATA, static_cast<void*>(this));
  set(CURLOPT_PREREQFUNCTION, &EngineClient::replaceSocket);
  set(CURLOPT_PREREQDATA, static_cast<void*>(this));
}

QueryResult EngineClient::ask(const std::string& tag) {
  if (tag.size() > kMaxTagBytes) {
    return {.reason = "the selector's tag is too long for a URL"};
  }
  transfer_ = {.code = setup_, .peer = peer_, .timeoutMilliseconds = access_.timeoutMilliseconds};
  if (setup_ == CURLE_OK) {
    transfer_.code =
        curl_easy_setopt(handle_.get(), CURLOPT_URL, urlFor(access_.urlTemplate, tag).c_str());
  }
  if (transfer_.code == CURLE_OK) {
    transfer_.code = curl_easy_perform(handle_.get());
    // The engine may have closed the kept connection. libcurl connects again then, but only five
    // times in the life of a handle; then it fails, and counts from 0 again.
    if (transfer_.code == CURLE_SEND_ERROR && hasReusedConnection()) {
      transfer_.code = curl_easy_perform(handle_.get());
    }
    long status = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    transfer_.httpStatus = status;
    long error = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_OS_ERRNO, &error);
    transfer_.systemError = static_cast<int>(error);
  }
  if (isOutOfMemory_ || transfer_.code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
  return resultOf(transfer_);
}

bool EngineClient::hasReusedConnection() const {
  long newConnections = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_NUM_CONNECTS, &newConnections);
  return newConnections == 0;
}

std::size_t EngineClient::keepAnswer(const char* bytes, std::size_t size, std::size_t count,
                                     void* client) noexcept {
  auto& self = *static_cast<EngineClient*>(client);
  std::string& answer = self.transfer_.answer;
  self.transfer_.isTooLarge = size * count > kMaxAnswerBytes - answer.size();
  if (self.transfer_.isTooLarge) return 0;
  try {
    answer.append(bytes, size * count);
  } catch (const std::bad_alloc&) {
    self.isOutOfMemory_ = true;
    return 0;
  }
  return size * count;
}

curl_socket_t EngineClient::openSocket(void* client, curlsocktype /*purpose*/,
                                       curl_sockaddr* address) noexcept {
  auto& self = *static_cast<EngineClient*>(client);
  if (address->family != AF_UNIX && !self.access_.mayLeaveHost) {
    try {
      const std::string text = addressText(address->addr, address->addrlen);
      if (!isLoopback(parseNumericAddress(text))) {
        self.transfer_.refusedAddress = text;
        return CURL_SOCKET_BAD;
      }
    } catch (const std::bad_alloc&) {
      self.isOutOfMemory_ = true;
      return CURL_SOCKET_BAD;
    }
  }
  if (address->family == AF_UNIX && self.connectedSocket_ >= 0) {
    self.placeholder_ = openPlaceholder(*address);
    if (self.placeholder_ != CURL_SOCKET_BAD) return self.placeholder_;
  }
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

// Called when the connection is there, before each request.
int EngineClient::replaceSocket(void* client, char* /*remoteAddress*/, char* /*localAddress*/,
                                int /*remotePort*/, int /*localPort*/) noexcept {
  auto& self = *static_cast<EngineClient*>(client);
  const curl_socket_t placeholder = std::exchange(self.placeholder_, CURL_SOCKET_BAD);
  if (placeholder == CURL_SOCKET_BAD) return CURL_PREREQFUNC_OK;
  const int connected = std::exchange(self.connectedSocket_, -1);
  return replacePlaceholder(placeholder, connected) ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

}  // namespace egress::live
