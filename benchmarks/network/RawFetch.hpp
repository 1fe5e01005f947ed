// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace idlewyn::bench {

/// What a program would do that uses libcurl itself, and well: one multi handle with all of its
/// connections kept, an easy handle for each relay that is used again, and a pinned certificate
/// in place of authorities. Like the library it asks all relays at once.
class RawFetch {
 public:
  /// `address` gives that of a relay by its number; an empty pin is for plain http.
  RawFetch(std::function<std::string(std::size_t)> address, std::string pin);
  ~RawFetch();
  RawFetch(const RawFetch&) = delete;
  RawFetch& operator=(const RawFetch&) = delete;

  /// The bodies of the answers of the first `count` relays, fetched at once. Ends the program
  /// when one fails.
  std::vector<std::string> fetch(std::size_t count);

 private:
  void* transfer(std::size_t number);

  const std::function<std::string(std::size_t)> address_;
  const std::string pin_;
  void* multi_;                 // CURLM
  void* fields_;                // curl_slist
  std::vector<void*> handles_;  // CURL, by relay
};

}  // namespace idlewyn::bench
