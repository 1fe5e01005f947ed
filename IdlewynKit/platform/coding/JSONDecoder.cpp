// SPDX-License-Identifier: MIT
#include <algorithm>
#include <memory>
#include <optional>

#include <simdjson.h>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/internal/ValueReader.hpp>
#include <IdlewynKit/platform/coding/internal/WideNumbers.hpp>

namespace idlewyn::platform {
namespace {

namespace dom = simdjson::dom;

constexpr std::size_t mostLevels = 1'024;

/// A parser keeps its memory from call to call, which makes it several times faster; a larger
/// one is given back after the call.
constexpr std::size_t largestKeptCapacity = std::size_t{2} << 20;

/// The thread's parser for the length of one call. A date strategy that decodes something itself
/// finds it taken and gets one of its own.
class ParserLease {
 public:
  ParserLease() : parser_(std::move(kept())) {
    if (!parser_) parser_ = std::make_unique<dom::parser>();
  }
  ~ParserLease() {
    if (parser_->capacity() <= largestKeptCapacity) kept() = std::move(parser_);
  }
  ParserLease(const ParserLease&) = delete;
  ParserLease& operator=(const ParserLease&) = delete;

  dom::parser& operator*() noexcept { return *parser_; }

 private:
  static std::unique_ptr<dom::parser>& kept() {
    thread_local std::unique_ptr<dom::parser> parser;
    return parser;
  }
  std::unique_ptr<dom::parser> parser_;
};

std::string describe(simdjson::error_code error) {
  switch (error) {
    case simdjson::EMPTY: return "The data is empty.";
    case simdjson::UTF8_ERROR: return "The data is not UTF-8.";
    case simdjson::DEPTH_ERROR: return "The data is nested too deeply.";
    case simdjson::CAPACITY: return "The data is too large.";
    default: return "The data is not valid JSON.";
  }
}

/// What is refused before the parser sees it.
simdjson::error_code refusal(std::string_view text) {
  if (text.empty()) return simdjson::EMPTY;
  return text.starts_with("\xEF\xBB\xBF") ? simdjson::TAPE_ERROR : simdjson::SUCCESS;
}

/// Whether a number is too wide for the parser. Later versions of it have an error of their own
/// for integers.
template <typename Code>
bool isWideNumber(Code error) {
  if constexpr (requires { Code::BIGINT_ERROR; }) {
    if (error == Code::BIGINT_ERROR) return true;
  }
  return error == Code::NUMBER_ERROR;
}

/// How many levels of lists and objects a text has, texts within it aside. What follows a closing
/// bracket that nothing opened is no JSON and isn't counted.
std::size_t levelsOf(std::string_view text) {
  std::size_t level = 0, deepest = 0;
  bool isQuoted = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (isQuoted) {
      at += c == '\\';
      isQuoted = c != '"';
    } else if (c == '"') {
      isQuoted = true;
    } else if (c == '[' || c == '{') {
      deepest = std::max(deepest, ++level);
    } else if (c == ']' || c == '}') {
      if (level == 0) break;
      --level;
    }
  }
  return deepest;
}

/// Parses, with a parser of its own, a text that the first attempt refused for a wide number or
/// for its depth: the parser counts an innermost level only when there is something in it.
simdjson::error_code parseThoroughly(dom::parser& parser, std::string_view text,
                                     dom::element& root) {
  const std::string narrowed = internal::narrowingNumbers(text);
  if (levelsOf(narrowed) > mostLevels) return simdjson::DEPTH_ERROR;
  if (const auto error = parser.allocate(narrowed.size(), mostLevels + 1)) return error;
  return parser.parse(narrowed).get(root);
}

bool readsFast(const internal::ValueReader& reader, const internal::Shape& shape, dom::element root,
               void* value) {
  try {
    return reader.readFast(shape, root, value);
  } catch (...) {
    // Thrown by a date strategy, perhaps behind an earlier fault: the careful pass decides.
    return false;
  }
}

}  // namespace

void PlainJSONDecoder::read(std::string_view text, std::size_t spare, const CodedType& type,
                            void* value) const {
  ParserLease parser;
  const bool mustCopy = spare < simdjson::SIMDJSON_PADDING;
  dom::element root;
  auto error = refusal(text);
  if (error == simdjson::SUCCESS) {
    error = (*parser).parse(text.data(), text.size(), mustCopy).get(root);
  }
  dom::parser thorough;
  const bool isNarrowed = isWideNumber(error) || error == simdjson::DEPTH_ERROR;
  if (isNarrowed) error = parseThoroughly(thorough, text, root);
  if (error == simdjson::MEMALLOC) throw std::bad_alloc();
  if (error != simdjson::SUCCESS) {
    throw DecodingError(DecodingError::Kind::dataCorrupted, {}, describe(error));
  }
  const internal::Shape& shape = internal::shapeOf(type);
  const internal::ValueReader reader(dateDecodingStrategy, isNarrowed);
  if (readsFast(reader, shape, root, value)) return;
  shape.clear(value);
  reader.readCarefully(shape, root, value, nullptr);
}

}  // namespace idlewyn::platform
