// Replays files through one fuzz target without libFuzzer.
//
// Usage: PROGRAM FILE_OR_DIRECTORY...
// Exit status: 0 if all laws hold for every file, 1 if a law is broken, 2 if the usage is wrong or
// a file cannot be read.

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

// Sorted, so that the output is reproducible.
std::vector<fs::path> filesIn(const fs::path& path) {
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

// Returns the exit status for one file.
int replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) {
    std::fprintf(stderr, "cannot read '%s'\n", path.c_str());
    return 2;
  }
  const auto complaint = egress::fuzz::judge(bytes);
  if (complaint.empty()) return 0;
  std::fprintf(stderr, "%s: broken law: %s\n", path.c_str(), complaint.c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) std::ranges::move(filesIn(argv[i]), std::back_inserter(files));
  if (files.empty()) {
    std::fprintf(stderr, "usage: %s FILE_OR_DIRECTORY..., with at least one file\n", argv[0]);
    return 2;
  }
  int worst = 0;
  for (const fs::path& path : files) worst = std::max(worst, replay(path));
  std::printf("%zu files replayed\n", files.size());
  return worst;
}
