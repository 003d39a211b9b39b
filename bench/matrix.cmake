# The direct matrix operations against Eigen (libeigen3-dev).
find_package(Eigen3 REQUIRED NO_MODULE)
find_package(benchmark REQUIRED)
add_executable(bench_matrix matrix.cpp)
target_link_libraries(bench_matrix PRIVATE ombrine_runtime Eigen3::Eigen benchmark::benchmark)

add_executable(bench_constrained constrained.cpp)
target_link_libraries(bench_constrained PRIVATE ombrine_runtime benchmark::benchmark)
target_link_options(bench_constrained PRIVATE -Wl,--wrap=_Z12OBJ_Malloc_TP12ObjectHeaderm)
