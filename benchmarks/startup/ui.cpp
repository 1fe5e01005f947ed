// SPDX-License-Identifier: MIT
#include <cstdio>

#include <IdlewynKit/IdlewynKit.hpp>
#include <IdlewynKit/UI.hpp>

// The same, by a program that could draw it.
int main() {
  const idlewyn::SessionSnapshot snapshot = idlewyn::SnapshotStore::shared().load();
  const idlewyn::View view =
      idlewyn::TaskProgressView(1, 2, idlewyn::tint(idlewyn::SessionStatus::working));
  std::puts(idlewyn::SnapshotLead(snapshot).summary().c_str());
}
