#include "examples/linux-host/snapshot_file.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <set>
#include <type_traits>
#include <utility>

#include "examples/linux-host/errors.h"
#include "examples/linux-host/snapshot_fields.h"

namespace linux_host {
namespace {

constexpr std::string_view kFirstLine = "egress-snapshot version=1";
constexpr std::string_view kLastLine = "end";

// A record that is only shown, or one to be filled in.
template <typename Record, typename Shown>
concept Either = std::same_as<std::remove_const_t<Record>, Shown>;

// The fields of each record, in their order. `line` is a FieldWriter or a FieldReader.

void showFields(auto& line, Either<egress::InterfaceRow> auto& row) {
  line.field("index", row.interfaceIndex);
  line.field("operStatus", row.operStatus);
  line.field("metric", row.interfaceMetric);
  line.field("addresses", row.addresses);
}

void showFields(auto& line, Either<egress::RouteRow> auto& row) {
  line.field("family", row.family);
  line.field("interfaceIndex", row.interfaceIndex);
  line.field("metric", row.routeMetric);
}

void showFields(auto& line, Either<egress::SocketSource> auto& row) {
  line.field("localAddress", row.localAddress);
  line.field("localPort", row.localPort);
  line.field("remoteAddress", row.remoteAddress);
  line.field("remotePort", row.remotePort);
}

void showFields(auto& line, Either<egress::Outbound> auto& outbound) {
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

void showFields(auto& line, Either<egress::SelectorAnswer> auto& answer) {
  line.field("selectorTag", answer.selectorTag);
  line.field("status", answer.status);
  line.field("now", answer.now);
}

// The records of which there is one; the others stand in lists.

void showConfig(auto& line, Either<egress::DiagnosisInput> auto& input) {
  line.field("status", input.configStatus);
  line.field("autoDetectInterface", input.autoDetectInterface);
}

void showHint(auto& line, Either<egress::DiagnosisInput> auto& input) {
  line.field("tag", input.selectorHint);
}

void showSnapshot(auto& line, auto& snapshot) {
  line.field("enumFailed", snapshot.enumFailed);
}

template <typename Records>
void writeAll(std::string& text, std::string_view word, const Records& records) {
  for (const auto& record : records) {
    FieldWriter line(word);
    showFields(line, record);
    text += line.takeLine();
  }
}

template <typename Row>
void writeSnapshot(std::string& text, std::string_view word, std::string_view rowWord,
                   const egress::Snapshot<Row>& snapshot) {
  FieldWriter line(word);
  showSnapshot(line, snapshot);
  text += line.takeLine();
  writeAll(text, rowWord, snapshot.rows);
}

template <typename Record>
void showFieldsOfNew(FieldReader& line, std::vector<Record>& records) {
  showFields(line, records.emplace_back());
}

void readRecord(std::string_view word, FieldReader& line, egress::DiagnosisInput& input) {
  if (word == "config") return showConfig(line, input);
  if (word == "hint") return showHint(line, input);
  if (word == "outbound") return showFieldsOfNew(line, input.outbounds);
  if (word == "answer") return showFieldsOfNew(line, input.selectorAnswers);
  if (word == "adapters") return showSnapshot(line, input.adapters);
  if (word == "interface") return showFieldsOfNew(line, input.adapters.rows);
  if (word == "routes") return showSnapshot(line, input.routes);
  if (word == "route") return showFieldsOfNew(line, input.routes.rows);
  if (word == "sockets") return showSnapshot(line, input.sockets);
  if (word == "socket") return showFieldsOfNew(line, input.sockets.rows);
  refuse(word, "record of a saved snapshot");
}

constexpr std::array<std::string_view, 5> kSingleRecords = {"config", "hint", "adapters", "routes",
                                                            "sockets"};

// What has been read of a text so far.
struct Reading {
  egress::DiagnosisInput input;
  std::set<std::string_view> singleRecords;
  bool isComplete = false;
};

// Reads a line after the first one.
void readLine(std::string_view text, Reading& reading) {
  if (text.empty() || text.starts_with('#')) return;
  if (reading.isComplete) throw CannotRun("something stands behind the end");
  reading.isComplete = text == kLastLine;
  if (reading.isComplete) return;
  const std::string_view word = text.substr(0, text.find(' '));
  const bool isSingle = std::ranges::find(kSingleRecords, word) != kSingleRecords.end();
  if (isSingle && !reading.singleRecords.insert(word).second) {
    refuse(word, "record that may stand here twice");
  }
  FieldReader fields(text.substr(std::min(text.size(), word.size() + 1)));
  readRecord(word, fields, reading.input);
  fields.finish();
}

// Takes the first line from a text, without its end.
std::string_view takeLine(std::string_view& text) {
  std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(text.size(), line.size() + 1));
  if (line.ends_with('\r')) line.remove_suffix(1);  // as a mail may have made it
  return line;
}

}  // namespace

std::string snapshotText(const egress::DiagnosisInput& input) {
  std::string text = std::string(kFirstLine) + '\n';
  FieldWriter config("config");
  showConfig(config, input);
  text += config.takeLine();
  writeAll(text, "outbound", input.outbounds);
  writeAll(text, "answer", input.selectorAnswers);
  FieldWriter hint("hint");
  showHint(hint, input);
  text += hint.takeLine();
  writeSnapshot(text, "adapters", "interface", input.adapters);
  writeSnapshot(text, "routes", "route", input.routes);
  writeSnapshot(text, "sockets", "socket", input.sockets);
  return text.append(kLastLine) + '\n';
}

egress::DiagnosisInput readSnapshotText(std::string_view text) {
  Reading reading;
  int number = 1;
  try {
    if (takeLine(text) != kFirstLine) {
      throw CannotRun("the line is not '" + std::string(kFirstLine) + "'");
    }
    while (!text.empty()) {
      ++number;
      readLine(takeLine(text), reading);
    }
    if (!reading.isComplete) {
      throw CannotRun("the text is cut off: no line '" + std::string(kLastLine) + "' follows");
    }
  } catch (const CannotRun& error) {
    throw CannotRun("line " + std::to_string(number) + ": " + error.what());
  }
  return std::move(reading.input);
}

}  // namespace linux_host
