// Runs a fuzz target on files, without libFuzzer, with any compiler.
//
// Usage: PROGRAM FILE_OR_FOLDER...
// Exit status: 0 all laws hold, 1 a law was violated, 2 wrong usage, no file or unreadable file.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"

namespace {

namespace fs = std::filesystem;

// Sorted, so that the output is deterministic.
std::vector<fs::path> filesIn(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

// The exit status for one file.
int replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) {
    std::fprintf(stderr, "%s: cannot read file\n", path.c_str());
    return 2;
  }
  const auto violation = egress::fuzz::check(bytes);
  if (violation.empty()) return 0;
  std::fprintf(stderr, "%s: law violated: %s\n", path.c_str(), violation.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) std::ranges::move(filesIn(argv[i]), std::back_inserter(files));
  if (files.empty()) {
    std::fprintf(stderr, "usage: %s FILE_OR_FOLDER...; at least one file\n", argv[0]);
    return 2;
  }
  int worst = 0;
  for (const fs::path& path : files) worst = std::max(worst, replay(path));
  std::printf("%zu files replayed\n", files.size());
  return worst;
}
