// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/CommandTable.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace idlewyn::command {
namespace {

// The whole text as a number, by the rules of the C locale.
template <class T>
std::optional<T> parseNumber(std::string_view text) {
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

Option ranged(Option option, double lowest, double highest) {
  option.lowest = lowest;
  option.highest = highest;
  return option;
}

}  // namespace

Option Option::flag(std::string name, std::string help) {
  return {std::move(name), ValueKind::flag, "", std::move(help)};
}

Option Option::text(std::string name, std::string value, std::string help) {
  return {std::move(name), ValueKind::text, std::move(value), std::move(help)};
}

Option Option::word(std::string name, std::string value, std::vector<std::string> words,
                    std::string help) {
  Option option(std::move(name), ValueKind::word, std::move(value), std::move(help));
  option.words = std::move(words);
  return option;
}

Option Option::number(std::string name, std::string value, double lowest, double highest,
                      std::string help) {
  return ranged({std::move(name), ValueKind::number, std::move(value), std::move(help)}, lowest,
                highest);
}

Option Option::wholeNumber(std::string name, std::string value, double lowest, double highest,
                           std::string help) {
  return ranged({std::move(name), ValueKind::wholeNumber, std::move(value), std::move(help)},
                lowest, highest);
}

Option Option::promptID(std::string name, std::string help) {
  return {std::move(name), ValueKind::promptID, "PROMPT", std::move(help)};
}

Option Option::file(std::string name, std::string value, std::string help) {
  return {std::move(name), ValueKind::file, std::move(value), std::move(help)};
}

Option Option::required() && {
  isRequired = true;
  return std::move(*this);
}

Option Option::needing(std::string other) && {
  needs.push_back(std::move(other));
  return std::move(*this);
}

Option Option::excluding(std::string other) && {
  excludes.push_back(std::move(other));
  return std::move(*this);
}

bool Option::accepts(std::string_view text) const {
  const auto isWithin = [this](double number) {
    return std::isfinite(number) && number >= lowest && number <= highest;
  };
  switch (kind) {
    case ValueKind::word: return std::ranges::find(words, text) != words.end();
    case ValueKind::number: return isWithin(parseNumber<double>(text).value_or(NAN));
    case ValueKind::wholeNumber: {
      const auto whole = parseNumber<std::int64_t>(text);
      return whole && isWithin(static_cast<double>(*whole));
    }
    default: return true;
  }
}

Option agentOption() {
  std::vector<std::string> words;
  for (const AgentProvider provider : allCases<AgentProvider>())
    words.emplace_back(rawValue(provider));
  return Option::word("--agent", "AGENT", std::move(words), "claude or codex");
}

Option jsonOption() { return Option::flag("--json", "Write JSON, one object a line"); }

std::string Arguments::text(const std::string& name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? "" : found->second;
}

double Arguments::number(const std::string& name, double otherwise) const {
  return parseNumber<double>(text(name)).value_or(otherwise);
}

std::optional<AgentProvider> Arguments::agent() const {
  return fromRawValue<AgentProvider>(text("--agent"));
}

std::pair<std::string_view, std::string_view> wordsOf(const Command& command) {
  const std::string_view name = command.name;
  const auto space = name.find(' ');
  if (space == std::string_view::npos) return {name, {}};
  return {name.substr(0, space), name.substr(space + 1)};
}

}  // namespace idlewyn::command
