#include "egress_snapshot/explanations_json.h"

#include "egress_snapshot/explanations.h"
#include "egress_snapshot/json_writer.h"

namespace egress::snapshot {
namespace {

void writeText(JsonWriter& writer, std::string_view key, std::string_view text) {
  writer.member(key);
  writer.scalar(text);
}

void writeInput(JsonWriter& writer, const SmallestInput& input) {
  writer.open('{');
  if (!input.config.empty()) writeText(writer, "config", input.config);
  if (!input.answer.empty()) writeText(writer, "answer", input.answer);
  if (!input.snapshot.empty()) writeText(writer, "snapshot", input.snapshot);
  writer.close('}');
}

void writeExplanation(JsonWriter& writer, const ExplainedKey& row, const Explanation& explanation) {
  writer.open('{');
  writeText(writer, "key", row.key);
  writeText(writer, "question", row.question);
  writeText(writer, "meaning", explanation.meaning);
  writeText(writer, "usualCause", explanation.usualCause);
  writeText(writer, "whatToDo", explanation.whatToDo);
  writer.member("smallestInput");
  writeInput(writer, explanation.smallestInput);
  writer.close('}');
}

}  // namespace

std::string explanationsToJson(std::string_view word) {
  std::string text;
  JsonWriter writer([&text](std::string_view part) { text += part; });
  writer.open('[');
  for (const ExplainedKey& row : explainedKeys()) {
    const std::optional<Explanation> explanation = row.explain(word);
    if (!explanation) continue;
    writer.element();
    writeExplanation(writer, row, *explanation);
  }
  writer.close(']');
  writer.finish();
  return text;
}

}  // namespace egress::snapshot
