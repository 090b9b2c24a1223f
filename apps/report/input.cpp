#include "apps/report/input.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <sstream>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>

#include "apps/report/files.h"
#include "apps/report/text.h"
#include "egress/egress.h"
#include "egress_snapshot/blank_config.h"
#include "egress_snapshot/selector_answers_json.h"
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

HostSnapshot parseSnapshot(const InputFile& file, const std::string& text) {
  snapshot::Result<HostSnapshot> read =
      namingFile(file, [&] { return snapshot::snapshotFromJson(text); });
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    throw CannotRun("--snapshot: " + file.path + ": " + toString(*refusal));
  }
  return std::get<HostSnapshot>(std::move(read));
}

std::vector<SelectorAnswer> answersByTag(const Options& options, const InputTexts& texts) {
  if (!texts.answersByTag) return {};
  const InputFile file{"--answers", options.answersPath.value()};
  auto read =
      namingFile(file, [&] { return snapshot::selectorAnswersFromJson(*texts.answersByTag); });
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    throw CannotRun("--answers: " + file.path + ": " + toString(*refusal));
  }
  return std::get<std::vector<SelectorAnswer>>(std::move(read));
}

// Inserts the answers before those of the snapshot: the first answer for a selector is used.
void parseAnswers(const Options& options, const InputTexts& texts, HostSnapshot& snapshot) {
  std::vector<SelectorAnswer> answers(options.answers.size());
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const AnswerOption& option = options.answers[i];
    answers[i].selectorTag = option.selectorTag;
    answers[i].status = SelectorAnswerStatus::TransportFailed;
    if (!option.path) continue;
    answers[i].status = namingFile(answerFile(options, option), [&] {
      return readSelectorAnswer(texts.answers[i].value(), &answers[i].now);
    });
  }
  for (SelectorAnswer& answer : answersByTag(options, texts)) answers.push_back(std::move(answer));
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

void warnUnusedNames(const Options& options, const HostSnapshot& snapshot) {
  if (options.resolvedNames.empty()) return;
  std::set<std::string_view> servers;
  for (const Outbound& outbound : snapshot.config.outbounds) servers.insert(outbound.server);
  for (const snapshot::ResolvedName& row : options.resolvedNames) {
    if (servers.contains(row.name)) continue;
    printError("--resolve: the configuration has no server '" + row.name + "'");
  }
}

void parseConfig(const Options& options, std::string& text, HostSnapshot& snapshot) {
  namingFile(configFile(options), [&] {
    snapshot.blanked = {};
    if (!options.isStrict) snapshot.blanked = snapshot::blankNonJson(text);
    snapshot.config = readProxyConfig(text, /*hasText=*/true);
  });
}

}  // namespace

std::vector<NamedText> namedTexts(const Options& options, InputTexts& texts) {
  std::vector<NamedText> named;
  const auto add = [&](const char* option, const std::optional<std::string>& path,
                       std::uint64_t maxSize, std::optional<std::string>& text) {
    if (path) named.push_back({{option, *path, options.maxFileSize.value_or(maxSize)}, &text});
  };
  add("--snapshot", options.snapshotPath, kMaxSnapshotSize, texts.snapshot);
  add("--config", options.configPath, kMaxConfigSize, texts.config);
  texts.answers.resize(options.answers.size());
  for (std::size_t i = 0; i < options.answers.size(); ++i) {
    add("--answer", options.answers[i].path, kMaxAnswerSize, texts.answers[i]);
  }
  add("--answers", options.answersPath, kMaxConfigSize, texts.answersByTag);
  add("--ask-header-file", options.askHeaderPath, kMaxAnswerSize, texts.askHeaders);
  add("--ask-ca", options.askCaPath, kMaxAnswerSize, texts.askCa);
  return named;
}

InputTexts readTexts(const Options& options) {
  InputTexts texts;
  for (const NamedText& named : namedTexts(options, texts)) *named.text = textOf(named.file);
  return texts;
}

HostSnapshot parseInput(const Options& options, HostSnapshot taken, InputTexts& texts) {
  HostSnapshot snapshot = std::move(taken);
  if (texts.snapshot) snapshot = parseSnapshot(snapshotFile(options), *texts.snapshot);
  texts.snapshot.reset();  // it may be large
  if (texts.config) parseConfig(options, *texts.config, snapshot);
  if (!options.mainTag.empty()) snapshot.mainTag = options.mainTag;
  parseAnswers(options, texts, snapshot);
  snapshot.resolvedNames.insert(snapshot.resolvedNames.begin(), options.resolvedNames.begin(),
                                options.resolvedNames.end());
  if (options.hint) snapshot.selectorHint = *options.hint;
  return snapshot;
}

void warnUnused(const Options& options, const HostSnapshot& snapshot) {
  warnUnusedAnswers(options, snapshot);
  warnUnknownHint(options, snapshot);
  warnUnusedNames(options, snapshot);
}

live::EngineAccess accessOf(const Options& options, const InputTexts& texts, int connectedSocket) {
  live::EngineAccess access = options.access.value();
  access.connectedSocket = connectedSocket;
  access.caCertificates = texts.askCa.value_or("");
  std::istringstream lines(texts.askHeaders.value_or(""));
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty()) access.headers.push_back(line);
  }
  if (const auto problem = problemOf(access)) throw CannotRun("--ask-header-file: " + *problem);
  return access;
}

}  // namespace egress::report
