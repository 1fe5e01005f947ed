// SPDX-License-Identifier: MIT
#include <tools/idlewyn/render/RenderModule.hpp>

#include <dlfcn.h>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/system/ProgramFolder.hpp>

namespace idlewyn::command {
namespace {

Render* loadRender() {
  const auto folder = programFolder();
  for (const auto& place : {folder / "render" / IDLEWYN_RENDER_MODULE,
                            folder / IDLEWYN_MODULE_FOLDER / IDLEWYN_RENDER_MODULE}) {
    void* module = dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* symbol = module == nullptr ? nullptr : dlsym(module, "idlewynRender");
    if (symbol != nullptr) return reinterpret_cast<Render*>(symbol);
  }
  throw Failure(ExitCode::failure, "picture",
                "The part for pictures is not installed, or what it draws with is not.");
}

}  // namespace

platform::Data render(const Rendering& rendering) {
  static Render* const draw = loadRender();
  Picture picture;
  draw(rendering, picture);
  if (!picture.error.empty()) {
    throw Failure(ExitCode::failure, "picture", "There is no picture: " + picture.error);
  }
  return std::move(picture.bytes);
}

}  // namespace idlewyn::command
