// SPDX-License-Identifier: MIT
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretServiceTable.hpp>
#include <IdlewynKit/platform/secrets/internal/glib/ServiceLink.hpp>

namespace idlewyn::platform::secretservice {
namespace {

using namespace std::chrono_literals;

// Anybody on the bus can read attributes, whether the collection is locked or not.
constexpr const char* schemaAttribute = "xdg:schema";
constexpr const char* schema = "idlewyn.GenericPassword";
constexpr const char* serviceAttribute = "service";
constexpr const char* accountAttribute = "account";
constexpr const char* groupAttribute = "access-group";
constexpr const char* accessibleAttribute = "accessible";

/// One verb's calls, which share its deadline.
class Conversation {
 public:
  Conversation(const ServiceLink& link, std::chrono::milliseconds time)
      : link_(link), deadline_(Clock::now() + time) {}

  const ServiceLink& link() const { return link_; }

  Owned<GVariant> call(const Object& object, const char* method, GVariant* arguments,
                       const char* replyType) const {
    return link_.call(object, method, arguments, replyType, deadline_);
  }

  Owned<GVariant> property(const Object& object, const char* name) const {
    const auto reply = call({object.path, propertiesInterface}, "Get",
                            g_variant_new("(ss)", object.interface, name), "(v)");
    GVariant* value = nullptr;
    g_variant_get(reply.get(), "(v)", &value);
    return Owned<GVariant>(value);
  }

  /// Nothing is asked of anybody: what would need a prompt is refused.
  void refusePrompt(const char* path) const {
    if (std::string_view(path) == "/") return;
    call({path, promptInterface}, "Dismiss", nullptr, "()");
    throw Failure{KeychainStatus::interactionNotAllowed};
  }

 private:
  const ServiceLink& link_;
  const Clock::time_point deadline_;
};

/// Runs a verb, once more when the service was started anew since.
template <class Verb>
Code carriedOut(std::chrono::milliseconds time, Verb verb) noexcept {
  try {
    for (bool isFirst = true;; isFirst = false) {
      const auto link = currentLink();
      try {
        return verb(Conversation(*link, time));
      } catch (const Failure& failure) {
        noteFailure(link, failure);
        if (!failure.isRepeatable || !isFirst) throw;
      }
    }
  } catch (const Failure& failure) {
    return failure.status;
  } catch (...) {
    return KeychainStatus::ioError;
  }
}

/// The bus carries UTF-8 without NUL only, so there can be no item under anything else.
bool canBeKept(const Address& address) {
  const auto isText = [](std::string_view text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr);
  };
  return isText(address.service) && isText(address.account) && isText(address.accessGroup);
}

/// A floating dictionary; without an address only what marks our items.
GVariant* attributesOf(const Address* address, const char* accessible) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
  const auto set = [&](const char* name, std::string_view value) {
    g_variant_builder_add(&builder, "{ss}", name, std::string(value).c_str());
  };
  set(schemaAttribute, schema);
  if (address) {
    set(serviceAttribute, address->service);
    set(accountAttribute, address->account);
    set(groupAttribute, address->accessGroup);
  }
  if (accessible) set(accessibleAttribute, accessible);
  return g_variant_builder_end(&builder);
}

const char* accessibleText(const Item& item) {
  return item.isForWhenUnlocked ? "when-unlocked" : "after-first-unlock";
}

std::vector<std::string> pathsIn(GVariant* tuple, std::size_t index) {
  std::vector<std::string> paths;
  const Owned<GVariant> array(g_variant_get_child_value(tuple, index));
  for (std::size_t i = 0; i < g_variant_n_children(array.get()); ++i) {
    const Owned<GVariant> path(g_variant_get_child_value(array.get(), i));
    paths.emplace_back(g_variant_get_string(path.get(), nullptr));
  }
  return paths;
}

/// Where new items go; nothing when there is no such collection.
std::optional<std::string> defaultCollection(const Conversation& conversation) {
  const auto reply =
      conversation.call(service, "ReadAlias", g_variant_new("(s)", "default"), "(o)");
  const char* path = nullptr;
  g_variant_get(reply.get(), "(&o)", &path);
  if (std::string_view(path) == "/") return std::nullopt;
  return path;
}

bool isLocked(const Conversation& conversation, const std::string& collection) {
  const Object object{collection.c_str(), collectionInterface};
  return g_variant_get_boolean(conversation.property(object, "Locked").get());
}

/// Our items, or those of one address. A locked item must never look like an absent one; there are
/// services that can't search what is locked.
std::vector<std::string> search(const Conversation& conversation, const Address* address) {
  const auto reply = conversation.call(
      service, "SearchItems", g_variant_new("(@a{ss})", attributesOf(address, nullptr)), "(aoao)");
  constexpr Failure locked{KeychainStatus::interactionNotAllowed};
  if (!pathsIn(reply.get(), 1).empty()) throw locked;
  auto paths = pathsIn(reply.get(), 0);
  if (!paths.empty()) return paths;
  const auto collection = defaultCollection(conversation);
  if (collection && isLocked(conversation, *collection)) throw locked;
  return paths;
}

std::vector<std::string> found(const Conversation& conversation, const Address& address) {
  if (!canBeKept(address)) throw Failure{KeychainStatus::itemNotFound};
  auto paths = search(conversation, &address);
  if (paths.empty()) throw Failure{KeychainStatus::itemNotFound};
  return paths;
}

Owned<SecretValue> secretOf(const Conversation& conversation, const std::string& path) {
  const auto reply =
      conversation.call({path.c_str(), itemInterface}, "GetSecret",
                        g_variant_new("(o)", conversation.link().session()), "((oayays))");
  const Owned<GVariant> secret(g_variant_get_child_value(reply.get(), 0));
  return conversation.link().decoded(secret.get());
}

std::string_view bytesOf(SecretValue* value) {
  std::size_t size = 0;
  const char* bytes = secret_value_get(value, &size);
  return {bytes, size};
}

std::optional<std::string> attribute(GVariant* attributes, const char* name) {
  const char* text = nullptr;
  if (!g_variant_lookup(attributes, name, "&s", &text)) return std::nullopt;
  return text;
}

Code reach() noexcept {
  return carriedOut(1s, [](const Conversation& conversation) {
    return defaultCollection(conversation) ? KeychainStatus::success
                                           : KeychainStatus::noDefaultKeychain;
  });
}

Code read(const Address& address, Receiver receiver, void* context) noexcept {
  return carriedOut(2s, [&](const Conversation& conversation) {
    const auto secret = secretOf(conversation, found(conversation, address).front());
    receiver(context, Item{address, bytesOf(secret.get()), false, 0});
    return KeychainStatus::success;
  });
}

/// Searching and creating are two calls. When two processes create an item at once, both succeed
/// and one item with one of the values is left: the service is told to replace.
Code insert(const Item& item) noexcept {
  return carriedOut(2s, [&](const Conversation& conversation) {
    if (!canBeKept(item.address)) return KeychainStatus::badParameter;
    if (!search(conversation, &item.address).empty()) return KeychainStatus::duplicateItem;
    const auto path = defaultCollection(conversation);
    if (!path) return KeychainStatus::noDefaultKeychain;
    GVariant* secret = conversation.link().encoded(item.value);
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Label",
                          g_variant_new_string(std::string(item.address.service).c_str()));
    g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Attributes",
                          attributesOf(&item.address, accessibleText(item)));
    const auto reply =
        conversation.call({path->c_str(), collectionInterface}, "CreateItem",
                          g_variant_new("(a{sv}@(oayays)b)", &properties, secret, TRUE), "(oo)");
    const char* prompt = nullptr;
    g_variant_get(reply.get(), "(&o&o)", nullptr, &prompt);
    conversation.refusePrompt(prompt);
    return KeychainStatus::success;
  });
}

Code replace(const Item& item) noexcept {
  return carriedOut(2s, [&](const Conversation& conversation) {
    for (const std::string& path : found(conversation, item.address)) {
      const Object object{path.c_str(), itemInterface};
      conversation.call(object, "SetSecret",
                        g_variant_new("(@(oayays))", conversation.link().encoded(item.value)),
                        "()");
      const auto attributes = conversation.property(object, "Attributes");
      if (attribute(attributes.get(), accessibleAttribute) == accessibleText(item)) continue;
      conversation.call({object.path, propertiesInterface}, "Set",
                        g_variant_new("(ssv)", object.interface, "Attributes",
                                      attributesOf(&item.address, accessibleText(item))),
                        "()");
    }
    return KeychainStatus::success;
  });
}

Code erase(const Address& address) noexcept {
  return carriedOut(2s, [&](const Conversation& conversation) {
    for (const std::string& path : found(conversation, address)) {
      const auto reply = conversation.call({path.c_str(), itemInterface}, "Delete", nullptr, "(o)");
      const char* prompt = nullptr;
      g_variant_get(reply.get(), "(&o)", &prompt);
      conversation.refusePrompt(prompt);
    }
    return KeychainStatus::success;
  });
}

void deliver(const Conversation& conversation, const std::string& path, Receiver receiver,
             void* context) {
  const Object object{path.c_str(), itemInterface};
  const auto attributes = conversation.property(object, "Attributes");
  const auto named = [&](const char* name) { return attribute(attributes.get(), name); };
  const auto serviceName = named(serviceAttribute), account = named(accountAttribute);
  if (!serviceName || !account) return;  // not one of ours, whatever its schema says
  const std::string group = named(groupAttribute).value_or("");
  const auto secret = secretOf(conversation, path);
  const auto modified = static_cast<std::int64_t>(
      g_variant_get_uint64(conversation.property(object, "Modified").get()));
  receiver(context, Item{{*serviceName, *account, group},
                         bytesOf(secret.get()),
                         named(accessibleAttribute) == "when-unlocked",
                         modified});
}

Code list(Receiver receiver, void* context) noexcept {
  return carriedOut(10s, [&](const Conversation& conversation) {
    for (const std::string& path : search(conversation, nullptr))
      deliver(conversation, path, receiver, context);
    return KeychainStatus::success;
  });
}

constexpr Table table{Table::currentVersion, reach, read, insert, replace, erase, list};

}  // namespace
}  // namespace idlewyn::platform::secretservice

extern "C" IDLEWYNKIT_EXPORT const idlewyn::platform::secretservice::Table*
idlewyn_secret_service() {
  return &idlewyn::platform::secretservice::table;
}
