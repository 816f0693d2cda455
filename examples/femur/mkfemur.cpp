// Writes the example femur deck to standard output.
//   ossa-mkfemur [cube side in mm] [solver selector: 0 CG, -1 ORK] [material nonlinear 0/1]
#include <cstdio>
#include <cstdlib>

#include "femur_deck.hpp"

int main(int argc, char** argv) {
  ossa::example::FemurOptions o;
  if (argc > 1) o.H = std::atof(argv[1]);
  if (argc > 2) o.SOLVER = std::atoi(argv[2]);
  if (argc > 3) o.NONLINEAR = std::atoi(argv[3]);
  if (!(o.H > 0.3 && o.H < 50.0)) {
    std::fprintf(stderr, "usage: ossa-mkfemur [cube side mm, 0.3..50] [solver 0|-1|-2] [nonlinear 0|1]\n");
    return 2;
  }
  const long n = ossa::example::write_femur_deck(stdout, o);
  std::fprintf(stderr, "ossa-mkfemur: %ld tetrahedra\n", n);
  return 0;
}
