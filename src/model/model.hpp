// The Model: control records, the file table, the clock and every model array.
// One object, created by MAIN__ and passed by reference to every routine.
#pragma once
#include <array>
#include <cstdint>

#include "base/array.hpp"
#include "base/clock.hpp"
#include "base/files.hpp"
#include "model/control.hpp"
#include "model/records.hpp"
#include "model/solvrec.hpp"

namespace ossa::model {

using base::Arr1;
using base::Arr2;
using base::Arr3;
using base::Fix;

// Fixed file names of the working directory, by unit number 11..21.
inline constexpr const char* UNIT_FILE[] = {"EXEC.INP", "EXEC.LOG",  "EXEC.WK1",  "EXEC.WK2",
                                            "EXEC.RST", "EXEC.SHL",  "EXEC.SOL",  "EXEC.RUB1",
                                            "EXEC.RUB2", "EXEC.RST1", "EXEC.RST2"};
inline constexpr int NUNITFILE = 11;

// Indices into TIMES.
enum TimeRow { T_INPUT = 1, T_INDEX, T_ASSEMBLY, T_SOLUTION, T_RECOVERY, T_CPREP, T_CONTACT,
               T_OUTPUT, T_MISC, T_TOTAL };

// The deck reader's own arrays and the sizes that outlive its counting pass;
// the arrays are released after translation.
struct READDATA {
  Arr2<std::int32_t> PROPIP;   // 6, NPROP
  Arr2<double> PROPFP;         // 9, NPROP
  Arr1<std::int32_t> TRSN;     // NTRSTB
  Arr3<double> TRSTBL;         // MAXPTS, 2, NTRSTB
  std::int32_t NPROP = 0, MAXNOD = 0, MAXELEM = 0, NTRSTB = 0, MAXPTS = 0;
};

// Dynamic jobs (KK(3) = 1): the levels n-1, n, n+1 of the three-level
// integration, n+1 being solved. The displacement at n+1 is the model's U,
// the effective forces FEFF and PEFF stand in F and P.
struct DYNDATA {
  // 7, N: displacement at n; external force at n+1, n, n-1; internal force
  // at n+1, n, n-1; stiffness damping force at n+1 and n; its rate at
  // n+1/2 and n-1/2; velocity at n+1/2 and acceleration at n of the last
  // increment.
  Arr2<double> UO, FN1, FN, FO, PN1, PN, PO, CUN, CUO, CVN, CVO, VEL, ACC;
  // 3, N: momentum at n+1/2 and n-1/2, and ALPHA times it.
  Arr2<double> MVN, MVO, AMVN, AMVO;
  Arr1<std::int32_t> DEADND;          // NNODE: 1 where all elements are crushed
  // This increment, the one before and their mean (set by the increment).
  double DT = 0.0, DTPREV = 0.0, DTAV = 0.0;
  // Mass option of the job: 0 consistent, 1 lumped (no deck entry chooses
  // it; the driver logs the one in use).
  int MASSOPT = 0;
};

// The thirteen (7, N) level arrays of a DYNDATA, const or not.
template <class D>
auto DYNLEVELS(D& d) {
  return std::array{&d.UO,  &d.FN1, &d.FN,  &d.FO,  &d.PN1, &d.PN, &d.PO,
                    &d.CUN, &d.CUO, &d.CVN, &d.CVO, &d.VEL, &d.ACC};
}

// Riks arc-length control (KK(7) /= 0).
struct RIKSDATA {
  Arr2<double> FREF;                  // 7, N: the reference load
  std::array<Arr1<double>, 3> ARCV;   // NEQ each: DUPREV, DUACC, DUI
  // The load scale, at the start of the last step, the last step's
  // increment and this step's; the norms of the first tangent solution
  // (UNORM(1) scales all products) and the load norms of the first Riks
  // step; the Riks steps taken.
  double LAMBDA = 0.0, LAMPREV = 0.0, DLAMPREV = 0.0, DLAMACC = 0.0;
  double UNORM[3] = {0.0, 0.0, 0.0}, FNRM[3] = {0.0, 0.0, 0.0};
  std::int32_t NRIKS = 0;
};

// Contact iterations: work vectors (7*N), and the displacements and
// coordinates at the start of a contact iteration (7, N). Then the contact
// data: the static tables built once before the first step, the slave
// states, and the link tables rebuilt with each equation index.
struct CONTDATA {
  Arr1<double> WORK1, WORK2;
  Arr2<double> UCI, XCI;
  // Static tables. Ranges per node are (first, last) in a list; a node with
  // none has last = first - 1.
  Arr2<std::int32_t> FACEDGE;   // 3, NCSURF: edge across from each corner
  Arr2<std::int32_t> EDGEREC;   // 6, NEDGE
  Arr1<std::int32_t> EDGEND;    // NBODY: last edge of each body
  Arr1<std::int32_t> SLVEND;    // NBODY: last slave of each body
  Arr2<std::int32_t> VERTEDGE;  // 2, NNODE: range in VEDGE
  Arr1<std::int32_t> VEDGE;     // 2 NEDGE: edges by vertex
  Arr2<std::int32_t> VERTELEM;  // 2, NNODE: range in VELEM, vertices only
  Arr1<std::int32_t> VELEM;     // solid elements by vertex
  Arr2<std::int32_t> NODEELEM;  // 2, NNODE: range in NELEMS
  Arr1<std::int32_t> NELEMS;    // elements by node
  Arr1<double> FSIZE;           // NCSURF
  Arr1<double> SSIZE;           // NBODY
  // Slaves, body by body.
  Arr1<std::int32_t> SLAVE, SLVLEV, SLVORD, LEVEND;  // NSLV each
  Arr2<std::int32_t> SLVST, SLVOLD, SLVDIR;          // 2, NSLV
  Arr2<double> SLVBARY, SLVOFF;                      // 3, NSLV
  Arr2<double> SLVCOEF;                              // 14, NSLV
  Arr2<double> SLVFORCE;                             // 3, NNODE
  // Links of the present states (KK(87) dependent entries, KK(88) terms).
  Arr2<std::int32_t> SLVDOF;    // 3, NNODE: dependent entry of a translation, or 0
  Arr2<std::int32_t> DEPREC;    // 4, NDEP: node, direction, first term, term count
  Arr2<std::int32_t> TERMND;    // 2, NTERM: target node and direction of each term
  Arr1<std::int32_t> TERMTGT;   // NTERM: -entry when dependent, else independent target
  Arr2<std::int32_t> INDTGT;    // 2, NIND: node and direction of independent targets
  Arr1<std::int32_t> LINKIDX;   // NLINK: independent targets by entry (LINKPTR)
  Arr1<double> LINKC;           // NLINK: their coefficients
  // Friction.
  Arr2<std::int32_t> FRFLAG;    // 2, NSLV: law on (1 new, 2 same kind of master); just came from FREE
  Arr2<double> FRPAR;           // 3, NSLV: coefficient, slip scale, normal force
  Arr3<double> FRREF;           // 3, 4, NSLV: displacements of slave and masters where slip starts
  Arr2<double> FRPOS;           // 3, NSLV: the masters' weights there
  Arr2<double> FSUM;            // 3, NNODE: friction forces
  Arr2<double> DUC;             // 7, NNODE: the moves that put slaves on their masters
  Arr1<std::int32_t> ELMARK;    // NELEM: 1 for an element at a slave in contact
  double TOLFORCE = 0.0;        // separation tolerance of the increment's contact passes
};

struct Model {
  // Control records (entries listed with their writers where they are set).
  Fix<std::int32_t, 100> KK;
  Fix<double, 20> RR;
  Fix<std::int32_t, 20> UNIT;
  Fix<double, 10> TIMES;
  // From "CNTR3": stop limits of the status pass (three for shell layers,
  // three for solids; 0 no limit) and the thread count handed to the
  // parallel runtime (0: the runtime's own default).
  Fix<std::int32_t, 6> STAT_LIMIT;
  std::int32_t NTHREAD = 0;
  base::Clock clock;
  // Units by number: unit(UNIT(i)) is the file of UNIT(i) = 10 + i.
  std::array<base::Unit, 32> units;
  base::Unit& unit(int no) { return units.at(static_cast<std::size_t>(no)); }
  // The result streams EXEC.Bdsp and EXEC.Bstr: opened at the first output,
  // open to the end of the process.
  base::Unit BDSP, BSTR;

  // ---- Deck arrays -----------------------------------------------------------
  Arr1<std::int32_t> NODEID;   // NNODE+NAUX
  Arr2<double> XYZ;            // 3, NNODE+NAUX
  Arr1<ELEMREC> ELEM;          // NELEM
  Arr1<model::SOLREC> SOLREC;           // NSOLID
  Arr1<model::SHLREC> SHLREC;           // NSHELL
  Arr1<model::GAPREC> GAPREC;           // NGAP
  Arr1<model::RUBREC> RUBREC;           // NRUBB
  Arr1<model::TRSREC> TRSREC;           // NTRUSS
  Arr1<double> T;              // 0:NSTEP
  Arr2<std::int32_t> LOADSET;  // 4, NLOAD
  Arr3<double> TBL;            // MAXLDT, 2, NLOAD
  Arr1<std::int32_t> FRCNOD;   // NFORCE
  Arr2<double> FRCVAL;         // 6, NFORCE
  Arr2<std::int32_t> DFCNOD;   // 3, NDIRFC
  Arr1<double> DFCVAL;         // NDIRFC
  Arr2<std::int32_t> PRSNOD;   // 3, NPRESS
  Arr1<double> PRSVAL;         // NPRESS
  Arr1<std::int32_t> DSPNOD;   // NDISP
  Arr2<double> DSPVAL;         // 6, NDISP
  Arr1<std::int32_t> PLKNOD;   // NPLNK
  Arr2<std::int32_t> PLKFLG;   // 6, NPLNK
  Arr2<double> VELTBL;         // 3, NVEL
  Arr2<std::int32_t> SPLPAIR;  // 2, NSPLNK
  Arr1<std::int32_t> BODYEND;  // NBODY
  Arr2<std::int32_t> CSFNOD;   // 3, NCSURF
  Arr2<std::int32_t> CBPAIR;   // NBODY, NBODY
  Arr3<double> CBVAL;          // 2, NBODY, NBODY

  READDATA RD;                 // the reader's own arrays, released after translation
  std::int32_t MAXLDT = 0;     // rows of a load table

  // ---- Solution arrays (MODELALLOC) ------------------------------------------
  Arr2<std::int32_t> DOFTAB;   // 7, NNODE
  Arr2<std::int32_t> IDOF;     // 7, NNODE
  Arr3<std::int32_t> LINKPTR;  // 2, 6, NNODE
  Arr2<double> DUE;            // 6, NNODE
  Arr2<double> X, XOLD;        // 3, NNODE
  std::array<Arr2<double>, 5> NODW;  // 3, NNODE: node axis work
  Arr1<std::int32_t> FRAMEFLG; // NNODE
  Arr3<double> FRAME;          // 3, 3, NNODE
  Arr2<double> F;              // 7, N
  Arr2<double> REACT, LINKF;   // 7, NNODE
  // Static jobs.
  Arr2<double> U;              // 7, N
  Arr2<double> UPREV;          // 7, NNODE
  // The increment's vectors (7, N): internal force P, the additional nodes'
  // residual W, the displacement increment DU and link forces LINKV.
  Arr2<double> P, W, DU, LINKV;
  // Arrays of one kind of analysis each, grouped by owner.
  DYNDATA DYN;
  RIKSDATA RIKS;
  CONTDATA CONT;

  // ---- Equation index and solver arrays --------------------------------------
  Arr1<std::int32_t> IA, JA;   // NEQ+1, NZ
  Arr1<double> AV;             // NZ
  Arr2<double> RHS, DX;        // NEQ, 2
  // The solvers' own records.
  ORKDATA ORK;                 // ORK's analysis and work arrays, KK(21)=2
  CGDATA CG;                   // the processor CG's arrays, KK(21)=1
  GPUDATA GPU;                 // the device CG's arrays, KK(21)=1 and KK(28)>=0
  PDSDATA PDS;                 // the third-party direct solver, KK(21)=3
  // The solver's memory report is printed once a job, not on each rebuild.
  bool SOLRPT = false;

  // Sizes used throughout.
  int NNODE() const { return KK(kk::NNODE); }
  int NAUX() const { return KK(kk::NRUBB); }
  int NELEM() const { return KK(kk::NELEM); }
  int NSHELL() const { return KK(kk::NSHELL); }
  int NSOLID() const { return KK(kk::NSOLID); }
  int NGAP() const { return KK(kk::NGAP); }
  int NRUBB() const { return KK(kk::NRUBB); }
  int NTRUSS() const { return KK(kk::NTRUSS); }
  int NSTEP() const { return KK(kk::NSTEP); }
  int NEQ() const { return KK(kk::NEQ); }
};

// Zeroes KK and RR, fills UNIT and names each unit's file.
void MODELRESET(Model& m);

// Allocates the solution arrays by KK(3) and checks them with ALLOCCHK.
void MODELALLOC(Model& m);

// Four-byte words held by all allocated model arrays: a real counts two, an
// integer one (records count by their size in bytes / 4).
long FREEWORDS(const Model& m);

// Releases the arrays that hang on NEQ and NZ: IA, JA, AV, RHS, DX and the
// arc-length vectors.
void EQFREE(Model& m);

// Words free for the solver: KK(27) * 250000 less all words the model holds.
long SOLVERFREEW(const Model& m);

}  // namespace ossa::model
