#include "apps/report/files.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <fstream>
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

// Closes a descriptor at the end of its scope.
class Closed {
 public:
  explicit Closed(int descriptor) : descriptor_(descriptor) {}
  Closed(const Closed&) = delete;
  Closed& operator=(const Closed&) = delete;
  ~Closed() { close(descriptor_); }

 private:
  int descriptor_;
};

std::string readNamed(const InputFile& file) {
  if (file.path == kStandardStream) return readAll(STDIN_FILENO, file);
  const int descriptor = open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category());
  const Closed closed(descriptor);
  return readAll(descriptor, file);
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

void writeFile(const std::string& option, const std::string& path, const std::string& text) {
  umask(S_IRWXG | S_IRWXO);
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw CannotRun(withSystemError(option + ": cannot write '" + path + "'"));
}

}  // namespace egress::report
