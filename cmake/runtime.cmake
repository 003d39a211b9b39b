# The library twice from one set of sources: the shared object with its seven exports, and a static
# archive with every internal operation for tests, benchmarks and tools.
set(OMBRINE_SOURCES
    audiofile/codecs.cpp
    audiofile/file_access.cpp
    audiofile/header_aiff.cpp
    audiofile/header_wave.cpp
    audiofile/matrix.cpp
    audiofile/matrix_convert.cpp
    audiofile/open_read.cpp
    audiofile/report.cpp
    audiofile/stream.cpp
    audiofile/transfer.cpp
    audiofile/write_header.cpp
    fileproc/parameters.cpp
    fileproc/spectra.cpp
    fileproc/tables.cpp
    frame/exports.cpp
    frame/float_mode.cpp
    frame/object.cpp
    matrix/constrained.cpp
    matrix/constrained_least.cpp
    matrix/constrained_linear.cpp
    matrix/constrained_set.cpp
    matrix/direct.cpp
    matrix/product.cpp
    matrix/qr.cpp
    matrix/scratch.cpp
    matrix/storage.cpp
    spectrum/cmat.cpp
    spectrum/fft_complex.cpp
    spectrum/fft_plan.cpp
    spectrum/fft_real.cpp
    spectrum/filter_sections.cpp
    spectrum/fv_arithmetic.cpp
    spectrum/fv_layout.cpp
    spectrum/fv_level.cpp
    spectrum/hfv.cpp
    vector/kern.cpp
    vector/kern_power.cpp
    vector/kern_product.cpp
    vector/kern_reduce.cpp
    vector/vec.cpp
    vector/vec_reduce.cpp
    vector/vec_signal.cpp)
list(TRANSFORM OMBRINE_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/)

# No exceptions, no run-time type information, no guards for local statics: nothing of the C++
# library is left at run time. Nothing reads errno behind a mathematics function, so roots can run
# in vector loops; no result changes.
set(OMBRINE_CODE_FLAGS -fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden
    -fno-math-errno)

function(ombrine_add_objects name)
    add_library(${name} OBJECT ${OMBRINE_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_options(${name} PRIVATE ${OMBRINE_CODE_FLAGS} ${ARGN})
endfunction()

if(OMBRINE_PLAIN_SIMD)
    add_compile_definitions(OMBRINE_PLAIN_SIMD)
endif()
ombrine_add_objects(ombrine_objects)

add_library(ombrine_runtime STATIC $<TARGET_OBJECTS:ombrine_objects>)
target_include_directories(ombrine_runtime PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_link_libraries(ombrine_runtime PUBLIC m)
# The archive's members are found by name alone; the load-time constructor must come along.
target_link_options(ombrine_runtime INTERFACE -Wl,--undefined=OBJ_Float_Mode)

# Linked as C, so that the C++ library is not asked for. GNU ld puts the version node itself among
# the exported symbols; lld does not.
# A cross compiler looks for ld.lld only where -B points, so it gets a directory with that alone.
find_program(OMBRINE_LLD ld.lld)
if(OMBRINE_LLD)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/lld)
    file(CREATE_LINK ${OMBRINE_LLD} ${CMAKE_BINARY_DIR}/lld/ld.lld SYMBOLIC)
endif()
set(OMBRINE_LLD_FLAGS -fuse-ld=lld -B${CMAKE_BINARY_DIR}/lld)
include(CheckLinkerFlag)
check_linker_flag(C "${OMBRINE_LLD_FLAGS}" OMBRINE_HAVE_LLD)
add_library(OmbrineAudiofile SHARED $<TARGET_OBJECTS:ombrine_objects>)
set_target_properties(OmbrineAudiofile PROPERTIES LINKER_LANGUAGE C NO_SONAME OFF
                      LINK_DEPENDS ${PROJECT_SOURCE_DIR}/frame/ombrine_audiofile.map)
target_include_directories(OmbrineAudiofile INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_link_options(OmbrineAudiofile PRIVATE
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/frame/ombrine_audiofile.map
    -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
target_link_libraries(OmbrineAudiofile PRIVATE m)
if(OMBRINE_HAVE_LLD)
    target_link_options(OmbrineAudiofile PRIVATE ${OMBRINE_LLD_FLAGS})
else()
    message(WARNING "lld not found: the version node will stand among the exported symbols")
endif()
if(NOT OMBRINE_SANITIZE)
    target_link_options(OmbrineAudiofile PRIVATE -Wl,-z,defs)
endif()
