// SPDX-License-Identifier: MIT
#include <tools/idlewyn/notify/DBusNotifier.hpp>

#include <algorithm>
#include <array>
#include <future>
#include <limits>
#include <memory>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

#include <IdlewynKit/Export.hpp>

namespace idlewyn::command {
namespace {

constexpr const char* server = "org.freedesktop.Notifications";
constexpr const char* place = "/org/freedesktop/Notifications";
constexpr unsigned connectLimit = 3000;  // milliseconds
constexpr int callLimit = 3000, goodbyeLimit = 500, forever = std::numeric_limits<int>::max();

std::string valid(const std::string& text) {
  char* made = g_utf8_make_valid(text.c_str(), -1);
  std::string result = made;
  g_free(made);
  return result;
}

std::string withoutMarkup(const std::string& text) {
  char* made = g_markup_escape_text(text.c_str(), -1);
  std::string result = made;
  g_free(made);
  return result;
}

// True when the call failed because this object is going away.
bool isCancelled(const GError* error) {
  return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
}

GVariant* finish(GObject* bus, GAsyncResult* result, int& calls, bool& wasCancelled) {
  --calls;
  GError* error = nullptr;
  GVariant* answer = g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error);
  wasCancelled = error != nullptr && isCancelled(error);
  g_clear_error(&error);
  return answer;
}

}  // namespace

struct DBusNotifier::PendingShow {
  DBusNotifier* notifier;
  std::string key;
};

DBusNotifier::DBusNotifier()
    : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), cancellable_(g_cancellable_new()) {
  loop_.post([this] { connect(); });
}

DBusNotifier::~DBusNotifier() {
  std::promise<void> done;
  loop_.post([&] {
    withdrawQuestions();
    // What was said last is worth some waiting, even for the bus.
    const bool isTelling = state() == NotifierState::ready || !waiting_.empty();
    whenQuiet(isTelling ? goodbyeLimit : 0, [&] {
      waiting_.clear();
      g_cancellable_cancel(cancellable_);
      if (watch_ != 0) g_bus_unwatch_name(watch_);
      if (bus_ != nullptr) g_dbus_connection_signal_unsubscribe(bus_, subscription_);
      // What was cancelled still calls back, later.
      whenQuiet(forever, [&] { done.set_value(); });
    });
  });
  done.get_future().wait();
  if (bus_ != nullptr) g_object_unref(bus_);
  g_object_unref(cancellable_);
  ::close(event_);
}

void DBusNotifier::whenQuiet(int milliseconds, std::function<void()> done) {
  constexpr int step = 5;
  const bool isQuiet = calls_ == 0 && waiting_.empty();
  if (isQuiet || milliseconds <= 0) return done();
  loop_.postLater(
      step, [this, milliseconds, done = std::move(done)] { whenQuiet(milliseconds - step, done); });
}

NotifierState DBusNotifier::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

std::string DBusNotifier::description() const {
  const std::lock_guard lock(mutex_);
  return description_;
}

std::vector<PressedButton> DBusNotifier::take() {
  std::uint64_t count = 0;
  static_cast<void>(!read(event_, &count, sizeof count));
  const std::lock_guard lock(mutex_);
  return std::exchange(pressed_, {});
}

void DBusNotifier::signalEvent() {
  const std::uint64_t one = 1;
  static_cast<void>(!write(event_, &one, sizeof one));
}

void DBusNotifier::tell(NotifierState state, std::string description) {
  {
    const std::lock_guard lock(mutex_);
    if (state_ == state && description_ == description) return;
    state_ = state;
    description_ = std::move(description);
  }
  signalEvent();
  if (state == NotifierState::ready) {
    for (const Notice& notice : std::exchange(waiting_, {}))
      send(notice);
  } else {
    std::erase_if(waiting_, [](const Notice& notice) { return !notice.isQuestion; });
  }
}

// ------------------------------------------------------------------------------- the server

void DBusNotifier::connect() {
  const auto address = sessionBusAddress();
  if (!address) return tell(NotifierState::unavailable, "There is no session bus.");
  constexpr auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  ++calls_;
  g_dbus_connection_new_for_address(address->c_str(), flags, nullptr, cancellable_, onConnected,
                                    this);
  // A socket that accepts and says nothing would be waited for.
  loop_.postLater(connectLimit, [this] {
    if (bus_ == nullptr) g_cancellable_cancel(cancellable_);
  });
}

void DBusNotifier::onConnected(GObject*, GAsyncResult* result, void* self) {
  auto* notifier = static_cast<DBusNotifier*>(self);
  --notifier->calls_;
  notifier->bus_ = g_dbus_connection_new_for_address_finish(result, nullptr);
  if (notifier->bus_ == nullptr) {
    return notifier->tell(NotifierState::unavailable, "The session bus can't be reached.");
  }
  g_dbus_connection_set_exit_on_close(notifier->bus_, FALSE);
  notifier->watchServer();
}

void DBusNotifier::watchServer() {
  subscription_ =
      g_dbus_connection_signal_subscribe(bus_, server, server, nullptr, place, nullptr,
                                         G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
  watch_ = g_bus_watch_name_on_connection(bus_, server, G_BUS_NAME_WATCHER_FLAGS_AUTO_START,
                                          onAppeared, onVanished, this, nullptr);
}

void DBusNotifier::onAppeared(GDBusConnection*, const char*, const char* owner, void* self) {
  auto* notifier = static_cast<DBusNotifier*>(self);
  notifier->owner_ = owner;
  notifier->askCapabilities();
}

// Its notices went with it.
void DBusNotifier::onVanished(GDBusConnection*, const char*, void* self) {
  auto* notifier = static_cast<DBusNotifier*>(self);
  while (!notifier->shown_.empty())
    notifier->forget(notifier->shown_.begin()->first);
  notifier->tell(NotifierState::unavailable, "No notification server runs on the session bus.");
}

void DBusNotifier::askCapabilities() {
  ++calls_;
  g_dbus_connection_call(bus_, server, place, server, "GetCapabilities", nullptr,
                         G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, callLimit, cancellable_,
                         onCapabilities, this);
}

void DBusNotifier::onCapabilities(GObject* source, GAsyncResult* result, void* self) {
  auto* notifier = static_cast<DBusNotifier*>(self);
  bool wasCancelled = false;
  GVariant* answer = finish(source, result, notifier->calls_, wasCancelled);
  if (wasCancelled) return;
  if (answer == nullptr) {
    return notifier->tell(NotifierState::unavailable, "The notification server does not answer.");
  }
  notifier->capabilities_.clear();
  GVariantIter* names = nullptr;
  g_variant_get(answer, "(as)", &names);
  for (const char* name = nullptr; g_variant_iter_next(names, "&s", &name) != FALSE;)
    notifier->capabilities_.insert(name);
  g_variant_iter_free(names);
  g_variant_unref(answer);
  ++notifier->calls_;
  g_dbus_connection_call(notifier->bus_, server, place, server, "GetServerInformation", nullptr,
                         G_VARIANT_TYPE("(ssss)"), G_DBUS_CALL_FLAGS_NONE, callLimit,
                         notifier->cancellable_, onInformation, self);
}

void DBusNotifier::onInformation(GObject* source, GAsyncResult* result, void* self) {
  auto* notifier = static_cast<DBusNotifier*>(self);
  bool wasCancelled = false;
  GVariant* answer = finish(source, result, notifier->calls_, wasCancelled);
  if (wasCancelled) return;
  std::string name = "a server without a name";
  if (answer != nullptr) {
    const char* told = nullptr;
    g_variant_get_child(answer, 0, "&s", &told);
    if (*told != '\0') name = told;
    g_variant_unref(answer);
  }
  notifier->tell(NotifierState::ready, std::move(name));
}

// ------------------------------------------------------------------------------ the notices

void DBusNotifier::show(Notice notice) {
  loop_.post([this, notice = std::move(notice)] {
    const NotifierState now = state();
    if (now == NotifierState::ready) return send(notice);
    if (now == NotifierState::connecting || notice.isQuestion) waiting_.push_back(notice);
  });
}

void DBusNotifier::withdraw(const std::string& key) {
  loop_.post([this, key] {
    std::erase_if(waiting_, [&](const Notice& notice) { return notice.key == key; });
    const auto found = shown_.find(key);
    if (found == shown_.end()) return;
    found->second.isWithdrawn = true;
    if (found->second.id != 0) close(found->second.id);
  });
}

std::string DBusNotifier::bodyOf(const Notice& notice) const {
  std::string text = valid(notice.body);
  if (!(can("actions") && showsAsItIs(notice)) && !notice.withoutButtons.empty()) {
    text += "\n" + valid(notice.withoutButtons);
  }
  return can("body-markup") ? withoutMarkup(text) : text;
}

// A server may take for markup what it does not announce as such, in the title too.
bool DBusNotifier::showsAsItIs(const Notice& notice) const {
  const bool hasMarkup = (notice.title + notice.body).find_first_of("<>&") != std::string::npos;
  return can("body") && (!hasMarkup || can("body-markup"));
}

std::vector<NoticeButton> DBusNotifier::buttonsOf(const Notice& notice) const {
  if (!can("actions")) return {};
  return showsAsItIs(notice) && !notice.buttons.empty() ? notice.buttons : notice.otherButtons;
}

void DBusNotifier::send(const Notice& notice) {
  Shown& shown = shown_[notice.key];
  const std::uint32_t replaces = shown.id;
  shown = Shown{notice, buttonsOf(notice), replaces};

  GVariantBuilder actions, hints;
  g_variant_builder_init(&actions, G_VARIANT_TYPE("as"));
  for (const NoticeButton& button : shown.buttons) {
    g_variant_builder_add(&actions, "s", button.name.c_str());
    g_variant_builder_add(&actions, "s", valid(button.label).c_str());
  }
  g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
  const auto urgency = static_cast<guint8>(notice.isQuestion ? 2 : 1);
  g_variant_builder_add(&hints, "{sv}", "urgency", g_variant_new_byte(urgency));
  // A server that shows no body shows all in the title, which is never markup.
  const std::string title =
      can("body") ? valid(notice.title) : valid(notice.title + ": " + notice.body);
  ++calls_;
  GVariant* call = g_variant_new("(susssasa{sv}i)", "idlewyn", replaces, "", title.c_str(),
                                 can("body") ? bodyOf(notice).c_str() : "", &actions, &hints,
                                 notice.isQuestion ? 0 : -1);
  g_dbus_connection_call(bus_, server, place, server, "Notify", call, G_VARIANT_TYPE("(u)"),
                         G_DBUS_CALL_FLAGS_NONE, callLimit, cancellable_, onShown,
                         new PendingShow{this, notice.key});
}

void DBusNotifier::onShown(GObject* source, GAsyncResult* result, void* data) {
  const std::unique_ptr<PendingShow> pending(static_cast<PendingShow*>(data));
  bool wasCancelled = false;
  GVariant* answer = finish(source, result, pending->notifier->calls_, wasCancelled);
  if (answer == nullptr) {
    if (!wasCancelled) pending->notifier->forget(pending->key);
    return;
  }
  std::uint32_t id = 0;
  g_variant_get(answer, "(u)", &id);
  g_variant_unref(answer);
  pending->notifier->noteShown(pending->key, id);
}

void DBusNotifier::forget(const std::string& key) {
  const auto found = shown_.find(key);
  if (found == shown_.end()) return;
  const Shown& shown = found->second;
  const bool isAnswered = shown.isPressed || shown.isWithdrawn;
  if (shown.notice.isQuestion && !isAnswered) waiting_.push_back(shown.notice);
  shown_.erase(found);
}

// Meanwhile it may have been withdrawn.
void DBusNotifier::noteShown(const std::string& key, std::uint32_t id) {
  const auto found = shown_.find(key);
  if (found == shown_.end()) return close(id);
  found->second.id = id;
  if (found->second.isWithdrawn) close(id);
}

void DBusNotifier::close(std::uint32_t id) {
  ++calls_;
  g_dbus_connection_call(bus_, server, place, server, "CloseNotification", g_variant_new("(u)", id),
                         nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, callLimit, cancellable_,
                         onClosed, this);
}

void DBusNotifier::onClosed(GObject* source, GAsyncResult* result, void* self) {
  bool ignored = false;
  GVariant* answer = finish(source, result, static_cast<DBusNotifier*>(self)->calls_, ignored);
  if (answer != nullptr) g_variant_unref(answer);
}

// Also those that the server has not numbered yet.
void DBusNotifier::withdrawQuestions() {
  std::erase_if(waiting_, [](const Notice& notice) { return notice.isQuestion; });
  for (auto& [key, shown] : shown_) {
    if (!shown.notice.isQuestion || shown.isWithdrawn) continue;
    shown.isWithdrawn = true;
    if (shown.id != 0) close(shown.id);
  }
}

std::map<std::string, DBusNotifier::Shown>::iterator DBusNotifier::find(std::uint32_t id) {
  return std::ranges::find_if(shown_, [&](const auto& entry) { return entry.second.id == id; });
}

void DBusNotifier::press(std::uint32_t id, const std::string& button) {
  const auto found = find(id);
  if (found == shown_.end()) return;
  Shown& shown = found->second;
  const bool isOffered =
      std::ranges::find(shown.buttons, button, &NoticeButton::name) != shown.buttons.end();
  if (!isOffered || shown.isPressed || shown.isWithdrawn) return;
  shown.isPressed = true;
  {
    const std::lock_guard lock(mutex_);
    pressed_.push_back({found->first, button});
  }
  signalEvent();
}

void DBusNotifier::onSignal(GDBusConnection*, const char* sender, const char*, const char*,
                            const char* signal, GVariant* parameters, void* self) {
  auto* notifier = static_cast<DBusNotifier*>(self);
  // Anybody on the bus can send such a signal to this very connection.
  if (notifier->owner_ != sender) return;
  const std::string name = signal;
  std::uint32_t id = 0;
  if (name == "ActionInvoked" && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(us)"))) {
    const char* button = nullptr;
    g_variant_get(parameters, "(u&s)", &id, &button);
    notifier->press(id, button);
  } else if (name == "NotificationClosed" &&
             g_variant_is_of_type(parameters, G_VARIANT_TYPE("(uu)"))) {
    constexpr std::uint32_t byTheUser = 2;
    std::uint32_t reason = 0;
    g_variant_get(parameters, "(uu)", &id, &reason);
    const auto found = notifier->find(id);
    if (found == notifier->shown_.end()) return;
    if (reason == byTheUser) found->second.isWithdrawn = true;
    notifier->forget(found->first);
  }
}

}  // namespace idlewyn::command

extern "C" IDLEWYNKIT_EXPORT idlewyn::command::Notifier* idlewynMakeNotifier() {
  return new idlewyn::command::DBusNotifier;
}
