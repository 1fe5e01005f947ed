// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/bundle/internal/Places.hpp>

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace idlewyn::platform::internal {

namespace fs = std::filesystem;

std::optional<fs::path> pathFromEnvironment(const char* name) {
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
  // The program itself goes without a name.
  if (known == 0 || map == nullptr || map->l_name[0] == '\0') return executableFile();
  std::error_code error;
  const fs::path file = fs::canonical(map->l_name, error);
  return error ? fs::path(map->l_name) : file;
}

fs::path resourceFolder(const fs::path& libraryFile) {
  const fs::path folder = libraryFile.parent_path();
  fs::path beside = folder / "IdlewynKitResources.bundle";
  std::error_code error;
  if (fs::is_directory(beside, error)) return beside;
  return (folder / IDLEWYNKIT_RESOURCES_FROM_LIBRARY).lexically_normal();
}

std::optional<std::string> contentsOf(const fs::path& file) {
  constexpr off_t largest = off_t{16} << 20;
  // Without O_NONBLOCK a pipe would be waited for.
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return std::nullopt;
  const std::unique_ptr<const int, void (*)(const int*)> closing(&descriptor,
                                                                 [](const int* d) { close(*d); });
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (status.st_size > largest) return std::nullopt;
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t count = read(descriptor, text.data() + length, text.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  text.resize(length);
  return text;
}

}  // namespace idlewyn::platform::internal
