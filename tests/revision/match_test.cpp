// Matching the bodies of a new model with the previous revision's, on real
// solids in two in-memory hosts: each status, one-to-one with the nearest
// first, mirror images, the overlap rule of a changed body, and two identical
// bodies in one place.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "host/memory/memory_host.h"
#include "revision/match.h"

namespace {

using host::Tag;
using memory::Shape;
using revision::Status;

// Statuses of the match in its order, with the previous body of each entry.
std::vector<std::pair<Status, Tag>> Statuses(const revision::MatchResult& m) {
  std::vector<std::pair<Status, Tag>> out;
  for (const revision::BodyMatch& b : m.bodies) out.push_back({b.status, b.previous});
  return out;
}

// An insert with a hole off its centre: no turn maps it onto itself.
Shape Insert(double x, double y) {
  return Shape::Box(40, 30, 30, {x, y, 0}).Drilled({x + 10, y + 10, 31}, {0, 0, -1}, 8, 32);
}

// A tetrahedron with six different edges: its mirror image is another part.
Shape Wedge(double x, double y, bool mirrored = false) {
  const double s = mirrored ? -1 : 1;
  return Shape::Tetrahedron({x, y, 0}, {x + s * 40, y, 0}, {x + s * 10, y + 25, 0},
                            {x + s * 5, y + 8, 30});
}

TEST(MatchTest, EveryBodyGetsItsStatusAndAMovedBodyItsTurn) {
  memory::MemoryHost before, after;
  const Tag plate = before.AddBody(Shape::Box(100, 50, 20), 10);
  const Tag insert = before.AddBody(Insert(200, 0), 80);
  const Tag backing = before.AddBody(Shape::Box(100, 50, 20, {0, 0, 100}), 20);
  const Tag dropped = before.AddBody(Shape::Box(30, 30, 30, {0, 300, 0}), 30);

  after.AddBody(Shape::Box(100, 50, 20), 10);
  // The insert turned a quarter about Z and put 50 mm further along Y.
  after.AddBody(
      Insert(200, 0).Rotated({200, 0, 0}, {0, 0, 1}, std::numbers::pi / 2).Translated({0, 50, 0}),
      80);
  after.AddBody(Shape::Box(100, 50, 20, {0, 0, 100}).Drilled({50, 25, 121}, {0, 0, -1}, 10, 22),
                20);
  after.AddBody(Shape::Cylinder(5, 60, {400, 0, 0}), 90);

  const revision::MatchResult m = revision::MatchBodies(before, after);
  EXPECT_EQ(Statuses(m), (std::vector<std::pair<Status, Tag>>{{Status::kUnchanged, plate},
                                                              {Status::kMoved, insert},
                                                              {Status::kChanged, backing},
                                                              {Status::kNew, host::kNullTag},
                                                              {Status::kRemoved, dropped}}));
  EXPECT_EQ(m.Count(Status::kUnchanged), 1);
  EXPECT_EQ(m.Count(Status::kRemoved), 1);
  // The turn takes the old X axis onto Y and the old Y onto -X.
  const host::Matrix3x3& r = m.bodies[1].rotation;
  EXPECT_NEAR(r.Xx, 0, 1e-6);
  EXPECT_NEAR(r.Yx, 1, 1e-6);
  EXPECT_NEAR(r.Xy, -1, 1e-6);
  EXPECT_NEAR(r.Zz, 1, 1e-6);
  // The unchanged body is neither turned nor moved.
  EXPECT_EQ(m.bodies[0].rotation.Xx, 1);
  EXPECT_NEAR(std::hypot(m.bodies[0].translation.X, m.bodies[0].translation.Y), 0, 1e-9);
}

TEST(MatchTest, OneToOneNearestFirstAndAMirrorImageIsAnotherPart) {
  memory::MemoryHost before, after;
  const Tag far = before.AddBody(Wedge(0, 0), 80);
  const Tag near = before.AddBody(Wedge(100, 0), 80);
  const Tag left = before.AddBody(Wedge(0, 300), 81);
  const Tag turned = before.AddBody(Wedge(0, 600), 82);

  after.AddBody(Wedge(90, 0), 80);           // 10 mm from one copy, 90 from the other
  after.AddBody(Wedge(500, 300, true), 81);  // the mirror image, elsewhere
  after.AddBody(Wedge(500, 600).Rotated({500, 600, 0}, {0, 0, 1}, std::numbers::pi / 6), 82);

  const revision::MatchResult m = revision::MatchBodies(before, after);
  EXPECT_EQ(Statuses(m), (std::vector<std::pair<Status, Tag>>{{Status::kMoved, near},
                                                              {Status::kNew, host::kNullTag},
                                                              {Status::kMoved, turned},
                                                              {Status::kRemoved, far},
                                                              {Status::kRemoved, left}}));
}

TEST(MatchTest, AChangedBodyNeedsItsLayerAndMostOfTheSmallerBox) {
  memory::MemoryHost before, after;
  const Tag p1 = before.AddBody(Shape::Box(100, 100, 10), 50);
  const Tag p2 = before.AddBody(Shape::Box(100, 100, 10, {0, 1000, 0}), 50);
  const Tag p3 = before.AddBody(Shape::Box(100, 100, 10, {0, 2000, 0}), 60);
  const Tag p4 = before.AddBody(Shape::Box(100, 100, 10, {0, 3000, 0}), 70);
  auto holed = [](double x, double y) {
    return Shape::Box(100, 100, 10, {x, y, 0}).Drilled({x + 50, y + 50, 11}, {0, 0, -1}, 10, 12);
  };
  after.AddBody(holed(15, 0), 50);     // 85% of the box in common: changed
  after.AddBody(holed(25, 1000), 50);  // 75%: another part
  after.AddBody(holed(0, 2000), 61);   // another layer
  // Twice as long over the old one: all of the smaller box in common.
  after.AddBody(Shape::Box(200, 100, 10, {0, 3000, 0}), 70);

  const revision::MatchResult m = revision::MatchBodies(before, after);
  EXPECT_EQ(Statuses(m), (std::vector<std::pair<Status, Tag>>{{Status::kChanged, p1},
                                                              {Status::kNew, host::kNullTag},
                                                              {Status::kNew, host::kNullTag},
                                                              {Status::kChanged, p4},
                                                              {Status::kRemoved, p2},
                                                              {Status::kRemoved, p3}}));
}

TEST(MatchTest, TwoIdenticalBodiesInOnePlaceAreBothListedAndOneMatched) {
  memory::MemoryHost before, after;
  const Tag punch = before.AddBody(Shape::Cylinder(5, 60), 90);
  const Tag a = after.AddBody(Shape::Cylinder(5, 60), 90);
  const Tag b = after.AddBody(Shape::Cylinder(5, 60), 90);
  const revision::MatchResult m = revision::MatchBodies(before, after);
  ASSERT_EQ(m.bodies.size(), 2u);
  EXPECT_EQ(m.bodies[0].current, a);
  EXPECT_EQ(m.bodies[1].current, b);
  EXPECT_EQ(Statuses(m), (std::vector<std::pair<Status, Tag>>{{Status::kUnchanged, punch},
                                                              {Status::kNew, host::kNullTag}}));
  EXPECT_EQ(m.OfCurrent(b)->status, Status::kNew);
  EXPECT_EQ(m.OfCurrent(b)->twin, a) << "the copy that took the place";
  EXPECT_EQ(m.OfCurrent(a)->twin, host::kNullTag);

  // Nothing on either side, or only sheets: nothing to match.
  memory::MemoryHost empty, sheets;
  sheets.AddBody(Shape::Sheet(10, 10), 1);
  EXPECT_TRUE(revision::MatchBodies(empty, sheets).bodies.empty());
}

}  // namespace
