// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/model/PushTokenRegistration.hpp>

#include <tools/relay-core/WireRecords.hpp>

/// The JSON objects that control requests read and write.
namespace idlewyn::sandbox::wire {

using platform::DecodingKey;
using platform::field;

using relay::wire::OK;
using relay::wire::Sessions;

/// What the program prints first, and what a fresh code is answered with.
struct Pairing {
  Pairing(std::string address, std::optional<std::string> fingerprint, std::string pairingCode,
          std::string pairingLink)
      : address(std::move(address)),
        fingerprint(std::move(fingerprint)),
        pairingCode(std::move(pairingCode)),
        pairingLink(std::move(pairingLink)) {}
  explicit Pairing(DecodingKey) {}
  static constexpr auto fields() {
    using P = Pairing;
    return std::tuple{field("address", &P::address), field("fingerprint", &P::fingerprint),
                      field("pairingCode", &P::pairingCode), field("pairingLink", &P::pairingLink)};
  }
  std::string address;
  std::optional<std::string> fingerprint;
  std::string pairingCode;
  std::string pairingLink;
};

struct Advance {
  explicit Advance(DecodingKey) {}
  static constexpr auto fields() { return std::tuple{field("advance", &Advance::advance)}; }
  double advance = 0;
};

struct Now {
  explicit Now(Date now) : now(now) {}
  explicit Now(DecodingKey) {}
  static constexpr auto fields() { return std::tuple{field("now", &Now::now)}; }
  Date now;
};

struct FaultRequest {
  explicit FaultRequest(DecodingKey) {}
  static constexpr auto fields() {
    using F = FaultRequest;
    return std::tuple{field("endpoint", &F::endpoint), field("fault", &F::fault),
                      field("count", &F::count)};
  }
  std::string endpoint;
  std::string fault;
  std::optional<std::int64_t> count;
};

struct Fingerprint {
  explicit Fingerprint(std::string fingerprint) : fingerprint(std::move(fingerprint)) {}
  explicit Fingerprint(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("fingerprint", &Fingerprint::fingerprint)};
  }
  std::string fingerprint;
};

struct RequestHeader {
  RequestHeader(std::string name, std::string value)
      : name(std::move(name)), value(std::move(value)) {}
  explicit RequestHeader(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("name", &RequestHeader::name), field("value", &RequestHeader::value)};
  }
  std::string name;
  std::string value;
};

struct Request {
  Request(std::string method, std::string target, std::vector<RequestHeader> headers,
          std::optional<std::string> body)
      : method(std::move(method)),
        target(std::move(target)),
        headers(std::move(headers)),
        body(std::move(body)) {}
  explicit Request(DecodingKey) {}
  static constexpr auto fields() {
    using R = Request;
    return std::tuple{field("method", &R::method), field("target", &R::target),
                      field("headers", &R::headers), field("body", &R::body)};
  }
  std::string method;
  std::string target;
  std::vector<RequestHeader> headers;
  /// Absent when it is not text.
  std::optional<std::string> body;
};

struct Requests {
  explicit Requests(std::vector<Request> requests) : requests(std::move(requests)) {}
  explicit Requests(DecodingKey) {}
  static constexpr auto fields() { return std::tuple{field("requests", &Requests::requests)}; }
  std::vector<Request> requests;
};

struct PushTokens {
  explicit PushTokens(std::vector<PushTokenRegistration> pushTokens)
      : pushTokens(std::move(pushTokens)) {}
  explicit PushTokens(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("pushTokens", &PushTokens::pushTokens)};
  }
  std::vector<PushTokenRegistration> pushTokens;
};

}  // namespace idlewyn::sandbox::wire
