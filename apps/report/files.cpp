#include "apps/report/files.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace egress::report {
namespace {

std::string sizeText(std::uint64_t size) {
  for (const auto& [unit, name] : {std::pair{20U, " MiB"}, std::pair{10U, " KiB"}}) {
    if (size % (std::uint64_t{1} << unit) == 0) return std::to_string(size >> unit) + name;
  }
  return std::to_string(size) + " bytes";
}

// Appends the next bytes to a text; returns false at the end of the file. Reads into the text
// itself: a buffer on the stack of this size would overflow a small stack.
bool appendPart(int descriptor, std::uint64_t maxSize, std::string& text) {
  constexpr std::uint64_t kPart = 65536;
  const std::size_t size = text.size();
  text.resize(size + std::min(kPart - 1, maxSize - size) + 1);
  const ssize_t count = read(descriptor, text.data() + size, text.size() - size);
  if (count < 0) throw std::system_error(errno, std::generic_category());
  text.resize(size + static_cast<std::size_t>(count));
  return count > 0;
}

std::string readAll(int descriptor, const InputFile& file) {
  std::string text;
  while (appendPart(descriptor, file.maxSize, text)) {
    if (text.size() > file.maxSize) {
      throw CannotRun(failureOf(file) + ": it is larger than " + sizeText(file.maxSize) +
                      "; --max-file-size SIZE raises the limit");
    }
  }
  return text;
}

void checkRegular(int descriptor, const InputFile& file) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) throw std::system_error(errno, std::generic_category());
  if (!S_ISREG(status.st_mode)) throw CannotRun(failureOf(file) + ": not a regular file");
}

std::string readNamed(const InputFile& file) {
  if (file.path == kStandardStream) return readAll(STDIN_FILENO, file);
  const int waiting = file.mustBeRegular ? O_NONBLOCK : 0;
  const Closed opened(open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | waiting));
  if (opened.descriptor() < 0) throw std::system_error(errno, std::generic_category());
  if (file.mustBeRegular) checkRegular(opened.descriptor(), file);
  return readAll(opened.descriptor(), file);
}

}  // namespace

std::string withSystemError(const std::string& what) {
  return what + ": " + std::generic_category().message(errno);
}

std::string failureOf(const InputFile& file) {
  return file.option + ": cannot read " +
         (file.path == kStandardStream ? "standard input" : "'" + file.path + "'");
}

std::string readFile(const InputFile& file) {
  try {
    return readNamed(file);
  } catch (const std::system_error& error) {
    throw CannotRun(failureOf(file) + ": " + error.code().message());
  }
}

std::string textOf(const InputFile& file) {
  return namingFile(file, [&file] { return readFile(file); });
}

Closed::~Closed() {
  if (descriptor_ >= 0) close(descriptor_);
}

void reserveStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) < 0) static_cast<void>(open("/", O_PATH));  // the lowest free number
  }
}

}  // namespace egress::report
