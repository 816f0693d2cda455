// The file layer: text files read and written by lines, direct-access binary
// files of fixed record length, and sequential binary files whose records
// carry a four-byte length before and after (the common Fortran layout).
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace ossa::base {

enum class UKind { NONE, TEXT_IN, TEXT_OUT, DIRECT, SEQ };

// Frees the line buffer of a text unit.
struct FreeBuf {
  void operator()(char* p) const { std::free(p); }
};

struct Unit {
  std::string name;
  std::FILE* fp = nullptr;
  UKind kind = UKind::NONE;
  long recl = 0;  // record length in bytes, direct files
  long line = 0;  // lines read so far, text input
  std::unique_ptr<char, FreeBuf> lbuf;  // line buffer of a text input
  std::size_t lcap = 0;
};

bool is_open(const Unit& u);

// Text. `open_text_out` replaces an existing file.
bool open_text_in(Unit& u, const std::string& name);
bool open_text_out(Unit& u, const std::string& name);
void put(Unit& u, std::string_view line);        // the line and a newline
bool get_line(Unit& u, std::string& line);       // false at end of file
void rewind_unit(Unit& u);
void flush_unit(Unit& u);

// Direct access, records numbered from 1. A write past the end extends the
// file, so writing the last record preallocates it. A short buffer is
// padded with zero bytes; a record past the end reads as zeros. With `keep`
// an existing file is opened as it stands (a restart reads what the earlier
// run wrote); otherwise it starts afresh.
bool open_direct(Unit& u, const std::string& name, long recl, bool keep = false);
bool dwrite(Unit& u, long rec, const void* buf, std::size_t n);
bool dread(Unit& u, long rec, void* buf, std::size_t n);
// COUNT whole records from REC on, in one transfer.
bool dwrite_recs(Unit& u, long rec, long count, const void* buf);
bool dread_recs(Unit& u, long rec, long count, void* buf);

// Sequential binary. `open_seq_out` replaces an existing file.
bool open_seq_in(Unit& u, const std::string& name);
bool open_seq_out(Unit& u, const std::string& name);
bool swrite(Unit& u, const void* buf, std::size_t n);
// Reads the next record into buf (at most cap bytes; the rest of a longer
// record is skipped). Returns the record's length, or -1 at end or fault.
long sread(Unit& u, void* buf, std::size_t cap);

// Closes the unit; with `remove_file` the file is deleted, also when the
// unit was never opened.
void close_unit(Unit& u, bool remove_file = false);

// Whether a file read up to here has nothing more.
bool at_end(Unit& u);

// Hands what was written to the disk and closes the unit; false when a
// write or the flush failed.
bool sync_close(Unit& u);

// Puts the file `from` in the place of `to` in one step, so that `to` is
// either the old or the new file whenever the process dies; the directory
// entry is made durable too.
bool replace_file(const std::string& from, const std::string& to);

// A running 64-bit check of bytes: each step a bijection of the check, so
// that a change in any one eight-byte word of the input always shows.
inline constexpr std::uint64_t CHECKSEED = 0x243F6A8885A308D3ull;
std::uint64_t CHECK64(std::uint64_t h, const void* p, std::size_t n);

}  // namespace ossa::base
