// Simple holes on real solids, and the direction rules with their tie-breaks.
#include "blank/hole_analysis.h"

#include <map>

#include "blank_fixture.h"

namespace {

using namespace blank_test;
using blank::HoleAnalysis;
using blank::SimpleHoleInfo;

// The hole counts of the groups, in their order.
std::vector<int> Counts(const std::vector<SimpleHoleInfo>& groups) {
  std::vector<int> out;
  for (const SimpleHoleInfo& g : groups) out.push_back(g.count);
  return out;
}

TEST(BlankHoles, ThroughAndBlindHolesAreGroupedByDirectionBossesAndSlotsAreNot) {
  MemoryHost h;
  // Four through holes along Z; two along X, drilled from opposite sides:
  // one group.
  Shape plate = Shape::Box(200, 120, 30);
  for (int i = 0; i < 4; ++i) plate = plate.Drilled({30.0 + 45 * i, 60, 30}, {0, 0, -1}, 12, 30);
  plate = plate.Drilled({200, 30, 15}, {-1, 0, 0}, 8, 200).Drilled({0, 90, 15}, {1, 0, 0}, 8, 200);
  std::map<std::string, int> by_axis;
  for (const SimpleHoleInfo& g : HoleAnalysis(h).GetSimpleHoles(h.AddBody(plate)))
    by_axis[std::fabs(g.direction.Z) > 0.999   ? "Z"
            : std::fabs(g.direction.X) > 0.999 ? "X"
                                               : "?"] = g.count;
  EXPECT_EQ(by_axis, (std::map<std::string, int>{{"X", 2}, {"Z", 4}}));
  // A blind hole is bounded by closed circles too: it counts.
  const Tag blind = h.AddBody(Shape::Box(100, 100, 40).Drilled({50, 50, 40}, {0, 0, -1}, 10, 15));
  EXPECT_EQ(Counts(HoleAnalysis(h).GetSimpleHoles(blind)), std::vector<int>{1});
  // A boss on a block: its cylinder's normal points away from the axis.
  const Tag boss = h.AddBody(Shape::Box(100, 100, 20).Fuse(Shape::Cylinder(10, 15, {50, 50, 20})));
  EXPECT_TRUE(HoleAnalysis(h).GetSimpleHoles(boss).empty());
  // An open half-cylinder slot along a side: its face has open edges.
  const Tag slot = h.AddBody(Shape::Box(100, 50, 20).Cut(Shape::Cylinder(6, 20, {50, 0, 0})));
  EXPECT_TRUE(HoleAnalysis(h).GetSimpleHoles(slot).empty());
}

// The direction rules and their tie-breaks, as the orientation uses them.
TEST(BlankHoles, DirectionRulesAndTieBreaks) {
  // Holes normal to the matrix: opposite and tilted within the tolerance
  // count, in input order; the most holes sort last.
  std::vector<SimpleHoleInfo> holes = {
      {{0, 0, -1}, 3}, {{0.7071, 0.7071, 0}, 5}, {{1, 0.004, 0}, 2}, {{0, 1, 0}, 1}};
  std::vector<SimpleHoleInfo> normal, other;
  HoleAnalysis::GetMtxNormalHoles(Matrix3x3{}, holes, normal, other);
  EXPECT_EQ(Counts(normal), (std::vector<int>{3, 2, 1}));
  EXPECT_EQ(Counts(other), (std::vector<int>{5}));
  HoleAnalysis::SortByCount(normal);
  EXPECT_EQ(Counts(normal), (std::vector<int>{1, 2, 3}));

  // X candidates for a hole along the matrix's X: the other two axes, then
  // their reverses; none at 45 degrees to every axis, or for no direction.
  const Matrix3x3 m{0, 1, 0, 0, 0, 1, 1, 0, 0};
  auto xs = HoleAnalysis::GetMtxXYDirection(m, {0, -1, 0});
  ASSERT_EQ(xs.size(), 4u);
  ExpectVec(xs[0], m.YAxis());
  ExpectVec(xs[1], m.ZAxis());
  ExpectVec(xs[2], host::Negate(m.YAxis()));
  ExpectVec(xs[3], host::Negate(m.ZAxis()));
  EXPECT_TRUE(HoleAnalysis::GetMtxXYDirection(m, {1, 1, 0}).empty());
  EXPECT_TRUE(HoleAnalysis::GetMtxXYDirection(m, {0, 0, 0}).empty());

  // The first of equally near candidates wins; an empty list gives zero.
  ExpectVec(HoleAnalysis::NearestDirection({{1, 0, 0}, {0, 1, 0}, {0, -1, 0}}, {0, 0, 1}),
            {1, 0, 0});
  ExpectVec(HoleAnalysis::NearestDirection({{0, -1, 0}, {0, 0.1, 1}, {0, -0.1, 1}}, {0, 0, 1}),
            {0, 0.1, 1});
  ExpectVec(HoleAnalysis::NearestDirection({}, {0, 0, 1}), {0, 0, 0});
  // Toward the reference; a perpendicular direction is a tie: reversed.
  ExpectVec(HoleAnalysis::OrientToward({0, 0, -1}, {0, 0, 1}), {0, 0, 1});
  ExpectVec(HoleAnalysis::OrientToward({0.1, 0, 1}, {0, 0, 1}), {0.1, 0, 1});
  ExpectVec(HoleAnalysis::OrientToward({0, 1, 0}, {0, 0, 1}), {0, -1, 0});
}

}  // namespace
