// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// A small capsule that names the coding agent.
///
///     ProviderBadge(session.provider, /*compact=*/true)   // Claude
namespace idlewyn {

using platform::View;

struct ProviderBadge {
  IDLEWYNKIT_EXPORT ProviderBadge(AgentProvider provider, bool compact);

  IDLEWYNKIT_EXPORT View body() const;

  friend bool operator==(const ProviderBadge&, const ProviderBadge&) = default;

  AgentProvider provider;
  /// The short name.
  bool compact;
};

}  // namespace idlewyn
