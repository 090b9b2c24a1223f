#include "tests/laws/c_laws.h"

#include <string>
#include <variant>

#include "egress/core/write_report.h"
#include "egress_c/egress.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/explanations_json.h"
#include "egress_snapshot/json_fault_json.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_from_texts.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_c/owned_result.h"
#include "tests/egress_snapshot/details_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using c::OwnedResult;
using snapshot::HostSnapshot;
using snapshot::Result;

// What a call must give.
struct Wanted {
  egress_status status = EGRESS_OK;
  std::string text;
};

template <typename Value, typename Write>
Wanted wantedOf(const Result<Value>& read, Write write) {
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    return {.status = EGRESS_REFUSED, .text = toString(*refusal)};
  }
  return {.text = write(std::get<Value>(read))};
}

Violation compare(std::string_view function, const OwnedResult& result, const Wanted& wanted) {
  if (result.status() == wanted.status && result.text() == wanted.text) return {};
  return joined({function, " gives status ", std::to_string(result.status()), " and\n",
                 result.text(), "\ninstead of status ", std::to_string(wanted.status), " and\n",
                 wanted.text});
}

}  // namespace

Violation checkCSnapshot(std::string_view text) {
  const Result<HostSnapshot> read = snapshot::snapshotFromJson(text);
  Violation violation =
      compare("egress_diagnose", OwnedResult(egress_diagnose(text.data(), text.size())),
              wantedOf(read, [](const HostSnapshot& record) {
                return snapshot::reportToJson(writeReport(diagnose(record)));
              }));
  if (!violation.empty()) return violation;
  violation = compare("egress_diagnose_in_detail",
                      OwnedResult(egress_diagnose_in_detail(text.data(), text.size())),
                      wantedOf(read, snapshot::detailsTextOf));
  if (!violation.empty()) return violation;
  const auto* const record = std::get_if<HostSnapshot>(&read);
  const Result<HostSnapshot> anonymous = record == nullptr ? read : anonymized(*record);
  return compare("egress_anonymize", OwnedResult(egress_anonymize(text.data(), text.size())),
                 wantedOf(anonymous, snapshot::snapshotToJson));
}

Violation checkCConfig(std::string_view config, std::string_view answers) {
  const OwnedResult result(
      egress_read_config(config.data(), config.size(), answers.data(), answers.size()));
  Violation violation =
      compare("egress_read_config", result,
              wantedOf(snapshot::snapshotFromTexts(config, answers), snapshot::snapshotToJson));
  if (!violation.empty() || result.status() != EGRESS_OK) return violation;
  return checkCSnapshot(result.text());
}

Violation checkCText(std::string_view text) {
  Violation violation =
      compare("egress_explain", OwnedResult(egress_explain(text.data(), text.size())),
              {.text = snapshot::explanationsToJson(text)});
  if (!violation.empty()) return violation;
  violation = compare("egress_find_json_fault",
                      OwnedResult(egress_find_json_fault(text.data(), text.size())),
                      {.text = snapshot::jsonFaultToJson(text)});
  if (!violation.empty()) return violation;
  return compare("egress_find_config_fault",
                 OwnedResult(egress_find_config_fault(text.data(), text.size())),
                 {.text = snapshot::configFaultToJson(text)});
}

}  // namespace egress::test
