// The plan block: its size, the order of what lies in it and every entry, against values computed
// here from the rule: double angles, double functions, one rounding to float.
#include "tests/fft_reference.h"

#include <gtest/gtest.h>

namespace
{

struct SizeCase {
    uint32_t n;
    uint64_t complex_bytes;
    uint64_t real_bytes;
};

const SizeCase Size_Cases[] = {{0, 32, 64},
                               {1, 32, 64},
                               {2, 32, 64},
                               {4, 32, 64},
                               {7, 32, 64},
                               {8, 80, 80},
                               {15, 80, 80},
                               {16, 176, 160},
                               {31, 176, 160},
                               {32, 368, 320},
                               {64, 752, 640},
                               {100, 752, 640},
                               {1000, 6128, 5120},
                               {1024, 12272, 10240},
                               {65536, 786416, 655360},
                               {0x80000000u, 25769803760u, 21474836480u}};

TEST(Plan, SizesAreTheBytesOfHeadsAndTables)
{
    for (const SizeCase& c : Size_Cases) {
        SCOPED_TRACE(c.n);
        EXPECT_EQ(FFT_ComplexPlan_Size(c.n), c.complex_bytes);
        EXPECT_EQ(FFT_RealPlan_Size(c.n), c.real_bytes);
    }
}

// ---- The whole block ----

constexpr double Whole_Turn = 6.283185307179586;

struct Entry {
    float first;
    float second;
};

std::vector<Entry> Expected_Real_Stages(uint32_t N)
{
    std::vector<Entry> out;
    for (uint32_t v = 8; v <= N; v *= 2) {
        for (uint32_t k = 1; k <= v / 4; k++) {
            const double x = k * (Whole_Turn / v);
            out.push_back(
                {-static_cast<float>(std::cos(x)), -static_cast<float>(std::sin(x + Whole_Turn))});
        }
    }
    return out;
}

std::vector<Entry> Expected_Chain(uint32_t first, uint32_t n)
{
    std::vector<Entry> out;
    for (uint32_t v = first; v <= n; v *= 4) {
        for (uint32_t j = 0; j < v / 4; j += 2) {
            for (const uint32_t m : {3 * j, 3 * (j + 1), j, j + 1, 2 * j, 2 * (j + 1)}) {
                const double x = m * (Whole_Turn / v);
                out.push_back({static_cast<float>(std::cos(x)),
                               static_cast<float>(std::sin(x + Whole_Turn))});
            }
        }
    }
    return out;
}

void Expect_Entries(const FftPair* at, const std::vector<Entry>& expected)
{
    for (size_t k = 0; k < expected.size(); k++) {
        ASSERT_EQ(memcmp(at + k, &expected[k], sizeof(Entry)), 0)
            << "pair " << k << ": " << at[k].cosine << " " << at[k].sine;
    }
}

const uint8_t* Address(const void* at)
{
    return static_cast<const uint8_t*>(at);
}

void Expect_Complex_Plan(const FftComplexPlan* plan, uint32_t n)
{
    const std::vector<Entry> even = Expected_Chain(16, n);
    const std::vector<Entry> odd = Expected_Chain(8, n);
    EXPECT_EQ(plan->size, n);
    ASSERT_EQ(Address(plan->evenTables), Address(plan) + 32);
    ASSERT_EQ(Address(plan->oddTables), Address(plan) + 32 + 8 * even.size());
    EXPECT_EQ(FFT_ComplexPlan_Size(n), 32 + 8 * (even.size() + odd.size()));
    Expect_Entries(plan->evenTables, even);
    Expect_Entries(plan->oddTables, odd);
}

// A block of bytes with a mark before and behind it, filled with a value that no init relies on.
struct Block {
    std::vector<uint8_t> bytes;
    size_t count;

    explicit Block(uint64_t size) : bytes(size + 128, 0xA5), count(size)
    {
    }
    uint8_t* data()
    {
        return bytes.data() + 64;
    }
    bool zones_untouched() const
    {
        for (size_t k = 0; k < 64; k++) {
            if (bytes[k] != 0xA5 || bytes[64 + count + k] != 0xA5) {
                return false;
            }
        }
        return true;
    }
};

const uint32_t Plan_Cases[] = {2, 4, 7, 8, 15, 16, 31, 32, 64, 100, 512, 1000, 1024, 8192};

TEST(Plan, RealPlanHoldsEveryEntryInOrder)
{
    for (const uint32_t N : Plan_Cases) {
        SCOPED_TRACE(N);
        Block block(FFT_RealPlan_Size(N));
        FftRealPlan* plan = reinterpret_cast<FftRealPlan*>(block.data());
        FFT_RealPlan_Init(N, plan);
        const std::vector<Entry> stages = Expected_Real_Stages(N);
        EXPECT_EQ(plan->size, N);
        ASSERT_EQ(Address(plan->stageTables), block.data() + 32);
        ASSERT_EQ(Address(plan->complexPlan), block.data() + 32 + 8 * stages.size());
        Expect_Entries(plan->stageTables, stages);
        Expect_Complex_Plan(plan->complexPlan, N / 2);
        EXPECT_TRUE(block.zones_untouched());
        const std::vector<uint8_t> once = block.bytes;
        FFT_RealPlan_Init(N, plan);
        EXPECT_EQ(block.bytes, once) << "a second init changed bytes";
    }
}

TEST(Plan, ComplexPlanHoldsEveryEntryInOrder)
{
    for (const uint32_t n : Plan_Cases) {
        SCOPED_TRACE(n);
        Block block(FFT_ComplexPlan_Size(n));
        FftComplexPlan* plan = reinterpret_cast<FftComplexPlan*>(block.data());
        FFT_ComplexPlan_Init(n, plan);
        Expect_Complex_Plan(plan, n);
        EXPECT_TRUE(block.zones_untouched());
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
