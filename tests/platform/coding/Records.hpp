// SPDX-License-Identifier: MIT
#pragma once

#include <array>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/JSONEncoder.hpp>

/// Records of every kind of field, for the tests of the coders.
namespace idlewyn::platform::test {

enum class Colour : std::uint8_t { red, green };
enum class Mood { good, bad, unknown };

struct Point {
  explicit Point(DecodingKey) {}
  Point(std::int64_t px, std::optional<std::int64_t> py) : x(px), y(py) {}
  friend bool operator==(const Point&, const Point&) = default;
  static constexpr auto fields() {
    return std::tuple{field("x", &Point::x), field("y", &Point::y)};
  }

  std::int64_t x = -1;
  std::optional<std::int64_t> y;
};

struct Everything {
  explicit Everything(DecodingKey key) : link(key) {}
  friend bool operator==(const Everything&, const Everything&) = default;
  static constexpr auto fields() {
    using E = Everything;
    return std::tuple{
        field("name", &E::name),     field("count", &E::count), field("ratio", &E::ratio),
        field("isOn", &E::isOn),     field("at", &E::at),       field("link", &E::link),
        field("colour", &E::colour), field("mood", &E::mood),   field("origin", &E::origin),
        field("points", &E::points), field("note", &E::note),   field("until", &E::until),
        field("second", &E::second), field("tint", &E::tint),   field("words", &E::words),
        field("home", &E::home)};
  }

  std::string name;
  std::int64_t count = 0;
  double ratio = 0;
  bool isOn = false;
  Date at;
  URL link;
  Colour colour = Colour::red;
  Mood mood = Mood::good;
  Point origin{-1, {}};
  std::vector<Point> points;
  std::optional<std::string> note;
  std::optional<Date> until;
  std::optional<Point> second;
  std::optional<Colour> tint;
  std::optional<std::vector<std::string>> words;
  std::optional<URL> home;
};

/// Keys that the decoder's table can't tell apart.
struct Alike {
  explicit Alike(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("sameHeadAsameTail", &Alike::first),
                      field("sameHeadBsameTail", &Alike::second)};
  }
  std::int64_t first = 0, second = 0;
};

/// An `Everything` with a value in each field, as it is written.
inline constexpr std::string_view complete =
    R"({"name":"n","count":7,"ratio":0.5,"isOn":true,"at":9.25,"link":"https://h/p",)"
    R"("colour":"green","mood":"bad","origin":{"x":1,"y":2},"points":[{"x":3},{"x":4}],)"
    R"("note":"","until":-60,"second":{"x":5},"tint":"red","words":["a",""],"home":"/"})";

}  // namespace idlewyn::platform::test

template <>
struct idlewyn::platform::RawValues<idlewyn::platform::test::Colour> {
  static constexpr std::string_view typeName = "Colour";
  static constexpr std::array<std::string_view, 2> texts{"red", "green"};
  static constexpr bool isIterable = true;
};

template <>
struct idlewyn::platform::RawValues<idlewyn::platform::test::Mood> {
  static constexpr std::string_view typeName = "Mood";
  static constexpr std::array<std::string_view, 3> texts{"good", "bad", "unknown"};
  static constexpr bool isIterable = false;
  static constexpr auto fallback = idlewyn::platform::test::Mood::unknown;
};
