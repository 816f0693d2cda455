// Names of the entries of the control records KK (100 integers) and RR (20
// reals). The records keep their numbered storage; code reads and writes
// them by these names: m.KK(kk::SOLVER), m.RR(rr::DPALPHA). Entries not
// named here are not used. The names are shared by every subsystem.
#pragma once

namespace ossa::kk {

enum Entry : int {
  GEONL = 1,      // geometrical nonlinear: 0 no, 1 yes
  MATNL = 2,      // material nonlinear: 0 no, 1 yes
  DYNAMIC = 3,    // 0 static, 1 dynamic
  NSTEP = 4,      // intervals of the time table
  NSUBSTEP = 5,   // substeps to use after the first status change
  ITERMAX = 6,    // iteration limit of the equilibrium loop
  RIKS = 7,       // first Riks step, 0 none
  OUTSTEP = 8,    // output interval in steps, 0 last step only
  CONTITER = 9,   // contact iteration limit
  OUTHOLD = 10,   // output held back until the first status change
  NNODE = 11,     // grid points
  NELEM = 12,     // all elements
  NSHELL = 13,
  NSOLID = 14,
  NGAP = 15,      // three for each gap card
  NRUBB = 16,     // also NAUX, the rows of interior nodes
  NTRUSS = 17,
  RESTART = 19,   // 0 initial run, 1 restart
  RSTOUT = 20,    // restart file output: 0 no, 1 yes
  SOLVER = 21,    // 1 CG, 2 ORK, 3 PARDISO
  NEQ = 22,       // number of equations
  MAXEDOF = 23,   // largest NDF x NEN over the elements
  MAXPACK = 24,   // MAXEDOF (MAXEDOF + 1) / 2, the packed element matrix
  BLOCKW = 25,    // column block width of the pattern builder
  NZ = 26,        // stored entries of the half matrix
  MEMMB = 27,     // memory budget of the job in megabytes
  DEVICE = 28,    // graphics device, negative for the processor
  CONTACT = 29,   // 1 in a contact analysis
  CGITMAX = 30,   // CG iteration limit, 0 automatic
  CGPREC = 31,    // CG preconditioner: 0 diagonal, 1 incomplete Cholesky, 2 algebraic multigrid
  ONE = 32,       // 1, set by the control card's defaults
  OUTBYTIME = 33, // output schedule: 0 by steps, 1 by time
  MITERTYPE = 34, // material nonlinear iteration type
  MITERMAX = 35,  // material nonlinear iteration limit
  NPLNK = 41,
  NDISP = 42,
  NFORCE = 43,
  NLOAD = 44,     // load groups
  NSPLNK = 45,
  NVEL = 46,
  NPRESS = 47,
  NDIRFC = 48,
  NBODY = 81,
  NCSURF = 82,
  NSLV = 83,      // contact slaves, all bodies
  NEDGE = 84,     // contact surface edges, all bodies
  FRICTION = 85,  // 1 when friction is active
  NLEV = 86,      // levels of the slaves in contact
  NDEP = 87,      // dependent translations of the slaves in contact
  NTERM = 88,     // link terms of the dependent translations
};

}  // namespace ossa::kk

namespace ossa::rr {

enum Entry : int {
  TOLLOAD = 1,    // error tolerance for load
  TOL2 = 2,       // second tolerance, stored only
  TOLCG = 3,      // error tolerance of the CG method
  ARC = 4,        // arc length
  DPALPHA = 5,
  EMIN = 6,
  PI3 = 7,        // pi / 3
  THIRD = 8,      // 1 / 3
  OUTTIME = 9,    // output interval in time
  MINLEN = 11,    // smallest mean element edge, 1.0e10 before the start values
};

}  // namespace ossa::rr
