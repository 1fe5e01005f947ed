// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/view/Frame.hpp>

/// Pictures of frames, without a display server, on any thread.
///
///     paintPNG(frame, 2.0, "sessions.png");              // two pixels a point
///     Data vector = paintSVG(frame, RGBA{1, 1, 1, 1});   // on white
///     Image image = paintImage(frame, 1.0);
///     std::uint32_t topLeft = image.pixels.front();
namespace idlewyn::platform {

/// Why there is no picture.
class IDLEWYNKIT_EXPORT PaintError : public std::exception {
 public:
  enum class Code : std::uint8_t {
    invalidSize,  ///< size or scale zero, negative or not a number
    tooLarge,     ///< a side over 32,767 pixels (points for SVG and PDF), over 100,000,000
                  ///< pixels, or layers nested more than 32 deep
    drawingFailed,
    writeFailed,  ///< the file; what stood there before still does
  };

  PaintError(Code code, std::string description)
      : code_(code), description_(std::move(description)) {}
  Code code() const noexcept { return code_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  Code code_;
  std::string description_;
};

/// Rows from the top, without gaps. A pixel is 0xAARRGGBB in the machine's byte order, its
/// colours sRGB and premultiplied by alpha.
struct Image {
  Image() = default;  ///< no pixels
  Image(int width, int height, std::vector<std::uint32_t> pixels)
      : width(width), height(height), pixels(std::move(pixels)) {}

  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;
  friend bool operator==(const Image&, const Image&) = default;
};

/// `scale` is pixels a point; a picture's sides are rounded up to whole pixels. Without a
/// background the picture is transparent. All throw PaintError.
IDLEWYNKIT_EXPORT Image paintImage(const Frame& frame, double scale,
                                   const std::optional<RGBA>& background = std::nullopt);
IDLEWYNKIT_EXPORT Data paintPNG(const Frame& frame, double scale,
                                const std::optional<RGBA>& background = std::nullopt);

/// One point is one unit, 1/72 inch in PDF. Layers with colour filters are embedded as images at
/// up to three pixels a point; everything else stays outlines.
IDLEWYNKIT_EXPORT Data paintSVG(const Frame& frame,
                                const std::optional<RGBA>& background = std::nullopt);
IDLEWYNKIT_EXPORT Data paintPDF(const Frame& frame,
                                const std::optional<RGBA>& background = std::nullopt);

/// To a file, which appears whole or stays as it was.
IDLEWYNKIT_EXPORT void paintPNG(const Frame& frame, double scale, const std::filesystem::path& file,
                                const std::optional<RGBA>& background = std::nullopt);
IDLEWYNKIT_EXPORT void paintSVG(const Frame& frame, const std::filesystem::path& file,
                                const std::optional<RGBA>& background = std::nullopt);
IDLEWYNKIT_EXPORT void paintPDF(const Frame& frame, const std::filesystem::path& file,
                                const std::optional<RGBA>& background = std::nullopt);

}  // namespace idlewyn::platform
