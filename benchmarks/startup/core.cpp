// SPDX-License-Identifier: MIT
#include <cstdio>

#include <IdlewynKit/IdlewynKit.hpp>

// The least that a program can do to show the last snapshot.
int main() {
  std::puts(idlewyn::SnapshotLead(idlewyn::SnapshotStore::shared().load()).summary().c_str());
}
