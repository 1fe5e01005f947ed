// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>

#include <tools/relay/commands/Administration.hpp>

/// The local socket over which commands reach the running relay: one JSON object a line, one line
/// back. Only this user's processes are heard.
namespace idlewyn::relay {

class ControlServer {
 public:
  /// `administration` outlives the server. Throws std::runtime_error when the socket can't be
  /// made; the folder's lock has to be held, since an old socket is replaced.
  ControlServer(boost::asio::io_context& context, const std::string& folder,
                Administration& administration);
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;
  ~ControlServer();

 private:
  class Listener;
  std::string path_;
  std::shared_ptr<Listener> listener_;
};

/// Asks the running relay, or works on the folder itself while no relay runs. Throws
/// std::runtime_error with what went wrong, a member "error" of the answer included.
json::Object ask(const std::string& folder, const json::Object& request);

/// True while a relay holds the folder.
bool isRunning(const std::string& folder);

}  // namespace idlewyn::relay
