// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/ProviderBadge.hpp>

#include <string>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/ui/tokens/Lengths.hpp>
#include <IdlewynKit/ui/tokens/Palette.hpp>
#include <IdlewynKit/ui/tokens/Typography.hpp>

namespace idlewyn {

using platform::Edges;

ProviderBadge::ProviderBadge(AgentProvider provider, bool compact)
    : provider(provider), compact(compact) {}

View ProviderBadge::body() const {
  const std::string_view title = compact ? shortName(provider) : displayName(provider);
  return platform::Label(std::string(title), symbolName(provider))
      .font(Typography::metaSmallStrong)
      .foreground(Palette::providerBadge)
      .padding(Edges::horizontal, Spacing::s)
      .padding(Edges::vertical, Spacing::hairline)
      .background(Palette::providerBadge.opacity(Palette::Tint::fill), platform::Capsule());
}

}  // namespace idlewyn
