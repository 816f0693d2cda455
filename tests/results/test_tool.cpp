// ossa-results as users run it: its help, its refusals, the frames it lists
// and prints, the ParaView files read back by an independent reader
// (meshio), and a bar in tension solved by ossa and read back through it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "deckgen.hpp"
#include "resmodel.hpp"
#include "post/reader.hpp"
#include "results/resout.hpp"
#include "post/vtu.hpp"

using namespace ossa;

namespace {

std::string tool() {
  std::string b = OSSA_BIN;
  return b.substr(0, b.rfind('/') + 1) + "ossa-results";
}

struct Ran {
  int status = -1;
  std::string out, err;
};

// Runs ossa-results with `args` in the current directory.
Ran run_tool(const std::string& args) {
  const std::string cmd = "'" + tool() + "' " + args + " > tool.out 2> tool.err < /dev/null";
  const int st = std::system(cmd.c_str());
  return {WIFEXITED(st) ? WEXITSTATUS(st) : -1, test::read_file("tool.out"),
          test::read_file("tool.err")};
}

std::vector<std::vector<std::string>> csv(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    std::vector<std::string> row;
    std::istringstream l(line);
    for (std::string f; std::getline(l, f, ',');) row.push_back(f);
    rows.push_back(row);
  }
  return rows;
}

// Writes two frames of a small model with all element families.
void write_two_frames(model::Model& m) {
  test::small_model(m, 6, {2, 1, 5, 4, 2});
  m.U(1, 2) = 0.25;
  m.F(3, 4) = -7.0;
  m.REACT(1, 1) = 3.0;
  m.SOLREC(1).STRESS(1) = 12.0;
  m.SOLREC(1).YTYPE = 1;
  m.TRSREC(1).FORCE = 42.0;
  results::RESOUT(m, 1, 0.5);
  m.U(1, 2) = 0.5;
  results::RESOUT(m, 2, 1.0);
  base::close_unit(m.BDSP);
  base::close_unit(m.BSTR);
}

}  // namespace

TEST(ResultsTool, HelpAndRefusals) {
  test::ScratchDir dir;
  Ran r = run_tool("--help");
  EXPECT_EQ(r.status, 0);
  for (const char* w : {"usage: ossa-results", "frames", "frame N", "history NODE", "vtu [OUTDIR]"})
    EXPECT_NE(r.out.find(w), std::string::npos) << w;
  for (const char* args : {"", "bogus", "-x frames"}) {
    r = run_tool(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find("ossa-results: "), std::string::npos) << args;
  }
  r = run_tool("frames");  // no result files here
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("cannot open ./EXEC.Bdsp"), std::string::npos) << r.err;
  test::write_file("EXEC.Bdsp", std::string(40, 'x'));
  test::write_file("EXEC.Bstr", std::string(60, 'x'));
  r = run_tool("frames");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("not a result file"), std::string::npos) << r.err;

  model::Model m;
  write_two_frames(m);
  for (const char* args : {"frame 3", "frame 0", "frame x", "frame 1 elements", "history",
                           "history 1x", "history 999", "frames 1", "vtu a b"}) {
    r = run_tool(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_FALSE(r.err.empty()) << args;
  }
  r = run_tool("vtu");  // no deck
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("EXEC.INP"), std::string::npos) << r.err;
}

TEST(ResultsTool, FramesFrameAndHistory) {
  test::ScratchDir dir;
  model::Model m;
  write_two_frames(m);
  Ran r = run_tool("frames");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "frame,step,time,nnode,nf,nr,nl,nc,nshell,nsolid,nrubb,ntruss\n"
            "1,1,0.5,6,1,1,0,0,1,2,1,1\n2,2,1,6,1,1,0,0,1,2,1,1\n");
  r = run_tool("frame last nodes");
  ASSERT_EQ(r.status, 0) << r.err;
  auto t = csv(r.out);
  ASSERT_EQ(t.size(), 7u);
  EXPECT_EQ(t[2], (std::vector<std::string>{"102", "0.5", "0", "0", "0", "0", "0", "0", "0", "0"}));
  EXPECT_EQ(t[4][6], "-7");
  EXPECT_EQ(t[1][7], "3");
  r = run_tool("frame 1");
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* h : {"node,ux", "\n\nelement,layer,state", "\n\nelement,state,s1", "\n\nelement,s1",
                        "\n\nelement,strain,force\n1003,0,42\n"})
    EXPECT_NE(r.out.find(h), std::string::npos) << h;
  r = run_tool("frame 1 solids");
  t = csv(r.out);
  ASSERT_EQ(t.size(), 3u);
  EXPECT_EQ(t[1][0], "1001");
  EXPECT_EQ(t[1][2], "12");   // s1
  EXPECT_EQ(t[1][21], "12");  // equivalent stress
  r = run_tool("-C . history 102 101");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "frame,step,time,RX,RY,RZ,ux_102,uy_102,uz_102,ux_101,uy_101,uz_101\n"
            "1,1,0.5,3,0,0,0.25,0,0,0,0,0\n2,2,1,3,0,0,0.5,0,0,0,0,0\n");
}

TEST(ResultsReader, FollowsARunningJob) {
  test::ScratchDir dir;
  model::Model m;
  write_two_frames(m);
  // Cut the second frame short, as a reader sees a frame being written.
  const std::string d = test::read_file("EXEC.Bdsp");
  test::write_file("EXEC.Bdsp", d.substr(0, d.size() - 5));
  post::ResIndex idx;
  ASSERT_EQ(post::RESSCAN(".", idx), "");
  ASSERT_EQ(idx.frames.size(), 1u);
  post::Frame f;
  ASSERT_EQ(post::RESREAD(idx, 1, f), "");
  EXPECT_EQ(f.DISP.size(), 6u);
  EXPECT_EQ(f.SOLID.size(), 2u);
  EXPECT_EQ(f.TRUSS[0].V[1], 42.0f);
  EXPECT_NE(post::RESREAD(idx, 2, f), "");
  // A head with a negative count is refused, not followed.
  std::string bad = d;
  const std::int32_t neg = -5;
  std::memcpy(bad.data() + results::BDSPHEAD + 12, &neg, 4);
  test::write_file("EXEC.Bdsp", bad);
  EXPECT_NE(post::RESSCAN(".", idx).find("bad counts"), std::string::npos);
}

namespace {

// A python3 that has meshio, or empty.
std::string python_with_meshio() {
  for (const char* py : {"python3", "/usr/bin/python3"}) {
    const std::string cmd = std::string(py) + " -c 'import meshio' > /dev/null 2>&1";
    if (std::system(cmd.c_str()) == 0) return py;
  }
  return "";
}

// A bar of n unit cubes along x, six tetrahedra each, pulled at x = n by
// the load F spread as a uniform traction; the section at x = 0 is held
// along x, and against rigid motion only, so that it is free to contract.
struct Bar {
  int n = 4;
  double E = 1000.0, NU = 0.3, F = 10.0;
};

std::string bar_deck(const Bar& b) {
  const test::Box box(b.n, 1, 1, b.n, 1.0, 1.0);
  // Consistent nodal loads: a third of each end triangle's share to its nodes.
  std::vector<double> fx(static_cast<std::size_t>(box.nnode()) + 1, 0.0);
  for (const auto& t : box.tets)
    for (int skip = 0; skip < 4; ++skip) {
      std::vector<int> f;
      for (int a = 0; a < 4; ++a)
        if (a != skip && std::fabs(box.xyz[t[a] - 1].x - b.n) < 1e-12) f.push_back(t[a]);
      if (f.size() != 3) continue;
      const auto &p = box.xyz[f[0] - 1], &q = box.xyz[f[1] - 1], &r = box.xyz[f[2] - 1];
      const double area = 0.5 * std::fabs((q.y - p.y) * (r.z - p.z) - (q.z - p.z) * (r.y - p.y));
      for (int nd : f) fx[nd] += b.F * area / 3.0;
    }
  std::string loads, held;
  int nload = 0, nheld = 0;
  for (int i = 1; i <= box.nnode(); ++i) {
    const auto& p = box.xyz[i - 1];
    if (fx[i] != 0.0) { loads += test::force(i, fx[i], 0.0, 0.0); ++nload; }
    if (p.x != 0.0) continue;
    held += test::plnk(i, p.y == 0 && p.z == 0 ? "111" : (p.z == 0 ? "101" : (p.y == 0 ? "110" : "100")));
    ++nheld;
  }
  return test::cntnd(box.nnode()) + test::cntel(box.ntet()) + test::cntrl(0, 0, 10, 1e-6) +
         test::cntr2(1, 1) + test::cntr3_cpu() + test::card("PRPLT%10s%5d", "", 1) +
         test::kukan(1.0, 2) + box.mesh_cards(b.NU, b.E) + test::ngld(1) + test::nplnk(nheld) +
         test::nload(2, nload) + test::tblld(0.0, 0.0) + test::tblld(1.0, 1.0) + loads + held +
         "END\n";
}

}  // namespace

TEST(ResultsTool, ParaViewFilesReadBackByMeshio) {
  const std::string py = python_with_meshio();
  if (py.empty()) GTEST_SKIP() << "python3 with meshio is not available";
  test::ScratchDir dir;
  // The model from the deck, its arrays, and made-up solution values.
  model::Model m;
  test::write_file("EXEC.INP", bar_deck(Bar{1}));
  ASSERT_EQ(post::JOBMODEL(m, ".", "deck.log"), "");
  model::MODELALLOC(m);
  for (int i = 1; i <= m.NNODE(); ++i)
    for (int k = 1; k <= 3; ++k) m.U(k, i) = 0.001 * i + k;
  m.F(2, 3) = 5.0;
  m.REACT(3, 2) = -1.5;
  for (int e = 1; e <= m.NSOLID(); ++e) {
    m.SOLREC(e).STRESS(1) = 10.0 * e;
    m.SOLREC(e).STATE = e % 4;
  }
  results::RESOUT(m, 1, 0.5);
  results::RESOUT(m, 2, 1.0);
  base::close_unit(m.BDSP);
  base::close_unit(m.BSTR);
  ASSERT_EQ(std::system("mkdir out"), 0);
  const Ran r = run_tool("vtu out");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "out/EXEC_0001.vtu\nout/EXEC_0002.vtu\nout/EXEC.pvd\n");
  const std::string pvd = test::read_file("out/EXEC.pvd");
  EXPECT_NE(pvd.find("timestep=\"0.5\" group=\"\" part=\"0\" file=\"EXEC_0001.vtu\""), std::string::npos);
  EXPECT_NE(pvd.find("timestep=\"1\" group=\"\" part=\"0\" file=\"EXEC_0002.vtu\""), std::string::npos);
  test::write_file("dump.py",
                   "import sys, meshio\n"
                   "m = meshio.read(sys.argv[1])\n"
                   "c = m.cells[0]\n"
                   "print(c.type, len(m.points), len(c.data))\n"
                   "for i, p in enumerate(m.points):\n"
                   "    print(*p, *m.point_data['displacement'][i], *m.point_data['force'][i],"
                   " *m.point_data['reaction'][i])\n"
                   "for j, cell in enumerate(c.data):\n"
                   "    d = m.cell_data\n"
                   "    print(*cell, d['state'][0].ravel()[j], d['principal stress'][0][j][0],"
                   " d['equivalent stress'][0].ravel()[j])\n");
  ASSERT_EQ(std::system((py + " dump.py out/EXEC_0002.vtu > dump.txt 2> dump.err").c_str()), 0)
      << test::read_file("dump.err");
  std::ifstream in("dump.txt");
  std::string type;
  int np = 0, nc = 0;
  in >> type >> np >> nc;
  EXPECT_EQ(type, "tetra");
  ASSERT_EQ(np, m.NNODE());
  ASSERT_EQ(nc, m.NSOLID());
  for (int i = 1; i <= np; ++i) {
    double v[12];
    for (double& x : v) in >> x;
    for (int k = 1; k <= 3; ++k) {
      EXPECT_EQ(v[k - 1], m.XYZ(k, i));
      EXPECT_NEAR(v[2 + k], m.U(k, i), 1e-6);
      EXPECT_EQ(v[5 + k], static_cast<float>(m.F(k, i)));
      EXPECT_EQ(v[8 + k], static_cast<float>(m.REACT(k, i)));
    }
  }
  for (int e = 1; e <= nc; ++e) {
    int nodes[4], state = 0;
    double s1 = 0, seq = 0;
    for (int& x : nodes) in >> x;
    in >> state >> s1 >> seq;
    for (int a = 0; a < 4; ++a) EXPECT_EQ(nodes[a], m.ELEM(e).NOD(a + 1) - 1);
    EXPECT_EQ(state, e % 4);
    EXPECT_NEAR(s1, 10.0 * e, 1e-5);
    EXPECT_NEAR(seq, 10.0 * e, 1e-4);
  }
  EXPECT_TRUE(in.good());
}

TEST(ResultsTool, BarInTensionThroughOssaAndOssaResults) {
  test::ScratchDir dir;
  const Bar b;
  test::write_file("EXEC.INP", bar_deck(b));
  const auto run = test::run_ossa();
  ASSERT_NE(run.out.find("##$$ExSv end 1 1"), std::string::npos)
      << run.out << test::read_file("EXEC.LOG");
  // Box numbering: x fastest, n + 1 points a row. Two corners of the loaded
  // end, the point (n/2, 1, 0) half way.
  const int nx = b.n + 1;
  const std::string end = std::to_string(nx) + " " + std::to_string(4 * nx) + " " +
                          std::to_string(b.n / 2 + 1 + nx);
  const Ran r = run_tool("history " + end);
  ASSERT_EQ(r.status, 0) << r.err;
  const auto t = csv(r.out);
  ASSERT_EQ(t.size(), 3u) << r.out;  // head and one row a step
  const double dl = b.F * b.n / (b.E * 1.0);
  for (int s = 1; s <= 2; ++s) {
    const auto& row = t[static_cast<std::size_t>(s)];
    ASSERT_EQ(row.size(), 15u);
    const double f = 0.5 * s;  // the load follows its table to 1 at time 1
    EXPECT_EQ(row[1], std::to_string(s));
    EXPECT_NEAR(std::stod(row[3]), -f * b.F, 1e-4 * b.F);  // reactions balance the load
    EXPECT_NEAR(std::stod(row[4]), 0.0, 1e-4 * b.F);
    EXPECT_NEAR(std::stod(row[5]), 0.0, 1e-4 * b.F);
    EXPECT_NEAR(std::stod(row[6]), f * dl, 1e-5 * dl);   // loaded end: F L / (E A)
    EXPECT_NEAR(std::stod(row[9]), f * dl, 1e-5 * dl);
    EXPECT_NEAR(std::stod(row[12]), 0.5 * f * dl, 1e-5 * dl);  // mid-length
    // The free contraction of the section: -nu times the strain.
    EXPECT_NEAR(std::stod(row[10]), -b.NU * f * dl / b.n, 1e-5 * dl);
    EXPECT_NEAR(std::stod(row[11]), -b.NU * f * dl / b.n, 1e-5 * dl);
  }
}
