// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <gio/gio.h>

namespace idlewyn::command {

/// The address of the session bus as the environment tells it. Nothing is started to get one.
std::optional<std::string> sessionBusAddress();

/// A main loop in a thread of its own.
class LoopThread {
 public:
  LoopThread();
  /// Runs what was posted, then ends.
  ~LoopThread();
  LoopThread(const LoopThread&) = delete;
  LoopThread& operator=(const LoopThread&) = delete;

  void post(std::function<void()> work);
  /// After so many milliseconds, unless the thread ends before.
  void postLater(unsigned milliseconds, std::function<void()> work);

 private:
  void attach(GSource* source, std::function<void()> work);
  static void* run(void* self);

  GMainContext* const context_;
  GMainLoop* const loop_;
  GThread* const thread_;
};

}  // namespace idlewyn::command
