# Peer libraries for the benchmarks only; the product never links them.

# MUMPS, sequential (Debian's build without METIS): bench_ork_analysis compares
# the ORK analysis with MUMPS's analysis phase on the same pivot order.
if(TARGET bench_ork_analysis)
  find_path(MUMPS_INC dmumps_c.h REQUIRED)
  find_path(MUMPS_SEQ_INC mpi.h PATHS /usr/include/mumps_seq NO_DEFAULT_PATH REQUIRED)
  find_library(DMUMPS_SEQ_LIB dmumps_seq REQUIRED)
  find_library(MUMPS_COMMON_SEQ_LIB mumps_common_seq REQUIRED)
  find_library(MPISEQ_LIB mpiseq_seq REQUIRED)
  target_include_directories(bench_ork_analysis PRIVATE ${MUMPS_INC} ${MUMPS_SEQ_INC})
  target_link_libraries(bench_ork_analysis PRIVATE ${DMUMPS_SEQ_LIB} ${MUMPS_COMMON_SEQ_LIB} ${MPISEQ_LIB})
endif()
