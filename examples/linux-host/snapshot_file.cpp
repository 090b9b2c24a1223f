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

// A const record to write, or a mutable one to read into.
template <typename Record, typename Expected>
concept Either = std::same_as<std::remove_const_t<Record>, Expected>;

// Write or read the fields of each record: `line` is a FieldWriter or a FieldReader.

void visitFields(auto& line, Either<egress::InterfaceRow> auto& row) {
  line.field("index", row.interfaceIndex);
  line.field("operStatus", row.operStatus);
  line.field("metric", row.interfaceMetric);
  line.field("addresses", row.addresses);
}

void visitFields(auto& line, Either<egress::RouteRow> auto& row) {
  line.field("family", row.family);
  line.field("interfaceIndex", row.interfaceIndex);
  line.field("metric", row.routeMetric);
}

void visitFields(auto& line, Either<egress::SocketSource> auto& row) {
  line.field("localAddress", row.localAddress);
  line.field("localPort", row.localPort);
  line.field("remoteAddress", row.remoteAddress);
  line.field("remotePort", row.remotePort);
}

void visitFields(auto& line, Either<egress::Outbound> auto& outbound) {
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

void visitFields(auto& line, Either<egress::SelectorAnswer> auto& answer) {
  line.field("selectorTag", answer.selectorTag);
  line.field("status", answer.status);
  line.field("now", answer.now);
}

// These records occur once; the others are elements of lists.

void visitConfig(auto& line, Either<egress::DiagnosisInput> auto& input) {
  line.field("status", input.configStatus);
  line.field("autoDetectInterface", input.autoDetectInterface);
}

void visitHint(auto& line, Either<egress::DiagnosisInput> auto& input) {
  line.field("tag", input.selectorHint);
}

void visitSnapshot(auto& line, auto& snapshot) {
  line.field("enumFailed", snapshot.enumFailed);
}

template <typename Records>
void writeAll(std::string& text, std::string_view name, const Records& records) {
  for (const auto& record : records) {
    FieldWriter line(name);
    visitFields(line, record);
    text += line.takeLine();
  }
}

template <typename Row>
void writeSnapshot(std::string& text, std::string_view name, std::string_view rowName,
                   const egress::Snapshot<Row>& snapshot) {
  FieldWriter line(name);
  visitSnapshot(line, snapshot);
  text += line.takeLine();
  writeAll(text, rowName, snapshot.rows);
}

template <typename Record>
void readInto(FieldReader& line, std::vector<Record>& records) {
  visitFields(line, records.emplace_back());
}

void readRecord(std::string_view name, FieldReader& line, egress::DiagnosisInput& input) {
  if (name == "config") return visitConfig(line, input);
  if (name == "hint") return visitHint(line, input);
  if (name == "outbound") return readInto(line, input.outbounds);
  if (name == "answer") return readInto(line, input.selectorAnswers);
  if (name == "adapters") return visitSnapshot(line, input.adapters);
  if (name == "interface") return readInto(line, input.adapters.rows);
  if (name == "routes") return visitSnapshot(line, input.routes);
  if (name == "route") return readInto(line, input.routes.rows);
  if (name == "sockets") return visitSnapshot(line, input.sockets);
  if (name == "socket") return readInto(line, input.sockets.rows);
  rejectUnknown("record", name);
}

constexpr std::array<std::string_view, 5> kSingleRecords = {"config", "hint", "adapters", "routes",
                                                            "sockets"};

// What has been read so far.
struct Reading {
  egress::DiagnosisInput input;
  std::set<std::string_view> singleRecords;
  bool isComplete = false;
};

// Reads one line after the header.
void readLine(std::string_view text, Reading& reading) {
  if (text.empty() || text.starts_with('#')) return;
  if (reading.isComplete) throw CannotRun("unexpected line after '" + std::string(kLastLine) + "'");
  reading.isComplete = text == kLastLine;
  if (reading.isComplete) return;
  const std::string_view name = text.substr(0, text.find(' '));
  const bool isSingle = std::ranges::find(kSingleRecords, name) != kSingleRecords.end();
  if (isSingle && !reading.singleRecords.insert(name).second) {
    throw CannotRun("duplicate record '" + std::string(name) + "'");
  }
  FieldReader fields(text.substr(std::min(text.size(), name.size() + 1)));
  readRecord(name, fields, reading.input);
  fields.finish();
}

// Removes the first line from `text` and returns it without its line ending.
std::string_view takeLine(std::string_view& text) {
  std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(text.size(), line.size() + 1));
  if (line.ends_with('\r')) line.remove_suffix(1);  // CRLF, for example from a mail
  return line;
}

}  // namespace

std::string snapshotText(const egress::DiagnosisInput& input) {
  std::string text = std::string(kFirstLine) + '\n';
  FieldWriter config("config");
  visitConfig(config, input);
  text += config.takeLine();
  writeAll(text, "outbound", input.outbounds);
  writeAll(text, "answer", input.selectorAnswers);
  FieldWriter hint("hint");
  visitHint(hint, input);
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
      throw CannotRun("expected '" + std::string(kFirstLine) + "'");
    }
    while (!text.empty()) {
      ++number;
      readLine(takeLine(text), reading);
    }
    if (!reading.isComplete) {
      throw CannotRun("truncated: no line '" + std::string(kLastLine) + "' follows");
    }
  } catch (const CannotRun& error) {
    throw CannotRun("line " + std::to_string(number) + ": " + error.what());
  }
  return std::move(reading.input);
}

}  // namespace linux_host
