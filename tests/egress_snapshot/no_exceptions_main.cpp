// Reads, writes, anonymizes and explains in a program that is compiled without exceptions, as are
// the libraries. Where one would be thrown, it aborts. Prints what went wrong.

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include "egress/core/diagnose_egress.h"
#include "egress/core/report_table.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/explanations.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/egress_snapshot/selected_snapshot.h"

#ifdef __cpp_exceptions
#error "compile with -fno-exceptions"
#endif

namespace {

using namespace egress;
using namespace egress::snapshot;

int failures = 0;

void check(bool isRight, std::string_view what, std::string_view subject) {
  if (isRight) return;
  ++failures;
  std::printf("%.*s: %.*s\n", static_cast<int>(what.size()), what.data(),
              static_cast<int>(subject.size()), subject.data());
}

template <typename Value>
void checkRefused(const Result<Value>& result, std::string_view text) {
  const auto* const refusal = std::get_if<Refusal>(&result);
  check(refusal != nullptr, "not refused", text);
  if (refusal != nullptr) check(!toString(*refusal).empty(), "refused without a reason", text);
}

// Calls use(text) with variants of a valid text, most of which are not valid: cut, and with each
// byte replaced by others.
template <typename Use>
void forHostileTexts(const std::string& valid, Use use) {
  for (std::size_t i = 0; i < valid.size(); ++i) {
    use(valid.substr(0, i));
    for (const char byte : std::string_view("\0\"9-{[]}\\\xFF", 10)) {
      std::string text = valid;
      text[i] = byte;
      use(text);
    }
  }
}

// Values of every type, as they may stand in place of each other.
constexpr auto kValues = std::to_array<std::string_view>({
    "null",
    "true",
    "-1",
    "1",
    "1.5",
    "1e400",
    "-9223372036854775809",
    "18446744073709551616",
    R"("")",
    R"("OK")",
    R"("\ud800")",
    "\"\xFF\"",
    "[]",
    "[[]]",
    "[null]",
    "{}",
    R"({"":1})",
    R"({"base64":1})",
    R"({"base64":"?"})",
    R"({"rows":1})",
    R"({"rows":[1]})",
});

// Calls use(text) with every value of `valid` that stands alone on its line replaced by others.
template <typename Use>
void forReplacedValues(const std::string& valid, Use use) {
  std::size_t start = 0;
  for (std::size_t end = 0; (end = valid.find('\n', start)) != std::string::npos; start = end + 1) {
    const std::size_t colon = valid.find(": ", start);
    if (colon == std::string::npos || colon > end || valid[end - 1] != ',') continue;
    for (const std::string_view value : kValues) {
      use(std::string(valid).replace(colon + 2, end - 1 - (colon + 2), value));
    }
  }
}

// A text is read, and then written, anonymized and diagnosed, or refused.
void useSnapshot(const std::string& text) {
  const Result<HostSnapshot> result = snapshotFromJson(text);
  const auto* const snapshot = std::get_if<HostSnapshot>(&result);
  if (snapshot == nullptr) return checkRefused(result, text);
  const std::string written = snapshotToJson(*snapshot);
  check(std::holds_alternative<HostSnapshot>(snapshotFromJson(written)), "not read back", written);
  const Result<HostSnapshot> changed = anonymized(*snapshot);
  check(std::holds_alternative<HostSnapshot>(changed), "not anonymized", text);
}

void useReport(const std::string& text) {
  const Result<EgressReport> result = reportFromJson(text);
  const auto* const report = std::get_if<EgressReport>(&result);
  if (report == nullptr) return checkRefused(result, text);
  check(!reportToJson(*report).empty(), "not written", text);
}

void checkValid() {
  for (const HostSnapshot& snapshot : {HostSnapshot{}, fullSnapshot(), selectedSnapshot()}) {
    const std::string text = snapshotToJson(snapshot);
    const Result<HostSnapshot> read = snapshotFromJson(text);
    check(std::holds_alternative<HostSnapshot>(read), "refused", text);
    check(std::holds_alternative<HostSnapshot>(anonymized(snapshot)), "not anonymized", text);
    const EgressReport report = diagnoseEgress(toInput(snapshot));
    const std::string reportText = reportToJson(report);
    const Result<EgressReport> readReport = reportFromJson(reportText);
    const auto* const same = std::get_if<EgressReport>(&readReport);
    check(same != nullptr && *same == report, "not read back", reportText);
  }
}

void checkOutsideEnumerations() {
  HostSnapshot snapshot;
  Socket& socket = snapshot.sockets.rows.emplace_back();
  socket.protocol = static_cast<SocketProtocol>(99);
  socket.state = static_cast<SocketState>(99);
  snapshot.config.configStatus = static_cast<ConfigStatus>(99);
  useSnapshot(snapshotToJson(snapshot));
}

void checkHostile() {
  // Each starts a hundred thousand times something that is not finished.
  constexpr auto kPieces = std::to_array<std::string_view>(
      {"[", R"({"a":)", "[{},", "\"", "1", "-", " ", "\xFF", {"\0", 1}});
  for (const std::string_view piece : kPieces) {
    std::string text;
    for (int i = 0; i < 100'000; ++i) text += piece;
    checkRefused(snapshotFromJson(text), piece);
    checkRefused(reportFromJson(text), piece);
  }
  for (const std::string_view value : kValues) {
    checkRefused(snapshotFromJson(value), value);
    checkRefused(reportFromJson(value), value);
  }
  const std::string small =
      R"({"format":"egress-snapshot","version":1,"selectorHint":"a","config":)"
      R"({"outbounds":[{"ports":[443]}]},"sockets":{"rows":[{"mark":7}]}})";
  forHostileTexts(small, useSnapshot);
  forReplacedValues(snapshotToJson(selectedSnapshot()), useSnapshot);
  const std::string report = reportToJson(diagnoseEgress(toInput(selectedSnapshot())));
  forHostileTexts(report, useReport);
  forReplacedValues(report, useReport);
}

void checkExplanations() {
  for (const ReportMemberField& member : kReportMembers) {
    if (member.field.declaredWords == nullptr) continue;
    for (const std::string& word : member.field.declaredWords()) {
      check(explainWord(member.field.key, word).has_value(), "not explained", word);
    }
  }
  check(!explainWord("configStatus", "other"), "explained", "other");
  check(!explainWord("other", "OK"), "explained", "OK");
}

}  // namespace

int main() {
  checkValid();
  checkOutsideEnumerations();
  checkHostile();
  checkExplanations();
  return failures == 0 ? 0 : 1;
}
