// SPDX-License-Identifier: MIT
// What an app-server sends, a message a line: nothing crashes, and no question stays open when the
// connection ends.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <tests/tools/relay/codex/RecordingSink.hpp>
#include <tools/relay/agents/codex/AppServerClient.hpp>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace idlewyn::relay::codex;
  RecordingSink sink;
  {
    AppServerClient client([](const std::string&) {}, sink);
    client.open();
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
      const std::size_t end = rest.find('\n');
      client.receive(rest.substr(0, end));
      if (!sink.open.empty())
        sink.answer(sink.open.begin()->first, idlewyn::PermissionDecision::always);
      rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
  }
  if (!sink.open.empty()) std::abort();
  return 0;
}
