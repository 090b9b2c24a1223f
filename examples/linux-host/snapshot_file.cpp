#include "examples/linux-host/snapshot_file.h"

#include <algorithm>

#include "examples/linux-host/errors.h"
#include "examples/linux-host/snapshot_fields.h"

namespace linux_host {
namespace {

// The fields of each record, in their order. `line` is a FieldWriter or a FieldReader.

void showFields(auto& line, egress::InterfaceRow& row) {
  line.field("index", row.interfaceIndex);
  line.field("operStatus", row.operStatus);
  line.field("metric", row.interfaceMetric);
  line.field("addresses", row.addresses);
}

void showFields(auto& line, egress::RouteRow& row) {
  line.field("family", row.family);
  line.field("interfaceIndex", row.interfaceIndex);
  line.field("metric", row.routeMetric);
}

void showFields(auto& line, egress::SocketSource& row) {
  line.field("localAddress", row.localAddress);
  line.field("localPort", row.localPort);
  line.field("remoteAddress", row.remoteAddress);
  line.field("remotePort", row.remotePort);
}

void showFields(auto& line, egress::Outbound& outbound) {
  line.field("tag", outbound.tag);
  line.field("type", outbound.type);
  line.field("detour", outbound.detour);
  line.field("hasServer", outbound.hasServer);
  line.field("server", outbound.server);
  line.field("portSpecified", outbound.portSpecified);
  line.field("portMalformed", outbound.portMalformed);
  line.field("portHopping", outbound.portHopping);
  line.field("ports", outbound.ports);
  line.field("hasTransport", outbound.hasTransport);
  line.field("transportType", outbound.transportType);
}

void showFields(auto& line, egress::SelectorAnswer& answer) {
  line.field("selectorTag", answer.selectorTag);
  line.field("status", answer.status);
  line.field("now", answer.now);
}

template <typename Row>
void showFields(auto& line, egress::Snapshot<Row>& snapshot) {
  line.field("enumFailed", snapshot.enumFailed);
}

void showConfigFields(auto& line, egress::DiagnosisInput& input) {
  line.field("status", input.configStatus);
  line.field("autoDetectInterface", input.autoDetectInterface);
}

template <typename Record>
void showFieldsOfNew(auto& line, std::vector<Record>& records) {
  showFields(line, records.emplace_back());
}

void writeAll(std::string& text, std::string_view word, auto& records) {
  for (auto& record : records) {
    FieldWriter line(word);
    showFields(line, record);
    text += line.takeLine();
  }
}

void writeSnapshot(std::string& text, std::string_view word, std::string_view rowWord,
                   auto& snapshot) {
  FieldWriter line(word);
  showFields(line, snapshot);
  text += line.takeLine();
  writeAll(text, rowWord, snapshot.rows);
}

constexpr std::string_view kFirstLine = "egress-snapshot version=1";

void readRecord(std::string_view word, FieldReader& line, egress::DiagnosisInput& input) {
  if (word == "config") return showConfigFields(line, input);
  if (word == "hint") return line.field("tag", input.selectorHint);
  if (word == "outbound") return showFieldsOfNew(line, input.outbounds);
  if (word == "answer") return showFieldsOfNew(line, input.selectorAnswers);
  if (word == "adapters") return showFields(line, input.adapters);
  if (word == "interface") return showFieldsOfNew(line, input.adapters.rows);
  if (word == "routes") return showFields(line, input.routes);
  if (word == "route") return showFieldsOfNew(line, input.routes.rows);
  if (word == "sockets") return showFields(line, input.sockets);
  if (word == "socket") return showFieldsOfNew(line, input.sockets.rows);
  refuse(word, "record of a saved snapshot");
}

void readLine(std::string_view text, int number, egress::DiagnosisInput& input) {
  if (number == 1) {
    if (text != kFirstLine) throw CannotRun("the line is not '" + std::string(kFirstLine) + "'");
    return;
  }
  if (text.empty() || text.starts_with('#')) return;
  const std::string_view word = text.substr(0, text.find(' '));
  FieldReader fields(text.substr(std::min(text.size(), word.size() + 1)));
  readRecord(word, fields, input);
  fields.finish();
}

}  // namespace

std::string snapshotText(const egress::DiagnosisInput& input) {
  egress::DiagnosisInput records = input;  // what shows a record's fields lets them be changed, too
  std::string text = std::string(kFirstLine) + '\n';
  FieldWriter config("config");
  showConfigFields(config, records);
  text += config.takeLine();
  writeAll(text, "outbound", records.outbounds);
  writeAll(text, "answer", records.selectorAnswers);
  FieldWriter hint("hint");
  hint.field("tag", records.selectorHint);
  text += hint.takeLine();
  writeSnapshot(text, "adapters", "interface", records.adapters);
  writeSnapshot(text, "routes", "route", records.routes);
  writeSnapshot(text, "sockets", "socket", records.sockets);
  return text;
}

egress::DiagnosisInput readSnapshotText(std::string_view text) {
  egress::DiagnosisInput input;
  for (int number = 1; number == 1 || !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    try {
      readLine(line, number, input);
    } catch (const CannotRun& error) {
      throw CannotRun("line " + std::to_string(number) + ": " + error.what());
    }
    text.remove_prefix(std::min(text.size(), line.size() + 1));
  }
  return input;
}

}  // namespace linux_host
