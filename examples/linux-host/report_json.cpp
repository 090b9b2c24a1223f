#include "examples/linux-host/report_json.h"

#include <variant>

#include <nlohmann/json.hpp>

namespace linux_host {
namespace {

using nlohmann::ordered_json;

ordered_json toJson(const egress::ReportScalar& scalar) {
  using enum egress::ReportKind;
  switch (scalar.kind) {
    case Boolean: return scalar.boolValue;
    case Integer: return scalar.intValue;
    case String: return scalar.stringValue;
    case Null: break;
  }
  return nullptr;
}

ordered_json toJson(const std::vector<egress::ReportRow>& rows) {
  ordered_json array = ordered_json::array();
  for (const egress::ReportRow& row : rows) {
    ordered_json object = ordered_json::object();
    for (const auto& [key, scalar] : row) object[key] = toJson(scalar);
    array.push_back(std::move(object));
  }
  return array;
}

}  // namespace

std::string reportJson(const egress::EgressReport& report) {
  ordered_json object = ordered_json::object();
  for (const egress::ReportMember& member : report.members) {
    object[member.key] = std::visit([](const auto& value) { return toJson(value); }, member.value);
  }
  return object.dump(2);
}

}  // namespace linux_host
