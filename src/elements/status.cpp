#include "elements/status.hpp"

#include <cmath>
#include <string>

#include "base/files.hpp"
#include "base/fmt.hpp"
#include "base/kernels.hpp"
#include "elements/family.hpp"
#include "elements/material.hpp"
#include "elements/princ.hpp"
#include "model/stop.hpp"

namespace ossa::elements {

using base::MATMUL;
using base::DOT;
using base::ZEROD;
using base::DELAS;
using base::DPLANE;

namespace {

constexpr double TOLSTRESS = 1.0e-12;
constexpr double TOLSTRAIN = 1.0e-17;
constexpr double UNLOAD = 0.99999;
constexpr double OVERSHOOT = 1.0e-6;

double EMIN(const Model& m) { return m.RR(rr::EMIN); }
double DPALPHA(const Model& m) { return m.RR(rr::DPALPHA); }

void putrec(Model& m, int no, int IREC, const double* rec, std::size_t bytes) {
  if (!base::dwrite(m.unit(m.UNIT(no)), IREC, rec, bytes))
    model::FILESTOP(m, std::string("CANNOT WRITE ") + model::UNIT_FILE[no - 1]);
}

// The plastic tangent of a solid into D, its record to EXEC.SOL.
void soltan(Model& m, SOLREC& r, int IREC) {
  double De[21], a[6], rec[42];
  DELAS(r.E, r.NU, De);
  FLOWV(r.STRESS.data(), r.YTYPE, DPALPHA(m), a);
  PLTAN(De, a, r.HPRIME, 6, r.D.data(), rec);
  putrec(m, 7, IREC, rec, sizeof rec);
}

// The same for a shell point; the record is written at point 4 only.
void shltan(Model& m, SHLREC& r, int PT, int LY, int IREC) {
  double De[15], a[5], rec[30];
  DPLANE(r.E, r.NU, De);
  FLOWV2(&r.STRESS(1, PT, LY), r.YTYPE, DPALPHA(m), a);
  PLTAN(De, a, r.HPRIME, 5, &r.D(1, PT, LY), rec);
  if (PT == 4) putrec(m, 6, IREC, rec, sizeof rec);
}

// S := S0 + r (S - S0): back to the crossing of the yield surface.
void pullback(double* S, const double* S0, double rr, int n) {
  for (int i = 0; i < n; ++i) S[i] = S0[i] + rr * (S[i] - S0[i]);
}

// True when the largest principal stress of S(6) is surely at most SIGT:
// it cannot exceed the mean plus 2 sqrt(J2 / 3), and the margin covers what
// the rotations of PRINC3 may leave. Most points of a model pass here, and
// they then need no eigenvectors.
bool surely_uncracked(const double* S, double SIGT) {
  const double mean = (S[0] + S[1] + S[2]) / 3.0;
  const double a = S[0] - S[1], b = S[1] - S[2], c = S[2] - S[0];
  const double j2 = (a * a + b * b + c * c + 6.0 * DOT(S + 3, S + 3, 3)) / 6.0;
  const double dev = 2.0 * std::sqrt(j2 / 3.0);
  const double margin = 1.0e-9 * (std::fabs(mean) + dev) + 1.0e-10;
  return mean + dev + margin < SIGT;
}

}  // namespace

void SOLST0(Model& m, SOLREC& r, int IREC) {
  double* S = r.STRESS.data();
  double L[3] = {-HUGE_VAL, 0.0, 0.0}, Z[9];
  if (!surely_uncracked(S, r.SIGT)) PRINC3(S, TOLSTRESS, L, Z);
  if (L[0] > r.SIGT) {
    // Crack normal to the largest principal stress: that stress goes.
    r.STATE = CRACKED;
    double T[36], Dc[21];
    TRANS6(Z, T);
    const double sp[6] = {0.0, L[1], L[2], 0.0, 0.0, 0.0};
    MATMUL(T, sp, S, 6, 6, 1);
    DCRACK(r.E, r.NU, EMIN(m), Dc);
    ROTPACK(T, Dc, r.D.data(), 6);
    for (int i = 1; i <= 3; ++i) r.PDIR(i) = Z[i - 1];
    return;
  }
  const double al = DPALPHA(m);
  const double e = EQVSTR(S, r.YTYPE, al);
  if (e <= r.YIELD) {
    r.STRESS0 = r.STRESS;
    return;
  }
  r.STATE = PLASTIC;
  if (e - r.YIELD > OVERSHOOT * r.YIELD)
    pullback(S, r.STRESS0.data(), RCAL(m, r.STRESS0.data(), S, r.YIELD, r.YTYPE, al), 6);
  r.YIELD = EQVSTR(S, r.YTYPE, al);
  soltan(m, r, IREC);
}

void SOLST2(Model& m, SOLREC& r, int IREC) {
  double eps[6], L[3], Z[9];
  for (int i = 1; i <= 6; ++i) eps[i - 1] = i <= 3 ? r.STRAIN(i) : 0.5 * r.STRAIN(i);
  PRINC3(eps, TOLSTRAIN, L, Z);
  const double e = EQVSTR(r.STRESS.data(), r.YTYPE, DPALPHA(m));
  if (L[2] < -r.ECRUSH) {
    r.STATE = CRUSHED;
    r.STRESS.fill(0.0);
    DELAS(0.5 * EMIN(m), r.NU, r.D.data());
    return;
  }
  if (e <= UNLOAD * r.YIELD) {
    r.STATE = ELASTIC;
    r.YIELD = e;
    r.STRESS0 = r.STRESS;
    DELAS(r.E, r.NU, r.D.data());
    return;
  }
  r.YIELD = e;
  soltan(m, r, IREC);
}

void SHLST0(Model& m, SHLREC& r, int PT, int LY, int IREC) {
  double* S = &r.STRESS(1, PT, LY);
  double* S0 = &r.STRESS0(1, PT, LY);
  double P[5], c, s;
  PRINC2(S, P, c, s);
  if (P[0] > r.SIGT) {
    r.STATE(PT, LY) = CRACKED;
    double T[25], Dc[15];
    TRANS5(c, s, T);
    const double sp[5] = {0.0, P[1], 0.0, 0.0, P[4]};
    MATMUL(T, sp, S, 5, 5, 1);
    DCRACK2(r.E, r.NU, r.GS, EMIN(m), Dc);
    ROTPACK(T, Dc, &r.D(1, PT, LY), 5);
    r.PDIR(1, PT, LY) = c;
    r.PDIR(2, PT, LY) = s;
    return;
  }
  const double al = DPALPHA(m);
  double& Y = r.YIELD(PT, LY);
  const double e = EQVSTR2(S, r.YTYPE, al);
  if (e <= Y) {
    for (int i = 0; i < 5; ++i) S0[i] = S[i];
    return;
  }
  r.STATE(PT, LY) = PLASTIC;
  if (e - Y > OVERSHOOT * Y) pullback(S, S0, RCAL2(m, S0, S, Y, r.YTYPE, al), 5);
  Y = EQVSTR2(S, r.YTYPE, al);
  shltan(m, r, PT, LY, IREC);
}

void SHLST2(Model& m, SHLREC& r, int PT, int LY, int IREC) {
  double* S = &r.STRESS(1, PT, LY);
  double eps[5], P[5], c, s;
  for (int i = 1; i <= 5; ++i) eps[i - 1] = i <= 2 ? r.STRAIN(i, PT, LY) : 0.5 * r.STRAIN(i, PT, LY);
  PRINC2(eps, P, c, s);
  double& Y = r.YIELD(PT, LY);
  const double e = EQVSTR2(S, r.YTYPE, DPALPHA(m));
  if (P[1] < -r.ECRUSH) {
    r.STATE(PT, LY) = CRUSHED;
    ZEROD(S, 5);
    DPLANE(0.5 * EMIN(m), r.NU, &r.D(1, PT, LY));
    return;
  }
  if (e <= UNLOAD * Y) {
    r.STATE(PT, LY) = ELASTIC;
    Y = e;
    for (int i = 0; i < 5; ++i) r.STRESS0(i + 1, PT, LY) = S[i];
    DPLANE(r.E, r.NU, &r.D(1, PT, LY));
    return;
  }
  Y = e;
  shltan(m, r, PT, LY, IREC);
}

StatCounts STATCOUNT(const Model& m) {
  StatCounts c;
  for (int i = 1; i <= m.NSOLID(); ++i) {
    const int st = m.SOLREC(i).STATE;
    if (st >= 0 && st <= 3) ++c.SOL[st];
  }
  for (int i = 1; i <= m.NSHELL(); ++i)
    for (int ly = 1; ly <= 3; ++ly) {
      const int st = m.SHLREC(i).STATE(4, ly);
      if (st >= 0 && st <= 3) ++c.SHL[st];
    }
  return c;
}

namespace {

void savestates(Model& m) {
  for (int i = 1; i <= m.NSOLID(); ++i) m.SOLREC(i).STATE0 = m.SOLREC(i).STATE;
  for (int i = 1; i <= m.NSHELL(); ++i) m.SHLREC(i).STATE0 = m.SHLREC(i).STATE;
}

// True when no solid and no shell point 1 to 3 changed since savestates.
bool unchanged(const Model& m) {
  for (int i = 1; i <= m.NSOLID(); ++i)
    if (m.SOLREC(i).STATE != m.SOLREC(i).STATE0) return false;
  for (int i = 1; i <= m.NSHELL(); ++i) {
    const SHLREC& r = m.SHLREC(i);
    for (int ly = 1; ly <= 3; ++ly)
      for (int pt = 1; pt <= 3; ++pt)
        if (r.STATE(pt, ly) != r.STATE0(pt, ly)) return false;
  }
  return true;
}

int walk(Model& m) {
  int changed = 0;
  const int ne = m.NELEM();
  for (int i = 1; i <= ne; ++i) {
    const model::ELEMREC& el = m.ELEM(i);
    if (FAMILYOF(el.TYPE).STATUS(m, el)) changed = 1;
  }
  return changed;
}

void logblock(Model& m, int ITER, int ITERMAX, int ITYPE, int CONV, const StatCounts& c) {
  using base::fI;
  model::LOGLINE(m, "");
  if (ITYPE == 2 || ITYPE == 3) {
    const char* text = CONV == 1 ? "CONVERGED!    "
                                 : (ITER >= ITERMAX ? "NOT CONVERGED!" : "              ");
    model::LOGLINE(m, "   * ELEMENT STATUS   ITER. = " + fI(ITER, 3) + base::fX(3) + text);
  } else {
    model::LOGLINE(m, "   * ELEMENT STATUS");
  }
  static constexpr const char* SOLLAB[4] = {
      "     SOLID ELEMENT ELASTIC : ", "                   CRACKED : ",
      "                   PLASTIC : ", "                   CRUSHED : "};
  static constexpr const char* SHLLAB[4] = {
      "     SHELL LAYER   ELASTIC : ", "                   CRACKED : ",
      "                   PLASTIC : ", "                   CRUSHED : "};
  for (int k = 0; k < 4; ++k) model::LOGLINE(m, SOLLAB[k] + fI(c.SOL[k], 8));
  for (int k = 0; k < 4; ++k) model::LOGLINE(m, SHLLAB[k] + fI(c.SHL[k], 8));
}

// Limits in the order shells then solids: CRACKED, PLASTIC + CRUSHED, CRUSHED.
bool limitreached(const Model& m, const StatCounts& c) {
  const int* cnt[2] = {c.SHL, c.SOL};
  for (int f = 0; f < 2; ++f) {
    const int have[3] = {cnt[f][1], cnt[f][2] + cnt[f][3], cnt[f][3]};
    for (int k = 0; k < 3; ++k) {
      const int lim = m.STAT_LIMIT(3 * f + k + 1);
      if (lim != 0 && have[k] >= lim) return true;
    }
  }
  return false;
}

}  // namespace

int ELSTAT(Model& m, int ITER, int ITERMAX, int ITYPE, int SKIP, int& FIRSTCHG, int& STOPFLAG) {
  int CONV = 1;
  if (!(ITYPE == 1 && SKIP == 1)) {
    if (ITYPE == 2 || ITYPE == 3) savestates(m);
    // Only the job's first change counts: after the repeat (2) it stays.
    if (walk(m) == 1 && FIRSTCHG == 0) FIRSTCHG = 1;
    if (ITYPE == 2 || ITYPE == 3) CONV = unchanged(m) ? 1 : 0;
    if (ITYPE == 1) return CONV;
  }
  const StatCounts c = STATCOUNT(m);
  logblock(m, ITER, ITERMAX, ITYPE, CONV, c);
  if (ITYPE == 0 && FIRSTCHG == 1 && m.KK(kk::NSUBSTEP) > 1) return CONV;
  if (limitreached(m, c)) STOPFLAG = 1;
  return CONV;
}

}  // namespace ossa::elements
