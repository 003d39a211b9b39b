# The digest of results, once as the library is built and once with the plain form of vector/simd.h:
# one expected file for both and for every preset.
set(digest_sources digest_test.cpp digest_audio.cpp digest_vector.cpp digest_matrix.cpp
    digest_spectrum.cpp)

ombrine_add_objects(ombrine_plain_objects -DOMBRINE_PLAIN_SIMD)
add_library(ombrine_runtime_plain STATIC $<TARGET_OBJECTS:ombrine_plain_objects>)
target_include_directories(ombrine_runtime_plain PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(ombrine_runtime_plain PUBLIC m)
target_link_options(ombrine_runtime_plain INTERFACE -Wl,--undefined=OBJ_Float_Mode)

foreach(form runtime runtime_plain)
    set(name digest_${form})
    add_executable(${name} ${digest_sources})
    target_compile_definitions(${name} PRIVATE
        OMBRINE_DIGEST_FILE="${CMAKE_CURRENT_SOURCE_DIR}/digest.txt")
    target_link_libraries(${name} PRIVATE ombrine_${form} gtest)
    add_test(NAME ${name} COMMAND ${name})
endforeach()
