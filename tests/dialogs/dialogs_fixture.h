// Shared by the auxiliary dialog tests: a memory host with the shipped
// layouts, real solids, and helpers to read back what a dialog left.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"

namespace dialogs_test {

using host::Matrix3x3;
using host::Point3d;
using host::Tag;
using host::Vector3d;
using memory::DialogDriver;
using memory::Shape;

inline constexpr double kPi = std::numbers::pi;

// A point or a direction, coordinate by coordinate.
template <class P>
void ExpectNear(const P& a, const P& b, double tol = 1e-6) {
  EXPECT_NEAR(a.X, b.X, tol);
  EXPECT_NEAR(a.Y, b.Y, tol);
  EXPECT_NEAR(a.Z, b.Z, tol);
}

// A vector turned about world Z.
inline Vector3d RotZ(const Vector3d& v, double a) {
  return {v.X * std::cos(a) - v.Y * std::sin(a), v.X * std::sin(a) + v.Y * std::cos(a), v.Z};
}

class DialogTest : public ::testing::Test {
 protected:
  memory::MemoryDialogs& dialogs() { return host_.memory_dialogs(); }

  std::string Attr(Tag object, const std::string& title) {
    return host_.attributes().Has(object, title) ? host_.attributes().GetString(object, title)
                                                 : "<none>";
  }

  // The frame marks of a body as "top|left|bottom".
  std::string Frames(Tag body) {
    return Attr(body, "TOP_FRAME") + "|" + Attr(body, "LEFT_FRAME") + "|" +
           Attr(body, "BOTTOM_FRAME");
  }

  // The top, left and bottom frame toggles of a layout whose top one is
  // `top`, 1 for ticked.
  static std::string Ticks(DialogDriver& d, const char* top) {
    std::string out;
    for (const char* id : {top, "toggle01", "toggle02"}) out += d.Toggle(id) ? "1" : "0";
    return out;
  }

  // The messages shown, as "title|text".
  std::vector<std::string> Messages() {
    std::vector<std::string> out;
    for (const memory::MessageRecord& m : host_.message_log()) {
      std::string text;
      for (const std::string& line : m.lines) text += line;
      out.push_back(m.title + "|" + text);
    }
    return out;
  }

  // A permanent coordinate system with the given origin and axes.
  Tag MakeCsys(const Point3d& origin, const Vector3d& x, const Vector3d& y,
               const std::string& name = {}) {
    Matrix3x3 m;
    EXPECT_EQ(host::Mtx3Initialize(x, y, m), 0);
    const Tag csys = host_.csys().CreateCsys(origin, host_.csys().CreateMatrix(m));
    if (!name.empty()) host_.objects().SetName(csys, name);
    return csys;
  }

  memory::MemoryHost host_;
};

}  // namespace dialogs_test
