// The material point: equivalent stress of known states under both yield
// criteria, the flow vector as the gradient of the equivalent stress, the
// crossing of the yield surface, and principal values and directions.
#include <gtest/gtest.h>

#include <Eigen/Dense>

#include <cmath>
#include <random>

#include "elements/material.hpp"
#include "elements/princ.hpp"
#include "model/model.hpp"

using namespace ossa;
using namespace ossa::elements;
using namespace ossa::base;

namespace {

// Drucker-Prager: (alpha I1 + sqrt(J2)) / (1/sqrt(3) - alpha); von Mises at alpha = 0.
double dp(double i1, double j2, double al) { return (al * i1 + std::sqrt(j2)) / (1 / std::sqrt(3.0) - al); }

std::mt19937 gen(7);
double rnd() { return std::uniform_real_distribution<double>(-50.0, 50.0)(gen); }

}  // namespace

TEST(Material, EquivalentStressOfKnownStates) {
  struct Case { double s[6]; double i1, j2; };  // solid order xx yy zz xy yz zx
  const Case cases[] = {{{10, 0, 0, 0, 0, 0}, 10, 100 / 3.0},   {{0, 0, 0, 0, 0, 7}, 0, 49},
                        {{0, 0, 0, 3, 0, 0}, 0, 9},             {{0, 0, 0, 0, 4, 0}, 0, 16},
                        {{5, 5, 5, 0, 0, 0}, 15, 0},            {{8, -8, 0, 0, 0, 0}, 0, 64},
                        {{6, 6, 0, 0, 0, 0}, 12, 12}};
  for (const Case& c : cases)
    for (double al : {0.0, 0.1}) {
      EXPECT_NEAR(EQVSTR(c.s, al == 0.0 ? 1 : 2, al), dp(c.i1, c.j2, al), 1e-12) << c.s[0] << " " << al;
      if (c.s[2] != 0.0 || c.s[4] != 0.0 || c.s[5] != 0.0) continue;  // plane states for the shell
      const double s5[5] = {c.s[0], c.s[1], c.s[3], 0.0, 0.0};
      EXPECT_NEAR(EQVSTR2(s5, al == 0.0 ? 1 : 2, al), dp(c.i1, c.j2, al), 1e-12);
    }
}

TEST(Material, FlowVectorIsTheGradientAndTheCrossingLiesOnTheSurface) {
  model::Model m;
  for (int trial = 0; trial < 20; ++trial)
    for (int yt : {1, 2}) {
      const double al = yt == 2 ? 0.15 : 0.0;
      double s[6], a[6], a2[5];
      for (double& x : s) x = rnd();
      FLOWV(s, yt, al, a);
      const double s5[5] = {s[0], s[1], s[3], s[4], s[5]};
      FLOWV2(s5, yt, al, a2);
      for (int k = 0; k < 6; ++k) {
        double p[6], q[6], p5[5], q5[5];
        std::copy(s, s + 6, p), std::copy(s, s + 6, q), std::copy(s5, s5 + 5, p5), std::copy(s5, s5 + 5, q5);
        p[k] += 1e-6, q[k] -= 1e-6;
        EXPECT_NEAR(a[k], (EQVSTR(p, yt, al) - EQVSTR(q, yt, al)) / 2e-6, 1e-6) << k;
        if (k == 5) continue;
        p5[k] += 1e-6, q5[k] -= 1e-6;
        EXPECT_NEAR(a2[k], (EQVSTR2(p5, yt, al) - EQVSTR2(q5, yt, al)) / 2e-6, 1e-6) << k;
      }
      // From a point inside to one outside: the crossing is on the surface.
      const double Y = 1.5 * EQVSTR(s, yt, al);
      double s0[6], x[6];
      for (int k = 0; k < 6; ++k) s0[k] = 0.2 * s[k] + 0.01 * rnd(), s[k] *= 2.0;
      const double r = RCAL(m, s0, s, Y, yt, al);
      for (int k = 0; k < 6; ++k) x[k] = s0[k] + r * (s[k] - s0[k]);
      EXPECT_GT(r, 0.0);
      EXPECT_NEAR(EQVSTR(x, yt, al), Y, 1e-9 * Y);
    }
}

TEST(Principal, ValuesAndDirectionsRebuildTheTensor) {
  for (int trial = 0; trial < 50; ++trial) {
    double s[6], L[3], Z[9];
    for (double& x : s) x = rnd();
    if (trial % 5 == 0) s[3] = s[4] = 0.0, s[1] = s[2];  // a repeated value
    PRINC3(s, 1e-12, L, Z);
    EXPECT_GE(L[0], L[1]);
    EXPECT_GE(L[1], L[2]);
    const Eigen::Map<const Eigen::Matrix3d> z(Z);  // the directions as columns
    Eigen::Matrix3d S;
    S << s[0], s[3], s[5], s[3], s[1], s[4], s[5], s[4], s[2];
    const Eigen::Matrix3d back = z * Eigen::Vector3d(L[0], L[1], L[2]).asDiagonal() * z.transpose();
    EXPECT_LT((back - S).cwiseAbs().maxCoeff(), 1e-9 * 50);
    EXPECT_LT((z.transpose() * z - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff(), 1e-12);
  }
}
