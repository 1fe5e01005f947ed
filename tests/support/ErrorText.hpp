// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string>
#include <utility>

#include <IdlewynKit/platform/coding/DecodingError.hpp>
#include <IdlewynKit/platform/coding/EncodingError.hpp>
#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/tasks/Wait.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

/// Endings of operations as short texts.
namespace idlewyn::testing {

/// "ok" for no error, the number of a URLError, "decoding PATH", "encoding", or the sentence of a
/// RelayError or of any other.
inline std::string errorText(const std::exception_ptr& failure) {
  try {
    if (failure) std::rethrow_exception(failure);
    return "ok";
  } catch (const platform::URLError& error) {
    return std::to_string(static_cast<int>(error.code));
  } catch (const platform::DecodingError& error) {
    return "decoding " + platform::pathText(error.codingPath) + error.missingKey;
  } catch (const platform::EncodingError&) {
    return "encoding";
  } catch (...) {
    return errorDescription(failure);
  }
}

/// What an operation ended with, as such a text.
template <class Operation>
std::string outcomeOf(Operation&& operation) {
  try {
    platform::wait(operation());
  } catch (...) {
    return errorText(std::current_exception());
  }
  return "ok";
}

template <class T>
std::string outcomeOf(boost::asio::awaitable<T> operation) {
  return outcomeOf([&] { return std::move(operation); });
}

}  // namespace idlewyn::testing
