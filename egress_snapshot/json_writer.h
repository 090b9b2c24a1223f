#ifndef EGRESS_SNAPSHOT_JSON_WRITER_H
#define EGRESS_SNAPSHOT_JSON_WRITER_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "egress_snapshot/json_layout.h"
#include "egress_snapshot/json_text.h"

namespace egress::snapshot {

// Writes one JSON text and passes it on in parts, so that neither the text nor a tree of it is in
// memory as a whole. The caller calls the functions in the order of the text, and closes what it
// opens.
class JsonWriter {
 public:
  // Receives the text in parts, in order.
  using Sink = std::function<void(std::string_view)>;

  // Bytes of a part. A key or a scalar that is longer is a part of its own.
  static constexpr std::size_t kMaxPart = 4096;

  explicit JsonWriter(Sink sink, JsonLayout layout = JsonLayout::INDENTED);

  // The place of the next value: with this key in an object, or in an array.
  void member(std::string_view key);
  void element();

  // The next value. In a key or a scalar, what is not UTF-8 becomes U+FFFD.
  void scalar(const Json& value);
  void open(char bracket);
  void close(char bracket);

  // Passes on the rest. Call it once, at the end.
  void finish();

 private:
  void newLine();
  void append(std::string_view text);

  Sink sink_;
  JsonLayout layout_;
  std::string part_;
  std::size_t depth_ = 0;
  bool isEmpty_ = true;  // the innermost open array or object
};

}  // namespace egress::snapshot

#endif
