// The constrained solver against exact answers, by the conditions of an optimum, and at its edges.
#include "tests/constrained_problem.h"

static ObjectHeader Object = Make_Object();
static const float Infinity = std::numeric_limits<float>::infinity();

// ---- Blocks, counted on their way through the linker ----

static int64_t Blocks_Held, Blocks_Taken;

extern "C" {
void* __real__Z12OBJ_Malloc_TP12ObjectHeaderm(ObjectHeader* object, uint64_t size);
void __real__Z10OBJ_Free_TP12ObjectHeaderPv(ObjectHeader* object, void* block);
void* __wrap__Z12OBJ_Malloc_TP12ObjectHeaderm(ObjectHeader* object, uint64_t size)
{
    Blocks_Held++;
    Blocks_Taken++;
    void* block = __real__Z12OBJ_Malloc_TP12ObjectHeaderm(object, size);
    memset(block, 0xFF, size); // NaNs: nothing may rely on what memory held
    return block;
}
void __wrap__Z10OBJ_Free_TP12ObjectHeaderPv(ObjectHeader* object, void* block)
{
    Blocks_Held--;
    __real__Z10OBJ_Free_TP12ObjectHeaderPv(object, block);
}
}

static std::string Show(const ConstrainedProblem& problem, const Row& x)
{
    const auto text = [](const auto& rows) { return testing::PrintToString(rows); };
    return "H " + text(problem.H) + "\nf " + text(problem.f) + "\nA " + text(problem.A) + "\nb " +
           text(problem.b) + "\nlb " + text(problem.lb) + "\nub " + text(problem.ub) + "\nstart " +
           text(problem.x) + "\nresult " + text(x) + "\n";
}

// ---- Exact answers ----

// The plain classes reach every optimum but for slopes that count as level. The others show the
// solver's limits: rows that stand twice block each other by rounding, a programme ends with its
// last variable.
static const ProblemClass Classes[] = {
    {"least squares, no rows", true, false, false, false, Inside},
    {"least squares, equalities", true, false, true, false, Outside},
    {"least squares, inequalities, inside", true, true, false, false, Inside},
    {"least squares, inequalities, outside", true, true, false, false, Outside},
    {"least squares, bounds, inside", true, false, false, true, Inside},
    {"least squares, bounds, outside", true, false, false, true, Outside},
    {"least squares, all rows, inside", true, true, true, true, Inside},
    {"least squares, all rows, outside", true, true, true, true, Outside},
    {"least squares, one point", true, true, false, true, Inside, Rows_Through_One_Point},
    {"least squares, rows twice", true, true, false, true, Outside, Each_Row_Twice, 53},
    {"least squares, rank deficient", true, true, false, true, Inside, Rank_Deficient},
    {"programme, bounds, inside", false, false, false, true, Inside},
    {"programme, bounds, outside", false, false, false, true, Outside},
    {"programme, inequalities, inside", false, true, false, true, Inside},
    {"programme, inequalities, outside", false, true, false, true, Outside},
    {"programme, all rows, inside", false, true, true, true, Inside},
    {"programme, rows through one point", false, true, false, true, Inside, Rows_Through_One_Point},
    {"programme, rows twice", false, true, false, true, Inside, Each_Row_Twice, 53},
    {"programme, last variable to zero", false, true, false, true, Inside, Last_Reaches_Zero, 58},
};

// What mat.h advises where a class has its limits.
static ConstrainedProblem With_Remedy(const ProblemClass& kind, ConstrainedProblem problem)
{
    if (kind.trait == Each_Row_Twice) {
        for (uint64_t i = problem.meq; i < problem.b.size(); i += 2) {
            problem.b[i] += 1e-5f;
        }
    } else if (kind.trait == Rank_Deficient) {
        for (uint64_t i = 0; i < problem.x.size(); i++) {
            problem.H.emplace_back(problem.x.size())[i] = 1e-3f;
            problem.f.push_back(0.0f);
        }
    } else if (kind.trait == Last_Reaches_Zero) {
        for (Row& row : problem.A) {
            row.push_back(0.0f);
        }
        problem.f.push_back(0.0f);
        problem.ub.push_back(2.0f);
        problem.lb.push_back(1.0f);
        problem.x.push_back(1.0f);
    }
    return problem;
}

TEST(Constrained, ReachesTheOptimum)
{
    for (const ProblemClass& kind : Classes) {
        SCOPED_TRACE(kind.name);
        Random random = {1};
        unsigned reached = 0;
        unsigned remedied = 0;
        std::string missed;
        const uint64_t least = kind.trait == Rank_Deficient ? 2 : 1; // one column has full rank
        for (unsigned i = 0; i < 60; i++) {
            const ConstrainedProblem problem = Make_Problem(&random, kind, least + i % (5 - least));
            Doubles best;
            ASSERT_TRUE(Find_Optimum(problem, &best)) << Show(problem, {});
            const auto reaches = [&](const Row& x) {
                const double optimum = Objective(problem, best);
                const double excess = Objective(problem, x) - optimum;
                return Violation(problem, x) <= 1e-3 && excess <= 1e-3 * (1.0 + std::fabs(optimum));
            };
            const Row x = Solve_Constrained(problem);
            reached += reaches(x) ? 1 : 0;
            missed = reaches(x) ? missed : Show(problem, x);
            remedied += reaches(Solve_Constrained(With_Remedy(kind, problem))) ? 1 : 0;
        }
        RecordProperty(kind.name, static_cast<int>(reached));
        EXPECT_GE(reached, kind.least_reached) << missed;
        EXPECT_EQ(remedied, 60u);
    }
}

// ---- Conditions of an optimum ----

// The multipliers of the rows that x stands on, by least squares in double precision: the gradient
// is their sum with the sign turned, and those of inequalities are not negative.
static testing::AssertionResult Is_Optimal(const ConstrainedProblem& problem, const Row& x)
{
    if (!(Violation(problem, x) < 1e-4)) {
        return testing::AssertionFailure() << "broken by " << Violation(problem, x);
    }
    Doubles g(x.size());
    for (uint64_t i = 0; i < problem.H.size(); i++) {
        const double error = Inner(problem.H[i], x) - double{problem.f[i]};
        for (uint64_t j = 0; j < g.size(); j++) {
            g[j] += double{problem.H[i][j]} * error;
        }
    }
    const Rows rows = Stack(problem);
    std::vector<Doubles> set; // the rows that x stands on
    for (uint64_t i = 0; i < rows.S.size(); i++) {
        if (i < problem.meq || std::fabs(Inner(rows.S[i], x) - rows.s[i]) < 1e-4) {
            set.push_back(rows.S[i]);
        }
    }
    std::vector<Doubles> normal(set.size());
    for (uint64_t a = 0; a < set.size(); a++) {
        for (const Doubles& other : set) {
            normal[a].push_back(Inner(set[a], other));
        }
        normal[a].push_back(-Inner(set[a], g));
    }
    Doubles multipliers(set.size());
    if (!Solve_Exactly(&normal, &multipliers)) {
        return testing::AssertionFailure() << "dependent rows";
    }
    for (uint64_t a = 0; a < set.size(); a++) {
        if (a >= problem.meq && multipliers[a] < -1e-3) {
            return testing::AssertionFailure() << "multiplier " << multipliers[a];
        }
        for (uint64_t j = 0; j < g.size(); j++) {
            g[j] += multipliers[a] * set[a][j];
        }
    }
    double left = 0.0;
    for (const double rest : g) {
        left = std::max(left, std::fabs(rest));
    }
    return left < 2e-3 ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << "gradient left over " << left;
}

TEST(Constrained, MeetsTheConditionsOfAnOptimum)
{
    for (const ProblemClass& kind : Classes) {
        if (!kind.least_squares || kind.trait != No_Trait) {
            continue;
        }
        SCOPED_TRACE(kind.name);
        Random random = {7};
        for (const uint64_t n : {8u, 8u, 8u, 8u, 13u, 16u, 16u}) {
            const ConstrainedProblem problem = Make_Problem(&random, kind, n);
            const Row x = Solve_Constrained(problem);
            EXPECT_TRUE(Is_Optimal(problem, x)) << "n " << n << "\n" << Show(problem, x);
        }
    }
}

// ---- Known answers ----

struct KnownRow {
    const char* name;
    Row expected;
    ConstrainedProblem problem; // H, f, start; A, b, equalities; bounds
};

static const std::vector<Row> Unit = {{1, 0}, {0, 1}};

static const KnownRow Known_Rows[] = {
    {"no rows", {2, 2}, {Unit, {2, 2}, {0, 0}}},
    {"one inequality", {0.5, 0.5}, {Unit, {2, 2}, {0, 0}, {{1, 1}}, {1}}},
    {"one that does not bind", {2, 2}, {Unit, {2, 2}, {0, 0}, {{1, 1}}, {9}}},
    {"an equality, start off it", {0.5, 0.5}, {Unit, {2, 2}, {5, -7}, {{1, 1}}, {1}, 1}},
    {"all variables fixed", {2, -1}, {Unit, {2, 2}, {0, 0}, {{1, 1}, {1, -1}}, {1, 3}, 2}},
    {"lower bounds alone", {0, 2}, {Unit, {-2, 2}, {1, 1}, {}, {}, 0, {0, 0}}},
    {"upper bounds alone", {-2, 1}, {Unit, {-2, 2}, {0, 0}, {}, {}, 0, {}, {1, 1}}},
    {"equal bounds", {1, 2}, {Unit, {5, 5}, {1, 2}, {}, {}, 0, {1, 2}, {1, 2}}},
    {"start broken by the tolerance", {1, 0}, {Unit, {0, 0}, {0.99999994f, 0}, {{-1, 0}}, {-1}}},
    {"a row of zeros never blocks", {0.5, 0.5}, {Unit, {2, 2}, {0, 0}, {{0, 0}, {1, 1}}, {3, 1}}},
    {"a long row comes to length 1", {0.5, 0.5}, {Unit, {2, 2}, {0, 0}, {{3000, 3000}}, {3000}}},
    {"infinite bounds are none",
     {0.5, 0.5},
     {Unit, {2, 2}, {0, 0}, {{1, 1}}, {1}, 0, {-Infinity, -Infinity}, {Infinity, Infinity}}},
    {"start at an optimum, H without full rank",
     {0.5, 0.5},
     {{{1, 1}, {1, 1}}, {1, 1}, {0.5, 0.5}}},
    {"no step from elsewhere, which must show", {NAN, NAN}, {{{1, 1}, {1, 1}}, {1, 1}, {0, 0}}},
    {"a corner, both rows bind", {1, 1}, {Unit, {3, 3}, {0, 0}, {}, {}, 0, {-1, -1}, {1, 1}}},
    // Phase one ends between the two rows and says nothing.
    {"no feasible point", {0.5}, {{{1}}, {7}, {3}, {{1}, {-1}}, {0, -1}}},
    {"one variable", {2}, {{{2}}, {6}, {0}, {{1}}, {2}}},
    {"programme at a corner", {3, 0.5}, {{}, {-1, -1}, {1, 1}, {{1, 2}}, {4}, 0, {0, 0.5}, {3, 3}}},
    {"start outside", {3, 0.5}, {{}, {-1, -1}, {9, 9}, {{1, 2}}, {4}, 0, {0, 0.5}, {3, 3}}},
    {"level objective", {1, 1}, {{}, {0, 0}, {1, 1}, {{1, 1}}, {4}}},
    {"along an equality", {1, 2}, {{}, {1, 0}, {1.5, 1.5}, {{1, 1}}, {3}, 1, {1, 1}, {2, 2}}},
    // The equality lies across the objective, which ends the call at once.
    {"across", {1.25, 1.75}, {{}, {1, 1}, {1.25, 1.75}, {{1, 1}}, {3}, 1, {1, 1}, {2, 2}}},
    // No row blocks: the last variable goes to the target below zero, and the call ends.
    {"programme without an end", {7, -1e-5f}, {{}, {0, 1}, {7, 3}}},
};

TEST(Constrained, KnownAnswers)
{
    for (const KnownRow& row : Known_Rows) {
        const Row x = Solve_Constrained(row.problem);
        for (uint64_t i = 0; i < x.size(); i++) {
            EXPECT_TRUE(Same(x[i], row.expected[i]) || std::fabs(x[i] - row.expected[i]) <= 1e-6f)
                << row.name << ", " << i << ": " << x[i];
        }
    }
}

// ---- Calls that cannot be ----

struct RefusedRow {
    const char* name;
    uint64_t m, p, nc, n, meq;
    int32_t mode;
    bool has_H, has_A;
};

static const RefusedRow Refused_Rows[] = {
    {"no variables", 2, 0, 0, 0, 0, 0, false, true},
    {"fewer rows than variables", 1, 2, 0, 2, 0, 1, true, true},
    {"columns other than variables", 2, 1, 0, 2, 0, 1, true, true},
    {"no matrix", 2, 2, 0, 2, 0, 1, false, true},
    {"a matrix in another mode", 2, 2, 0, 2, 0, 2, true, true},
    {"more equalities than rows", 2, 2, 1, 2, 2, 1, true, true},
    {"more equalities than variables", 2, 2, 3, 2, 3, 1, true, true},
    {"rows without their matrix", 2, 2, 1, 2, 0, 1, true, false},
};

TEST(Constrained, LeavesTheStartOfARefusedCall)
{
    for (const RefusedRow& row : Refused_Rows) {
        const Matrix H = {{1, 0}, {0, 1}};
        const Matrix A = {{1, 2}, {3, 4}, {5, 6}};
        const Row numbers = {5, 6, 7};
        Row x = {8, 9};
        MAT_Solve_Constrained(&Object, row.m, row.p, row.has_H ? H.m.data() : nullptr,
                              numbers.data(), row.nc, row.n, row.has_A ? A.m.data() : nullptr,
                              numbers.data(), nullptr, nullptr, row.meq, row.mode, x.data());
        EXPECT_EQ(x, (Row{8, 9})) << row.name;
    }
}

TEST(Constrained, ComesToAnEndWithAnyNumbers)
{
    const Row special = {Infinity, -Infinity, NAN, 3e38f, -3e38f, 1e9f, 1e-38f, 0.0f};
    const ProblemClass kinds[] = {{"", true, true, true, true, Outside},
                                  {"", false, true, true, true, Outside}};
    Random random = {3};
    for (unsigned i = 0; i < 400; i++) {
        ConstrainedProblem problem = Make_Problem(&random, kinds[i % 2], 1 + i / 2 % 4);
        for (Row* row : {&problem.f, &problem.b, &problem.lb, &problem.ub, &problem.x,
                         &problem.A[0], problem.H.empty() ? &problem.f : &problem.H[0]}) {
            if (Random_Below(&random, 3) == 0) {
                (*row)[Random_Below(&random, row->size())] =
                    special[Random_Below(&random, special.size())];
            }
        }
        EXPECT_EQ(Solve_Constrained(problem).size(), problem.x.size());
        ASSERT_EQ(Blocks_Held, 0);
    }
}

// ---- Equalities and inequalities apart, memory ----

TEST(Constrained, StacksEqualitiesBeforeInequalities)
{
    for (const ProblemClass& kind : Classes) {
        if (!kind.least_squares) {
            continue;
        }
        Random random = {5};
        const ConstrainedProblem problem = Make_Problem(&random, kind, 3);
        const std::span<const Row> rows(problem.A);
        const Matrix H = To_Matrix(problem.H, 3);
        const Matrix equal = To_Matrix(rows.first(problem.meq), 3);
        const Matrix below = To_Matrix(rows.subspan(problem.meq), 3);
        const bool bounds = !problem.lb.empty();
        Row x = problem.x;
        Blocks_Taken = 0;
        MAT_LeastSquares_Constrained(
            &Object, H.rows, 3, H.m.data(), problem.f.data(), below.rows,
            below.rows == 0 ? nullptr : below.m.data(), problem.b.data() + problem.meq, equal.rows,
            equal.rows == 0 ? nullptr : equal.m.data(), problem.b.data(),
            bounds ? problem.lb.data() : nullptr, bounds ? problem.ub.data() : nullptr, x.data());
        EXPECT_GT(Blocks_Taken, 0);
        EXPECT_EQ(Blocks_Held, 0);
        const Row expected = Solve_Constrained(problem);
        EXPECT_TRUE(Same_Floats(expected.data(), x.data(), 3)) << kind.name;
    }
}
