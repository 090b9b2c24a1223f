// Compares the include table of docs/architecture.md with the source files.

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace egress::test {
namespace {

namespace fs = std::filesystem;

using Includes = std::map<std::string, std::set<std::string>>;

const fs::path kSourceDir = EGRESS_SOURCE_DIR;
const std::set<std::string> kLibraryFolders = {"json", "config", "core"};

// Every header may include it, so the table omits it.
const std::string kExportHeader = "export";

// The standard headers that the library uses: none for I/O, clocks, threads or system calls.
const std::set<std::string> kStandardHeaders = {
    "algorithm", "array",    "charconv", "cstddef", "cstdint", "initializer_list",
    "limits",    "optional", "span",     "string",  "tuple",   "string_view",
    "utility",   "variant",  "vector"};

std::vector<std::string> linesOf(const fs::path& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file.is_open()) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// All parts of a line between `opening` and the next `closing`.
std::vector<std::string> between(const std::string& line, const std::string& opening,
                                 const std::string& closing) {
  std::vector<std::string> found;
  for (std::size_t at = line.find(opening); at != std::string::npos; at = line.find(opening, at)) {
    const std::size_t start = at + opening.size();
    const std::size_t end = line.find(closing, start);
    if (end == std::string::npos) break;
    found.push_back(line.substr(start, end - start));
    at = end + closing.size();
  }
  return found;
}

std::vector<fs::path> sourceFilesIn(const std::string& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(kSourceDir / "egress" / folder)) {
    files.push_back(entry.path());
  }
  EXPECT_FALSE(files.empty()) << folder;
  return files;
}

// The includes of this project's headers in one file, as "core/status_words".
std::set<std::string> ownIncludesOf(const fs::path& file) {
  std::set<std::string> includes;
  for (const std::string& line : linesOf(file)) {
    for (const std::string& include : between(line, "#include \"egress/", ".h\"")) {
      includes.insert(include);
    }
  }
  return includes;
}

Includes includesInSources() {
  Includes result;
  for (const std::string& folder : kLibraryFolders) {
    for (const fs::path& file : sourceFilesIn(folder)) {
      const std::string name = folder + "/" + file.stem().string();
      std::set<std::string> includes = ownIncludesOf(file);
      includes.erase(name);
      if (file.extension() == ".h") includes.erase(kExportHeader);
      result[name].merge(includes);
    }
  }
  return result;
}

Includes includesInDocumentation() {
  Includes result;
  for (const std::string& line : linesOf(kSourceDir / "docs" / "architecture.md")) {
    if (!line.starts_with("| `")) continue;
    const std::vector<std::string> names = between(line, "`", "`");
    result[names.front()] = {names.begin() + 1, names.end()};
  }
  return result;
}

TEST(Architecture, DocumentedIncludesMatchTheSources) {
  const Includes documented = includesInDocumentation();
  const Includes found = includesInSources();
  EXPECT_FALSE(found.empty());
  EXPECT_EQ(documented, found);
}

TEST(Architecture, TheExportHeaderIncludesNothing) {
  for (const std::string& line : linesOf(kSourceDir / "egress" / (kExportHeader + ".h"))) {
    EXPECT_FALSE(line.starts_with("#include")) << line;
  }
}

TEST(Architecture, IncludesAreAcyclic) {
  Includes rest = includesInSources();
  // Removes files that include none of the remaining ones until nothing changes.
  for (bool changed = true; changed;) {
    changed = std::erase_if(rest, [&rest](const auto& file) {
                return std::ranges::none_of(
                    file.second, [&rest](const std::string& name) { return rest.contains(name); });
              }) > 0;
  }
  EXPECT_EQ(rest, Includes{});
}

TEST(Architecture, TheLibraryUsesOnlyAllowedStandardHeaders) {
  for (const std::string& folder : kLibraryFolders) {
    for (const fs::path& file : sourceFilesIn(folder)) {
      for (const std::string& line : linesOf(file)) {
        for (const std::string& header : between(line, "#include <", ">")) {
          EXPECT_TRUE(kStandardHeaders.contains(header)) << file << " includes " << header;
        }
      }
    }
  }
}

TEST(Architecture, OnlyRunSelfCheckIncludesTheScenarios) {
  for (const fs::path& file : sourceFilesIn("selfcheck")) {
    if (file.filename() == "run_self_check.cpp") continue;
    for (const std::string& include : ownIncludesOf(file)) {
      EXPECT_FALSE(include.starts_with("scenarios/")) << file << " includes " << include;
    }
  }
}

// The installed headers, as "core/status_words".
std::set<std::string> publicHeaders() {
  std::set<std::string> headers;
  bool inList = false;
  for (const std::string& line : linesOf(kSourceDir / "egress" / "CMakeLists.txt")) {
    if (inList) {
      const std::size_t start = line.find_first_not_of(' ');
      headers.insert(line.substr(start, line.find(".h") - start));
    }
    if (line.ends_with(" FILES")) inList = true;
    if (inList && line.ends_with(")")) break;
  }
  return headers;
}

TEST(Architecture, TheUmbrellaHeaderIncludesEveryPublicHeader) {
  std::set<std::string> headers = publicHeaders();
  EXPECT_EQ(headers.erase("egress"), 1U);
  EXPECT_EQ(ownIncludesOf(kSourceDir / "egress" / "egress.h"), headers);
}

TEST(Architecture, PublicHeadersIncludeOnlyPublicHeaders) {
  const std::set<std::string> headers = publicHeaders();
  for (const std::string& header : headers) {
    for (const std::string& include : ownIncludesOf(kSourceDir / "egress" / (header + ".h"))) {
      EXPECT_TRUE(headers.contains(include)) << header << " includes " << include;
    }
  }
}

}  // namespace
}  // namespace egress::test
