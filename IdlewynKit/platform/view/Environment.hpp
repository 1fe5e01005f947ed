// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <optional>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/Color.hpp>
#include <IdlewynKit/platform/view/Font.hpp>
#include <IdlewynKit/platform/view/TruncationMode.hpp>

/// What surrounds a view and is handed down to all that it contains.
///
///     struct IsNightMode { static constexpr bool defaultValue = false; };
///     environment.set<IsNightMode>(true);
///     view.environment<IsNightMode>(true).environment(&Environment::textScale, 1.5);
namespace idlewyn::platform {

/// A value of one's own: any type, told from others by the key's type.
template <class Key>
concept EnvironmentKey = requires {
  Key::defaultValue;
};
template <EnvironmentKey Key>
using EnvironmentValue = std::remove_cvref_t<decltype(Key::defaultValue)>;

class IDLEWYNKIT_EXPORT Environment {
 public:
  Appearance appearance = Appearance::light;
  /// The user's text size as a factor; clamped to 0.1 to 20, 1 where it is not a number.
  double textScale = 1;
  /// As ICU names them ("de_AT"); empty for the user's, which the process's environment names.
  std::string locale;
  bool animationsEnabled = true;

  Font font = Font::system(TextStyle::body);
  bool hasMonospacedDigits = false;
  ShapeStyle foreground = Color(Color::black(), Color::white());
  /// Of what is filled to show an amount.
  ShapeStyle tint = Color(Color(0.0, 0.38, 0.80), Color(0.42, 0.72, 1.0));
  /// Absent for as many lines as a text needs; less than one counts as one.
  std::optional<int> lineLimit;
  TruncationMode truncation = TruncationMode::tail;
  /// Texts are paths or commands: see View::code.
  bool isCode = false;

  template <EnvironmentKey Key>
  EnvironmentValue<Key> value() const {
    const std::any* found = find(typeid(Key));
    const auto* value = found ? std::any_cast<EnvironmentValue<Key>>(found) : nullptr;
    return value ? *value : EnvironmentValue<Key>(Key::defaultValue);
  }
  template <EnvironmentKey Key>
  void set(EnvironmentValue<Key> value) {
    exchange(typeid(Key), std::move(value));
  }

  /// Puts the value in the key's place and returns what was there, an empty one for nothing.
  std::any exchange(std::type_index key, std::any value);

 private:
  const std::any* find(std::type_index key) const noexcept;

  std::vector<std::pair<std::type_index, std::any>> values_;
};

}  // namespace idlewyn::platform
