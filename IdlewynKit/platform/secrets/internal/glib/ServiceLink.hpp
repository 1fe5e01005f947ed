// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>
#include <libsecret/secret.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// A connection of our own to the session bus and a session with its Secret Service. libsecret
/// ciphers what travels; the calls are made here, because its own ones wait for as long as the
/// bus does and may show prompts.
namespace idlewyn::platform::secretservice {

using Code = std::int32_t;
using Clock = std::chrono::steady_clock;

/// Thrown inside of the module only.
struct Failure {
  Code status;
  /// The link has ended and another may do better; nothing was changed by the call.
  bool isRepeatable = false;
  /// The link is of no use any more.
  bool endsLink = false;
  /// Who asks again soon would wait again.
  bool needsRest = false;
};

struct Free {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
  void operator()(SecretValue* value) const { secret_value_unref(value); }
  void operator()(GError* error) const { g_error_free(error); }
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

/// What a call is sent to.
struct Object {
  const char* path;
  const char* interface;
};

inline constexpr const char* collectionInterface = "org.freedesktop.Secret.Collection";
inline constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
inline constexpr const char* promptInterface = "org.freedesktop.Secret.Prompt";
inline constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
inline constexpr Object service{"/org/freedesktop/secrets", "org.freedesktop.Secret.Service"};

/// May be used from several threads at once.
class ServiceLink {
 public:
  /// Throws a Failure when there is no service by that time.
  ServiceLink(const std::string& address, Clock::time_point deadline);
  ~ServiceLink();
  ServiceLink(const ServiceLink&) = delete;
  ServiceLink& operator=(const ServiceLink&) = delete;

  bool isClosed() const { return g_dbus_connection_is_closed(connection_.get()); }
  /// Takes over floating arguments. Throws a Failure.
  Owned<GVariant> call(const Object& object, const char* method, GVariant* arguments,
                       const char* replyType, Clock::time_point deadline) const;
  const char* session() const { return secret_service_get_session_dbus_path(service_.get()); }
  /// A floating variant.
  GVariant* encoded(std::string_view value) const;
  Owned<SecretValue> decoded(GVariant* secret) const;

 private:
  ServiceLink() : context_(g_main_context_new()) {}
  void startService(Clock::time_point deadline) const;

  const Owned<GMainContext> context_;
  Owned<GDBusConnection> connection_;
  Owned<SecretService> service_;
};

/// The link of this process, made when there is none. Throws a Failure, and for five seconds
/// after one that cost time throws it at once.
std::shared_ptr<const ServiceLink> currentLink();
/// What a failure means for the links that are made later.
void noteFailure(const std::shared_ptr<const ServiceLink>& link, const Failure& failure);

}  // namespace idlewyn::platform::secretservice
