// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <IdlewynKit/platform/coding/DecodingError.hpp>
#include <IdlewynKit/platform/coding/EncodingError.hpp>
#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/tasks/Wait.hpp>
#include <IdlewynKit/push/internal/PushGatewayMaker.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

#include "tests/support/RawServer.hpp"

/// Short words for what the gateway's tests say often.
namespace idlewyn::testing {

inline std::unique_ptr<PushGatewayClient> clientOf(std::string_view address) {
  return internal::PushGatewayMaker::make(URL::parse(address));
}

inline std::string keyAnswer(const std::string& key) {
  return RawServer::answer("{\"pushKey\":\"" + key + "\"}");
}

inline std::string outcomeOf(const std::exception_ptr& error,
                             const std::optional<std::string>& key) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const RelayError& relayError) {
    return relayError.errorDescription();
  } catch (const platform::URLError& urlError) {
    return std::to_string(static_cast<int>(urlError.code));
  } catch (const platform::DecodingError& decodingError) {
    return "decoding " + platform::pathText(decodingError.codingPath) + decodingError.missingKey;
  } catch (const platform::EncodingError&) {
    return "encoding";
  } catch (const std::exception& other) {
    return other.what();
  }
  return key ? "key " + *key : "no gateway";
}

/// "key K", "no gateway", a RelayError's sentence, a URLError's number, "decoding PATH",
/// "encoding".
inline std::string ask(PushGatewayClient& client, std::string token = "00ff",
                       std::string environment = "production") {
  try {
    return outcomeOf({}, platform::wait(client.pushKey(std::move(token), std::move(environment))));
  } catch (...) {
    return outcomeOf(std::current_exception(), {});
  }
}

}  // namespace idlewyn::testing
