// Spreading a family's scalar mass matrix over the translations of its nodes.
#include "base/kernels.hpp"
#include "elements/family.hpp"

namespace ossa::elements {

void MASSADD(double* Ke, int n, double C, const double* S, int NEN, int NDF, int OPT) {
  if (C == 0.0) return;
  for (int a = 1; a <= NEN; ++a)
    for (int b = a; b <= NEN; ++b) {
      if (OPT == MASS_LUMPED && b != a) continue;
      const double s = OPT == MASS_LUMPED ? S[a - 1] : S[(a - 1) + NEN * (b - 1)];
      if (s == 0.0) continue;
      for (int i = 1; i <= 3; ++i)
        Ke[base::PACKIDX(NDF * (a - 1) + i, NDF * (b - 1) + i, n) - 1] += C * s;
    }
}

DYNFAC DYNFACTORS(const Model& m, double ALPHA, double BETA, double DT, double DTAV) {
  return {m.RR(rr::THIRD) + BETA / (2.0 * DT), 1.0 / (DT * DTAV) + ALPHA / (2.0 * DT)};
}

void MASSEXP(const double* S, int NEN, int NDF, int OPT, double* Me) {
  const int n = NEN * NDF;
  base::ZEROD(Me, n * (n + 1) / 2);
  MASSADD(Me, n, 1.0, S, NEN, NDF, OPT);
}

}  // namespace ossa::elements
