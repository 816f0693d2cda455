// Test helpers for the status pass: a model of n solids and k shells with
// bone properties, its log and work files open in a scratch directory, and
// the strain-driven stress update of a solid point as the element does it.
#pragma once
#include <gtest/gtest.h>

#include <memory>

#include "base/files.hpp"
#include "elements/jobdir.hpp"
#include "base/kernels.hpp"
#include "model/model.hpp"

namespace ossa::testing {

inline constexpr double E0 = 10000.0, NU0 = 0.3, Y0 = 100.0, RATIO = 0.1;

// Bone solid: E0, NU0, yield Y0, Et = RATIO E0, no crack or crush unless told.
inline void bone_solid(model::SOLREC& r, int ytype = 1) {
  r = model::SOLREC{};
  r.E = E0;
  r.NU = NU0;
  r.YTYPE = ytype;
  r.SIGT = 1.0e30;
  r.YIELD = Y0;
  const double Et = RATIO * E0;
  r.HPRIME = E0 * Et / (E0 - Et);
  r.ECRUSH = 1.0e30;
  base::DELAS(r.E, r.NU, r.D.data());
}

inline void bone_shell(model::SHLREC& r, int ytype = 1) {
  r = model::SHLREC{};
  r.E = E0;
  r.NU = NU0;
  r.GS = 5.0 / 6.0 * E0 / (2.0 * (1.0 + NU0));
  r.YTYPE = ytype;
  r.SIGT = 1.0e30;
  const double Et = RATIO * E0;
  r.HPRIME = E0 * Et / (E0 - Et);
  r.ECRUSH = 1.0e30;
  for (int ly = 1; ly <= 3; ++ly)
    for (int pt = 1; pt <= 4; ++pt) {
      r.YIELD(pt, ly) = Y0;
      base::DPLANE(r.E, r.NU, &r.D(1, pt, ly));
    }
}

// Model with NSOL solids first, then NSHL shells in the element table; log
// and the two work files open in a fresh scratch directory.
inline std::unique_ptr<model::Model> status_model(int NSOL, int NSHL) {
  enter_scratch();
  auto m = std::make_unique<model::Model>();
  open_log(*m);
  m->KK(2) = 1;
  m->KK(12) = NSOL + NSHL;
  m->KK(13) = NSHL;
  m->KK(14) = NSOL;
  m->RR(6) = 0.001 * E0;  // EMIN
  if (!m->ELEM.allocate(NSOL + NSHL) || !m->SOLREC.allocate(NSOL) || !m->SHLREC.allocate(NSHL))
    std::abort();
  for (int i = 1; i <= NSOL; ++i) {
    m->ELEM(i).TYPE = 2;
    m->ELEM(i).IDX = i;
    bone_solid(m->SOLREC(i));
  }
  for (int i = 1; i <= NSHL; ++i) {
    m->ELEM(NSOL + i).TYPE = 1;
    m->ELEM(NSOL + i).IDX = i;
    bone_shell(m->SHLREC(i));
  }
  if (!base::open_direct(m->unit(m->UNIT(6)), "EXEC.SHL", 240) ||
      !base::open_direct(m->unit(m->UNIT(7)), "EXEC.SOL", 336))
    std::abort();
  return m;
}

// The element's stress update on a prescribed total strain E(6): the stress
// is integrated with the record's tangent, and a PLASTIC point accumulates
// its plastic strain from record IREC of EXEC.SOL.
inline void strain_to(model::Model& m, model::SOLREC& r, const double* E, int IREC = 1) {
  double de[6], ds[6];
  for (int k = 0; k < 6; ++k) {
    de[k] = E[k] - r.STRAIN(k + 1);
    r.STRAIN(k + 1) = E[k];
  }
  base::SYMMUL(r.D.data(), de, ds, 6, 1);
  for (int k = 0; k < 6; ++k) r.STRESS(k + 1) += ds[k];
  if (r.STATE != 2) return;
  double rec[42], dp[6];
  ASSERT_TRUE(base::dread(m.unit(m.UNIT(7)), IREC, rec, sizeof rec));
  r.EPEQ += base::DOT(rec, de, 6);
  base::MATMUL(rec + 6, de, dp, 6, 6, 1);
  for (int k = 0; k < 6; ++k) r.EPLAST(k + 1) += dp[k];
}

}  // namespace ossa::testing
