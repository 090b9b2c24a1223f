#ifndef EGRESS_TESTS_EGRESS_LIVE_FAKE_RESOLVER_H
#define EGRESS_TESTS_EGRESS_LIVE_FAKE_RESOLVER_H

#include <string>
#include <vector>

// The system's resolver, replaced for the whole program: it answers what a test has set, and asks
// no name server.

namespace egress::test {

struct FakeAnswer {
  int error = 0;                            // of getaddrinfo(3), for example EAI_NONAME
  int systemError = 0;                      // errno, with EAI_SYSTEM
  std::vector<std::string> addresses = {};  // numeric, "%1" behind one is the zone with this index
  bool isSilent = false;                    // answers only after the next call of setResolver()
};

// What each look-up gets from now on, whatever the name.
void setResolver(const FakeAnswer& answer);

// Waits until a look-up has begun since then. A test that does not wait for its look-up calls this
// at the end, or the look-up would come in the next test.
void waitForLookUp();

// The names that were looked up since then.
std::vector<std::string> lookedUpNames();

}  // namespace egress::test

#endif
