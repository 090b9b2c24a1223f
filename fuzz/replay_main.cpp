// Runs one fuzz target over files of bytes, without a fuzzer, with any compiler.
//
// Usage: PROGRAM FILE_OR_FOLDER...
// Exit status: 0 every law held on at least one file, 1 a law was broken, 2 wrong usage, or nothing
// to read.

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

// Sorted, so that two runs print the same.
std::vector<fs::path> filesIn(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

// Whether the file could be read and the laws hold on it.
int replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) {
    std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
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
    std::fprintf(stderr, "usage: %s FILE_OR_FOLDER...; at least one file\n", argv[0]);
    return 2;
  }
  int worst = 0;
  for (const fs::path& path : files) worst = std::max(worst, replay(path));
  std::printf("%zu files replayed\n", files.size());
  return worst;
}
