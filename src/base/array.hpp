// One-based, column-major arrays with optional lower bounds, so that code
// reads like the formulas: A(i,j) with the first index running fastest.
// Bounds are checked in debug builds (NDEBUG unset) and cost nothing otherwise.
#pragma once
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace ossa::base {

[[noreturn]] inline void bounds_fail(long i, long lo, long hi, int dim) {
  std::fprintf(stderr, "ossa: index %ld outside %ld:%ld in dimension %d\n", i, lo, hi, dim);
  std::abort();
}

// A dimension: either a count n (bounds 1:n) or explicit bounds lo:hi.
// A negative count gives an empty dimension.
struct Dim {
  long lo = 1, hi = 0;
  Dim() = default;
  Dim(long n) : lo(1), hi(n < 0 ? 0 : n) {}  // NOLINT: implicit by design
  Dim(long l, long h) : lo(l), hi(h < l - 1 ? l - 1 : h) {}
  long extent() const { return hi - lo + 1; }
};

template <class T, int R>
class Array {
 public:
  Array() = default;
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  Array(Array&&) noexcept = default;
  Array& operator=(Array&&) noexcept = default;

  // Allocates and zero-fills. Returns false when memory is short.
  template <class... D>
  bool allocate(D... d) { return alloc_impl(true, Dim(d)...); }
  // Allocates without touching the pages: untouched memory costs nothing.
  template <class... D>
  bool allocate_raw(D... d) { return alloc_impl(false, Dim(d)...); }

  void deallocate() { p_.reset(); n_ = 0; alloc_ = false; }
  bool allocated() const { return alloc_; }
  long size() const { return n_; }
  long lbound(int d) const { return lo_[d - 1]; }
  long ubound(int d) const { return lo_[d - 1] + ext_[d - 1] - 1; }
  long extent(int d) const { return ext_[d - 1]; }
  T* data() { return p_.get(); }
  const T* data() const { return p_.get(); }
  T* begin() { return p_.get(); }
  T* end() { return p_.get() + n_; }
  const T* begin() const { return p_.get(); }
  const T* end() const { return p_.get() + n_; }
  void fill(const T& v) { for (long k = 0; k < n_; ++k) p_[k] = v; }

  template <class... I>
  T& operator()(I... i) { return p_[offset(static_cast<long>(i)...)]; }
  template <class... I>
  const T& operator()(I... i) const { return p_[offset(static_cast<long>(i)...)]; }

  // Address of an element, for handing a column or slab to a routine.
  template <class... I>
  T* at(I... i) { return p_.get() + offset(static_cast<long>(i)...); }
  template <class... I>
  const T* at(I... i) const { return p_.get() + offset(static_cast<long>(i)...); }

 private:
  template <class... D>
  bool alloc_impl(bool zero, D... d) {
    static_assert(sizeof...(D) == R, "rank mismatch");
    const Dim dims[R] = {d...};
    long n = 1;
    for (int k = 0; k < R; ++k) { lo_[k] = dims[k].lo; ext_[k] = dims[k].extent(); n *= ext_[k]; }
    p_.reset();
    T* raw = new (std::nothrow) T[n > 0 ? n : 1];
    if (!raw) { n_ = 0; alloc_ = false; return false; }
    p_.reset(raw);
    n_ = n;
    alloc_ = true;
    if (zero) for (long k = 0; k < n; ++k) p_[k] = T{};
    return true;
  }
  long offset(long i) const {
    static_assert(R == 1 || R > 0, "");
    check(i, 0);
    long off = i - lo_[0];
    return off;
  }
  long offset(long i, long j) const {
    check(i, 0); check(j, 1);
    return (i - lo_[0]) + ext_[0] * (j - lo_[1]);
  }
  long offset(long i, long j, long k) const {
    check(i, 0); check(j, 1); check(k, 2);
    return (i - lo_[0]) + ext_[0] * ((j - lo_[1]) + ext_[1] * (k - lo_[2]));
  }
  void check([[maybe_unused]] long i, [[maybe_unused]] int d) const {
#ifndef NDEBUG
    if (d >= R || i < lo_[d] || i >= lo_[d] + ext_[d]) bounds_fail(i, lo_[d < R ? d : 0], lo_[d < R ? d : 0] + ext_[d < R ? d : 0] - 1, d + 1);
#endif
  }

  std::unique_ptr<T[]> p_;
  long n_ = 0;
  long lo_[R] = {};
  long ext_[R] = {};
  bool alloc_ = false;
};

template <class T> using Arr1 = Array<T, 1>;
template <class T> using Arr2 = Array<T, 2>;
template <class T> using Arr3 = Array<T, 3>;

// Fixed-size one-based array inside a record, e.g. D(21) or STRESS(5,4,3).
template <class T, int N1, int N2 = 1, int N3 = 1>
struct Fix {
  T a[N1 * N2 * N3] = {};
  static constexpr int size() { return N1 * N2 * N3; }
  T& operator()(int i) { chk(i, N1 * N2 * N3); return a[i - 1]; }
  const T& operator()(int i) const { chk(i, N1 * N2 * N3); return a[i - 1]; }
  T& operator()(int i, int j) { chk(i, N1); chk(j, N2 * N3); return a[(i - 1) + N1 * (j - 1)]; }
  const T& operator()(int i, int j) const { chk(i, N1); chk(j, N2 * N3); return a[(i - 1) + N1 * (j - 1)]; }
  T& operator()(int i, int j, int k) { chk(i, N1); chk(j, N2); chk(k, N3); return a[(i - 1) + N1 * ((j - 1) + N2 * (k - 1))]; }
  const T& operator()(int i, int j, int k) const { chk(i, N1); chk(j, N2); chk(k, N3); return a[(i - 1) + N1 * ((j - 1) + N2 * (k - 1))]; }
  T* data() { return a; }
  const T* data() const { return a; }
  T* begin() { return a; }
  T* end() { return a + size(); }
  const T* begin() const { return a; }
  const T* end() const { return a + size(); }
  void fill(const T& v) { for (auto& x : a) x = v; }

 private:
  static void chk([[maybe_unused]] int i, [[maybe_unused]] int n) {
#ifndef NDEBUG
    if (i < 1 || i > n) bounds_fail(i, 1, n, 0);
#endif
  }
};

}  // namespace ossa::base
