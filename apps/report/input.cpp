#include "apps/report/input.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>

#include "apps/report/culprit.h"
#include "apps/report/files.h"
#include "apps/report/text.h"
#include "egress/egress.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::report {
namespace {

using snapshot::HostSnapshot;

InputFile snapshotFile(const Options& options) {
  return {"--snapshot", options.snapshotPath.value(),
          options.maxFileSize.value_or(kMaxSnapshotSize)};
}

InputFile configFile(const Options& options) {
  return {"--config", options.configPath.value(), options.maxFileSize.value_or(kMaxConfigSize)};
}

InputFile answerFile(const Options& options, const AnswerOption& answer) {
  return {"--answer", answer.path.value(), options.maxFileSize.value_or(kMaxAnswerSize)};
}

std::string textOf(const InputFile& file) {
  return namingFile(file, [&] { return readFile(file); });
}

HostSnapshot parseSnapshot(const InputFile& file, const std::string& text) {
  snapshot::Result<HostSnapshot> read =
      namingFile(file, [&] { return snapshot::snapshotFromJson(text); });
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    throw CannotRun("--snapshot: " + file.path + ": " + toString(*refusal));
  }
  return std::get<HostSnapshot>(std::move(read));
}

// Inserts the answers before those of the snapshot: the first answer for a selector is used.
void parseAnswers(const Options& options, const std::vector<std::string>& texts,
                  HostSnapshot& snapshot) {
  std::vector<SelectorAnswer> answers(options.answers.size());
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const AnswerOption& option = options.answers[i];
    answers[i].selectorTag = option.selectorTag;
    answers[i].status = SelectorAnswerStatus::TransportFailed;
    if (!option.path) continue;
    answers[i].status = namingFile(answerFile(options, option),
                                   [&] { return readSelectorAnswer(texts[i], &answers[i].now); });
  }
  snapshot.selectorAnswers.insert(snapshot.selectorAnswers.begin(), answers.begin(), answers.end());
}

// Warns about answers that no outbound uses, probably because of a misspelt tag. The map holds the
// user's tags: those of a stranger's configuration could be chosen to have equal hashes.
void warnUnusedAnswers(const Options& options, const HostSnapshot& snapshot) {
  std::unordered_map<std::string_view, const Outbound*> named;  // the first outbound with the tag
  for (const AnswerOption& option : options.answers) named.emplace(option.selectorTag, nullptr);
  for (const Outbound& outbound : snapshot.config.outbounds) {
    const auto found = named.find(outbound.tag);
    if (found != named.end() && found->second == nullptr) found->second = &outbound;
  }
  for (const AnswerOption& option : options.answers) {
    const std::string tag = "'" + option.selectorTag + "'";
    const Outbound* const outbound = named.at(option.selectorTag);
    if (outbound == nullptr) {
      printError("--answer: the configuration has no outbound tagged " + tag);
    } else if (outboundTypeOf(outbound->type) != OutboundType::Selector) {
      printError("--answer: the outbound tagged " + tag + " is not a selector");
    }
  }
}

void warnUnknownHint(const Options& options, const HostSnapshot& snapshot) {
  if (!options.hint || options.hint->empty()) return;
  const auto& outbounds = snapshot.config.outbounds;
  if (std::ranges::find(outbounds, *options.hint, &Outbound::tag) != outbounds.end()) return;
  printError("--hint: the configuration has no outbound tagged '" + *options.hint + "'");
}

// The first processes, and how many more there are.
std::string processList(const std::vector<snapshot::Process>& processes) {
  constexpr std::size_t kShown = 10;  // any user can start any number
  std::string text;
  for (std::size_t i = 0; i < std::min(kShown, processes.size()); ++i) {
    text.append(i == 0 ? "" : "; ").append(processText(processes[i]));
  }
  if (processes.size() > kShown) {
    text.append("; and ").append(std::to_string(processes.size() - kShown)).append(" more");
  }
  return text;
}

}  // namespace

std::string processText(const snapshot::Process& process) {
  std::string text =
      "process " + std::to_string(process.id) + ", user " + std::to_string(process.user);
  if (process.program.empty()) return text;
  text.append(", ");
  // Its user chose the path. A semicolon could start an invented process in a list.
  for (const char c : process.program) text.append(c == ';' ? "%3B" : std::string(1, c));
  return text;
}

HostSnapshot takeLiveSnapshot(const live::ProcessChoice& choice) {
  auto taken = live::takeSnapshot(choice);
  if (auto* const snapshot = std::get_if<HostSnapshot>(&taken)) {
    snapshot->origin.program = "egress-report";
    snapshot->origin.programVersion = kVersion;
    return std::move(*snapshot);
  }
  const auto& none = std::get<live::NoProcess>(taken);
  const auto* const process = std::get_if<std::uint32_t>(&choice);
  std::string message = process == nullptr ? "--process: " : "--pid: ";
  message.append(none.message);
  if (none.reason == live::NoProcessReason::DIFFERENT_USERS) {
    message.append("; choose with --user or --pid: ").append(processList(none.processes));
  }
  if (none.reason == live::NoProcessReason::OTHER_NETWORK) {
    message.append("; use nsenter --net --target ")
        .append(std::to_string(*process))
        .append(" egress-report ...");
  }
  throw CannotRun(message);
}

InputTexts readTexts(const Options& options) {
  InputTexts texts;
  if (options.snapshotPath) texts.snapshot = textOf(snapshotFile(options));
  if (options.configPath) texts.config = textOf(configFile(options));
  for (const AnswerOption& answer : options.answers) {
    texts.answers.push_back(answer.path ? textOf(answerFile(options, answer)) : "");
  }
  return texts;
}

ParsedInput parseInput(const Options& options, HostSnapshot taken, InputTexts texts) {
  ParsedInput input{.snapshot = std::move(taken), .configFault = {}};
  HostSnapshot& snapshot = input.snapshot;
  if (texts.snapshot) snapshot = parseSnapshot(snapshotFile(options), *texts.snapshot);
  texts.snapshot.reset();  // it may be large
  if (texts.config) {
    snapshot.config = namingFile(configFile(options),
                                 [&] { return readProxyConfig(*texts.config, /*hasText=*/true); });
    if (snapshot.config.configStatus == ConfigStatus::JSON_PARSE_FAILED) {
      input.configFault = namingFile(configFile(options), [&] { return faultOf(*texts.config); });
    }
  }
  parseAnswers(options, texts.answers, snapshot);
  if (options.hint) snapshot.selectorHint = *options.hint;
  warnUnusedAnswers(options, snapshot);
  warnUnknownHint(options, snapshot);
  return input;
}

}  // namespace egress::report
