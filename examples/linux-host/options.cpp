#include "examples/linux-host/options.h"

#include <algorithm>
#include <iostream>

#include <CLI/CLI.hpp>

#include "examples/linux-host/errors.h"
#include "examples/linux-host/text.h"

namespace linux_host {
namespace {

constexpr const char* kDescription =
    "Says through which network interface the local proxy engine's traffic to its active endpoint\n"
    "leaves this host, or why that cannot be told: as JSON, or in words with --explain.";

constexpr const char* kFooter = R"(
Example:
  egress-report --config config.json --answer proxy=answer.json --process engine --explain

Run it as root, or as the engine's user where the engine has no capabilities, in the engine's network
namespace.

Exit status:
  0  the interface was determined, or the policy makes it not applicable
  1  diagnosed, but the interface could not be determined
  2  could not run: a wrong option, an unreadable file, no such process)";

// Those that mean something only together.
struct RawOptions {
  std::vector<std::string> answers;
  std::vector<std::string> failedAnswers;
  std::optional<std::string> process;
  std::optional<std::string> processName;
};

// What the engine was told, and what it says.
void addEngineOptions(CLI::App& app, Options& options, RawOptions& raw) {
  app.add_option("--config", options.configPath,
                 "The engine's configuration, '-' for standard input; without it there is none.\n"
                 "Its main outbound must be tagged 'proxy'")
      ->type_name("FILE");
  app.add_option(
         "--answer", raw.answers,
         R"(What the engine answers about its selector TAG, such as {"now":"TAG"}; repeatable)")
      ->type_name("TAG=FILE")
      ->allow_extra_args(false);
  app.add_option("--answer-failed", raw.failedAnswers,
                 "The engine was asked about selector TAG and gave no answer; repeatable")
      ->type_name("TAG")
      ->allow_extra_args(false);
  app.add_option("--hint", options.hint, "Tag of the selector choice that was last known of")
      ->type_name("TAG");
}

// What is looked at, and what becomes of it.
void addSnapshotOptions(CLI::App& app, Options& options, RawOptions& raw) {
  auto* const pid =
      app.add_option("--pid", raw.process, "The process whose sockets count")->type_name("N");
  auto* const name =
      app.add_option("--process", raw.processName,
                     "All processes of this name instead, as in /proc/PID/comm; a name of more\n"
                     "than 15 bytes is that of the program's file, too")
          ->type_name("NAME")
          ->excludes(pid);
  app.add_option(
         "--snapshot", options.snapshotPath,
         "Diagnose a saved snapshot instead of this machine; --config, --answer and --hint\n"
         "then replace what it holds")
      ->type_name("FILE")
      ->excludes(pid)
      ->excludes(name);
  auto* const save = app.add_option("--save-snapshot", options.saveSnapshotPath,
                                    "Write everything that the diagnosis looked at to a file, too")
                         ->type_name("FILE");
  app.add_flag("--anonymize", options.anonymize,
               "Save it without addresses, names, tags and interface indexes, with the same report")
      ->needs(save);
  app.add_flag("--explain", options.explain, "Explain the report in words instead of JSON");
}

void addAnswer(Options& options, AnswerOption answer) {
  const auto isSame = [&answer](const AnswerOption& other) {
    return other.selectorTag == answer.selectorTag;
  };
  if (std::ranges::any_of(options.answers, isSame)) {
    throw CannotRun("--answer: selector '" + answer.selectorTag + "' has two answers");
  }
  options.answers.push_back(std::move(answer));
}

pid_t processNumberIn(const std::string& text) {
  const std::optional<pid_t> number = numberIn<pid_t>(text);
  if (!number || *number < 1) throw CannotRun("--pid: '" + text + "' is no number of a process");
  return *number;
}

void checkAndComplete(const RawOptions& raw, Options& options) {
  for (const std::string& answer : raw.answers) {
    const std::size_t equals = answer.rfind('=');  // a file can be renamed, a tag cannot
    if (equals == std::string::npos) throw CannotRun("--answer: '" + answer + "' has no '='");
    addAnswer(options,
              {.selectorTag = answer.substr(0, equals), .path = answer.substr(equals + 1)});
  }
  for (const std::string& tag : raw.failedAnswers) {
    addAnswer(options, {.selectorTag = tag, .path = std::nullopt});
  }
  if (raw.process) options.processes = processNumberIn(*raw.process);
  if (raw.processName) options.processes = *raw.processName;
  if (!options.processes && !options.snapshotPath) {
    throw CannotRun("whose sockets? give --pid, --process or --snapshot");
  }
}

}  // namespace

std::optional<Options> readOptions(int argumentCount, const char* const* arguments) {
  CLI::App app(kDescription, "egress-report");
  Options options;
  RawOptions raw;
  app.set_help_flag("--help", "Print this help");
  app.set_version_flag("--version", "egress-report " EGRESS_VERSION, "Print the version");
  app.footer(kFooter);
  addEngineOptions(app, options, raw);
  addSnapshotOptions(app, options, raw);
  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::Success& success) {  // --help, --version
    app.exit(success, std::cout, std::cout);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw CannotRun(std::string(error.what()) + "; see egress-report --help");
  }
  checkAndComplete(raw, options);
  return options;
}

}  // namespace linux_host
