// SPDX-License-Identifier: MIT
#include <utility>

#include <IdlewynKit/platform/coding/DecodingError.hpp>
#include <IdlewynKit/platform/coding/EncodingError.hpp>

namespace idlewyn::platform {
namespace {

std::string message(const std::string& description, const std::vector<CodingKey>& path) {
  return path.empty() ? description : description + " (at " + pathText(path) + ")";
}

}  // namespace

std::string pathText(const std::vector<CodingKey>& path) {
  std::string text;
  for (const CodingKey& step : path) {
    if (step.index) {
      text += '[' + std::to_string(*step.index) + ']';
    } else {
      if (!text.empty()) text += '.';
      text += step.key;
    }
  }
  return text;
}

DecodingError::DecodingError(Kind errorKind, std::vector<CodingKey> path, std::string text,
                             std::string key)
    : kind(errorKind),
      codingPath(std::move(path)),
      description(std::move(text)),
      missingKey(std::move(key)),
      message_(message(description, codingPath)) {}

EncodingError::EncodingError(std::vector<CodingKey> path, std::string text)
    : codingPath(std::move(path)),
      description(std::move(text)),
      message_(message(description, codingPath)) {}

}  // namespace idlewyn::platform
