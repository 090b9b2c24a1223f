#ifndef EGRESS_LIVE_CHANGE_MONITOR_H
#define EGRESS_LIVE_CHANGE_MONITOR_H

#include <string>

#include "egress_live/export.h"

namespace egress::live {

// Hears from the kernel that links, addresses, routes or routing rules of this network namespace
// changed: the netlink groups of RTNETLINK on Linux. Needs no permission.
//
// Threads: one at a time may use a monitor; several may have one each.
class EGRESS_LIVE_EXPORT ChangeMonitor {
 public:
  // Begins to listen. Throws only when memory runs out.
  ChangeMonitor();
  ChangeMonitor(const ChangeMonitor&) = delete;
  ChangeMonitor& operator=(const ChangeMonitor&) = delete;
  ~ChangeMonitor();

  // A file descriptor for poll(2) that is readable when something may have changed; -1 if there is
  // none. It stays the monitor's.
  [[nodiscard]] int descriptor() const noexcept;

  // Why there is no descriptor, in words; empty: there is one.
  [[nodiscard]] const std::string& failureReason() const noexcept;

  // Takes all messages that have arrived, without waiting. Returns whether something changed: true
  // also if the kernel had to drop messages, false for messages that only repeat what was known.
  [[nodiscard]] bool takeChanges();

 private:
  int descriptor_ = -1;
  std::string failureReason_;
};

}  // namespace egress::live

#endif
