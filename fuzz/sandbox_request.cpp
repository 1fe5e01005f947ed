// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include <tools/sandbox-relay/HTTP.hpp>

namespace {

using idlewyn::sandbox::HTTPRequest;
using idlewyn::sandbox::RequestParser;

struct Outcome {
  std::vector<HTTPRequest> requests;
  int failure = 0;
};

// Reads the whole stream in pieces of `step` bytes.
Outcome read(std::string_view stream, std::size_t step) {
  Outcome outcome;
  RequestParser parser;
  while (!stream.empty()) {
    std::string_view piece = stream.substr(0, step);
    stream.remove_prefix(piece.size());
    while (true) {
      const auto state = parser.consume(piece);
      if (state == RequestParser::State::needsMore) break;
      if (state == RequestParser::State::failed) {
        outcome.failure = parser.failure();
        return outcome;
      }
      outcome.requests.push_back(parser.take());
      if (piece.empty()) break;
    }
  }
  return outcome;
}

void require(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

// How a stream is cut into reads must not change what is read from it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view stream(reinterpret_cast<const char*>(bytes), size);
  const Outcome whole = read(stream, size + 1);
  const Outcome pieces = read(stream, 1);
  require(whole.failure == pieces.failure && whole.requests.size() == pieces.requests.size());
  for (std::size_t i = 0; i < whole.requests.size(); ++i) {
    const HTTPRequest& request = whole.requests[i];
    require(request.target == pieces.requests[i].target && request.body == pieces.requests[i].body);
    require(request.headers == pieces.requests[i].headers);
    require(request.body.size() <= RequestParser::maximumBody && !request.method.empty());
    require(request.target.find_first_of(" \r\n") == std::string_view::npos);
  }
  return 0;
}
