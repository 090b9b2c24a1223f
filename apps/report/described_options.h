#ifndef EGRESS_REPORT_DESCRIBED_OPTIONS_H
#define EGRESS_REPORT_DESCRIBED_OPTIONS_H

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "apps/report/options.h"

namespace egress::report {

// Option values before validation.
struct RawOptions {
  std::vector<std::string> answers;
  std::vector<std::string> failedAnswers;
  std::optional<std::string> mainTag;
  std::optional<std::string> askUrl;
  std::vector<std::string> askHeaders;
  std::optional<std::string> askUnix;
  std::optional<std::string> askTimeout;
  bool asksAnywhere = false;
  std::vector<std::string> snapshots;
  std::vector<std::string> resolve;
  std::optional<std::string> process;
  std::optional<std::string> processName;
  std::optional<std::string> user;
  std::optional<std::string> maxFileSize;
  std::optional<std::string> observe;
  std::string watch;
  std::string json;
  bool explain = false;
  bool udp = false;
};

// The flags that may have a value. That of --json is one of these words; the first stands for none.
inline constexpr std::string_view kWatchOption = "--watch";
inline constexpr std::string_view kJsonOption = "--json";
inline constexpr auto kJsonWords = std::to_array<std::pair<std::string_view, Output>>(
    {{"report", Output::REPORT}, {"details", Output::DETAILS}});

// Describes the options to CLI11, which stores into `options` and `raw` when it parses.
void describeOptions(CLI::App& app, Options& options, RawOptions& raw);

// The same without a place to store into, for what is made from the description at build time.
[[nodiscard]] std::shared_ptr<const CLI::App> describedOptions();

// The words that the value of this option may be, if that is a closed list. The value is optional,
// follows the option's name and "=", and is the first word if it is left out.
[[nodiscard]] std::vector<std::string> wordsOf(const CLI::Option& option);

}  // namespace egress::report

#endif
