// SPDX-License-Identifier: MIT
#include <functional>
#include <memory>
#include <string_view>

#include <IdlewynKit/platform/view/View.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

template <class T>
class EnvironmentNode final : public ModifierNode {
 public:
  EnvironmentNode(View view, std::uint64_t identity, T Environment::*member, T value)
      : ModifierNode(std::move(view), identity), member_(member), value_(std::move(value)) {}

  Box* resolve(Resolver& resolver) const override {
    T outer = std::exchange(resolver.environment.*member_, value_);
    Box* box = resolver.resolve(content);
    resolver.environment.*member_ = std::move(outer);
    return box;
  }

 private:
  T Environment::*member_;
  T value_;
};

class EnvironmentValueNode final : public ModifierNode {
 public:
  EnvironmentValueNode(View view, std::uint64_t identity, std::type_index key, std::any value)
      : ModifierNode(std::move(view), identity), key_(key), value_(std::move(value)) {}

  Box* resolve(Resolver& resolver) const override {
    std::any outer = resolver.environment.exchange(key_, value_);
    Box* box = resolver.resolve(content);
    resolver.environment.exchange(key_, std::move(outer));
    return box;
  }

 private:
  std::type_index key_;
  std::any value_;
};

/// The name itself is in the place that the row or column around gave this view.
class NamedNode final : public ModifierNode {
 public:
  NamedNode(View view, std::uint64_t identity) : ModifierNode(std::move(view), identity) {}
  Box* resolve(Resolver& resolver) const override { return resolver.resolve(content, identity()); }
};

class AnimationNode final : public ModifierNode {
 public:
  AnimationNode(View view, std::uint64_t identity, const Animation& animation, EquatableValue value)
      : ModifierNode(std::move(view), identity), animation_(animation), value_(std::move(value)) {}

  Box* resolve(Resolver& resolver) const override {
    const std::optional<Animation> outer = resolver.animation;
    const bool wasAnimatable = std::exchange(resolver.isAnimatable, true);
    if (resolver.hasChanged(value_)) resolver.animation = animation_;
    Box* box = resolver.resolve(content);
    resolver.animation = outer;
    resolver.isAnimatable = wasAnimatable;
    return box;
  }

 private:
  Animation animation_;
  EquatableValue value_;
};

std::uint64_t nameIdentity(std::string_view name) {
  // 0 stands for no name.
  return mixed(std::hash<std::string_view>()(name), 1) | 1;
}

}  // namespace
}  // namespace internal

template <class T>
View View::environment(T Environment::*member, std::type_identity_t<T> value) const {
  return modified<internal::EnvironmentNode<T>>(member, std::move(value));
}
template IDLEWYNKIT_EXPORT View View::environment(Appearance Environment::*, Appearance) const;
template IDLEWYNKIT_EXPORT View View::environment(double Environment::*, double) const;
template IDLEWYNKIT_EXPORT View View::environment(std::string Environment::*, std::string) const;
template IDLEWYNKIT_EXPORT View View::environment(bool Environment::*, bool) const;
template IDLEWYNKIT_EXPORT View View::environment(Font Environment::*, Font) const;
template IDLEWYNKIT_EXPORT View View::environment(ShapeStyle Environment::*, ShapeStyle) const;
template IDLEWYNKIT_EXPORT View View::environment(std::optional<int> Environment::*,
                                                  std::optional<int>) const;
template IDLEWYNKIT_EXPORT View View::environment(TruncationMode Environment::*,
                                                  TruncationMode) const;

View View::environmentValue(std::type_index key, std::any value) const {
  return modified<internal::EnvironmentValueNode>(key, std::move(value));
}

View View::font(const Font& font) const { return environment(&Environment::font, font); }
View View::foreground(const ShapeStyle& style) const {
  return environment(&Environment::foreground, style);
}
View View::tint(const ShapeStyle& style) const { return environment(&Environment::tint, style); }
View View::code() const { return environment(&Environment::isCode, true); }
View View::lineLimit(std::optional<int> lines) const {
  return environment(&Environment::lineLimit, lines);
}
View View::truncation(TruncationMode mode) const {
  return environment(&Environment::truncation, mode);
}
View View::monospacedDigits() const { return environment(&Environment::hasMonospacedDigits, true); }

View View::animationOn(const Animation& animation, EquatableValue value) const {
  return modified<internal::AnimationNode>(animation, std::move(value));
}

View View::id(std::string_view name) const {
  return View(NodeReference(new internal::NamedNode(*this, internal::nameIdentity(name))));
}

}  // namespace idlewyn::platform
