// ossa-results: reads the result streams of a job and prints or converts
// them. Exit status 0 when done, 2 on bad arguments or unreadable files.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "post/plot.hpp"
#include "post/reader.hpp"
#include "post/vtu.hpp"

namespace {

using namespace ossa::post;

constexpr const char* HELP = R"(usage: ossa-results [-C JOBDIR] COMMAND [ARGUMENTS]

Reads the result files EXEC.Bdsp and EXEC.Bstr that ossa writes in a job
directory (the current directory, or JOBDIR) at each output. Frames are
numbered from 1 in the order they were written; N may also be "last".
A frame the job is still writing is not listed. Numbers are printed with
the single precision they are stored in. All tables are CSV with a header.

Commands:
  frames            list the frames: frame, step, time and the record counts
                    (nodes; non-zero forces, reactions, link forces, link
                    vectors; shells, solids, rubbers, trusses)
  frame N [PART]    print frame N. PART picks one table: nodes, shells,
                    solids, rubbers or trusses; without it all tables that
                    have rows are printed, separated by an empty line.
                    nodes:   node, displacement ux uy uz, external force
                             fx fy fz, reaction rx ry rz, link vector lx ly
                             lz (the forces that trusses and gaps exert on
                             the node), link force cx cy cz (what links put
                             on the node: the contact force on a slave, its
                             reaction on the masters) (0 where not stored)
                    solids:  element, state, principal stresses s1 s2 s3,
                             their directions (n1 n2 n3, 3 components each),
                             principal strains e1 e2 e3, strain energy
                             density, crack normal pdir, equivalent stress,
                             EPEQ
                    shells:  element, layer 1-3 (point 4 of the layer), state,
                             s1 s2, angle of s1, e1 e2, strain energy density,
                             angle of e1, equivalent stress, EPEQ
                    rubbers: element, s1 s2 s3, directions, e1 e2 e3, strain
                             energy density
                    trusses: element, strain, force
                    States: 0 elastic, 1 cracked, 2 plastic, 3 crushed.
  plot NODE...      PNG plots by gnuplot in the job directory: EXEC_history.png
                    (load factor against |u| of each node named, and the
                    size of the reaction sum against the load factor) and
                    EXEC_residual.png (the relative residual norms of every
                    iteration, from EXEC.LOG)
  history [-r] NODE...
                    one row per frame: frame, step, time, the sums of the
                    reactions RX RY RZ, and ux uy uz of each node named (deck
                    node numbers): the load-displacement curve of a job.
                    Under Riks control the time is the load scale times the
                    end time of the time table.
                    With -r also the velocity vx vy vz and the acceleration
                    ax ay az of each node, for a dynamic job: the files hold
                    displacements only, so these are differences of the
                    frames (central inside, one-sided at the ends), as good
                    as the frames are dense in time
  vtu [OUTDIR]      write ParaView files to OUTDIR (default: the job
                    directory): EXEC_NNNN.vtu for each frame and the time
                    series EXEC.pvd. The mesh comes from the job's EXEC.INP,
                    read by ossa's own deck reader (its log goes to a scratch
                    file; a deck it refuses stops with ossa's error line).
                    Point data: displacement, force, reaction. Cell data:
                    state, principal stress, principal strain, first
                    principal direction, equivalent stress, strain energy
                    density, EPEQ, axial strain and axial force (trusses).
                    A shell shows its layer of largest equivalent stress.

Options:
  -C JOBDIR         the job directory (default: the current directory)
  -h, --help        this text

Exit status: 0 done; 2 bad arguments, missing or unreadable files.
)";

int fail(const std::string& msg) {
  std::fprintf(stderr, "ossa-results: %s\n", msg.c_str());
  return 2;
}

int usage(const std::string& msg) {
  std::fprintf(stderr, "ossa-results: %s\nTry 'ossa-results --help'.\n", msg.c_str());
  return 2;
}

bool parse_int(const char* s, long& v) {
  if (s == nullptr || *s == '\0') return false;
  char* end = nullptr;
  errno = 0;
  v = std::strtol(s, &end, 10);
  return errno == 0 && *end == '\0';
}

void p(float v) { std::printf(",%.9g", static_cast<double>(v)); }
void pv(const float* v, int n) {
  for (int k = 0; k < n; ++k) p(v[k]);
}

int cmd_frames(const ResIndex& idx) {
  std::printf("frame,step,time,nnode,nf,nr,nl,nc,nshell,nsolid,nrubb,ntruss\n");
  for (std::size_t n = 0; n < idx.frames.size(); ++n) {
    const FrameHead& h = idx.frames[n];
    std::printf("%zu,%d,%.9g,%d,%d,%d,%d,%d,%d,%d,%d,%d\n", n + 1, h.STEP,
                static_cast<double>(h.TIME), h.NNODE, h.NF, h.NR, h.NL, h.NC, h.NSHELL, h.NSOLID,
                h.NRUBB, h.NTRUSS);
  }
  return 0;
}

// The values of a sparse section at the node `id`: sections list nodes in
// grid order, so one cursor per section walks along.
const float* at_node(const std::vector<NodeOut>& s, std::size_t& j, std::int32_t id) {
  static constexpr float zero[3] = {0.0f, 0.0f, 0.0f};
  if (j < s.size() && s[j].ID == id) return s[j++].V;
  return zero;
}

void print_nodes(const Frame& f) {
  std::printf("node,ux,uy,uz,fx,fy,fz,rx,ry,rz,lx,ly,lz,cx,cy,cz\n");
  std::size_t jf = 0, jr = 0, jl = 0, jc = 0;
  for (const NodeOut& d : f.DISP) {
    std::printf("%d", d.ID);
    pv(d.V, 3);
    pv(at_node(f.FORCE, jf, d.ID), 3);
    pv(at_node(f.REACT, jr, d.ID), 3);
    pv(at_node(f.LINKV, jl, d.ID), 3);
    pv(at_node(f.LINKF, jc, d.ID), 3);
    std::printf("\n");
  }
}

void print_solids(const Frame& f) {
  std::printf("element,state,s1,s2,s3,n1x,n1y,n1z,n2x,n2y,n2z,n3x,n3y,n3z,e1,e2,e3,sed,"
              "pdirx,pdiry,pdirz,seqv,epeq\n");
  for (const SolidOut& r : f.SOLID) {
    std::printf("%d,%d", r.ID, r.STATE);
    pv(r.V, 21);
    std::printf("\n");
  }
}

void print_shells(const Frame& f) {
  std::printf("element,layer,state,s1,s2,sangle,e1,e2,sed,eangle,seqv,epeq\n");
  for (const ShellOut& r : f.SHELL)
    for (int l = 0; l < 3; ++l) {
      std::printf("%d,%d,%d", r.ID, l + 1, r.L[l].STATE);
      pv(r.L[l].V, 9);
      std::printf("\n");
    }
}

void print_rubbers(const Frame& f) {
  std::printf("element,s1,s2,s3,n1x,n1y,n1z,n2x,n2y,n2z,n3x,n3y,n3z,e1,e2,e3,sed\n");
  for (const RubberOut& r : f.RUBBER) {
    std::printf("%d", r.ID);
    pv(r.V, 16);
    std::printf("\n");
  }
}

void print_trusses(const Frame& f) {
  std::printf("element,strain,force\n");
  for (const TrussOut& r : f.TRUSS) {
    std::printf("%d", r.ID);
    pv(r.V, 2);
    std::printf("\n");
  }
}

int cmd_frame(const ResIndex& idx, int argc, char** argv) {
  if (argc < 1 || argc > 2) return usage("frame takes a frame number and at most one part");
  long n = 0;
  if (std::strcmp(argv[0], "last") == 0) n = static_cast<long>(idx.frames.size());
  else if (!parse_int(argv[0], n) || n < 1) return usage(std::string("bad frame number '") + argv[0] + "'");
  const std::string part = argc == 2 ? argv[1] : "";
  if (!part.empty() && part != "nodes" && part != "shells" && part != "solids" &&
      part != "rubbers" && part != "trusses")
    return usage("unknown part '" + part + "' (nodes, shells, solids, rubbers, trusses)");
  Frame f;
  const std::string err = RESREAD(idx, static_cast<std::size_t>(n), f);
  if (!err.empty()) return fail(err);
  bool first = true;
  auto table = [&](const char* name, bool rows, void (*print)(const Frame&)) {
    if (part.empty() ? !rows : part != name) return;
    if (!first) std::printf("\n");
    first = false;
    print(f);
  };
  table("nodes", true, print_nodes);
  table("shells", !f.SHELL.empty(), print_shells);
  table("solids", !f.SOLID.empty(), print_solids);
  table("rubbers", !f.RUBBER.empty(), print_rubbers);
  table("trusses", !f.TRUSS.empty(), print_trusses);
  return 0;
}

// Rates of a history at frame k (0-based) from its neighbours: velocity by
// the central difference of unequal steps, acceleration by the second
// difference; one-sided at the ends.
void rates(const std::vector<double>& t, const std::vector<double>& u, std::size_t k, double& v, double& a) {
  const std::size_t n = t.size();
  v = a = 0.0;
  if (n < 2) return;
  if (n == 2) {
    v = t[1] > t[0] ? (u[1] - u[0]) / (t[1] - t[0]) : 0.0;
    return;
  }
  const std::size_t i = std::clamp<std::size_t>(k, 1, n - 2);  // middle of the three frames used
  const double h1 = t[i] - t[i - 1], h2 = t[i + 1] - t[i];
  if (h1 <= 0.0 || h2 <= 0.0) return;
  const double s1 = (u[i] - u[i - 1]) / h1, s2 = (u[i + 1] - u[i]) / h2;
  a = 2.0 * (s2 - s1) / (h1 + h2);
  // The derivative of the parabola through the three frames, at frame k.
  const double tk = t[k] - t[i];
  v = (h2 * s1 + h1 * s2) / (h1 + h2) + a * tk;
}

// The node numbers of the arguments; false (with the message given) when
// one is bad.
bool node_ids(int argc, char** argv, std::vector<std::int32_t>& ids) {
  for (int k = 0; k < argc; ++k) {
    long v = 0;
    if (!parse_int(argv[k], v)) {
      usage(std::string("bad node number '") + argv[k] + "'");
      return false;
    }
    ids.push_back(static_cast<std::int32_t>(v));
  }
  return true;
}

// Walks the frames with the positions of the nodes `ids`; `row` gets each
// frame. "" when all were read.
template <class Row>
std::string each_frame(const ResIndex& idx, const std::vector<std::int32_t>& ids, Row&& row) {
  std::vector<std::size_t> pos;
  std::vector<double> t;
  std::vector<std::array<double, 3>> react;
  std::vector<std::vector<double>> u(3 * ids.size());  // by node and direction
  std::vector<std::int32_t> step;
  for (std::size_t n = 1; n <= idx.frames.size(); ++n) {
    Frame f;
    const std::string err = RESREAD(idx, n, f, READ_NODES);
    if (!err.empty()) return err;
    if (pos.empty()) {
      for (std::int32_t id : ids) {
        std::size_t i = 0;
        while (i < f.DISP.size() && f.DISP[i].ID != id) ++i;
        if (i == f.DISP.size()) return "node " + std::to_string(id) + " is not in the results";
        pos.push_back(i);
      }
    }
    for (std::size_t i : pos)
      if (i >= f.DISP.size()) return "frame " + std::to_string(n) + " has fewer nodes";
    double r[3];
    SECTSUM(f.REACT, r);
    row(n, f, r, pos);
  }
  return "";
}

int cmd_history(const ResIndex& idx, int argc, char** argv) {
  const bool withrates = argc >= 1 && std::strcmp(argv[0], "-r") == 0;
  if (withrates) --argc, ++argv;
  if (argc < 1) return usage("history needs at least one node number");
  std::vector<std::int32_t> ids;
  if (!node_ids(argc, argv, ids)) return 2;
  // All frames first: the rates need the neighbours of each.
  std::vector<double> t;
  std::vector<std::array<double, 3>> react;
  std::vector<std::vector<double>> u(3 * ids.size());  // by node and direction
  std::vector<std::int32_t> step;
  const std::string err = each_frame(idx, ids, [&](std::size_t, const Frame& f, const double* r,
                                                   const std::vector<std::size_t>& pos) {
    react.push_back({r[0], r[1], r[2]});
    step.push_back(f.h.STEP);
    t.push_back(static_cast<double>(f.h.TIME));
    for (std::size_t j = 0; j < pos.size(); ++j)
      for (int d = 0; d < 3; ++d) u[3 * j + d].push_back(f.DISP[pos[j]].V[d]);
  });
  if (!err.empty()) return fail(err);
  std::printf("frame,step,time,RX,RY,RZ");
  for (std::int32_t id : ids) {
    std::printf(",ux_%d,uy_%d,uz_%d", id, id, id);
    if (withrates) std::printf(",vx_%d,vy_%d,vz_%d,ax_%d,ay_%d,az_%d", id, id, id, id, id, id);
  }
  std::printf("\n");
  for (std::size_t k = 0; k < t.size(); ++k) {
    std::printf("%zu,%d,%.9g,%.9g,%.9g,%.9g", k + 1, step[k], t[k], react[k][0], react[k][1], react[k][2]);
    for (std::size_t j = 0; j < ids.size(); ++j) {
      double v[3], a[3];
      for (int d = 0; d < 3; ++d) {
        std::printf(",%.9g", u[3 * j + d][k]);
        rates(t, u[3 * j + d], k, v[d], a[d]);
      }
      if (withrates) std::printf(",%.9g,%.9g,%.9g,%.9g,%.9g,%.9g", v[0], v[1], v[2], a[0], a[1], a[2]);
    }
    std::printf("\n");
  }
  return 0;
}

int cmd_plot(const ResIndex& idx, const std::string& job, int argc, char** argv) {
  if (argc < 1) return usage("plot needs at least one node number");
  std::vector<std::int32_t> ids;
  if (!node_ids(argc, argv, ids)) return 2;
  if (idx.frames.empty()) return fail("the job has no complete frame");
  std::vector<HistRow> hist;
  std::string err = each_frame(idx, ids, [&](std::size_t, const Frame& f, const double* r,
                                             const std::vector<std::size_t>& pos) {
    HistRow h;
    h.TIME = static_cast<double>(f.h.TIME);
    h.REACT = std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
    for (std::size_t i : pos) {
      const float* u = f.DISP[i].V;
      h.U.push_back(std::sqrt(static_cast<double>(u[0] * u[0] + u[1] * u[1] + u[2] * u[2])));
    }
    hist.push_back(h);
  });
  std::vector<ResidRow> res;
  if (err.empty()) err = LOGRESID(job + "/EXEC.LOG", res);
  const std::vector<int> nodes(ids.begin(), ids.end());
  const std::string hp = job + "/EXEC_history.png", rp = job + "/EXEC_residual.png";
  if (err.empty()) err = PLOTPNG(nodes, hist, res, hp, rp);
  if (!err.empty()) return fail(err);
  std::printf("%s\n", hp.c_str());
  if (!res.empty()) std::printf("%s\n", rp.c_str());
  return 0;
}

int cmd_vtu(const ResIndex& idx, const std::string& job, int argc, char** argv) {
  if (argc > 1) return usage("vtu takes at most one output directory");
  const std::string out = argc == 1 ? argv[0] : job;
  if (access(out.c_str(), W_OK) != 0) return fail("cannot write to the directory " + out);
  if (idx.frames.empty()) return fail("the job has no complete frame");
  char logname[] = "/tmp/ossa-results-deck.XXXXXX";
  const int fd = mkstemp(logname);
  if (fd < 0) return fail("cannot create a scratch log in /tmp");
  close(fd);
  ossa::model::Model m;
  std::string err = JOBMODEL(m, job, logname);
  std::remove(logname);
  if (!err.empty()) return fail(err);
  std::vector<std::pair<double, std::string>> steps;
  for (std::size_t n = 1; n <= idx.frames.size(); ++n) {
    Frame f;
    err = RESREAD(idx, n, f);
    if (err.empty()) err = VTUCHECK(m, f.h);
    char name[32];
    std::snprintf(name, sizeof name, "EXEC_%04zu.vtu", n);
    if (err.empty()) err = VTUWRITE(m, f, out + "/" + name);
    if (!err.empty()) return fail(err);
    steps.emplace_back(static_cast<double>(f.h.TIME), name);
    std::printf("%s/%s\n", out.c_str(), name);
  }
  err = PVDWRITE(out + "/EXEC.pvd", steps);
  if (!err.empty()) return fail(err);
  std::printf("%s/EXEC.pvd\n", out.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string job = ".";
  int a = 1;
  while (a < argc && argv[a][0] == '-') {
    const std::string o = argv[a];
    if (o == "-h" || o == "--help") {
      std::fputs(HELP, stdout);
      return 0;
    }
    if (o == "-C" && a + 1 < argc) {
      job = argv[a + 1];
      a += 2;
      continue;
    }
    return usage("unknown option '" + o + "'");
  }
  if (a >= argc) return usage("no command given");
  const std::string cmd = argv[a++];
  if (cmd != "frames" && cmd != "frame" && cmd != "history" && cmd != "plot" && cmd != "vtu")
    return usage("unknown command '" + cmd + "'");
  ResIndex idx;
  const std::string err = RESSCAN(job, idx);
  if (!err.empty()) return fail(err);
  const int rest = argc - a;
  char** args = argv + a;
  if (cmd == "frames") return rest == 0 ? cmd_frames(idx) : usage("frames takes no arguments");
  if (cmd == "frame") return cmd_frame(idx, rest, args);
  if (cmd == "history") return cmd_history(idx, rest, args);
  if (cmd == "plot") return cmd_plot(idx, job, rest, args);
  return cmd_vtu(idx, job, rest, args);
}
