# The direct matrix operations against Eigen (libeigen3-dev).
find_package(Eigen3 REQUIRED NO_MODULE)
find_package(benchmark REQUIRED)
add_executable(bench_matrix matrix.cpp)
target_link_libraries(bench_matrix PRIVATE ombrine_runtime Eigen3::Eigen benchmark::benchmark)
