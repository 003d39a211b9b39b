// The plan block: its size, the order of what lies in it and every entry, against values computed
// here from the rule: double angles, double functions, one rounding to float.
#include "tests/fft_reference.h"

namespace
{

struct SizeCase {
    std::vector<uint32_t> sizes;
    uint64_t complex_bytes, real_bytes;
};

const SizeCase Size_Cases[] = {{{0, 1, 2, 4, 7}, 32, 64},
                               {{8, 15}, 80, 80},
                               {{16, 31}, 176, 160},
                               {{32}, 368, 320},
                               {{64, 100}, 752, 640},
                               {{1000}, 6128, 5120},
                               {{1024}, 12272, 10240},
                               {{65536}, 786416, 655360},
                               {{0x80000000u}, 25769803760u, 21474836480u}};

TEST(Plan, SizesAreTheBytesOfHeadsAndTables)
{
    for (const SizeCase& c : Size_Cases) {
        for (const uint32_t n : c.sizes) {
            EXPECT_EQ(FFT_ComplexPlan_Size(n), c.complex_bytes) << n;
            EXPECT_EQ(FFT_RealPlan_Size(n), c.real_bytes) << n;
        }
    }
}

// ---- The whole block ----

constexpr double Whole_Turn = 6.283185307179586;

// Of sign * (cos x, sin x).
FftPair Entry(double x, float sign)
{
    return {sign * static_cast<float>(std::cos(x)),
            sign * static_cast<float>(std::sin(x + Whole_Turn))};
}

std::vector<FftPair> Expected_Real_Stages(uint32_t N)
{
    std::vector<FftPair> out;
    for (uint32_t v = 8; v <= N; v *= 2) {
        for (uint32_t k = 1; k <= v / 4; k++) {
            out.push_back(Entry(k * (Whole_Turn / v), -1.0f));
        }
    }
    return out;
}

std::vector<FftPair> Expected_Chain(uint32_t first, uint32_t n)
{
    std::vector<FftPair> out;
    for (uint32_t v = first; v <= n; v *= 4) {
        for (uint32_t j = 0; j < v / 4; j += 2) {
            for (const uint32_t m : {3 * j, 3 * (j + 1), j, j + 1, 2 * j, 2 * (j + 1)}) {
                out.push_back(Entry(m * (Whole_Turn / v), 1.0f));
            }
        }
    }
    return out;
}

void Expect_Entries(const FftPair* at, const std::vector<FftPair>& expected)
{
    for (size_t k = 0; k < expected.size(); k++) {
        ASSERT_EQ(memcmp(at + k, &expected[k], sizeof(FftPair)), 0)
            << "pair " << k << ": " << at[k].cosine << " " << at[k].sine;
    }
}

const uint8_t* Address(const void* at)
{
    return static_cast<const uint8_t*>(at);
}

void Expect_Complex_Plan(const FftComplexPlan* plan, uint32_t n)
{
    const std::vector<FftPair> even = Expected_Chain(16, n);
    const std::vector<FftPair> odd = Expected_Chain(8, n);
    EXPECT_EQ(plan->size, n);
    ASSERT_EQ(Address(plan->evenTables), Address(plan) + 32);
    ASSERT_EQ(Address(plan->oddTables), Address(plan) + 32 + 8 * even.size());
    EXPECT_EQ(FFT_ComplexPlan_Size(n), 32 + 8 * (even.size() + odd.size()));
    Expect_Entries(plan->evenTables, even);
    Expect_Entries(plan->oddTables, odd);
}

const uint32_t Plan_Cases[] = {2, 4, 7, 8, 15, 16, 31, 32, 64, 100, 512, 1000, 1024, 8192};

TEST(Plan, HoldsEveryEntryInOrder)
{
    for (const uint32_t N : Plan_Cases) {
        SCOPED_TRACE(N);
        Guarded block(FFT_RealPlan_Size(N) / sizeof(float), 8);
        FftRealPlan* plan = reinterpret_cast<FftRealPlan*>(block.data);
        FFT_RealPlan_Init(N, plan);
        const std::vector<FftPair> stages = Expected_Real_Stages(N);
        EXPECT_EQ(plan->size, N);
        ASSERT_EQ(Address(plan->stageTables), Address(plan) + 32);
        ASSERT_EQ(Address(plan->complexPlan), Address(plan) + 32 + 8 * stages.size());
        Expect_Entries(plan->stageTables, stages);
        Expect_Complex_Plan(plan->complexPlan, N / 2);
        EXPECT_TRUE(block.Guards_Whole());
        const Floats once = block.Values();
        FFT_RealPlan_Init(N, plan);
        EXPECT_EQ(First_Difference(block.Values(), once), -1) << "a second init changed bytes";
        EXPECT_TRUE(block.Guards_Whole());

        Guarded complex(FFT_ComplexPlan_Size(N) / sizeof(float), 8);
        FftComplexPlan* alone = reinterpret_cast<FftComplexPlan*>(complex.data);
        FFT_ComplexPlan_Init(N, alone);
        Expect_Complex_Plan(alone, N);
        EXPECT_TRUE(complex.Guards_Whole());
    }
}

TEST(Plan, TablesOfEightAreTheseNumbers)
{
    const RealPlan plan = Make_Real_Plan(16);
    Expect_Entries(plan->stageTables, {{-0.70710677f, -0.70710677f}, {-6.123234e-17f, -1.0f}});
    Expect_Entries(plan->complexPlan->oddTables, {{1.0f, -2.4492937e-16f},
                                                  {-0.70710677f, 0.70710677f},
                                                  {1.0f, -2.4492937e-16f},
                                                  {0.70710677f, 0.70710677f},
                                                  {1.0f, -2.4492937e-16f},
                                                  {6.123234e-17f, 1.0f}});
}

} // namespace
