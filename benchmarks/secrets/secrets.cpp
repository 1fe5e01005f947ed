// SPDX-License-Identifier: MIT
#include <libsecret/secret.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

#include <IdlewynKit/platform/secrets/internal/SecretServiceKeychain.hpp>
#include <tests/contracts/KeyringSession.hpp>

#include "network/Interleaved.hpp"
#include "support/Ratio.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;
using namespace idlewyn::platform;

namespace {

constexpr double none = std::numeric_limits<double>::infinity();

/// What the module looks for, as libsecret's users write it.
GHashTable* attributesOf(const char* account) {
  GHashTable* attributes = g_hash_table_new(g_str_hash, g_str_equal);
  const char* const pairs[][2]{{"xdg:schema", "idlewyn.GenericPassword"},
                               {"service", "bench"},
                               {"account", account},
                               {"access-group", "group"}};
  for (const auto& [name, value] : pairs) {
    g_hash_table_insert(attributes, const_cast<char*>(name), const_cast<char*>(value));
  }
  return attributes;
}

/// The bytes that were found. Locked items are told from absent ones, as the library does it.
std::size_t searchByLibsecret(const char* account) {
  GHashTable* attributes = attributesOf(account);
  constexpr auto flags =
      static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS);
  GList* items = secret_service_search_sync(nullptr, nullptr, attributes, flags, nullptr, nullptr);
  std::size_t size = 0;
  if (items) {
    SecretValue* value = secret_item_get_secret(SECRET_ITEM(items->data));
    if (value) {
      secret_value_get(value, &size);
      secret_value_unref(value);
    }
  }
  g_list_free_full(items, g_object_unref);
  g_hash_table_unref(attributes);
  return size;
}

/// The short way, to which a locked item is an absent one.
std::size_t lookUpByLibsecret(const char* account) {
  GHashTable* attributes = attributesOf(account);
  SecretValue* value = secret_service_lookup_sync(nullptr, nullptr, attributes, nullptr, nullptr);
  std::size_t size = 0;
  if (value) {
    secret_value_get(value, &size);
    secret_value_unref(value);
  }
  g_hash_table_unref(attributes);
  return size;
}

}  // namespace

int main(int argc, char** argv) {
  const bool isQuick = std::find(argv, argv + argc, std::string_view("--quick")) != argv + argc;
  testing::KeyringSession::shared().enter();
  const auto keychain = makeGroupedKeychain(sharedSecretServiceItems(), {"group"});
  const auto lookUp = [&](const char* account) {
    const KeychainMatch match = keychain->copyMatching({"bench", account, "group"});
    return match.data ? match.data->size() : 0;
  };

  Comparisons comparisons(argc, argv);
  for (const int size : {64, 65536}) {
    const std::string name = std::to_string(size);
    const char* account = name.c_str();
    const std::string bytes(static_cast<std::size_t>(size), 'x');
    keychain->add({"bench", account, "group"},
                  {Data::ofText(bytes), KeychainAccessibility::afterFirstUnlock});
    if (lookUp(account) != bytes.size() || searchByLibsecret(account) != bytes.size() ||
        lookUpByLibsecret(account) != bytes.size()) {
      std::puts("the ways to look up do not agree");
      return 2;
    }
    const auto compare = [&](const std::string& title, double limit, auto baseline) {
      const int rounds = isQuick ? 9 : 41;
      const Interleaved result = interleave(
          rounds, [&] { return elapsed(10, [&] { keep(lookUp(account)); }); },
          [&] { return elapsed(10, [&] { keep(baseline(account)); }); });
      std::printf("%s: %.3f ms, raw %.3f ms\n", title.c_str(), result.subject, result.baseline);
      comparisons.value(title, limit, result.ratio);
    };
    compare("look-up of " + name + " / libsecret search", 1.0, searchByLibsecret);
    compare("look-up of " + name + " / libsecret look-up", none, lookUpByLibsecret);
  }
  return comparisons.finish();
}
