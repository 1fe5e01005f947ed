// SPDX-License-Identifier: MIT
// A line of the file in which Codex records a session, and the texts that its questions carry.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <tools/relay/agents/ShellWords.hpp>
#include <tools/relay/agents/codex/Patch.hpp>
#include <tools/relay/agents/codex/Rollout.hpp>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace idlewyn::relay::codex;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)turnEnd(text);
  // Whatever is shown of a patch, the patch is all in it.
  const std::string detail = patchDetail(text);
  if (!detail.empty() && !detail.ends_with(text)) std::abort();
  (void)idlewyn::relay::scriptOf(text);
  return 0;
}
