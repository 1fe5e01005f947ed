// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string_view>

#include <unistd.h>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/render/PictureFile.hpp>
#include <tools/idlewyn/render/RenderModule.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

namespace idlewyn::command {
namespace {

using namespace std::string_view_literals;

constexpr std::array formats{"png"sv, "svg"sv, "pdf"sv};
constexpr std::array looks{"light"sv, "dark"sv, "night"sv};

template <class E, std::size_t N>
std::optional<E> chosen(const std::array<std::string_view, N>& words, std::string_view word) {
  const auto found = std::ranges::find(words, word);
  if (found == words.end()) return std::nullopt;
  return static_cast<E>(found - words.begin());
}

// What the file's name says, when nothing else is asked for.
PictureFormat formatOf(const Arguments& given) {
  std::string word = given.text("--format");
  if (word.empty()) word = std::filesystem::path(given.text("--output")).extension().native();
  if (word.empty()) return PictureFormat::png;
  const auto format = chosen<PictureFormat>(formats, word.substr(word.starts_with('.') ? 1 : 0));
  if (!format) throw usageFailure("The file's name ends in no known format; give --format.");
  return *format;
}

}  // namespace

ExitCode runRender(const Arguments& given, Surroundings& with) {
  const LastSeen seen = lastSeen(given.agent());
  Rendering rendering(seen.snapshot);
  rendering.format = formatOf(given);
  rendering.look =
      chosen<PictureLook>(looks, given.text("--appearance")).value_or(PictureLook::light);
  rendering.scale = given.number("--scale", 2);
  rendering.now = DateClock::now();
  rendering.old = seen.oldAgents(rendering.now);
  const std::string file = given.text("--output");
  if (file.empty() && isatty(STDOUT_FILENO) != 0) {
    throw usageFailure("A picture is nothing for a terminal; give --output FILE.");
  }
  const platform::Data picture = render(rendering);
  if (file.empty()) {
    with.output.bytes(picture.text());
  } else {
    writePicture(picture, file);
    with.output.note("The picture is in " + displayLine(file) + ".");
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command
