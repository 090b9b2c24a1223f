#include "egress_live/curl/query_outcome.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "egress_live/ask_engine.h"

namespace egress::live {
namespace {

using snapshot::QueryOutcome;

QueryResult failure(QueryOutcome outcome, std::string reason) {
  return {.outcome = outcome, .reason = std::move(reason)};
}

bool isSuccess(std::int64_t httpStatus) {
  return httpStatus >= 200 && httpStatus < 300;
}

QueryResult resultOfStatus(std::int64_t httpStatus) {
  const std::string reason = "HTTP status " + std::to_string(httpStatus);
  if (httpStatus == 401 || httpStatus == 403) {
    return failure(QueryOutcome::UNAUTHORIZED, reason + ": a credential is missing or wrong");
  }
  if (httpStatus == 404) {
    return failure(QueryOutcome::NOT_FOUND, reason + ": the engine knows no selector of this tag");
  }
  const bool isRedirect = httpStatus >= 300 && httpStatus < 400;
  return failure(QueryOutcome::BAD_STATUS,
                 isRedirect ? reason + ": redirects are not followed" : reason);
}

QueryResult resultOfAnswer(const std::string& text) {
  QueryResult result{.outcome = QueryOutcome::ANSWERED};
  switch (readSelectorAnswer(text, &result.now)) {
    case SelectorAnswerStatus::Malformed:
      return failure(QueryOutcome::NOT_JSON, "the answer is not a JSON object");
    case SelectorAnswerStatus::NowMissing:
      return failure(QueryOutcome::NO_NOW, "the answer has no text under \"now\"");
    case SelectorAnswerStatus::TransportFailed:  // never from the reader
    case SelectorAnswerStatus::Ok: break;
  }
  return result;
}

QueryResult resultOfFailedConnection(const Transfer& transfer) {
  if (!transfer.refusedAddress.empty()) {
    return failure(QueryOutcome::FAILED, transfer.peer + " has the address " +
                                             transfer.refusedAddress +
                                             ", and only a loopback address may be asked");
  }
  if (transfer.systemError == ECONNREFUSED) {
    return failure(QueryOutcome::REFUSED, "connection refused at " + transfer.peer);
  }
  if (transfer.systemError == EACCES || transfer.systemError == EPERM) {
    return failure(QueryOutcome::FAILED, "permission denied at " + transfer.peer);
  }
  const std::string reason = "cannot connect to " + transfer.peer;
  if (transfer.systemError == 0) return failure(QueryOutcome::FAILED, reason);
  // No socket has this path.
  const bool isAbsent = transfer.systemError == ENOENT;
  return failure(isAbsent ? QueryOutcome::REFUSED : QueryOutcome::FAILED,
                 reason + ": " + std::generic_category().message(transfer.systemError));
}

QueryResult resultOfCode(const Transfer& transfer) {
  switch (static_cast<int>(transfer.code)) {
    case CURLE_COULDNT_CONNECT: return resultOfFailedConnection(transfer);
    case CURLE_OPERATION_TIMEDOUT:
      return failure(
          QueryOutcome::TIMED_OUT,
          "no whole answer within " + std::to_string(transfer.timeoutMilliseconds) + " ms");
    case CURLE_COULDNT_RESOLVE_HOST:
      return failure(QueryOutcome::NAME_NOT_FOUND, "no address found for " + transfer.peer);
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
      return failure(QueryOutcome::BAD_CERTIFICATE, "the certificate of " + transfer.peer +
                                                        " is not trusted, or is for another name");
    case CURLE_SSL_CACERT_BADFILE:
      return failure(QueryOutcome::BAD_CERTIFICATE, "the CA certificates cannot be read");
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
      return failure(QueryOutcome::FAILED,
                     transfer.peer + " closed the connection before the whole answer");
    default: return failure(QueryOutcome::FAILED, curl_easy_strerror(transfer.code));
  }
}

}  // namespace

QueryResult resultOf(const Transfer& transfer) {
  // A status is the reason even if the connection breaks behind it.
  if (transfer.httpStatus >= 300) return resultOfStatus(transfer.httpStatus);
  if (transfer.isTooLarge) {
    return failure(QueryOutcome::TOO_LARGE,
                   "the answer has more than " + std::to_string(kMaxAnswerBytes) + " bytes");
  }
  if (transfer.code != CURLE_OK) return resultOfCode(transfer);
  if (!isSuccess(transfer.httpStatus)) return resultOfStatus(transfer.httpStatus);
  return resultOfAnswer(transfer.answer);
}

SelectorAnswerStatus answerStatusOf(QueryOutcome outcome) noexcept {
  switch (outcome) {
    case QueryOutcome::ANSWERED: return SelectorAnswerStatus::Ok;
    case QueryOutcome::NOT_JSON: return SelectorAnswerStatus::Malformed;
    case QueryOutcome::NO_NOW: return SelectorAnswerStatus::NowMissing;
    case QueryOutcome::REFUSED:
    case QueryOutcome::TIMED_OUT:
    case QueryOutcome::NAME_NOT_FOUND:
    case QueryOutcome::BAD_CERTIFICATE:
    case QueryOutcome::UNAUTHORIZED:
    case QueryOutcome::NOT_FOUND:
    case QueryOutcome::BAD_STATUS:
    case QueryOutcome::TOO_LARGE:
    case QueryOutcome::FAILED: break;
  }
  return SelectorAnswerStatus::TransportFailed;
}

}  // namespace egress::live
