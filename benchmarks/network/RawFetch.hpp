// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace idlewyn::bench {

/// What a program would do that uses libcurl itself, and well: one multi handle with all of its
/// connections kept, transfers that wait for a shared connection over TLS, and a pinned
/// certificate in place of authorities.
class RawFetch {
 public:
  /// An empty pin is for plain http.
  RawFetch(std::string address, std::string pin);
  ~RawFetch();
  RawFetch(const RawFetch&) = delete;
  RawFetch& operator=(const RawFetch&) = delete;

  /// The bodies of `count` answers that were fetched at once. Ends the program when one fails.
  std::vector<std::string> fetch(std::size_t count);

 private:
  void* transfer(std::string& body);

  const std::string address_;
  const std::string pin_;
  void* multi_;   // CURLM
  void* fields_;  // curl_slist
};

}  // namespace idlewyn::bench
