// The packed spectra's and the spectral services' lines of the digest. What calls the platform's
// mathematics functions (FV_Exp, FV_Delay, decibels) has no line.
#include "tests/digest.h"

#include "spectrum/cmat.h"
#include "spectrum/fv.h"

#include <algorithm>
#include <vector>

static ObjectHeader Object = OBJ_Template;

static const uint32_t Lengths[] = {2, 4, 6, 8, 10, 14, 16, 18, 30, 32, 46, 64, 130, 1000, 1024};

// Four arrays of N + 2 floats, the later ones at any distance from a boundary.
struct Spectra {
    std::vector<float> storage;
    float *a, *b, *c, *d;

    Spectra(Random* random, uint32_t N, bool any_bits) : storage(4 * (uint64_t{N} + 5))
    {
        for (float& value : storage) {
            const bool any = any_bits || Random_Word(random) % 64 == 0;
            value = any ? Random_Bits(random) : Random_Float(random, 4.0f);
        }
        a = storage.data();
        b = a + N + 5;
        c = b + N + 5;
        d = c + N + 5;
    }
};

// run(N, x) for every length and kind of content; all that it leaves in d is digested.
template <class Run> static void Add_Runs(Digest* digest, Run run)
{
    Random random = {1};
    for (const uint32_t N : Lengths) {
        for (const bool any_bits : {false, true}) {
            Spectra x(&random, N, any_bits);
            run(N, x);
            Digest_Floats(digest, x.d, uint64_t{N} + 2);
        }
    }
}

static uint64_t Arithmetic()
{
    Digest digest;
    using Three = void(ObjectHeader*, uint32_t, const float*, const float*, float*);
    for (Three* operation : {FV_Sub, FV_MulAcc_HFV, FV_Div, FV_Div_HFV, FV_Cross_Real,
                             FV_CrossAcc_Real, HFV_MulAcc, HFV_Div}) {
        Add_Runs(&digest, [&](uint32_t N, Spectra& x) { operation(&Object, N, x.a, x.b, x.d); });
    }
    using Two = void(ObjectHeader*, uint32_t, const float*, float*);
    for (Two* operation : {FV_Mul, FV_Mul_Conj, FV_Mul_HFV, FV_Recip, FV_Neg, FV_Abs, FV_Abs_L1,
                           FV_Abs_Fast, FV_From_HFV, FV_Real_To_HFV, FV_To_Pairs, FV_From_Pairs,
                           HFV_Recip_Estimate, HFV_InvSqrt}) {
        Add_Runs(&digest, [&](uint32_t N, Spectra& x) { operation(&Object, N, x.a, x.d); });
    }
    Add_Runs(&digest, [](uint32_t N, Spectra& x) {
        FV_Div_HFV_Floor(&Object, N, x.a, x.b, x.c, x.d);
        FV_Rotate(&Object, N, x.d, x.a[2], x.a[3]);
        FV_MulAcc_Range(N, x.a, x.b, N / 5, N / 2 + 1, x.d);
    });
    return digest.hash;
}

static uint64_t Numbers()
{
    Digest digest;
    Add_Runs(&digest, [](uint32_t N, Spectra& x) {
        FV_Max_Power(&Object, N, x.a, x.d);
        FV_Inner(&Object, N, x.a, x.b, x.d + 1);
        FV_Energy_Range(&Object, N, x.a, N / 7, N / 2 + 1, x.d + 2);
    });
    return digest.hash;
}

static uint64_t Between_Lengths()
{
    Digest digest;
    Add_Runs(&digest, [](uint32_t N, Spectra& x) {
        HFV_Reduce(&Object, N, N / 4 * 2 + 2, x.a, x.b);
        HFV_Expand(&Object, N / 4 * 2 + 2, N, x.b, x.d);
    });
    return digest.hash;
}

static uint64_t Complex_Inverses()
{
    Digest digest;
    Random random = {1};
    for (int32_t n = 1; n <= 21; n++) {
        std::vector<float> A(static_cast<size_t>(4 * n * n));
        std::generate(A.begin(), A.end(), [&] { return Random_Float(&random, 4.0f); });
        CMAT_Invert(n, A.data());
        Digest_Floats(&digest, A.data(), A.size());
    }
    return digest.hash;
}

static const DigestLine Lines[] = {
    {"spectra arithmetic", Arithmetic},
    {"spectra to one number", Numbers},
    {"spectra between lengths", Between_Lengths},
    {"complex inverses", Complex_Inverses},
};
const DigestTable Digest_Spectrum = {Lines, std::size(Lines)};
