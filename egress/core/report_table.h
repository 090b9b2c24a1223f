#ifndef EGRESS_CORE_REPORT_TABLE_H
#define EGRESS_CORE_REPORT_TABLE_H

#include <array>
#include <span>
#include <string_view>

#include "egress/core/egress_report.h"
#include "egress/core/status_words.h"

namespace egress {

// The table of the report: which keys it has, in which order, and what stands under each. The
// report is written from it, and everything that reads reports takes keys and words from here.

// What stands under a key: a value of a kind, or null where that is allowed.
struct ReportField {
  std::string_view key;
  ReportKind kind = ReportKind::Integer;
  bool mayBeNull = false;
  const WordList& (*declaredWords)() = nullptr;  // of a String, which is always a word
};

// A member of the report: a field, or an array of rows with these columns.
struct ReportMemberField {
  ReportField field;                          // if there are columns, only `key` is used
  std::span<const ReportField> columns = {};  // empty for a field
  bool onlyWithConfig = false;                // absent unless "configStatus" is "OK"
};

[[nodiscard]] consteval ReportField wordField(std::string_view key,
                                              const WordList& (*declaredWords)()) {
  return {.key = key, .kind = ReportKind::String, .declaredWords = declaredWords};
}

[[nodiscard]] consteval ReportField booleanField(std::string_view key) {
  return {.key = key, .kind = ReportKind::Boolean};
}

inline constexpr auto kInterfaceColumns = std::to_array<ReportField>({
    {.key = "ordinal"},
    {.key = "operStatus"},
    {.key = "interfaceMetric"},
});

inline constexpr auto kRouteColumns = std::to_array<ReportField>({
    {.key = "family"},
    {.key = "interfaceOrdinal", .mayBeNull = true},  // null when unmapped
    wordField("interfaceOrdinalStatus", declaredInterfaceOrdinalStatus),
    {.key = "routeMetric"},
});

inline constexpr auto kSourceColumns = std::to_array<ReportField>({
    {.key = "interfaceOrdinal"},
});

inline constexpr auto kReportMembers = std::to_array<ReportMemberField>({
    {wordField("configStatus", declaredConfigStatus)},
    {.field = booleanField("autoDetectInterfaceEnabled"), .onlyWithConfig = true},
    {wordField("egressSelectionPolicy", declaredEgressSelectionPolicy)},
    {wordField("activeEndpointStatus", declaredActiveEndpointStatus)},
    {booleanField("selectorHintStale")},  // the hint names no outbound on the way to the endpoint
    // Null unless "selectionStatus" is "OK".
    {{.key = "selectedInterfaceOrdinal", .mayBeNull = true}},
    {wordField("selectionStatus", declaredSelectionStatus)},
    {wordField("interfacesStatus", declaredInterfacesStatus)},
    {.field = {.key = "interfaces"}, .columns = kInterfaceColumns},  // by ordinal
    {wordField("defaultRoutesStatus", declaredDefaultRoutesStatus)},
    {.field = {.key = "defaultRoutes"}, .columns = kRouteColumns},  // in snapshot order
    {wordField("socketSourcesStatus", declaredSocketSourcesStatus)},
    {.field = {.key = "observedSocketSources"}, .columns = kSourceColumns},  // ascending, each once
});

}  // namespace egress

#endif
