#ifndef EGRESS_REPORT_FILES_H
#define EGRESS_REPORT_FILES_H

#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>

namespace egress::report {

// The program cannot run: an invalid option, an unreadable file, no such process.
struct CannotRun : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Stands for standard input or output in place of a file name.
inline constexpr const char* kStandardStream = "-";

// Default limits of files in bytes: a stranger may have written them, and what is read takes
// several times as much memory. Each limit leaves room above what engines and hosts have: 10,000
// outbounds of 500 bytes each, an answer that lists 10,000 tags of 50 bytes each, or 500,000
// sockets of 350 bytes each.
inline constexpr std::uint64_t kMaxConfigSize = std::uint64_t{16} << 20U;
inline constexpr std::uint64_t kMaxAnswerSize = std::uint64_t{1} << 20U;
inline constexpr std::uint64_t kMaxSnapshotSize = std::uint64_t{256} << 20U;

// A file that an option names; "-" is standard input.
struct InputFile {
  std::string option;
  std::string path;
  std::uint64_t maxSize = 0;   // in bytes
  bool mustBeRegular = false;  // others are refused: a FIFO could keep the program waiting
};

// Returns "what: strerror", for errno.
[[nodiscard]] std::string withSystemError(const std::string& what);

// Returns "option: cannot read 'path'".
[[nodiscard]] std::string failureOf(const InputFile& file);

// The contents of a file, of any kind unless it must be regular; reads at most one byte more than
// the limit. Throws CannotRun, also for a larger file, and std::bad_alloc.
[[nodiscard]] std::string readFile(const InputFile& file);

// Returns use(). When memory runs out there, throws CannotRun that names the file.
template <typename Use>
auto namingFile(const InputFile& file, Use use) {
  try {
    return use();
  } catch (const std::bad_alloc&) {
    throw CannotRun(failureOf(file) + ": not enough memory");
  } catch (const std::length_error&) {
    throw CannotRun(failureOf(file) + ": not enough memory");
  }
}

// The same as readFile(), but memory that runs out is a CannotRun, too.
[[nodiscard]] std::string textOf(const InputFile& file);

// Closes a descriptor at the end of its scope; none if it is negative.
class Closed {
 public:
  explicit Closed(int descriptor) : descriptor_(descriptor) {}
  Closed(const Closed&) = delete;
  Closed& operator=(const Closed&) = delete;
  ~Closed();

  [[nodiscard]] int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

// Opens the standard streams that are closed, so that no file gets their numbers: the report would
// be written into it. Reading from and writing to them still fails.
void reserveStandardStreams();

}  // namespace egress::report

#endif
