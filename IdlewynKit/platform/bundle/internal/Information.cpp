// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/bundle/internal/Information.hpp>

#include <algorithm>
#include <tuple>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>

namespace idlewyn::platform::internal {

namespace {

struct AnyObject {
  explicit AnyObject(DecodingKey) {}
  static constexpr std::tuple<> fields() { return {}; }
};

// Splits a text that the decoder has accepted as an object; what a value is remains its affair.
class MemberScanner {
 public:
  explicit MemberScanner(std::string_view object) : text_(object), at_(object.find('{') + 1) {}

  // False behind the last member.
  bool next(std::string_view& key, std::string_view& value) {
    skipUntilToken();
    if (at_ >= text_.size() || text_[at_] == '}') return false;
    key = takeValue();
    skipUntilToken();
    value = takeValue();
    return true;
  }

 private:
  // Blanks, and what stands between the keys and values of the outermost object.
  void skipUntilToken() { at_ = std::min(text_.find_first_not_of(" \t\r\n:,", at_), text_.size()); }

  std::string_view takeValue() {
    const std::size_t begin = at_;
    if (begin < text_.size() && std::string_view("\"{[").find(text_[begin]) != text_.npos) {
      skipTextOrContainer();
    } else {
      at_ = std::min(text_.find_first_of(" \t\r\n,}", begin), text_.size());
    }
    return text_.substr(begin, at_ - begin);
  }

  void skipTextOrContainer() {
    std::size_t level = 0;
    do {
      switch (text_[at_]) {
        case '"': skipText(); break;
        case '{':
        case '[': ++level; break;
        case '}':
        case ']': --level; break;
        default: break;
      }
      ++at_;
    } while (level > 0 && at_ < text_.size());
  }

  // To the closing quote.
  void skipText() {
    for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      if (text_[at_] == '\\') ++at_;
    }
  }

  std::string_view text_;
  std::size_t at_;
};

}  // namespace

InformationValues informationValues(std::string_view text) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  InformationValues values;
  try {
    const PlainJSONDecoder decoder;
    decoder.decode<AnyObject>(text);
    MemberScanner members(text);
    for (std::string_view key, value; members.next(key, value);) {
      values.try_emplace(decoder.decode<std::string>(key), value);
    }
  } catch (const DecodingError&) {
    values.clear();
  }
  std::erase_if(values, [](const auto& member) { return member.second == "null"; });
  return values;
}

}  // namespace idlewyn::platform::internal
