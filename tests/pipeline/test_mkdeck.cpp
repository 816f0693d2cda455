// ossa-mkdeck as users meet it: one mesh written by Gmsh and meshio in six
// files gives one deck; a closed surface fills with tetrahedra of its
// volume; tetrahedra come out positively oriented whatever the file says;
// unsupported or inconsistent input is refused by name; and the deck
// of a clamped bar under an end force solves to F L / (E A), watched by
// ossa-run and plotted by ossa-results.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "pipeline/job.hpp"
#include "post/plot.hpp"
#include "pipeline/mesh.hpp"
#include "deckgen.hpp"
#include "testutil.hpp"

using namespace ossa;
using namespace ossa::pipeline;

namespace {

const std::string DATA = std::string(OSSA_SOURCE_DIR) + "/tests/pipeline/data/";

// The bar [0,2] x [0,1] x [0,1] of the fixtures: face x = 0 held, a force
// of 100 along x on the face x = 2, E = 1000.
std::string bar_job(const std::string& mesh, const std::string& extra = "") {
  return R"({"mesh": ")" + mesh + R"(", "title": "BAR", "material": {"E": 1000, "nu": 0.0}, )" + extra +
         R"("fixed": [{"set": "fixed", "dofs": "111"}], "loads": [{"set": "loaded", "total": [100, 0, 0]}]})";
}

// The deck of a job text, or the refusal.
std::string deck_of(const std::string& job_text, std::string& err, long* flipped = nullptr) {
  test::write_file("job.json", job_text);
  Job j;
  Mesh m;
  long fl = 0;
  err = read_job("job.json", j);
  if (err.empty()) err = read_job_mesh(j, m);
  if (err.empty()) err = check_and_orient(m, fl);
  if (flipped) *flipped = fl;
  if (!err.empty()) return "";
  char* buf = nullptr;
  std::size_t len = 0;
  std::FILE* f = open_memstream(&buf, &len);
  err = write_deck(f, m, j, std::vector<ElemMat>(m.TET.size(), ElemMat{j.E, 0.0}));
  std::fclose(f);
  const std::string s(buf, len);
  std::free(buf);
  return s;
}

std::vector<std::string> cards(const std::string& deck, const std::string& key) {
  std::vector<std::string> out;
  std::istringstream in(deck);
  for (std::string l; std::getline(in, l);)
    if (l.rfind(key, 0) == 0) out.push_back(l);
  return out;
}

double field(const std::string& card, int col, int width) { return std::stod(card.substr(col - 1, width)); }

// A single tetrahedron in .inp with its nodes in the given order.
std::string one_tet(const char* order, const char* type = "C3D4") {
  return std::string("*NODE\n1, 0, 0, 0\n2, 1, 0, 0\n3, 0, 1, 0\n4, 0, 0, 1\n*ELEMENT, TYPE=") + type +
         ", ELSET=ALL\n1, " + order + "\n*NSET, NSET=BASE\n1, 2, 3\n*NSET, NSET=TOP\n4\n";
}

// det(p1 - p4, p2 - p4, p3 - p4) of each solid card, six times the volume
// the solid's own node order gives.
std::vector<double> solid_volumes(const std::string& deck) {
  std::map<long, std::array<double, 3>> p;
  for (const auto& n : cards(deck, "NODE "))
    p[static_cast<long>(field(n, 6, 10))] = {field(n, 16, 15), field(n, 31, 15), field(n, 46, 15)};
  std::vector<double> v6;
  for (const auto& s : cards(deck, "SOLID")) {
    std::array<std::array<double, 3>, 3> d{};
    for (int a = 0; a < 3; ++a)
      for (int k = 0; k < 3; ++k)
        d[a][k] = p[static_cast<long>(field(s, 16 + 10 * a, 10))][k] - p[static_cast<long>(field(s, 46, 10))][k];
    v6.push_back(d[0][0] * (d[1][1] * d[2][2] - d[1][2] * d[2][1]) - d[0][1] * (d[1][0] * d[2][2] - d[1][2] * d[2][0]) +
                 d[0][2] * (d[1][0] * d[2][1] - d[1][1] * d[2][0]));
  }
  return v6;
}

// The box [0,2] x [0,1] x [0,1] as an ASCII STL of its first `n` facets.
std::string box_stl(int n) {
  const int F[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                        {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
  std::string s = "solid box\n";
  for (int f = 0; f < n; ++f) {
    s += "facet normal 0 0 0\nouter loop\n";
    for (int c : F[f])
      s += "vertex " + std::to_string(2 * (c & 1)) + " " + std::to_string((c >> 1) & 1) + " " + std::to_string(c >> 2) + "\n";
    s += "endloop\nendfacet\n";
  }
  return s + "endsolid box\n";
}

// A tetrahedron of four facets: closed, but too coarse for Gmsh to split
// into patches (it loops; the tool's time limit must end it).
const std::string TET_STL = "solid t\n"
    "facet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 0 1 0\nvertex 1 0 0\nendloop\nendfacet\n"
    "facet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 0 1\nendloop\nendfacet\n"
    "facet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 0 0 1\nvertex 0 1 0\nendloop\nendfacet\n"
    "facet normal 0 0 0\nouter loop\nvertex 1 0 0\nvertex 0 1 0\nvertex 0 0 1\nendloop\nendfacet\nendsolid t\n";

// The text of `file` with the first `from` replaced by `to`.
std::string edited(const std::string& file, const std::string& from, const std::string& to) {
  std::string t = test::read_file(file);
  return t.replace(t.find(from), from.size(), to);
}

const std::string TET_JOB = R"({"mesh": "t.inp", "material": {"E": 100}, "fixed": [{"set": "base", "dofs": "111"}],
  "loads": [{"set": "top", "total": [0, 0, 1]}]})";

}  // namespace

TEST(Mkdeck, EveryFormatGivesOneDeckWithTheSetsOnTheirCardsAndASurfaceFills) {
  test::ScratchDir dir;
  // VTU has no sets: the job file draws them as boxes around the two faces.
  const std::string boxes = R"("sets": {"fixed": {"box": [-1e-6, -1, -1, 1e-6, 2, 2]},
                                        "loaded": {"box": [1.999999, -1, -1, 2.1, 2, 2]}}, )";
  std::string err;
  const std::string inp = deck_of(bar_job(DATA + "box.inp"), err);
  ASSERT_EQ(err, "");
  const struct { const char* file; std::string extra; } CASES[] = {
      {"box22.msh", ""}, {"box41.msh", ""}, {"box.vtu", boxes}, {"boxb.vtu", boxes}, {"boxr.vtu", boxes}};
  for (const auto& c : CASES) {
    EXPECT_EQ(deck_of(bar_job(DATA + c.file, c.extra), err), inp) << c.file;
    EXPECT_EQ(err, "") << c.file;
  }
  // Every held node lies on x = 0, every loaded one on x = 2, and the
  // forces add up to the total.
  std::map<long, double> x;
  for (const auto& c : cards(inp, "NODE ")) x[static_cast<long>(field(c, 6, 10))] = field(c, 16, 15);
  const auto held = cards(inp, "PLNK ");
  ASSERT_FALSE(held.empty());
  for (const auto& c : held) {
    EXPECT_EQ(x.at(static_cast<long>(field(c, 6, 10))), 0.0) << c;
    EXPECT_EQ(c.substr(15), "111000");
  }
  double fx = 0.0;
  for (const auto& c : cards(inp, "FORCE")) {
    EXPECT_EQ(x.at(static_cast<long>(field(c, 6, 10))), 2.0) << c;
    fx += field(c, 16, 15);
  }
  EXPECT_NEAR(fx, 100.0, 1e-4);
  EXPECT_EQ(cards(inp, "SOLID").size(), cards(inp, "PROPT").size());
  EXPECT_EQ(field(cards(inp, "CNTEL")[0], 6, 10), static_cast<double>(cards(inp, "SOLID").size()));
  // A segmentation of the box, a closed STL, fills with tetrahedra of its
  // volume (flat faces: to round-off).
  test::write_file("s.stl", box_stl(12));
  double v = 0.0;
  for (double v6 : solid_volumes(deck_of(bar_job("s.stl", R"("mesh_size": 0.25, )" + boxes), err))) v += v6 / 6.0;
  EXPECT_EQ(err, "");
  EXPECT_NEAR(v, 2.0, 1e-9);
}

TEST(Mkdeck, TetrahedraLeaveInTheSolidCardOrderWhateverTheFileSays) {
  test::ScratchDir dir;
  const struct { const char* order; long flipped; } CASES[] = {{"1, 2, 3, 4", 0}, {"1, 3, 2, 4", 1}, {"2, 1, 3, 4", 1},
                                                              {"4, 2, 3, 1", 1}, {"2, 3, 1, 4", 0}};
  for (const auto& c : CASES) {
    test::write_file("t.inp", one_tet(c.order));
    std::string err;
    long flipped = -1;
    const auto v6 = solid_volumes(deck_of(TET_JOB, err, &flipped));
    ASSERT_EQ(err, "") << c.order;
    EXPECT_EQ(flipped, c.flipped) << c.order;
    EXPECT_NEAR(v6.at(0), 1.0, 1e-6) << c.order;
  }
}

TEST(Mkdeck, UnsupportedOrInconsistentInputIsRefusedByName) {
  test::ScratchDir dir;
  const std::string msh10 =
      "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n10\n1 0 0 0\n2 1 0 0\n3 0 1 0\n4 0 0 1\n5 .5 0 0\n"
      "6 .5 .5 0\n7 0 .5 0\n8 0 0 .5\n9 0 .5 .5\n10 .5 0 .5\n$EndNodes\n$Elements\n1\n1 11 2 1 1 1 2 3 4 5 6 7 8 9 10\n"
      "$EndElements\n";
  const struct { const char* mesh; std::string text; std::string job; const char* says; } CASES[] = {
      {"t.inp", one_tet("1, 2, 3, 4, 5, 6, 7, 8, 9, 10", "C3D10"), TET_JOB, "C3D10"},
      {"t.inp", one_tet("1, 2, 3, 4", "C3D8"), TET_JOB, "C3D8"},
      {"t.msh", msh10, R"({"mesh": "t.msh", "material": {"E": 1}, "fixed": [{"set": "a"}], "loads": [{"set": "a", "total": [0,0,1]}]})", "Tetrahedron 10"},
      {"t.inp", one_tet("1, 2, 3, 2"), TET_JOB, "flat"},
      {"t.inp", one_tet("1, 2, 3, 9"), TET_JOB, "node 9, which does not exist"},
      {"t.inp", one_tet("1, 2, 3, 4") + "*NODE\n2, 5, 5, 5\n", TET_JOB, "node number 2 appears twice"},
      {"t.inp", one_tet("1, 2, 3, 4"), R"({"mesh": "none.inp", "material": {"E": 1}, "fixed": [{"set": "base"}], "loads": [{"set": "top", "total": [0,0,1]}]})", "cannot open"},
      {"t.inp", one_tet("1, 2, 3, 4"), R"({"mesh": "t.inp", "material": {"E": 1}, "fixed": [{"set": "base"}], "loads": [{"set": "tip", "total": [0,0,1]}]})", "no node or element set named 'tip'"},
      {"t.inp", one_tet("1, 2, 3, 4"), R"({"mesh": "t.inp", "materal": {"E": 1}})", "unknown key 'materal'"},
      {"t.inp", one_tet("1, 2, 3, 4"), R"({"mesh": "t.inp", "material": {"E": 1}, "loads": [{"set": "top", "total": [0,0,1]}]})", "rigid body"},
      {"t.inp", one_tet("1, 2, 3, 4"), R"({"mesh": "t.inp", "material": {"E": 1}, "analysis": {"material": true}, "fixed": [{"set": "base"}], "loads": [{"set": "top", "total": [0,0,1]}]})", "bone"},
      {"t.inp", one_tet("1, 2, 3, 4"), R"({"mesh": "t.inp", "fixed": [{"set": "base"}], "loads": [{"set": "top", "total": [0,0,1]}]})", "no modulus"},
      {"t.inp", one_tet("1, 2, 3, 4"), R"({"mesh": "t.inp", "material": {"E": 1}, "solver": "lu", "fixed": [{"set": "base"}], "loads": [{"set": "top", "total": [0,0,1]}]})", "solver 'lu'"},
      {"t.inp", one_tet("1, 2, x, 4"), TET_JOB, "t.inp:7: a field is not a number"},
      {"t.inp", one_tet("1, 2, 3e20, 4"), TET_JOB, "t.inp:7: a node or element number is not"},
      {"t.stl", box_stl(11), R"({"mesh": "t.stl", "material": {"E": 1}, "fixed": [{"set": "a"}], "loads": [{"set": "a", "total": [0,0,1]}]})", "not closed"},
      {"t.vtu", edited(DATA + "box.vtu", "ascii\">\n5", "ascii\">\n9"), R"({"mesh": "t.vtu", "material": {"E": 1}, "fixed": [{"set": "a"}], "loads": [{"set": "a", "total": [0,0,1]}]})", "quadrilateral (VTK type 9, cell 1)"},
      {"t.vtu", edited(DATA + "box.vtu", "byte_order", "compressor=\"vtkZLibDataCompressor\" byte_order"), R"({"mesh": "t.vtu", "material": {"E": 1}, "fixed": [{"set": "a"}], "loads": [{"set": "a", "total": [0,0,1]}]})", "Compressor Type None"},
  };
  for (const auto& c : CASES) {
    test::write_file(c.mesh, c.text);
    std::string err;
    EXPECT_EQ(deck_of(c.job, err), "") << c.says;
    EXPECT_NE(err.find(c.says), std::string::npos) << err;
  }
  // A surface Gmsh loops on: the tool's time limit ends it with a message.
  setenv("OSSA_MESH_SECONDS", "2", 1);
  test::write_file("t.stl", TET_STL);
  test::write_file("job.json", R"({"mesh": "t.stl", "material": {"E": 1}, "fixed": [{"set": "a"}], "loads": [{"set": "a", "total": [0,0,1]}]})");
  const auto mk = test::run_program("ossa-mkdeck", "job.json", 60);
  EXPECT_NE(mk.status, 0);
  EXPECT_NE(mk.err.find("did not finish"), std::string::npos) << mk.err;
}

// Triangles as shells: a membrane strip, clamped at x = 0 and pulled at
// x = 2 with every node held out of plane, stretches by F L / (E t W).
TEST(Mkdeck, TrianglesBecomeShellsWhenAThicknessIsGiven) {
  test::ScratchDir dir;
  test::write_file("p.inp", "*NODE\n1, 0, 0, 0\n2, 1, 0, 0\n3, 2, 0, 0\n4, 0, 1, 0\n5, 1, 1, 0\n6, 2, 1, 0\n"
                            "*ELEMENT, TYPE=S3\n1, 1, 2, 5\n2, 1, 5, 4\n3, 2, 3, 6\n4, 2, 6, 5\n"
                            "*NSET, NSET=CLAMP\n1, 4\n*NSET, NSET=END\n3, 6\n*NSET, NSET=ALL, GENERATE\n1, 6\n");
  test::write_file("job.json", R"({"mesh": "p.inp", "material": {"nu": 0.0}, "shell": {"thickness": 0.1, "E": 1000},
    "fixed": [{"set": "clamp", "dofs": "111111"}, {"set": "all", "dofs": "001111"}],
    "loads": [{"set": "end", "total": [10, 0, 0]}]})");
  const auto mk = test::run_program("ossa-mkdeck", "job.json", 60);
  ASSERT_EQ(mk.status, 0) << mk.err;
  const auto r = test::run_program("ossa-run", "", 60);
  ASSERT_EQ(r.status, 0) << r.out << test::read_file("EXEC.LOG");
  const auto f = test::result_frame(test::result_frames());
  ASSERT_EQ(f.DISP.size(), 6u);
  for (int i : {2, 5}) EXPECT_NEAR(f.DISP[i].ID == i + 1 ? f.DISP[i].V[0] : -1.0, 0.2, 1e-5) << i;  // nodes 3 and 6
}

TEST(Mkdeck, ClampedBarDeckSolvesToTheEndDisplacement) {
  test::ScratchDir dir;
  test::write_file("job.json", bar_job(DATA + "box.inp", R"("analysis": {"steps": 2}, "solver": "ork", )"));
  auto r = test::run_program("ossa-mkdeck", "job.json", 60);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(test::run_program("ossa-mkdeck", "nojob.json -o X.INP", 60).status, 1);
  EXPECT_FALSE(test::exists("X.INP"));
  EXPECT_EQ(test::run_program("ossa-mkdeck", "--bogus", 60).status, 2);
  r = test::run_program("ossa-run", ".", 120);  // as a user would watch it
  ASSERT_EQ(r.status, 0) << r.out << test::read_file("EXEC.LOG");
  EXPECT_NE(r.out.find("ossa-run: normal end"), std::string::npos) << r.out;
  // The log reaches the watcher as it is written: each step's heading and
  // residual row come before that step's progress line, not all at the end.
  const auto pos = [&](const char* s) { return std::min(r.out.find(s), r.out.size()); };
  EXPECT_LT(pos("STEP NO. = 1"), pos("progress 50 %")) << r.out;
  EXPECT_LT(pos("\n        1 "), pos("progress 50 %")) << r.out;
  EXPECT_LT(pos("STEP NO. = 2"), pos("progress 100 %")) << r.out;
  // Mean end displacement of the loaded face against F L / (E A) = 0.2;
  // the clamp (nu = 0) adds nothing, the coarse mesh a little stiffness.
  std::map<long, double> x;
  for (const auto& c : cards(test::read_file("EXEC.INP"), "NODE ")) x[static_cast<long>(field(c, 6, 10))] = field(c, 16, 15);
  const auto f = test::result_frame(test::result_frames());
  double sum = 0.0;
  int n = 0;
  for (const auto& d : f.DISP)
    if (x.at(d.ID) == 2.0) {
      sum += d.V[0];
      ++n;
    }
  ASSERT_GT(n, 0);
  EXPECT_NEAR(sum / n, 0.2, 0.01);
  // The plots: one residual row per iteration of the log, both PNGs drawn.
  std::vector<post::ResidRow> res;
  ASSERT_EQ(post::LOGRESID("EXEC.LOG", res), "");
  ASSERT_EQ(res.size(), 2u);  // linear: one iteration per step
  EXPECT_EQ(res[1].STEP, 2);
  EXPECT_LT(res[1].RELN, 1e-3);
  const auto p = test::run_program("ossa-results", "plot " + std::to_string(f.DISP[0].ID), 60);
  ASSERT_EQ(p.status, 0) << p.err;
  for (const char* png : {"EXEC_history.png", "EXEC_residual.png"})
    EXPECT_EQ(test::read_file(png).substr(1, 3), "PNG") << png;
  EXPECT_EQ(test::run_program("ossa-results", "plot 999999", 60).status, 2);
  // An error stop (a load on no node) and a missing folder are failures.
  std::string deck = test::read_file("EXEC.INP");
  test::write_file("EXEC.INP", deck.replace(deck.find("FORCE") + 5, 10, "     99999"));
  r = test::run_program("ossa-run", "", 60);
  EXPECT_EQ(r.status, 1) << r.out;
  EXPECT_NE(r.out.find("ossa-run: error stop -2 0"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("NODE 99999"), std::string::npos) << r.out;
  EXPECT_EQ(test::run_program("ossa-run", "nodir", 60).status, 2);
}
