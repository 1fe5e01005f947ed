// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <tests/support/ServerProcess.hpp>
#include <tests/support/TemporaryFolder.hpp>
#include <tools/relay-core/ServerCertificate.hpp>

/// nginx as a process of its own, on free ports and with a folder of its own.
///
///     NginxSite site(NginxSite::Protocol::http2, "location / { return 204; }");
///     Nginx nginx({site});
///     nginx.address();   // https://127.0.0.1:41234
namespace idlewyn::testing {

struct NginxSite {
  enum class Protocol { plain, http1OverTLS, http2 };

  NginxSite(Protocol protocol, std::string directives, bool isOnAllLoopback = false)
      : protocol(protocol), directives(std::move(directives)), isOnAllLoopback(isOnAllLoopback) {}

  Protocol protocol;
  /// The inside of its `server` block, but for ports and certificate.
  std::string directives;
  /// Listens on every address of 127.0.0.0/8, and not on 127.0.0.1 alone.
  bool isOnAllLoopback = false;
};

/// What nginx logged of a request that it has answered.
struct ServedRequest {
  ServedRequest() = default;

  std::size_t site = 0;
  /// As "HTTP/2.0".
  std::string protocol;
  /// The serial number of the connection.
  std::string connection;
  /// The Content-Encoding that was sent; "-" for none.
  std::string encoding;
};

class Nginx {
 public:
  /// Accepts connections when it returns. Each site has a port and a self-signed certificate of
  /// its own. Throws std::runtime_error with nginx's words, also when there is no nginx.
  explicit Nginx(std::vector<NginxSite> sites);

  /// Without a slash at the end.
  std::string address(std::size_t site = 0) const;
  const std::string& fingerprint(std::size_t site = 0) const { return fingerprints_.at(site); }
  const std::filesystem::path& folder() const { return folder_.path(); }

  /// Requests in the order of their answers. Waits some seconds for `count` of them: an answer
  /// is logged after it was sent.
  std::vector<ServedRequest> served(std::size_t count) const;

 private:
  std::string configuration() const;
  std::string serverBlock(std::size_t site) const;
  bool start();

  const TemporaryFolder folder_;
  const std::vector<NginxSite> sites_;
  std::vector<std::string> fingerprints_;
  std::vector<std::uint16_t> ports_;
  ServerProcess process_;
};

}  // namespace idlewyn::testing
