// SPDX-License-Identifier: MIT
#include <tools/idlewyn/notify/NotifierModule.hpp>

#include <dlfcn.h>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/system/ProgramFolder.hpp>

namespace idlewyn::command {

std::unique_ptr<Notifier> loadNotifier() {
  const auto folder = programFolder();
  for (const auto& place : {folder / "notify" / IDLEWYN_NOTIFY_MODULE,
                            folder / IDLEWYN_MODULE_FOLDER / IDLEWYN_NOTIFY_MODULE}) {
    void* module = dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* symbol = module == nullptr ? nullptr : dlsym(module, "idlewynMakeNotifier");
    if (symbol == nullptr) continue;
    return std::unique_ptr<Notifier>(reinterpret_cast<MakeNotifier*>(symbol)());
  }
  throw Failure(ExitCode::failure, "notifications",
                "The part for notifications is not installed, or GLib is not.");
}

}  // namespace idlewyn::command
