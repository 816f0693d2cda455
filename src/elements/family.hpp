// The element families: one row of plain routines and figures per family,
// the one place that chooses by the TYPE of the element directory. A new
// family adds its row here and its own file (solid, shell, rubber, truss,
// gap), each with the same set of routines.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/array.hpp"
#include "model/model.hpp"

namespace ossa::elements {

using base::Arr2;
using model::ELEMREC;
using model::Model;

// TYPE of the element directory.
enum FamilyCode : int { F_SHELL = 1, F_SOLID = 2, F_GAP = 3, F_RUBBER = 4, F_TRUSS = 5 };
inline constexpr int NFAMILY = 5;

// One item of a snapshot record: a stretch of the element's record, written
// as it lies in memory and read back into the same place.
struct SNAPITEM {
  void* P;
  std::size_t BYTES;
};
inline constexpr int MAXSNAP = 16;  // items of the longest snapshot record
inline constexpr int MAXRESBYTES = 124;  // bytes of the longest result record

template <class A>
SNAPITEM SNAPARR(A& a) {
  return {a.data(), static_cast<std::size_t>(a.size()) * sizeof(*a.data())};
}
template <class T>
SNAPITEM SNAPVAL(T& v) {
  return {&v, sizeof v};
}
// Copies the items of a family's snapshot list into ITEMS; their count.
template <std::size_t N>
int SNAPLIST(const SNAPITEM (&items)[N], SNAPITEM* ITEMS) {
  for (std::size_t k = 0; k < N; ++k) ITEMS[k] = items[k];
  return static_cast<int>(N);
}

// An element's mass for dynamic jobs and body loads, from its family: the
// scalar matrix S over its NEN mass nodes (NEN x NEN column by column for the
// consistent option, the diagonal for the lumped one), always on the initial
// geometry, and the record's mass-proportional damping factor and
// body-acceleration row.
inline constexpr int MASS_CONSISTENT = 0, MASS_LUMPED = 1;
inline constexpr int MAXMASSNODE = 5;
struct MASSDATA {
  int NEN = 0;           // mass nodes; 0: the family has no mass
  double S[MAXMASSNODE * MAXMASSNODE] = {};
  double ALPHA = 0.0;
  int BODYLOAD = 0;
};

struct FAMILY {
  const char* NAME;
  // Equation index: positions per node (1..NPOS), and how many corners also
  // carry position 7.
  int NPOS, NPOS7;
  // Whether the family's record comes from a "PROPT" row.
  bool PROPT;
  // VTU cell: its corners and its cell type (0: not drawn).
  int VTUNEN, VTUCELL;
  // Whether the directory entry points at a record of the family and at
  // grid points; elements that fail are left alone by the start values.
  bool (*RECOK)(const Model& m, const ELEMREC& e);
  // Start values of the record; CLASS is the family's table of the class
  // defaults of stiffness-proportional damping (by GROUP), to lower.
  void (*START)(Model& m, ELEMREC& e, double* CLASS);
  // The record's damping factor and its GROUP, nullptr where it has none.
  double* (*BETA)(Model& m, const ELEMREC& e, int& GROUP);
  // Element stiffness, packed upper triangle; false where there is none.
  bool (*STIFF)(Model& m, const ELEMREC& e, double* Ke);
  // Stress update and internal force into m.P (and BETA times it into PD
  // with IDAMP = 1).
  void (*FORCE)(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP);
  // The status pass over the element's material points; true when one left
  // ELASTIC.
  bool (*STATUS)(Model& m, const ELEMREC& e);
  // The element's mass under option OPT (MASS_CONSISTENT or MASS_LUMPED);
  // false, with NEN 0, where the family has none (truss, gap). The dynamic
  // assembly mixes it into STIFF's matrix over the element's NEN nodes; a
  // family with more mass nodes than that (rubber, whose interior node is
  // condensed) mixes it in its own STIFF before the condensation, with the
  // step's m.DYN.DT and DTAV.
  bool (*MASS)(const Model& m, const ELEMREC& e, int OPT, MASSDATA& M);
  // Whether the element keeps inertia at its nodes: some point of it is not
  // CRUSHED. False for the families that do not count (truss, gap).
  bool (*ALIVE)(const Model& m, const ELEMREC& e);
  // Result record of EXEC.Bstr: its length in bytes (0: the family writes
  // none) and its values at the displacements U, into REC.
  int RESBYTES;
  void (*RESREC)(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC);
  // Snapshot record of EXEC.RST: the items of the element's state in their
  // order; 0 items: the family keeps none.
  int (*SNAP)(Model& m, const ELEMREC& e, SNAPITEM* ITEMS);
  // After a solve: the increments in m.DU of the element's interior nodes,
  // which have no equations, from those of its grid points.
  void (*AUXUPD)(Model& m, const ELEMREC& e);
};

// The row of TYPE; a TYPE that names no family gets an empty row.
const FAMILY& FAMILYOF(int TYPE);

// Directory rows (1..NELEM) of the family TYPE, in directory order.
std::vector<int> FAMILYELEMS(const Model& m, int TYPE);

// Routines shared by the family files.
// All of the element's first k nodes are grid points.
bool NODESOK(const Model& m, const ELEMREC& e, int k);
// Mean edge length: six edges of a tetrahedron (4 corners), three of a
// triangle (3).
double AVGLEN(const Model& m, const ELEMREC& e, int NCORNER);
// Stops with the element's number and volume, then "ELEMENT VOLUME IS TOO
// SMALL." (-3), where a tetrahedron's four corners are inside out or flat.
void TETVOLCHK(Model& m, const ELEMREC& e);
// Lowers the class default of GROUP to LEN sqrt(RHO/E). Bone elements at the
// floor of the modulus range stand for failed or empty material and must not
// drive their class's default.
void CLASSRULE(const Model& m, double* CLASS, int GROUP, double E, double RHO, double LEN);
// Class groups run 1..NCLASS.
inline constexpr int NCLASS = 20;
inline bool GROUPOK(int g) { return g >= 1 && g <= NCLASS; }

// MASSEXP: the element matrix of a scalar mass matrix S over NEN nodes of NDF
// positions (3 or 6; rotations get no mass), packed over NEN*NDF, with no
// coupling between directions; the lumped option gives a packed diagonal.
// MASSADD adds C times the same into the packed matrix Ke of order n
// (n >= NEN*NDF: the element's list may go on past the mass positions).
void MASSEXP(const double* S, int NEN, int NDF, int OPT, double* Me);
void MASSADD(double* Ke, int n, double C, const double* S, int NEN, int NDF, int OPT);
// Factors of the dynamic tangent CK K + CM M of an element with damping
// ALPHA M + BETA K, for the step DT whose mean with the one before is DTAV.
struct DYNFAC {
  double CK, CM;
};
DYNFAC DYNFACTORS(const Model& m, double ALPHA, double BETA, double DT, double DTAV);

// Element start values of every family, the class defaults of the
// stiffness-proportional damping (with their log block) and the gap links.
// Stops with "STOP IN SUB. ELEM_INIT!" when a gap triple is no solid face.
void ELEM_INIT(Model& m);

// The family routines, by file.
bool SOLRECOK(const Model& m, const ELEMREC& e);
void SOLSTART(Model& m, ELEMREC& e, double* CLASS);
double* SOLBETA(Model& m, const ELEMREC& e, int& GROUP);
bool SOLSTIFF(Model& m, const ELEMREC& e, double* Ke);
void SOLFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP);
bool SOLSTATUS(Model& m, const ELEMREC& e);
bool SOLMASS(const Model& m, const ELEMREC& e, int OPT, MASSDATA& M);
bool SOLALIVE(const Model& m, const ELEMREC& e);
void SOLRES(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC);
int SOLSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS);

bool SHLRECOK(const Model& m, const ELEMREC& e);
void SHLSTART(Model& m, ELEMREC& e, double* CLASS);
double* SHLBETA(Model& m, const ELEMREC& e, int& GROUP);
bool SHLSTIFF(Model& m, const ELEMREC& e, double* Ke);
void SHLFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP);
bool SHLSTATUS(Model& m, const ELEMREC& e);
void SHLRES(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC);
int SHLSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS);
// The shell's scalar mass matrix: consistent (LUMPED 0) MS(3,3), column by
// column, or lumped (1) MS(3); mass RHO THICK A on the initial geometry.
void SHLMASS(const Model& m, const ELEMREC& e, int LUMPED, double* MS);
// What is wrong with a shell card (no thickness, a node twice, no area), or
// nullptr.
const char* SHLBAD(const Model& m, const ELEMREC& e);
// Node frames of a geometrically nonlinear job: FRAMEFLG and FRAME of the
// shell nodes whose element normals agree, and each element's directors and
// thickness along them at those nodes.
void SHLFRAMES(Model& m);
// Turns the shell directors and the node frames by the rotation increments
// of DU.
void SHLVUPD(Model& m);

bool RUBRECOK(const Model& m, const ELEMREC& e);
void RUBSTART(Model& m, ELEMREC& e, double* CLASS);
double* RUBBETA(Model& m, const ELEMREC& e, int& GROUP);
bool RUBSTIFF(Model& m, const ELEMREC& e, double* Ke);
void RUBFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP);
bool RUBSTATUS(Model& m, const ELEMREC& e);
void RUBRES(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC);
int RUBSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS);
void RUBAUX(Model& m, const ELEMREC& e);
// Scalar mass matrix of the rubber element with corners NOD(4), density RHO:
// OPT 0 consistent, SM(5,5) column by column; OPT 1 lumped, SM(5). Both are
// diagonal, the interior node fifth; the mass is that of the initial volume.
void RUBMASS(const Arr2<double>& XYZ, const std::int32_t* NOD, double RHO, int OPT, double* SM);
bool RUBMASSOF(const Model& m, const ELEMREC& e, int OPT, MASSDATA& M);

bool TRSRECOK(const Model& m, const ELEMREC& e);
void TRSSTART(Model& m, ELEMREC& e, double* CLASS);
double* TRSBETA(Model& m, const ELEMREC& e, int& GROUP);
bool TRSSTIFF(Model& m, const ELEMREC& e, double* Ke);
void TRSFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP);
bool TRSSTATUS(Model& m, const ELEMREC& e);
void TRSRES(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC);
int TRSSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS);

bool GAPRECOK(const Model& m, const ELEMREC& e);
void GAPSTART(Model& m, ELEMREC& e, double* CLASS);
double* GAPBETA(Model& m, const ELEMREC& e, int& GROUP);
bool GAPSTIFF(Model& m, const ELEMREC& e, double* Ke);
void GAPFORCE(Model& m, const ELEMREC& e, Arr2<double>& PD, int IDAMP);
bool GAPSTATUS(Model& m, const ELEMREC& e);
void GAPRES(const Model& m, const ELEMREC& e, const Arr2<double>& U, void* REC);
int GAPSNAP(Model& m, const ELEMREC& e, SNAPITEM* ITEMS);
// The links of all gaps: normal and stiffness from the solid faces they join.
void GAPSETUP(Model& m);

}  // namespace ossa::elements
