// Products, QR with explicit Q and inverse against Eigen's dynamic-size float ones, compiled with
// the same options. Rows come in pairs, ours and Eigen's;
// --benchmark_enable_random_interleaving=true and several repetitions put what else the machine
// does on both sides.
#include "matrix/mat.h"

#include <Eigen/Dense>
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

using EigenMatrix = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

static ObjectHeader Object = OBJ_Template;

static EigenMatrix Random_Matrix(int n)
{
    std::mt19937 engine(static_cast<unsigned>(n));
    std::uniform_real_distribution<float> spread(-1.0f, 1.0f);
    EigenMatrix m(n, n);
    for (int i = 0; i < n * n; i++) {
        m.data()[i] = spread(engine);
    }
    m.diagonal().array() += 4.0f * std::sqrt(static_cast<float>(n)); // regular without pivoting
    return m;
}

struct OurMatrix {
    uint64_t n;
    float** m;

    explicit OurMatrix(const EigenMatrix& values) : n(static_cast<uint64_t>(values.rows()))
    {
        MAT_Alloc_C(&Object, n, n, &m);
        for (uint64_t i = 0; i < n; i++) {
            std::copy_n(values.data() + i * n, n, m[i]);
        }
    }
    ~OurMatrix()
    {
        MAT_Free_C(&Object, n, m);
    }
    OurMatrix(const OurMatrix&) = delete;
};

static void Product_Ours(benchmark::State& state)
{
    const EigenMatrix values = Random_Matrix(static_cast<int>(state.range(0)));
    const OurMatrix a(values);
    const OurMatrix b(values);
    const OurMatrix c(values);
    for (auto _ : state) {
        MAT_Mul(&Object, a.n, a.n, a.n, a.m, b.m, c.m);
        benchmark::ClobberMemory();
    }
}

static void Product_Eigen(benchmark::State& state)
{
    const EigenMatrix a = Random_Matrix(static_cast<int>(state.range(0)));
    const EigenMatrix b = a;
    EigenMatrix c = a;
    for (auto _ : state) {
        c.noalias() = a * b;
        benchmark::DoNotOptimize(c.data());
        benchmark::ClobberMemory();
    }
}

static void QR_Ours(benchmark::State& state)
{
    const EigenMatrix values = Random_Matrix(static_cast<int>(state.range(0)));
    const OurMatrix a(values);
    const OurMatrix q(values);
    const OurMatrix r(values);
    for (auto _ : state) {
        MAT_QR(&Object, a.n, a.n, a.m, q.m, r.m);
        benchmark::ClobberMemory();
    }
}

static void QR_Eigen(benchmark::State& state)
{
    const EigenMatrix a = Random_Matrix(static_cast<int>(state.range(0)));
    EigenMatrix q = a;
    EigenMatrix r = a;
    for (auto _ : state) {
        const Eigen::HouseholderQR<EigenMatrix> qr(a);
        q = qr.householderQ();
        r = qr.matrixQR().triangularView<Eigen::Upper>();
        benchmark::DoNotOptimize(q.data());
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    }
}

static void Inverse_Ours(benchmark::State& state)
{
    const EigenMatrix values = Random_Matrix(static_cast<int>(state.range(0)));
    const OurMatrix source(values);
    const OurMatrix a(values);
    const OurMatrix b(values);
    for (auto _ : state) {
        MAT_Copy(&Object, a.n, a.n, source.m, a.m); // the inverse destroys its matrix
        MAT_Invert(&Object, a.n, a.m, b.m);
        benchmark::ClobberMemory();
    }
}

static void Inverse_Eigen(benchmark::State& state)
{
    const EigenMatrix a = Random_Matrix(static_cast<int>(state.range(0)));
    EigenMatrix b = a;
    for (auto _ : state) {
        b = a.inverse();
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(Product_Ours)->RangeMultiplier(2)->Range(2, 128);
BENCHMARK(Product_Eigen)->RangeMultiplier(2)->Range(2, 128);
BENCHMARK(QR_Ours)->RangeMultiplier(2)->Range(2, 128);
BENCHMARK(QR_Eigen)->RangeMultiplier(2)->Range(2, 128);
BENCHMARK(Inverse_Ours)->RangeMultiplier(2)->Range(2, 128);
BENCHMARK(Inverse_Eigen)->RangeMultiplier(2)->Range(2, 128);
BENCHMARK_MAIN();
