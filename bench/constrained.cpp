// The constrained solver in problems a second on a fixed set of problems: n variables, 2n rows of
// H, n inequalities, bounds, starts inside and outside. blocks is the temporary blocks a problem
// takes; the rows Allocation take and give back blocks of the same sizes and do nothing else.
#include "matrix/mat.h"

#include <array>
#include <benchmark/benchmark.h>
#include <random>
#include <vector>

static ObjectHeader Object = OBJ_Template;
static std::vector<uint64_t>* Sizes; // of the blocks, where they are wanted

extern "C" {
void* __real__Z12OBJ_Malloc_TP12ObjectHeaderm(ObjectHeader* object, uint64_t size);
void* __wrap__Z12OBJ_Malloc_TP12ObjectHeaderm(ObjectHeader* object, uint64_t size)
{
    if (Sizes != nullptr) {
        Sizes->push_back(size);
    }
    return __real__Z12OBJ_Malloc_TP12ObjectHeaderm(object, size);
}
}

struct Floats {
    std::vector<float> values;
    std::vector<float*> rows;

    Floats(std::mt19937* engine, uint64_t count, uint64_t width)
        : values(count * width), rows(count)
    {
        std::uniform_real_distribution<float> spread(-1.0f, 1.0f);
        for (float& value : values) {
            value = spread(*engine);
        }
        for (uint64_t i = 0; i < count; i++) {
            rows[i] = values.data() + i * width;
        }
    }
    Floats(Floats&& other) = default;
};

struct Problem {
    uint64_t n;
    Floats H, f, A, b, lb, ub, x;

    Problem(std::mt19937* engine, uint64_t n_, bool outside)
        : n(n_), H(engine, 2 * n, n), f(engine, 1, 2 * n), A(engine, n, n), b(engine, 1, n),
          lb(engine, 1, n), ub(engine, 1, n), x(engine, 1, n)
    {
        for (uint64_t i = 0; i < n; i++) {
            H.rows[i][i] += 2.0f;
            b.values[i] = 0.6f + 0.5f * b.values[i]; // the origin is inside
            lb.values[i] = -0.6f + 0.5f * lb.values[i];
            ub.values[i] = 0.6f + 0.5f * ub.values[i];
            x.values[i] *= outside ? 2.0f : 0.0f;
        }
        for (float& value : f.values) {
            value *= 4.0f;
        }
    }

    void Solve() const
    {
        std::array<float, 16> result;
        std::copy_n(x.values.begin(), n, result.begin());
        MAT_Solve_Constrained(&Object, 2 * n, n, H.rows.data(), f.values.data(), n, n,
                              A.rows.data(), b.values.data(), lb.values.data(), ub.values.data(), 0,
                              1, result.data());
        benchmark::DoNotOptimize(result);
    }
};

static std::vector<Problem> Make_Problems(uint64_t n)
{
    std::mt19937 engine(static_cast<unsigned>(n));
    std::vector<Problem> problems;
    for (unsigned i = 0; i < 64; i++) {
        problems.emplace_back(&engine, n, i % 2 != 0);
    }
    return problems;
}

static std::vector<uint64_t> Block_Sizes(const std::vector<Problem>& problems)
{
    std::vector<uint64_t> sizes;
    Sizes = &sizes;
    for (const Problem& problem : problems) {
        problem.Solve();
    }
    Sizes = nullptr;
    return sizes;
}

static void Solve(benchmark::State& state)
{
    const std::vector<Problem> problems = Make_Problems(static_cast<uint64_t>(state.range(0)));
    state.counters["blocks"] = static_cast<double>(Block_Sizes(problems).size()) / 64.0;
    for (auto _ : state) {
        for (const Problem& problem : problems) {
            problem.Solve();
        }
    }
    state.SetItemsProcessed(state.iterations() * 64);
}

static void Allocation(benchmark::State& state)
{
    const std::vector<uint64_t> sizes =
        Block_Sizes(Make_Problems(static_cast<uint64_t>(state.range(0))));
    for (auto _ : state) {
        for (const uint64_t size : sizes) {
            OBJ_Free_T(&Object, OBJ_Malloc_T(&Object, size));
        }
    }
    state.SetItemsProcessed(state.iterations() * 64);
}

BENCHMARK(Solve)->Arg(4)->Arg(8)->Arg(16);
BENCHMARK(Allocation)->Arg(4)->Arg(8)->Arg(16);
BENCHMARK_MAIN();
