// Accumulation over ranges of bins, the store of filter sections and the complex inversion.
#include "spectrum/cmat.h"
#include "spectrum/filter_sections.h"
#include "spectrum/fv.h"

#include "tests/vector_fixture.h"

#include <complex>

using Complex = std::complex<float>;
using Floats = std::vector<float>;

static Complex Product(Complex v, Complex x)
{
    return {std::fma(-v.imag(), x.imag(), v.real() * x.real()),
            std::fma(v.imag(), x.real(), v.real() * x.imag())};
}

// ---- FV_MulAcc_Range ----

TEST(MulAccRange, TouchesItsBinsAndNoOther)
{
    Random random = {8};
    for (const uint32_t N : {2u, 4u, 8u, 64u, 66u, 100u}) {
        const uint32_t top = N / 2;
        const Floats a = Make_Floats(&random, N, Ordinary);
        const Floats b = Make_Floats(&random, N, Ordinary);
        const Floats old = Make_Floats(&random, N, Ordinary);
        for (uint32_t k0 = 0; k0 <= top; k0++) {
            for (uint32_t k1 = std::max(k0, 1u); k1 <= top + 1; k1++) {
                SCOPED_TRACE(testing::Message() << "N " << N << ", bins " << k0 << " to " << k1);
                Floats expected = old;
                for (uint32_t k = k0; k < k1; k++) {
                    const size_t slot = k == 0 ? 0 : k == top ? 1 : 2 * k;
                    if (slot < 2) {
                        expected[slot] = std::fma(a[slot], b[slot], old[slot]);
                        continue;
                    }
                    const Complex sum = Product({a[slot], a[slot + 1]}, {b[slot], b[slot + 1]});
                    expected[slot] = old[slot] + sum.real();
                    expected[slot + 1] = old[slot + 1] + sum.imag();
                }
                Guarded acc(N, k0 % 2 * 4);
                acc.Fill(old);
                FV_MulAcc_Range(N, a.data(), b.data(), k0, k1, acc.data);
                ASSERT_TRUE(Same_Floats(expected.data(), acc.data, N));
                ASSERT_TRUE(acc.Guards_Whole());
            }
        }
    }
}

// ---- FilterSections ----

TEST(FilterSections, SizeCountsHeadAndBothStores)
{
    const struct {
        const char* name;
        uint32_t S, F, G;
        uint64_t bytes;
    } rows[] = {
        {"head alone", 0, 0, 0, 24},
        {"head alone, any sets", 0, 0, 7, 24},
        {"one second-order section", 1, 0, 1, 24 + 16 + 12},
        {"one first-order section", 0, 1, 1, 24 + 8 + 8},
        {"no set of state", 3, 2, 0, 24 + 64},
        {"sets multiply the state alone", 2, 1, 5, 24 + 40 + 160},
        {"beyond 32 bits", 0x40000000, 0, 2, 24 + 0x400000000 + 0x600000000},
        {"all counts large", 0xFFFFFFFF, 0xFFFFFFFF, 1, 24 + 44 * uint64_t{0xFFFFFFFF}},
        {"beyond 64 bits", 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, UINT64_MAX},
    };
    for (const auto& c : rows) {
        EXPECT_EQ(FilterSections_Size(c.S, c.F, c.G), c.bytes) << c.name;
    }
}

TEST(FilterSections, InitClearsAndLoadKeepsTheState)
{
    const float rows[][4] = {{1, 2, 3, 4}, {7, 8, -9, 10}, {5, 6}};
    const float* const second[] = {rows[0], rows[1]};
    const float* const first[] = {rows[2]};
    const struct {
        const char* name;
        uint32_t S, F, G;
        Floats coefficients;
    } cases[] = {{"both orders", 1, 1, 3, {1, 2, -3, -4, 5, -6}},
                 {"second order", 2, 0, 1, {1, 2, -3, -4, 7, 8, 9, -10}},
                 {"first order", 0, 1, 2, {5, -6}},
                 {"nothing", 0, 0, 2, {}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const uint64_t bytes = FilterSections_Size(c.S, c.F, c.G);
        std::vector<uint64_t> memory(bytes / 8 + 3, 0xABABABABABABABAB);
        FilterSections* record = reinterpret_cast<FilterSections*>(memory.data());
        FilterSections_Init(c.S, c.F, c.G, record);
        EXPECT_EQ(record->secondOrderCount, c.S);
        EXPECT_EQ(record->firstOrderCount, c.F);
        EXPECT_EQ(reinterpret_cast<uint64_t*>(record->coefficients), &memory[3]);
        EXPECT_EQ(record->state, record->coefficients + c.coefficients.size());
        const size_t states = (3 * c.S + 2 * c.F) * c.G;
        for (size_t i = 0; i < c.coefficients.size() + states; i++) {
            EXPECT_EQ(Bits(record->coefficients[i]), 0u) << "float " << i;
        }
        for (int turn = 0; turn < 2; turn++) {
            std::fill(record->state, record->state + states, 0.5f);
            FilterSections_Load(c.S == 0 ? nullptr : second, c.F == 0 ? nullptr : first, record);
            EXPECT_TRUE(
                Same_Floats(c.coefficients.data(), record->coefficients, c.coefficients.size()));
            for (size_t i = 0; i < states; i++) {
                EXPECT_EQ(record->state[i], 0.5f) << "state " << i;
            }
        }
        const uint8_t* behind = reinterpret_cast<const uint8_t*>(memory.data()) + bytes;
        EXPECT_EQ(behind[0], 0xAB);
        EXPECT_EQ(behind[7], 0xAB);
    }
}

// ---- CMAT_Invert ----

// Element by element, as the elimination is told.
static void Reference_Invert(size_t n, Complex* A)
{
    const auto at = [=](size_t row, size_t column) -> Complex& { return A[row * 2 * n + column]; };
    for (size_t i = 0; i < n * n; i++) {
        at(i / n, n + i % n) = i / n == i % n ? 1.0f : 0.0f;
    }
    for (size_t k = 0; k < n; k++) {
        const Complex p = at(k, k);
        const float t = 1.0f / std::fma(p.imag(), p.imag(), p.real() * p.real());
        const Complex v = {p.real() * t, -(p.imag() * t)};
        for (size_t j = k + 1; j <= k + n; j++) {
            at(k, j) = Product(v, at(k, j));
        }
        for (size_t i = 1; i < n; i++) {
            const size_t r = (k + i) % n;
            for (size_t j = k + 1; j <= k + n; j++) {
                at(r, j) -= Product(at(r, k), at(k, j));
            }
        }
    }
}

// Both on n rows of 2n points with anything in the right half; result in A.
static void Check_Invert(size_t n, std::vector<Complex>* A, unsigned off)
{
    Guarded memory(4 * n * n, off);
    const float* const floats = reinterpret_cast<const float*>(A->data());
    memory.Fill({floats, floats + 4 * n * n});
    Reference_Invert(n, A->data());
    CMAT_Invert(static_cast<int32_t>(n), memory.data);
    EXPECT_TRUE(Same_Floats(floats, memory.data, 4 * n * n)) << "n " << n;
    EXPECT_TRUE(memory.Guards_Whole()) << "n " << n;
}

TEST(ComplexInverse, IsTheSameElementByElement)
{
    Random random = {9};
    for (size_t n = 1; n <= 33; n++) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            const Floats floats = Make_Floats(&random, 4 * n * n, content);
            std::vector<Complex> A(2 * n * n);
            memcpy(static_cast<void*>(A.data()), floats.data(), floats.size() * sizeof(float));
            Check_Invert(n, &A, static_cast<unsigned>(n % 3 * 4));
        }
    }
}

TEST(ComplexInverse, TimesItsInputIsTheIdentity)
{
    Random random = {10};
    for (size_t n = 1; n <= 33; n++) {
        std::vector<Complex> A(2 * n * n);
        for (size_t i = 0; i < 2 * n * n; i++) {
            // A strong diagonal, so that no pivot needs an exchange.
            const float diagonal = i % (2 * n + 1) == 0 ? static_cast<float>(2 * n) : 0.0f;
            if (i % (2 * n) < n) {
                A[i] = {Random_Float(&random, 1.0f), Random_Float(&random, 1.0f) + diagonal};
            }
        }
        const std::vector<Complex> old = A;
        CMAT_Invert(static_cast<int32_t>(n), reinterpret_cast<float*>(A.data()));
        for (size_t i = 0; i < n; i++) {
            for (size_t j = 0; j < n; j++) {
                std::complex<double> sum = i == j ? -1.0 : 0.0;
                for (size_t k = 0; k < n; k++) {
                    sum += std::complex<double>(old[i * 2 * n + k]) *
                           std::complex<double>(A[k * 2 * n + n + j]);
                }
                EXPECT_LT(std::abs(sum), 2e-6) << "n " << n << ", " << i << ", " << j;
            }
        }
    }
}

TEST(ComplexInverse, KnownMatrices)
{
    float one[4] = {0, 1, NAN, INFINITY};
    CMAT_Invert(1, one);
    EXPECT_EQ(one[2], 0.0f);
    EXPECT_EQ(one[3], -1.0f);

    // ((2, i), (-i, 1)) has the inverse ((1, -i), (i, 2)).
    float two[16] = {2, 0, 0, 1, 9, 9, 9, 9, 0, -1, 1, 0, 9, 9, 9, 9};
    CMAT_Invert(2, two);
    EXPECT_TRUE(std::equal(two + 4, two + 8, Floats{1, 0, 0, -1}.begin()));
    EXPECT_TRUE(std::equal(two + 12, two + 16, Floats{0, 1, 2, 0}.begin()));

    // Its own inverse, but the first pivot is zero and rows are not exchanged.
    float exchanged[16] = {0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    CMAT_Invert(2, exchanged);
    for (const size_t i : {4, 5, 6, 7, 12, 13, 14, 15}) {
        EXPECT_FALSE(std::isfinite(exchanged[i])) << "float " << i;
    }
}
