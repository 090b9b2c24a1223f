#ifndef EGRESS_REPORT_WATCH_EVENTS_H
#define EGRESS_REPORT_WATCH_EVENTS_H

#include <chrono>
#include <cstdint>
#include <string_view>

namespace egress::report {

using Moment = std::chrono::steady_clock::time_point;

// Blocks SIGINT and SIGTERM, unless the caller of the program ignores them, and ignores SIGPIPE, so
// that writing fails in its place. Returns a descriptor that is readable once one of the two has
// arrived; the caller owns it. Throws CannotRun.
[[nodiscard]] int blockStopSignals();

enum class Event : std::uint8_t {
  STOP,   // SIGINT or SIGTERM has arrived
  READY,  // the descriptor is readable, or at its end
  TIME,   // the moment has come
};

// Waits for the first event; nothing is read. `descriptor` is ignored if it is negative. Throws
// CannotRun, and std::system_error if nobody reads standard output any more.
[[nodiscard]] Event waitForEvent(int stopDescriptor, int descriptor, Moment moment);

// Writes the text to standard output. Returns false if SIGINT or SIGTERM arrives before all of it
// can be written. Throws std::system_error.
[[nodiscard]] bool writeUnlessStopped(int stopDescriptor, std::string_view text);

}  // namespace egress::report

#endif
