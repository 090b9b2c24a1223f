#ifndef EGRESS_TESTS_SUPPORT_SMALL_STACK_H
#define EGRESS_TESTS_SUPPORT_SMALL_STACK_H

#include <cstddef>
#include <functional>
#include <pthread.h>

#include <gtest/gtest.h>

namespace egress::test {

// Runs `use` in a thread with a stack of `bytes` bytes and waits for it. A stack overflow hits the
// guard page and crashes the program.
inline void runWithStack(std::size_t bytes, const std::function<void()>& use) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  const auto run = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread{};
  auto* const argument = const_cast<std::function<void()>*>(&use);
  ASSERT_EQ(pthread_create(&thread, &attributes, run, argument), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  ASSERT_EQ(pthread_attr_destroy(&attributes), 0);
}

}  // namespace egress::test

#endif
