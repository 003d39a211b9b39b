// The transforms against the one-point-at-a-time definition, bit for bit.
#include "tests/fft_reference.h"

#include <gtest/gtest.h>

namespace
{

struct Form {
    const char* name;
    void (*complex[2])(const FftComplexPlan*, uint32_t, const float*, float*); // forward, inverse
    void (*real[2])(const FftRealPlan*, uint32_t, const float*, float*);
};

const Form Forms[] = {
    {"library", {FFT_Complex_Forward, FFT_Complex_Inverse}, {FFT_Real_Forward, FFT_Real_Inverse}}};

template <class Plan, class Transform> void Expect_Bits(const Plan* plan, Transform transform,
                                                        uint32_t n, const Floats& in,
                                                        const Floats& expected)
{
    Guarded from(in);
    Guarded to(Floats(in.size(), 3.0f));
    transform(plan, n, from.data(), to.data());
    EXPECT_EQ(First_Difference(to.content(), expected), -1) << "out of place";
    EXPECT_EQ(First_Difference(from.content(), in), -1) << "in changed";
    EXPECT_TRUE(from.zones_untouched() && to.zones_untouched());
    transform(plan, n, from.data(), from.data());
    EXPECT_EQ(First_Difference(from.content(), expected), -1) << "in place";
    EXPECT_TRUE(from.zones_untouched());
}

TEST(Transform, GivesTheBitsOfTheDefinition)
{
    constexpr uint32_t Largest = 65536;
    const RealPlan real = Make_Real_Plan(2 * Largest);
    for (const Form& form : Forms) {
        for (uint32_t n = 4; n <= Largest; n *= 2) {
            for (const bool inverse : {false, true}) {
                SCOPED_TRACE(std::string(form.name) + " n " + std::to_string(n) +
                             (inverse ? " inverse" : " forward"));
                const Floats in = Random_Floats(2 * size_t{n}, n + inverse);
                Expect_Bits(real->complexPlan, form.complex[inverse], n, in,
                            Reference_Complex(real->complexPlan, n, in, inverse));
                Expect_Bits(real.get(), form.real[inverse], 2 * n, in,
                            Reference_Real(real.get(), 2 * n, in, inverse));
            }
        }
    }
}

} // namespace
