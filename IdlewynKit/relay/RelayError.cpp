// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/RelayError.hpp>

#include <cstdio>

namespace idlewyn {

RelayError::RelayError(Kind kind, std::int64_t status) noexcept : kind_(kind), status_(status) {
  if (kind != Kind::server) return;
  std::snprintf(serverText_.data(), serverText_.size(), "The relay returned HTTP %lld.",
                static_cast<long long>(status));
}

std::string RelayError::errorDescription() const { return what(); }

const char* RelayError::what() const noexcept {
  switch (kind_) {
    case Kind::server: return serverText_.data();
    case Kind::invalidResponse: return "The relay sent a response Vantor doesn’t understand.";
    case Kind::unauthorized: return "The relay rejected the pairing code or token. Pair again.";
    case Kind::promptExpired: return "That permission prompt was already answered or has expired.";
    case Kind::certificateMismatch:
      return "The relay’s security certificate isn’t the one Vantor paired with. If you reset the "
             "relay, pair again.";
    case Kind::tooManyAttempts: return "Too many wrong pairing codes. Wait a minute and try again.";
  }
  return "";
}

std::string errorDescription(const std::exception_ptr& error) {
  if (!error) return "";
  try {
    std::rethrow_exception(error);
  } catch (const RelayError& relayError) {
    return relayError.errorDescription();
  } catch (const std::exception& other) {
    return other.what();
  } catch (...) {
    return "An unknown error occurred.";
  }
}

}  // namespace idlewyn
