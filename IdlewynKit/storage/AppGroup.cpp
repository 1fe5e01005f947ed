// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/AppGroup.hpp>

#include <IdlewynKit/storage/internal/DefaultsSuite.hpp>

namespace idlewyn {

UserDefaults AppGroup::userDefaults() { return internal::defaultsOfSuite(identifier); }

}  // namespace idlewyn
