// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/RelayError.hpp>

#include <cstdio>

namespace idlewyn {

RelayError::RelayError(Kind errorKind, std::int64_t httpStatus) noexcept
    : kind(errorKind), status(httpStatus), serverText_(serverText(httpStatus)) {}

RelayError::ServerText RelayError::serverText(std::int64_t httpStatus) noexcept {
  ServerText text{};
  std::snprintf(text.data(), text.size(), "The relay returned HTTP %lld.",
                static_cast<long long>(httpStatus));
  return text;
}

std::string RelayError::errorDescription() const { return what(); }

const char* RelayError::what() const noexcept {
  thread_local ServerText assigned;
  switch (kind) {
    case Kind::server:
      assigned = serverText(status);
      return assigned == serverText_ ? serverText_.data() : assigned.data();
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
