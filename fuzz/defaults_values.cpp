// SPDX-License-Identifier: MIT
// Whatever the file of a suite holds: reading gives a value or nothing and changes nothing, a
// value that is set can be read, and a file that was set aside is the one that was there.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <tests/support/TemporaryFolder.hpp>

#include <IdlewynKit/platform/defaults/UserDefaults.hpp>

#include "support/Require.hpp"

using namespace idlewyn::platform;
using idlewyn::fuzz::require;

namespace fs = std::filesystem;

namespace {

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const idlewyn::testing::TemporaryFolder folder;
  const fs::path file = folder.path() / "defaults/s.sqlite3";
  // The file of the time before is trusted for a few milliseconds.
  std::this_thread::sleep_for(std::chrono::milliseconds(6));
  fs::create_directories(file.parent_path());
  const std::string content(reinterpret_cast<const char*>(bytes), size);
  std::ofstream(file, std::ios::binary) << content;
  setenv("IDLEWYN_DATA_DIR", folder.path().c_str(), 1);

  if (std::optional<UserDefaults> suite = UserDefaults::suite("s")) {
    for (const char* key : {"", "data", "text", "integer", "real", "boolean"})
      suite->value(key);
    require(contentOf(file) == content);
    if (suite->set("key", std::string("value"))) {
      require(suite->value("key") == UserDefaults::Value(std::string("value")));
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(file.parent_path())) {
      const std::string name = entry.path().filename();
      if (name.find(".damaged-") != std::string::npos && !name.ends_with("-wal") &&
          !name.ends_with("-shm")) {
        require(contentOf(entry.path()) == content);
      }
    }
  }
  fs::remove_all(file.parent_path());
  return 0;
}
