// Blank extents, spec strings, allowances and coordinate systems on real
// solids.
#include "blank/blank_geometry.h"

#include <cmath>

#include "blank_fixture.h"

namespace {

using namespace blank_test;
using blank::BlankGeometry;
using blank::BomOptions;

TEST(BlankSpec, HalfUnitsFormatsAndAllowances) {
  // The half-unit rule at its edges: a fraction under 0.005 is kept as it is,
  // up to 0.505 gives the half, above it the next whole unit (real blocks in
  // both modes are measured in the calculator's tests).
  const double rounding[][2] = {{10.004, 10.004}, {10.005, 10.5}, {10.5, 10.5}, {10.503, 10.5},
                                {10.506, 11.0},   {0.2, 0.5},     {0.0, 0.0}};
  for (const auto& [raw, rounded] : rounding) EXPECT_DOUBLE_EQ(blank::HalfUnit(raw), rounded);
  EXPECT_DOUBLE_EQ(blank::BlankExtent(-10.3, 0), 10.5);  // absolute first
  EXPECT_DOUBLE_EQ(blank::BlankExtent(-10.3, 1), 10.3);
  EXPECT_EQ(blank::FormatSpec(100, 50, 20.04), "100.0x50.0x20.0");
  // Whole and fractional allowances (the plain one and a round spec are
  // applied to a body below); an allowance of another shape counts as zero; a
  // spec that is not of three parts is left alone.
  EXPECT_EQ(blank::ApplyAllowance("100.0x50.0x20.0", "1.000_1.000_2.500_2.500_3.000"),
            "105.0x52.0x23.0");
  EXPECT_EQ(blank::ApplyAllowance("100.0x50.0x20.0", "1_1_2_2"), "100.0x50.0x20.0");
  EXPECT_EQ(blank::ApplyAllowance("100.0x50.0x20.0", "a_b_c_d_e"), "100.0x50.0x20.0");
  EXPECT_EQ(blank::ApplyAllowance("100x50x20x5", "1_1_2_2_3"), std::nullopt);
}

TEST(BlankGeometry, MatricesAndSystems) {
  MemoryHost h;
  BlankGeometry g(h, BomOptions{});
  ExpectVec(g.CreateMatrix({0, 2, 0}, {1, 1, 0}).ZAxis(), {0, 0, -1});
  EXPECT_THROW(g.CreateMatrix({1, 0, 0}, {-3, 0, 0}), host::HostError);

  // The temporary system takes the matrix as it is and goes with the scope
  // it was made in; the permanent one is orthonormalised, and the caller's
  // matrix with it.
  const Matrix3x3 skew{2, 0, 0, 1, 1, 0, 0, 0, 3};
  const Tag outside = g.CrateTempCsys({});
  Tag temp = host::kNullTag;
  {
    BlankGeometry::TemporaryScope scope(g);
    temp = g.CrateTempCsys(skew);
    EXPECT_DOUBLE_EQ(h.csys().AskCsysInfo(temp).matrix.Yx, 1.0);
  }
  EXPECT_FALSE(h.objects().Exists(temp));
  EXPECT_TRUE(h.objects().Exists(outside));  // made outside any scope: the caller's
  Matrix3x3 perm = skew;
  const Tag csys = g.CreateCsys(perm);
  ExpectVec(perm.YAxis(), {0, 1, 0});
  ExpectVec(h.csys().AskCsysInfo(csys).matrix.ZAxis(), {0, 0, 1});
  Matrix3x3 flat{1, 0, 0, 2, 0, 0, 0, 0, 1};
  EXPECT_THROW(g.CreateCsys(flat), host::HostError);

  // Axes permuted and reversed are the same system; 10 degrees about Z is not.
  const Matrix3x3 identity{1, 0, 0, 0, 1, 0, 0, 0, 1}, permuted{0, 0, -1, 1, 0, 0, 0, -1, 0};
  const double c = std::cos(Deg(10)), s = std::sin(Deg(10));
  EXPECT_TRUE(BlankGeometry::IsMatrixPannel(permuted, identity));
  EXPECT_FALSE(BlankGeometry::IsMatrixPannel({c, s, 0, -s, c, 0, 0, 0, 1}, identity));
}

TEST(BlankGeometry, RoundPartSpecAndTheAllowanceOnTheBody) {
  MemoryHost h;
  BlankGeometry g(h, BomOptions{});
  const Tag punch = h.AddBody(Shape::Cylinder(15, 80));
  const auto e = g.BlankExtents(punch);
  h.attributes().SetString(punch, "圆件", "N");
  EXPECT_EQ(g.SpecOf(punch, e), "30.0x30.0x80.0");
  h.attributes().SetString(punch, "圆件", "Y");
  EXPECT_EQ(g.SpecOf(punch, e), "Φ30.0xH80.0");

  const Tag body = h.AddBody(Shape::Box(100, 50, 20));
  // Nothing to apply without both attributes, or to a round spec.
  h.attributes().SetString(body, "材料规格", "100.0x50.0x20.0");
  EXPECT_EQ(g.ResetBodyOffset(body), std::nullopt);
  EXPECT_EQ(Attr(h, body, "材料规格"), "100.0x50.0x20.0");
  h.attributes().SetString(body, "材料余量", "1_1_2_2_3");
  EXPECT_EQ(g.ResetBodyOffset(body), "104.0x52.0x23.0");
  EXPECT_EQ(Attr(h, body, "材料规格"), "104.0x52.0x23.0");
  h.attributes().SetString(body, "材料规格", "Φ30.0xH80.0");
  EXPECT_EQ(g.ResetBodyOffset(body), std::nullopt);
  EXPECT_EQ(Attr(h, body, "材料规格"), "Φ30.0xH80.0");
}

}  // namespace
