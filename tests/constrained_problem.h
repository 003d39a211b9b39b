// Constrained problems from a seed, and their exact answers by trying every set of active rows in
// double precision.
#pragma once

#include "tests/matrix_fixture.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <span>

enum Start { Inside, Outside };
enum Trait { No_Trait, Rank_Deficient, Each_Row_Twice, Rows_Through_One_Point, Last_Reaches_Zero };

// Kind of problem; n, rows and start come from the seed as well.
struct ProblemClass {
    const char* name;
    bool least_squares, inequalities, equalities, bounds;
    Start start;
    Trait trait = No_Trait;
    unsigned least_reached = 60; // optima of 60 problems
};

using Row = std::vector<float>;
using Doubles = std::vector<double>;

// Least squares with the start x, or without H a programme.
struct ConstrainedProblem {
    std::vector<Row> H = {};
    Row f = {}, x = {};
    std::vector<Row> A = {};
    Row b = {};
    uint64_t meq = 0;
    Row lb = {}, ub = {};
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

template <class A, class B> double Inner(const A& a, const B& b)
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
    ConstrainedProblem problem;
    const uint64_t m = kind.least_squares ? n + Random_Below(random, n + 1) : n;
    Row middle = Random_Row(random, n, 1.0f);
    if (!kind.least_squares) {
        middle[n - 1] = 1.5f + 0.5f * middle[n - 1];
    }
    for (uint64_t i = 0; i < m && kind.least_squares; i++) {
        Row& row = problem.H.emplace_back(Random_Row(random, n, 1.0f));
        if (i < n) {
            row[i] += 2.0f;
        }
        if (kind.trait == Rank_Deficient) {
            row[n - 1] = row[0];
        }
    }
    problem.f = Random_Row(random, m, 4.0f);
    problem.meq = kind.equalities ? 1 + Random_Below(random, n - 1) : 0;
    const uint64_t inequalities = kind.inequalities ? 1 + Random_Below(random, n + 2) : 0;
    const Row slack = Random_Row(random, inequalities, 0.45f);
    for (uint64_t i = 0; i < problem.meq + inequalities; i++) {
        Row row = Random_Row(random, n, 1.0f);
        float room = i < problem.meq ? 0.0f : 0.55f + slack[i - problem.meq];
        if (kind.trait == Rows_Through_One_Point && i >= problem.meq) {
            room = row[0] = 0.5f; // so all go through middle + (1, 0, 0, ...)
        }
        const size_t times = kind.trait == Each_Row_Twice && i >= problem.meq ? 2 : 1;
        problem.A.insert(problem.A.end(), times, row);
        problem.b.insert(problem.b.end(), times, static_cast<float>(Inner(row, middle)) + room);
    }
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
    const Row off = kind.start == Outside ? Random_Row(random, n, 3.0f) : Row(n);
    std::transform(off.begin(), off.end(), middle.begin(), problem.x.begin(), std::plus());
    return problem;
}

// ---- Calls ----

inline Matrix To_Matrix(std::span<const Row> rows, uint64_t columns)
{
    Matrix matrix(rows.size(), columns);
    for (uint64_t i = 0; i < rows.size(); i++) {
        matrix.each[i]->Fill(rows[i]);
    }
    return matrix;
}

// Fails where a matrix came back changed.
inline Row Solve_Constrained(const ConstrainedProblem& problem)
{
    static ObjectHeader object = Make_Object();
    const uint64_t n = problem.x.size();
    const Matrix H = To_Matrix(problem.H, n);
    const Matrix A = To_Matrix(problem.A, n);
    const auto floats = [](const Row& row) { return row.empty() ? nullptr : row.data(); };
    const bool programme = problem.H.empty();
    Row x = problem.x;
    MAT_Solve_Constrained(&object, problem.f.size(), programme ? 0 : n,
                          programme ? nullptr : H.m.data(), problem.f.data(), A.rows, n,
                          A.rows == 0 ? nullptr : A.m.data(), floats(problem.b), floats(problem.lb),
                          floats(problem.ub), problem.meq, programme ? 0 : 1, x.data());
    EXPECT_TRUE(Same_Matrix(To_Matrix(problem.H, n), H) && Same_Matrix(To_Matrix(problem.A, n), A));
    return x;
}

// ---- Exact answers ----

// All rows S x <= s with the bounds behind, in double precision.
struct Rows {
    std::vector<Doubles> S;
    Doubles s;
};

inline Rows Stack(const ConstrainedProblem& problem)
{
    Rows rows = {{}, {problem.b.begin(), problem.b.end()}};
    for (const Row& row : problem.A) {
        rows.S.emplace_back(row.begin(), row.end());
    }
    for (const double sign : {-1.0, 1.0}) {
        const Row& bound = sign < 0.0 ? problem.lb : problem.ub;
        for (uint64_t j = 0; j < bound.size(); j++) {
            rows.S.emplace_back(problem.x.size(), 0.0)[j] = sign;
            rows.s.push_back(sign * double{bound[j]});
        }
    }
    return rows;
}

// By how much x breaks the worst row.
template <class X> double Violation(const ConstrainedProblem& problem, const X& x)
{
    const Rows rows = Stack(problem);
    double worst = 0.0;
    for (uint64_t i = 0; i < rows.S.size(); i++) {
        const double value = Inner(rows.S[i], x) - rows.s[i];
        const double broken = i < problem.meq ? std::fabs(value) : value;
        worst = broken > worst || broken != broken ? broken : worst;
    }
    return worst;
}

template <class X> double Objective(const ConstrainedProblem& problem, const X& x)
{
    double value = problem.H.empty() ? Inner(problem.f, x) : 0.0;
    for (uint64_t i = 0; i < problem.H.size(); i++) {
        const double error = Inner(problem.H[i], x) - double{problem.f[i]};
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
        for (size_t i = k + 1; i < n; i++) {
            if (std::fabs(a[i][k]) > std::fabs(a[k][k])) {
                std::swap(a[k], a[i]);
            }
        }
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
    const uint64_t n = problem.x.size();
    const uint64_t size = n + set.size();
    std::vector<Doubles> system(size, Doubles(size + 1));
    for (uint64_t j = 0; j < n; j++) {
        system[j][size] = problem.H.empty() ? -double{problem.f[j]} : 0.0;
        for (uint64_t i = 0; i < problem.H.size(); i++) {
            for (uint64_t k = 0; k < n; k++) {
                system[j][k] += double{problem.H[i][j]} * double{problem.H[i][k]};
            }
            system[j][size] += double{problem.H[i][j]} * double{problem.f[i]};
        }
    }
    for (uint64_t k = 0; k < set.size(); k++) {
        for (uint64_t j = 0; j < n; j++) {
            system[n + k][j] = system[j][n + k] = rows.S[set[k]][j];
        }
        system[n + k][size] = rows.s[set[k]];
    }
    x->resize(size);
    const bool solved = Solve_Exactly(&system, x);
    x->resize(n);
    return solved;
}

// The best feasible minimum over the equalities with every further set of rows. False: there is no
// feasible one.
inline bool Find_Optimum(const ConstrainedProblem& problem, Doubles* best)
{
    const Rows rows = Stack(problem);
    std::vector<uint64_t> set(problem.meq);
    std::iota(set.begin(), set.end(), 0);
    bool found = false;
    Doubles x;
    const auto visit = [&](const auto& self, uint64_t next) -> void {
        if (Minimum_On(problem, rows, set, &x) && Violation(problem, x) < 1e-7 &&
            (!found || Objective(problem, x) < Objective(problem, *best))) {
            *best = x;
            found = true;
        }
        for (uint64_t row = next; row < rows.S.size() && set.size() < problem.x.size(); row++) {
            set.push_back(row);
            self(self, row + 1);
            set.pop_back();
        }
    };
    visit(visit, problem.meq);
    return found;
}
