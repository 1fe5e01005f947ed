// SPDX-License-Identifier: MIT
#include <tools/idlewyn/notify/SessionBus.hpp>

#include <cstdlib>
#include <utility>

#include <sys/stat.h>

namespace idlewyn::command {
namespace {

using Work = std::function<void()>;

gboolean runOnce(void* work) {
  (*static_cast<Work*>(work))();
  return G_SOURCE_REMOVE;
}

void forget(void* work) { delete static_cast<Work*>(work); }

}  // namespace

std::optional<std::string> sessionBusAddress() {
  const char* named = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (named != nullptr && *named != '\0') {
    const std::string address = named;
    // That would start a bus, and wait for it.
    if (address.starts_with("autolaunch:")) return std::nullopt;
    return address;
  }
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || *folder != '/') return std::nullopt;
  const std::string path = std::string(folder) + "/bus";
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return std::nullopt;
  char* escaped = g_dbus_address_escape_value(path.c_str());
  std::string address = std::string("unix:path=") + escaped;
  g_free(escaped);
  return address;
}

LoopThread::LoopThread()
    : context_(g_main_context_new()),
      loop_(g_main_loop_new(context_, FALSE)),
      thread_(g_thread_new("notify", run, this)) {}

LoopThread::~LoopThread() {
  post([this] { g_main_loop_quit(loop_); });
  g_thread_join(thread_);
  g_main_loop_unref(loop_);
  g_main_context_unref(context_);
}

void* LoopThread::run(void* self) {
  auto* thread = static_cast<LoopThread*>(self);
  g_main_context_push_thread_default(thread->context_);
  g_main_loop_run(thread->loop_);
  g_main_context_pop_thread_default(thread->context_);
  return nullptr;
}

void LoopThread::attach(GSource* source, Work work) {
  g_source_set_callback(source, runOnce, new Work(std::move(work)), forget);
  g_source_attach(source, context_);
  g_source_unref(source);
}

void LoopThread::post(Work work) {
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  attach(source, std::move(work));
}

void LoopThread::postLater(unsigned milliseconds, Work work) {
  attach(g_timeout_source_new(milliseconds), std::move(work));
}

}  // namespace idlewyn::command
