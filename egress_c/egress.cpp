#include "egress_c/egress.h"

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "egress/core/write_report.h"
#include "egress/version.h"
#include "egress_c/result_of.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/explanations_json.h"
#include "egress_snapshot/json_fault_json.h"
#include "egress_snapshot/refusal.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_from_texts.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::c {
namespace {

using snapshot::HostSnapshot;

Outcome done(std::string text) {
  return {.status = EGRESS_OK, .text = std::move(text)};
}

// What `write` makes of what was read, or the refusal.
template <typename Value, typename Write>
Outcome outcomeOf(const snapshot::Result<Value>& read, Write write) {
  if (const auto* const refusal = std::get_if<snapshot::Refusal>(&read)) {
    return {.status = EGRESS_REFUSED, .text = toString(*refusal)};
  }
  return done(write(std::get<Value>(read)));
}

std::string reportOf(const HostSnapshot& record) {
  return snapshot::reportToJson(writeReport(diagnose(record)));
}

std::string detailsOf(const HostSnapshot& record) {
  std::vector<snapshot::AddressFinding> findings = diagnoseAddresses(record);
  crossCheckAddresses(record, findings);
  return detailsToJson(record, findings, snapshot::JsonLayout::ONE_LINE);
}

// The record without private data, or why there is none.
snapshot::Result<HostSnapshot> readAnonymized(std::string_view text) {
  snapshot::Result<HostSnapshot> read = snapshot::snapshotFromJson(text);
  if (const auto* const snapshot = std::get_if<HostSnapshot>(&read)) return anonymized(*snapshot);
  return read;
}

}  // namespace
}  // namespace egress::c

using egress::c::done;
using egress::c::outcomeOf;
using egress::c::resultOf;
using egress::c::textOf;
using egress::snapshot::snapshotFromJson;

const egress_result* egress_version() {
  return egress::c::newResult(EGRESS_OK, egress::kVersion);
}

const egress_result* egress_read_config(const char* config, size_t configLength,
                                        const char* answers, size_t answersLength) {
  return resultOf([=] {
    return outcomeOf(egress::snapshot::snapshotFromTexts(textOf(config, configLength),
                                                         textOf(answers, answersLength)),
                     egress::snapshot::snapshotToJson);
  });
}

const egress_result* egress_diagnose(const char* snapshot, size_t length) {
  return resultOf(
      [=] { return outcomeOf(snapshotFromJson(textOf(snapshot, length)), egress::c::reportOf); });
}

const egress_result* egress_diagnose_in_detail(const char* snapshot, size_t length) {
  return resultOf(
      [=] { return outcomeOf(snapshotFromJson(textOf(snapshot, length)), egress::c::detailsOf); });
}

const egress_result* egress_anonymize(const char* snapshot, size_t length) {
  return resultOf([=] {
    return outcomeOf(egress::c::readAnonymized(textOf(snapshot, length)),
                     egress::snapshot::snapshotToJson);
  });
}

const egress_result* egress_explain(const char* word, size_t length) {
  return resultOf([=] { return done(egress::snapshot::explanationsToJson(textOf(word, length))); });
}

const egress_result* egress_find_json_fault(const char* text, size_t length) {
  return resultOf([=] { return done(egress::snapshot::jsonFaultToJson(textOf(text, length))); });
}

const egress_result* egress_find_config_fault(const char* config, size_t length) {
  return resultOf(
      [=] { return done(egress::snapshot::configFaultToJson(textOf(config, length))); });
}
