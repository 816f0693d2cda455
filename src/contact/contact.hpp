// Contact between bodies, by elimination: a slave in contact gives up one,
// two or three translations, which become dependent degrees of freedom
// linked to the nodes of a master vertex, edge or face. Bodies are lists of
// triangles; the nodes of a body's triangles are its slaves, and every face
// is a master for the slaves of the bodies paired with it.
//
// Its floor lies between model/ and solution/: it may use the Model, the
// base kernels and the element families, never the solution or the solvers.
#pragma once
#include <cstdint>

#include "base/array.hpp"
#include "model/model.hpp"

namespace ossa::contact {

using model::Model;

// Slave state codes; 11 to 13 are on the way to 1 to 3.
enum SlaveState : int { S_FREE = 0, S_POINT = 1, S_EDGE = 2, S_FACE = 3 };

// Tolerances of the crossing search.
inline constexpr double HTOL = 1.0e-10;
// A dependent direction needs at least this share of the face normal (or a
// free direction of the edge direction): its coefficients divide by it.
inline constexpr double DIRTOL = 1.0e-3;

// ---- Static data (built once, before the first step) ----------------------

// Faces, edges, vertex and element ranges, slaves body by body, face and
// body sizes, the initial POINT states of the "SPLNK" pairs, their levels
// and the counts KK(83), KK(84), KK(85), KK(86). Timed as contact
// pre-processing. Bad contact input stops with -2, naming the card.
void CONTPRE(Model& m);

// Levels of the slaves in contact (SLVLEV, SLVORD, LEVEND, KK(86)): a slave
// whose master nodes are all free of contact or of lower levels. A circular
// chain stops with NO1.
void CONTLEV(Model& m, int NO1);

// The master nodes of a state: the vertex, the two nodes of an edge, the
// three corners of a face. Returns their count (0 for FREE).
int MASTERNODES(const Model& m, int CODE, int ID, std::int32_t* NODES);

// ELMARK: the elements at the slaves in contact, whose stiffness the force
// estimate uses.
void CONTMARK(Model& m);

// The body of face F.
int FACEBODY(const Model& m, int F);

// ---- Crossing search ----------------------------------------------------

// Area coordinates BARY of the foot of point P(:,4) on the plane of the
// corners P(:,1..3), the foot, and the signed height of the point, positive
// on the inner side (the side the corner order's normal points to).
void TRIBARY(double* BARY, double* FOOT, double& H, const double (*P)[3]);

// Each of the three values strictly between -TOL and 1 + TOL.
bool INSIDE3(const double* BARY, double TOL);

// Whether a crossing at area coordinates B of face F counts: inside the face,
// or on its border with the slave's present position XS inside a solid
// element at the border's nodes.
bool EDGEOK(const Model& m, int F, const double* B, const double* XS);

// Buckets of the faces by the sphere of the proximity test, on the present
// coordinates: a cell lists, ascending, every face whose sphere touches it.
struct FACEGRID {
  double LO[3] = {0, 0, 0}, H = 1.0;
  long N[3] = {0, 0, 0};
  base::Arr1<std::int32_t> START;  // ncell + 1, zero-based offsets
  base::Arr1<std::int32_t> FACE;   // faces by cell
  base::Arr1<std::int32_t> BODY;   // NCSURF: the body of each face
};
void GRIDBUILD(const Model& m, FACEGRID& G);

// The search for free slave S of body I: the first face (bodies in order,
// faces in order) that the slave crossed between XOLD and X. Sets SLVST(:,S)
// to (13, face) and SLVBARY to the crossing, or to (0, 0). With a grid,
// only the faces of the slave's cell are tried: the same answer.
void FREECHK(Model& m, int I, int S, const FACEGRID* G = nullptr);

// ---- Links in the equation index ---------------------------------------------

// Run by the equation index after IDOF has its constraint codes: levels,
// the dependent translations of each slave in contact (IDOF = -2, SLVDIR),
// their link terms and targets, the links flattened through the levels onto
// independent targets (LINKPTR, LINKIDX), KK(86), KK(87), KK(88).
void CONTIDX(Model& m);

// ---- Links in the equations -----------------------------------------------------

// The coefficients SLVCOEF of every slave in contact, from the present
// coordinates and the slave's place on its master (SLVBARY): 1.0 for a
// vertex; a face keeps the slave's motion normal to it equal to the face's;
// an edge keeps the slave's motion across it equal to the edge's.
void CONTCOEF(Model& m);

// LINKC: each entry's coefficients on its independent targets, terms that
// name a lower entry multiplied through that entry's own.
void CONTLINK(Model& m);

// The sum over the links of dependent translation (K, NODE) of coefficient
// times V at the target.
double LINKSUM(const Model& m, const base::Arr2<double>& V, int K, int NODE);

// V at each target of (K, NODE) less F times the link's coefficient: what a
// force F at the dependent translation leaves to its masters, with the
// sign of a reaction.
void LINKSPREAD(const Model& m, base::Arr2<double>& V, int K, int NODE, double F);

// Saves U and X as the iteration's start (UCI, XCI) and puts the slaves in
// contact on their masters, level by level, adding each move to DUC, U and
// X; codes 11 to 13 become 1 to 3.
void CONTPREP(Model& m);

// ---- Friction ---------------------------------------------------------------

// The law: FORCE from the slip SV with coefficient MU, slip scale S0 and
// normal force FN, MU FN (2/pi) atan(|SV|/S0) along SV (linear below a
// relative slip of 1.0e-10); with D, its derivative (3 x 3, symmetric).
void FRICLAW(const double* SV, double MU, double S0, double FN, double* FORCE, double* D);

// After each contact pass: which slaves carry friction (FRFLAG), with the
// coefficient and slip scale of their body pair.
void FRICCHK(Model& m);

// Where slip starts: displacements of slave and masters and the masters'
// weights, for slaves newly on an edge or face (and, in a dynamic job's
// first pass, for all on the same kind of master).
void FRICPREP(Model& m, int FIRST, bool DYNAMIC);

// Contact forces from the force estimate EST, level by level from the top,
// onto the masters (SLVFORCE); friction forces into P, and with their
// reaction sign into FSUM.
void FRICFORCE(Model& m, const base::Arr2<double>& EST);

// Friction tangent of slave S as an element of the slave and its masters:
// NODES and the packed matrix KE (order 3 x the node count, returned; 0
// where S carries no friction).
int FRICKE(const Model& m, int S, std::int32_t* NODES, double* KE);

// ---- Status iteration ----------------------------------------------------------

// The status pass at the end of a contact iteration: forces onto the
// masters, the next state of every slave (the slaves of a body in
// parallel), circular chains broken, the table of changes logged, the
// elements at slaves marked and, with friction, its flags set. Returns
// CNTOK: 1 when no state code changed.
int CONTACT(Model& m, int ITER3);

// SLVFORCE: each slave's P - F at its dependent translations, what higher
// slaves left on it included, as the force its master puts on it; the
// reaction goes to the master nodes through the link terms.
void CONTFORCE(Model& m);

// The next state of slave s, on the edge SLVOLD(2, s), from its pressing
// force G: the vertex it passed, the edge, a face or FREE. A fault sets
// ERRFLAG.
void EDGECHK(Model& m, int s, const double* G, int& ERRFLAG);

// The same for slave s on the vertex SLVOLD(2, s): a face or edge it slides
// onto, the vertex while G points into the body, or FREE.
void VRTXCHK(Model& m, int s, const double* G, int& ERRFLAG);

// Frees the slaves that close a circle of masters.
void CHAINCHK(Model& m);

// Compares the new states with the old ones, logs the table; returns CNTOK.
int ISTCHK(Model& m, int ITER3);

// A stored place on a face (area coordinates B) pushed just inside the
// triangle: B0.
void BACKIN(const double* B, double* B0);

}  // namespace ossa::contact
