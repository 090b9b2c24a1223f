#include "apps/report/saved_file.h"

#include <utility>

#include "apps/report/files.h"
#include "apps/report/text.h"

namespace egress::report {

SavedFile::SavedFile(OutputFile file) {
  tryTo([&] { file_.emplace(std::move(file)); });
}

void SavedFile::save(const std::function<void(const Sink&)>& produce) {
  if (!file_) return;
  tryTo([&] {
    produce([this](std::string_view text) { file_->write(text); });
    file_->commit();
  });
}

void SavedFile::tryTo(const std::function<void()>& step) {
  try {
    step();
  } catch (const CannotRun& error) {
    printError(error.what());
    hasFailed_ = true;
  }
}

}  // namespace egress::report
