// Reads any bytes as the options of egress-report, one word up to each zero byte. They are refused,
// answered by printing, or give options that can be used. "--option=VALUE" gives the same as
// "--option VALUE".

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <variant>
#include <vector>

#include <CLI/CLI.hpp>

#include "apps/report/described_options.h"
#include "apps/report/files.h"
#include "apps/report/options.h"
#include "egress/config/numeric_address.h"
#include "fuzz/captured_stream.h"
#include "fuzz/fuzz_target.h"

namespace egress::fuzz {
namespace {

using report::Options;
using Words = std::vector<std::string>;

// What became of the words.
struct Outcome {
  std::string refusal;
  std::string printed;
  std::optional<Options> options;
};

Outcome outcomeOf(const Words& words) {
  std::vector<const char*> arguments = {"egress-report"};
  for (const std::string& word : words) arguments.push_back(word.c_str());
  const Captured output(std::cout);
  Outcome outcome;
  try {
    outcome.options = report::readOptions(static_cast<int>(arguments.size()), arguments.data());
  } catch (const report::CannotRun& refusal) {
    outcome.refusal = refusal.what();
  }
  outcome.printed = output.text();
  return outcome;
}

// Which of several options that exclude another CLI11 names depends on their places in memory.
std::string_view reasonOf(std::string_view refusal) {
  return refusal.substr(0, refusal.find(" excludes "));
}

Words wordsIn(std::string_view bytes) {
  constexpr std::size_t kMaxWords = 64;
  Words words;
  while (!bytes.empty() && words.size() < kMaxWords) {
    const std::size_t zero = std::min(bytes.find('\0'), bytes.size());
    words.emplace_back(bytes.substr(0, zero));
    bytes.remove_prefix(std::min(zero + 1, bytes.size()));
  }
  return words;
}

bool takesValue(const std::string& word) {
  static const std::shared_ptr<const CLI::App> described = report::describedOptions();
  if (!word.starts_with("--")) return false;
  const CLI::Option* const option = described->get_option_no_throw(word);
  return option != nullptr && option->get_items_expected_max() > 0;
}

// The same words, with "--option=VALUE" in place of "--option VALUE".
Words joined(const Words& words) {
  Words result;
  for (std::size_t i = 0; i < words.size(); ++i) {
    result.push_back(words[i]);
    if (takesValue(words[i]) && i + 1 < words.size()) result.back() += "=" + words[++i];
  }
  return result;
}

void add(const std::optional<std::string>& value, Words& fields) {
  fields.push_back(value ? "'" + *value + "'" : "none");
}

template <typename Number>
void add(const std::optional<Number>& value, Words& fields) {
  fields.push_back(value ? std::to_string(*value) : "none");
}

void addAccess(const live::EngineAccess& access, Words& fields) {
  fields.insert(fields.end(), {access.urlTemplate, access.unixSocketPath, access.caCertificates});
  fields.insert(fields.end(), access.headers.begin(), access.headers.end());
  fields.push_back(std::to_string(access.timeoutMilliseconds));
  fields.push_back(std::to_string(static_cast<int>(access.mayLeaveHost)));
}

void addProcesses(const live::ProcessChoice& choice, Words& fields) {
  fields.push_back(std::to_string(choice.index()));
  if (const auto* const id = std::get_if<std::uint32_t>(&choice)) {
    fields.push_back(std::to_string(*id));
  } else if (const auto* const name = std::get_if<live::ProcessName>(&choice)) {
    fields.push_back(name->name);
    add(name->user, fields);
  } else {
    const auto& listener = std::get<live::Listener>(choice);
    fields.insert(fields.end(), {listener.unixSocketPath, listener.address});
    fields.push_back(std::to_string(listener.port));
  }
}

// The values of the options, to compare them.
Words fieldsOf(const Options& options) {
  Words fields = {options.mainTag};
  for (const auto& path :
       {options.configPath, options.answersPath, options.hint, options.askHeaderPath,
        options.askCaPath, options.snapshotPath, options.snapshotListPath, options.saveSnapshotPath,
        options.metricsPath}) {
    add(path, fields);
  }
  fields.insert(fields.end(), options.snapshotPaths.begin(), options.snapshotPaths.end());
  for (const report::AnswerOption& answer : options.answers) {
    fields.push_back(answer.selectorTag);
    add(answer.path, fields);
  }
  for (const snapshot::ResolvedName& row : options.resolvedNames) {
    fields.insert(fields.end(), {row.name, row.address});
  }
  if (options.access) addAccess(*options.access, fields);
  if (options.processes) addProcesses(*options.processes, fields);
  add(options.maxFileSize, fields);
  add(options.observeSeconds, fields);
  add(options.watchSeconds, fields);
  for (const bool flag : {options.isStrict, options.asksSystemForNames, options.anonymize}) {
    fields.emplace_back(flag ? "yes" : "no");
  }
  fields.push_back(std::to_string(static_cast<int>(options.counted)));
  fields.push_back(std::to_string(static_cast<int>(options.output)));
  return fields;
}

std::string violationOfSources(const Options& options) {
  const auto sources = static_cast<int>(options.processes.has_value()) +
                       static_cast<int>(options.snapshotPath.has_value()) +
                       static_cast<int>(!options.snapshotPaths.empty()) +
                       static_cast<int>(options.snapshotListPath.has_value());
  if (sources != 1) return std::to_string(sources) + " sources of snapshots";
  const auto* const id =
      options.processes ? std::get_if<std::uint32_t>(&*options.processes) : nullptr;
  if (id != nullptr && *id == 0) return "process 0";
  std::vector<std::optional<std::string>> paths = {options.configPath,  options.snapshotPath,
                                                   options.answersPath, options.askHeaderPath,
                                                   options.askCaPath,   options.snapshotListPath};
  paths.insert(paths.end(), options.snapshotPaths.begin(), options.snapshotPaths.end());
  for (const report::AnswerOption& answer : options.answers) paths.push_back(answer.path);
  if (std::ranges::count(paths, std::optional<std::string>("-")) > 1) {
    return "standard input is read more than once";
  }
  return {};
}

std::string violationOfValues(const Options& options) {
  std::unordered_set<std::string> tags;
  for (const report::AnswerOption& answer : options.answers) {
    if (!tags.insert(answer.selectorTag).second) return "two answers for a selector";
  }
  for (const snapshot::ResolvedName& row : options.resolvedNames) {
    if (row.name.empty() || !parseNumericAddress(row.address).valid)
      return "a name without address";
  }
  for (const auto& seconds : {options.observeSeconds, options.watchSeconds}) {
    if (seconds && (*seconds < 1 || *seconds > 3600)) {
      return "a time of " + std::to_string(*seconds) + " s";
    }
  }
  if (options.maxFileSize == 0U) return "no byte of a file may be read";
  if (!options.access) return {};
  const std::uint32_t timeout = options.access->timeoutMilliseconds;
  if (timeout < 1 || timeout > 60000) return "asks for " + std::to_string(timeout) + " ms";
  return problemOf(*options.access).value_or("");
}

}  // namespace

test::Violation check(std::string_view bytes) {
  const Words words = wordsIn(bytes);
  const Outcome outcome = outcomeOf(words);
  const int ways = static_cast<int>(!outcome.refusal.empty()) +
                   static_cast<int>(!outcome.printed.empty()) +
                   static_cast<int>(outcome.options.has_value());
  if (ways != 1) return "not one of refused, printed and accepted";
  const Outcome other = outcomeOf(joined(words));
  if (reasonOf(outcome.refusal) != reasonOf(other.refusal)) {
    return "without '=': " + outcome.refusal + "; with '=': " + other.refusal;
  }
  if (outcome.printed != other.printed) return "with '=': prints something else";
  if (!outcome.options) return {};
  if (fieldsOf(*outcome.options) != fieldsOf(*other.options)) return "with '=': other options";
  const std::string violation = violationOfSources(*outcome.options);
  return violation.empty() ? violationOfValues(*outcome.options) : violation;
}

}  // namespace egress::fuzz
