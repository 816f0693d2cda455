// Spill files of ORK: reals at positions from 1, records of ORKREC reals, one
// buffer per file so that blocks need not start or end on a record boundary.
// Whole records in the middle of a block go straight between file and data.
#include <algorithm>
#include <cstring>

#include "solvers/ork/orkfact.hpp"

namespace ossa::solvers {

namespace {

constexpr std::size_t RECBYTES = ORKREC * sizeof(double);

long first_rec(long pos) { return (pos + ORKREC - 1) / ORKREC; }
long rec_start(long rec) { return (rec - 1) * ORKREC + 1; }

// Writes the buffer out if it holds changes.
bool flush(base::Unit& u, ORKFILE& st, const double* buf) {
  if (st.BUFVALID && st.BUFDIRTY) {
    if (!base::dwrite(u, st.BUFREC, buf, RECBYTES)) return false;
    st.BUFDIRTY = 0;
  }
  return true;
}

// Makes the buffer hold record rec (read from the file when `read`).
int hold(base::Unit& u, long rec, ORKFILE& st, double* buf, bool read) {
  if (st.BUFVALID && st.BUFREC == rec) return 0;
  if (!flush(u, st, buf)) return ORK_WRITE;
  st.BUFVALID = 0;
  if (read && !base::dread(u, rec, buf, RECBYTES)) return ORK_READ;
  st.BUFVALID = 1;
  st.BUFREC = static_cast<int>(rec);
  st.BUFDIRTY = 0;
  return 0;
}

}  // namespace

int ORKPUT(base::Unit& u, long POS, long COUNT, const double* DATA, ORKFILE& ST, double* BUF, int LAST) {
  if (COUNT <= 0) return LAST == 1 && !flush(u, ST, BUF) ? ORK_WRITE : 0;
  const long r1 = first_rec(POS), r2 = first_rec(POS + COUNT - 1);
  const long off = POS - rec_start(r1);
  // Records written directly make an old copy in the buffer stale.
  if (ST.BUFVALID && ST.BUFREC > r1 && ST.BUFREC < r2) {
    if (!flush(u, ST, BUF)) return ORK_WRITE;
    ST.BUFVALID = 0;
  }
  if (int s = hold(u, r1, ST, BUF, off > 0)) return s;
  const long n1 = std::min(COUNT, ORKREC - off);
  std::memcpy(BUF + off, DATA, static_cast<std::size_t>(n1) * sizeof(double));
  ST.BUFDIRTY = 1;
  if (n1 == COUNT) return LAST == 1 && !flush(u, ST, BUF) ? ORK_WRITE : 0;
  if (!flush(u, ST, BUF)) return ORK_WRITE;
  long done = n1;
  long rec = r1 + 1;
  // Whole records in one write: a factor of many gigabytes is not cut into system calls of 8 kB.
  const long whole = (COUNT - done - 1) / ORKREC;
  if (whole > 0 && !base::dwrite_recs(u, rec, whole, DATA + done)) return ORK_WRITE;
  rec += whole;
  done += whole * ORKREC;
  // The rest starts record `rec`; what lies behind it in that record is free space.
  if (int s = hold(u, rec, ST, BUF, false)) return s;
  std::memcpy(BUF, DATA + done, static_cast<std::size_t>(COUNT - done) * sizeof(double));
  ST.BUFDIRTY = 1;
  return LAST == 1 && !flush(u, ST, BUF) ? ORK_WRITE : 0;
}

int ORKGET(base::Unit& u, long POS, long COUNT, double* DATA, ORKFILE& ST, double* BUF) {
  if (COUNT <= 0) return 0;
  const long r1 = first_rec(POS), r2 = first_rec(POS + COUNT - 1);
  const long end = POS + COUNT;  // one past the last position
  // The last record first, through the buffer.
  if (int s = hold(u, r2, ST, BUF, true)) return s;
  {
    const long lo = std::max(POS, rec_start(r2));
    std::memcpy(DATA + (lo - POS), BUF + (lo - rec_start(r2)), static_cast<std::size_t>(end - lo) * sizeof(double));
  }
  if (r1 == r2) return 0;
  // Whole records in between, straight into the data in one read; a record
  // the buffer holds may be newer than the file's.
  if (r2 - 1 > r1) {
    if (!base::dread_recs(u, r1 + 1, r2 - 1 - r1, DATA + (rec_start(r1 + 1) - POS))) return ORK_READ;
    if (ST.BUFVALID && ST.BUFREC > r1 && ST.BUFREC < r2)
      std::memcpy(DATA + (rec_start(ST.BUFREC) - POS), BUF, RECBYTES);
  }
  // The first record last; it stays in the buffer for the block in front.
  if (int s = hold(u, r1, ST, BUF, true)) return s;
  const long n1 = rec_start(r1 + 1) - POS;
  std::memcpy(DATA, BUF + (POS - rec_start(r1)), static_cast<std::size_t>(n1) * sizeof(double));
  return 0;
}

}  // namespace ossa::solvers
