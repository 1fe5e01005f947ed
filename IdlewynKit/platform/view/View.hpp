// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/Alignment.hpp>
#include <IdlewynKit/platform/view/Animation.hpp>
#include <IdlewynKit/platform/view/Environment.hpp>
#include <IdlewynKit/platform/view/ViewNode.hpp>

/// A description of something to show: a value, cheap to copy, the same on every thread.
///
/// An application's own view is any value with a body. The environment is an argument of those
/// that look at it:
///
///     struct Greeting {
///       std::string name;
///       View body() const {
///         return Row({Symbol("sparkle"), Text("Hello, " + name)}, VerticalAlignment::centre, 4)
///             .padding(Edges::horizontal, 8)
///             .background(Color(0.9, 0.9, 1.0), Capsule());
///       }
///     };
///     Frame frame = frameOf(Greeting{"Ada"}, Environment(), Proposal(), DateClock::now());
///
/// Views nested deeper than 512 levels are left out, and so are those after the first 500,000 of a
/// frame; each modifier counts as a view. Every number may be anything: lengths that
/// are not numbers count as not given, absurd ones are clamped.
namespace idlewyn::platform {

class View;

template <class T>
concept StaticBody = requires(const T& component) {
  { component.body() } -> std::convertible_to<View>;
};
template <class T>
concept EnvironmentBody = requires(const T& component, const Environment& environment) {
  { component.body(environment) } -> std::convertible_to<View>;
};
template <class T>
concept Component = !std::derived_from<T, View> && (StaticBody<T> || EnvironmentBody<T>);

/// The shapes that a background fills.
struct Capsule {
  /// Curvature grows and falls without a jump; else the ends are half circles.
  bool isContinuous = true;
};
struct Rectangle {
  double cornerRadius = 0;  ///< at most half of the shorter side
};

class IDLEWYNKIT_EXPORT View {
 public:
  /// Nothing: takes no place, not even the spacing of a row.
  View() = default;
  template <Component C>
  View(C component);  // NOLINT: implicit, so that a component is used like any view

  /// Values of the environment for all that this view contains. The first form is for members of
  /// Environment (`&Environment::textScale`), the second for keys of one's own.
  template <class T>
  View environment(T Environment::*member, std::type_identity_t<T> value) const;
  template <EnvironmentKey Key>
  View environment(EnvironmentValue<Key> value) const {
    return environmentValue(typeid(Key), std::any(std::move(value)));
  }
  View font(const Font& font) const;
  View foreground(const ShapeStyle& style) const;
  View tint(const ShapeStyle& style) const;
  View lineLimit(std::optional<int> lines) const;
  /// Texts are drawn as paths and commands are read: lines run from left to right, each word of a
  /// right-to-left script stands in an isolate (UAX #9), so that folders and arguments keep their
  /// order, and no line is broken beside a hyphen. Their accessible labels are as they were.
  View code() const;
  View truncation(TruncationMode mode) const;
  View monospacedDigits() const;

  View padding(double length) const { return padding(Edges::all, length); }
  View padding(Edges edges, double length) const;
  /// Fills the place of this view behind it.
  View background(const ShapeStyle& style, Capsule shape) const;
  View background(const ShapeStyle& style, Rectangle shape = {}) const;
  /// A place of the given lengths; absent ones are the view's own. A view of another size is
  /// aligned in it and may stick out.
  View frame(std::optional<double> width, std::optional<double> height = std::nullopt,
             Alignment alignment = {}) const;

  /// 0 to 1. A view with opacity 0 keeps its place and is hidden from assistive technology too.
  View opacity(double amount) const;
  /// 0 unchanged to 1 grey.
  View grayscale(double amount) const;
  /// 1 unchanged, 0 all grey, up to 100.
  View contrast(double factor) const;
  View colorMultiply(const Color& color) const;

  /// When `value` differs from that of the frame before, the opacities, filters, colours, gradients
  /// and progress inside that change with it move there instead of jumping. A movement under way
  /// turns round where it is. Inner animations override outer ones.
  template <std::equality_comparable T>
  View animation(const Animation& animation, const T& value) const {
    return animationOn(animation, EquatableValue(internal::Kept<T>(value)));
  }
  /// Fades down and up once, in a second, each time that `value` differs from that of the frame
  /// before. Not in a first frame.
  template <std::equality_comparable T>
  View pulse(const T& value) const {
    return pulseOn(EquatableValue(internal::Kept<T>(value)));
  }

  /// Makes this view one element of that name for assistive technology, instead of its parts.
  View accessibilityLabel(std::string label) const;
  /// Makes this view one element without its parts. It needs an accessibilityLabel around it, and
  /// is silent without.
  View accessibilityElement() const;

  /// What this view is called among its siblings, so that its movements follow it when others
  /// come and go before it. The whole text counts; equal ones are told apart by their order.
  View id(std::string_view name) const;

  /// Of its name; 0 for none.
  std::uint64_t identity() const noexcept { return node_.get() ? node_.get()->identity() : 0; }

 protected:
  explicit View(NodeReference node) noexcept : node_(std::move(node)) {}

 private:
  friend class internal::Resolver;

  /// A node around this view. It has the view's name, which a row or column looks for.
  template <class Node, class... Arguments>
  View modified(Arguments&&... arguments) const {
    return View(NodeReference(new Node(*this, identity(), std::forward<Arguments>(arguments)...)));
  }
  View environmentValue(std::type_index key, std::any value) const;
  View animationOn(const Animation& animation, EquatableValue value) const;
  View pulseOn(EquatableValue value) const;

  NodeReference node_;
};

namespace internal {

template <Component C>
class BodyNode final : public ComponentNode {
 public:
  explicit BodyNode(C component) : ComponentNode(typeid(C)), component_(std::move(component)) {}

  View body(const Environment& environment) const override {
    if constexpr (EnvironmentBody<C>) {
      return component_.body(environment);
    } else {
      return component_.body();
    }
  }

 private:
  C component_;
};

}  // namespace internal

template <Component C>
View::View(C component) : node_(new internal::BodyNode<C>(std::move(component))) {}

}  // namespace idlewyn::platform
