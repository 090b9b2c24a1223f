#ifndef EGRESS_FUZZ_CAPTURED_STREAM_H
#define EGRESS_FUZZ_CAPTURED_STREAM_H

#include <ostream>
#include <sstream>
#include <string>

namespace egress::fuzz {

// What a stream receives while this lives.
class Captured {
 public:
  explicit Captured(std::ostream& stream)
      : stream_(stream), before_(stream.rdbuf(received_.rdbuf())) {}
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  Captured(Captured&&) = delete;
  Captured& operator=(Captured&&) = delete;
  ~Captured() { stream_.rdbuf(before_); }

  [[nodiscard]] std::string text() const { return received_.str(); }

 private:
  std::ostringstream received_;
  std::ostream& stream_;
  std::streambuf* before_;
};

}  // namespace egress::fuzz

#endif
