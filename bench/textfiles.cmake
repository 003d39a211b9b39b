# Text files against the bare loops and numpy (python3-numpy, at run time).
add_executable(bench_textfiles textfiles.cpp)
target_link_libraries(bench_textfiles PRIVATE ombrine_runtime)
