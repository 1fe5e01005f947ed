// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/base/internal/Program.hpp>

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>

namespace idlewyn::platform::internal {

namespace fs = std::filesystem;

std::optional<std::string> environmentVariable(const char* name) {
  const char* value = secure_getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

fs::path executableFile() {
  std::error_code error;
  const std::string file = fs::read_symlink("/proc/self/exe", error).string();
  // What the kernel appends when the file was replaced, by an upgrade for example.
  constexpr std::string_view mark = " (deleted)";
  if (!file.ends_with(mark) || fs::exists(file, error)) return file;
  return file.substr(0, file.size() - mark.size());
}

fs::path libraryFile() {
  static const char here = 0;
  Dl_info info{};
  link_map* map = nullptr;
  const int known = dladdr1(&here, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP);
  // The program itself goes without a name; "dli_fname" is then whatever it was called by.
  if (known == 0 || map == nullptr || map->l_name[0] == '\0') return executableFile();
  std::error_code error;
  const fs::path file = fs::canonical(map->l_name, error);
  return error ? fs::path(map->l_name) : file;
}

fs::path shippedFolder(const fs::path& libraryFile, std::string_view name,
                       std::string_view installed) {
  const fs::path folder = libraryFile.parent_path();
  fs::path beside = folder / name;
  std::error_code error;
  if (fs::is_directory(beside, error)) return beside;
  return (folder / installed).lexically_normal();
}

}  // namespace idlewyn::platform::internal
