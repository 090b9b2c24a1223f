#include "egress_live/curl/query_outcome.h"

#include <array>
#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace egress::live {
namespace {

using snapshot::QueryOutcome;

constexpr const char* kSecret = "text of the answer";

Transfer transferWith(CURLcode code, std::int64_t httpStatus) {
  Transfer transfer;
  transfer.code = code;
  transfer.httpStatus = httpStatus;
  transfer.answer = kSecret;
  transfer.peer = "localhost:9090";
  transfer.timeoutMilliseconds = 2000;
  return transfer;
}

void expectFailure(const Transfer& transfer, QueryOutcome outcome, const std::string& reason) {
  const QueryResult result = resultOf(transfer);
  EXPECT_EQ(result.outcome, outcome) << reason;
  EXPECT_EQ(result.reason, reason);
  EXPECT_EQ(result.now, "") << reason;
}

TEST(QueryOutcome, OfAnHttpStatus) {
  struct Row {
    std::int64_t httpStatus;
    QueryOutcome outcome;
    const char* reason;
  };
  constexpr auto kRows = std::to_array<Row>({
      {101, QueryOutcome::BAD_STATUS, "HTTP status 101"},
      {300, QueryOutcome::BAD_STATUS, "HTTP status 300: redirects are not followed"},
      {302, QueryOutcome::BAD_STATUS, "HTTP status 302: redirects are not followed"},
      {399, QueryOutcome::BAD_STATUS, "HTTP status 399: redirects are not followed"},
      {400, QueryOutcome::BAD_STATUS, "HTTP status 400"},
      {401, QueryOutcome::UNAUTHORIZED, "HTTP status 401: a credential is missing or wrong"},
      {402, QueryOutcome::BAD_STATUS, "HTTP status 402"},
      {403, QueryOutcome::UNAUTHORIZED, "HTTP status 403: a credential is missing or wrong"},
      {404, QueryOutcome::NOT_FOUND, "HTTP status 404: the engine knows no selector of this tag"},
      {405, QueryOutcome::BAD_STATUS, "HTTP status 405"},
      {500, QueryOutcome::BAD_STATUS, "HTTP status 500"},
      {999, QueryOutcome::BAD_STATUS, "HTTP status 999"},
  });
  for (const Row& row : kRows) {
    expectFailure(transferWith(CURLE_OK, row.httpStatus), row.outcome, row.reason);
    if (row.httpStatus < 300) continue;
    // The connection broke while the rest came.
    expectFailure(transferWith(CURLE_WRITE_ERROR, row.httpStatus), row.outcome, row.reason);
    expectFailure(transferWith(CURLE_OPERATION_TIMEDOUT, row.httpStatus), row.outcome, row.reason);
  }
}

TEST(QueryOutcome, OfABrokenTransfer) {
  const std::string closed = "localhost:9090 closed the connection before the whole answer";
  const std::string certificate =
      "the certificate of localhost:9090 is not trusted, or is for another name";
  const std::string late = "no whole answer within 2000 ms";
  struct Row {
    CURLcode code;
    QueryOutcome outcome;
    std::string reason;
  };
  const auto rows = std::to_array<Row>({
      {CURLE_OPERATION_TIMEDOUT, QueryOutcome::TIMED_OUT, late},
      {CURLE_COULDNT_RESOLVE_HOST, QueryOutcome::NAME_NOT_FOUND,
       "no address found for localhost:9090"},
      {CURLE_PEER_FAILED_VERIFICATION, QueryOutcome::BAD_CERTIFICATE, certificate},
      {CURLE_SSL_ISSUER_ERROR, QueryOutcome::BAD_CERTIFICATE, certificate},
      {CURLE_SSL_CACERT_BADFILE, QueryOutcome::BAD_CERTIFICATE,
       "the CA certificates cannot be read"},
      {CURLE_PARTIAL_FILE, QueryOutcome::FAILED, closed},
      {CURLE_GOT_NOTHING, QueryOutcome::FAILED, closed},
      {CURLE_SSL_CONNECT_ERROR, QueryOutcome::FAILED, "SSL connect error"},
      {CURLE_RECV_ERROR, QueryOutcome::FAILED, "Failure when receiving data from the peer"},
  });
  for (const Row& row : rows) {
    expectFailure(transferWith(row.code, 0), row.outcome, row.reason);
    expectFailure(transferWith(row.code, 200), row.outcome, row.reason);  // while the answer came
  }
}

TEST(QueryOutcome, OfAFailedConnection) {
  struct Row {
    int systemError;
    QueryOutcome outcome;
    const char* reason;
  };
  constexpr auto kRows = std::to_array<Row>({
      {ECONNREFUSED, QueryOutcome::REFUSED, "connection refused at localhost:9090"},
      {ENOENT, QueryOutcome::REFUSED,
       "cannot connect to localhost:9090: No such file or directory"},
      {EACCES, QueryOutcome::FAILED, "permission denied at localhost:9090"},
      {EPERM, QueryOutcome::FAILED, "permission denied at localhost:9090"},
      {ENETUNREACH, QueryOutcome::FAILED,
       "cannot connect to localhost:9090: Network is unreachable"},
      {0, QueryOutcome::FAILED, "cannot connect to localhost:9090"},
  });
  for (const Row& row : kRows) {
    Transfer transfer = transferWith(CURLE_COULDNT_CONNECT, 0);
    transfer.systemError = row.systemError;
    expectFailure(transfer, row.outcome, row.reason);
    transfer.refusedAddress = "192.0.2.1";
    expectFailure(transfer, QueryOutcome::FAILED,
                  "localhost:9090 has the address 192.0.2.1, and only a loopback address may be "
                  "asked");
  }
}

TEST(QueryOutcome, OfALargeAnswer) {
  Transfer transfer = transferWith(CURLE_WRITE_ERROR, 200);
  transfer.isTooLarge = true;
  expectFailure(transfer, QueryOutcome::TOO_LARGE, "the answer has more than 1048576 bytes");
}

TEST(QueryOutcome, OfAnAnswer) {
  struct Row {
    const char* answer;
    QueryOutcome outcome;
    const char* reason;
  };
  constexpr auto kRows = std::to_array<Row>({
      {"", QueryOutcome::NOT_JSON, "the answer is not a JSON object"},
      {kSecret, QueryOutcome::NOT_JSON, "the answer is not a JSON object"},
      {R"(["now"])", QueryOutcome::NOT_JSON, "the answer is not a JSON object"},
      {R"({"now": "a")", QueryOutcome::NOT_JSON, "the answer is not a JSON object"},
      {"{}", QueryOutcome::NO_NOW, R"(the answer has no text under "now")"},
      {R"({"now": ""})", QueryOutcome::NO_NOW, R"(the answer has no text under "now")"},
      {R"({"now": 1})", QueryOutcome::NO_NOW, R"(the answer has no text under "now")"},
  });
  for (const std::int64_t httpStatus : {200, 204, 299}) {
    Transfer transfer = transferWith(CURLE_OK, httpStatus);
    for (const Row& row : kRows) {
      transfer.answer = row.answer;
      expectFailure(transfer, row.outcome, row.reason);
    }
    transfer.answer = R"({"name": "proxy", "now": "node"})";
    const QueryResult result = resultOf(transfer);
    EXPECT_EQ(result.outcome, QueryOutcome::ANSWERED);
    EXPECT_EQ(result.reason, "");
    EXPECT_EQ(result.now, "node");
  }
}

TEST(QueryOutcome, HasAnAnswerOfAStatus) {
  for (std::size_t i = 0; i < snapshot::kQueryOutcomeWords.size(); ++i) {
    const auto outcome = static_cast<QueryOutcome>(i);
    SelectorAnswerStatus expected = SelectorAnswerStatus::TransportFailed;
    if (outcome == QueryOutcome::ANSWERED) expected = SelectorAnswerStatus::Ok;
    if (outcome == QueryOutcome::NOT_JSON) expected = SelectorAnswerStatus::Malformed;
    if (outcome == QueryOutcome::NO_NOW) expected = SelectorAnswerStatus::NowMissing;
    EXPECT_EQ(answerStatusOf(outcome), expected) << snapshot::kQueryOutcomeWords.at(i);
  }
}

}  // namespace
}  // namespace egress::live
