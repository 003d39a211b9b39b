// Packed spectra against plain loops and, where it has the operation, VOLK; the complex inversion
// against Eigen's inverse with partial pivoting. Rows come as name_Ours, name_Plain, name_Peer;
// --benchmark_enable_random_interleaving=true and several repetitions put what else the machine
// does on all sides.
#include "bench/spectrum_plain.h"
#include "spectrum/cmat.h"
#include "spectrum/fv.h"

#include <Eigen/Dense>
#include <benchmark/benchmark.h>
#include <volk/volk.h>

#include <complex>
#include <random>
#include <vector>

static ObjectHeader Object = OBJ_Template;

// Values of a magnitude near 1, so that products in place stay finite for long.
struct Call {
    uint32_t N;
    std::vector<float> memory;
    float *a, *b, *dst;

    explicit Call(uint32_t N_) : N(N_), memory(3 * (uint64_t{N} + 16))
    {
        std::mt19937 engine(N);
        std::uniform_real_distribution<float> angle(0.0f, 6.28f);
        for (size_t i = 0; i + 1 < memory.size(); i += 2) {
            const float turn = angle(engine);
            memory[i] = std::cos(turn);
            memory[i + 1] = std::sin(turn);
        }
        a = memory.data();
        b = a + N + 16;
        dst = b + N + 16;
    }
};

static lv_32fc_t* Points(float* x)
{
    return reinterpret_cast<lv_32fc_t*>(x);
}

template <class Side> static void Run(benchmark::State& state, Side side)
{
    Call call(static_cast<uint32_t>(state.range(0)));
    for (auto _ : state) {
        side(call);
        benchmark::ClobberMemory();
    }
}

static const struct {
    const char* name;
    void (*side)(Call& c);
} Rows[] = {
    {"Mul_Ours", [](Call& c) { FV_Mul(&Object, c.N, c.a, c.dst); }},
    {"Mul_Plain", [](Call& c) { Plain_Mul(c.N, c.a, c.dst); }},
    {"Mul_Peer",
     [](Call& c) {
         volk_32fc_x2_multiply_32fc(Points(c.dst), Points(c.a), Points(c.dst), c.N / 2);
     }},
    {"Div_Ours", [](Call& c) { FV_Div(&Object, c.N, c.a, c.b, c.dst); }},
    {"Div_Plain", [](Call& c) { Plain_Div(c.N, c.a, c.b, c.dst); }},
    {"Div_Peer",
     [](Call& c) { volk_32fc_x2_divide_32fc(Points(c.dst), Points(c.a), Points(c.b), c.N / 2); }},
    {"Abs_Ours", [](Call& c) { FV_Abs(&Object, c.N, c.a, c.dst); }},
    {"Abs_Plain", [](Call& c) { Plain_Abs(c.N, c.a, c.dst); }},
    {"Abs_Peer", [](Call& c) { volk_32fc_magnitude_32f(c.dst, Points(c.a), c.N / 2); }},
    {"MulAcc_HFV_Ours", [](Call& c) { FV_MulAcc_HFV(&Object, c.N, c.a, c.b, c.dst); }},
    {"MulAcc_HFV_Plain", [](Call& c) { Plain_MulAcc_HFV(c.N, c.a, c.b, c.dst); }},
    {"Energy_Ours", [](Call& c) { FV_Energy_Range(&Object, c.N, c.a, 0, c.N / 2 + 1, c.dst); }},
    {"Energy_Plain", [](Call& c) { *c.dst = Plain_Energy(c.N, c.a); }},
};

using Complexes =
    Eigen::Matrix<std::complex<float>, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

// Strong on the diagonal, so that no pivot needs an exchange.
static Complexes Random_Matrix(int n)
{
    std::srand(static_cast<unsigned>(n));
    Complexes m = Complexes::Random(n, n);
    m.diagonal().array() += 2.0f * static_cast<float>(n);
    return m;
}

// Both have to keep their input, so ours copies it to where it is inverted.
static void Inverse_Ours(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    const Complexes source = Random_Matrix(n);
    std::vector<std::complex<float>> work(static_cast<size_t>(2 * n * n));
    for (auto _ : state) {
        for (int i = 0; i < n; i++) {
            std::copy_n(source.data() + i * n, n, work.data() + 2 * i * n);
        }
        CMAT_Invert(n, reinterpret_cast<float*>(work.data()));
        benchmark::ClobberMemory();
    }
}

static void Inverse_Peer(benchmark::State& state)
{
    const Complexes source = Random_Matrix(static_cast<int>(state.range(0)));
    Complexes result = source;
    for (auto _ : state) {
        result = source.partialPivLu().inverse();
        benchmark::DoNotOptimize(result.data());
        benchmark::ClobberMemory();
    }
}

int main(int count, char** arguments)
{
    for (const auto& row : Rows) {
        benchmark::RegisterBenchmark(row.name,
                                     [&row](benchmark::State& state) { Run(state, row.side); })
            ->Arg(64)
            ->Arg(1024)
            ->Arg(16384);
    }
    for (const int n : {2, 3, 4, 6, 8, 12, 16, 24, 32}) {
        benchmark::RegisterBenchmark("Inverse_Ours", Inverse_Ours)->Arg(n);
        benchmark::RegisterBenchmark("Inverse_Peer", Inverse_Peer)->Arg(n);
    }
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
