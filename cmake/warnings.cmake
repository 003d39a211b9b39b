# Flags of every target. Products and sums are fused only where the code says std::fma, so that all
# processors and compilers give the same bits; x86-64 needs the fused instruction for it.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
                    -ffp-contract=off)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    add_compile_options(-march=x86-64-v3)
endif()
if(OMBRINE_SANITIZE)
    add_compile_options(-fsanitize=${OMBRINE_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${OMBRINE_SANITIZE})
endif()
