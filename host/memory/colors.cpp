#include "host/memory/colors.h"

#include <algorithm>
#include <cmath>

#include "host/text.h"
#include "host/types.h"

namespace memory {
namespace {

constexpr int kLevels = 6;
constexpr int kStep = 0x33;  // 51: the distance between two levels

}  // namespace

Rgb ColorRgb(int index) {
  if (index < kFirstColor || index > kLastColor)
    throw host::HostError(text::Format("colour %d is not 1 to 216", index));
  const int i = index - 1;
  const int g = kLevels - 1 - i / 36;
  const int r = kLevels - 1 - (i / 6) % 6;
  const int b = kLevels - 1 - i % 6;
  return {static_cast<std::uint8_t>(r * kStep), static_cast<std::uint8_t>(g * kStep),
          static_cast<std::uint8_t>(b * kStep)};
}

int NearestColor(const Rgb& rgb) {
  // The levels are evenly spaced and the channels independent, so the
  // nearest colour of the cube is the nearest level of each channel on its
  // own. A channel value (an integer) is never exactly between two levels 51
  // apart, so there are no ties.
  auto level = [](int v) { return std::min(kLevels - 1, (2 * v + kStep) / (2 * kStep)); };
  const int r = level(rgb.r), g = level(rgb.g), b = level(rgb.b);
  return 1 + 36 * (kLevels - 1 - g) + 6 * (kLevels - 1 - r) + (kLevels - 1 - b);
}

int NearestColor(double r, double g, double b) {
  auto channel = [](double v) {
    if (!(v >= 0.0)) return std::uint8_t{0};  // also NaN
    if (v >= 1.0) return std::uint8_t{255};
    return static_cast<std::uint8_t>(std::lround(v * 255.0));
  };
  return NearestColor(Rgb{channel(r), channel(g), channel(b)});
}

}  // namespace memory
