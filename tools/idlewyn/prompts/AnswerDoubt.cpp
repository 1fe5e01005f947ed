// SPDX-License-Identifier: MIT
#include <tools/idlewyn/prompts/AnswerDoubt.hpp>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

#include <tools/idlewyn/prompts/ShellWord.hpp>

namespace idlewyn::command {
namespace {

using platform::URLErrorCode;

bool mayHaveLeft(URLErrorCode code) noexcept {
  switch (code) {
    case URLErrorCode::badURL:
    case URLErrorCode::unsupportedURL:
    case URLErrorCode::cannotFindHost:
    case URLErrorCode::cannotConnectToHost:
    case URLErrorCode::secureConnectionFailed:
    case URLErrorCode::serverCertificateHasBadDate:
    case URLErrorCode::serverCertificateUntrusted: return false;
    default: return true;
  }
}

// A status of 500 and above may come from a proxy that lost the relay's answer.
bool isInDoubt(const std::exception_ptr& error) {
  constexpr int firstServerError = 500;
  try {
    std::rethrow_exception(error);
  } catch (const Failure& failure) {
    return failure.code == ExitCode::interrupted;
  } catch (const RelayError& relayError) {
    return relayError.kind() == RelayError::Kind::invalidResponse ||
           (relayError.kind() == RelayError::Kind::server &&
            relayError.status() >= firstServerError);
  } catch (const platform::URLError& urlError) {
    return mayHaveLeft(urlError.code);
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

Failure describeAnswering(const std::exception_ptr& error, std::string_view promptID) {
  Failure failure = describe(error);
  if (isInDoubt(error)) {
    failure.message +=
        " It may have been answered all the same: see whether it is still open "
        "with idlewyn show " +
        pasteableID(promptID);
  }
  return failure;
}

bool hasDotSegment(std::string_view promptID) noexcept {
  while (true) {
    const std::size_t end = promptID.find('/');
    const std::string_view part = promptID.substr(0, end);
    if (part == "." || part == "..") return true;
    if (end == std::string_view::npos) return false;
    promptID.remove_prefix(end + 1);
  }
}

std::string dotSegmentWarning() {
  return "Warning: this prompt's ID has a dot segment. A proxy in front of the relay that resolves "
         "such segments sends the answer to another address, and the prompt stays open.";
}

}  // namespace idlewyn::command
