// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/RawServer.hpp"

/// As much of HTTP/2 (RFC 9113) as a server needs that understands no field, written out frame
/// by frame, so that a test can get any of it wrong:
///
///     RawServer server([](RawServer::Connection& connection) {
///       http2::begin(connection);
///       while (const char stream = http2::readStream(connection))
///         connection.write(http2::head(stream) + http2::data(stream, "ok", http2::endStream));
///     }, RawServer::TLS{.choosesHTTP2 = true});
namespace idlewyn::testing::http2 {

constexpr char endStream = 1, acknowledged = 1, endHeaders = 4;
constexpr char dataType = 0, headersType = 1, priorityType = 2, resetType = 3, settingsType = 4,
               pingType = 6, goAwayType = 7, windowUpdateType = 8;

inline std::string frame(char type, char flags, char stream, std::string_view payload) {
  const char head[] = {0,
                       static_cast<char>(payload.size() >> 8),
                       static_cast<char>(payload.size()),
                       type,
                       flags,
                       0,
                       0,
                       0,
                       stream};
  return std::string(head, sizeof head).append(payload);
}

inline std::string number(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes += static_cast<char>(value >> shift);
  return bytes;
}

/// ":status: 200".
inline std::string head(char stream, char flags = 0) {
  return frame(headersType, static_cast<char>(endHeaders | flags), stream, "\x88");
}

/// ":status: 200" and "content-length: SIZE", which has one digit.
inline std::string headWithLength(char stream, char size) {
  return frame(headersType, endHeaders, stream,
               std::string("\x88\x0f\x0d\x01", 4) + static_cast<char>('0' + size));
}

inline std::string data(char stream, std::string_view content, char flags = 0) {
  return frame(dataType, flags, stream, content);
}

inline std::string reset(char stream, std::uint32_t code) {
  return frame(resetType, 0, stream, number(code));
}

inline std::string goAway(char lastStream, std::uint32_t code = 0) {
  return frame(goAwayType, 0, 0, number(static_cast<std::uint32_t>(lastStream)) + number(code));
}

inline std::string ok(char stream) { return head(stream) + data(stream, "ok", endStream); }

inline void begin(RawServer::Connection& connection, std::string_view settings = "") {
  connection.readBytes(24);  // the preface
  connection.write(frame(settingsType, 0, 0, settings));
}

/// Reads to the end of the next request and records it; gives its stream, 0 when the peer has
/// gone. Reads on until our settings are acknowledged where the connection is to be closed next:
/// closing with bytes unread would reset it and destroy the answer.
inline char readStream(RawServer::Connection& connection, bool untilAcknowledged = false) {
  char stream = 0;
  bool isAcknowledged = !untilAcknowledged;
  while (stream == 0 || !isAcknowledged) {
    const std::string head = connection.readBytes(9);
    if (head.size() < 9) return 0;
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(head[i]); };
    connection.readBytes(std::size_t{byte(1)} << 8 | byte(2));
    if (head[3] == settingsType && head[4] == acknowledged) isAcknowledged = true;
    if (head[3] <= headersType && (head[4] & endStream) != 0) stream = head[8];
  }
  connection.record("stream");
  return stream;
}

}  // namespace idlewyn::testing::http2
