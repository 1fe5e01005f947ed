// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/NightMode.hpp>

#include <IdlewynKit/platform/view/Animation.hpp>
#include <IdlewynKit/ui/tokens/Palette.hpp>

namespace idlewyn {
namespace {

struct HiddenAtNight {
  View body(const platform::Environment& environment) const {
    return content.opacity(environment.value<IsNightMode>() ? 0 : 1);
  }

  View content;
};

constexpr double fadeSeconds = 1.2;
constexpr double nightContrast = 1.3;

}  // namespace

NightModeModifier::NightModeModifier(bool isOn) : isOn(isOn) {}

View NightModeModifier::body(const View& content) const {
  return content.environment<IsNightMode>(isOn)
      .grayscale(isOn ? 1 : 0)
      .contrast(isOn ? nightContrast : 1)
      .colorMultiply(isOn ? Palette::nightRed : Color::white())
      .animation(platform::Animation::easeInOut(fadeSeconds), isOn);
}

View nightMode(const View& content, bool isOn) { return NightModeModifier(isOn).body(content); }

View hiddenAtNight(const View& content) { return HiddenAtNight{content}; }

}  // namespace idlewyn
