// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/net/URLSession.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

/// The one judge of every exchange with a relay.
namespace idlewyn::internal {

/// The body of a 2xx answer; throws the RelayError or URLError that any other outcome means.
/// `sent` is the address of the request that was sent.
platform::Data acceptedBody(platform::URLSession::Outcome outcome, const platform::URL& sent,
                            bool isPinned);

/// The record in an accepted body; what can't be decoded is an invalid response.
template <class R>
R decodedAnswer(const platform::Data& body) {
  try {
    return JSONDecoder::relay().decode<R>(body);
  } catch (const DecodingError&) {
    throw RelayError::invalidResponse();
  }
}

}  // namespace idlewyn::internal
