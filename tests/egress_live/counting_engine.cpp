#include "tests/egress_live/counting_engine.h"

#include <arpa/inet.h>
#include <array>
#include <limits>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace egress::test {
namespace {

// One whole request, or what came before the client closed the connection.
std::string receiveRequest(int connection) {
  std::string request;
  std::array<char, 4096> bytes{};
  while (!request.ends_with("\r\n\r\n")) {
    const ssize_t count = recv(connection, bytes.data(), bytes.size(), 0);
    if (count <= 0) break;
    request.append(bytes.data(), static_cast<std::size_t>(count));
  }
  return request;
}

}  // namespace

void answerRequests(int connection, std::size_t most) {
  for (std::size_t answers = 0; answers < most; ++answers) {
    const std::string request = receiveRequest(connection);
    if (request.empty()) break;
    const int number = std::stoi(request.substr(std::string("GET /").size()));
    const std::string body = R"({"now": ")" + std::to_string(number + 1) + "\"}";
    const std::string answer =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    EXPECT_EQ(send(connection, answer.data(), answer.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(answer.size()));
  }
  close(connection);
}

CountingEngine::CountingEngine() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{
      .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  socklen_t size = sizeof(address);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  EXPECT_EQ(bind(listener_, generic, size), 0);
  EXPECT_EQ(getsockname(listener_, generic, &size), 0);
  EXPECT_EQ(listen(listener_, 1), 0);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] {
    answerRequests(accept(listener_, nullptr, nullptr), std::numeric_limits<std::size_t>::max());
  });
}

CountingEngine::~CountingEngine() {
  shutdown(listener_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

std::string CountingEngine::urlTemplate() const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/{tag}";
}

Outbound selectorTagged(const std::string& tag) {
  Outbound outbound;
  outbound.tag = tag;
  outbound.type = "selector";
  return outbound;
}

snapshot::HostSnapshot selectorChain() {
  snapshot::HostSnapshot snapshot;
  snapshot.mainTag = "1";
  snapshot.config.configStatus = ConfigStatus::OK;
  for (int i = 1; i <= 20; ++i) {
    snapshot.config.outbounds.push_back(selectorTagged(std::to_string(i)));
  }
  return snapshot;
}

}  // namespace egress::test
