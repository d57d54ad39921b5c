#include "host/math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using host::Matrix3x3;
using host::Vector3d;

TEST(Math, MatrixFromTwoVectorsLikeTheHost) {
  Matrix3x3 m;
  ASSERT_EQ(host::Mtx3Initialize({2, 0, 0}, {1, 3, 0}, m), 0);
  EXPECT_DOUBLE_EQ(m.Xx, 1.0);
  EXPECT_NEAR(m.Yy, 1.0, 1e-15);
  EXPECT_NEAR(m.Yx, 0.0, 1e-15);
  EXPECT_NEAR(m.Zz, 1.0, 1e-15);
  // Parallel or zero vectors fail and leave the matrix alone.
  Matrix3x3 kept = Matrix3x3::FromRows({0, 1, 0}, {0, 0, 1}, {1, 0, 0});
  EXPECT_NE(host::Mtx3Initialize({1, 1, 0}, {-2, -2, 0}, kept), 0);
  EXPECT_NE(host::Mtx3Initialize({0, 0, 0}, {1, 0, 0}, kept), 0);
  EXPECT_EQ(kept.Xy, 1.0);
}

TEST(Math, OrthoNormalizeKeepsXAndRebuildsTheRest) {
  Matrix3x3 m = Matrix3x3::FromRows({3, 0, 0}, {1, 1, 0}, {5, 5, 5});
  ASSERT_EQ(host::Mtx3OrthoNormalize(m), 0);
  EXPECT_DOUBLE_EQ(m.Xx, 1.0);
  EXPECT_NEAR(m.Yy, 1.0, 1e-15);
  EXPECT_NEAR(m.Zz, 1.0, 1e-15);
}

TEST(Math, ParallelTestCountsOppositeDirections) {
  EXPECT_EQ(host::IsParallel({0, 0, 1}, {0, 0, -5}, 0.005), 1);
  EXPECT_EQ(host::IsParallel({0, 0, 1}, {0.004, 0, 1}, 0.005), 1);
  EXPECT_EQ(host::IsParallel({0, 0, 1}, {0.006, 0, 1}, 0.005), 0);
  EXPECT_EQ(host::IsParallel({0, 0, 0}, {0, 0, 1}, 0.005), 0);
}

TEST(Math, AngleIsMeasuredCounterclockwiseAboutTheReference) {
  const double pi = std::numbers::pi;
  EXPECT_NEAR(host::AngleBetween({1, 0, 0}, {0, 1, 0}, {0, 0, 1}), pi / 2, 1e-15);
  EXPECT_NEAR(host::AngleBetween({1, 0, 0}, {0, 1, 0}, {0, 0, -1}), 3 * pi / 2, 1e-15);
  EXPECT_NEAR(host::AngleBetween({1, 0, 0}, {-1, 0, 0}, {0, 0, 1}), pi, 1e-15);
  const Vector3d a{1, 2, 3}, b{-2, 0, 1};
  EXPECT_NEAR(host::AngleBetween(a, b, host::Cross(a, b)),
              std::acos(host::Dot(a, b) / host::Length(a) / host::Length(b)), 1e-12);
}

TEST(Math, PointMappingRoundTrips) {
  Matrix3x3 m;
  ASSERT_EQ(host::Mtx3Initialize({1, 1, 0}, {-1, 1, 0}, m), 0);
  const host::Point3d origin{10, 20, 30}, p{15, 20, 31};
  const host::Point3d local = host::ToLocal(p, origin, m);
  EXPECT_NEAR(local.X, 5 / std::sqrt(2.0), 1e-12);
  EXPECT_NEAR(local.Y, -5 / std::sqrt(2.0), 1e-12);
  EXPECT_NEAR(local.Z, 1, 1e-12);
  const host::Point3d back = host::ToAbsolute(local, origin, m);
  EXPECT_NEAR(back.X, p.X, 1e-12);
  EXPECT_NEAR(back.Y, p.Y, 1e-12);
}

}  // namespace
