// SPDX-License-Identifier: MIT
#include "Style.hpp"

#include <cmath>
#include <cstdio>
#include <string>

#include <IdlewynKit/UI.hpp>

namespace dashboard {
namespace {

using namespace idlewyn;
using platform::Appearance;
using platform::RGBA;

std::string css(const RGBA& color) {
  char text[64];
  const auto byte = [](double part) { return static_cast<int>(std::lround(part * 255)); };
  // The alpha without a decimal comma, whatever the locale.
  std::snprintf(text, sizeof text, "alpha(rgb(%d,%d,%d),%d.%03d)", byte(color.red),
                byte(color.green), byte(color.blue), color.alpha >= 1 ? 1 : 0,
                color.alpha >= 1 ? 0 : static_cast<int>(std::lround(color.alpha * 1000)));
  return text;
}

std::string points(double length) { return std::to_string(static_cast<int>(length)) + "px"; }

// What stands still in every look, then the looks, each a class of the window.
std::string styleSheet() {
  const RGBA night = Palette::nightRed.resolved(Appearance::light);
  const RGBA ink = Palette::ink.resolved(Appearance::light);
  const RGBA onDark = Palette::OnDark::primary.resolved(Appearance::dark);
  const RGBA waitingLight = Palette::Status::waiting.resolved(Appearance::light);
  const RGBA waitingDark = Palette::Status::waiting.resolved(Appearance::dark);
  RGBA soft = onDark;
  soft.alpha = 0.08;
  RGBA nightSoft = night;
  nightSoft.alpha = 0.12;
  return ".dash, .dash * { transition: color 1.2s ease-in-out, background-color 1.2s ease-in-out;}"
         ".dash .card { border-radius: " + points(Radius::card) + "; padding: " +
         points(Spacing::l) + "; }"
         ".dash .prompt { border-radius: " + points(Radius::small) + "; padding: " +
         points(Spacing::m) + "; }"
         ".dash .tool { font-weight: 600; }"
         ".dash .detail { font-family: \"JetBrains Mono\", monospace; }"
         ".dash .rule { font-size: smaller; }"
         ".dash .told { padding: " + points(Spacing::s) + "; }"
         ".dash.light { background: " +
         css(Palette::OnDark::primary.resolved(Appearance::light)) + "; color: " + css(ink) + "; }"
         ".dash.light .card { background-color: white; }"
         ".dash.light .prompt { background-color: alpha(" + css(waitingLight) + ", 0.1); }"
         ".dash.light .tool { color: " + css(waitingLight) + "; }"
         ".dash.dark { background: linear-gradient(to bottom, " + css(ink) + ", " +
         css(Palette::inkDeep.resolved(Appearance::dark)) + "); color: " + css(onDark) + "; }"
         ".dash.dark .card { background-color: " + css(soft) + "; }"
         ".dash.dark .prompt { background-color: alpha(" + css(waitingDark) + ", 0.15); }"
         ".dash.dark .tool { color: " + css(waitingDark) + "; }"
         ".dash.night { background: black; color: " + css(night) + "; }"
         ".dash.night .card, .dash.night .prompt { background-color: " + css(nightSoft) + "; }"
         ".dash.night .tool { color: " + css(night) + "; }"
         ".dash.night button, .dash.night headerbar { background: " + css(nightSoft) +
         "; color: " + css(night) + "; border-color: transparent; box-shadow: none; }"
         ".dash.night switch, .dash.night switch slider { background: " + css(night) + "; }";
}

}  // namespace

void installStyle(GdkDisplay* display) {
  GtkCssProvider* provider = gtk_css_provider_new();
  gtk_css_provider_load_from_data(provider, styleSheet().c_str(), -1);
  gtk_style_context_add_provider_for_display(display, GTK_STYLE_PROVIDER(provider),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  g_object_unref(provider);
}

}  // namespace dashboard
