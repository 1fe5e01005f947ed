// SPDX-License-Identifier: MIT
// What reaches the network floor as text: an address to be dialled, then a response's head.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <variant>

#include <IdlewynKit/platform/net/internal/PreparedRequest.hpp>
#include <IdlewynKit/platform/net/internal/ResponseReader.hpp>

using namespace idlewyn::platform;

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

// What is dialled is named by the address, and the request line can't be broken out of.
void prepareAddress(std::string_view text) {
  const auto url = URL::parse(text);
  if (!url) return;
  const auto prepared = prepare(URLRequest(*url));
  if (const auto* error = std::get_if<URLError>(&prepared)) {
    require(error->failingURL && !error->failingURL->userInfo());
    return;
  }
  const auto& accepted = std::get<PreparedRequest>(prepared);
  require(!accepted.host.empty() && accepted.host.size() == url->host()->size());
  require(accepted.target.find_first_of(std::string_view(" \r\n\t#\0", 6)) == std::string::npos);
}

void readResponse(std::string_view text) {
  ResponseReader reader;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n') + 1);
    if (line.empty()) break;
    if (reader.takeHeadLine(line) != HeadFault::none) return;
    text.remove_prefix(line.size());
  }
  const bool isComplete = reader.endedHeadStatus() != 0;
  require(reader.takeBody(text));
  const HTTPResponse response = reader.finish();
  require(response.body.text() == text);
  require(!isComplete || response.isHTTP());
  require(response.statusCode >= 0 && response.statusCode <= 999);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  const std::size_t end = input.find('\n');
  prepareAddress(input.substr(0, end));
  if (end != std::string_view::npos) readResponse(input.substr(end + 1));
  return 0;
}
