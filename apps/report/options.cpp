#include "apps/report/options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iostream>
#include <memory>
#include <pwd.h>
#include <string_view>
#include <unordered_set>
#include <utility>

#include <CLI/CLI.hpp>

#include "apps/report/described_options.h"
#include "apps/report/files.h"
#include "egress/config/numeric_address.h"
#include "egress/version.h"

namespace egress::report {
namespace {

constexpr const char* kDescription =
    "Says through which network interface the local proxy engine's traffic to its active endpoint\n"
    "leaves this host, or why that cannot be told. In place of a FILE, '-' is standard input or\n"
    "output.";

constexpr std::string_view kJsonOption = "--json";
constexpr auto kJsonWords = std::to_array<std::pair<std::string_view, Output>>(
    {{"report", Output::REPORT}, {"details", Output::DETAILS}});

constexpr const char* kFooter = R"(
Example:
  egress-report --config config.json --ask 'http://127.0.0.1:9090/proxies/{tag}' --resolve system

Run it as root, or as the engine's user if the engine has no capabilities.

Exit status:
  0  an interface is named, and nothing contradicts it
  1  no interface can be named, or the system contradicts the one that the report names
  2  error: an invalid option, an unreadable or unwritable file, no such process
  3  the sockets or the interfaces could not be listed, for example for lack of permission)";

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
  std::vector<std::string> resolve;
  std::optional<std::string> process;
  std::optional<std::string> processName;
  std::optional<std::string> user;
  std::optional<std::string> maxFileSize;
  std::optional<std::string> observe;
  std::string json;
  bool explain = false;
  bool udp = false;
};

CLI::Option* addRepeatable(CLI::App& app, const char* name, std::vector<std::string>& values,
                           const char* description) {
  return app.add_option(name, values, description)
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
}

void addEngineOptions(CLI::App& app, Options& options, RawOptions& raw) {
  app.add_option("--config", options.configPath,
                 "The engine's configuration. Comments and trailing commas are ignored")
      ->type_name("FILE");
  app.add_flag("--strict", options.isStrict, "Accept only JSON as a configuration");
  app.add_option("--main", raw.mainTag,
                 "The engine's main outbound, where the traffic enters; default 'proxy'")
      ->type_name("TAG");
  addRepeatable(app, "--answer", raw.answers,
                R"(The engine's answer for selector TAG, for example {"now":"CHOICE"}; repeatable)")
      ->type_name("TAG=FILE");
  app.add_option("--answers", options.answersPath,
                 R"(Several answers, for example {"TAG":{"now":"CHOICE"}})")
      ->type_name("FILE");
  addRepeatable(app, "--answer-failed", raw.failedAnswers,
                "Selector TAG was queried, but the engine did not answer; repeatable")
      ->type_name("TAG");
  app.add_option("--hint", options.hint, "Last known choice of the selector")->type_name("TAG");
}

void addAskOptions(CLI::App& app, Options& options, RawOptions& raw) {
  auto* const ask =
      app.add_option(
             "--ask", raw.askUrl,
             "Ask the engine over HTTP which outbound a selector uses: '{tag}' in the URL\n"
             "stands for the selector's tag. Without --pid and --process, the process that\n"
             "listens there is the engine")
          ->type_name("URL");
  addRepeatable(app, "--ask-header", raw.askHeaders,
                "Header for --ask; repeatable. Others see it in the list of processes")
      ->type_name("'NAME: VALUE'")
      ->needs(ask);
  app.add_option("--ask-header-file", options.askHeaderPath,
                 "Headers for --ask, one a line, for credentials")
      ->type_name("FILE")
      ->needs(ask);
  app.add_option("--ask-unix", raw.askUnix, "Unix socket in place of the URL's host and port")
      ->type_name("PATH")
      ->needs(ask);
  app.add_option("--ask-ca", options.askCaPath,
                 "Certificates (PEM) to check the engine's with, in place of the system's")
      ->type_name("FILE")
      ->needs(ask);
  app.add_option("--ask-timeout", raw.askTimeout, "Time limit of one query; default 2")
      ->type_name("SECONDS")
      ->needs(ask);
  app.add_flag("--ask-anywhere", raw.asksAnywhere, "Also ask at other than loopback addresses")
      ->needs(ask);
}

void addSnapshotOptions(CLI::App& app, Options& options, RawOptions& raw) {
  auto* const pid = app.add_option("--pid", raw.process, "The engine's process ID")->type_name("N");
  auto* const name =
      app.add_option(
             "--process", raw.processName,
             "The engine's process name, as in /proc/PID/comm; may match several processes.\n"
             "A name longer than 15 bytes must also match the executable's file name")
          ->type_name("NAME")
          ->excludes(pid);
  app.add_option("--user", raw.user,
                 "The user, a name or a number, who started the processes of --process: any user\n"
                 "may give any name to a process")
      ->type_name("USER")
      ->needs(name);
  app.add_option("--snapshot", options.snapshotPath,
                 "Diagnose a saved snapshot instead of this machine; --config, --main, --answer,\n"
                 "--resolve and --hint override what it contains")
      ->type_name("FILE")
      ->excludes(pid)
      ->excludes(name)
      ->excludes(app.get_option("--ask"));
  auto* const save = app.add_option("--save-snapshot", options.saveSnapshotPath,
                                    "Also write the complete input of the diagnosis to a file;\n"
                                    "'-' writes it instead of the report")
                         ->type_name("FILE");
  app.add_flag(
         "--anonymize", options.anonymize,
         "Replace addresses, names, tags and interface indexes in the saved file; the report\n"
         "stays the same")
      ->needs(save);
  app.add_option("--max-file-size", raw.maxFileSize,
                 "Read files of up to SIZE, for example 64MiB, in place of 16MiB for --config,\n"
                 "1MiB for --answer and 256MiB for --snapshot")
      ->type_name("SIZE");
}

void addLookOptions(CLI::App& app, RawOptions& raw) {
  auto* const snapshot = app.get_option("--snapshot");
  app.add_option("--observe", raw.observe,
                 "Watch the packets to the endpoint for this time. What is seen counts more than\n"
                 "what the system says. Needs root or CAP_NET_RAW")
      ->type_name("SECONDS")
      ->excludes(snapshot);
  app.add_flag("--udp", raw.udp, "Count UDP sockets to the endpoint, too");
  addRepeatable(
      app, "--resolve", raw.resolve,
      "ADDRESS stands for the server NAME; repeatable. 'system' asks the system's resolver")
      ->type_name("NAME=ADDRESS");
}

void addOutputOptions(CLI::App& app, RawOptions& raw) {
  auto* const json = app.add_flag("--json{report}", raw.json,
                                  "Print the report as JSON, without names and addresses;\n"
                                  "--json=details prints everything that was found out as JSON");
  app.add_flag("--explain", raw.explain, "Also explain every word of the report")->excludes(json);
}

// CLI11 shows "--json{report}", its notation for a flag that may have a value.
struct HelpFormatter : CLI::Formatter {
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    if (option->check_name(std::string(kJsonOption))) return "--json[=details]";
    return CLI::Formatter::make_option_name(option, isPositional);
  }
};

bool takesValue(const CLI::Option* option) {
  return option != nullptr && option->get_items_expected_max() > 0;
}

// Splits "--option=VALUE" into two words, because CLI11 2.1 takes the word after "--option=" as its
// value. A word that is the value of the option before it is left as it is.
std::vector<std::string> splitWords(const CLI::App& app, int count, const char* const* arguments) {
  std::vector<std::string> words;
  bool isValue = false;
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    const std::size_t equals = isValue ? std::string::npos : word.find('=');
    const CLI::Option* const option =
        isValue ? nullptr : app.get_option_no_throw(word.substr(0, equals));
    isValue = takesValue(option) && equals == std::string::npos;
    if (option == nullptr || equals == std::string::npos) {
      words.push_back(word);
      continue;
    }
    const std::string name = word.substr(0, equals);
    if (name == kJsonOption) {  // a flag that may have a value
      if (equals + 1 == word.size())
        throw CannotRun(name + ": '' is neither 'report' nor 'details'");
      words.push_back(word);
      continue;
    }
    if (!takesValue(option)) throw CannotRun(name + ": takes no value");
    words.push_back(name);
    words.push_back(word.substr(equals + 1));
  }
  return words;
}

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

std::uint32_t secondsIn(const std::string& text) {
  constexpr std::uint32_t kMax = 3600;
  std::uint32_t number = 0;
  if (!numberIn(text, number) || number == 0 || number > kMax) {
    throw CannotRun("--observe: '" + text + "' is not a number of seconds from 1 to " +
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
    if (row == "system")
      options.asksSystemForNames = true;
    else
      options.resolvedNames.push_back(resolvedNameIn(row));
  }
  if (raw.process) options.processes = processIdIn(*raw.process);
  if (raw.processName) {
    live::ProcessName& chosen = options.processes.emplace().emplace<live::ProcessName>();
    chosen.name = *raw.processName;
    if (raw.user) chosen.user = userIn(*raw.user);
  }
  if (raw.maxFileSize) options.maxFileSize = sizeIn(*raw.maxFileSize);
  if (raw.observe) options.observeSeconds = secondsIn(*raw.observe);
  if (raw.udp) options.counted = snapshot::CountedSockets::TCP_AND_UDP;
  options.output = outputIn(raw);
  if (!options.processes && options.access) {
    if (auto listener = listenerOf(*options.access)) options.processes = *std::move(listener);
  }
  if (!options.processes && !options.snapshotPath) {
    throw CannotRun("one of --pid, --process, --snapshot and a local --ask is required");
  }
  checkStandardInput(options);
}

// Parsing stores into `options` and `raw`.
void describe(CLI::App& app, Options& options, RawOptions& raw) {
  app.description(kDescription);
  app.name("egress-report");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Print this help");
  app.set_version_flag("--version", "egress-report " + std::string(kVersion), "Print the version");
  app.footer(kFooter);
  addEngineOptions(app, options, raw);
  addAskOptions(app, options, raw);
  addSnapshotOptions(app, options, raw);
  addLookOptions(app, raw);
  addOutputOptions(app, raw);
}

}  // namespace

std::shared_ptr<const CLI::App> describedOptions() {
  struct Described {
    Options options;
    RawOptions raw;
    CLI::App app;
  };
  const auto described = std::make_shared<Described>();
  describe(described->app, described->options, described->raw);
  return {described, &described->app};
}

std::vector<std::string> wordsOf(const CLI::Option& option) {
  std::vector<std::string> words;
  if (!option.check_name(std::string(kJsonOption))) return words;
  for (const auto& [word, output] : kJsonWords) words.emplace_back(word);
  return words;
}

std::optional<Options> readOptions(int argumentCount, const char* const* arguments) {
  CLI::App app;
  Options options;
  RawOptions raw;
  describe(app, options, raw);
  try {
    std::vector<std::string> words = splitWords(app, argumentCount, arguments);
    std::ranges::reverse(words);  // as CLI11 takes them
    app.parse(std::move(words));
  } catch (const CLI::Success& success) {  // --help, --version
    app.exit(success, std::cout, std::cout);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw CannotRun(std::string(error.what()) + "; see egress-report --help");
  }
  checkAndComplete(raw, options);
  return options;
}

}  // namespace egress::report
