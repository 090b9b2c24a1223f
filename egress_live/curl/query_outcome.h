#ifndef EGRESS_LIVE_CURL_QUERY_OUTCOME_H
#define EGRESS_LIVE_CURL_QUERY_OUTCOME_H

#include <cstdint>
#include <curl/curl.h>
#include <string>

#include "egress/config/selector_answer.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// How one transfer ended.
struct Transfer {
  CURLcode code = CURLE_OK;
  std::int64_t httpStatus = 0;      // 0: no answer has begun
  int systemError = 0;              // errno of the last connection attempt; 0: none failed
  bool isTooLarge = false;          // the answer is larger than kMaxAnswerBytes
  std::string refusedAddress = {};  // that was not connected to, because it is not a loopback one
  std::string answer = {};          // with any HTTP status
  std::string peer = {};            // where it went to, for people: "HOST:PORT" or "'PATH'"
  std::uint32_t timeoutMilliseconds = 0;
};

// What became of a query, why, and the choice that an answer names.
struct QueryResult {
  snapshot::QueryOutcome outcome = snapshot::QueryOutcome::FAILED;
  std::string reason = {};  // empty only if answered
  std::string now = {};     // empty unless answered
};

// Reads what a transfer brought. Nothing of the answer gets into the reason. Throws only when
// memory runs out.
[[nodiscard]] QueryResult resultOf(const Transfer& transfer);

// The status of an answer that a query with this outcome brought.
[[nodiscard]] SelectorAnswerStatus answerStatusOf(snapshot::QueryOutcome outcome) noexcept;

}  // namespace egress::live

#endif
