// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <typeinfo>
#include <utility>

#include <IdlewynKit/Export.hpp>

/// What views share behind their values. Applications have no use for it.
namespace idlewyn::platform {

class Environment;
class View;

namespace internal {

class Box;
class Memory;
class Resolver;

}  // namespace internal

/// A part of a description: never changes, shared by the views that hold it, on any thread.
class IDLEWYNKIT_EXPORT ViewNode {
 public:
  ViewNode(const ViewNode&) = delete;
  ViewNode& operator=(const ViewNode&) = delete;

  /// The boxes of one frame, null for nothing.
  virtual internal::Box* resolve(internal::Resolver& resolver) const = 0;

  /// Of the name given by View::id here or inside modifiers; 0 for none.
  std::uint64_t identity() const noexcept { return identity_; }

 protected:
  explicit ViewNode(std::uint64_t identity = 0) noexcept : identity_(identity) {}
  virtual ~ViewNode();

 private:
  friend class NodeReference;
  /// Takes down trees of any depth without recursion.
  static void destroy(const ViewNode* node) noexcept;

  mutable std::atomic<std::uint32_t> references_{0};
  const std::uint64_t identity_;
  mutable const ViewNode* nextDoomed_ = nullptr;
};

class NodeReference {
 public:
  NodeReference() = default;
  explicit NodeReference(const ViewNode* node) noexcept : node_(node) { retain(); }
  NodeReference(const NodeReference& other) noexcept : node_(other.node_) { retain(); }
  NodeReference(NodeReference&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  NodeReference& operator=(NodeReference other) noexcept {
    std::swap(node_, other.node_);
    return *this;
  }
  ~NodeReference() {
    if (node_ && node_->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      ViewNode::destroy(node_);
    }
  }

  const ViewNode* get() const noexcept { return node_; }

 private:
  void retain() const noexcept {
    if (node_) node_->references_.fetch_add(1, std::memory_order_relaxed);
  }

  const ViewNode* node_ = nullptr;
};

class IDLEWYNKIT_EXPORT ComponentNode : public ViewNode {
 public:
  virtual View body(const Environment& environment) const = 0;
  internal::Box* resolve(internal::Resolver& resolver) const final;

 protected:
  /// The type tells components in one place apart: what moved in one does not go on in another.
  explicit ComponentNode(const std::type_info& type) noexcept;
  ~ComponentNode() override;

 private:
  const std::uint64_t type_;
};

}  // namespace idlewyn::platform
