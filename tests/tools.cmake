# Tests of what a user gets: the built tool, the built shared object, the public header by itself
# and the README's example. None of them links the archive, so they leave the common loop.
list(FILTER sources EXCLUDE REGEX "/(tool|tool_convert|tool_spectrum|shared_object)_test\\.cpp$")

# The header alone, in both languages, as strictly as any caller may compile it.
set(strict -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I${PROJECT_SOURCE_DIR}
           ${PROJECT_SOURCE_DIR}/frame/ombrine_audiofile.h)
add_test(NAME public_header_c99 COMMAND ${CMAKE_C_COMPILER} -x c -std=c99 ${strict})
add_test(NAME public_header_cxx20 COMMAND ${CMAKE_CXX_COMPILER} -x c++ -std=c++20 ${strict})

if(OMBRINE_SANITIZE)
    set(sanitized 1)
else()
    set(sanitized 0)
endif()

add_executable(shared_object_test shared_object_test.cpp)
target_link_libraries(shared_object_test PRIVATE gmock gtest_main ${CMAKE_DL_LIBS})
target_compile_definitions(shared_object_test PRIVATE
    OMBRINE_LIBRARY="$<TARGET_FILE:OmbrineAudiofile>"
    OMBRINE_SANITIZED=${sanitized})
add_dependencies(shared_object_test OmbrineAudiofile)
add_test(NAME shared_object_test COMMAND shared_object_test)

if(OMBRINE_TOOLS)
    add_executable(example ${PROJECT_SOURCE_DIR}/docs/example.c)
    set_target_properties(example PROPERTIES C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
    target_compile_options(example PRIVATE -Wall -Wextra -Wpedantic -Werror)
    target_link_libraries(example PRIVATE OmbrineAudiofile)
    if(OMBRINE_SANITIZE) # the library's checks need the C++ part of the sanitizers' run-time library
        set_target_properties(example PROPERTIES LINKER_LANGUAGE CXX)
    endif()

    # What the tests start needs the emulator as much as the tests do.
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    add_executable(tool_test tool_test.cpp tool_convert_test.cpp tool_fixture.cpp)
    target_include_directories(tool_test PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(tool_test PRIVATE gtest_main)
    target_compile_definitions(tool_test PRIVATE
        OMBRINE_TOOL="$<TARGET_FILE:ombrine>"
        OMBRINE_EXAMPLE="$<TARGET_FILE:example>"
        OMBRINE_EXAMPLE_SOURCE="${PROJECT_SOURCE_DIR}/docs/example.c"
        OMBRINE_README="${PROJECT_SOURCE_DIR}/README.md"
        OMBRINE_EMULATOR="${emulator}"
        OMBRINE_SANITIZED=${sanitized})
    if(OMBRINE_SPECTRUM)
        target_sources(tool_test PRIVATE tool_spectrum_test.cpp)
        target_include_directories(tool_test SYSTEM PRIVATE ${OMBRINE_PNG_INCLUDE})
        target_link_libraries(tool_test PRIVATE ${OMBRINE_PNG_LIBRARY})
    endif()
    add_dependencies(tool_test ombrine example)
    add_test(NAME tool_test COMMAND tool_test)
endif()
