// ossa-results as users run it: its help, its refusals, the frames it lists
// and prints for every element family, a reader following a running job,
// and the ParaView files of a solved bar read back by an independent reader
// (meshio).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "deckgen.hpp"
#include "resmodel.hpp"
#include "results/reader.hpp"
#include "results/resout.hpp"

using namespace ossa;

namespace {

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
  test::RunResult r = test::run_tool("--help");
  EXPECT_EQ(r.status, 0);
  for (const char* w : {"usage: ossa-results", "frames", "frame N", "history NODE", "vtu [OUTDIR]"})
    EXPECT_NE(r.out.find(w), std::string::npos) << w;
  for (const char* args : {"", "bogus", "-x frames"}) {
    r = test::run_tool(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find("ossa-results: "), std::string::npos) << args;
  }
  r = test::run_tool("frames");  // no result files here
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("cannot open ./EXEC.Bdsp"), std::string::npos) << r.err;
  test::write_file("EXEC.Bdsp", std::string(40, 'x'));
  test::write_file("EXEC.Bstr", std::string(60, 'x'));
  r = test::run_tool("frames");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("not a result file"), std::string::npos) << r.err;

  model::Model m;
  write_two_frames(m);
  for (const char* args : {"frame 3", "frame 0", "frame x", "frame 1 elements", "history",
                           "history 1x", "history 999", "frames 1", "vtu a b"}) {
    r = test::run_tool(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_FALSE(r.err.empty()) << args;
  }
  r = test::run_tool("vtu");  // no deck
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("EXEC.INP"), std::string::npos) << r.err;
}

TEST(ResultsTool, FramesFrameAndHistory) {
  test::ScratchDir dir;
  model::Model m;
  write_two_frames(m);
  test::RunResult r = test::run_tool("frames");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "frame,step,time,nnode,nf,nr,nl,nc,nshell,nsolid,nrubb,ntruss\n"
            "1,1,0.5,6,1,1,0,0,1,2,1,1\n2,2,1,6,1,1,0,0,1,2,1,1\n");
  r = test::run_tool("frame last nodes");
  ASSERT_EQ(r.status, 0) << r.err;
  auto t = csv(r.out);
  ASSERT_EQ(t.size(), 7u);
  EXPECT_EQ(t[2], (std::vector<std::string>{"102", "0.5", "0", "0", "0", "0", "0", "0", "0", "0"}));
  EXPECT_EQ(t[4][6], "-7");
  EXPECT_EQ(t[1][7], "3");
  r = test::run_tool("frame 1");
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* h : {"node,ux", "\n\nelement,layer,state", "\n\nelement,state,s1", "\n\nelement,s1",
                        "\n\nelement,strain,force\n1003,0,42\n"})
    EXPECT_NE(r.out.find(h), std::string::npos) << h;
  r = test::run_tool("frame 1 solids");
  t = csv(r.out);
  ASSERT_EQ(t.size(), 3u);
  EXPECT_EQ(t[1][0], "1001");
  EXPECT_EQ(t[1][2], "12");   // s1
  EXPECT_EQ(t[1][21], "12");  // equivalent stress
  r = test::run_tool("-C . history 102 101");
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
  results::ResIndex idx;
  ASSERT_EQ(results::RESSCAN(".", idx), "");
  ASSERT_EQ(idx.frames.size(), 1u);
  results::Frame f;
  ASSERT_EQ(results::RESREAD(idx, 1, f), "");
  EXPECT_EQ(f.DISP.size(), 6u);
  EXPECT_EQ(f.SOLID.size(), 2u);
  EXPECT_EQ(f.TRUSS[0].V[1], 42.0f);
  EXPECT_NE(results::RESREAD(idx, 2, f), "");
  // A head with a negative count is refused, not followed.
  std::string bad = d;
  const std::int32_t neg = -5;
  std::memcpy(bad.data() + results::BDSPHEAD + 12, &neg, 4);
  test::write_file("EXEC.Bdsp", bad);
  EXPECT_NE(results::RESSCAN(".", idx).find("bad counts"), std::string::npos);
}

TEST(ResultsTool, ParaViewFilesOfASolvedBarReadBackByMeshio) {
  const char* py = "/usr/bin/python3";
  if (std::system((std::string(py) + " -c 'import meshio' > /dev/null 2>&1").c_str()) != 0)
    GTEST_SKIP() << "python3 with meshio is not available";
  test::ScratchDir dir;
  const test::Box b(2, 1, 1, 2.0, 1.0, 1.0);
  int nheld = 0;
  const std::string held = test::hold_free_section(b, nheld);
  test::write_file("EXEC.INP", test::cntnd(b.nnode()) + test::cntel(b.ntet()) + test::cntrl(0, 0, 10, 1e-8) +
                                   test::cntr2(1, 1) + test::cntr3_cpu() + test::kukan(1.0, 1) +
                                   b.mesh_cards(0.3, 1000.0) + test::ngld(1) + test::nplnk(nheld) +
                                   test::end_traction(b, b.LX, 5.0) + held + "END\n");
  ASSERT_NE(test::run_ossa().out.find("##$$ExSv end 1 1"), std::string::npos);
  ASSERT_EQ(std::system("mkdir out"), 0);
  const test::RunResult r = test::run_tool("vtu out");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "out/EXEC_0001.vtu\nout/EXEC.pvd\n");
  EXPECT_NE(test::read_file("out/EXEC.pvd").find("timestep=\"1\" group=\"\" part=\"0\" file=\"EXEC_0001.vtu\""),
            std::string::npos);
  test::write_file("dump.py",
                   "import sys, meshio\n"
                   "m = meshio.read(sys.argv[1])\n"
                   "c = m.cells[0]\n"
                   "print(c.type, len(m.points), len(c.data))\n"
                   "for i, p in enumerate(m.points): print(*p, *m.point_data['displacement'][i])\n"
                   "for j, cell in enumerate(c.data):\n"
                   "    print(*cell, m.cell_data['principal stress'][0][j][0])\n");
  ASSERT_EQ(std::system((std::string(py) + " dump.py out/EXEC_0001.vtu > dump.txt").c_str()), 0);
  std::ifstream in("dump.txt");
  std::string type;
  int np = 0, nc = 0;
  in >> type >> np >> nc;
  EXPECT_EQ(type, "tetra");
  ASSERT_EQ(np, b.nnode());
  ASSERT_EQ(nc, b.ntet());
  const results::Frame f = test::result_frame(1);
  for (int i = 0; i < np; ++i) {
    double v[6];
    for (double& x : v) in >> x;
    EXPECT_EQ(v[0], b.xyz[i].x);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(static_cast<float>(v[3 + k]), f.DISP[i].V[k]) << i;
  }
  for (int e = 0; e < nc; ++e) {
    int nodes[4];
    double s1 = 0;
    for (int& x : nodes) in >> x;
    in >> s1;
    // The deck's corners a b c d, zero-based, in the element's order a c b d.
    const auto& t = b.tets[e];
    const int want[4] = {t[0] - 1, t[2] - 1, t[1] - 1, t[3] - 1};
    for (int a = 0; a < 4; ++a) EXPECT_EQ(nodes[a], want[a]) << e;
    EXPECT_NEAR(s1, 5.0, 1e-4);
  }
  EXPECT_TRUE(in.good());
}
