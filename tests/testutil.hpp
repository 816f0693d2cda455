// Small helpers shared by the tests: a scratch working directory, file
// reading and writing, and running the ossa binary on a deck.
#pragma once
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

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

struct RunResult {
  int status = -1;  // exit status of the process
  std::string out, err;
};

#ifdef OSSA_BIN
// Runs the ossa binary in the current directory, as a user would.
inline RunResult run_ossa(int timeout_s = 120) {
  RunResult r;
  const std::string cmd = "timeout " + std::to_string(timeout_s) + " '" + std::string(OSSA_BIN) +
                          "' > ossa.out 2> ossa.err < /dev/null";
  const int st = std::system(cmd.c_str());
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  r.out = read_file("ossa.out");
  r.err = read_file("ossa.err");
  return r;
}
#endif

}  // namespace ossa::test
