#include "base/files.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace ossa::base {

namespace {

bool open_as(Unit& u, const std::string& name, const char* mode, UKind kind) {
  close_unit(u);
  u.fp = std::fopen(name.c_str(), mode);
  if (!u.fp) return false;
  u.name = name;
  u.kind = kind;
  u.line = 0;
  return true;
}

}  // namespace

bool is_open(const Unit& u) { return u.fp != nullptr; }

bool open_text_in(Unit& u, const std::string& name) { return open_as(u, name, "r", UKind::TEXT_IN); }
bool open_text_out(Unit& u, const std::string& name) { return open_as(u, name, "w", UKind::TEXT_OUT); }

void put(Unit& u, std::string_view line) {
  if (!u.fp) return;
  std::fwrite(line.data(), 1, line.size(), u.fp);
  std::fputc('\n', u.fp);
}

bool get_line(Unit& u, std::string& line) {
  line.clear();
  if (!u.fp) return false;
  char* buf = nullptr;
  std::size_t cap = 0;
  buf = u.lbuf.release();
  cap = u.lcap;
  const ssize_t n = ::getline(&buf, &cap, u.fp);
  u.lbuf.reset(buf);
  u.lcap = cap;
  if (n < 0) return false;
  std::size_t len = static_cast<std::size_t>(n);
  if (len > 0 && buf[len - 1] == '\n') --len;
  if (len > 0 && buf[len - 1] == '\r') --len;
  line.assign(buf, len);
  ++u.line;
  return true;
}

void rewind_unit(Unit& u) {
  if (!u.fp) return;
  std::rewind(u.fp);
  u.line = 0;
}

void flush_unit(Unit& u) { if (u.fp) std::fflush(u.fp); }

bool open_direct(Unit& u, const std::string& name, long recl, bool keep) {
  // "r+b" fails on a missing file; then it is made as a fresh one.
  const bool kept = keep && open_as(u, name, "r+b", UKind::DIRECT);
  if (!kept && !open_as(u, name, "w+b", UKind::DIRECT)) return false;
  u.recl = recl;
  return true;
}

bool dwrite(Unit& u, long rec, const void* buf, std::size_t n) {
  if (!u.fp || rec < 1 || static_cast<long>(n) > u.recl) return false;
  if (std::fseek(u.fp, (rec - 1) * u.recl, SEEK_SET) != 0) return false;
  if (n && std::fwrite(buf, 1, n, u.fp) != n) return false;
  if (static_cast<long>(n) < u.recl) {
    std::vector<char> pad(u.recl - n, 0);
    if (std::fwrite(pad.data(), 1, pad.size(), u.fp) != pad.size()) return false;
  }
  return true;
}

bool dread(Unit& u, long rec, void* buf, std::size_t n) {
  if (!u.fp || rec < 1 || static_cast<long>(n) > u.recl) return false;
  std::fflush(u.fp);
  if (std::fseek(u.fp, (rec - 1) * u.recl, SEEK_SET) != 0) return false;
  const std::size_t got = std::fread(buf, 1, n, u.fp);
  if (got < n) std::memset(static_cast<char*>(buf) + got, 0, n - got);
  return true;
}

bool dwrite_recs(Unit& u, long rec, long count, const void* buf) {
  if (!u.fp || rec < 1 || count < 0) return false;
  const std::size_t n = static_cast<std::size_t>(count) * static_cast<std::size_t>(u.recl);
  if (std::fseek(u.fp, (rec - 1) * u.recl, SEEK_SET) != 0) return false;
  return n == 0 || std::fwrite(buf, 1, n, u.fp) == n;
}

bool dread_recs(Unit& u, long rec, long count, void* buf) {
  if (!u.fp || rec < 1 || count < 0) return false;
  const std::size_t n = static_cast<std::size_t>(count) * static_cast<std::size_t>(u.recl);
  std::fflush(u.fp);
  if (std::fseek(u.fp, (rec - 1) * u.recl, SEEK_SET) != 0) return false;
  const std::size_t got = n ? std::fread(buf, 1, n, u.fp) : 0;
  if (got < n) std::memset(static_cast<char*>(buf) + got, 0, n - got);
  return true;
}

bool open_seq_in(Unit& u, const std::string& name) { return open_as(u, name, "rb", UKind::SEQ); }
bool open_seq_out(Unit& u, const std::string& name) { return open_as(u, name, "wb", UKind::SEQ); }

bool swrite(Unit& u, const void* buf, std::size_t n) {
  if (!u.fp || n > INT32_MAX) return false;
  const auto len = static_cast<std::int32_t>(n);
  return std::fwrite(&len, 4, 1, u.fp) == 1 && (n == 0 || std::fwrite(buf, 1, n, u.fp) == n) &&
         std::fwrite(&len, 4, 1, u.fp) == 1;
}

long sread(Unit& u, void* buf, std::size_t cap) {
  if (!u.fp) return -1;
  std::int32_t len = 0, tail = 0;
  if (std::fread(&len, 4, 1, u.fp) != 1 || len < 0) return -1;
  const std::size_t take = static_cast<std::size_t>(len) < cap ? static_cast<std::size_t>(len) : cap;
  if (take && std::fread(buf, 1, take, u.fp) != take) return -1;
  if (static_cast<std::size_t>(len) > take && std::fseek(u.fp, len - static_cast<long>(take), SEEK_CUR) != 0) return -1;
  if (std::fread(&tail, 4, 1, u.fp) != 1 || tail != len) return -1;
  return len;
}

void close_unit(Unit& u, bool remove_file) {
  if (u.fp) std::fclose(u.fp);
  u.fp = nullptr;
  if (remove_file && !u.name.empty()) std::remove(u.name.c_str());
  u.kind = UKind::NONE;
}

bool at_end(Unit& u) {
  if (!u.fp) return true;
  const int c = std::fgetc(u.fp);
  if (c == EOF) return true;
  std::ungetc(c, u.fp);
  return false;
}

bool sync_close(Unit& u) {
  if (!u.fp) return false;
  const bool ok = std::fflush(u.fp) == 0 && !std::ferror(u.fp) && ::fsync(::fileno(u.fp)) == 0;
  const bool closed = std::fclose(u.fp) == 0;
  u.fp = nullptr;
  u.kind = UKind::NONE;
  return ok && closed;
}

bool replace_file(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) return false;
  const std::size_t slash = to.rfind('/');
  const std::string dir = slash == std::string::npos ? "." : to.substr(0, slash + 1);
  const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return true;  // renamed; only the durability of the entry is not ensured
  ::fsync(fd);
  ::close(fd);
  return true;
}

std::uint64_t CHECK64(std::uint64_t h, const void* p, std::size_t n) {
  constexpr std::uint64_t MUL = 0x9E3779B97F4A7C15ull;
  const auto* c = static_cast<const unsigned char*>(p);
  auto step = [&](std::uint64_t w) {
    h = (h ^ w) * MUL;
    h ^= h >> 29;
  };
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t w;
    std::memcpy(&w, c + i, 8);
    step(w);
  }
  if (i < n) {
    std::uint64_t w = 0;
    std::memcpy(&w, c + i, n - i);
    step(w ^ (static_cast<std::uint64_t>(n - i) << 59));  // the tail's length, so zeros count
  }
  return h;
}

}  // namespace ossa::base
