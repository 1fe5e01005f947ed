// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>

namespace idlewyn::platform {
namespace {

Frame produce(const View& view, const Environment& environment, const Proposal& proposal,
              internal::Memory* memory, Date now) {
  internal::Resolver resolver(environment, memory, now);
  Frame frame;
  internal::Box* root = resolver.resolve(view);
  frame.isAnimating = resolver.isAnimating();
  if (!root) return frame;

  const Proposal offer = internal::sane(proposal);
  frame.size = root->size(offer);
  internal::FrameBuilder canvas;
  root->place(Point(), offer, canvas);
  frame.operations = canvas.takeOperations();
  frame.elements = canvas.takeElements();
  frame.nextChange = resolver.nextChange();
  return frame;
}

}  // namespace

Host::Host() : memory_(std::make_unique<internal::Memory>()) {}
Host::Host(Host&&) noexcept = default;
Host& Host::operator=(Host&&) noexcept = default;
Host::~Host() = default;

Frame Host::frame(const View& view, const Environment& environment, const Proposal& proposal,
                  Date now) {
  memory_->beginFrame(now);
  Frame frame = produce(view, environment, proposal, memory_.get(), now);
  memory_->endFrame();
  return frame;
}

Frame frameOf(const View& view, const Environment& environment, const Proposal& proposal,
              Date now) {
  return produce(view, environment, proposal, nullptr, now);
}

}  // namespace idlewyn::platform
