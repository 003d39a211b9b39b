# bench_fft: the real transforms beside FFTW, KissFFT and, where they are installed, the transforms
# of libavutil.
find_package(PkgConfig REQUIRED)
pkg_check_modules(FFTW3F REQUIRED IMPORTED_TARGET fftw3f)
pkg_check_modules(KISSFFT IMPORTED_TARGET kissfft-float)
pkg_check_modules(AVUTIL IMPORTED_TARGET libavutil)

add_executable(bench_fft fft.cpp)
target_link_libraries(bench_fft PRIVATE ombrine_runtime PkgConfig::FFTW3F)
if(KISSFFT_FOUND)
    target_link_libraries(bench_fft PRIVATE PkgConfig::KISSFFT)
    target_compile_definitions(bench_fft PRIVATE HAVE_KISSFFT)
endif()
if(AVUTIL_FOUND)
    target_link_libraries(bench_fft PRIVATE PkgConfig::AVUTIL)
    target_compile_definitions(bench_fft PRIVATE HAVE_AVUTIL)
endif()
