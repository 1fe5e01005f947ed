// SPDX-License-Identifier: MIT
#include "Faults.hpp"

#include <array>
#include <charconv>
#include <ranges>
#include <utility>

namespace idlewyn::sandbox {
namespace {

constexpr std::array<std::pair<std::string_view, Fault (*)()>, 8> plainFaults{{
    {"stall", Fault::stall},
    {"stall-mid-body", Fault::stallMidBody},
    {"close-mid-body", Fault::closeMidBody},
    {"close", Fault::close},
    {"wrong-length", Fault::wrongLength},
    {"not-json", Fault::notJSON},
    {"not-http", Fault::notHTTP},
    {"other-certificate", Fault::otherCertificate},
}};

template <class T>
std::optional<T> number(std::string_view text, T lowest, T highest) {
  T value{};
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  const bool whole = result.ec == std::errc{} && result.ptr == end;
  if (!whole || !(value >= lowest && value <= highest)) return std::nullopt;
  return value;
}

}  // namespace

std::optional<Fault> Fault::parse(std::string_view text) {
  constexpr std::string_view statusWord = "status=";
  constexpr std::string_view delayWord = "delay=";
  if (text.starts_with(statusWord)) {
    const auto code = number(text.substr(statusWord.size()), 200, 999);
    return code ? std::optional(status(*code)) : std::nullopt;
  }
  if (text.starts_with(delayWord)) {
    const auto seconds = number(text.substr(delayWord.size()), 0.0, 3600.0);
    return seconds ? std::optional(delay(*seconds)) : std::nullopt;
  }
  for (const auto& [name, make] : plainFaults) {
    if (text == name) return make();
  }
  return std::nullopt;
}

std::optional<std::vector<Fault>> Fault::parseList(std::string_view text) {
  std::vector<Fault> faults;
  while (true) {
    const auto comma = text.find(',');
    std::string_view word = text.substr(0, comma);
    word.remove_prefix(std::min(word.find_first_not_of(' '), word.size()));
    word = word.substr(0, word.find_last_not_of(' ') + 1);
    const auto fault = parse(word);
    if (!fault) return std::nullopt;
    faults.push_back(*fault);
    if (comma == std::string_view::npos) return faults;
    text.remove_prefix(comma + 1);
  }
}

bool matchesEndpoint(std::string_view pattern, std::string_view method, std::string_view path) {
  const auto blank = pattern.find(' ');
  if (blank != std::string_view::npos) {
    if (pattern.substr(0, blank) != method) return false;
    pattern.remove_prefix(blank + 1);
  }
  if (pattern.starts_with('/')) pattern.remove_prefix(1);
  if (path.starts_with('/')) path.remove_prefix(1);
  if (!pattern.ends_with('*')) return path == pattern;
  return path.starts_with(pattern.substr(0, pattern.size() - 1));
}

void FaultPlan::add(std::string endpoint, Fault fault, std::size_t count) {
  const std::lock_guard lock(mutex_);
  faults_.push_back({std::move(endpoint), fault, count});
}

void FaultPlan::respond(std::string endpoint, HTTPAnswer response, std::size_t count) {
  const std::lock_guard lock(mutex_);
  responses_.push_back({std::move(endpoint), std::move(response), count});
}

void FaultPlan::clear() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
  responses_.clear();
}

std::vector<Fault> FaultPlan::takeFaults(std::string_view method, std::string_view path) {
  const std::lock_guard lock(mutex_);
  std::vector<Fault> taken;
  for (auto& rule : faults_) {
    if (rule.remaining == 0 || !matchesEndpoint(rule.endpoint, method, path)) continue;
    if (rule.remaining != forever) --rule.remaining;
    taken.push_back(rule.effect);
  }
  return taken;
}

std::optional<HTTPAnswer> FaultPlan::takeResponse(std::string_view method, std::string_view path) {
  const std::lock_guard lock(mutex_);
  for (auto& rule : std::views::reverse(responses_)) {
    if (rule.remaining == 0 || !matchesEndpoint(rule.endpoint, method, path)) continue;
    if (rule.remaining != forever) --rule.remaining;
    return rule.effect;
  }
  return std::nullopt;
}

}  // namespace idlewyn::sandbox
