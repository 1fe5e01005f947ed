// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/AppServerSource.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace idlewyn::relay::codex {
namespace {

constexpr int attemptsAfterAChange = 8;
constexpr std::chrono::milliseconds firstPause{50};

/// The socket itself: Codex links to it from its folder, because a socket's path must be short.
std::string realSocket(const std::string& path) {
  std::error_code ignored;
  const auto target = std::filesystem::canonical(path, ignored);
  return ignored ? std::string() : target.string();
}

}  // namespace

AppServerSource::AppServerSource(boost::asio::io_context& context, FileWatch& watch, Sink& sink,
                                 std::string codexHome)
    : context_(context),
      watch_(watch),
      sink_(sink),
      home_(std::move(codexHome)),
      socketPath_(home_ + "/app-server-control/app-server-control.sock"),
      timer_(context) {}

AppServerSource::~AppServerSource() {
  if (homeWatch_) watch_.remove(homeWatch_);
  if (controlWatch_) watch_.remove(controlWatch_);
}

void AppServerSource::start() {
  watchFolders();
  attempts_ = 1;
  connect();
}

bool AppServerSource::owns(const std::string& threadID) {
  if (!socket_) {
    attempts_ = std::max(attempts_, 1);
    connect();
  }
  if (!client_ || !client_->owns(threadID)) return false;
  client_->nudge(threadID);
  return true;
}

void AppServerSource::watchFolders() {
  const auto changed = [this](const std::string& name) {
    // Codex writes other files in its own folder all the time.
    if (!name.empty() && !name.starts_with("app-server")) return;
    watchFolders();
    attempts_ = attemptsAfterAChange;
    if (!socket_) connect();
  };
  if (!homeWatch_) homeWatch_ = watch_.add(home_, changed);
  if (!controlWatch_) controlWatch_ = watch_.add(home_ + "/app-server-control", changed);
}

void AppServerSource::connect() {
  if (socket_) return;
  const std::string path = realSocket(socketPath_);
  if (path.empty()) return retry();
  socket_ = std::make_unique<AppServerSocket>(context_);
  AppServerSocket::Handlers handlers;
  handlers.opened = [this] { opened(); };
  handlers.received = [this](std::string_view text) { client_->receive(text); };
  handlers.closed = [this](const std::string&) { closed(); };
  socket_->connect(path, std::move(handlers));
}

void AppServerSource::opened() {
  attempts_ = 0;
  isOpen_ = true;
  client_ = std::make_unique<AppServerClient>(
      [this](std::string text) { socket_->send(std::move(text)); }, sink_);
  client_->open();
}

void AppServerSource::closed() {
  if (isOpen_) attempts_ = attemptsAfterAChange;  // it may come back, after an update say
  isOpen_ = false;
  client_.reset();
  socket_.reset();
  retry();
}

void AppServerSource::retry() {
  if (attempts_ <= 0) return;  // the next change in the folders or the next hook tells
  const int done = attemptsAfterAChange - attempts_--;
  timer_.expires_after(firstPause * (1 << std::clamp(done, 0, attemptsAfterAChange)));
  timer_.async_wait([this](const boost::system::error_code& error) {
    if (!error) connect();
  });
}

}  // namespace idlewyn::relay::codex
