// SPDX-License-Identifier: MIT
#include <tools/relay/state/StateFile.hpp>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <tools/relay-core/Secrets.hpp>
#include <tools/relay/state/PrivateFiles.hpp>

namespace idlewyn::relay {
namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string hostName() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

void addAddress(const sockaddr* address, std::vector<std::string>& names) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (address->sa_family == AF_INET) {
    const auto* ip = reinterpret_cast<const sockaddr_in*>(address);
    ::inet_ntop(AF_INET, &ip->sin_addr, text.data(), text.size());
  } else if (address->sa_family == AF_INET6) {
    const auto* ip = reinterpret_cast<const sockaddr_in6*>(address);
    if (IN6_IS_ADDR_LINKLOCAL(&ip->sin6_addr)) return;
    ::inet_ntop(AF_INET6, &ip->sin6_addr, text.data(), text.size());
  }
  if (text[0] != '\0') names.push_back("IP:" + std::string(text.data()));
}

/// The names and addresses of this machine, as a certificate names them.
std::vector<std::string> machineNames() {
  std::vector<std::string> names{"DNS:localhost"};
  const std::string host = hostName();
  const bool isPlain = !host.empty() && host.find_first_not_of(
                                            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                            "0123456789-.") == std::string::npos;
  if (isPlain && host != "localhost") {
    names.push_back("DNS:" + host);
    if (host.find('.') == std::string::npos) names.push_back("DNS:" + host + ".local");
  }
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) == 0) {
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
      if (entry->ifa_addr != nullptr) addAddress(entry->ifa_addr, names);
    }
    ::freeifaddrs(list);
  }
  if (names.size() == 1) names.insert(names.end(), {"IP:127.0.0.1", "IP:::1"});
  return names;
}

}  // namespace

std::string homeFolder() {
  const passwd* user = ::getpwuid(::geteuid());
  return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : environment("HOME");
}

std::string defaultStateFolder() {
  const std::string base = environment("XDG_STATE_HOME");
  return (base.starts_with('/') ? base : homeFolder() + "/.local/state") + "/idlewyn-relay";
}

std::string defaultHookSocket() { return homeFolder() + "/.local/state/idlewyn-relay/hook.sock"; }

StateFile::StateFile(std::string folder) : folder_(std::move(folder)) {
  if (!folder_.starts_with('/')) {
    throw std::runtime_error("The state folder " + folder_ + " is not an absolute path.");
  }
  makePrivateFolder(folder_);
  const std::string path = folder_ + "/state.json";
  if (const auto text = readPrivateFile(path)) {
    try {
      state_ = JSONDecoder::relay().decode<state::State>(std::string_view(*text));
    } catch (const DecodingError& error) {
      throw std::runtime_error(path + " is damaged (" + error.what() +
                               "). Move it away and run idlewyn-relay setup; devices then have "
                               "to pair again.");
    }
    exists_ = true;
  }
  if (state_.secret.empty()) state_.secret = randomToken();
}

void StateFile::save() {
  const Data text = JSONEncoder::relay().encode(state_);
  writePrivateFile(folder_ + "/state.json", text.storage);
  exists_ = true;
}

ServerCertificate StateFile::certificate() const {
  const std::string file = folder_ + "/certificate.pem";
  const std::string key = folder_ + "/key.pem";
  if (!readPrivateFile(key) || !readPrivateFile(file)) {
    CertificateOptions options;
    options.commonName = "Idlewyn relay";
    options.alternativeNames = machineNames();
    options.validTo = std::chrono::hours(24) * 365 * 30;
    const ServerCertificate made = ServerCertificate::make(options);
    writePrivateFile(key, made.keyPEM);
    writePrivateFile(file, made.chainPEM);
  }
  return ServerCertificate::read(file, key);
}

}  // namespace idlewyn::relay
