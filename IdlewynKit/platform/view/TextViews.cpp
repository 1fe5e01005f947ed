// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/text/LogicalOrder.hpp>
#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>
#include <IdlewynKit/platform/view/internal/layout/TextBox.hpp>
#include <IdlewynKit/platform/view/internal/text/TimeText.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

/// Narrower than any glyph: nothing is shaped for it.
constexpr double leastTextWidth = 1;

TextRequest request(const Environment& environment, std::string_view text) {
  TextRequest request{text, environment.font, saneTextScale(environment.textScale)};
  if (environment.hasMonospacedDigits) request.font = request.font.monospacedDigit();
  request.lineLimit = environment.lineLimit;
  request.truncation = environment.truncation;
  return request;
}

class TextNode final : public ViewNode {
 public:
  explicit TextNode(std::string text) : text_(std::move(text)) {}
  Box* resolve(Resolver& resolver) const override {
    return resolver.make<TextBox>(resolver, text_);
  }

 private:
  std::string text_;
};

using TimeFormat = TimeText (*)(Date date, Date now, std::string_view locale);

/// What of a text is drawn. In one line nothing is broken.
std::string_view drawn(Resolver& resolver, std::string_view text) {
  const Environment& environment = resolver.environment;
  if (!environment.isCode) return text;
  const bool mayBreak = environment.lineLimit.value_or(2) > 1;
  std::string code = textInLogicalOrder(text, mayBreak);
  return code == text ? text : resolver.keep(std::move(code));
}

/// Changes with time.
class TimeTextBox final : public WrapperBox {
 public:
  TimeTextBox(Resolver& resolver, TimeFormat format, Date date)
      : WrapperBox(nullptr),
        resolver_(resolver),
        format_(format),
        date_(date),
        locale_(resolver.keep(resolver.environment.locale)) {
    const TimeText shown = format_(date_, resolver.now(), locale_);
    nextChange_ = shown.nextChange;
    text_ = resolver.make<TextBox>(resolver, resolver.keep(shown.text));
    content_ = text_;
  }

  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    resolver_.noteChange(canvas.isHidden() ? nextChangeOfSize() : nextChange_);
    content_->place(origin, proposal, canvas);
  }

 private:
  /// What is hidden changes the picture only where its size moves others. At the latest it is
  /// looked at again after some changes of its text: how far ahead its size stays is not known.
  std::optional<Date> nextChangeOfSize() const {
    constexpr int mostChanges = 60;
    std::optional<Date> due = nextChange_;
    for (int change = 1; change < mostChanges && due; ++change) {
      const TimeText next = format_(date_, *due, locale_);
      if (!text_->isAsLargeAs(next.text)) break;
      due = next.nextChange;
    }
    return due;
  }

  Resolver& resolver_;
  TimeFormat format_;
  Date date_;
  std::string_view locale_;
  std::optional<Date> nextChange_;
  TextBox* text_ = nullptr;
};

class TimeTextNode final : public ViewNode {
 public:
  TimeTextNode(TimeFormat format, Date date) : format_(format), date_(date) {}

  Box* resolve(Resolver& resolver) const override {
    return resolver.make<TimeTextBox>(resolver, format_, date_);
  }

 private:
  TimeFormat format_;
  Date date_;
};

}  // namespace

TextBox::TextBox(Resolver& resolver, std::string_view text)
    : Box(Stretch()),
      spoken_(text),
      request_(request(resolver.environment, drawn(resolver, text))),
      paint_(resolver.paint(resolver.environment.foreground)),
      ideal_(shapeText(request_)) {}

const std::shared_ptr<const ShapedText>& TextBox::shaped(const Proposal& proposal) {
  // What was measured once may come back as an offer, a little off.
  constexpr double tolerance = 1e-6;
  static const std::shared_ptr<const ShapedText> nothing;
  if (!proposal.width || *proposal.width + tolerance >= metricsOf(*ideal_).size.width) {
    return ideal_;
  }
  if (*proposal.width < leastTextWidth) return nothing;
  if (fittedWidth_ != *proposal.width) {
    fittedWidth_ = *proposal.width;
    request_.width = fittedWidth_;
    fitted_ = shapeText(request_);
  }
  return fitted_;
}

Size TextBox::size(const Proposal& proposal) {
  const auto& text = shaped(proposal);
  if (!text) return {0, metricsOf(*ideal_).size.height};
  Size size = metricsOf(*text).size;
  // An ellipsis may be wider than the offer; it sticks out without moving the others.
  if (text != ideal_) size.width = std::min(size.width, *proposal.width);
  return size;
}

bool TextBox::isAsLargeAs(std::string_view text) const {
  TextRequest other = request_;
  other.text = text;
  other.width.reset();
  return metricsOf(*shapeText(other)).size == metricsOf(*ideal_).size;
}

double TextBox::capitalsCentre(const Proposal& proposal) {
  const auto& text = shaped(proposal);
  const TextMetrics& metrics = metricsOf(text ? *text : *ideal_);
  return metrics.baseline - metrics.capHeight / 2;
}

void TextBox::place(Point origin, const Proposal& proposal, FrameBuilder& canvas) {
  const Rect rect{origin, size(proposal)};
  if (const auto& text = shaped(proposal)) {
    canvas.draw(TextOperation{text, origin, stretchedOver(paint_, rect)});
  }
  canvas.speak(AccessibleRole::text, spoken_, rect);
}

}  // namespace internal

Text::Text(std::string text) : View(NodeReference(new internal::TextNode(std::move(text)))) {}

Text Text::timer(Date start) {
  return Text(NodeReference(new internal::TimeTextNode(internal::timerText, start)));
}

Text Text::relative(Date date) {
  return Text(NodeReference(new internal::TimeTextNode(internal::relativeDateText, date)));
}

}  // namespace idlewyn::platform
