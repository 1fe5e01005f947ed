// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <tools/idlewyn/notify/Notifier.hpp>
#include <tools/idlewyn/notify/SessionBus.hpp>

namespace idlewyn::command {

/// The notification server of the session bus (org.freedesktop.Notifications 1.2). All that
/// concerns the bus happens in the loop's thread.
class DBusNotifier final : public Notifier {
 public:
  DBusNotifier();
  ~DBusNotifier() override;

  NotifierState state() const override;
  std::string description() const override;
  int descriptor() const override { return event_; }
  void show(Notice notice) override;
  void withdraw(const std::string& key) override;
  std::vector<PressedButton> take() override;

 private:
  struct Shown {
    Notice notice;
    /// The buttons that it was given.
    std::vector<NoticeButton> buttons;
    /// The server's number of it; 0 until it has given one.
    std::uint32_t id = 0;
    bool isWithdrawn = false;
    bool isPressed = false;
  };
  struct PendingShow;

  void connect();
  void watchServer();
  void askCapabilities();
  void tell(NotifierState state, std::string description);
  void signalEvent();
  void send(const Notice& notice);
  void noteShown(const std::string& key, std::uint32_t id);
  void close(std::uint32_t id);
  void withdrawQuestions();
  /// The server shows it no more. The next one is to, if it is a question that nobody answered.
  void forget(const std::string& key);
  /// Calls when nothing will call back any more, or after that time.
  void whenQuiet(int milliseconds, std::function<void()> done);
  void press(std::uint32_t id, const std::string& button);
  std::string bodyOf(const Notice& notice) const;
  bool showsAsItIs(const Notice& notice) const;
  std::vector<NoticeButton> buttonsOf(const Notice& notice) const;
  bool can(const char* capability) const { return capabilities_.contains(capability); }
  std::map<std::string, Shown>::iterator find(std::uint32_t id);

  static void onConnected(GObject* source, GAsyncResult* result, void* self);
  static void onAppeared(GDBusConnection* bus, const char* name, const char* owner, void* self);
  static void onVanished(GDBusConnection* bus, const char* name, void* self);
  static void onCapabilities(GObject* source, GAsyncResult* result, void* self);
  static void onInformation(GObject* source, GAsyncResult* result, void* self);
  static void onClosed(GObject* source, GAsyncResult* result, void* self);
  static void onShown(GObject* source, GAsyncResult* result, void* pending);
  static void onSignal(GDBusConnection* bus, const char* sender, const char* path,
                       const char* interface, const char* signal, GVariant* parameters, void* self);

  const int event_;
  mutable std::mutex mutex_;
  NotifierState state_ = NotifierState::connecting;  // guarded by mutex_
  std::string description_;                          // guarded by mutex_
  std::vector<PressedButton> pressed_;               // guarded by mutex_

  // Of the loop's thread alone.
  GCancellable* const cancellable_;
  GDBusConnection* bus_ = nullptr;
  int calls_ = 0;  // that will call back
  std::string owner_;
  unsigned watch_ = 0;
  unsigned subscription_ = 0;
  std::set<std::string> capabilities_;
  std::map<std::string, Shown> shown_;
  /// For the next server.
  std::vector<Notice> waiting_;

  LoopThread loop_;  // last: it is the first to end
};

}  // namespace idlewyn::command
