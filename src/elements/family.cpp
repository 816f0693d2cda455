#include "elements/family.hpp"

#include "elements/resrec.hpp"

namespace ossa::elements {

namespace {

bool no_record(const Model&, const ELEMREC&) { return false; }
void no_start(Model&, ELEMREC&, double*) {}
double* no_beta(Model&, const ELEMREC&, int&) { return nullptr; }
bool no_stiff(Model&, const ELEMREC&, double*) { return false; }
void no_force(Model&, const ELEMREC&, Arr2<double>&, int) {}
bool no_status(Model&, const ELEMREC&) { return false; }
bool no_mass(const Model&, const ELEMREC&, int, MASSDATA& M) {
  M.NEN = 0;
  return false;
}
void no_res(const Model&, const ELEMREC&, const Arr2<double>&, void*) {}
int no_snap(Model&, const ELEMREC&, SNAPITEM*) { return 0; }
void no_aux(Model&, const ELEMREC&) {}

bool never_alive(const Model&, const ELEMREC&) { return false; }
bool always_alive(const Model&, const ELEMREC&) { return true; }
// A shell lives while one of the three points of its three layers is not
// CRUSHED.
bool shell_alive(const Model& m, const ELEMREC& e) {
  const model::SHLREC& r = m.SHLREC(e.IDX);
  for (int l = 1; l <= 3; ++l)
    for (int p = 1; p <= 3; ++p)
      if (r.STATE(p, l) != 3) return true;
  return false;
}

// The shell's mass in the table's form: its three nodes, and the record's
// ALPHA and body-acceleration row.
bool shell_mass(const Model& m, const ELEMREC& e, int OPT, MASSDATA& M) {
  const model::SHLREC& r = m.SHLREC(e.IDX);
  SHLMASS(m, e, OPT == MASS_LUMPED ? 1 : 0, M.S);
  M.NEN = 3;
  M.ALPHA = r.ALPHA;
  M.BODYLOAD = r.BODYLOAD;
  return true;
}

static_assert(sizeof(ShellOut) <= MAXRESBYTES && sizeof(SolidOut) <= MAXRESBYTES &&
              sizeof(RubberOut) <= MAXRESBYTES && sizeof(TrussOut) <= MAXRESBYTES);

// Row 0 stands for a TYPE that names no family.
constexpr FAMILY ROWS[NFAMILY + 1] = {
    {"", 3, 0, false, 0, 0, no_record, no_start, no_beta, no_stiff, no_force, no_status, no_mass,
     never_alive, 0, no_res, no_snap, no_aux},
    {"SHELL", 6, 0, true, 3, 5, SHLRECOK, SHLSTART, SHLBETA, SHLSTIFF, SHLFORCE, SHLSTATUS,
     shell_mass, shell_alive, sizeof(ShellOut), SHLRES, SHLSNAP, no_aux},
    {"SOLID", 3, 0, true, 4, 10, SOLRECOK, SOLSTART, SOLBETA, SOLSTIFF, SOLFORCE, SOLSTATUS,
     SOLMASS, SOLALIVE, sizeof(SolidOut), SOLRES, SOLSNAP, no_aux},
    {"GAP", 3, 0, false, 0, 0, GAPRECOK, GAPSTART, GAPBETA, GAPSTIFF, GAPFORCE, GAPSTATUS, no_mass,
     never_alive, 0, GAPRES, GAPSNAP, no_aux},
    {"RUBBER", 3, 4, true, 4, 10, RUBRECOK, RUBSTART, RUBBETA, RUBSTIFF, RUBFORCE, RUBSTATUS,
     RUBMASSOF, always_alive, sizeof(RubberOut), RUBRES, RUBSNAP, RUBAUX},
    {"TRUSS", 3, 0, true, 2, 3, TRSRECOK, TRSSTART, TRSBETA, TRSSTIFF, TRSFORCE, TRSSTATUS,
     no_mass, never_alive, sizeof(TrussOut), TRSRES, TRSSNAP, no_aux},
};

}  // namespace

const FAMILY& FAMILYOF(int TYPE) { return ROWS[TYPE >= 1 && TYPE <= NFAMILY ? TYPE : 0]; }

std::vector<int> FAMILYELEMS(const Model& m, int TYPE) {
  std::vector<int> rows;
  for (int k = 1; k <= m.NELEM() && k <= m.ELEM.size(); ++k)
    if (m.ELEM(k).TYPE == TYPE) rows.push_back(k);
  return rows;
}

}  // namespace ossa::elements
