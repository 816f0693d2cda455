// ossa-results on a bar in tension solved by ossa, as users run it: its
// refusals, the frames it lists, the history of the loaded end against
// F L / (E A), the solid table, a reader following a job still writing, and
// the ParaView files read back by an independent reader (meshio).
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;

namespace {

constexpr double E = 1000.0, NU = 0.3, T = 5.0;
const test::Box BAR(2, 1, 1, 2.0, 1.0, 1.0);

// The bar solved in two steps, each written.
void solve_bar() {
  int nheld = 0;
  const std::string held = test::hold_free_section(BAR, nheld);
  test::run_deck(test::job_head(BAR.nnode(), BAR.ntet(), 0, test::cntrl(0, 0, 10, 1e-8), 2) + BAR.mesh_cards(NU, E) +
                 test::ngld(1) + test::nplnk(nheld) + test::end_traction(BAR, BAR.LX, T) + held + "END\n");
}

std::vector<std::vector<std::string>> csv(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    rows.emplace_back();
    std::istringstream l(line);
    for (std::string f; std::getline(l, f, ',');) rows.back().push_back(f);
  }
  return rows;
}

}  // namespace

TEST(ResultsTool, RefusalsFramesHistoryAndSolids) {
  test::ScratchDir dir;
  EXPECT_NE(test::run_tool("--help").out.find("usage: ossa-results"), std::string::npos);
  for (const char* args : {"", "bogus", "frames"}) {  // the last: no result files
    const auto r = test::run_tool(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find("ossa-results: "), std::string::npos) << args;
  }
  solve_bar();
  for (const char* args : {"frame 3", "frame 0", "frame x", "frame 1 elements", "history", "history 999", "vtu a b"})
    EXPECT_EQ(test::run_tool(args).status, 2) << args;
  auto t = csv(test::run_tool("frames").out);
  ASSERT_EQ(t.size(), 3u);
  EXPECT_EQ(t[0][0] + t[0][1] + t[0][2] + t[0][3], "framesteptimennode");
  EXPECT_EQ(t[2][0] + "," + t[2][1] + "," + t[2][2] + "," + t[2][3], "2,2,1," + std::to_string(BAR.nnode()));
  // The loaded end and the middle of the bar, step by step.
  const int tip = BAR.id(2, 1, 1), mid = BAR.id(1, 0, 0);
  t = csv(test::run_tool("-C . history " + std::to_string(tip) + " " + std::to_string(mid)).out);
  ASSERT_EQ(t.size(), 3u);
  for (int s = 1; s <= 2; ++s) {
    const double f = 0.5 * s * T, eps = f / E;
    const auto& row = t[s];
    ASSERT_EQ(row.size(), 12u);
    EXPECT_NEAR(std::stod(row[3]), -f, 1e-5 * T);  // the reactions balance the load
    EXPECT_NEAR(std::stod(row[6]), eps * BAR.LX, 1e-6 * eps);
    EXPECT_NEAR(std::stod(row[7]), -NU * eps, 1e-6 * eps);  // the section contracts
    EXPECT_NEAR(std::stod(row[9]), eps, 1e-6 * eps);
  }
  t = csv(test::run_tool("frame last solids").out);
  ASSERT_EQ(t.size(), static_cast<std::size_t>(BAR.ntet()) + 1);
  for (std::size_t e = 1; e < t.size(); ++e) EXPECT_NEAR(std::stod(t[e][2]), T, 1e-4);  // s1
  // A frame still being written is not listed; a head with a negative count is refused.
  const std::string d = test::read_file("EXEC.Bdsp");
  test::write_file("EXEC.Bdsp", d.substr(0, d.size() - 5));
  EXPECT_EQ(test::result_frames(), 1u);
  std::string bad = d;
  const std::int32_t neg = -5;
  std::memcpy(bad.data() + results::BDSPHEAD + 12, &neg, 4);
  test::write_file("EXEC.Bdsp", bad);
  post::ResIndex idx;
  EXPECT_NE(post::RESSCAN(".", idx).find("bad counts"), std::string::npos);
}

TEST(ResultsTool, ParaViewFilesReadBackByMeshio) {
  const char* py = "/usr/bin/python3";
  if (std::system((std::string(py) + " -c 'import meshio' > /dev/null 2>&1").c_str()) != 0)
    GTEST_SKIP() << "python3 with meshio is not available";
  test::ScratchDir dir;
  solve_bar();
  ASSERT_EQ(std::system("mkdir out"), 0);
  const auto r = test::run_tool("vtu out");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "out/EXEC_0001.vtu\nout/EXEC_0002.vtu\nout/EXEC.pvd\n");
  EXPECT_NE(test::read_file("out/EXEC.pvd").find("timestep=\"1\" group=\"\" part=\"0\" file=\"EXEC_0002.vtu\""),
            std::string::npos);
  // Per point: x, y, z, displacement; per cell: its four points and s1.
  test::write_file("dump.py",
                   "import sys, meshio\n"
                   "m = meshio.read(sys.argv[1])\n"
                   "c = m.cells[0]\n"
                   "print(c.type, len(m.points), len(c.data))\n"
                   "for i, p in enumerate(m.points): print(*p, *m.point_data['displacement'][i])\n"
                   "for j, cell in enumerate(c.data): print(*cell, m.cell_data['principal stress'][0][j][0])\n");
  ASSERT_EQ(std::system((std::string(py) + " dump.py out/EXEC_0002.vtu > dump.txt").c_str()), 0);
  std::ifstream in("dump.txt");
  std::string type;
  int np = 0, nc = 0;
  in >> type >> np >> nc;
  ASSERT_EQ(type + " " + std::to_string(np) + " " + std::to_string(nc),
            "tetra " + std::to_string(BAR.nnode()) + " " + std::to_string(BAR.ntet()));
  const post::Frame f = test::result_frame(2);
  double v[6];
  for (int i = 0; i < np && in >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> v[5]; ++i) {
    EXPECT_EQ(v[0], BAR.xyz[i].x);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(static_cast<float>(v[3 + k]), f.DISP[i].V[k]) << i;
  }
  // The deck's corners a b c d, from zero, in the element's order a c b d.
  for (int e = 0; e < nc && in >> v[0] >> v[1] >> v[2] >> v[3] >> v[4]; ++e) {
    const auto& t = BAR.tets[e];
    EXPECT_EQ(std::vector<double>(v, v + 4), std::vector<double>({t[0] - 1.0, t[2] - 1.0, t[1] - 1.0, t[3] - 1.0})) << e;
    EXPECT_NEAR(v[4], T, 1e-4);
  }
  EXPECT_TRUE(in.good());
}
