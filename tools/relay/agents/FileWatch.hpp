// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

/// Tells of changes to files and folders without looking at them again and again.
///
///     FileWatch watch(context);
///     const auto id = watch.add(folder, [](const std::string& name) { reread(name); });
namespace idlewyn::relay {

class FileWatch {
 public:
  /// The name within a watched folder; empty for a watched file itself.
  using Changed = std::function<void(const std::string& name)>;

  explicit FileWatch(boost::asio::io_context& context);
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  /// What is written, made, moved or removed there calls `changed`, on the context's thread.
  /// 0 when the path can't be watched.
  std::uint64_t add(const std::string& path, Changed changed);
  void remove(std::uint64_t id);

 private:
  struct Entry {
    int descriptor;
    Changed changed;
  };

  void read();
  void take(const char* bytes, std::size_t size);

  boost::asio::posix::stream_descriptor events_;
  alignas(8) char buffer_[4096];
  std::uint64_t last_ = 0;
  std::map<std::uint64_t, Entry> entries_;
};

}  // namespace idlewyn::relay
