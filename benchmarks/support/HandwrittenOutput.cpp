// SPDX-License-Identifier: MIT
#include <charconv>
#include <cstring>
#include <memory>

#include "support/Baselines.hpp"
#include "support/DatesByHand.hpp"

namespace idlewyn::bench {
namespace {

using Bytes = std::uint8_t __attribute__((vector_size(16)));
using Words = std::uint64_t __attribute__((vector_size(16)));

/// Whether one of sixteen bytes must be escaped.
bool mustEscape(Bytes bytes) {
  constexpr Bytes none{};
  const auto found = reinterpret_cast<Words>((bytes < none + 0x20) | (bytes == none + '"') |
                                             (bytes == none + '\\'));
  return (found[0] | found[1]) != 0;
}

char* putEscaped(char* to, std::string_view text) {
  constexpr char digits[] = "0123456789abcdef";
  constexpr std::string_view named = "\"\\\b\f\n\r\t", names = "\"\\bfnrt";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const std::size_t at = named.find(c);
    if (at != named.npos) {
      *to++ = '\\';
      *to++ = names[at];
    } else if (byte < 0x20) {
      std::memcpy(to, "\\u00", 4);
      to[4] = digits[byte >> 4];
      to[5] = digits[byte & 15];
      to += 6;
    } else {
      *to++ = c;
    }
  }
  return to;
}

/// Text in sixteens, as long as nothing in them must be escaped; the last ones overlap.
char* putPlain(char* to, std::string_view text) {
  Bytes bytes;
  std::size_t at = 0;
  for (; at + sizeof bytes <= text.size(); at += sizeof bytes) {
    std::memcpy(&bytes, text.data() + at, sizeof bytes);
    if (mustEscape(bytes)) return putEscaped(to + at, text.substr(at));
    std::memcpy(to + at, &bytes, sizeof bytes);
  }
  const std::size_t rest = text.size() - at;
  if (rest == 0) return to + at;
  // Spaces stand for what is not there.
  bytes = Bytes{} + ' ';
  std::memcpy(&bytes, text.data() + at, rest);
  if (mustEscape(bytes)) return putEscaped(to + at, text.substr(at));
  std::memcpy(to + at, &bytes, sizeof bytes);
  return to + text.size();
}

/// A piece that is known when this is compiled, without its closing zero byte.
template <std::size_t size>
char* put(char* to, const char (&piece)[size]) {
  std::memcpy(to, piece, size - 1);
  return to + size - 1;
}
char* put(char* to, std::string_view text) {
  *to = '"';
  to = putPlain(to + 1, text);
  *to = '"';
  return to + 1;
}
char* put(char* to, Date date) {
  *to = '"';
  putDateByHand(platform::secondsSinceReferenceDate(date), to + 1);
  to[1 + dateLength] = '"';
  return to + dateLength + 2;
}
char* put(char* to, std::int64_t value) { return std::to_chars(to, to + 24, value).ptr; }

char* put(char* to, const PermissionPrompt& prompt) {
  to = put(put(to, R"({"id":)"), std::string_view(prompt.id));
  to = put(put(to, R"(,"toolName":)"), std::string_view(prompt.toolName));
  to = put(put(to, R"(,"detail":)"), std::string_view(prompt.detail));
  to = put(put(to, R"(,"createdAt":)"), prompt.createdAt);
  if (prompt.alwaysRule)
    to = put(put(to, R"(,"alwaysRule":)"), std::string_view(*prompt.alwaysRule));
  *to = '}';
  return to + 1;
}

template <std::size_t size, class T>
char* put(char* to, const char (&prefix)[size], const std::optional<T>& value) {
  if (!value) return to;
  if constexpr (std::is_same_v<T, std::string>) {
    return put(put(to, prefix), std::string_view(*value));
  } else {
    return put(put(to, prefix), *value);
  }
}

char* put(char* to, const AgentSession& session) {
  to = put(put(to, R"({"id":)"), std::string_view(session.id));
  to = put(put(to, R"(,"provider":)"), rawValue(session.provider));
  to = put(put(to, R"(,"title":)"), std::string_view(session.title));
  to = put(to, R"(,"workingDirectory":)", session.workingDirectory);
  to = put(put(to, R"(,"status":)"), rawValue(session.status));
  to = put(put(to, R"(,"startedAt":)"), session.startedAt);
  to = put(put(to, R"(,"updatedAt":)"), session.updatedAt);
  to = put(to, R"(,"summary":)", session.summary);
  to = put(to, R"(,"permission":)", session.permission);
  to = put(to, R"(,"activity":)", session.activity);
  to = put(to, R"(,"turnStartedAt":)", session.turnStartedAt);
  to = put(to, R"(,"taskDone":)", session.taskDone);
  to = put(to, R"(,"taskTotal":)", session.taskTotal);
  *to = '}';
  return to + 1;
}

std::size_t sizeOf(const std::optional<std::string>& text) { return text ? text->size() : 0; }

/// At most so many bytes: each of a text may become six, and the rest of a session is short.
std::size_t mostBytes(const AgentSession& session) {
  std::size_t texts = session.id.size() + session.title.size() + sizeOf(session.workingDirectory) +
                      sizeOf(session.summary) + sizeOf(session.activity);
  if (const auto& prompt = session.permission)
    texts += prompt->id.size() + prompt->toolName.size() + prompt->detail.size() +
             sizeOf(prompt->alwaysRule);
  return 6 * texts + 1024;
}

}  // namespace

std::string encodeByHand(const std::vector<AgentSession>& sessions, std::size_t reserved) {
  std::string json;
  json.reserve(reserved);
  std::size_t size = 4096;
  auto room = std::make_unique_for_overwrite<char[]>(size);
  char opening = '[';
  for (const AgentSession& session : sessions) {
    const std::size_t needed = mostBytes(session);
    if (needed > size) {
      size = 2 * needed;
      room = std::make_unique_for_overwrite<char[]>(size);
    }
    room[0] = opening;
    opening = ',';
    json.append(room.get(), put(room.get() + 1, session));
  }
  if (opening == '[') json += '[';
  json += ']';
  return json;
}

}  // namespace idlewyn::bench
