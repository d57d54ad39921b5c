// The host's colour table: colour indices 1 to 216 and their RGB values.
//
// The table is the host's default palette, a cube of six levels per channel
// (0x00, 0x33, 0x66, 0x99, 0xCC, 0xFF). With g, r and b the level numbers
// 0..5 of the green, red and blue channels (level 5 is 0xFF):
//
//   index = 1 + 36 * (5 - g) + 6 * (5 - r) + (5 - b)
//
// so 1 is white, 216 black, 6 yellow, 31 cyan, 36 green, 181 magenta,
// 186 red, 211 blue, and 87 (the default body colour) grey 0x999999.
//
// RGB values here are sRGB, the encoding of colours in STEP files.
#pragma once

#include <cstdint>

namespace memory {

struct Rgb {
  std::uint8_t r = 0, g = 0, b = 0;
  friend bool operator==(const Rgb&, const Rgb&) = default;
};

inline constexpr int kFirstColor = 1;
inline constexpr int kLastColor = 216;

// The RGB value of a colour index; host::HostError outside 1 to 216.
Rgb ColorRgb(int index);

// The index whose RGB value is nearest to `rgb` (Euclidean distance in sRGB).
// Every RGB of the table maps back to its index.
int NearestColor(const Rgb& rgb);

// The same for sRGB channels in 0..1 (clamped).
int NearestColor(double r, double g, double b);

}  // namespace memory
