// SPDX-License-Identifier: MIT
#include "Nginx.hpp"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <tests/support/Files.hpp>
#include <tests/support/RawServer.hpp>

namespace idlewyn::testing {
namespace {

using boost::asio::ip::tcp;

// Ports that are free now, held together so that they differ.
std::vector<std::uint16_t> freePorts(std::size_t count) {
  boost::asio::io_context context;
  std::vector<tcp::acceptor> held;
  std::vector<std::uint16_t> ports;
  for (std::size_t i = 0; i < count; ++i) {
    held.emplace_back(context, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
    ports.push_back(held.back().local_endpoint().port());
  }
  return ports;
}

}  // namespace

Nginx::Nginx(std::vector<NginxSite> sites) : sites_(std::move(sites)) {
  for (std::size_t i = 0; i < sites_.size(); ++i) {
    const auto certificate = relay::ServerCertificate::make();
    const std::string base = (folder() / std::to_string(i)).string();
    certificate.write(base + ".certificate.pem", base + ".key.pem");
    fingerprints_.push_back(certificate.fingerprint);
  }
  // Somebody else may take a free port before nginx does.
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (start()) return;
  }
  throw std::runtime_error("nginx does not start; is it installed? " +
                           contentOf(folder() / "error.log"));
}

std::string Nginx::address(std::size_t site) const {
  const bool isPlain = sites_.at(site).protocol == NginxSite::Protocol::plain;
  return (isPlain ? "http://127.0.0.1:" : "https://127.0.0.1:") + std::to_string(ports_.at(site));
}

std::string Nginx::serverBlock(std::size_t site) const {
  using Protocol = NginxSite::Protocol;
  const Protocol protocol = sites_[site].protocol;
  const std::string number = std::to_string(site);
  const std::string host = sites_[site].isOnAllLoopback ? "0.0.0.0:" : "127.0.0.1:";
  std::string text = "server { listen " + host + std::to_string(ports_[site]);
  if (protocol != Protocol::plain) text += " ssl";
  if (protocol == Protocol::http2) text += " http2";
  text += " backlog=4096;\n";
  if (protocol != Protocol::plain) {
    text += "ssl_certificate " + number + ".certificate.pem;\n";
    text += "ssl_certificate_key " + number + ".key.pem;\n";
  }
  if (sites_[site].isOnAllLoopback) text += "allow 127.0.0.0/8; deny all;\n";
  return text + sites_[site].directives + "\n}\n";
}

std::string Nginx::configuration() const {
  std::string text =
      "daemon off; master_process off; pid nginx.pid; error_log error.log;\n"
      "events { worker_connections 16384; }\n"
      "http {\n"
      "log_format line '$server_port $server_protocol $connection $sent_http_content_encoding';\n"
      "access_log access.log line; keepalive_requests 1000000;\n";
  for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
    text += std::string(kind) + "_temp_path " + kind + ";\n";
  }
  for (std::size_t i = 0; i < sites_.size(); ++i)
    text += serverBlock(i);
  return text + "}\n";
}

bool Nginx::start() {
  ports_ = freePorts(sites_.size());
  overwrite(folder() / "nginx.conf", configuration());
  process_.start(
      "ulimit -n $(ulimit -Hn); export PATH=/usr/sbin:/usr/local/sbin:/usr/bin;"
      " exec nginx -c nginx.conf -e error.log -p " +
      folder().string() + "/");
  // Its process id is written when it listens on all of its ports.
  if (process_.await([&] { return !contentOf(folder() / "nginx.pid").empty(); })) return true;
  process_.end(SIGTERM);
  return false;
}

std::vector<ServedRequest> Nginx::served(std::size_t count) const {
  std::vector<ServedRequest> found;
  waitUntil([&] {
    found.clear();
    std::istringstream log(contentOf(folder() / "access.log"));
    std::uint16_t port = 0;
    ServedRequest request;
    while (log >> port >> request.protocol >> request.connection >> request.encoding) {
      const auto site = std::find(ports_.begin(), ports_.end(), port);
      request.site = static_cast<std::size_t>(site - ports_.begin());
      found.push_back(request);
    }
    return found.size() >= count;
  });
  return found;
}

}  // namespace idlewyn::testing
