// Helpers of the deck tests: cards built field by field at their columns,
// and a deck read in a scratch directory with its units opened as the job
// opens them.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/files.hpp"
#include "deck/deck.hpp"
#include "model/model.hpp"
#include "testutil.hpp"

namespace ossa::test {

// A card image: the keyword from column 1 and values right-adjusted in
// their columns (a value wider than its columns is an error of the test).
struct Card {
  std::string s;
  explicit Card(const char* kw) : s(kw) {}
  Card& f(int c1, int c2, const std::string& v) {
    const std::size_t w = static_cast<std::size_t>(c2 - c1 + 1);
    EXPECT_LE(v.size(), w) << "value " << v << " does not fit columns " << c1 << "-" << c2;
    if (s.size() < static_cast<std::size_t>(c2)) s.resize(static_cast<std::size_t>(c2), ' ');
    s.replace(static_cast<std::size_t>(c1 - 1), w, std::string(w - std::min(w, v.size()), ' ') + v);
    return *this;
  }
  Card& i(int c1, int c2, long v) { return f(c1, c2, std::to_string(v)); }
  operator std::string() const { return s; }  // NOLINT: cards read as lines
};

inline std::string join(const std::vector<std::string>& lines) {
  std::string t;
  for (const auto& l : lines) t += l + "\n";
  return t;
}

// Writes EXEC.INP, opens it and EXEC.LOG as the job does, and resets the model.
inline void open_deck(model::Model& m, const std::vector<std::string>& cards) {
  write_file("EXEC.INP", join(cards));
  model::MODELRESET(m);
  ASSERT_TRUE(base::open_text_in(m.unit(m.UNIT(1)), model::UNIT_FILE[0]));
  ASSERT_TRUE(base::open_text_out(m.unit(m.UNIT(2)), model::UNIT_FILE[1]));
}

// Reads a deck that must be good; returns the lines of the log.
inline std::vector<std::string> read_deck(model::Model& m, const std::vector<std::string>& cards) {
  open_deck(m, cards);
  deck::DECKIN(m);
  base::close_unit(m.unit(m.UNIT(2)));
  base::close_unit(m.unit(m.UNIT(1)));
  return read_lines("EXEC.LOG");
}

// Cards of the model, written as a user writes them.
inline std::string cntnd(long n) { return Card("CNTND").i(11, 20, n); }
inline std::string cntel(long sol, long shl, long gap, long rub, long trs) {
  return Card("CNTEL").i(6, 15, sol).i(16, 25, shl).i(26, 35, gap).i(36, 45, rub).i(46, 55, trs);
}
inline std::string node(long id, const char* x, const char* y, const char* z) {
  return Card("NODE").i(6, 15, id).f(16, 30, x).f(31, 45, y).f(46, 60, z);
}
inline std::string tet(const char* kw, long id, long a, long b, long c, long d) {
  return Card(kw).i(6, 15, id).i(16, 25, a).i(26, 35, b).i(36, 45, c).i(46, 55, d);
}
inline std::string truss(long id, long a, long b) {
  return Card("TRUSS").i(6, 15, id).i(16, 25, a).i(26, 35, b);
}
// A material row: group, "VEL" row, bone flag, yield type, element code,
// element number, then up to nine reals from column 21 on.
inline std::string propt(int grp, int vel, int bone, int ytype, int code, long elem,
                         const std::vector<const char*>& reals) {
  Card c("PROPT");
  c.i(6, 6, grp).i(7, 7, vel).i(8, 8, bone).i(9, 9, ytype).i(10, 10, code).i(11, 20, elem);
  for (std::size_t k = 0; k < reals.size(); ++k)
    c.f(21 + 10 * static_cast<int>(k), 30 + 10 * static_cast<int>(k), reals[k]);
  return c;
}
inline std::string propt_truss(long table, long elem) {
  return Card("PROPT").i(6, 9, table).i(10, 10, 5).i(11, 20, elem);
}
// A static, small-displacement "CNTRL" card with the CG selector.
inline std::string cntrl_static() { return Card("CNTRL").f(6, 9, "0000").i(56, 63, 0); }
inline std::string cpu() { return Card("CNTR3").i(41, 45, -1); }

// The smallest good deck: one bone tetrahedron on four nodes, numbered 10
// to 40; `extra` cards stand before "END".
inline std::vector<std::string> one_tet(const std::vector<std::string>& extra = {}) {
  std::vector<std::string> d = {
      cntnd(4), cntel(1, 0, 0, 0, 0), cntrl_static(), cpu(),
      Card("KUKAN").f(6, 20, "1.0").i(21, 30, 1),
      node(10, "0.0", "0.0", "0.0"), node(20, "1.0", "0.0", "0.0"),
      node(30, "0.0", "1.0", "0.0"), node(40, "0.0", "0.0", "1.0"),
      tet("SOLID", 1, 10, 20, 30, 40),
      propt(0, 0, 1, 0, 2, 1, {"0.3", "15000.0", "1.8E-6"})};
  d.insert(d.end(), extra.begin(), extra.end());
  d.push_back("END");
  return d;
}

struct Stopped {
  std::string log, out;
};

// Reads a deck that must end in the error stop with -2 0: the child's
// standard output goes to a file so that the end line can be checked.
inline Stopped read_bad_deck(const std::vector<std::string>& cards) {
  // Reading to the end would exit with 3: no stop.
  OSSA_EXPECT_STOP(model::Model m; open_deck(m, cards); deck::DECKIN(m); std::exit(3));
  Stopped s{read_file("EXEC.LOG"), read_file("stdout.txt")};
  EXPECT_NE(s.out.find("##$$ExSv end -2 0\n"), std::string::npos) << s.out;
  return s;
}

// Expects `text` as a message line of the log, followed by the error number.
inline void expect_message(const Stopped& s, const std::string& text) {
  EXPECT_NE(s.log.find("\n " + text + "\n *** ERROR NO. ***\n  -2  0\n"), std::string::npos)
      << s.log;
}

}  // namespace ossa::test
