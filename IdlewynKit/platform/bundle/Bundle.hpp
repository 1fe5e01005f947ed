// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/Export.hpp>

/// What an application is shipped with: its information dictionary and its resources.
///
///     std::optional<std::string> gateway = Bundle::main().text("PushGateway");
///     std::optional<std::filesystem::path> icon = Bundle::library().resource("icon.svg");
namespace idlewyn::platform {

/// The information dictionary is one JSON object in a file, the resources are the files beside
/// it. Immutable once made: a changed dictionary takes effect at the next start. May be used from
/// any thread. Throws nothing but std::bad_alloc.
class Bundle {
 public:
  /// The application's own, read at the first call. Its file is what `setMainInformation` named,
  /// else what the environment variable IDLEWYN_INFO names, else "NAME.info.json" beside the
  /// executable, NAME being that of the executable. No file, or one that can't be read, is an
  /// empty dictionary.
  IDLEWYNKIT_EXPORT static const Bundle& main();
  /// Names the file of `main()`. Without effect once `main()` was called.
  IDLEWYNKIT_EXPORT static void setMainInformation(std::filesystem::path file);

  /// This library's own, the folder "IdlewynKitResources.bundle" with its "Info.json". It is what
  /// the environment variable IDLEWYN_RESOURCES names, else beside the library or the program
  /// that the library is linked into, else where it is installed.
  IDLEWYNKIT_EXPORT static const Bundle& library();

  /// The dictionary in that file; empty unless it is a regular file of at most 16 MiB with one
  /// JSON object (RFC 8259; a byte-order mark is ignored). Of a repeated key the first counts.
  IDLEWYNKIT_EXPORT explicit Bundle(const std::filesystem::path& file);

  /// Whether there is a value other than null under the key.
  IDLEWYNKIT_EXPORT bool contains(std::string_view key) const;
  /// The value under the key when it is text, empty text included.
  IDLEWYNKIT_EXPORT std::optional<std::string> text(std::string_view key) const;
  /// The texts of an array under the key; nothing when it is no array or holds anything else.
  IDLEWYNKIT_EXPORT std::optional<std::vector<std::string>> texts(std::string_view key) const;

  /// Where the information file is, or would be.
  const std::filesystem::path& folder() const noexcept { return folder_; }
  /// The file of that name, "/" between folders, when there is one. Names that lead out of the
  /// folder have none.
  IDLEWYNKIT_EXPORT std::optional<std::filesystem::path> resource(std::string_view name) const;

 private:
  std::filesystem::path folder_;
  /// The JSON text of each value but null.
  std::map<std::string, std::string, std::less<>> values_;
};

}  // namespace idlewyn::platform
