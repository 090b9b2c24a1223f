#ifndef EGRESS_REPORT_FILES_H
#define EGRESS_REPORT_FILES_H

#include <stdexcept>
#include <string>

namespace egress::report {

// The program cannot run: an invalid option, an unreadable file, no such process.
struct CannotRun : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Stands for standard input or output in place of a file name.
inline constexpr const char* kStandardStream = "-";

// Returns "what: strerror", for errno.
[[nodiscard]] std::string withSystemError(const std::string& what);

// The contents of a file, or of standard input for "-". Throws CannotRun, with the option that
// named the file.
[[nodiscard]] std::string readFile(const std::string& option, const std::string& path);

// Writes a file that only its owner can read: a snapshot contains addresses. Throws CannotRun.
void writeFile(const std::string& option, const std::string& path, const std::string& text);

}  // namespace egress::report

#endif
