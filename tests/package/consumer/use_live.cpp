// Prints whether a snapshot of this process can be taken.

#include <cstdint>
#include <iostream>
#include <unistd.h>
#include <variant>

#include "egress_live/take_snapshot.h"

int main() {
  const auto result = egress::live::takeSnapshot(static_cast<std::uint32_t>(getpid()));
  const auto* const none = std::get_if<egress::live::NoProcess>(&result);
  std::cout << (none == nullptr ? "snapshot taken" : "no snapshot: " + none->message) << '\n';
}
