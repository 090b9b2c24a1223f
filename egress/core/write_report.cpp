#include "egress/core/write_report.h"

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

// Pairs the values with the keys of their columns; a wrong number of values does not compile.
template <std::size_t N>
ReportRow makeRow(const ReportField (&columns)[N], ReportScalar (&&values)[N]) {
  ReportRow row;
  row.reserve(N);
  for (std::size_t i = 0; i < N; ++i) row.emplace_back(columns[i].key, std::move(values[i]));
  return row;
}

ReportValue interfaceRows(const Diagnosis& diagnosis) {
  std::vector<ReportRow> rows;
  rows.reserve(diagnosis.interfaces.size());
  for (const DiagnosedInterface& row : diagnosis.interfaces) {
    rows.push_back(
        makeRow(kInterfaceColumns, {integerScalar(row.ordinal), integerScalar(row.operStatus),
                                    integerScalar(row.interfaceMetric)}));
  }
  return rows;
}

ReportValue routeRows(const Diagnosis& diagnosis) {
  std::vector<ReportRow> rows;
  rows.reserve(diagnosis.defaultRoutes.size());
  for (const DiagnosedRoute& row : diagnosis.defaultRoutes) {
    rows.push_back(makeRow(
        kRouteColumns, {integerScalar(row.family), ordinalScalar(row.interfaceOrdinal),
                        wordScalar(row.interfaceOrdinalStatus), integerScalar(row.routeMetric)}));
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

// Pairs the values with the members of the table, as above.
template <std::size_t N>
EgressReport makeReport(const ReportMemberField (&members)[N], ReportValue (&&values)[N],
                        bool hasConfig) {
  EgressReport report;
  report.members.reserve(N);
  for (std::size_t i = 0; i < N; ++i) {
    if (members[i].onlyWithConfig && !hasConfig) continue;
    report.members.push_back(
        {.key = std::string(members[i].field.key), .value = std::move(values[i])});
  }
  return report;
}

}  // namespace

EgressReport writeReport(const Diagnosis& diagnosis) {
  return makeReport(kReportMembers,
                    {
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
                    },
                    /*hasConfig=*/diagnosis.configStatus == ConfigStatus::OK);
}

}  // namespace egress
