// SPDX-License-Identifier: MIT
#include <IdlewynKit/Version.hpp>

namespace idlewyn {

const unsigned IdlewynKitVersionNumber = IDLEWYNKIT_VERSION_NUMBER;
const char* const IdlewynKitVersionString = compiledVersionString;

}  // namespace idlewyn
