#include "egress_live/linux/descriptor_tables.h"

#include <algorithm>
#include <sys/syscall.h>
#include <unistd.h>

#include <linux/kcmp.h>

namespace egress::live {
namespace {

enum class Order : long { EQUAL = 0, LESS = 1, GREATER = 2 };  // and others: cannot be compared

Order compare(std::uint32_t a, std::uint32_t b) {
  return static_cast<Order>(syscall(SYS_kcmp, a, b, KCMP_FILES, 0, 0));
}

}  // namespace

bool DescriptorTables::add(std::uint32_t thread) {
  const auto isBefore = [](std::uint32_t a, std::uint32_t b) {
    return compare(a, b) == Order::LESS;
  };
  const auto place = std::lower_bound(threads_.begin(), threads_.end(), thread, isBefore);
  if (place != threads_.end() && compare(*place, thread) == Order::EQUAL) return false;
  threads_.insert(place, thread);
  return true;
}

}  // namespace egress::live
