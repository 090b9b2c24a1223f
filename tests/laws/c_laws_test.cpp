// The C interface on generated and on damaged snapshots, and on configurations.

#include "tests/laws/c_laws.h"

#include <string>

#include <gtest/gtest.h>

#include "egress_snapshot/snapshot_json.h"
#include "tests/laws/config_documents.h"
#include "tests/laws/generated_snapshot.h"
#include "tests/laws/random_rounds.h"

namespace egress::test {
namespace {

TEST(CLaws, ASnapshotGivesWhatTheLibraryGives) {
  checkOnRandomBytes(3'000, 500, [](std::string_view bytes) {
    Choices choices(bytes);
    return checkCSnapshot(snapshotToJson(generateSnapshot(choices)));
  });
}

TEST(CLaws, ADamagedSnapshotIsReadOrRefusedAsTheLibraryDoes) {
  checkOnRandomBytes(3'000, 500, [](std::string_view bytes) {
    Choices choices(bytes);
    const std::string text = snapshotToJson(generateSnapshot(choices));
    return checkCSnapshot(damaged(text, choices));
  });
}

TEST(CLaws, AnyBytesAreReadOrRefusedAsTheLibraryDoes) {
  checkOnRandomBytes(3'000, 50, [](std::string_view bytes) {
    const std::size_t half = bytes.size() / 2;
    const Violation violation = checkCConfig(bytes.substr(0, half), bytes.substr(half));
    return violation.empty() ? checkCText(bytes) : violation;
  });
}

}  // namespace
}  // namespace egress::test
