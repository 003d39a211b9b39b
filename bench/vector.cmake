# The vector kernels against VOLK (libvolk2-dev).
find_package(PkgConfig REQUIRED)
pkg_check_modules(VOLK REQUIRED IMPORTED_TARGET volk)
add_executable(bench_vector vector.cpp vector_plain.cpp)
target_compile_definitions(bench_vector PRIVATE "OMBRINE_BENCH_FLAGS=\"${bench_flags}\"")
target_compile_options(bench_vector PRIVATE -fno-math-errno)
target_link_libraries(bench_vector PRIVATE ombrine_runtime PkgConfig::VOLK CLI11::CLI11)
