#include "apps/report/html_page.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "apps/report/files.h"

namespace egress::report {
namespace {

constexpr const char* kName = "egress-viewer.html";
constexpr std::uint64_t kMaxPageSize = std::uint64_t{16} << 20U;

// The element that takes the snapshot.
constexpr std::string_view kOpening = R"(<script type="application/json" id="snapshot">)";
constexpr std::string_view kClosing = "</script>";

std::filesystem::path programFolder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw CannotRun("--html: cannot find this program in /proc: " + error.message());
  return program.parent_path();
}

std::filesystem::path pageFile() {
  const std::filesystem::path folder = programFolder();
  const std::filesystem::path installed = folder.parent_path() / "share" / "egress" / kName;
  for (const std::filesystem::path& file : {installed, folder / kName}) {
    std::error_code error;
    if (std::filesystem::exists(file, error)) return file;
  }
  throw CannotRun(
      "--html: '" + installed.string() +
      "' does not exist: scripts/wasm builds the page; install it, or copy it beside this program");
}

}  // namespace

HtmlPage readHtmlPage() {
  const std::string path = pageFile().string();
  const std::string text =
      textOf({.option = "--html", .path = path, .maxSize = kMaxPageSize, .mustBeRegular = true});
  const std::size_t opening = text.find(std::string(kOpening) + std::string(kClosing));
  if (opening == std::string::npos) {
    throw CannotRun("--html: '" + path + "' has no empty element for a snapshot");
  }
  const std::size_t place = opening + kOpening.size();
  return {.before = text.substr(0, place), .after = text.substr(place)};
}

void writeHtmlPage(const HtmlPage& page, const snapshot::HostSnapshot& snapshot,
                   const snapshot::TextSink& sink) {
  sink(page.before);
  writeSnapshot(snapshot, [&sink](std::string_view json) {
    // "</script>" and "<!--" would end the element or change how it is read. JSON has "<" only in
    // strings, where it may be escaped.
    for (std::size_t start = 0; start < json.size();) {
      const std::size_t end = std::min(json.find('<', start), json.size());
      sink(json.substr(start, end - start));
      if (end < json.size()) sink("\\u003c");
      start = end + 1;
    }
  });
  sink(page.after);
}

}  // namespace egress::report
