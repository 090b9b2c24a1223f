#ifndef EGRESS_LIVE_LINUX_DESCRIPTOR_H
#define EGRESS_LIVE_LINUX_DESCRIPTOR_H

#include <unistd.h>
#include <utility>

namespace egress::live {

// Owns a file descriptor; -1: none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  [[nodiscard]] int number() const noexcept { return number_; }
  void release() noexcept { number_ = -1; }

 private:
  int number_;
};

}  // namespace egress::live

#endif
