// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <glib-object.h>

namespace idlewyn::platform::internal {

struct GObjectUnref {
  void operator()(void* object) const noexcept { g_object_unref(object); }
};
template <class T>
using GObjectReference = std::unique_ptr<T, GObjectUnref>;

}  // namespace idlewyn::platform::internal
