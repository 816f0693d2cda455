// Test helpers: a model whose log unit is open in a fresh scratch directory,
// so that a test can run a routine that stops the job and then read the log.
#pragma once
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "base/files.hpp"
#include "model/model.hpp"

namespace ossa::testing {

// Makes a scratch directory and changes into it.
inline std::string enter_scratch() {
  char tmpl[] = "/tmp/ossa-test.XXXXXX";
  const char* d = mkdtemp(tmpl);
  if (d == nullptr || chdir(d) != 0) std::abort();
  return d;
}

// Resets the model and opens EXEC.LOG on its log unit in the current directory.
inline void open_log(model::Model& m) {
  model::MODELRESET(m);
  if (!base::open_text_out(m.unit(m.UNIT(2)), "EXEC.LOG")) std::abort();
}

inline std::string read_text(const std::string& path) {
  std::ifstream f(path);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

}  // namespace ossa::testing
