#include "apps/report/option_values.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <pwd.h>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "apps/report/files.h"
#include "egress/config/numeric_address.h"

namespace egress::report {
namespace {

void checkAnswers(const std::vector<AnswerOption>& answers) {
  std::unordered_set<std::string_view> tags;
  for (const AnswerOption& answer : answers) {
    if (tags.insert(answer.selectorTag).second) continue;
    throw CannotRun("--answer: selector '" + answer.selectorTag + "' has more than one answer");
  }
}

// Whether the whole text is a decimal number; stores it.
bool numberIn(const std::string& text, std::uint32_t& number) {
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && last == end;
}

std::uint32_t processIdIn(const std::string& text) {
  std::uint32_t number = 0;
  if (!numberIn(text, number) || number == 0) {
    throw CannotRun("--pid: '" + text + "' is not a process ID");
  }
  return number;
}

std::uint32_t userIn(const std::string& text) {
  constexpr std::uint32_t kNoUser = 0xFFFFFFFF;  // (uid_t)-1 of POSIX
  std::uint32_t number = 0;
  if (numberIn(text, number) && number != kNoUser) return number;
  const passwd* const entry = getpwnam(text.c_str());
  if (entry == nullptr) throw CannotRun("--user: no user '" + text + "'");
  return entry->pw_uid;
}

// In bytes, 0 if the text is not a size; units are powers of 1024. CLI11 alone would read "-1" as
// the largest number.
std::uint64_t bytesIn(std::string text) {
  if (text.find_first_of("0123456789") != 0) return 0;
  try {
    if (!CLI::AsSizeValue(/*kb_is_1000=*/false)(text).empty()) return 0;
  } catch (const CLI::ValidationError&) {
    return 0;
  }
  std::uint64_t bytes = 0;
  std::from_chars(text.data(), text.data() + text.size(), bytes);
  return bytes;
}

std::uint64_t sizeIn(const std::string& text) {
  const std::uint64_t size = bytesIn(text);
  if (size == 0) throw CannotRun("--max-file-size: '" + text + "' is not a size such as 64MiB");
  return size;
}

std::uint32_t secondsIn(const char* option, const std::string& text) {
  constexpr std::uint32_t kMax = 3600;
  std::uint32_t number = 0;
  if (!numberIn(text, number) || number == 0 || number > kMax) {
    throw CannotRun(std::string(option) + ": '" + text + "' is not a number of seconds from 1 to " +
                    std::to_string(kMax));
  }
  return number;
}

std::uint32_t millisecondsIn(const std::string& text) {
  constexpr double kMax = 60;
  double seconds = 0;
  const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  const bool isWhole = error == std::errc() && last == text.data() + text.size();
  if (!isWhole || !(seconds >= 0.001 && seconds <= kMax)) {
    throw CannotRun("--ask-timeout: '" + text + "' is not a number of seconds from 0.001 to 60");
  }
  return static_cast<std::uint32_t>(seconds * 1000);
}

std::optional<live::EngineAccess> accessIn(const RawOptions& raw) {
  if (!raw.askUrl) return std::nullopt;
  live::EngineAccess access;
  access.urlTemplate = *raw.askUrl;
  access.headers = raw.askHeaders;
  access.unixSocketPath = raw.askUnix.value_or("");
  if (raw.askUnix == "") throw CannotRun("--ask-unix: the path is empty");
  if (raw.askTimeout) access.timeoutMilliseconds = millisecondsIn(*raw.askTimeout);
  access.mayLeaveHost = raw.asksAnywhere;
  if (const auto problem = problemOf(access)) throw CannotRun("--ask: " + *problem);
  return access;
}

// Asks the system's resolver, in place of NAME=ADDRESS.
constexpr std::string_view kSystem = "system";

snapshot::ResolvedName resolvedNameIn(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw CannotRun("--resolve: '" + text + "' is neither NAME=ADDRESS nor 'system'");
  }
  const std::string address = text.substr(equals + 1);
  if (!parseNumericAddress(address).valid) {
    throw CannotRun("--resolve: '" + address + "' is not an address");
  }
  return {.name = text.substr(0, equals), .address = address};
}

Output outputIn(const RawOptions& raw) {
  if (raw.json.empty()) return raw.explain ? Output::EXPLAINED : Output::TEXT;
  for (const auto& [word, output] : kJsonWords) {
    if (raw.json == word) return output;
  }
  throw CannotRun("--json: '" + raw.json + "' is neither 'report' nor 'details'");
}

// Standard input has one content.
void checkStandardInput(const Options& options) {
  std::vector<std::string> readers;
  if (options.configPath == kStandardStream) readers.emplace_back("--config");
  if (options.snapshotPath == kStandardStream) readers.emplace_back("--snapshot");
  for (const std::string& path : options.snapshotPaths) {
    if (path == kStandardStream) readers.emplace_back("--snapshot");
  }
  if (options.snapshotListPath == kStandardStream) readers.emplace_back("--snapshots-from");
  if (options.answersPath == kStandardStream) readers.emplace_back("--answers");
  if (options.askHeaderPath == kStandardStream) readers.emplace_back("--ask-header-file");
  if (options.askCaPath == kStandardStream) readers.emplace_back("--ask-ca");
  for (const AnswerOption& answer : options.answers) {
    if (answer.path == kStandardStream) readers.emplace_back("--answer");
  }
  if (readers.size() > 1) {
    throw CannotRun(readers[0] + " and " + readers[1] + ": only one of them can read '-'");
  }
}

void checkStandardOutput(const Options& options) {
  if (options.saveSnapshotPath == kStandardStream && options.htmlPath == kStandardStream) {
    throw CannotRun("--save-snapshot and --html: only one of them can write '-'");
  }
}

}  // namespace

void checkAndComplete(const RawOptions& raw, Options& options) {
  for (const std::string& answer : raw.answers) {
    const std::size_t equals = answer.rfind('=');  // tags may contain '='
    if (equals == std::string::npos)
      throw CannotRun("--answer: '" + answer + "' is not of the form TAG=FILE");
    options.answers.push_back({answer.substr(0, equals), answer.substr(equals + 1)});
  }
  for (const std::string& tag : raw.failedAnswers) {
    options.answers.push_back({tag, std::nullopt});
  }
  checkAnswers(options.answers);
  if (raw.mainTag == "") throw CannotRun("--main: the tag is empty");
  options.mainTag = raw.mainTag.value_or("");
  options.access = accessIn(raw);
  for (const std::string& row : raw.resolve) {
    if (row == kSystem) continue;
    options.resolvedNames.push_back(resolvedNameIn(row));
  }
  options.asksSystemForNames = std::ranges::find(raw.resolve, kSystem) != raw.resolve.end();
  if (raw.process) options.processes = processIdIn(*raw.process);
  if (raw.processName) {
    live::ProcessName& chosen = options.processes.emplace().emplace<live::ProcessName>();
    chosen.name = *raw.processName;
    if (raw.user) chosen.user = userIn(*raw.user);
  }
  if (raw.maxFileSize) options.maxFileSize = sizeIn(*raw.maxFileSize);
  if (raw.observe) options.observeSeconds = secondsIn("--observe", *raw.observe);
  if (!raw.watch.empty()) options.watchSeconds = secondsIn("--watch", raw.watch);
  if (raw.udp) options.counted = snapshot::CountedSockets::TCP_AND_UDP;
  options.output = outputIn(raw);
  if (!options.processes && options.access) {
    if (auto listener = listenerOf(*options.access)) options.processes = *std::move(listener);
  }
  if (raw.snapshots.size() == 1) options.snapshotPath = raw.snapshots.front();
  if (raw.snapshots.size() > 1) options.snapshotPaths = raw.snapshots;
  const bool hasSnapshots = !raw.snapshots.empty() || options.snapshotListPath;
  if (!options.processes && !hasSnapshots) {
    throw CannotRun("one of --pid, --process, --snapshot and a local --ask is required");
  }
  checkStandardInput(options);
  checkStandardOutput(options);
}

}  // namespace egress::report
