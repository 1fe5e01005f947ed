// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/PreparedRequest.hpp>

#include <arpa/inet.h>
#include <curl/curl.h>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include <IdlewynKit/platform/net/internal/HTTPSyntax.hpp>

namespace idlewyn::platform {
namespace {

using Refusal = std::pair<URLErrorCode, std::string>;
using IPv6Address = std::array<unsigned char, 16>;

std::string lowercased(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    c = lowercasedASCII(c);
  return result;
}

std::optional<Refusal> refusal(const URLRequest& request) {
  const std::string scheme = request.url.lowercasedScheme();
  if (scheme != "http" && scheme != "https") {
    return Refusal{URLErrorCode::unsupportedURL, "The address is neither http nor https."};
  }
  if (request.url.host().value_or("").empty()) {
    return Refusal{URLErrorCode::badURL, "The address names no host."};
  }
  if (!isToken(request.method)) {
    return Refusal{URLErrorCode::badURL, "The request's method is malformed."};
  }
  for (const auto& [name, value] : request.headers) {
    if (!isToken(name) || !isFieldValue(value)) {
      return Refusal{URLErrorCode::badURL, "One of the request's header fields is malformed."};
    }
  }
  if (request.method == "HEAD" && request.body) {
    return Refusal{URLErrorCode::badURL, "A HEAD request can't carry a body."};
  }
  return std::nullopt;
}

std::string_view withoutFragment(std::string_view text) { return text.substr(0, text.find('#')); }

std::shared_ptr<void> libcurlAddress(const URL& url) {
  std::shared_ptr<void> address(curl_url(),
                                [](void* p) { curl_url_cleanup(static_cast<CURLU*>(p)); });
  if (!address) throw std::bad_alloc();
  const std::string text(withoutFragment(url.withoutUserInfo().text()));
  const CURLUcode code = curl_url_set(static_cast<CURLU*>(address.get()), CURLUPART_URL,
                                      text.c_str(), CURLU_PATH_AS_IS);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  return code == CURLUE_OK ? address : nullptr;
}

std::string libcurlPart(void* address, CURLUPart part, unsigned flags) {
  char* text = nullptr;
  if (curl_url_get(static_cast<CURLU*>(address), part, &text, flags) != CURLUE_OK) return {};
  std::string result(text);
  curl_free(text);
  return result;
}

std::optional<IPv6Address> ipv6(std::string_view text) {
  IPv6Address bytes;
  if (inet_pton(AF_INET6, std::string(text).c_str(), bytes.data()) != 1) return std::nullopt;
  return bytes;
}

bool isNumeric(const std::string& host) {
  in_addr bytes;
  return inet_pton(AF_INET, host.c_str(), &bytes) == 1 || ipv6(host).has_value();
}

bool isSameHost(std::string_view ours, std::string_view theirs) {
  const bool bracketed = theirs.size() > 2 && theirs.front() == '[' && theirs.back() == ']';
  if (!bracketed) return equalIgnoringCase(ours, theirs);
  const auto address = ipv6(ours);
  return address && address == ipv6(theirs.substr(1, theirs.size() - 2));
}

// Leading zeros do not count; what is beyond five digits is no port.
std::string canonicalPort(const URL& url, bool isSecure) {
  std::string_view port = url.port().value_or("");
  if (port.empty()) return isSecure ? "443" : "80";
  while (port.size() > 1 && port.front() == '0')
    port.remove_prefix(1);
  return std::string(port);
}

bool libcurlAgrees(const PreparedRequest& prepared, std::string_view port) {
  void* address = prepared.address.get();
  const auto hasPart = [&](CURLUPart part) { return !libcurlPart(address, part, 0).empty(); };
  return address != nullptr && !hasPart(CURLUPART_USER) && !hasPart(CURLUPART_PASSWORD) &&
         isSameHost(prepared.host, libcurlPart(address, CURLUPART_HOST, 0)) &&
         libcurlPart(address, CURLUPART_PORT, CURLU_DEFAULT_PORT) == port;
}

std::string requestTarget(const URL& url) {
  std::string target(url.path().empty() ? "/" : url.path());
  if (const auto query = url.query()) target.append("?").append(*query);
  return target;
}

}  // namespace

std::variant<PreparedRequest, URLError> prepare(URLRequest request) {
  if (auto found = refusal(request)) {
    return URLError(found->first, request.url, std::move(found->second));
  }
  PreparedRequest prepared(std::move(request));
  const URL& url = prepared.request.url;
  const std::string scheme = url.lowercasedScheme();
  prepared.isSecure = scheme == "https";
  prepared.host = lowercased(*url.host());
  prepared.isHostNumeric = isNumeric(prepared.host);
  const std::string port = canonicalPort(url, prepared.isSecure);
  prepared.address = libcurlAddress(url);
  if (!libcurlAgrees(prepared, port)) {
    return URLError(URLErrorCode::badURL, url, "The address's host or port is malformed.");
  }
  prepared.origin = scheme;
  prepared.origin.append("://").append(prepared.host).append("|").append(port);
  prepared.target = requestTarget(url);
  return prepared;
}

}  // namespace idlewyn::platform
