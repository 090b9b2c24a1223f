#ifndef EGRESS_REPORT_SAVED_FILE_H
#define EGRESS_REPORT_SAVED_FILE_H

#include <functional>
#include <optional>
#include <string_view>

#include "apps/report/new_file.h"

namespace egress::report {

// A file beside the report. If it cannot be written, that is said on standard error, and the report
// is printed all the same.
class SavedFile {
 public:
  explicit SavedFile(OutputFile file);

  // Calls `produce` with a function that takes the text in parts, and completes the file. To be
  // called once. What `produce` throws as CannotRun counts as a failure, too.
  using Sink = std::function<void(std::string_view)>;
  void save(const std::function<void(const Sink&)>& produce);

  [[nodiscard]] bool hasFailed() const { return hasFailed_; }

 private:
  void tryTo(const std::function<void()>& step);

  std::optional<NewFile> file_;
  bool hasFailed_ = false;
};

}  // namespace egress::report

#endif
