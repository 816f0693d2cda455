// Small helpers shared by the tests: a scratch working directory, file
// reading and writing, and running the ossa binary on a deck.
#pragma once
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cmath>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "base/files.hpp"
#include "model/model.hpp"

// Runs the statements in a child process whose standard output goes to
// stdout.txt, and expects them to end the way the error stop does: with
// exit status 0. The log and stdout.txt are then read by the test.
#define OSSA_EXPECT_STOP(...)                                             \
  EXPECT_EXIT(                                                            \
      {                                                                   \
        if (!std::freopen("stdout.txt", "w", stdout)) std::abort();       \
        __VA_ARGS__;                                                      \
      },                                                                  \
      ::testing::ExitedWithCode(0), "")

namespace ossa::test {

// Creates a fresh directory under /tmp and makes it the working directory
// for the lifetime of the object.
struct ScratchDir {
  std::string path, old;
  ScratchDir() {
    char tmpl[] = "/tmp/ossa-test.XXXXXX";
    const char* p = mkdtemp(tmpl);
    path = p ? p : "/tmp";
    char buf[4096];
    old = getcwd(buf, sizeof buf) ? buf : "/";
    if (chdir(path.c_str()) != 0) std::abort();
  }
  ~ScratchDir() {
    if (chdir(old.c_str()) != 0) return;
    std::string cmd = "rm -rf '" + path + "'";
    if (std::system(cmd.c_str()) != 0) return;
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
};

inline void write_file(const std::string& name, const std::string& text) {
  std::ofstream(name, std::ios::binary) << text;
}

inline std::string read_file(const std::string& name) {
  std::ifstream f(name, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

inline std::vector<std::string> read_lines(const std::string& name) {
  std::vector<std::string> v;
  std::ifstream f(name);
  for (std::string l; std::getline(f, l);) v.push_back(l);
  return v;
}

inline long file_size(const std::string& name) {
  std::ifstream f(name, std::ios::binary | std::ios::ate);
  return f ? static_cast<long>(f.tellg()) : -1;
}

inline bool exists(const std::string& name) { return access(name.c_str(), F_OK) == 0; }

// Resets the model and opens its log, EXEC.LOG, in the working directory.
inline void open_log(model::Model& m) {
  model::MODELRESET(m);
  if (!base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG")) std::abort();
}

struct RunResult {
  int status = -1;  // exit status of the process
  std::string out, err;
};

// Column COL (8: RES NORM, 10: REL RES(N)) of the rows of the log's last
// residual table.
inline std::vector<double> last_residuals(const std::string& log, int col) {
  std::vector<double> v;
  std::istringstream in(log);
  for (std::string l; std::getline(in, l);) {
    if (l.rfind("     ITER    MAX RES", 0) == 0) v.clear();
    std::istringstream row(l);
    std::vector<double> x;
    for (double d; row >> d;) x.push_back(d);
    if (x.size() >= 11) v.push_back(x[static_cast<std::size_t>(col)]);
  }
  return v;
}

#ifdef OSSA_BIN
// Runs a program of the build with `args` in the current directory, as a
// user would: ossa itself, or the results tool.
inline RunResult run_program(const std::string& prog, const std::string& args, int timeout_s) {
  const std::string bin = OSSA_BIN;
  const std::string cmd = "timeout " + std::to_string(timeout_s) + " '" + bin.substr(0, bin.rfind('/') + 1) + prog +
                          "' " + args + " > run.out 2> run.err < /dev/null";
  const int st = std::system(cmd.c_str());
  return {WIFEXITED(st) ? WEXITSTATUS(st) : -1, read_file("run.out"), read_file("run.err")};
}
inline RunResult run_ossa(int timeout_s = 120) { return run_program("ossa", "", timeout_s); }
inline RunResult run_tool(const std::string& args) { return run_program("ossa-results", args, 120); }
// Runs the deck in the working directory to a normal end; returns the log.
inline std::string run_deck(const std::string& deck) {
  write_file("EXEC.INP", deck);
  const RunResult r = run_ossa();
  const std::string log = read_file("EXEC.LOG");
  EXPECT_TRUE(r.out.ends_with("##$$ExSv end 1 1\n")) << r.out << log;
  return log;
}
#endif

#ifdef OSSA_SOURCE_DIR
// Compares the log with tests/golden/NAME.LOG: every line's layout exactly
// (numbers masked), the numbers to the last printed digit or two, below
// 1e-8 only as tiny. Times are not compared, nor the nodes of the largest
// residual, which round-off picks among near equals. With OSSA_GOLDEN=write
// the log becomes the golden file.
inline void expect_golden_log(const std::string& name, const std::string& log = "EXEC.LOG") {
  const std::string path = std::string(OSSA_SOURCE_DIR) + "/tests/golden/" + name + ".LOG";
  const char* mode = std::getenv("OSSA_GOLDEN");
  if (mode && std::string(mode) == "write") write_file(path, read_file(log));
  const std::vector<std::string> got = read_lines(log), want = read_lines(path);
  ASSERT_FALSE(want.empty()) << "no golden log " << path;
  EXPECT_EQ(got.size(), want.size()) << name;
  static const std::regex num(R"([-+]?(\d+\.?\d*|\.\d+)([EeDd][-+]?\d+)?)"), spaced(" *[-+]?[0-9.]+");
  bool times = false, rows = false;
  for (std::size_t i = 0; i < std::min(got.size(), want.size()); ++i) {
    const std::string& g = got[i];
    const std::string& w = want[i];
    const std::string where = name + ".LOG line " + std::to_string(i + 1) + "\n got: " + g + "\nwant: " + w;
    times = times || w.find("ELAPSED TIME") != std::string::npos;
    rows = w.find("     ITER    MAX RES") == 0 || (rows && !w.empty());
    // Fixed columns of rows and times, whose noise may take a sign or a digit.
    const std::regex& mask = times || rows ? spaced : num;
    EXPECT_EQ(std::regex_replace(g, mask, "#"), std::regex_replace(w, mask, "#")) << where;
    EXPECT_EQ(g.size(), w.size()) << where;
    std::sregex_iterator a(g.begin(), g.end(), num), b(w.begin(), w.end(), num), end;
    for (int k = 0; a != end && b != end && !times; ++a, ++b, ++k) {
      if (rows && (k == 2 || k == 3 || k == 5 || k == 6 || k == 11)) continue;
      const double x = std::stod(a->str()), y = std::stod(b->str());
      const double big = std::max(std::fabs(x), std::fabs(y));
      EXPECT_TRUE(big < 1e-8 || std::fabs(x - y) <= 2.5e-4 * big) << where;
    }
  }
}
#endif

}  // namespace ossa::test
