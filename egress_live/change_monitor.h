#ifndef EGRESS_LIVE_CHANGE_MONITOR_H
#define EGRESS_LIVE_CHANGE_MONITOR_H

#include <memory>
#include <string>

#include "egress_live/export.h"

namespace egress::live {

// Receives from the kernel that links, addresses, routes or routing rules changed, in the network
// namespace of the thread that creates it: the multicast groups of rtnetlink(7) on Linux. Needs no
// permission.
//
// Threads: one at a time may use a monitor; several may have one each.
class EGRESS_LIVE_EXPORT ChangeMonitor {
 public:
  // Subscribes. Throws only when memory runs out.
  ChangeMonitor();
  ChangeMonitor(const ChangeMonitor&) = delete;
  ChangeMonitor& operator=(const ChangeMonitor&) = delete;
  ~ChangeMonitor();

  // A file descriptor for poll(2) that is readable when something may have changed; -1 if there is
  // none. The monitor owns it.
  [[nodiscard]] int descriptor() const noexcept;

  // Why there is no descriptor, in words; empty: there is one.
  [[nodiscard]] const std::string& failureReason() const noexcept;

  // Receives all messages that have arrived, without waiting. Returns whether the kernel announced
  // anything since the last call, or had to drop messages. It also announces what changes no list
  // of a record, such as the renewed lifetime of an address. Messages of other processes are
  // ignored.
  [[nodiscard]] bool takeChanges();

 private:
  struct Socket;
  std::unique_ptr<Socket> socket_;
  std::string failureReason_;
};

}  // namespace egress::live

#endif
