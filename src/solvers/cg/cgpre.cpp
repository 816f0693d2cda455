// The two incomplete factorisations of the CG preconditioner.
#include "solvers/cg/cg.hpp"
#include "solvers/cg/cgkern.hpp"

namespace ossa::solvers {

namespace {

// Pivots of the diagonal factorisation from row 2 on with the shift s.
// Returns the zero-based row whose pivot broke down, or 0 when all held.
int diagpivots(double* DINV, const double* AV, int NEQ, const int* IA, const int* JA, double s) {
  for (int i = 1; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    double sum = 0.0;
    for (int k = k0 + 1; k < k1; ++k) sum += AV[k] * AV[k] * DINV[JA[k] - 1];
    const double d = AV[k0] * s - sum;
    if (d < 1.0e-37) return i;
    DINV[i] = 1.0 / d;
  }
  return 0;
}

// sum over the common columns m of rows i and c, both strict lower parts, of
// DINV(m) LV(c,m) LV(i,m); row i is walked over positions [ki, kend).
double icmerge(const double* DINV, const double* LV, const int* IA, const int* JA, int c, int ki,
               int kend) {
  double s = 0.0;
  const int kc1 = IA[c] - 1;
  for (int kc = IA[c - 1]; kc < kc1 && ki < kend; ++kc) {
    const int col = JA[kc];
    while (ki < kend && JA[ki] < col) ++ki;
    if (ki < kend && JA[ki] == col) {
      s += DINV[col - 1] * LV[kc] * LV[ki];
      ++ki;
    }
  }
  return s;
}

}  // namespace

void CGDIAGPRE(Model& m, double* DINV, const double* AV, int NEQ, const int* IA, const int* JA,
               int LOGUNIT) {
  if (NEQ < 1) return;
  // The first pivot takes no shift.
  DINV[0] = 1.0 / AV[IA[0] - 1];
  while (diagpivots(DINV, AV, NEQ, IA, JA, m.CG.CGSHIFT) != 0) {
    m.CG.CGSHIFT += 0.1;
    if (m.CG.CGSHIFT > 5.0) CGSTOP(m, LOGUNIT, "CG METHOD FAILED.", -8);
  }
}

void CGICPRE(double* DINV, const double* AV, double* LV, int NEQ, const int* IA, const int* JA) {
  for (int i = 0; i < NEQ; ++i) {
    const int k0 = IA[i] - 1, k1 = IA[i + 1] - 1;
    LV[k0] = AV[k0];
    double d = AV[k0];
    for (int k = k0 + 1; k < k1; ++k) {
      const int c = JA[k];  // one-based column, below i
      double v = AV[k];
      if (c != 1) v -= icmerge(DINV, LV, IA, JA, c, k0 + 1, k);
      LV[k] = v;
      d -= v * v * DINV[c - 1];
    }
    DINV[i] = 1.0 / d;
  }
}

}  // namespace ossa::solvers
