#include "egress_snapshot/write_record.h"

#include <algorithm>

#include "egress/core/status_words.h"
#include "egress_snapshot/base64.h"
#include "egress_snapshot/json_text.h"

namespace egress::snapshot {
namespace {

template <typename Enum, typename Words>
std::string_view wordIn(const Words& words, Enum value) {
  return words[std::min(static_cast<std::size_t>(value), words.size() - 1)];
}

}  // namespace

std::string_view wordOf(ConfigStatus status) {
  return egress::toString(status);
}
std::string_view wordOf(ActiveEndpointStatus status) {
  return egress::toString(status);
}
std::string_view wordOf(SelectorAnswerStatus status) {
  return egress::toString(status);
}
std::string_view wordOf(InterfaceKind kind) {
  return wordIn(kInterfaceKindWords, kind);
}
std::string_view wordOf(FactKind fact) {
  return wordIn(kFactKindWords, fact);
}
std::string_view wordOf(NameSource source) {
  return wordIn(kNameSourceWords, source);
}
std::string_view wordOf(QueryOutcome outcome) {
  return wordIn(kQueryOutcomeWords, outcome);
}
std::string_view wordOf(SocketProtocol protocol) {
  return wordIn(kSocketProtocolWords, protocol);
}
std::string_view wordOf(SocketState state) {
  return wordIn(kSocketStateWords, state);
}
std::string_view wordOf(CrossCheckStatus status) {
  return wordIn(kCrossCheckStatusWords, status);
}
std::string_view wordOf(Evidence evidence) {
  return wordIn(kEvidenceWords, evidence);
}
std::string_view wordOf(SocketRole role) {
  return wordIn(kSocketRoleWords, role);
}

void openDocument(JsonWriter& writer, std::string_view format, std::uint32_t version) {
  writer.open('{');
  writer.member(kFormatKey);
  writer.scalar(format);
  writeMember(writer, kVersionKey, version);
}

void writeValue(JsonWriter& writer, const std::string& text) {
  if (isUtf8(text)) return writer.scalar(text);
  writer.open('{');
  writer.member(kBase64Key);
  writer.scalar(base64Of(text));
  writer.close('}');
}

}  // namespace egress::snapshot
