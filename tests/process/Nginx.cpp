// SPDX-License-Identifier: MIT
#include "Nginx.hpp"

#include <arpa/inet.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace idlewyn::testing {
namespace {

using namespace std::chrono_literals;

// Ports that are free now, held together so that they differ.
std::vector<std::uint16_t> freePorts(std::size_t count) {
  std::vector<int> sockets;
  std::vector<std::uint16_t> ports;
  for (std::size_t i = 0; i < count; ++i) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bind(descriptor, reinterpret_cast<sockaddr*>(&address), size);
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    sockets.push_back(descriptor);
    ports.push_back(ntohs(address.sin_port));
  }
  for (const int descriptor : sockets)
    close(descriptor);
  return ports;
}

std::string contentsOf(const std::filesystem::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// In the forked child, where only the simplest calls are allowed.
[[noreturn]] void become(const char* prefix, const char* errorLog) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is killed leaves no server behind
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  for (const char* program : {"/usr/sbin/nginx", "/usr/local/sbin/nginx", "/usr/bin/nginx"}) {
    execl(program, "nginx", "-p", prefix, "-c", "nginx.conf", "-e", errorLog, nullptr);
  }
  _exit(127);
}

}  // namespace

Nginx::Nginx(std::vector<NginxSite> sites) : sites_(std::move(sites)) {
  for (std::size_t i = 0; i < sites_.size(); ++i) {
    const auto certificate = sandbox::ServerCertificate::make();
    const std::string base = (folder() / std::to_string(i)).string();
    certificate.write(base + ".certificate.pem", base + ".key.pem");
    fingerprints_.push_back(certificate.fingerprint);
  }
  // Somebody else may take a free port before nginx does.
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (start()) return;
  }
  throw std::runtime_error("nginx does not start; is it installed? " +
                           contentsOf(folder() / "error.log"));
}

Nginx::~Nginx() { stop(); }

std::string Nginx::address(std::size_t site) const {
  const bool isPlain = sites_.at(site).protocol == NginxSite::Protocol::plain;
  return (isPlain ? "http://127.0.0.1:" : "https://127.0.0.1:") + std::to_string(ports_.at(site));
}

std::string Nginx::serverBlock(std::size_t site) const {
  using Protocol = NginxSite::Protocol;
  const Protocol protocol = sites_[site].protocol;
  const std::string number = std::to_string(site);
  std::string text = "server { listen 127.0.0.1:" + std::to_string(ports_[site]);
  if (protocol != Protocol::plain) text += " ssl";
  if (protocol == Protocol::http2) text += " http2";
  text += " backlog=4096;\n";
  if (protocol != Protocol::plain) {
    text += "ssl_certificate " + number + ".certificate.pem;\n";
    text += "ssl_certificate_key " + number + ".key.pem;\n";
  }
  return text + sites_[site].directives + "\n}\n";
}

std::string Nginx::configuration() const {
  std::string text =
      "daemon off; master_process off; pid nginx.pid; error_log error.log;\n"
      "events { worker_connections 4096; }\n"
      "http {\n"
      "log_format line '$server_port $server_protocol $connection $status '\n"
      "                '$sent_http_content_encoding $request_uri';\n"
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
  std::ofstream(folder() / "nginx.conf") << configuration();
  const std::string prefix = folder().string() + "/";
  process_ = fork();
  if (process_ == 0) become(prefix.c_str(), "error.log");
  // Its process id is written when it listens on all of its ports.
  for (int i = 0; i < 4000 && waitpid(process_, nullptr, WNOHANG) == 0; ++i) {
    if (!contentsOf(folder() / "nginx.pid").empty()) return true;
    std::this_thread::sleep_for(5ms);
  }
  stop();
  return false;
}

void Nginx::stop() {
  if (process_ <= 0) return;
  kill(process_, SIGTERM);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

ServedRequest Nginx::parsed(const std::string& line) const {
  ServedRequest request;
  std::uint16_t port = 0;
  std::istringstream(line) >> port >> request.protocol >> request.connection >> request.status >>
      request.encoding >> request.target;
  const auto site = std::find(ports_.begin(), ports_.end(), port);
  request.site = static_cast<std::size_t>(site - ports_.begin());
  return request;
}

std::vector<ServedRequest> Nginx::served(std::size_t count) const {
  std::vector<ServedRequest> found;
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  do {
    found.clear();
    std::istringstream log(contentsOf(folder() / "access.log"));
    for (std::string line; std::getline(log, line);)
      found.push_back(parsed(line));
    if (found.size() >= count) break;
    std::this_thread::sleep_for(5ms);
  } while (std::chrono::steady_clock::now() < deadline);
  return found;
}

}  // namespace idlewyn::testing
