// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/platform/base/Data.hpp>

/// What the command and its drawing module say to each other.
namespace idlewyn::command {

enum class PictureFormat : std::uint8_t { png, svg, pdf };
enum class PictureLook : std::uint8_t { light, dark, night };

struct Rendering {
  explicit Rendering(SessionSnapshot snapshot) : snapshot(std::move(snapshot)) {}

  SessionSnapshot snapshot;
  /// The agents that do not answer, with the times of their last answers.
  std::map<AgentProvider, Date> old;
  PictureFormat format = PictureFormat::png;
  PictureLook look = PictureLook::light;
  /// Pixels a point, for PNG.
  double scale = 2;
  Date now;
};

struct Picture {
  platform::Data bytes;
  /// Why there is none.
  std::string error;
};

/// The module's one function, "idlewynRender". Throws nothing.
using Render = void(const Rendering& rendering, Picture& picture);

}  // namespace idlewyn::command
