// SPDX-License-Identifier: MIT
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <IdlewynKit/platform/net/internal/Verdict.hpp>

namespace idlewyn::platform {
namespace {

TransferFacts facts(Ending ending, TrustResult trust, int code, std::string_view text = "") {
  TransferFacts result;
  result.ending = ending;
  result.trust = trust;
  result.curlCode = code;
  result.curlText = text;
  result.isHeadComplete = true;
  return result;
}

std::string describe(const Verdict& verdict) {
  if (verdict.kind == Verdict::Kind::answer) return "answer";
  if (verdict.kind == Verdict::Kind::notHTTP) return "not HTTP";
  return std::to_string(static_cast<int>(verdict.code));
}

// What sockets can show is tested with sockets.
TEST(Verdict, PutsOurOwnEndingFirstThenTrustThenLibcurl) {
  using E = Ending;
  using T = TrustResult;
  struct Row {
    TransferFacts facts;
    const char* verdict;
    const char* why;
  };
  const Row rows[] = {
      {facts(E::deadline, T::cancelled, CURLE_PEER_FAILED_VERIFICATION), "-1001", "ours first"},
      {facts(E::bodyTooLarge, T::accepted, CURLE_WRITE_ERROR), "-1103", "not the write error"},
      {facts(E::switchedProtocols, T::accepted, CURLE_WRITE_ERROR), "answer", "101 is one"},
      {facts(E::noResources, T::notAsked, CURLE_OK), "-1004", "no verdict on any certificate"},
      {facts(E::wouldSendTwice, T::accepted, CURLE_ABORTED_BY_CALLBACK), "-1005",
       "what had happened before"},
      {facts(E::none, T::cancelled, CURLE_OK), "-999", "a refusal stands, whatever libcurl did"},
      {facts(E::none, T::untrusted, CURLE_SSL_CONNECT_ERROR), "-1202", "recorded by us"},
      {facts(E::none, T::notAsked, CURLE_PEER_FAILED_VERIFICATION), "-1202", "libcurl's word"},
      {facts(E::none, T::accepted, CURLE_SSL_CONNECT_ERROR), "-1200", "broken off later"},
      {facts(E::none, T::accepted, CURLE_RECV_ERROR, "sslv3 alert bad certificate"), "-1200",
       "refused by the server"},
      {facts(E::none, T::notAsked, CURLE_SEND_FAIL_REWIND), "-1005", "nothing is sent twice"},
      {facts(E::none, T::notAsked, CURLE_HTTP2_STREAM), "-1005", "a stream's reset"},
      {facts(E::none, T::notAsked, CURLE_OK), "answer", ""},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(describe(verdictOf(row.facts)), row.verdict) << row.facts.curlCode << ' ' << row.why;
  }
  TransferFacts cutOff = facts(E::none, T::notAsked, CURLE_OK);
  cutOff.isHeadComplete = false;
  EXPECT_EQ(describe(verdictOf(cutOff)), "-1005");
}

}  // namespace
}  // namespace idlewyn::platform
