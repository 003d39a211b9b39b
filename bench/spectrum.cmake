# Packed spectra against VOLK (libvolk2-dev), the complex inversion against Eigen (libeigen3-dev).
add_executable(bench_spectrum spectrum.cpp spectrum_plain.cpp)
target_compile_options(bench_spectrum PRIVATE -fno-math-errno)
target_link_libraries(bench_spectrum PRIVATE ombrine_runtime PkgConfig::VOLK Eigen3::Eigen
                                             benchmark::benchmark)
