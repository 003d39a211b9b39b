// The vector kernels' and the vector operations' lines of the digest. Members that call the
// platform's mathematics functions have no line.
#include "tests/digest.h"

#include "vector/kern.h"
#include "vector/vec.h"

#include <bit>
#include <vector>

static ObjectHeader Object = OBJ_Template;

static const uint32_t Lengths[] = {0, 1, 3, 4, 5, 8, 13, 16, 31, 32, 37, 64, 100, 1003};

// Three arrays of n floats, each on a 16-byte boundary or, by bits of off, 4 bytes behind one.
struct Arrays {
    std::vector<float> storage;
    float *a, *b, *c;
    uint32_t n;

    Arrays(Random* random, uint32_t n_, unsigned off, bool any_bits) : n(n_)
    {
        const size_t stride = (n + 8) / 4 * 4;
        storage.resize(3 * stride + 4);
        for (float& value : storage) {
            const bool any = any_bits || Random_Word(random) % 64 == 0;
            value = any ? Random_Bits(random) : Random_Float(random, 4.0f);
        }
        const uintptr_t start = reinterpret_cast<uintptr_t>(storage.data());
        float* base = storage.data() + (16 - start % 16) % 16 / sizeof(float);
        a = base + (off & 1);
        b = base + stride + (off >> 1 & 1);
        c = base + 2 * stride + (off >> 2 & 1);
    }
};

// One result of run for every length from least, alignment and kind of content. run leaves it in c.
template <class Run> static void Add_Runs(Digest* digest, Run run, uint32_t least = 0)
{
    Random random = {1};
    for (const uint32_t n : Lengths) {
        for (unsigned off = 0; off < 8; off++) {
            for (const bool any_bits : {false, true}) {
                Arrays x(&random, n, off, any_bits);
                if (n >= least) {
                    run(x);
                }
                Digest_Floats(digest, x.c, n);
            }
        }
    }
}

static uint64_t Two_Arrays()
{
    Digest digest;
    using Kernel = void(ObjectHeader*, uint32_t, const float*, const float*, float*);
    for (Kernel* kernel : {KERN_Add, KERN_Sub, KERN_Mul, KERN_Max, KERN_Min, KERN_MulAcc}) {
        Add_Runs(&digest, [&](Arrays& x) { kernel(&Object, x.n, x.a, x.b, x.c); });
    }
    using InPlace = void(ObjectHeader*, uint32_t, const float*, float*);
    for (InPlace* kernel : {KERN_Add_InPlace, KERN_Sub_InPlace, KERN_Mul_InPlace}) {
        Add_Runs(&digest, [&](Arrays& x) { kernel(&Object, x.n, x.a, x.c); });
    }
    Add_Runs(&digest, [&](Arrays& x) { KERN_Scale_Div(&Object, x.n, x.a, x.b, x.c, 0.7f); });
    return digest.hash;
}

static uint64_t One_Array()
{
    Digest digest;
    using Kernel = void(ObjectHeader*, uint32_t, const float*, float*, float);
    for (Kernel* kernel :
         {KERN_Add_Scalar, KERN_Scale, KERN_Max_Scalar, KERN_Min_Scalar, KERN_Scale_Acc}) {
        for (const float s : {0.7f, -0.0f}) {
            Add_Runs(&digest, [&](Arrays& x) { kernel(&Object, x.n, x.a, x.c, s); });
        }
    }
    Add_Runs(&digest, [](Arrays& x) { KERN_Copy(&Object, x.n, x.a, x.c); });
    Add_Runs(&digest, [](Arrays& x) { KERN_Zero(&Object, x.n, x.c); });
    Add_Runs(&digest, [](Arrays& x) { KERN_Fill(&Object, x.n, x.c, 0.7f); });
    Add_Runs(&digest, [](Arrays& x) { KERN_Neg(&Object, x.n, x.a, x.c); });
    Add_Runs(&digest, [](Arrays& x) { KERN_Scale_InPlace(&Object, x.n, x.c, 0.7f); });
    Add_Runs(&digest, [](Arrays& x) { KERN_Clamp(&Object, x.n, x.a, x.c, 1.5f, nullptr); });
    Add_Runs(&digest, [](Arrays& x) { KERN_Mix(&Object, x.n, x.a, x.c, 0.7f, 0.3f); });
    Add_Runs(&digest, [](Arrays& x) { KERN_Sqrt(x.n, x.a, x.c); });
    return digest.hash;
}

// All signs, exponents and bits that count, NaNs by their bits too: on 64-bit Arm this is the
// processor's instruction.
static uint64_t Estimates()
{
    Digest digest;
    std::vector<float> operands;
    for (uint32_t top = 0; top < 1 << 17; top++) {
        for (const uint32_t rest : {0x0000u, 0x2AAAu, 0x7FFFu}) {
            operands.push_back(std::bit_cast<float>(top << 15 | rest));
        }
    }
    std::vector<float> estimates(operands.size());
    KERN_Recip_Estimate(&Object, static_cast<uint32_t>(operands.size()), operands.data(),
                        estimates.data());
    Digest_Bytes(&digest, estimates.data(), estimates.size() * sizeof(float));
    return digest.hash;
}

static uint64_t Reductions()
{
    Digest digest;
    using One = void(ObjectHeader*, uint32_t, const float*, float*);
    for (One* kernel : {KERN_Sum, KERN_SumSquares, KERN_Min_Value, KERN_Max_Value}) {
        Add_Runs(
            &digest, [&](Arrays& x) { kernel(&Object, x.n, x.a, x.c); }, 1);
    }
    Add_Runs(
        &digest, [](Arrays& x) { KERN_Dot(&Object, x.n, x.a, x.b, x.c); }, 1);
    const auto range = [](Arrays& x) { KERN_SumSquares_Range(&Object, x.n - 5, x.a, 5, x.c); };
    Add_Runs(&digest, range, 6);
    return digest.hash;
}

static uint64_t Spectra()
{
    Digest digest;
    Random random = {2};
    for (const uint32_t n : {8u, 16u, 32u, 64u, 256u}) {
        for (const bool any_bits : {false, true}) {
            const auto add = [&](auto run) {
                Arrays x(&random, n, 0, any_bits);
                run(x.a, x.b, x.c);
                Digest_Floats(&digest, x.c, n);
            };
            using Product = void(uint32_t, const float*, const float*, float*);
            for (Product* kernel : {KERN_FV_Mul, KERN_FV_Mul_Conj, KERN_FV_Mul_HFV, KERN_FV_MulAcc,
                                    KERN_FV_MulAcc_Conj, KERN_Complex_MulAcc, KERN_Add_Block}) {
                add([&](float* a, float* b, float* c) { kernel(n, a, b, c); });
            }
            const float s = -0.7f;
            add([&](float* a, float* b, float* c) { KERN_FV_Scale_Div_HFV(n, a, b, c, &s); });
            add([&](float* a, float* b, float* c) { KERN_FV_Conj_Scale_Div_HFV(n, a, b, c, &s); });
            add([&](float* a, float*, float* c) { KERN_FV_Power(n, a, c); });
            add([&](float* a, float*, float* c) { KERN_FV_PowerAcc(n, a, c); });
            add([&](float* a, float*, float* c) { c[0] = KERN_FV_Energy(n, a); });
            add([&](float*, float*, float* c) { KERN_FV_RaisedSine(n, c); });
            add([&](float*, float*, float* c) { KERN_HFV_Smooth(n, c); });
        }
    }
    return digest.hash;
}

static uint64_t Vectors()
{
    Digest digest;
    using Map = void(ObjectHeader*, uint64_t, const float*, float*);
    for (Map* member : {VEC_Copy, VEC_Square, VEC_Sqrt, VEC_InvSqrt, VEC_Abs, VEC_Reverse}) {
        Add_Runs(&digest, [&](Arrays& x) { member(&Object, x.n, x.a, x.c); });
    }
    Add_Runs(&digest, [](Arrays& x) { VEC_Div(&Object, x.n, x.a, x.b, x.c); });
    Add_Runs(&digest, [](Arrays& x) { VEC_Mul_Reversed(&Object, x.n, x.a, x.b, x.c); });
    Add_Runs(&digest, [](Arrays& x) { VEC_Scale_Add(&Object, x.n, x.a, x.c, 0.7f); });
    Add_Runs(&digest, [](Arrays& x) { VEC_Smooth_Asym(&Object, x.n, x.a, x.c, 0.7f, 0.3f); });
    Add_Runs(&digest, [](Arrays& x) { VEC_Smooth_Limited(&Object, x.n, x.a, x.c, 0.7f, 0.3f); });
    Add_Runs(&digest, [](Arrays& x) {
        std::vector<double> wide(x.n);
        VEC_Convert_FD(&Object, x.n, x.a, wide.data());
        VEC_Scale_D(&Object, x.n, wide.data(), 1.0 / 3.0);
        VEC_Convert_DF(&Object, x.n, wide.data(), x.c);
    });
    Add_Runs(&digest, [](Arrays& x) { VEC_Rotate(&Object, x.n, x.n == 0 ? 0 : 5, x.c); });
    return digest.hash;
}

static uint64_t Vector_Reductions()
{
    Digest digest;
    const auto run = [&](Arrays& x) {
        uint64_t index[2];
        VEC_Sum_Range(&Object, x.n, x.a, 0, x.c);
        VEC_SumAbs(&Object, x.n, x.a, x.c + 1);
        VEC_Dot_Range(&Object, x.n, x.a, x.b, 0, x.c + 2);
        VEC_Mean(&Object, x.n, x.a, x.c + 3);
        VEC_MeanSquare(&Object, x.n, x.a, x.c + 4);
        VEC_Correlation(&Object, x.n, x.a, x.b, x.c + 5);
        VEC_Peak(&Object, x.n, x.a, x.c + 6);
        Digest_Floats(&digest, x.c, 7);
        VEC_MinMax(&Object, x.n, x.a, x.c, x.c + 1);
        VEC_Max_Index(&Object, x.n, x.a, x.c + 2, &index[0]);
        VEC_Min_Index(&Object, x.n, x.a, x.c + 3, &index[1]);
        Digest_Bytes(&digest, index, sizeof index);
        std::vector<double> wide(x.n);
        VEC_Convert_FD(&Object, x.n, x.b, wide.data());
        double energy;
        VEC_SumSquares_D(&Object, x.n, wide.data(), &energy);
        x.c[4] = static_cast<float>(energy);
    };
    Add_Runs(&digest, run, 8);
    return digest.hash;
}

static const DigestLine Lines[] = {
    {"vector two arrays", Two_Arrays},
    {"vector one array", One_Array},
    {"vector reciprocal estimates", Estimates},
    {"vector reductions", Reductions},
    {"vector spectra", Spectra},
    {"vector operations", Vectors},
    {"vector operations to one number", Vector_Reductions},
};
const DigestTable Digest_Vector = {Lines, std::size(Lines)};
