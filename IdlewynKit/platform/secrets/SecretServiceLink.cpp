// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>

#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/platform/secrets/internal/glib/ServiceLink.hpp>

namespace idlewyn::platform::secretservice {
namespace {

using namespace std::chrono_literals;

constexpr const char* busName = "org.freedesktop.secrets";
constexpr Object bus{"/org/freedesktop/DBus", "org.freedesktop.DBus"};
constexpr Failure unreachable{KeychainStatus::notAvailable, false, true, true};

int millisecondsUntil(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  if (left <= 0ms) throw unreachable;
  return static_cast<int>(left.count());
}

/// Never "autolaunch:", which would start a bus that nobody asked for.
std::string busAddress() {
  if (const char* named = secure_getenv("DBUS_SESSION_BUS_ADDRESS"); named && *named) {
    const std::string address = named;
    return address.find("autolaunch:") == std::string::npos ? address : std::string();
  }
  const char* folder = secure_getenv("XDG_RUNTIME_DIR");
  if (!folder || *folder != '/') return {};
  const std::string socket = std::string(folder) + "/bus";
  struct stat status {};
  if (stat(socket.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return {};
  const std::unique_ptr<char, decltype(&g_free)> escaped(
      g_dbus_address_escape_value(socket.c_str()), g_free);
  return std::string("unix:path=") + escaped.get();
}

/// Waits for an asynchronous operation of GIO in the link's own context: the context of the
/// program, which may run in any thread or in none, has no part in it.
class Operation {
 public:
  explicit Operation(GMainContext* context) : context_(context), cancellable_(g_cancellable_new()) {
    g_main_context_push_thread_default(context_);
  }
  ~Operation() { g_main_context_pop_thread_default(context_); }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  GCancellable* cancellable() const { return cancellable_.get(); }

  static void finished(GObject*, GAsyncResult* result, gpointer self) {
    static_cast<Operation*>(self)->result_.reset(G_ASYNC_RESULT(g_object_ref(result)));
  }

  GAsyncResult* wait(int milliseconds) {
    GSource* timer = g_timeout_source_new(static_cast<guint>(milliseconds));
    g_source_set_callback(timer, &Operation::cancel, cancellable_.get(), nullptr);
    g_source_attach(timer, context_);
    while (!result_)
      g_main_context_iteration(context_, TRUE);
    g_source_destroy(timer);
    g_source_unref(timer);
    return result_.get();
  }

 private:
  static gboolean cancel(gpointer cancellable) {
    g_cancellable_cancel(static_cast<GCancellable*>(cancellable));
    return G_SOURCE_REMOVE;
  }

  GMainContext* const context_;
  const Owned<GCancellable> cancellable_;
  Owned<GAsyncResult> result_;
};

GDBusConnection* connect(GMainContext* context, const std::string& address, int milliseconds) {
  Operation operation(context);
  constexpr auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, operation.cancellable(),
                                    &Operation::finished, &operation);
  return g_dbus_connection_new_for_address_finish(operation.wait(milliseconds), nullptr);
}

/// libsecret's type insists on the shared connection, which ends the program with the bus; the
/// type below is the same one made the way that GObject makes any other.
void restoreConstructor(gpointer objectClass, gpointer) {
  const auto* base = static_cast<const GObjectClass*>(g_type_class_peek(G_TYPE_OBJECT));
  static_cast<GObjectClass*>(objectClass)->constructor = base->constructor;
}

GType privateServiceType() {
  static const GType type = g_type_register_static_simple(
      SECRET_TYPE_SERVICE, "IdlewynSecretService", sizeof(SecretServiceClass), &restoreConstructor,
      sizeof(SecretService), nullptr, static_cast<GTypeFlags>(0));
  return type;
}

SecretService* openSession(GMainContext* context, GDBusConnection* connection, int milliseconds) {
  Operation operation(context);
  constexpr auto flags = static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                                      G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS |
                                                      G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START);
  g_async_initable_new_async(privateServiceType(), G_PRIORITY_DEFAULT, operation.cancellable(),
                             &Operation::finished, &operation, "g-connection", connection,
                             "g-flags", flags, "g-name", busName, "g-object-path", service.path,
                             "g-interface-name", service.interface, "g-default-timeout",
                             milliseconds, "flags", SECRET_SERVICE_OPEN_SESSION, nullptr);
  GAsyncResult* result = operation.wait(milliseconds);
  const Owned<GObject> source(g_async_result_get_source_object(result));
  GObject* made = g_async_initable_new_finish(G_ASYNC_INITABLE(source.get()), result, nullptr);
  return made ? SECRET_SERVICE(made) : nullptr;
}

Failure failureOf(const GError* error) {
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
      g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    return unreachable;
  }
  if (error->domain == G_IO_ERROR && !g_dbus_error_is_remote_error(error)) {
    return {KeychainStatus::notAvailable, false, true, false};
  }
  const std::unique_ptr<char, decltype(&g_free)> owned(g_dbus_error_get_remote_error(error),
                                                       g_free);
  const std::string_view name = owned ? owned.get() : "";
  constexpr std::string_view secret = "org.freedesktop.Secret.Error.";
  constexpr std::string_view dbus = "org.freedesktop.DBus.Error.";
  const std::string_view kind = name.substr(std::min(name.rfind('.'), name.size() - 1) + 1);
  if (name.starts_with(secret)) {
    if (kind == "IsLocked") return {KeychainStatus::interactionNotAllowed};
    if (kind == "NoSuchObject") return {KeychainStatus::itemNotFound};
    if (kind == "NoSession") return {KeychainStatus::notAvailable, true, true, false};
  }
  if (name.starts_with(dbus)) {
    if (kind == "ServiceUnknown" || kind == "NameHasNoOwner") {
      return {KeychainStatus::notAvailable, true, true, false};
    }
    if (kind == "NoReply" || kind == "Timeout" || kind == "TimedOut") return unreachable;
    if (kind == "Disconnected") return {KeychainStatus::notAvailable, false, true, false};
    if (kind == "UnknownObject" || kind == "UnknownMethod") return {KeychainStatus::itemNotFound};
  }
  return {KeychainStatus::ioError};
}

Owned<GVariant> callOn(GDBusConnection* connection, const char* destination, const Object& object,
                       const char* method, GVariant* arguments, const char* replyType,
                       Clock::time_point deadline) {
  const Owned<GVariant> sunk(arguments ? g_variant_ref_sink(arguments) : nullptr);
  GError* raw = nullptr;
  Owned<GVariant> reply(g_dbus_connection_call_sync(
      connection, destination, object.path, object.interface, method, arguments,
      G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, millisecondsUntil(deadline),
      nullptr, &raw));
  if (reply) return reply;
  const Owned<GError> error(raw);
  throw failureOf(error.get());
}

/// GDBus works with a thread that a forked child does not have.
struct Process {
  std::mutex mutex;
  std::atomic<pid_t> id = 0;
  std::shared_ptr<const ServiceLink> link;
  /// What `link` and `restsUntil` are about.
  std::string address;
  Clock::time_point restsUntil;
};

Process& process() {
  static auto& made = *new Process;
  return made;
}

}  // namespace

// Delegates, so that the destructor clears up after a failure too.
ServiceLink::ServiceLink(const std::string& address, Clock::time_point deadline) : ServiceLink() {
  connection_.reset(connect(context_.get(), address, millisecondsUntil(deadline)));
  if (!connection_) throw unreachable;
  g_dbus_connection_set_exit_on_close(connection_.get(), FALSE);
  startService(deadline);
  service_.reset(openSession(context_.get(), connection_.get(), millisecondsUntil(deadline)));
  if (!service_ || !session()) throw unreachable;
}

ServiceLink::~ServiceLink() {
  service_.reset();
  connection_.reset();
  // What a proxy leaves behind is freed from its context.
  while (g_main_context_iteration(context_.get(), FALSE)) {
  }
}

void ServiceLink::startService(Clock::time_point deadline) const {
  const auto ask = [&](const char* method, GVariant* arguments, const char* replyType) {
    return callOn(connection_.get(), bus.interface, bus, method, arguments, replyType, deadline);
  };
  gboolean isOwned = FALSE;
  const auto owner = ask("NameHasOwner", g_variant_new("(s)", busName), "(b)");
  g_variant_get(owner.get(), "(b)", &isOwned);
  // A bus that can't start it says so at once.
  if (!isOwned) ask("StartServiceByName", g_variant_new("(su)", busName, 0U), "(u)");
}

Owned<GVariant> ServiceLink::call(const Object& object, const char* method, GVariant* arguments,
                                  const char* replyType, Clock::time_point deadline) const {
  return callOn(connection_.get(), busName, object, method, arguments, replyType, deadline);
}

GVariant* ServiceLink::encoded(std::string_view value) const {
  // "value" may be a null pointer when empty.
  const Owned<SecretValue> secret(secret_value_new(value.empty() ? "" : value.data(),
                                                   static_cast<gssize>(value.size()),
                                                   "application/octet-stream"));
  GVariant* encoded = secret_service_encode_dbus_secret(service_.get(), secret.get());
  if (!encoded) throw Failure{KeychainStatus::ioError};
  return encoded;
}

Owned<SecretValue> ServiceLink::decoded(GVariant* secret) const {
  Owned<SecretValue> value(secret_service_decode_dbus_secret(service_.get(), secret));
  if (!value) throw Failure{KeychainStatus::ioError};
  return value;
}

std::shared_ptr<const ServiceLink> currentLink() {
  Process& current = process();
  const pid_t maker = current.id.load();
  if (maker != 0 && maker != getpid()) throw Failure{KeychainStatus::notAvailable};
  const std::string address = busAddress();
  if (address.empty()) throw Failure{KeychainStatus::notAvailable};
  const std::lock_guard lock(current.mutex);
  const bool isSameBus = current.address == address;
  if (isSameBus && current.link && !current.link->isClosed()) return current.link;
  if (!isSameBus) current.restsUntil = {};
  current.address = address;
  current.link.reset();
  if (Clock::now() < current.restsUntil) throw Failure{KeychainStatus::notAvailable};
  current.id.store(getpid());
  try {
    current.link = std::make_shared<const ServiceLink>(address, Clock::now() + 1s);
  } catch (const Failure&) {
    current.restsUntil = Clock::now() + 5s;
    throw Failure{KeychainStatus::notAvailable};
  }
  return current.link;
}

void noteFailure(const std::shared_ptr<const ServiceLink>& link, const Failure& failure) {
  if (!failure.endsLink) return;
  Process& current = process();
  const std::lock_guard lock(current.mutex);
  if (current.link != link) return;
  current.link.reset();
  if (failure.needsRest) current.restsUntil = Clock::now() + 5s;
}

}  // namespace idlewyn::platform::secretservice
