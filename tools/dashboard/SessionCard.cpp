// SPDX-License-Identifier: MIT
#include <tools/dashboard/SessionCard.hpp>

#include <utility>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/dashboard/Widgets.hpp>

namespace dashboard {

using namespace idlewyn;

SessionCard::SessionCard() : box_(makeBox(GTK_ACCESSIBLE_ROLE_LIST_ITEM, 0)) {
  g_object_ref_sink(box_);
  gtk_widget_add_css_class(box_, "card");
  gtk_widget_set_hexpand(view_.widget(), TRUE);
  gtk_box_append(GTK_BOX(box_), view_.widget());
}

SessionCard::~SessionCard() { g_object_unref(box_); }

void SessionCard::show(const AgentSession& session, std::optional<Date> oldSince, Look look) {
  view_.show(CardView{session, oldSince}, look);
  std::string name = displayLine(session.projectName());
  if (name_ == name) return;
  name_ = std::move(name);
  setAccessibleName(box_, name_);
}

}  // namespace dashboard
