// SPDX-License-Identifier: MIT
#include <tools/relay/agents/FileWatch.hpp>

#include <sys/inotify.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <boost/asio/buffer.hpp>

namespace idlewyn::relay {
namespace {

constexpr std::uint32_t interesting = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO |
                                      IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

FileWatch::FileWatch(boost::asio::io_context& context) : events_(context) {
  const int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (descriptor < 0) return;  // no watch can be added, and callers still look when asked
  events_.assign(descriptor);
  read();
}

std::uint64_t FileWatch::add(const std::string& path, Changed changed) {
  if (!events_.is_open()) return 0;
  const int descriptor = inotify_add_watch(events_.native_handle(), path.c_str(), interesting);
  if (descriptor < 0) return 0;
  entries_.emplace(++last_, Entry{descriptor, std::move(changed)});
  return last_;
}

void FileWatch::remove(std::uint64_t id) {
  const auto found = entries_.find(id);
  if (found == entries_.end()) return;
  const int descriptor = found->second.descriptor;
  entries_.erase(found);
  // The kernel gives one path one descriptor, however often it was added.
  const bool isShared = std::any_of(entries_.begin(), entries_.end(), [&](const auto& entry) {
    return entry.second.descriptor == descriptor;
  });
  if (!isShared) inotify_rm_watch(events_.native_handle(), descriptor);
}

void FileWatch::read() {
  events_.async_read_some(boost::asio::buffer(buffer_),
                          [this](const boost::system::error_code& error, std::size_t size) {
                            if (error) return;
                            take(buffer_, size);
                            read();
                          });
}

void FileWatch::take(const char* bytes, std::size_t size) {
  // Handlers may add and remove watches, so each is looked up again before it is called.
  std::vector<std::pair<std::uint64_t, std::string>> calls;
  for (std::size_t at = 0; at + sizeof(inotify_event) <= size;) {
    inotify_event event;
    std::memcpy(&event, bytes + at, sizeof event);
    const std::string name = event.len > 0 ? std::string(bytes + at + sizeof event) : std::string();
    at += sizeof event + event.len;
    for (const auto& [id, entry] : entries_) {
      const bool isMeant = entry.descriptor == event.wd || (event.mask & IN_Q_OVERFLOW) != 0;
      const std::pair call(id, name);
      if (isMeant && std::find(calls.begin(), calls.end(), call) == calls.end())
        calls.push_back(call);
    }
  }
  for (const auto& [id, name] : calls) {
    const auto found = entries_.find(id);
    if (found == entries_.end()) continue;
    const Changed changed = found->second.changed;
    changed(name);
  }
}

}  // namespace idlewyn::relay
