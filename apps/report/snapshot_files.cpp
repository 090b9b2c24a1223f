#include "apps/report/snapshot_files.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <utility>

#include "apps/report/files.h"

namespace egress::report {
namespace {

namespace fs = std::filesystem;

// A system error gives false: reading the path says why it cannot be read.
bool isFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool isLink(const fs::directory_entry& entry) {
  std::error_code error;
  return entry.is_symlink(error);
}

// Sorts an entry of a folder into the folders that are left to list and the files.
void addEntry(const fs::directory_entry& entry, std::vector<fs::path>& folders,
              std::vector<std::string>& files) {
  if (isFolder(entry.path())) {
    if (!isLink(entry)) folders.push_back(entry.path());
    return;
  }
  if (entry.path().native().ends_with(".json")) files.push_back(entry.path().native());
}

// Without recursion: a stranger may have made the folders.
void addFolder(const std::string& path, SnapshotFiles& found) {
  std::vector<std::string> files;
  std::vector<fs::path> folders{path};
  while (!folders.empty()) {
    const fs::path folder = std::move(folders.back());
    folders.pop_back();
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
      addEntry(*entry, folders, files);
    }
    if (!error) continue;
    found.errors.push_back("--snapshot: cannot list '" + folder.native() + "': " + error.message());
  }
  std::ranges::sort(files);
  std::ranges::move(files, std::back_inserter(found.paths));
}

}  // namespace

SnapshotFiles filesAt(const std::vector<std::string>& paths) {
  SnapshotFiles found;
  for (const std::string& path : paths) {
    if (path != kStandardStream && isFolder(path)) {
      addFolder(path, found);
    } else {
      found.paths.push_back(path);
    }
  }
  return found;
}

std::vector<std::string> linesOf(std::string_view list) {
  if (list.find('\0') != std::string_view::npos) {
    throw CannotRun("--snapshots-from: the list has a NUL byte; write one path a line");
  }
  std::vector<std::string> lines;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find('\n'), list.size());
    const std::string_view line = list.substr(0, end);
    if (!line.empty()) lines.emplace_back(line == kStandardStream ? "./-" : line);
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return lines;
}

}  // namespace egress::report
