#include "host/math.h"

#include <gtest/gtest.h>

#include <numbers>

namespace {

using host::Matrix3x3;

TEST(Math, MatricesKeepTheXDirectionAndRebuildTheRest) {
  Matrix3x3 m;
  ASSERT_EQ(host::Mtx3Initialize({2, 0, 0}, {1, 3, 0}, m), 0);
  EXPECT_DOUBLE_EQ(m.Xx, 1.0);
  EXPECT_NEAR(m.Yy, 1.0, 1e-15);
  EXPECT_NEAR(m.Yx, 0.0, 1e-15);
  EXPECT_NEAR(m.Zz, 1.0, 1e-15);
  m = Matrix3x3::FromRows({3, 0, 0}, {1, 1, 0}, {5, 5, 5});
  ASSERT_EQ(host::Mtx3OrthoNormalize(m), 0);
  EXPECT_DOUBLE_EQ(m.Xx, 1.0);
  EXPECT_NEAR(m.Yy, 1.0, 1e-15);
  EXPECT_NEAR(m.Zz, 1.0, 1e-15);
  // Parallel or zero vectors fail and leave the matrix alone.
  Matrix3x3 kept = Matrix3x3::FromRows({0, 1, 0}, {0, 0, 1}, {1, 0, 0});
  EXPECT_NE(host::Mtx3Initialize({1, 1, 0}, {-2, -2, 0}, kept), 0);
  EXPECT_NE(host::Mtx3Initialize({0, 0, 0}, {1, 0, 0}, kept), 0);
  EXPECT_EQ(kept.Xy, 1.0);
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
  EXPECT_NEAR(host::AngleBetween({2, 0, 0}, {3, 3, 0}, {0, 0, 4}), pi / 4, 1e-15);
}

}  // namespace
