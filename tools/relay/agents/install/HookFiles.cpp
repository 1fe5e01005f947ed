// SPDX-License-Identifier: MIT
#include <tools/relay/agents/install/HookFiles.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <istream>
#include <iterator>
#include <optional>
#include <ostream>
#include <stdexcept>

#include <tools/relay/agents/install/HookSettings.hpp>

namespace idlewyn::relay {
namespace {

namespace fs = std::filesystem;

struct Target {
  std::string agent;
  fs::path file;
};

constexpr const char* trustAdvice =
    "Codex runs new hooks only once you trust them: at its next start choose \"Trust all\", or "
    "type "
    "/hooks and press t.\n";

/// Empty for a file that isn't there, no value for one that can't be read.
std::optional<std::string> readable(const fs::path& file) {
  std::error_code error;
  if (fs::symlink_status(file, error).type() == fs::file_type::not_found) return std::string();
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream.is_open() || stream.bad() || !fs::is_regular_file(file, error)) return std::nullopt;
  return text;
}

std::string contentOf(const fs::path& file) {
  auto text = readable(file);
  if (!text) throw std::runtime_error("It can't be read");
  return std::move(*text);
}

/// Beside it, then renamed: the file is whole at every moment. Links are followed, and the
/// permissions stay.
void replace(const fs::path& path, const std::string& text) {
  std::error_code none;
  const fs::path real = fs::exists(path, none) ? fs::canonical(path) : path;
  std::string name = real.string() + ".XXXXXX";
  const int descriptor = mkstemp(name.data());
  if (descriptor < 0) throw std::runtime_error("No file can be made in its folder");
  struct stat before {};
  if (stat(real.c_str(), &before) == 0) fchmod(descriptor, before.st_mode & 07777U);
  const bool isWritten =
      write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
      fsync(descriptor) == 0;
  close(descriptor);
  if (isWritten && std::rename(name.c_str(), real.c_str()) == 0) return;
  std::remove(name.c_str());
  throw std::runtime_error("It can't be written");
}

/// Keeps what was there in a file of its own, and never in the place of an earlier copy.
std::string keepCopy(const fs::path& file, const std::string& text) {
  for (int number = 1;; ++number) {
    const std::string copy =
        file.string() + ".before-idlewyn" + (number > 1 ? "-" + std::to_string(number) : "");
    const bool isTaken = fs::exists(fs::symlink_status(copy));
    if (!isTaken) replace(copy, text);
    if (!isTaken || readable(copy) == text) return copy;
  }
}

std::string agentOf(const fs::path& folder) {
  std::error_code none;
  for (const char* name : {"config.toml", "hooks.json", "auth.json"}) {
    if (fs::exists(fs::symlink_status(folder / name, none))) return "codex";
  }
  for (const char* name : {"settings.json", ".claude.json", "projects"}) {
    if (fs::exists(fs::symlink_status(folder / name, none))) return "claude";
  }
  return folder.filename() == ".codex" ? "codex" : folder.filename() == ".claude" ? "claude" : "";
}

std::vector<Target> targets(const HookFilesOptions& options) {
  std::vector<std::string> folders = options.folders;
  for (const char* name : {"/.claude", "/.codex"}) {
    if (options.folders.empty() && fs::is_directory(options.home + name))
      folders.push_back(options.home + name);
  }
  std::vector<Target> result;
  for (const std::string& folder : folders) {
    const std::string agent = agentOf(folder);
    if (!options.agent.empty() && options.folders.empty() && agent != options.agent) continue;
    const std::string named = options.agent.empty() ? agent : options.agent;
    if (named.empty()) {
      throw std::runtime_error("It isn't clear for which agent " + folder +
                               " is. Say it with --agent claude or --agent codex.");
    }
    result.push_back(
        {named, fs::path(folder) / (named == "claude" ? "settings.json" : "hooks.json")});
  }
  return result;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

/// The lines between what both texts begin and end with.
void showDifference(const std::string& before, const std::string& after, std::ostream& out) {
  const auto was = linesOf(before);
  const auto is = linesOf(after);
  const std::size_t shorter = std::min(was.size(), is.size());
  std::size_t head = 0;
  while (head < shorter && was[head] == is[head])
    ++head;
  std::size_t tail = 0;
  while (tail < shorter - head && was[was.size() - 1 - tail] == is[is.size() - 1 - tail])
    ++tail;
  for (std::size_t at = head; at < was.size() - tail; ++at)
    out << "- " << was[at] << "\n";
  for (std::size_t at = head; at < is.size() - tail; ++at)
    out << "+ " << is[at] << "\n";
}

bool isWanted(const HookFilesOptions& options, std::istream& in, std::ostream& out) {
  if (options.isSure) return true;
  if (!options.isTerminal) {
    out << "Nothing was changed. Add --yes to write it.\n";
    return false;
  }
  out << "Write this? [y/N] " << std::flush;
  std::string answer;
  return std::getline(in, answer) && (answer == "y" || answer == "yes");
}

std::string changed(const Target& target, const std::string& text,
                    const HookFilesOptions& options) {
  if (options.action == HookAction::remove)
    return text.empty() ? text : withoutHooks(text, target.agent);
  const auto events =
      target.agent == "codex" ? codexEvents() : claudeEvents(installedClaudeVersion());
  return withHooks(text, {target.agent, options.program, options.socket, events});
}

void show(const Target& target, const std::string& text, std::ostream& out) {
  const auto events = text.empty() ? std::vector<std::string>() : hookedEvents(text, target.agent);
  out << target.file.string() << ": ";
  if (events.empty()) out << "no hooks of the relay";
  for (std::size_t at = 0; at < events.size(); ++at)
    out << (at == 0 ? "" : ", ") << events[at];
  out << "\n";
}

/// True when the file is then as it should be.
bool work(const Target& target, const HookFilesOptions& options, std::istream& in,
          std::ostream& out) {
  const std::string before = contentOf(target.file);
  if (options.action == HookAction::show) return show(target, before, out), true;
  const std::string after = changed(target, before, options);
  out << target.file.string() << (after == before ? ": nothing to change\n" : ":\n");
  if (after == before) return true;
  showDifference(before, after, out);
  if (!isWanted(options, in, out)) return false;
  if (contentOf(target.file) != before)
    throw std::runtime_error("It has changed meanwhile. Run this again");
  if (!before.empty())
    out << "What was there is kept in " << keepCopy(target.file, before) << ".\n";
  replace(target.file, after);
  if (target.agent == "codex" && options.action == HookAction::install) out << trustAdvice;
  return true;
}

}  // namespace

int runHooks(const HookFilesOptions& options, std::istream& in, std::ostream& out) {
  bool isDone = true;
  try {
    const auto all = targets(options);
    if (all.empty()) {
      out << "Neither " << options.home << "/.claude nor " << options.home
          << "/.codex is there. Start an agent once, or name its folder with --config-dir.\n";
      return 1;
    }
    for (const Target& target : all) {
      try {
        isDone = work(target, options, in, out) && isDone;
      } catch (const std::runtime_error& error) {
        out << target.file.string() << ": " << error.what() << ". It was left as it is.\n";
        isDone = false;
      }
    }
  } catch (const std::runtime_error& error) {
    out << error.what() << "\n";
    return 1;
  }
  return isDone ? 0 : 1;
}

std::string installedClaudeVersion() {
  std::FILE* output = popen("claude --version 2>/dev/null", "r");
  if (!output) return {};
  char line[128] = {};
  const bool isRead = std::fgets(line, sizeof line, output) != nullptr;
  pclose(output);
  const std::string text = isRead ? line : "";
  return text.substr(0, text.find_first_not_of("0123456789."));
}

}  // namespace idlewyn::relay
