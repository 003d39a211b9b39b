// The load-time floating-point setting: subnormal inputs and results count as zero, rounding is to
// nearest, no trap is enabled. It is written whole, once, on the thread that loads the library, so
// that all arithmetic gives the same bits on every processor. Threads started later from that
// thread inherit it.
#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

// Named, so that a program that links the static archive can ask for it.
extern "C" __attribute__((constructor)) void OBJ_Float_Mode()
{
#if defined(__aarch64__)
    const uint64_t flush_to_zero = 0x01000000;
    __asm__ volatile("msr fpcr, %0" : : "r"(flush_to_zero));
#elif defined(__x86_64__)
    // Flush to zero, denormals are zero, all six exceptions masked.
    _mm_setcsr(0x9FC0);
#else
#error "no flush-to-zero setting for this processor"
#endif
}
