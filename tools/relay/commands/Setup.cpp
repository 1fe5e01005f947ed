// SPDX-License-Identifier: MIT
#include <tools/relay/commands/Setup.hpp>

#include <unistd.h>

#include <array>
#include <iostream>
#include <stdexcept>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>

#include <IdlewynKit/platform/base/URL.hpp>

#include <tools/relay/commands/Control.hpp>
#include <tools/relay/commands/ServiceManager.hpp>
#include <tools/relay/state/PrivateFiles.hpp>

namespace idlewyn::relay {
namespace {

using boost::asio::ip::tcp;

struct Place {
  std::string listen;
  /// Empty: what is listened on.
  std::string address;
};

std::string hostName() {
  std::array<char, 256> name{};
  ::gethostname(name.data(), name.size() - 1);
  return name.data();
}

/// This machine's name where other machines can resolve it, as far as that can be seen from here;
/// the address that leads to the network otherwise.
std::string networkHost() {
  boost::asio::io_context context;
  boost::system::error_code error;
  tcp::resolver resolver(context);
  for (const auto& entry : resolver.resolve(hostName(), "", error)) {
    if (!entry.endpoint().address().is_loopback()) return hostName();
  }
  // Connecting a datagram socket sends nothing; it shows which address would be used.
  boost::asio::ip::udp::socket socket(context, boost::asio::ip::udp::v4());
  const boost::asio::ip::udp::endpoint documentation(boost::asio::ip::make_address("192.0.2.1"), 9);
  socket.connect(documentation, error);
  if (!error) return socket.local_endpoint().address().to_string();
  throw std::runtime_error(
      "This machine has no address in a network. Name the address at which devices reach it: "
      "idlewyn-relay setup --address https://HOST:PORT");
}

std::string line(const char* question) {
  std::cout << question << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) throw std::runtime_error("Nothing was changed.");
  return answer;
}

Place askPlace() {
  std::cout << "Where should devices reach this relay?\n"
               "  1  on this machine only\n"
               "  2  in this network\n"
               "  3  at an address of yours (VPN, tunnel, proxy)\n";
  const std::string answer = line("Choose 1, 2 or 3 [1]: ");
  if (answer == "2") return {"0.0.0.0", "network"};
  if (answer == "3") {
    return {"0.0.0.0", line("Its address, for example https://machine.example:8317: ")};
  }
  if (!answer.empty() && answer != "1") throw std::runtime_error("Choose 1, 2 or 3.");
  return {"127.0.0.1", ""};
}

Place placeOf(const SetupOptions& options) {
  if (options.listen || options.address) {
    return {options.listen.value_or(options.address ? "0.0.0.0" : "127.0.0.1"),
            options.address.value_or("")};
  }
  if (::isatty(STDIN_FILENO) != 0) return askPlace();
  std::cout << "Without a terminal the relay is reached on this machine only. Use --listen and "
               "--address for more.\n";
  return {"127.0.0.1", ""};
}

bool isEverywhere(const std::string& listen) { return listen == "0.0.0.0" || listen == "::"; }

void decide(state::State& state, const Place& place) {
  boost::system::error_code error;
  boost::asio::ip::make_address(place.listen, error);
  if (error) {
    throw std::runtime_error("--listen takes an IP address of this machine, not " + place.listen +
                             ".");
  }
  if (state.port == 0) state.port = freePort(place.listen);
  if (state.port == 0) throw std::runtime_error("No port is free at " + place.listen + ".");
  state.listen = place.listen;
  state.address = place.address;
  if (place.address == "network" || (place.address.empty() && isEverywhere(place.listen))) {
    state.address = "https://" + networkHost() + ":" + std::to_string(state.port);
  }
  while (state.address.ends_with('/'))
    state.address.pop_back();
  const auto url = platform::URL::parse(state.address);
  if (state.address.empty()) return;
  if (!url || (!state.address.starts_with("https://") && !state.address.starts_with("http://"))) {
    throw std::runtime_error("--address takes a URL such as https://machine.example:8317.");
  }
}

}  // namespace

std::uint16_t freePort(const std::string& host) {
  boost::asio::io_context context;
  for (std::uint16_t port = usualPort; port < usualPort + 50; ++port) {
    boost::system::error_code error;
    tcp::acceptor acceptor(context);
    const tcp::endpoint endpoint(boost::asio::ip::make_address(host, error), port);
    if (!error) acceptor.open(endpoint.protocol(), error);
    if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(1, error);
    if (!error) return port;
  }
  return 0;
}

bool setUp(const SetupOptions& options) {
  const Place place = placeOf(options);
  makePrivateFolder(options.folder);
  if (isRunning(options.folder)) {
    throw std::runtime_error(
        "A relay is running. Stop it first: systemctl --user stop idlewyn-relay");
  }
  {
    const auto lock = FolderLock::take(options.folder);
    if (!lock) throw std::runtime_error("Another command works with the relay. Try again.");
    StateFile file(options.folder);
    decide(file.state(), place);
    file.save();
    std::cout << "The relay's address is " << addressOf(file.state(), "https") << ".\n"
              << "Its certificate's fingerprint is " << file.certificate().fingerprint << ".\n";
  }
  if (options.noService || !startService(options.folder)) {
    std::cout << "Start the relay with: idlewyn-relay serve\n"
                 "Then pair a device with: idlewyn-relay link\n";
    return false;
  }
  return true;
}

}  // namespace idlewyn::relay
