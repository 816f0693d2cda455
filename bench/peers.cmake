# Peer libraries for the benchmarks only; the product never links them.

# Eigen (header-only): bench_cg compares with its ConjugateGradient.
if(TARGET bench_cg)
  find_package(Eigen3 3.3 REQUIRED NO_MODULE)
  target_link_libraries(bench_cg PRIVATE Eigen3::Eigen)
endif()

# MUMPS: the MPI build the product links (Debian's, without METIS: the order
# is handed to it), run as a world of one.
function(ossa_link_mumps target)
  target_link_libraries(${target} PRIVATE ossa_pardiso)
endfunction()

# bench_ork_analysis: the ORK analysis against MUMPS's analysis phase on the
# same pivot order.
if(TARGET bench_ork_analysis)
  ossa_link_mumps(bench_ork_analysis)
endif()

# bench_ork_factor: ORK's factorisation against MUMPS (LDL^T, order given) and
# CHOLMOD's supernodal Cholesky, with OpenBLAS on one thread as the ceiling.
if(TARGET bench_ork_factor)
  ossa_link_mumps(bench_ork_factor)
  find_path(CHOLMOD_INC cholmod.h PATHS /usr/include/suitesparse REQUIRED)
  find_library(CHOLMOD_LIB cholmod REQUIRED)
  find_library(OPENBLAS_LIB openblas REQUIRED)
  find_path(OPENBLAS_INC cblas.h PATHS /usr/include/x86_64-linux-gnu/openblas-pthread /usr/include/openblas REQUIRED)
  target_include_directories(bench_ork_factor PRIVATE ${CHOLMOD_INC} ${OPENBLAS_INC})
  target_link_libraries(bench_ork_factor PRIVATE ${CHOLMOD_LIB} ${OPENBLAS_LIB})
endif()
