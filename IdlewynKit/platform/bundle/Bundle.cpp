// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/bundle/Bundle.hpp>

#include <algorithm>
#include <mutex>

#include <IdlewynKit/platform/base/internal/Files.hpp>
#include <IdlewynKit/platform/base/internal/Program.hpp>
#include <IdlewynKit/platform/bundle/internal/Information.hpp>
#include <IdlewynKit/platform/bundle/internal/Places.hpp>
#include <IdlewynKit/platform/coding/JSONDecoder.hpp>

namespace idlewyn::platform {

namespace {

namespace fs = std::filesystem;

struct MainInformation {
  std::mutex mutex;
  std::optional<fs::path> file;  // guarded by mutex
};

MainInformation& mainInformation() {
  static MainInformation& information = *new MainInformation;
  return information;
}

fs::path mainInformationFile() {
  {
    MainInformation& information = mainInformation();
    const std::lock_guard lock(information.mutex);
    if (information.file) return *information.file;
  }
  if (auto file = internal::environmentVariable("IDLEWYN_INFO")) return *std::move(file);
  fs::path file = internal::executableFile();
  return file += ".info.json";
}

fs::path libraryFolder() {
  if (auto folder = internal::environmentVariable("IDLEWYN_RESOURCES")) return *std::move(folder);
  return internal::resourceFolder(internal::libraryFile());
}

// A later change of the working folder must not lead elsewhere.
fs::path absolutePath(const fs::path& file) {
  std::error_code error;
  fs::path absolute = fs::absolute(file, error);
  return error ? file : absolute;
}

template <class T>
std::optional<T> decoded(const internal::InformationValues& values, std::string_view key,
                         char begin) {
  const auto found = values.find(key);
  if (found == values.end() || found->second.front() != begin) return std::nullopt;
  try {
    return PlainJSONDecoder().decode<T>(found->second);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

}  // namespace

const Bundle& Bundle::main() {
  static const Bundle& bundle = *new Bundle(mainInformationFile());
  return bundle;
}

void Bundle::setMainInformation(fs::path file) {
  MainInformation& information = mainInformation();
  const std::lock_guard lock(information.mutex);
  information.file = std::move(file);
}

const Bundle& Bundle::library() {
  static const Bundle& bundle = *new Bundle(libraryFolder() / "Info.json");
  return bundle;
}

Bundle::Bundle(const fs::path& file)
    : folder_(absolutePath(file).parent_path()),
      values_(internal::informationValues(internal::contentsOf(file).value_or(""))) {}

bool Bundle::contains(std::string_view key) const { return values_.contains(key); }

std::optional<std::string> Bundle::text(std::string_view key) const {
  return decoded<std::string>(values_, key, '"');
}

std::optional<std::vector<std::string>> Bundle::texts(std::string_view key) const {
  return decoded<std::vector<std::string>>(values_, key, '[');
}

std::optional<fs::path> Bundle::resource(std::string_view name) const {
  const fs::path relative(name);
  if (relative.is_absolute() || std::ranges::count(relative, "..") > 0) return std::nullopt;
  fs::path file = folder_ / relative;
  std::error_code error;
  if (!fs::is_regular_file(file, error)) return std::nullopt;
  return file;
}

}  // namespace idlewyn::platform
