// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include <glib.h>
#include <boost/asio/execution/blocking.hpp>
#include <boost/asio/execution/context.hpp>
#include <boost/asio/execution_context.hpp>

/// Coroutines on a GLib main loop, for GTK and other GLib programs. Link glib-2.0 to use it.
///
///     namespace asio = boost::asio;
///     asio::co_spawn(idlewyn::glib::Executor(), refresh(model), asio::detached);
///     g_application_run(...);   // `refresh` runs in here, on this thread
namespace idlewyn::glib {

/// An executor (Boost.Asio) over a main context. What is executed runs in turn with the loop's
/// other sources at default priority, on the thread that iterates the context, never inside
/// the call that hands it over. Executors keep the context alive; waiting operations do not keep
/// the loop running. Work that the context never gets to run is destroyed with the context, on
/// the thread that lets go of it last: iterate it until nothing is pending before you do.
/// An exception that work lets out ends the process (std::terminate), for it can't pass through
/// GLib; a coroutine's goes to the handler that `co_spawn` was given.
class Executor {
 public:
  /// Null stands for the default main context.
  explicit Executor(GMainContext* context = nullptr) noexcept
      : context_(g_main_context_ref(context != nullptr ? context : g_main_context_default())) {}
  Executor(const Executor& other) noexcept : context_(g_main_context_ref(other.context_)) {}
  Executor& operator=(const Executor& other) noexcept {
    Executor copy(other);
    std::swap(context_, copy.context_);
    return *this;
  }
  ~Executor() { g_main_context_unref(context_); }

  template <class Function>
  void execute(Function function) const {
    using Owned = Function*;
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) noexcept -> gboolean {
          std::move (*static_cast<Owned>(data))();
          return G_SOURCE_REMOVE;
        },
        new Function(std::move(function)), [](gpointer data) { delete static_cast<Owned>(data); });
    g_source_attach(source, context_);
    g_source_unref(source);
  }

  /// One context for all of these executors, which lives as long as the process.
  boost::asio::execution_context& query(boost::asio::execution::context_t) const noexcept {
    static auto* const context = new boost::asio::execution_context();
    return *context;
  }
  static constexpr boost::asio::execution::blocking_t query(
      boost::asio::execution::blocking_t) noexcept {
    return boost::asio::execution::blocking.never;
  }
  Executor require(boost::asio::execution::blocking_t::never_t) const noexcept { return *this; }

  friend bool operator==(const Executor& a, const Executor& b) noexcept {
    return a.context_ == b.context_;
  }
  friend bool operator!=(const Executor& a, const Executor& b) noexcept { return !(a == b); }

 private:
  GMainContext* context_;
};

}  // namespace idlewyn::glib
