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
    std::string text;
    const auto add = [&](const char* name, const Row& row) {
        text.append(name);
        for (const float value : row) {
            text.append(" ").append(std::to_string(value));
        }
        text.append("\n");
    };
    for (const Row& row : problem.H) {
        add("H", row);
    }
    add("f", problem.f);
    for (const Row& row : problem.A) {
        add("A", row);
    }
    add("b", problem.b);
    add("lb", problem.lb);
    add("ub", problem.ub);
    add("start", problem.x);
    add("result", x);
    return text;
}

// ---- Exact answers ----

// The plain classes reach every optimum but for slopes that count as level. The others show the
// solver's limits: rows that stand twice block each other by rounding, a matrix without full rank
// is inverted without a test, a programme ends with its last variable.
static const ProblemClass Classes[] = {
    {"least squares, no rows", true, false, false, false, Inside, Plain, 60},
    {"least squares, equalities", true, false, true, false, Outside, Plain, 60},
    {"least squares, inequalities, inside", true, true, false, false, Inside, Plain, 60},
    {"least squares, inequalities, outside", true, true, false, false, Outside, Plain, 60},
    {"least squares, bounds, inside", true, false, false, true, Inside, Plain, 60},
    {"least squares, bounds, outside", true, false, false, true, Outside, Plain, 60},
    {"least squares, all rows, inside", true, true, true, true, Inside, Plain, 60},
    {"least squares, all rows, outside", true, true, true, true, Outside, Plain, 60},
    {"least squares, rows through one point", true, true, false, true, Inside,
     Rows_Through_One_Point, 60},
    {"least squares, rows twice", true, true, false, true, Outside, Each_Row_Twice, 53},
    {"least squares, rank deficient", true, true, false, true, Inside, Rank_Deficient, 40},
    {"programme, bounds, inside", false, false, false, true, Inside, Plain, 60},
    {"programme, bounds, outside", false, false, false, true, Outside, Plain, 60},
    {"programme, inequalities, inside", false, true, false, true, Inside, Plain, 60},
    {"programme, inequalities, outside", false, true, false, true, Outside, Plain, 60},
    {"programme, all rows, inside", false, true, true, true, Inside, Plain, 60},
    {"programme, rows through one point", false, true, false, true, Inside, Rows_Through_One_Point,
     60},
    {"programme, rows twice", false, true, false, true, Inside, Each_Row_Twice, 53},
    {"programme, last variable to zero", false, true, false, true, Inside, Last_Reaches_Zero, 58},
};

TEST(Constrained, ReachesTheOptimum)
{
    for (const ProblemClass& kind : Classes) {
        SCOPED_TRACE(kind.name);
        Random random = {1};
        unsigned reached = 0;
        std::string missed;
        for (unsigned i = 0; i < 60; i++) {
            const ConstrainedProblem problem = Make_Problem(&random, kind, 1 + i % 4);
            Doubles best;
            ASSERT_TRUE(Find_Optimum(problem, &best)) << Show(problem, {});
            const Row x = Solve_Constrained(problem);
            const Doubles got(x.begin(), x.end());
            const double optimum = Objective(problem, best);
            const double excess = Objective(problem, got) - optimum;
            if (Violation(problem, got) <= 1e-3 && excess <= 1e-3 * (1.0 + std::fabs(optimum))) {
                reached++;
            } else {
                missed = Show(problem, x);
            }
        }
        RecordProperty(kind.name, static_cast<int>(reached));
        EXPECT_GE(reached, kind.least_reached) << missed;
    }
}

// ---- Conditions of an optimum ----

// The multipliers of the rows that x stands on, by least squares in double precision: the gradient
// is their sum with the sign turned, and those of inequalities are not negative.
static testing::AssertionResult Is_Optimal(const ConstrainedProblem& problem, const Row& x)
{
    const Doubles at(x.begin(), x.end());
    if (!(Violation(problem, at) < 1e-4)) {
        return testing::AssertionFailure() << "broken by " << Violation(problem, at);
    }
    const uint64_t n = problem.n;
    Doubles g(n);
    for (uint64_t i = 0; i < problem.m; i++) {
        const double error = Inner(problem.H[i], x) - double{problem.f[i]};
        for (uint64_t j = 0; j < n; j++) {
            g[j] += double{problem.H[i][j]} * error;
        }
    }
    const Rows rows = Stack(problem);
    std::vector<uint64_t> set;
    for (uint64_t i = 0; i < rows.S.size(); i++) {
        double off = -rows.s[i];
        for (uint64_t j = 0; j < n; j++) {
            off += rows.S[i][j] * at[j];
        }
        if (i < problem.meq || std::fabs(off) < 1e-4) {
            set.push_back(i);
        }
    }
    std::vector<Doubles> normal(set.size(), Doubles(set.size() + 1));
    for (uint64_t a = 0; a < set.size(); a++) {
        for (uint64_t j = 0; j < n; j++) {
            for (uint64_t b = 0; b < set.size(); b++) {
                normal[a][b] += rows.S[set[a]][j] * rows.S[set[b]][j];
            }
            normal[a][set.size()] -= rows.S[set[a]][j] * g[j];
        }
    }
    Doubles multipliers(set.size());
    if (!Solve_Exactly(&normal, &multipliers)) {
        return testing::AssertionFailure() << "dependent rows";
    }
    double left = 0.0;
    for (uint64_t j = 0; j < n; j++) {
        for (uint64_t a = 0; a < set.size(); a++) {
            g[j] += multipliers[a] * rows.S[set[a]][j];
        }
        left = std::max(left, std::fabs(g[j]));
    }
    for (uint64_t a = 0; a < set.size(); a++) {
        if (set[a] >= problem.meq && multipliers[a] < -1e-3) {
            return testing::AssertionFailure() << "multiplier " << multipliers[a];
        }
    }
    return left < 2e-3 ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << "gradient left over " << left;
}

TEST(Constrained, MeetsTheConditionsOfAnOptimum)
{
    for (const ProblemClass& kind : Classes) {
        if (!kind.least_squares || kind.trait != Plain) {
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
    bool least_squares;
    std::vector<Row> H;
    Row f;
    std::vector<Row> A;
    Row b;
    uint64_t meq;
    Row lb, ub, start, expected;
    float tolerance = 1e-6f;
};

static const std::vector<Row> Unit = {{1, 0}, {0, 1}};
static const Row None = {};

static const KnownRow Known_Rows[] = {
    {"no rows", true, Unit, {2, 2}, {}, None, 0, None, None, {0, 0}, {2, 2}},
    {"one inequality", true, Unit, {2, 2}, {{1, 1}}, {1}, 0, None, None, {0, 0}, {0.5, 0.5}},
    {"one that does not bind", true, Unit, {2, 2}, {{1, 1}}, {9}, 0, None, None, {0, 0}, {2, 2}},
    {"an equality, start off it",
     true,
     Unit,
     {2, 2},
     {{1, 1}},
     {1},
     1,
     None,
     None,
     {5, -7},
     {0.5, 0.5}},
    {"all variables fixed",
     true,
     Unit,
     {2, 2},
     {{1, 1}, {1, -1}},
     {1, 3},
     2,
     None,
     None,
     {0, 0},
     {2, -1}},
    {"lower bounds alone", true, Unit, {-2, 2}, {}, None, 0, {0, 0}, None, {1, 1}, {0, 2}},
    {"upper bounds alone", true, Unit, {-2, 2}, {}, None, 0, None, {1, 1}, {0, 0}, {-2, 1}},
    {"equal bounds", true, Unit, {5, 5}, {}, None, 0, {1, 2}, {1, 2}, {1, 2}, {1, 2}},
    {"start broken by just the tolerance",
     true,
     Unit,
     {0, 0},
     {{-1, 0}},
     {-1},
     0,
     None,
     None,
     {0.99999994f, 0},
     {1, 0}},
    {"a row of zeros never blocks",
     true,
     Unit,
     {2, 2},
     {{0, 0}, {1, 1}},
     {3, 1},
     0,
     None,
     None,
     {0, 0},
     {0.5, 0.5}},
    {"a long row is brought to length 1",
     true,
     Unit,
     {2, 2},
     {{3000, 3000}},
     {3000},
     0,
     None,
     None,
     {0, 0},
     {0.5, 0.5}},
    {"a corner, both rows bind", true, Unit, {3, 3}, {}, None, 0, {-1, -1}, {1, 1}, {0, 0}, {1, 1}},
    // Phase one ends between the two rows and says nothing.
    {"no feasible point", true, {{1}}, {7}, {{1}, {-1}}, {0, -1}, 0, None, None, {3}, {0.5}},
    {"one variable", true, {{2}}, {6}, {{1}}, {2}, 0, None, None, {0}, {2}},
    {"programme at a corner",
     false,
     {},
     {-1, -1},
     {{1, 2}},
     {4},
     0,
     {0, 0.5},
     {3, 3},
     {1, 1},
     {3, 0.5}},
    {"programme, start outside",
     false,
     {},
     {-1, -1},
     {{1, 2}},
     {4},
     0,
     {0, 0.5},
     {3, 3},
     {9, 9},
     {3, 0.5}},
    {"programme, level objective", false, {}, {0, 0}, {{1, 1}}, {4}, 0, None, None, {1, 1}, {1, 1}},
    {"programme along an equality",
     false,
     {},
     {1, 0},
     {{1, 1}},
     {3},
     1,
     {1, 1},
     {2, 2},
     {1.5, 1.5},
     {1, 2}},
    {"programme, equality across the objective ends at once",
     false,
     {},
     {1, 1},
     {{1, 1}},
     {3},
     1,
     {1, 1},
     {2, 2},
     {1.25, 1.75},
     {1.25, 1.75}},
    // No row blocks: the last variable goes to the target below zero, and the call ends.
    {"programme without an end", false, {}, {0, 1}, {}, None, 0, None, None, {7, 3}, {7, -1e-5f}},
};

TEST(Constrained, KnownAnswers)
{
    for (const KnownRow& row : Known_Rows) {
        ConstrainedProblem problem = {};
        problem.least_squares = row.least_squares;
        problem.m = row.f.size();
        problem.n = row.start.size();
        problem.nc = row.A.size();
        problem.meq = row.meq;
        problem.H = row.H;
        problem.A = row.A;
        problem.f = row.f;
        problem.b = row.b;
        problem.lb = row.lb;
        problem.ub = row.ub;
        problem.x = row.start;
        const Row x = Solve_Constrained(problem);
        for (uint64_t i = 0; i < x.size(); i++) {
            EXPECT_NEAR(x[i], row.expected[i], row.tolerance) << row.name << ", " << i;
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
    {"equalities without their matrix", 2, 2, 1, 2, 1, 1, true, false},
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
    const ProblemClass kinds[] = {{"", true, true, true, true, Outside, Plain, 0},
                                  {"", false, true, true, true, Outside, Plain, 0}};
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
        EXPECT_EQ(Solve_Constrained(problem).size(), problem.n);
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
        Matrix H(problem.m, 3);
        Matrix equal(problem.meq, 3);
        Matrix below(problem.nc - problem.meq, 3);
        for (uint64_t i = 0; i < problem.m; i++) {
            H.each[i]->Fill(problem.H[i]);
        }
        for (uint64_t i = 0; i < problem.nc; i++) {
            (i < problem.meq ? equal.each[i] : below.each[i - problem.meq])->Fill(problem.A[i]);
        }
        const bool bounds = !problem.lb.empty();
        Row x = problem.x;
        Blocks_Taken = 0;
        MAT_LeastSquares_Constrained(
            &Object, problem.m, 3, H.m.data(), problem.f.data(), below.rows,
            below.rows == 0 ? nullptr : below.m.data(), problem.b.data() + problem.meq, equal.rows,
            equal.rows == 0 ? nullptr : equal.m.data(), problem.b.data(),
            bounds ? problem.lb.data() : nullptr, bounds ? problem.ub.data() : nullptr, x.data());
        EXPECT_GT(Blocks_Taken, 0);
        EXPECT_EQ(Blocks_Held, 0);
        const Row expected = Solve_Constrained(problem);
        EXPECT_TRUE(Same_Floats(expected.data(), x.data(), 3)) << kind.name;
    }
}
