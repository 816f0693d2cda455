// Test helpers of the result files: a small model built in memory with its
// solution arrays, and the raw bytes of the two streams.
#pragma once
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "model/model.hpp"
#include "testutil.hpp"

namespace ossa::test {

// Element families in table order, by type code (1 shell, 2 solid, 3 gap,
// 4 rubber, 5 truss). Node numbers are 100 + position; element numbers
// 1000 + row. Nodes of element k are k, k+1, k+2, k+3 (wrapped).
inline void small_model(model::Model& m, int nnode, const std::vector<int>& types) {
  model::MODELRESET(m);
  int cnt[6] = {};
  for (int t : types) ++cnt[t];
  const int nel = static_cast<int>(types.size());
  m.KK(3) = 0;
  m.KK(4) = 1;
  m.KK(11) = nnode;
  m.KK(12) = nel;
  m.KK(13) = cnt[1];
  m.KK(14) = cnt[2];
  m.KK(15) = cnt[3];
  m.KK(16) = cnt[4];
  m.KK(17) = cnt[5];
  const int n = nnode + cnt[4];
  m.NODEID.allocate(n);
  m.XYZ.allocate(3, n);
  for (int i = 1; i <= n; ++i) {
    m.NODEID(i) = 100 + i;
    for (int k = 1; k <= 3; ++k) m.XYZ(k, i) = (i * (k + 1)) % 7;
  }
  m.ELEM.allocate(nel);
  m.SHLREC.allocate(cnt[1]);
  m.SOLREC.allocate(cnt[2]);
  m.GAPREC.allocate(cnt[3]);
  m.RUBREC.allocate(cnt[4]);
  m.TRSREC.allocate(cnt[5]);
  int idx[6] = {};
  for (int k = 1; k <= nel; ++k) {
    model::ELEMREC& e = m.ELEM(k);
    e.TYPE = types[static_cast<std::size_t>(k - 1)];
    e.ID = 1000 + k;
    e.IDX = ++idx[e.TYPE];
    e.NEN = e.TYPE == 1 ? 3 : (e.TYPE == 3 || e.TYPE == 5 ? 2 : 4);
    for (int a = 1; a <= e.NEN; ++a) e.NOD(a) = (k + a - 2) % nnode + 1;
  }
  m.T.allocate(base::Dim(0, 1));
  m.T(1) = 1.0;
  model::MODELALLOC(m);
}

struct Streams {
  std::string dsp, str;
};

inline Streams read_streams() { return {read_file("EXEC.Bdsp"), read_file("EXEC.Bstr")}; }

inline std::int32_t i32(const std::string& b, long off) {
  std::int32_t v = 0;
  std::memcpy(&v, b.data() + off, 4);
  return v;
}
inline float f32(const std::string& b, long off) {
  float v = 0;
  std::memcpy(&v, b.data() + off, 4);
  return v;
}

}  // namespace ossa::test
