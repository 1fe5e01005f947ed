// SPDX-License-Identifier: MIT
#include <tools/idlewyn/demo/SandboxProcess.hpp>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/system/ProgramFolder.hpp>

namespace idlewyn::command {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds startTime{10};
constexpr std::chrono::seconds endTime{3};
constexpr std::size_t longestLine = 65536;

struct AdvanceRequest {
  explicit AdvanceRequest(double seconds) : advance(seconds) {}
  explicit AdvanceRequest(platform::DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{platform::field("advance", &AdvanceRequest::advance)};
  }
  double advance = 0;
};

struct ClockAnswer {
  explicit ClockAnswer(platform::DecodingKey) {}
  static constexpr auto fields() { return std::tuple{platform::field("now", &ClockAnswer::now)}; }
  Date now;
};

Failure sandboxFailure(const std::string& why) {
  return {ExitCode::failure, "sandbox", "The sandbox relay " + why};
}

std::pair<FileDescriptor, FileDescriptor> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw sandboxFailure("gets no pipe.");
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

}  // namespace

fs::path SandboxProcess::findProgram() {
  constexpr const char* name = "idlewyn-sandbox-relay";
  if (const char* named = std::getenv("IDLEWYN_SANDBOX_RELAY"); named != nullptr && *named != 0) {
    return named;
  }
  const fs::path folder = programFolder();
  for (const fs::path& place : {folder / name, folder.parent_path() / "sandbox-relay" / name}) {
    if (access(place.c_str(), X_OK) == 0) return place;
  }
  throw sandboxFailure("is not installed beside this program; IDLEWYN_SANDBOX_RELAY may name it.");
}

SandboxProcess::SandboxProcess(const fs::path& program, Relays& relays)
    : relays_(relays),
      session_(URLSession::ephemeral(std::make_shared<PinningDelegate>(std::nullopt))) {
  start(program);
  try {
    const std::string line = readFirstLine();
    pairing_ = JSONDecoder::relay().decode<SandboxPairing>(std::string_view(line));
  } catch (const DecodingError&) {
    stop();
    throw sandboxFailure("does not introduce itself.");
  } catch (...) {
    stop();
    throw;
  }
}

void SandboxProcess::start(const fs::path& program) {
  auto [childInput, input] = makePipe();
  auto [output, childOutput] = makePipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, childInput.get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, childOutput.get(), STDOUT_FILENO);
  // Should this process be killed, the pipe closes and the relay goes too.
  std::string name = program.native();
  std::string manualClock = "--manual-clock", untilStdinCloses = "--until-stdin-closes";
  std::array<char*, 4> arguments{name.data(), manualClock.data(), untilStdinCloses.data(), nullptr};
  const int error = posix_spawn(&pid_, name.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    pid_ = -1;
    throw sandboxFailure(displayLine(name) +
                         " can't be started: " + std::generic_category().message(error) + ".");
  }
  input_ = std::move(input);
  output_ = std::move(output);
}

std::string SandboxProcess::readFirstLine() {
  const auto deadline = Clock::now() + startTime;
  std::string line;
  while (!line.ends_with('\n')) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd entry{output_.get(), POLLIN, 0};
    const int ready = left.count() > 0 ? poll(&entry, 1, static_cast<int>(left.count())) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) throw sandboxFailure("does not start in time.");
    std::array<char, 4096> buffer;
    const ssize_t count = read(output_.get(), buffer.data(), buffer.size());
    if (count <= 0 || line.size() > longestLine) throw sandboxFailure("ended at once.");
    line.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return line;
}

std::string SandboxProcess::control(std::string_view path, std::string body) {
  platform::URLRequest request(pairing().address.appendingPath("sandbox/" + std::string(path)));
  request.method = "POST";
  request.setHeader("Content-Type", "application/json");
  request.body = platform::Data::ofText(std::move(body));
  platform::HTTPResponse response = relays_.send(session_, request);
  if (response.statusCode != 200) throw sandboxFailure("refuses a control request.");
  return std::move(response.body.storage);
}

Date SandboxProcess::advance(double seconds) {
  std::string body = JSONEncoder::relay().encode(AdvanceRequest(seconds)).storage;
  const std::string answer = control("clock", std::move(body));
  return JSONDecoder::relay().decode<ClockAnswer>(std::string_view(answer)).now;
}

void SandboxProcess::replaceCertificate() { control("certificate", ""); }

void SandboxProcess::renewPairing() {
  const std::string answer = control("code", "");
  pairing_ = JSONDecoder::relay().decode<SandboxPairing>(std::string_view(answer));
}

void SandboxProcess::stop() noexcept {
  if (pid_ < 0) return;
  kill(pid_, SIGTERM);
  const auto deadline = Clock::now() + endTime;
  while (waitpid(pid_, nullptr, WNOHANG) == 0) {
    if (Clock::now() > deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  pid_ = -1;
  input_.close();
  output_.close();
}

}  // namespace idlewyn::command
