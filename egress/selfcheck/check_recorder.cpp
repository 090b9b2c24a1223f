#include "egress/selfcheck/check_recorder.h"

#include <initializer_list>
#include <string>

namespace egress {
namespace {

// Writes the parts as one line, flushed so that a crash later loses none.
void writeLine(std::FILE* output, std::initializer_list<std::string_view> parts) {
  std::string line;
  for (const std::string_view part : parts) line += part;
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), output);
  std::fflush(output);
}

}  // namespace

void recordFailure(CheckRecorder& recorder, std::string_view label, std::string_view message) {
  ++recorder.failureCount;
  writeLine(recorder.output, {"FAIL ", label, ": ", message});
}

void recordCheck(CheckRecorder& recorder, bool condition, std::string_view label) {
  ++recorder.checkCount;
  if (!condition) recordFailure(recorder, label, "condition is false");
}

void checkEqual(CheckRecorder& recorder, std::string_view actual, std::string_view expected,
                std::string_view label) {
  ++recorder.checkCount;
  if (actual == expected) return;
  std::string message("expected '");
  message.append(expected).append("', got '").append(actual).append("'");
  recordFailure(recorder, label, message);
}

void writeSummary(const CheckRecorder& recorder) {
  writeLine(recorder.output, {recorder.failureCount != 0 ? "FAILED" : "PASS", ": ",
                              std::to_string(recorder.checkCount), " checks, ",
                              std::to_string(recorder.failureCount), " failures"});
}

}  // namespace egress
