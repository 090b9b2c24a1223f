// Reading the template of the engine's URL when memory runs out, also in libcurl.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <curl/curl.h>
#include <new>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "egress_live/ask_engine.h"
#include "egress_live/curl/engine_url.h"
#include "tests/memory/fail_each_allocation.h"

namespace egress::test {
namespace {

// libcurl's allocations, made with the operator new that can fail. The size is kept before the
// bytes.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size) {
  void* const memory = ::operator new(kHeader + size, std::nothrow);
  if (memory == nullptr) return nullptr;
  std::memcpy(memory, &size, sizeof(size));
  return static_cast<std::byte*>(memory) + kHeader;
}

void release(void* bytes) {
  if (bytes != nullptr) ::operator delete(static_cast<std::byte*>(bytes) - kHeader);
}

void* reallocate(void* bytes, std::size_t size) {
  void* const moved = allocate(size);
  if (moved == nullptr || bytes == nullptr) return moved;
  std::size_t oldSize = 0;
  std::memcpy(&oldSize, static_cast<std::byte*>(bytes) - kHeader, sizeof(oldSize));
  std::memcpy(moved, bytes, std::min(oldSize, size));
  release(bytes);
  return moved;
}

char* duplicate(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = allocate(size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

void* allocateZeros(std::size_t count, std::size_t size) {
  void* const bytes = allocate(count * size);
  return bytes == nullptr ? nullptr : std::memset(bytes, 0, count * size);
}

class EngineUrlMemory : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(curl_global_init_mem(CURL_GLOBAL_NOTHING, &allocate, &release, &reallocate,
                                   &duplicate, &allocateZeros),
              CURLE_OK);
  }
};

live::EngineAccess accessTo(const std::string& urlTemplate) {
  live::EngineAccess access;
  access.urlTemplate = urlTemplate;
  access.headers = {"Name: a value that is longer than a short string"};
  return access;
}

TEST_F(EngineUrlMemory, CheckingAnAccessThrowsOnEveryFailure) {
  // Without user and password: libcurl 7.88 has another error for them when memory runs out.
  for (const char* const url : {"http://localhost:9090/proxies/{tag}", "https://127.1/?tag={tag}",
                                "http://[::1]/a/../{tag}", "http://192.0.2.1/{tag}"}) {
    const live::EngineAccess access = accessTo(url);
    const std::optional<std::string> expected = problemOf(access);
    std::optional<std::string> problem;
    EXPECT_GT(failEachAllocation([&] { problem = problemOf(access); }, [] {}), 3U) << url;
    EXPECT_EQ(problem, expected) << url;
  }
}

TEST_F(EngineUrlMemory, FindingWhereTheEngineListensThrowsOnEveryFailure) {
  const live::EngineAccess access = accessTo("http://[::ffff:127.0.0.1]/{tag}");
  std::string address;
  const auto call = [&] { address = listenerOf(access).value().address; };
  EXPECT_GT(failEachAllocation(call, [] {}), 3U);
  EXPECT_EQ(address, "127.0.0.1");
}

TEST_F(EngineUrlMemory, MakingAUrlThrowsOnEveryFailure) {
  const std::string tag(100, '/');
  std::string url;
  const auto call = [&] { url = live::urlFor("http://localhost/{tag}?{tag}", tag); };
  EXPECT_GT(failEachAllocation(call, [] {}), 3U);
  EXPECT_EQ(url.size(), std::string("http://localhost/?").size() + 600);
}

}  // namespace
}  // namespace egress::test
