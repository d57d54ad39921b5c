// Overlapping bodies on real solids: shared volume counts, touching does not.
#include "blank/overlap.h"

#include <cstdint>
#include <filesystem>
#include <string>

#include "blank_fixture.h"

namespace {

using namespace blank_test;
using blank::CNobokudBase;

std::vector<Tag> Overlapping(MemoryHost& h, const std::vector<Tag>& bodies) {
  return CNobokudBase::AskOverlappingBodyOfBodys(h, bodies);
}

TEST(BlankOverlap, SharedVolumeCountsTouchingDoesNot) {
  MemoryHost h;
  const Tag lower = h.AddBody(Shape::Box(100, 80, 20));
  const Tag upper = h.AddBody(Shape::Box(100, 80, 15, {0, 0, 20}));        // rests on it
  const Tag beside = h.AddBody(Shape::Box(30, 80, 20, {100, 0, 0}));       // face to face
  const Tag corner = h.AddBody(Shape::Box(10, 10, 10, {130, 80, 20}));     // one corner
  const Tag sunk = h.AddBody(Shape::Box(20, 20, 10, {40, 30, 30}));        // 5 mm into upper
  const Tag inside = h.AddBody(Shape::Box(10, 10, 5, {10, 10, 5}));        // wholly in lower
  const Tag crossing = h.AddBody(Shape::Box(200, 4, 4, {-50, -10, 100}));  // crosses bar below
  const Tag bar = h.AddBody(Shape::Box(4, 200, 4, {0, -50, 100}));
  const Tag turned =
      h.AddBody(Shape::Box(50, 10, 10, {300, 0, 0}).Rotated({300, 0, 0}, {0, 0, 1}, Deg(45)));
  const Tag against = h.AddBody(Shape::Box(20, 20, 10, {290, 40, 0}));  // in turned's box only
  EXPECT_EQ(
      Overlapping(h, {lower, upper, beside, corner, sunk, inside, crossing, bar, turned, against}),
      (std::vector<Tag>{lower, upper, sunk, inside, crossing, bar}));
  // The order of the answer is the order asked in.
  EXPECT_EQ(Overlapping(h, {sunk, upper}), (std::vector<Tag>{sunk, upper}));
  EXPECT_EQ(Overlapping(h, {upper, sunk}), (std::vector<Tag>{upper, sunk}));
}

TEST(BlankOverlap, PunchesInTheirHoles) {
  MemoryHost h;
  // A punch holder with a 10 mm hole and a square opening, punches of the
  // same size through them; a pressed-in punch 0.02 mm too big; a punch
  // stuck through a plate without a hole.
  const Tag holder = h.AddBody(Shape::Box(120, 80, 22)
                                   .Drilled({30, 40, 22}, {0, 0, -1}, 10, 22)
                                   .Drilled({60, 40, 22}, {0, 0, -1}, 10, 22)
                                   .Cut(Shape::Box(20, 12, 22, {80, 34, 0})));
  const Tag round = h.AddBody(Shape::Cylinder(5, 60, {30, 40, -20}));
  const Tag square = h.AddBody(Shape::Box(20, 12, 60, {80, 34, -20}));
  const Tag pressed = h.AddBody(Shape::Cylinder(5.01, 60, {60, 40, -20}));
  const Tag plate = h.AddBody(Shape::Box(120, 80, 10, {200, 0, 0}));
  const Tag stuck = h.AddBody(Shape::Cylinder(3, 30, {240, 40, -10}));
  EXPECT_EQ(Overlapping(h, {holder, round, square, plate}), std::vector<Tag>{});
  EXPECT_EQ(Overlapping(h, {holder, round, square, pressed, plate, stuck}),
            (std::vector<Tag>{holder, pressed, plate, stuck}));
}

TEST(BlankOverlap, StackedPlatesOfADie) {
  MemoryHost h;
  // Six plates stacked, each with four guide holes, four guide pins through
  // the whole stack in holes of their own size, two copies of the stack side
  // by side; one stray screw through three plates of the second stack.
  std::vector<Tag> bodies;
  for (double x0 : {0.0, 500.0}) {
    double z = 0;
    for (double t : {40.0, 50.0, 20.0, 30.0, 25.0, 45.0}) {
      Shape plate = Shape::Box(400, 250, t, {x0, 0, z});
      for (Point3d g : {Point3d{30, 30, 0}, {370, 30, 0}, {30, 220, 0}, {370, 220, 0}})
        plate = plate.Drilled({x0 + g.X, g.Y, z + t}, {0, 0, -1}, 25, t);
      bodies.push_back(h.AddBody(plate));
      z += t;
    }
    for (Point3d g : {Point3d{30, 30, 0}, {370, 30, 0}, {30, 220, 0}, {370, 220, 0}})
      bodies.push_back(h.AddBody(Shape::Cylinder(12.5, z, {x0 + g.X, g.Y, 0})));
  }
  EXPECT_TRUE(Overlapping(h, bodies).empty());
  const Tag screw = h.AddBody(Shape::Cylinder(5, 60, {700, 125, 70}));  // z 70..130
  bodies.push_back(screw);
  EXPECT_EQ(Overlapping(h, bodies), (std::vector<Tag>{bodies[11], bodies[12], bodies[13], screw}));
}

TEST(BlankOverlap, BadInputLosesNothing) {
  MemoryHost h;
  const Tag a = h.AddBody(Shape::Box(10, 10, 10));
  const Tag b = h.AddBody(Shape::Box(10, 10, 10, {5, 5, 5}));
  const Tag sheet = h.AddBody(Shape::Sheet(30, 30, {-10, -10, 7}));  // cuts through both
  const Tag gone = h.AddBody(Shape::Box(10, 10, 10, {2, 2, 2}));
  h.objects().Delete(gone);
  EXPECT_EQ(Overlapping(h, {}), std::vector<Tag>{});
  EXPECT_EQ(Overlapping(h, {a}), std::vector<Tag>{});
  EXPECT_EQ(Overlapping(h, {a, a}), std::vector<Tag>{});  // a body does not overlap itself
  EXPECT_EQ(Overlapping(h, {host::kNullTag, gone, sheet, b, a, b}), (std::vector<Tag>{b, a}));
  EXPECT_TRUE(h.objects().Exists(a) && h.objects().Exists(b) && h.objects().Exists(sheet));
}

}  // namespace

namespace {

// The shortcuts before the exact check, each on a case it could get wrong.
TEST(BlankOverlap, CloseFitsDecidedWithoutTheBoolean) {
  MemoryHost h;
  // A plate with a square opening of the punch's size, one with 0.5 mm
  // clearance, a pocket of the insert's size, and an 11 mm hole.
  const Tag plate = h.AddBody(Shape::Box(200, 100, 20)
                                  .Cut(Shape::Box(20, 12, 20, {20, 20, 0}))
                                  .Cut(Shape::Box(21, 13, 20, {59.5, 19.5, 0}))
                                  .Cut(Shape::Box(40, 30, 10, {100, 20, 10}))
                                  .Drilled({170, 50, 20}, {0, 0, -1}, 11, 20));
  const Tag square = h.AddBody(Shape::Box(20, 12, 60, {20, 20, -20}));
  const Tag clear = h.AddBody(Shape::Box(20, 12, 60, {60, 20, -20}));
  const Tag insert =
      h.AddBody(Shape::Box(40, 30, 10, {100, 20, 10}).Drilled({120, 35, 20}, {0, 0, -1}, 8, 10));
  // A screw: its 10 mm shank through the 11 mm hole, its head under the plate.
  const Tag screw =
      h.AddBody(Shape::Cylinder(8, 10, {170, 50, -10}).Fuse(Shape::Cylinder(5, 50, {170, 50, 0})));
  EXPECT_EQ(Overlapping(h, {plate, square, clear, insert, screw}), std::vector<Tag>{});
  EXPECT_EQ(h.bodies().CheckInterference(plate, square), host::Interference::kTouches);
  EXPECT_EQ(h.bodies().CheckInterference(plate, clear), host::Interference::kNone);
  EXPECT_EQ(h.bodies().CheckInterference(insert, plate), host::Interference::kTouches);

  // Each a hair too big or too deep: the same shortcuts must not let it pass.
  const Tag fat = h.AddBody(Shape::Box(20.02, 12, 60, {19.99, 20, -20}));
  const Tag proud = h.AddBody(Shape::Box(40, 30, 10.02, {100, 20, 9.99}));
  const Tag sunk_head =
      h.AddBody(Shape::Cylinder(8, 10, {170, 50, -9}).Fuse(Shape::Cylinder(5, 50, {170, 50, 1})));
  for (Tag t : {fat, proud, sunk_head})
    EXPECT_EQ(Overlapping(h, {plate, t}), (std::vector<Tag>{plate, t})) << t;
  EXPECT_EQ(h.bodies().CheckInterference(plate, sunk_head), host::Interference::kInterferes);
}

TEST(BlankOverlap, OverlapsWithNoCornerInside) {
  MemoryHost h;
  // A pin through a thin rail: no vertex of either lies in the other.
  const Tag rail = h.AddBody(Shape::Box(300, 20, 8, {0, 0, 140}));
  const Tag pin = h.AddBody(Shape::Cylinder(4, 30, {100, 10, 120}));
  // Two bodies of one geometry in one place; a turned block on a plate.
  const Tag twin_a = h.AddBody(Shape::Box(30, 30, 30, {500, 0, 0}));
  const Tag twin_b = h.AddBody(Shape::Box(30, 30, 30, {500, 0, 0}));
  const Tag base = h.AddBody(Shape::Box(100, 100, 10, {700, 0, 0}));
  const Tag turned =
      h.AddBody(Shape::Box(40, 16, 20, {730, 40, 10}).Rotated({750, 48, 10}, {0, 0, 1}, Deg(30)));
  EXPECT_EQ(Overlapping(h, {rail, pin, twin_a, twin_b, base, turned}),
            (std::vector<Tag>{rail, pin, twin_a, twin_b}));
  EXPECT_EQ(h.bodies().CheckInterference(base, turned), host::Interference::kTouches);
}

// Points are told inside or outside by counting crossings on planes and on
// cylinders of any angular range; other surfaces go to the kernel.
TEST(BlankOverlap, RoundedSlotsAndCurvedBodies) {
  MemoryHost h;
  // A slot 30 mm between the centres of its round 10 mm ends, in a turned plate.
  const Shape slot = Shape::Box(30, 10, 10, {35, 25, 0})
                         .Fuse(Shape::Cylinder(5, 10, {35, 30, 0}))
                         .Fuse(Shape::Cylinder(5, 10, {65, 30, 0}));
  auto turn = [](const Shape& s) { return s.Rotated({0, 0, 0}, {1, 2, 3}, Deg(23)); };
  const Tag plate = h.AddBody(turn(Shape::Box(100, 60, 10).Cut(slot)));
  const Tag fits = h.AddBody(turn(Shape::Cylinder(5, 30, {65, 30, -10})));      // touches the end
  const Tag clear = h.AddBody(turn(Shape::Cylinder(4.9, 30, {50, 30, -10})));   // mid-slot
  const Tag biting = h.AddBody(turn(Shape::Cylinder(5, 30, {65.5, 30, -10})));  // into the arc
  EXPECT_EQ(Overlapping(h, {plate, fits, clear}), std::vector<Tag>{});
  EXPECT_EQ(Overlapping(h, {plate, biting}), (std::vector<Tag>{plate, biting}));
  // Balls on a drilled block: one sits in the hole's rim, one drops through.
  const Tag block =
      h.AddBody(Shape::Box(40, 40, 20, {200, 0, 0}).Drilled({220, 20, 20}, {0, 0, -1}, 10, 20));
  const Tag rim = h.AddBody(Shape::Sphere({220, 20, 21}, 6));
  const Tag small = h.AddBody(Shape::Sphere({220, 20, 10}, 4.9));
  EXPECT_EQ(Overlapping(h, {block, rim, small}), (std::vector<Tag>{block, rim}));
}

TEST(BlankOverlap, RememberedAnswersFollowTheGeometry) {
  MemoryHost h;
  const Tag holder = h.AddBody(Shape::Box(60, 60, 20).Drilled({30, 30, 20}, {0, 0, -1}, 10, 20));
  const Tag punch = h.AddBody(Shape::Cylinder(5, 50, {30, 30, -10}));
  const std::uint64_t id = h.bodies().GeometryIdentity(punch);
  EXPECT_NE(id, 0u);
  EXPECT_EQ(h.bodies().GeometryIdentity(punch), id);
  EXPECT_NE(h.bodies().GeometryIdentity(holder), id);
  EXPECT_TRUE(Overlapping(h, {holder, punch}).empty());
  // The punch is made bigger under the same tag: the answer is asked again.
  h.SetBodyShape(punch, Shape::Cylinder(5.5, 50, {30, 30, -10}));
  EXPECT_NE(h.bodies().GeometryIdentity(punch), id);
  EXPECT_EQ(Overlapping(h, {holder, punch}), (std::vector<Tag>{holder, punch}));
  // And back to its old size: a new identity again, no longer overlapping.
  h.SetBodyShape(punch, Shape::Cylinder(5, 50, {30, 30, -10}));
  EXPECT_TRUE(Overlapping(h, {holder, punch}).empty());
  // Read back through the neutral file: new bodies, new identities, same answer.
  const auto dir =
      std::filesystem::temp_directory_path() /
      ("diebom-overlap-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
  std::filesystem::create_directories(dir);
  h.MapDrive('T', dir.string());
  ASSERT_EQ(h.bodies().ExportNeutral({holder, punch}, "T:\\temp.x_t"), 0);
  const std::vector<Tag> back = h.bodies().ImportNeutral("T:\\temp.x_t");
  std::filesystem::remove_all(dir);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_NE(h.bodies().GeometryIdentity(back[0]), h.bodies().GeometryIdentity(holder));
  EXPECT_TRUE(Overlapping(h, back).empty());
  EXPECT_THROW(h.bodies().GeometryIdentity(host::kNullTag), host::HostError);
}

}  // namespace
