// Compares the tables of docs/architecture.md with the #include lines of the source files.

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

// The standard headers that the pure layers use: none for I/O, clocks, threads or system calls.
const std::set<std::string> kPureHeaders = {
    "algorithm", "array",       "charconv",   "concepts",
    "cstddef",   "cstdint",     "functional", "initializer_list",
    "limits",    "map",         "memory",     "optional",
    "set",       "span",        "string",     "string_view",
    "tuple",     "type_traits", "utility",    "variant",
    "vector"};

bool isSource(const fs::path& file) {
  return file.extension() == ".h" || file.extension() == ".cpp" || file.extension() == ".c";
}

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

// The rows of the tables in docs/architecture.md: of folders, whose names end in a slash, or of
// files.
Includes includesInDocumentation(bool ofFolders) {
  Includes result;
  for (const std::string& line : linesOf(kSourceDir / "docs" / "architecture.md")) {
    if (!line.starts_with("| `")) continue;
    const std::vector<std::string> names = between(line, "`", "`");
    if (names.front().ends_with('/') != ofFolders) continue;
    result[names.front()] = {names.begin() + 1, names.end()};
  }
  return result;
}

TEST(Architecture, DocumentedIncludesMatchTheSources) {
  const Includes documented = includesInDocumentation(/*ofFolders=*/false);
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

TEST(Architecture, TheLibraryUsesOnlyPureStandardHeaders) {
  for (const std::string& folder : kLibraryFolders) {
    for (const fs::path& file : sourceFilesIn(folder)) {
      for (const std::string& line : linesOf(file)) {
        for (const std::string& header : between(line, "#include <", ">")) {
          EXPECT_TRUE(kPureHeaders.contains(header)) << file << " includes " << header;
        }
      }
    }
  }
}

TEST(Architecture, TheCoreAndItsProgramIncludeNoOtherLayer) {
  for (const char* const folder : {"", "json", "config", "core", "selfcheck", "scenarios"}) {
    for (const fs::path& file : sourceFilesIn(folder)) {
      if (!isSource(file)) continue;
      for (const std::string& line : linesOf(file)) {
        for (const std::string& include : between(line, "#include \"", "\"")) {
          EXPECT_TRUE(include.starts_with("egress/")) << file << " includes " << include;
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

// The headers that a library installs, without ".h", for example "core/status_words".
std::set<std::string> publicHeaders(const std::string& library) {
  std::set<std::string> headers;
  bool inList = false;
  for (const std::string& line : linesOf(kSourceDir / library / "CMakeLists.txt")) {
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
  std::set<std::string> headers = publicHeaders("egress");
  EXPECT_EQ(headers.erase("egress"), 1U);
  EXPECT_EQ(ownIncludesOf(kSourceDir / "egress" / "egress.h"), headers);
}

TEST(Architecture, PublicHeadersIncludeOnlyPublicHeaders) {
  const std::set<std::string> headers = publicHeaders("egress");
  for (const std::string& header : headers) {
    for (const std::string& include : ownIncludesOf(kSourceDir / "egress" / (header + ".h"))) {
      EXPECT_TRUE(headers.contains(include)) << header << " includes " << include;
    }
  }
}

// The layers above the library.

const std::vector<std::string> kLibraries = {"egress", "egress_snapshot", "egress_live"};

// The source files of a folder of the table. Folders below it are other rows.
std::vector<fs::path> sourcesOf(const std::string& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(kSourceDir / folder)) {
    if (isSource(entry.path())) files.push_back(entry.path());
  }
  EXPECT_FALSE(files.empty()) << folder;
  return files;
}

// Whether a library has the header and does not install it; `include` is as in the #include line.
bool isInternalHeader(const std::string& include) {
  const std::string library = include.substr(0, include.find('/'));
  if (std::ranges::find(kLibraries, library) == kLibraries.end()) return false;
  const std::size_t start = library.size() + 1;
  return !publicHeaders(library).contains(include.substr(start, include.rfind(".h") - start));
}

TEST(Architecture, EachFolderIncludesOnlyWhatItsRowAllows) {
  for (const auto& row : includesInDocumentation(/*ofFolders=*/true)) {
    const std::string& folder = row.first;
    const auto isAllowed = [&row](const std::string& include) {
      return std::ranges::any_of(row.second, [&include](const std::string& prefix) {
        return include.starts_with(prefix);
      });
    };
    for (const fs::path& file : sourcesOf(folder)) {
      for (const std::string& line : linesOf(file)) {
        for (const std::string& include : between(line, "#include \"", "\"")) {
          if (include.starts_with(folder)) continue;
          EXPECT_TRUE(isAllowed(include)) << file << " includes " << include;
          EXPECT_FALSE(isInternalHeader(include)) << file << " includes the internal " << include;
        }
        for (const std::string& header : between(line, "#include <", ">")) {
          const bool isLibrary = header.find('/') != std::string::npos || header.ends_with(".h");
          EXPECT_TRUE(!isLibrary || isAllowed(header)) << file << " includes " << header;
        }
      }
    }
  }
}

TEST(Architecture, TheTableHasEveryFolderOfTheLayers) {
  std::set<std::string> folders;
  for (const char* const root :
       {"egress_snapshot", "egress_c", "egress_c_live", "egress_live", "apps", "examples"}) {
    for (const auto& entry : fs::recursive_directory_iterator(kSourceDir / root)) {
      if (!isSource(entry.path())) continue;
      const fs::path folder = fs::relative(entry.path().parent_path(), kSourceDir);
      folders.insert(folder.generic_string() + "/");
    }
  }
  std::set<std::string> documented;
  for (const auto& row : includesInDocumentation(/*ofFolders=*/true)) documented.insert(row.first);
  EXPECT_EQ(documented, folders);
}

// The headers of the layer that reads the system know no system.
TEST(Architecture, ThePureLayersUseOnlyPureStandardHeaders) {
  std::vector<fs::path> files = sourcesOf("egress_snapshot");
  for (const std::string& header : publicHeaders("egress_live")) {
    files.push_back(kSourceDir / "egress_live" / (header + ".h"));
  }
  for (const fs::path& file : files) {
    for (const std::string& line : linesOf(file)) {
      for (const std::string& header : between(line, "#include <", ">")) {
        if (header.starts_with("nlohmann/")) continue;  // the table says who may
        EXPECT_TRUE(kPureHeaders.contains(header)) << file << " includes " << header;
      }
    }
  }
}

// Platforms are folders that the build chooses.
TEST(Architecture, SharedFilesHaveNoConditionalCode) {
  for (const auto& row : includesInDocumentation(/*ofFolders=*/true)) {
    for (const fs::path& file : sourcesOf(row.first)) {
      if (file.filename() == "export.h") continue;
      // They ask for the language, how to export, and whether there are exceptions.
      if (row.first.starts_with("egress_c") && file.extension() == ".h") continue;
      for (const std::string& line : linesOf(file)) {
        const bool isGuard = line.starts_with("#ifndef EGRESS_") && line.ends_with("_H");
        EXPECT_TRUE(!line.starts_with("#if") || isGuard) << file << ": " << line;
      }
    }
  }
}

}  // namespace
}  // namespace egress::test
