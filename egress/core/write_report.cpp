#include "egress/core/write_report.h"

#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "egress/core/report_table.h"

namespace egress {
namespace {

ReportScalar ordinalScalar(std::optional<std::int64_t> ordinal) {
  return ordinal ? integerScalar(*ordinal) : nullScalar();
}

template <typename Status>
ReportScalar wordScalar(Status status) {
  return stringScalar(toString(status));
}

// A different number of columns and values does not compile.
template <std::size_t N>
ReportRow makeRow(const std::array<ReportField, N>& columns, std::array<ReportScalar, N> values) {
  ReportRow row;
  row.reserve(N);
  for (std::size_t i = 0; i < N; ++i) row.emplace_back(columns[i].key, std::move(values[i]));
  return row;
}

ReportValue interfaceRows(const Diagnosis& diagnosis) {
  std::vector<ReportRow> rows;
  rows.reserve(diagnosis.interfaces.size());
  for (const DiagnosedInterface& row : diagnosis.interfaces) {
    rows.push_back(makeRow(kInterfaceColumns, std::to_array({
                                                  integerScalar(row.ordinal),
                                                  integerScalar(row.operStatus),
                                                  integerScalar(row.interfaceMetric),
                                              })));
  }
  return rows;
}

ReportValue routeRows(const Diagnosis& diagnosis) {
  std::vector<ReportRow> rows;
  rows.reserve(diagnosis.defaultRoutes.size());
  for (const DiagnosedRoute& row : diagnosis.defaultRoutes) {
    rows.push_back(makeRow(kRouteColumns, std::to_array({
                                              integerScalar(row.family),
                                              ordinalScalar(row.interfaceOrdinal),
                                              wordScalar(row.interfaceOrdinalStatus),
                                              integerScalar(row.routeMetric),
                                          })));
  }
  return rows;
}

ReportValue sourceRows(const Diagnosis& diagnosis) {
  std::vector<ReportRow> rows;
  rows.reserve(diagnosis.observedOrdinals.size());
  for (const std::int64_t ordinal : diagnosis.observedOrdinals) {
    rows.push_back(makeRow(kSourceColumns, {integerScalar(ordinal)}));
  }
  return rows;
}

}  // namespace

EgressReport writeReport(const Diagnosis& diagnosis) {
  auto values = std::to_array<ReportValue>({
      wordScalar(diagnosis.configStatus),
      booleanScalar(diagnosis.autoDetectInterface),
      wordScalar(diagnosis.policy),
      wordScalar(diagnosis.endpoint.status),
      booleanScalar(diagnosis.selectorHintStale),
      ordinalScalar(diagnosis.selection.ordinal),
      wordScalar(diagnosis.selection.status),
      wordScalar(diagnosis.interfacesStatus),
      interfaceRows(diagnosis),
      wordScalar(diagnosis.defaultRoutesStatus),
      routeRows(diagnosis),
      wordScalar(diagnosis.socketSourcesStatus),
      sourceRows(diagnosis),
  });
  static_assert(values.size() == kReportMembers.size());

  EgressReport report;
  report.members.reserve(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const ReportMemberField& member = kReportMembers[i];
    if (member.onlyWithConfig && diagnosis.configStatus != ConfigStatus::OK) continue;
    report.members.push_back({.key = std::string(member.field.key), .value = std::move(values[i])});
  }
  return report;
}

}  // namespace egress
