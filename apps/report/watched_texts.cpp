#include "apps/report/watched_texts.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

#include "apps/report/files.h"
#include "apps/report/text.h"

namespace egress::report {
namespace {

bool canBeReadAgain(const InputFile& file) {
  std::error_code ignored;  // a file that is not there may be one later
  const auto kind = std::filesystem::status(file.path, ignored).type();
  return file.path != kStandardStream && (kind == std::filesystem::file_type::regular ||
                                          kind == std::filesystem::file_type::not_found);
}

// The content of a file, or nothing if it is to stay as it is.
std::optional<std::string> contentOf(const InputFile& file, bool isFirst) {
  if (isFirst) return textOf(file);
  if (!canBeReadAgain(file)) return std::nullopt;
  try {
    return textOf(file);
  } catch (const CannotRun& error) {
    printError(std::string(error.what()) + "; still using what it was");
    return std::nullopt;
  }
}

}  // namespace

std::size_t countOfTexts(const Options& options) {
  InputTexts none;
  return namedTexts(options, none).size();
}

std::uint64_t sizeLimitOfTexts(const Options& options) {
  constexpr std::uint64_t kMax = std::uint64_t{1} << 48U;
  InputTexts none;
  std::uint64_t size = 0;
  for (const NamedText& named : namedTexts(options, none)) {
    size = std::min(size + std::min(named.file.maxSize, kMax), kMax);
  }
  return size;
}

std::vector<std::string> readChanges(const Options& options, WatchedTexts& watched) {
  std::vector<std::string> changes;
  for (const NamedText& named : namedTexts(options, watched.texts)) {
    std::string& change = changes.emplace_back();
    std::optional<std::string> content = contentOf(named.file, !watched.areRead);
    if (!content || content == *named.text) continue;
    change = "=" + *content;
    *named.text = std::move(content);
  }
  watched.areRead = true;
  return changes;
}

void applyChanges(const Options& options, const std::vector<std::string>& changes,
                  WatchedTexts& watched) {
  std::size_t i = 0;
  for (const NamedText& named : namedTexts(options, watched.texts)) {
    const std::string& change = changes.at(i++);
    if (!change.empty()) *named.text = change.substr(1);
  }
  watched.areRead = true;
}

}  // namespace egress::report
