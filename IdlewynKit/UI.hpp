// SPDX-License-Identifier: MIT
#pragma once

/// The whole of IdlewynKit::UI: the views of sessions, the tokens that they take their measures
/// from, and the toolkit that both are made of, which draws pictures too.
///
///     View card = Row({StatusIndicator(session.status, StatusIconSize::medium),
///                      Text(session.title).font(Typography::rowTitle),
///                      ProviderBadge(session.provider, true), ElapsedLabel(session)});
///     paintPNG(frameOf(card, Environment(), Proposal(), DateClock::now()), 2, "card.png");
#include <IdlewynKit/platform/view/FontFamilies.hpp>
#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/Painter.hpp>
#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/ui/ActivityLine.hpp>
#include <IdlewynKit/ui/ElapsedLabel.hpp>
#include <IdlewynKit/ui/NightMode.hpp>
#include <IdlewynKit/ui/ProviderBadge.hpp>
#include <IdlewynKit/ui/StatusIndicator.hpp>
#include <IdlewynKit/ui/TaskProgressView.hpp>
#include <IdlewynKit/ui/tokens/Tokens.hpp>

namespace idlewyn {

using platform::AccessibleElement;
using platform::AccessibleRole;
using platform::Alignment;
using platform::Animation;
using platform::Appearance;
using platform::Capsule;
using platform::CapsuleOperation;
using platform::Color;
using platform::Column;
using platform::Component;
using platform::Data;
using platform::Date;
using platform::DateClock;
using platform::DrawOperation;
using platform::Edges;
using platform::Environment;
using platform::EnvironmentKey;
using platform::EnvironmentValue;
using platform::Font;
using platform::FontDesign;
using platform::FontFamilies;
using platform::fontFamilies;
using platform::FontWeight;
using platform::Frame;
using platform::frameOf;
using platform::GradientPaint;
using platform::HorizontalAlignment;
using platform::Host;
using platform::Image;
using platform::Label;
using platform::LayerBegin;
using platform::LayerEnd;
using platform::LinearGradient;
using platform::Paint;
using platform::PaintError;
using platform::paintImage;
using platform::paintPDF;
using platform::paintPNG;
using platform::paintSVG;
using platform::Point;
using platform::ProgressBar;
using platform::Proposal;
using platform::Rect;
using platform::Rectangle;
using platform::RectangleOperation;
using platform::RGBA;
using platform::Row;
using platform::setFontFamilies;
using platform::ShapeStyle;
using platform::Size;
using platform::Spacer;
using platform::Symbol;
using platform::SymbolName;
using platform::symbolNamed;
using platform::SymbolOperation;
using platform::Text;
using platform::TextOperation;
using platform::TextStyle;
using platform::TruncationMode;
using platform::VerticalAlignment;
using platform::View;

}  // namespace idlewyn
