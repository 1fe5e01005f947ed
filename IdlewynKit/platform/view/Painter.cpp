// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/Painter.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>

#include <IdlewynKit/platform/view/CairoPainter.hpp>
#include <IdlewynKit/platform/view/internal/paint/CairoPointer.hpp>
#include <IdlewynKit/platform/view/internal/paint/FrameDrawer.hpp>
#include <IdlewynKit/platform/view/internal/paint/PictureFile.hpp>

namespace idlewyn::platform {
namespace {

constexpr double maximumSide = 32'767;
constexpr double maximumPixels = 100'000'000;
constexpr double vectorLayerScale = 3;

void check(cairo_status_t status) {
  if (status == CAIRO_STATUS_SUCCESS) return;
  if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
  throw PaintError(PaintError::Code::drawingFailed, cairo_status_to_string(status));
}

/// In pixels, whole ones. A size that is a hair over a whole number, from adding up parts, gets no
/// pixel more.
Size checkedSize(Size size, double scale) {
  const auto pixels = [scale](double points) { return std::ceil(points * scale - 1e-6); };
  const Size result{pixels(size.width), pixels(size.height)};
  if (!(scale > 0) || !(result.width > 0 && result.height > 0))
    throw PaintError(PaintError::Code::invalidSize, "a picture needs a size and a scale above 0");
  if (result.width > maximumSide || result.height > maximumSide ||
      result.width * result.height > maximumPixels)
    throw PaintError(PaintError::Code::tooLarge, "the picture has too many pixels");
  return result;
}

void drawOn(cairo_surface_t* surface, const Frame& frame, double scale, double layerScale,
            const std::optional<RGBA>& background) {
  check(cairo_surface_status(surface));
  const internal::CairoContext target(cairo_create(surface));
  cairo_scale(target.get(), scale, scale);
  if (background) {
    cairo_set_source_rgba(target.get(), background->red, background->green, background->blue,
                          background->alpha);
    cairo_paint(target.get());
  }
  draw(frame, target.get(), layerScale);
  check(cairo_status(target.get()));
}

internal::CairoSurface paintSurface(const Frame& frame, double scale,
                                    const std::optional<RGBA>& background) {
  const Size size = checkedSize(frame.size, scale);
  internal::CairoSurface surface(cairo_image_surface_create(
      CAIRO_FORMAT_ARGB32, static_cast<int>(size.width), static_cast<int>(size.height)));
  drawOn(surface.get(), frame, scale, scale, background);
  cairo_surface_flush(surface.get());
  return surface;
}

cairo_status_t append(void* text, const unsigned char* bytes, unsigned int count) noexcept {
  try {
    static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(bytes), count);
    return CAIRO_STATUS_SUCCESS;
  } catch (const std::bad_alloc&) {
    return CAIRO_STATUS_NO_MEMORY;
  }
}

using MakeSurface = cairo_surface_t* (*)(cairo_write_func_t, void*, double, double);

Data paintVector(const Frame& frame, MakeSurface makeSurface,
                 const std::optional<RGBA>& background) {
  const double area = frame.size.width * frame.size.height;
  const double layerScale = std::min(vectorLayerScale, std::sqrt(maximumPixels / area));
  checkedSize({frame.size.width, 1}, 1);
  checkedSize({1, frame.size.height}, 1);
  std::string bytes;
  const internal::CairoSurface surface(
      makeSurface(append, &bytes, frame.size.width, frame.size.height));
  drawOn(surface.get(), frame, 1, layerScale, background);
  cairo_surface_finish(surface.get());
  check(cairo_surface_status(surface.get()));
  return Data::ofText(std::move(bytes));
}

}  // namespace

Image paintImage(const Frame& frame, double scale, const std::optional<RGBA>& background) {
  const internal::CairoSurface surface = paintSurface(frame, scale, background);
  const int width = cairo_image_surface_get_width(surface.get());
  const int height = cairo_image_surface_get_height(surface.get());
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
  const unsigned char* data = cairo_image_surface_get_data(surface.get());
  const auto columns = static_cast<std::size_t>(width);
  const auto rows = static_cast<std::size_t>(height);
  Image image(width, height, std::vector<std::uint32_t>(columns * rows));
  for (std::size_t row = 0; row < rows; ++row)
    std::memcpy(image.pixels.data() + row * columns, data + row * stride,
                columns * sizeof(std::uint32_t));
  return image;
}

Data paintPNG(const Frame& frame, double scale, const std::optional<RGBA>& background) {
  const internal::CairoSurface surface = paintSurface(frame, scale, background);
  std::string bytes;
  check(cairo_surface_write_to_png_stream(surface.get(), append, &bytes));
  return Data::ofText(std::move(bytes));
}

Data paintSVG(const Frame& frame, const std::optional<RGBA>& background) {
  return paintVector(frame, cairo_svg_surface_create_for_stream, background);
}

Data paintPDF(const Frame& frame, const std::optional<RGBA>& background) {
  return paintVector(frame, cairo_pdf_surface_create_for_stream, background);
}

void paintPNG(const Frame& frame, double scale, const std::filesystem::path& file,
              const std::optional<RGBA>& background) {
  internal::writePicture(file, paintPNG(frame, scale, background).text());
}

void paintSVG(const Frame& frame, const std::filesystem::path& file,
              const std::optional<RGBA>& background) {
  internal::writePicture(file, paintSVG(frame, background).text());
}

void paintPDF(const Frame& frame, const std::filesystem::path& file,
              const std::optional<RGBA>& background) {
  internal::writePicture(file, paintPDF(frame, background).text());
}

}  // namespace idlewyn::platform
