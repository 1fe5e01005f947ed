// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/view/Symbols.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// The views that everything is made of.
///
///     View line = Row({Label("Claude", "terminal"), Spacer(), Text::timer(startedAt)});
///     View list = Column({line.id("a"), other.id("b")}, HorizontalAlignment::leading, 8);
///     View bar = ProgressBar(3, 4).frame(32).tint(Color(0, 0.4, 0.8));
namespace idlewyn::platform {

/// Takes its font, colour, line limit and truncation from its environment. Where it is offered
/// less width than it needs it breaks into lines, as many as the limit allows, and loses the rest.
/// A word that is broken gets no hyphen.
class IDLEWYNKIT_EXPORT Text : public View {
 public:
  /// Any bytes; what is not UTF-8 is shown as U+FFFD.
  explicit Text(std::string text);

  /// Counts up from a date: minutes and seconds, hours from the first one on.
  static Text timer(Date start);
  /// How far a date is from now, in words and numbers of the environment's locale.
  static Text relative(Date date);

 private:
  explicit Text(NodeReference node) : View(std::move(node)) {}
};

/// A square of 1.2 times the font's size, in the foreground style. Assistive technology reads the
/// name it was made of, unless it has an accessibilityLabel.
class IDLEWYNKIT_EXPORT Symbol : public View {
 public:
  explicit Symbol(std::string systemName);
};

/// A symbol before a title, centred on its first line's capitals. Assistive technology reads the
/// title only.
class IDLEWYNKIT_EXPORT Label : public View {
 public:
  Label(std::string title, std::string_view systemName);
};

/// Takes what its row or column has left over, and never less than its least length.
class IDLEWYNKIT_EXPORT Spacer : public View {
 public:
  explicit Spacer(double minLength = 8);
};

/// Linear, as wide as it is offered, of its own height; filled in the tint. The part that is done
/// is clamped to 0 to 1, and is 0 where it is not a number. It animates.
class IDLEWYNKIT_EXPORT ProgressBar : public View {
 public:
  ProgressBar(double value, double total);
};

/// Side by side, one above the other. Where they do not fit, the least flexible child is served
/// first and the rest is shared evenly.
class IDLEWYNKIT_EXPORT Row : public View {
 public:
  explicit Row(std::vector<View> children, VerticalAlignment alignment = VerticalAlignment::centre,
               double spacing = 8);
};

class IDLEWYNKIT_EXPORT Column : public View {
 public:
  explicit Column(std::vector<View> children,
                  HorizontalAlignment alignment = HorizontalAlignment::centre, double spacing = 8);
};

}  // namespace idlewyn::platform
