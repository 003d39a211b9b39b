# The transforms a second time, in the plain form of the SIMD layer and under other names, so that
# one program can hold both forms against each other.
add_library(fft_plain OBJECT ${PROJECT_SOURCE_DIR}/spectrum/fft_complex.cpp
                             ${PROJECT_SOURCE_DIR}/spectrum/fft_real.cpp)
target_include_directories(fft_plain PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_definitions(fft_plain PRIVATE OMBRINE_PLAIN_SIMD)
foreach(name Complex_Forward Complex_Inverse Real_Forward Real_Inverse Real_Post Real_Pre)
    target_compile_definitions(fft_plain PRIVATE FFT_${name}=Plain_FFT_${name})
endforeach()
target_link_libraries(fft_transform_test PRIVATE fft_plain)

if(OMBRINE_ORACLE_TESTS)
    target_link_libraries(fft_oracle_test PRIVATE fftw3f)
endif()
