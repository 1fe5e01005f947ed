// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include <IdlewynKit/platform/view/Alignment.hpp>
#include <IdlewynKit/platform/view/Geometry.hpp>

namespace idlewyn::platform::internal {

class FrameBuilder;

enum class Axis : std::uint8_t { none, horizontal, vertical };

/// Whether a box takes all that it is offered in a direction.
struct Stretch {
  bool width = false;
  bool height = false;
};

/// A resolved view: everything about its environment is decided, its place is not.
class Box {
 public:
  explicit Box(Stretch stretch) : stretch_(stretch) {}
  Box(const Box&) = delete;
  Box& operator=(const Box&) = delete;
  virtual ~Box() = default;

  /// Asked often, so cheap for a proposal that it was asked before.
  virtual Size size(const Proposal& proposal) = 0;
  /// Draws at a place, in the size for that proposal.
  virtual void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) = 0;

  Stretch stretch() const noexcept { return stretch_; }

 private:
  friend class BoxArena;

  Box* previous_ = nullptr;
  Stretch stretch_;
};

/// A box with the size and place of the one inside.
class WrapperBox : public Box {
 public:
  explicit WrapperBox(Box* content)
      : Box(content ? content->stretch() : Stretch()), content_(content) {}
  Size size(const Proposal& proposal) override { return content_->size(proposal); }

 protected:
  Box* content_;
};

/// Owns the boxes of a frame, one behind the other.
class BoxArena {
 public:
  BoxArena() = default;
  BoxArena(const BoxArena&) = delete;
  BoxArena& operator=(const BoxArena&) = delete;
  ~BoxArena() {
    while (last_)
      std::exchange(last_, last_->previous_)->~Box();
  }

  template <class B, class... Arguments>
  B* make(Arguments&&... arguments) {
    void* place = memory_.allocate(sizeof(B), alignof(B));
    B* box = new (place) B(std::forward<Arguments>(arguments)...);
    box->previous_ = std::exchange(last_, box);
    return box;
  }
  /// Values without destructors, zero at first.
  template <class T>
  std::span<T> array(std::size_t count) {
    static_assert(std::is_trivially_destructible_v<T>);
    auto* first = static_cast<T*>(memory_.allocate(count * sizeof(T), alignof(T)));
    std::uninitialized_value_construct_n(first, count);
    return {first, count};
  }

 private:
  std::pmr::monotonic_buffer_resource memory_{4096};
  Box* last_ = nullptr;
};

}  // namespace idlewyn::platform::internal
