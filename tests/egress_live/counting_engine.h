#ifndef EGRESS_TESTS_EGRESS_LIVE_COUNTING_ENGINE_H
#define EGRESS_TESTS_EGRESS_LIVE_COUNTING_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

#include "egress_snapshot/host_snapshot.h"

namespace egress::test {

// Answers each request "/NUMBER" on a connection with the choice NUMBER + 1, until the client or,
// after `most` answers, this function closes the connection.
void answerRequests(int connection, std::size_t most);

// Accepts one connection at a port of 127.0.0.1, and answers so.
class CountingEngine {
 public:
  CountingEngine();
  CountingEngine(const CountingEngine&) = delete;
  CountingEngine& operator=(const CountingEngine&) = delete;
  CountingEngine(CountingEngine&&) = delete;
  CountingEngine& operator=(CountingEngine&&) = delete;
  ~CountingEngine();

  [[nodiscard]] std::string urlTemplate() const;

 private:
  int listener_;
  std::uint32_t port_ = 0;
  std::thread thread_;
};

[[nodiscard]] Outbound selectorTagged(const std::string& tag);

// Selectors "1" to "20"; the walk starts at the first.
[[nodiscard]] snapshot::HostSnapshot selectorChain();

}  // namespace egress::test

#endif
