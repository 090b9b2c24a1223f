#include "tests/pages/status_words_page.h"

#include <span>
#include <sstream>
#include <string_view>
#include <vector>

#include "egress/core/report_table.h"
#include "egress_snapshot/cross_check.h"
#include "egress_snapshot/explanations.h"

namespace egress::test {
namespace {

constexpr const char* kIntroduction =
    "Every word that a report or its cross-check may contain, by key: its meaning, usual cause, "
    "what to do, and a "
    "smallest input that produces it. `egress-report --explain` prints the first three. This page "
    "is generated from the explanations in `egress_snapshot/`, and a test compares it with them.";

constexpr const char* kInputs =
    "An input is a configuration (`--config`), the answer of the selector `proxy` (`--answer "
    "proxy=FILE`) and a saved snapshot (`--snapshot`), each if it is shown. Where no snapshot is "
    "shown, use an empty one: `{\"format\": \"egress-snapshot\", \"version\": 1}`. "
    "[host-contract.md](host-contract.md) defines what a host must provide.";

// Appends a paragraph, wrapped at 100 columns.
void addParagraph(std::string& page, std::string_view text) {
  constexpr std::size_t kWidth = 100;
  std::istringstream words{std::string(text)};
  std::string line;
  page += '\n';
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + 1 + word.size() > kWidth) {
      page.append(line).append("\n");
      line.clear();
    }
    line.append(line.empty() ? "" : " ").append(word);
  }
  page.append(line).append("\n");
}

void addLabelled(std::string& page, std::string_view label, std::string_view text) {
  std::string paragraph = "**";
  addParagraph(page, paragraph.append(label).append(":** ").append(text));
}

void addBlock(std::string& page, std::string_view kind, std::string_view text) {
  if (text.empty()) return;
  page.append("\n```json ").append(kind).append("\n").append(text).append("\n```\n");
}

void addWord(std::string& page, std::string_view word, const snapshot::Explanation& explanation) {
  page.append("\n### `").append(word).append("`\n");
  addLabelled(page, "Means", explanation.meaning);
  addLabelled(page, "Usual cause", explanation.usualCause);
  addLabelled(page, "What to do", explanation.whatToDo);
  page += "\n**Smallest input:**\n";
  addBlock(page, "configuration", explanation.smallestInput.config);
  addBlock(page, "answer", explanation.smallestInput.answer);
  addBlock(page, "snapshot", explanation.smallestInput.snapshot);
}

// The words under an explained key; a boolean's are "false" and "true".
std::vector<std::string> wordsUnder(std::string_view key) {
  if (key == "crossCheck") {
    const auto& words = snapshot::kCrossCheckStatusWords;
    return {words.begin(), words.end()};
  }
  for (const ReportMemberField& member : kReportMembers) {
    if (member.columns.empty() && member.field.key == key) {
      return member.field.declaredWords == nullptr ? std::vector<std::string>{"false", "true"}
                                                   : member.field.declaredWords();
    }
    for (const ReportField& column : member.columns) {
      const std::string columnKey = std::string(member.field.key).append("[].").append(column.key);
      if (columnKey == key) return column.declaredWords();
    }
  }
  return {};
}

}  // namespace

std::string statusWordsPage() {
  std::string page = "# The status words\n";
  addParagraph(page, kIntroduction);
  addParagraph(page, kInputs);
  for (const snapshot::ExplainedKey& row : snapshot::explainedKeys()) {
    page.append("\n## `").append(row.key).append("`\n");
    addParagraph(page, row.question);
    for (const std::string& word : wordsUnder(row.key)) {
      if (const auto explanation = row.explain(word)) addWord(page, word, *explanation);
    }
  }
  return page;
}

}  // namespace egress::test
