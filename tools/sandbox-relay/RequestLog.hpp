// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "HTTP.hpp"

namespace idlewyn::sandbox {

struct RecordedRequest {
  RecordedRequest(std::string method, std::string target, std::vector<Header> headers,
                  std::string body)
      : method(std::move(method)),
        target(std::move(target)),
        headers(std::move(headers)),
        body(std::move(body)) {}

  std::string method;
  /// As sent: path with the prefix, query, percent-encoded.
  std::string target;
  /// As sent, in order.
  std::vector<Header> headers;
  std::string body;
};

/// The latest requests. May be used from any thread.
class RequestLog {
 public:
  static constexpr std::size_t capacity = 10'000;

  void add(const HTTPRequest& request) {
    const std::lock_guard lock(mutex_);
    if (requests_.size() == capacity) requests_.pop_front();
    requests_.emplace_back(request.method, request.target, request.headers, request.body);
  }
  std::vector<RecordedRequest> all() const {
    const std::lock_guard lock(mutex_);
    return {requests_.begin(), requests_.end()};
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    requests_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::deque<RecordedRequest> requests_;
};

}  // namespace idlewyn::sandbox
