// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/ViewNode.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>

namespace idlewyn::platform {

ViewNode::~ViewNode() = default;

void ViewNode::destroy(const ViewNode* node) noexcept {
  // What a node held comes here again while it is destroyed, and waits for its turn.
  constinit static thread_local const ViewNode* doomed = nullptr;
  constinit static thread_local bool isDestroying = false;
  node->nextDoomed_ = std::exchange(doomed, node);
  if (isDestroying) return;
  isDestroying = true;
  while (const ViewNode* next = doomed) {
    doomed = next->nextDoomed_;
    delete next;
  }
  isDestroying = false;
}

ComponentNode::ComponentNode(const std::type_info& type) noexcept : type_(type.hash_code()) {}
ComponentNode::~ComponentNode() = default;

internal::Box* ComponentNode::resolve(internal::Resolver& resolver) const {
  return resolver.resolveBody(body(resolver.environment), type_);
}

}  // namespace idlewyn::platform
