// SPDX-License-Identifier: MIT
// Settings of an agent: hooks that are added and taken out again leave every byte as it was, and
// the document stays JSON in between.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <tools/relay/agents/Json.hpp>
#include <tools/relay/agents/install/HookSettings.hpp>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace idlewyn::relay;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const std::string bare = withoutHooks(text, "claude");
    const std::string with =
        withHooks(bare, {"claude", "/idlewyn-relay-hook", "", {"Stop", "SessionStart"}});
    if (!json::parsed(with) && json::parsed(bare)) std::abort();
    (void)hookedEvents(with, "claude");
    (void)withoutHooks(with, "claude");
  } catch (const SettingsError&) {
  }
  return 0;
}
