// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "HTTPMessages.hpp"
#include "Service.hpp"

/// The relay's interface over HTTP: requests in, answers out.
///
///     Endpoints endpoints(service);
///     endpoints.answer(request, "v1/sessions", "provider=claude", "127.0.0.1", write);
namespace idlewyn::relay {

class Endpoints {
 public:
  using Answered = std::function<void(HTTPAnswer)>;

  explicit Endpoints(Service& service) : service_(service) {}

  /// `path` and `query` as they stand in the target, percent-encoded, without the relay's
  /// prefix; `origin` as Service::pair takes it. `answered` is called once, before this returns
  /// or when the service has completed. Bad requests become answers of the 400s.
  void answer(const HTTPRequest& request, std::string_view path, std::string_view query,
              const std::string& origin, Answered answered) const;

 private:
  struct Call;
  struct Route;

  void run(const Route& route, const HTTPRequest& request, std::string_view path,
           std::string_view query, const std::string& origin, Answered answered) const;
  void pair(const Call& call, Answered answered) const;
  void sessions(const Call& call, Answered answered) const;
  void decide(const Call& call, Answered answered) const;
  void settings(const Call& call, Answered answered) const;
  void changeSettings(const Call& call, Answered answered) const;
  void keepPushToken(const Call& call, Answered answered) const;
  void unpair(const Call& call, Answered answered) const;

  Service& service_;
};

}  // namespace idlewyn::relay
