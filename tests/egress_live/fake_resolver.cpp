#include "tests/egress_live/fake_resolver.h"

#include <arpa/inet.h>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace egress::test {
namespace {

struct Resolver {
  std::mutex mutex;
  std::condition_variable wasSet;
  std::condition_variable wasAsked;
  FakeAnswer answer;
  std::vector<std::string> names;
  std::uint32_t generation = 0;  // how often the answer was set
};

// Never destroyed, because a look-up may outlast the tests.
Resolver& resolver() {
  static auto* const instance = new Resolver;
  return *instance;
}

FakeAnswer lookUp(const char* name) {
  Resolver& state = resolver();
  std::unique_lock lock(state.mutex);
  state.names.emplace_back(name);
  state.wasAsked.notify_all();
  FakeAnswer answer = state.answer;
  const std::uint32_t generation = state.generation;
  if (answer.isSilent) {
    state.wasSet.wait(lock, [&] { return state.generation != generation; });
  }
  return answer;
}

// One row with its address behind it, in one allocation.
struct OwnedRow {
  addrinfo row;
  sockaddr_storage address;
};

addrinfo* rowFor(const std::string& text) {
  auto* const owned = new OwnedRow{};
  const std::size_t zone = text.find('%');
  const std::string numeric = text.substr(0, zone);
  sockaddr_in address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {}, .sin_zero = {}};
  if (inet_pton(AF_INET, numeric.c_str(), &address.sin_addr) == 1) {
    std::memcpy(&owned->address, &address, sizeof(address));
    owned->row.ai_addrlen = sizeof(address);
  } else {
    sockaddr_in6 address6{};
    address6.sin6_family = AF_INET6;
    inet_pton(AF_INET6, numeric.c_str(), &address6.sin6_addr);
    if (zone != std::string::npos) {
      address6.sin6_scope_id = static_cast<std::uint32_t>(std::stoul(text.substr(zone + 1)));
    }
    std::memcpy(&owned->address, &address6, sizeof(address6));
    owned->row.ai_addrlen = sizeof(address6);
  }
  owned->row.ai_addr = reinterpret_cast<sockaddr*>(&owned->address);
  owned->row.ai_family = owned->address.ss_family;
  owned->row.ai_socktype = SOCK_STREAM;
  return &owned->row;
}

}  // namespace

void setResolver(const FakeAnswer& answer) {
  Resolver& state = resolver();
  const std::lock_guard lock(state.mutex);
  state.answer = answer;
  state.names.clear();
  ++state.generation;
  state.wasSet.notify_all();
}

void waitForLookUp() {
  Resolver& state = resolver();
  std::unique_lock lock(state.mutex);
  state.wasAsked.wait(lock, [&state] { return !state.names.empty(); });
}

std::vector<std::string> lookedUpNames() {
  Resolver& state = resolver();
  const std::lock_guard lock(state.mutex);
  return state.names;
}

}  // namespace egress::test

// The names of the parameters are those of netdb.h.
extern "C" int getaddrinfo(const char* name, const char* /*service*/, const addrinfo* /*req*/,
                           addrinfo** pai) {
  const egress::test::FakeAnswer answer = egress::test::lookUp(name);
  addrinfo** end = pai;
  *end = nullptr;
  for (const std::string& address : answer.addresses) {
    *end = egress::test::rowFor(address);
    end = &(*end)->ai_next;
  }
  errno = answer.systemError;
  return answer.error;
}

extern "C" void freeaddrinfo(addrinfo* ai) noexcept {
  while (ai != nullptr) {
    const std::unique_ptr<egress::test::OwnedRow> owner(
        reinterpret_cast<egress::test::OwnedRow*>(ai));
    ai = ai->ai_next;
  }
}
