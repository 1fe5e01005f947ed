// SPDX-License-Identifier: MIT
#include <tools/dashboard/Style.hpp>

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

RGBA faint(RGBA color, double alpha) {
  color.alpha = alpha;
  return color;
}

// What is the same in every look. Colours of text are set on the labels themselves and fade there
// only: what inherits a colour that fades starts its own fade again at each frame.
std::string standing() {
  return ".dash, .dash headerbar, .dash .card, .dash .prompt, .dash button, .dash switch,"
         " .dash slider { transition: background-color 1.2s ease-in-out,"
         " background-image 1.2s ease-in-out, border-color 1.2s ease-in-out; }"
         ".dash label, .dash image { transition: color 1.2s ease-in-out; }"
         ".dash headerbar { background: none; border: none; box-shadow: none; padding: 0 4px; }"
         ".dash headerbar .title { padding: 0 4px; }"
         ".dash windowcontrols button { padding: 2px; margin: 0; min-width: 24px; }"
         ".dash .card { border-radius: " +
         points(Radius::card) + "; padding: " + points(Spacing::l) +
         "; }"
         ".dash .prompt { border-radius: " +
         points(Radius::small) + "; padding: " + points(Spacing::m) +
         "; }"
         ".dash .tool { font-weight: 600; }"
         ".dash .detail { font-family: \"JetBrains Mono\", monospace; }"
         ".dash .rule { font-size: smaller; }"
         ".dash .told { padding: " +
         points(Spacing::s) +
         "; }"
         ".dash .headline:focus-visible { outline: 2px solid; outline-offset: 4px; }"
         ".dash button { padding: 4px 7px; background-image: none; border-color: transparent; "
         "box-shadow: none;"
         " text-shadow: none; }"
         ".dash button:hover { filter: brightness(0.9); }"
         ".dash button:active { filter: brightness(0.8); }"
         ".dash button:disabled { opacity: 0.55; }"
         ".dash switch { background-image: none; border-color: transparent; }"
         ".dash scrollbar { background: none; border: none; }";
}

// One look of the window, made of few colours.
struct Paint {
  const char* name;
  RGBA top, bottom;  // of the window
  RGBA text, card, prompt, tool, refusal;
};

std::string rules(const Paint& look) {
  const std::string window = std::string(".dash.") + look.name;
  const auto rule = [&window](const char* parts, const std::string& declarations) {
    return window + " " + parts + " { " + declarations + "; } ";
  };
  const std::string text = css(look.text);
  const std::string soft = css(faint(look.text, Palette::Tint::fill));
  return window + ".solid-csd { border-color: " + css(look.bottom) + "; box-shadow: none; } " +
         window + " { background-color: " + css(look.bottom) +
         "; background-image: linear-gradient(to bottom, " + css(look.top) + ", " +
         css(look.bottom) + "); color: " + text + "; } " + rule("label", "color: " + text) +
         rule("image", "color: " + text) + rule(".card", "background-color: " + css(look.card)) +
         rule(".prompt", "background-color: " + css(look.prompt)) +
         rule("label.tool", "color: " + css(look.tool)) +
         rule("button", "background-color: " + soft) +
         rule("windowcontrols button", "background-color: transparent") +
         rule("button.suggested-action", "background-color: " + css(look.tool)) +
         rule("button.suggested-action label", "color: " + css(look.bottom)) +
         rule("button.destructive-action label", "color: " + css(look.refusal)) +
         rule("switch", "background-color: " + soft) +
         rule("switch:checked", "background-color: " + css(faint(look.text, 0.5))) +
         rule("slider",
              "background-image: none; border-color: transparent; box-shadow: none;"
              " background-color: " +
                  text) +
         rule("scrollbar slider", "background-color: " + css(faint(look.text, 0.4))) +
         rule("*:focus-visible", "outline-color: " + css(faint(look.text, 0.7))) +
         rule("selection", "background-color: " + css(faint(look.text, 0.3))) +
         rule("popover > contents", "background-color: " + css(look.bottom));
}

std::string styleSheet() {
  const auto light = [](const Color& color) { return color.resolved(Appearance::light); };
  const auto dark = [](const Color& color) { return color.resolved(Appearance::dark); };
  const RGBA paper = light(Palette::OnDark::primary);
  const RGBA onDark = dark(Palette::OnDark::primary);
  const RGBA night = light(Palette::nightRed);
  const RGBA nightFill = faint(night, 0.12);
  const RGBA black = light(Color(0, 0, 0));
  const RGBA waitingLight = light(Palette::Status::waiting);
  const RGBA waitingDark = dark(Palette::Status::waiting);
  return standing() +
         rules({"light", paper, paper, light(Palette::ink), light(Color::white()),
                faint(waitingLight, 0.1), waitingLight, light(Palette::Status::failed)}) +
         rules({"dark", dark(Palette::ink), dark(Palette::inkDeep), onDark, faint(onDark, 0.08),
                faint(waitingDark, Palette::Tint::fill), waitingDark,
                dark(Palette::Status::failed)}) +
         rules({"night", black, black, night, nightFill, nightFill, night, night});
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
