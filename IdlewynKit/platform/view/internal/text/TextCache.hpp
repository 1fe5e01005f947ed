// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>

namespace idlewyn::platform::internal {

/// The texts shaped last, by request. Bounded by what they weigh together.
class TextCache {
 public:
  std::shared_ptr<const ShapedText> find(const TextRequest& request) {
    const auto found = index_.find(request);
    if (found == index_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->shaped;
  }

  void insert(const TextRequest& request, const std::shared_ptr<const ShapedText>& shaped) {
    if (!Equal()(request, request)) return;  // not a number: it could not be found again
    Entry entry{std::string(request.text), request, shaped, weightOf(request, *shaped)};
    if (entry.weight > maximumWeight / 8) return;
    entries_.push_front(std::move(entry));
    Entry& added = entries_.front();
    added.request.text = added.text;
    index_.emplace(added.request, entries_.begin());
    weight_ += added.weight;
    while (weight_ > maximumWeight)
      dropOldest();
  }

  void clear() {
    index_.clear();
    entries_.clear();
    weight_ = 0;
  }

 private:
  static constexpr std::size_t maximumWeight = std::size_t{8} << 20U;

  struct Entry {
    std::string text;
    TextRequest request;  ///< of `text`
    std::shared_ptr<const ShapedText> shaped;
    std::size_t weight;
  };
  struct Hash {
    std::size_t operator()(const TextRequest& request) const noexcept {
      std::size_t hash = std::hash<std::string_view>()(request.text);
      const auto mix = [&hash](std::size_t value) { hash = hash * 1'000'003 + value; };
      mix(std::hash<double>()(request.font.size() * request.textScale));
      mix(static_cast<std::size_t>(request.font.weight()));
      mix(std::hash<double>()(request.width.value_or(-1)));
      mix(static_cast<std::size_t>(request.lineLimit.value_or(0)));
      return hash;
    }
  };
  struct Equal {
    bool operator()(const TextRequest& a, const TextRequest& b) const noexcept {
      return a.text == b.text && a.font == b.font && a.textScale == b.textScale &&
             a.width == b.width && a.lineLimit == b.lineLimit && a.truncation == b.truncation;
    }
  };

  static std::size_t weightOf(const TextRequest& request, const ShapedText& shaped) {
    std::size_t weight = sizeof(Entry) + sizeof(ShapedText) + 128 + request.text.size();
    for (const GlyphRun& run : shaped.runs())
      weight += sizeof(GlyphRun) + run.glyphs.capacity() * sizeof(cairo_glyph_t);
    return weight + shaped.missing().capacity() * sizeof(Rect);
  }

  void dropOldest() {
    weight_ -= entries_.back().weight;
    index_.erase(entries_.back().request);
    entries_.pop_back();
  }

  std::list<Entry> entries_;
  std::unordered_map<TextRequest, std::list<Entry>::iterator, Hash, Equal> index_;
  std::size_t weight_ = 0;
};

}  // namespace idlewyn::platform::internal
