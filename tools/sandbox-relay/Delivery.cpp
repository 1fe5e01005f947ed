// SPDX-License-Identifier: MIT
#include "Delivery.hpp"

#include <algorithm>

namespace idlewyn::sandbox {
namespace {

using Kind = Fault::Kind;

constexpr std::string_view webPage =
    "<!doctype html><title>Sign in</title><p>This network asks you to sign in first.</p>";
constexpr std::string_view otherProtocol = "220 mail.example ESMTP, and no web server\r\n";

// A promised length that differs from what follows leaves the connection useless.
bool writeBroken(Stream& stream, const HTTPAnswer& response, std::size_t promised,
                 std::size_t sent) {
  stream.write(responseHead(response, promised, true) + response.body.substr(0, sent));
  return false;
}

bool writeWhole(Stream& stream, const HTTPAnswer& response, DeliveryOptions options) {
  const bool bodyless = options.headOnly || response.status == 204 || response.status == 304;
  const bool written =
      stream.write(bodyless ? responseHead(response, response.body.size(), options.keepAlive)
                            : responseText(response, options.keepAlive));
  return written && options.keepAlive;
}

bool write(Stream& stream, const PlannedAnswer& answer, DeliveryOptions options) {
  const HTTPAnswer& response = answer.response;
  const std::size_t size = response.body.size();
  for (const Fault& fault : answer.faults) {
    switch (fault.kind) {
      case Kind::stall: stream.waitForClose(); return false;
      case Kind::stallMidBody:
        writeBroken(stream, response, size, size / 2);
        stream.waitForClose();
        return false;
      case Kind::closeMidBody: return writeBroken(stream, response, size, size / 2);
      case Kind::close: return false;
      case Kind::wrongLength: return writeBroken(stream, response, size - size / 4 - 1, size);
      case Kind::notHTTP: stream.write(otherProtocol); return false;
      default: break;
    }
  }
  return writeWhole(stream, response, options);
}

}  // namespace

bool deliver(Stream& stream, PlannedAnswer answer, DeliveryOptions options) {
  for (const Fault& fault : answer.faults) {
    if (fault.kind == Kind::status) {
      answer.response = HTTPAnswer(static_cast<int>(fault.value), R"({"error":"fault"})");
    } else if (fault.kind == Kind::notJSON) {
      answer.response = HTTPAnswer(200, std::string(webPage), {{"Content-Type", "text/html"}});
    } else if (fault.kind == Kind::delay && !stream.wait(fault.value)) {
      return false;
    }
  }
  const bool goesOn = write(stream, answer, options);
  if (answer.afterwards) answer.afterwards();
  return goesOn;
}

}  // namespace idlewyn::sandbox
