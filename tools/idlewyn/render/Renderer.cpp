// SPDX-License-Identifier: MIT
#include <exception>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/Painter.hpp>

#include <tools/idlewyn/render/Rendering.hpp>
#include <tools/idlewyn/render/SessionCards.hpp>

namespace idlewyn::command {
namespace {

platform::Data paint(const platform::Frame& frame, const Rendering& rendering) {
  switch (rendering.format) {
    case PictureFormat::png: return platform::paintPNG(frame, rendering.scale);
    case PictureFormat::svg: return platform::paintSVG(frame);
    case PictureFormat::pdf: return platform::paintPDF(frame);
  }
  return {};
}

// Night is a filter over what is dark already.
platform::Data render(const Rendering& rendering) {
  const bool isNight = rendering.look == PictureLook::night;
  platform::Environment environment;
  environment.appearance = rendering.look == PictureLook::light ? platform::Appearance::light
                                                                : platform::Appearance::dark;
  const View cards =
      nightMode(SessionCards(rendering.snapshot, rendering.old, rendering.now), isNight);
  return paint(platform::frameOf(cards, environment, platform::Proposal(), rendering.now),
               rendering);
}

}  // namespace
}  // namespace idlewyn::command

extern "C" __attribute__((visibility("default"))) void idlewynRender(
    const idlewyn::command::Rendering& rendering, idlewyn::command::Picture& picture) {
  try {
    picture.bytes = idlewyn::command::render(rendering);
  } catch (const std::exception& error) {
    picture.error = error.what();
  }
}
