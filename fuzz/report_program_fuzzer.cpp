// Runs egress-report, from main() on, on a saved snapshot and a configuration of any bytes. It
// prints a report that can be read again, or one line that says why it cannot run.
//
// The first byte chooses the options. What follows the first zero byte is the configuration.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <nlohmann/json.hpp>

#include "apps/report/rights.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"
#include "fuzz/captured_stream.h"
#include "fuzz/fuzz_target.h"

// main() of apps/report/main.cpp, which is compiled with this name.
int egressReportMain(int argc, char** argv);

namespace egress::report {

// Replaced, because the fuzzer runs main() again and again, and must be able to write what it
// finds.
bool isCalledByRoot() {
  return false;
}
void dropRights() {}

}  // namespace egress::report

namespace egress::fuzz {
namespace {

using Words = std::vector<std::string>;

const std::array<Words, 6> kOptions = {{{"--json"},
                                        {"--explain", "--udp"},
                                        {"--save-snapshot", "-"},
                                        {"--anonymize", "--save-snapshot", "-"},
                                        {"--json=details"},
                                        {}}};

// A file in memory.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes) : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
    const auto size = static_cast<ssize_t>(bytes.size());
    if (write(descriptor_, bytes.data(), bytes.size()) != size) std::abort();
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  MemoryFile(MemoryFile&&) = delete;
  MemoryFile& operator=(MemoryFile&&) = delete;
  ~MemoryFile() { close(descriptor_); }

  [[nodiscard]] std::string path() const { return "/dev/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

struct Run {
  int status = 0;
  std::string output;
  std::string error;
};

Run run(Words words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const Captured output(std::cout);
  const Captured error(std::cerr);
  const int status = egressReportMain(static_cast<int>(words.size()), arguments.data());
  return {.status = status, .output = output.text(), .error = error.text()};
}

bool isPrintableLines(const std::string& text) {
  return (text.empty() || text.ends_with('\n')) && std::ranges::all_of(text, [](char byte) {
           return byte == '\n' || (byte >= ' ' && byte <= '~');
         });
}

// Whether no character of a text for people controls a terminal. Those from U+0080 to U+009F do.
bool isText(const std::string& text) {
  char before = ' ';
  for (const char byte : text) {
    const auto code = static_cast<unsigned char>(byte);
    const bool isC1 = before == '\xC2' && code >= 0x80 && code < 0xA0;
    if ((code < ' ' && byte != '\n') || byte == '\x7F' || isC1) return false;
    before = byte;
  }
  return text.ends_with('\n');
}

bool isReadAgain(std::size_t options, const std::string& output) {
  switch (options) {
    case 0: return snapshot::reportFromJson(output).index() == 0;
    case 1: return output.find("\nselectionStatus: ") != std::string::npos && isText(output);
    case 4: return nlohmann::json::accept(output);
    case 5: return isText(output);
    default: return snapshot::snapshotFromJson(output).index() == 0;
  }
}

}  // namespace

test::Violation check(std::string_view bytes) {
  if (bytes.empty()) return {};
  const std::size_t options = static_cast<std::uint8_t>(bytes.front()) % kOptions.size();
  bytes.remove_prefix(1);
  const std::size_t zero = bytes.find('\0');
  const MemoryFile snapshot(bytes.substr(0, zero));
  const MemoryFile config(zero == std::string_view::npos ? "" : bytes.substr(zero + 1));
  Words words = {"egress-report", "--snapshot", snapshot.path()};
  if (zero != std::string_view::npos) words.insert(words.end(), {"--config", config.path()});
  words.insert(words.end(), kOptions.at(options).begin(), kOptions.at(options).end());
  const Run result = run(words);
  if (!isPrintableLines(result.error)) return "an error that is not printable: " + result.error;
  if (result.status == 2) {
    const bool isOneLine = std::ranges::count(result.error, '\n') == 1 && result.output.empty();
    return isOneLine ? "" : "cannot run, but printed " + result.output + result.error;
  }
  if (result.status < 0 || result.status > 3) return "another exit status";
  return isReadAgain(options, result.output) ? "" : "printed what cannot be read: " + result.output;
}

}  // namespace egress::fuzz
