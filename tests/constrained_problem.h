// Constrained problems from a seed, and their exact answers by trying every set of active rows in
// double precision.
#pragma once

#include "tests/matrix_fixture.h"

#include <algorithm>

enum Start { Inside, Outside };
enum Trait { Plain, Rank_Deficient, Each_Row_Twice, Rows_Through_One_Point, Last_Reaches_Zero };

// Kind of problem; n, rows and start come from the seed as well.
struct ProblemClass {
    const char* name;
    bool least_squares;
    bool inequalities, equalities, bounds;
    Start start;
    Trait trait;
    unsigned least_reached; // optima of 60 problems
};

using Row = std::vector<float>;

struct ConstrainedProblem {
    bool least_squares;
    uint64_t m, n, nc, meq;
    std::vector<Row> H, A;
    Row f, b, lb, ub, x;
};

inline Row Random_Row(Random* random, uint64_t n, float limit)
{
    Row row(n);
    for (float& value : row) {
        value = Random_Float(random, limit);
    }
    return row;
}

inline uint64_t Random_Below(Random* random, uint64_t limit)
{
    return limit == 0 ? 0 : Random_Word(random) % limit;
}

inline double Inner(const Row& a, const Row& b)
{
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); i++) {
        sum += double{a[i]} * double{b[i]};
    }
    return sum;
}

// All rows hold at a point in the middle, equalities to rounding. That is the start, or a point off
// it.
inline ConstrainedProblem Make_Problem(Random* random, const ProblemClass& kind, uint64_t n)
{
    ConstrainedProblem problem = {};
    problem.least_squares = kind.least_squares;
    problem.n = n;
    problem.m = kind.least_squares ? n + Random_Below(random, n + 1) : n;
    Row middle = Random_Row(random, n, 1.0f);
    if (!kind.least_squares) {
        middle[n - 1] = 1.5f + 0.5f * middle[n - 1];
    }
    for (uint64_t i = 0; i < problem.m && kind.least_squares; i++) {
        problem.H.push_back(Random_Row(random, n, 1.0f));
        if (i < n) {
            problem.H[i][i] += 2.0f;
        }
        if (kind.trait == Rank_Deficient) {
            problem.H[i][n - 1] = n == 1 ? 0.0f : problem.H[i][0];
        }
    }
    problem.f = Random_Row(random, problem.m, 4.0f);
    problem.meq = kind.equalities ? 1 + Random_Below(random, n - 1) : 0;
    const uint64_t inequalities = kind.inequalities ? 1 + Random_Below(random, n + 2) : 0;
    Row slack = Random_Row(random, inequalities, 0.45f);
    for (uint64_t i = 0; i < problem.meq + inequalities; i++) {
        const bool equality = i < problem.meq;
        Row row = Random_Row(random, n, 1.0f);
        const float room = equality                               ? 0.0f
                           : kind.trait == Rows_Through_One_Point ? 0.5f
                                                                  : 0.55f + slack[i - problem.meq];
        if (kind.trait == Rows_Through_One_Point && !equality) {
            row[0] = 0.5f; // so all go through middle + (1, 0, 0, ...)
        }
        problem.b.push_back(static_cast<float>(Inner(row, middle)) + room);
        problem.A.push_back(row);
        if (kind.trait == Each_Row_Twice && !equality) {
            problem.A.push_back(row);
            problem.b.push_back(problem.b.back());
        }
    }
    problem.nc = problem.A.size();
    if (kind.bounds) {
        const Row low = Random_Row(random, n, 0.5f);
        const Row high = Random_Row(random, n, 0.5f);
        for (uint64_t i = 0; i < n; i++) {
            problem.lb.push_back(middle[i] - 0.75f - low[i]);
            problem.ub.push_back(middle[i] + 0.75f + high[i]);
        }
        if (!kind.least_squares) {
            problem.lb[n - 1] = kind.trait == Last_Reaches_Zero ? -1.0f : 0.25f;
        }
    }
    problem.x = middle;
    if (kind.start == Outside) {
        const Row off = Random_Row(random, n, 3.0f);
        for (uint64_t i = 0; i < n; i++) {
            problem.x[i] += off[i];
        }
    }
    return problem;
}

// ---- Calls ----

// Fails where a matrix came back changed.
inline Row Solve_Constrained(const ConstrainedProblem& problem)
{
    static ObjectHeader object = Make_Object();
    const auto matrix = [&](const std::vector<Row>& rows) {
        Matrix m(rows.size(), problem.n);
        for (uint64_t i = 0; i < rows.size(); i++) {
            m.each[i]->Fill(rows[i]);
        }
        return m;
    };
    const auto floats = [](const Row& row) { return row.empty() ? nullptr : row.data(); };
    const Matrix H = matrix(problem.H);
    const Matrix A = matrix(problem.A);
    static const float none = 0.0f;
    const bool rows = problem.nc != 0 || !problem.lb.empty() || !problem.ub.empty();
    Row x = problem.x;
    MAT_Solve_Constrained(&object, problem.m, problem.least_squares ? problem.n : 0,
                          problem.least_squares ? H.m.data() : nullptr, problem.f.data(),
                          problem.nc, problem.n, rows ? A.m.data() : nullptr,
                          problem.nc == 0 && rows ? &none : floats(problem.b), floats(problem.lb),
                          floats(problem.ub), problem.meq, problem.least_squares ? 1 : 0, x.data());
    EXPECT_TRUE(Same_Matrix(matrix(problem.H), H) && Same_Matrix(matrix(problem.A), A));
    return x;
}

// ---- Exact answers ----

using Doubles = std::vector<double>;

// All rows S x <= s with the bounds behind, in double precision.
struct Rows {
    std::vector<Doubles> S;
    Doubles s;
};

inline Rows Stack(const ConstrainedProblem& problem)
{
    Rows rows;
    for (uint64_t i = 0; i < problem.nc; i++) {
        rows.S.emplace_back(problem.A[i].begin(), problem.A[i].end());
        rows.s.push_back(problem.b[i]);
    }
    const auto add = [&](const Row& bound, double sign) {
        for (uint64_t j = 0; j < bound.size(); j++) {
            rows.S.emplace_back(problem.n, 0.0);
            rows.S.back()[j] = sign;
            rows.s.push_back(sign * double{bound[j]});
        }
    };
    add(problem.lb, -1.0);
    add(problem.ub, 1.0);
    return rows;
}

// By how much x breaks the worst row.
inline double Violation(const ConstrainedProblem& problem, const Doubles& x)
{
    const Rows rows = Stack(problem);
    double worst = 0.0;
    for (uint64_t i = 0; i < rows.S.size(); i++) {
        double value = -rows.s[i];
        for (uint64_t j = 0; j < problem.n; j++) {
            value += rows.S[i][j] * x[j];
        }
        const double broken = i < problem.meq ? std::fabs(value) : value;
        worst = broken > worst || broken != broken ? broken : worst;
    }
    return worst;
}

inline double Objective(const ConstrainedProblem& problem, const Doubles& x)
{
    double value = 0.0;
    for (uint64_t i = 0; i < problem.m; i++) {
        if (!problem.least_squares) {
            value += double{problem.f[i]} * x[i];
            continue;
        }
        double error = -double{problem.f[i]};
        for (uint64_t j = 0; j < problem.n; j++) {
            error += double{problem.H[i][j]} * x[j];
        }
        value += error * error;
    }
    return value;
}

// Gauss-Jordan with full row exchange on an augmented system; false if it is singular.
inline bool Solve_Exactly(std::vector<Doubles>* system, Doubles* x)
{
    std::vector<Doubles>& a = *system;
    const size_t n = a.size();
    for (size_t k = 0; k < n; k++) {
        size_t best = k;
        for (size_t i = k; i < n; i++) {
            best = std::fabs(a[i][k]) > std::fabs(a[best][k]) ? i : best;
        }
        std::swap(a[k], a[best]);
        if (std::fabs(a[k][k]) < 1e-10) {
            return false;
        }
        for (size_t i = 0; i < n; i++) {
            const double t = a[i][k] / a[k][k];
            for (size_t j = k; j <= n && i != k; j++) {
                a[i][j] -= t * a[k][j];
            }
        }
    }
    for (size_t i = 0; i < n; i++) {
        (*x)[i] = a[i][n] / a[i][i];
    }
    return true;
}

// The minimum with the rows of set at equality, from the conditions of Karush, Kuhn and Tucker;
// false if they have no single answer.
inline bool Minimum_On(const ConstrainedProblem& problem, const Rows& rows,
                       const std::vector<uint64_t>& set, Doubles* x)
{
    const uint64_t n = problem.n;
    const uint64_t size = n + set.size();
    std::vector<Doubles> system(size, Doubles(size + 1));
    for (uint64_t i = 0; i < problem.m && problem.least_squares; i++) {
        for (uint64_t j = 0; j < n; j++) {
            for (uint64_t k = 0; k < n; k++) {
                system[j][k] += double{problem.H[i][j]} * double{problem.H[i][k]};
            }
            system[j][size] += double{problem.H[i][j]} * double{problem.f[i]};
        }
    }
    for (uint64_t j = 0; j < n && !problem.least_squares; j++) {
        system[j][size] = -double{problem.f[j]};
    }
    for (uint64_t k = 0; k < set.size(); k++) {
        for (uint64_t j = 0; j < n; j++) {
            system[n + k][j] = system[j][n + k] = rows.S[set[k]][j];
        }
        system[n + k][size] = rows.s[set[k]];
    }
    Doubles all(size);
    const bool solved = Solve_Exactly(&system, &all);
    x->assign(all.begin(), all.begin() + static_cast<ptrdiff_t>(n));
    return solved;
}

// The best feasible minimum over the equalities with every further set of rows. False: there is no
// feasible one.
inline bool Find_Optimum(const ConstrainedProblem& problem, Doubles* best)
{
    const Rows rows = Stack(problem);
    std::vector<uint64_t> set(problem.meq);
    for (uint64_t i = 0; i < problem.meq; i++) {
        set[i] = i;
    }
    bool found = false;
    Doubles x;
    const auto visit = [&](const auto& self, uint64_t next) -> void {
        if (Minimum_On(problem, rows, set, &x) && Violation(problem, x) < 1e-7 &&
            (!found || Objective(problem, x) < Objective(problem, *best))) {
            *best = x;
            found = true;
        }
        for (uint64_t row = next; row < rows.S.size() && set.size() < problem.n; row++) {
            set.push_back(row);
            self(self, row + 1);
            set.pop_back();
        }
    };
    visit(visit, problem.meq);
    return found;
}
