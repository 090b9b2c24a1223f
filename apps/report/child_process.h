#ifndef EGRESS_REPORT_CHILD_PROCESS_H
#define EGRESS_REPORT_CHILD_PROCESS_H

#include <functional>
#include <string>
#include <sys/types.h>

namespace egress::report {

// A child of this process that calls a function, sends its result through a pipe, and ends. No
// other thread may run when it is started.
class ChildProcess {
 public:
  // Throws CannotRun. An exception of the function ends the child.
  explicit ChildProcess(const std::function<std::string()>& function);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();  // as end()

  // Readable when something has arrived, and at the end.
  [[nodiscard]] int descriptor() const { return pipe_; }

  // Appends what has arrived, or waits for it. Returns whether there may be more.
  [[nodiscard]] bool receive(std::string& bytes) const;

  // Kills the child if it runs, and waits for it. Returns how it ended, in words.
  std::string end();

 private:
  int pipe_ = -1;
  pid_t process_ = -1;
};

}  // namespace egress::report

#endif
