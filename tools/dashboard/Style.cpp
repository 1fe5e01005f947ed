// SPDX-License-Identifier: MIT
#include <tools/dashboard/Style.hpp>

#include <adwaita.h>

namespace dashboard {

using idlewyn::platform::Appearance;

Style::Style(GdkDisplay* display) : display_(display), night_(gtk_css_provider_new()) {
  gtk_css_provider_load_from_resource(night_, "/app/vantor/idlewyn/dashboard/night.css");
}

Style::~Style() {
  setNight(false);
  g_object_unref(night_);
}

void Style::setNight(bool isNight) {
  if (isNight_ == isNight) return;
  isNight_ = isNight;
  if (isNight) {
    gtk_style_context_add_provider_for_display(display_, GTK_STYLE_PROVIDER(night_),
                                               GTK_STYLE_PROVIDER_PRIORITY_APPLICATION + 1);
  } else {
    gtk_style_context_remove_provider_for_display(display_, GTK_STYLE_PROVIDER(night_));
  }
  adw_style_manager_set_color_scheme(
      adw_style_manager_get_default(),
      isNight ? ADW_COLOR_SCHEME_FORCE_DARK : ADW_COLOR_SCHEME_DEFAULT);
}

Look Style::look() const {
  AdwStyleManager* manager = adw_style_manager_get_default();
  return Look{isNight_, adw_style_manager_get_high_contrast(manager) != FALSE,
              adw_style_manager_get_dark(manager) != FALSE ? Appearance::dark : Appearance::light};
}

}  // namespace dashboard
