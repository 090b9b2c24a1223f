#include <array>

#include "egress/config/selector_answer.h"
#include "egress/scenarios/scenarios.h"

namespace egress {
namespace {

struct AnswerCase {
  std::string_view text;
  std::string_view label;
  SelectorAnswerStatus status = SelectorAnswerStatus::Ok;
};

constexpr AnswerCase kOkAnswer = {.text = R"({"name":"proxy","now":"node_3"})",
                                  .label = "response/ok",
                                  .status = SelectorAnswerStatus::Ok};

constexpr auto kFailingAnswers = std::to_array<AnswerCase>({
    {.text = "not json", .label = "response/malformed", .status = SelectorAnswerStatus::Malformed},
    {.text = R"({"name":"proxy"})",
     .label = "response/now-missing",
     .status = SelectorAnswerStatus::NowMissing},
    {.text = R"({"now":123})",
     .label = "response/now-wrong-type",
     .status = SelectorAnswerStatus::NowMissing},
});

void runAnswer(CheckRecorder& recorder, const AnswerCase& row, std::string& now) {
  recordCheck(recorder, readSelectorAnswer(row.text, &now) == row.status, row.label);
}

}  // namespace

void runSelectorAnswerScenarios(SelfCheckRun& run) {
  std::string now;
  runAnswer(run.recorder, kOkAnswer, now);
  checkEqual(run.recorder, now, "node_3", "response/ok now");
  for (const AnswerCase& row : kFailingAnswers) runAnswer(run.recorder, row, now);
}

}  // namespace egress
