// Principal values and axes of symmetric tensors given as vectors.
//
// Solid vectors are xx, yy, zz, xy, yz, zx; shell-point vectors are xx, yy,
// xy, xz, yz. The routines take tensor components: a strain with engineering
// shears must have its shears halved by the caller.
#pragma once

namespace ossa::elements {

// Cyclic Jacobi on the symmetric A(3,3) (column by column, overwritten): at
// each step the largest off-diagonal entry (the first in row order on a tie)
// is rotated away, until it is below TOL or after 15 rotations. EIG(3) gets
// the diagonal and Z(3,3) the accumulated rotations, eigenvectors in columns.
// Nothing is sorted here.
void JACOBI3(double* A, double TOL, double* EIG, double* Z);

// EIG(3), descending, and Z(3,3) with the matching unit eigenvectors in its
// columns, of the tensor S(6). A tensor whose squared components sum to at
// most 1e-21 gives zeros and the identity. TOL: 1e-12 for stress, 1e-17 for
// strain.
void PRINC3(const double* S, double TOL, double* EIG, double* Z);

// Closed form on S(5) of a shell point: P(5) = (l1, l2, 0, c xz + s yz,
// c yz - s xz) with l1 >= l2, and (C, SN), the direction of the first
// principal axis in element axes.
void PRINC2(const double* S, double* P, double& C, double& SN);

}  // namespace ossa::elements
