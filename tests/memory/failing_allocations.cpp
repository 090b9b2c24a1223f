#include "tests/memory/failing_allocations.h"

#include <cstdlib>
#include <new>

namespace egress::test {
namespace {

struct Counters {
  std::size_t made = 0;
  std::ptrdiff_t alive = 0;
  std::size_t untilFailure = 0;  // 1: the next allocation fails; 0: none does
  bool failed = false;
};

// constinit: initialising it must not allocate.
constinit thread_local Counters counters;

bool mayAllocate() noexcept {
  ++counters.made;
  if (counters.untilFailure == 0) return true;
  --counters.untilFailure;
  if (counters.untilFailure > 0) return true;
  counters.failed = true;
  return false;
}

void* counted(void* block) noexcept {
  if (block != nullptr) ++counters.alive;
  return block;
}

// Uses malloc, which sanitizers intercept. Returns null if out of memory.
void* allocate(std::size_t size) noexcept {
  if (!mayAllocate()) return nullptr;
  return counted(std::malloc(size == 0 ? 1 : size));
}

void* allocate(std::size_t size, std::align_val_t alignment) noexcept {
  if (!mayAllocate()) return nullptr;
  const auto unit = static_cast<std::size_t>(alignment);
  const std::size_t units = size == 0 ? 1 : size / unit + (size % unit == 0 ? 0 : 1);
  return counted(std::aligned_alloc(unit, units * unit));
}

void* throwIfNull(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void release(void* block) noexcept {
  if (block == nullptr) return;
  --counters.alive;
  std::free(block);
}

}  // namespace

std::size_t allocationsMade() noexcept {
  return counters.made;
}

std::ptrdiff_t allocationsAlive() noexcept {
  return counters.alive;
}

void failAllocation(std::size_t number) noexcept {
  counters.untilFailure = number;
  counters.failed = false;
}

bool stopFailing() noexcept {
  counters.untilFailure = 0;
  return counters.failed;
}

}  // namespace egress::test

// All forms are replaced: one from a sanitizer's runtime would not match the others.

using egress::test::allocate;
using egress::test::release;
using egress::test::throwIfNull;

void* operator new(std::size_t size) {
  return throwIfNull(allocate(size));
}

void* operator new[](std::size_t size) {
  return throwIfNull(allocate(size));
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
  return throwIfNull(allocate(size, alignment));
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
  return throwIfNull(allocate(size, alignment));
}

void* operator new(std::size_t size, std::align_val_t alignment,
                   const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment,
                     const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size, alignment);
}

void operator delete(void* block) noexcept {
  release(block);
}

void operator delete[](void* block) noexcept {
  release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept {
  release(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/,
                     const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/,
                       const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}
