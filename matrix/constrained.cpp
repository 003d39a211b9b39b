// The constrained solver: set-up, feasible start and end of a call, and the least-squares entry.
#include "matrix/constrained.h"

#include "frame/size.h"
#include "vector/kern.h"
#include "vector/simd_float.h"

#include <cstring>

struct Problem {
    uint64_t m, p;
    const float* const* H;
    const float* f;
    uint64_t nc, n;
    const float* const* A;
    const float *b, *lb, *ub;
    uint64_t meq;
    int32_t mode;
};

// ---- Room ----

static void Lay_Out(Solver* solver, Scratch* scratch)
{
    const uint64_t m = solver->m;
    const uint64_t n = solver->n;
    const uint64_t rows = solver->rows;
    solver->f = Scratch_Column(scratch, m);
    solver->S = Scratch_Matrix(scratch, rows, n);
    solver->s = Scratch_Floats(scratch, rows);
    solver->x = Scratch_Column(scratch, n);
    solver->g = Scratch_Column(scratch, m);
    solver->residual = Scratch_Column(scratch, rows);
    solver->d = Scratch_Column(scratch, n);
    solver->objective = Scratch_Column(scratch, m);
    solver->active_rows = Scratch_Matrix(scratch, n, n);
    solver->active_list = static_cast<uint64_t*>(Scratch_Take(scratch, n, sizeof(uint64_t)));
    solver->active_flag = static_cast<bool*>(Scratch_Take(scratch, rows, sizeof(bool)));
    solver->Q = Scratch_Matrix(scratch, n, n);
    solver->R = Scratch_Matrix(scratch, n, n);
    solver->Z = Scratch_Matrix(scratch, n, n);
    solver->turned = Scratch_Matrix(scratch, n, n);
    solver->reduced = Scratch_Column(scratch, n);
    solver->product = Scratch_Column(scratch, n);
    solver->multipliers = Scratch_Column(scratch, n);
    solver->rates = Scratch_Column(scratch, rows);
    solver->kept_multipliers = Scratch_Floats(scratch, n);
    solver->saved_list = static_cast<uint64_t*>(Scratch_Take(scratch, n, sizeof(uint64_t)));
    solver->row_v = Scratch_Floats(scratch, n);
    solver->least = LeastSquares_Lay_Out(scratch, n, n);
    if (solver->least_squares) {
        solver->B = Scratch_Matrix(scratch, m, n);
        solver->Qb = Scratch_Matrix(scratch, m, m);
        solver->Rb = Scratch_Matrix(scratch, m, n);
        solver->v = Scratch_Floats(scratch, m);
        solver->e = Scratch_Column(scratch, m);
        solver->P = Scratch_Matrix(scratch, n, n);
        solver->W = Scratch_Matrix(scratch, n, n);
        solver->W_inverse = Scratch_Matrix(scratch, n, n);
        solver->W2 = Scratch_Matrix(scratch, n, n);
    }
}

// The rows of S.
static uint64_t Stacked_Rows(const Problem& problem)
{
    return Size_Sum(problem.nc, Size_Sum(problem.lb == nullptr ? 0 : problem.n,
                                         problem.ub == nullptr ? 0 : problem.n));
}

// False: the work matrices hold no room for it, rows are told but not given, or it is of the third
// kind, which has no direction.
static bool Is_Solvable(const Problem& problem)
{
    const bool sizes =
        problem.mode == 1 ? problem.H != nullptr && problem.p == problem.n && problem.m >= problem.n
                          : problem.p == 0 && problem.m >= problem.n;
    const bool rows = problem.nc == 0 || (problem.A != nullptr && problem.b != nullptr);
    return sizes && rows && problem.n >= 1 && problem.meq <= problem.n && problem.meq <= problem.nc;
}

// ---- Set-up ----

// Row i of S to length 1, with its right side; a row of zeros stays.
static void Normalise_Row(Solver* solver, uint64_t i)
{
    float square;
    const uint32_t n = static_cast<uint32_t>(solver->n);
    KERN_SumSquares(nullptr, n, solver->S[i], &square);
    const float q = square == 0.0f ? 1.0f : F_Div(1.0f, F_Sqrt(square));
    KERN_Scale_InPlace(nullptr, n, solver->S[i], q);
    solver->s[i] = F_Mul(solver->s[i], q);
}

static void Stack_Constraints(Solver* solver, const Problem& problem)
{
    const uint64_t n = solver->n;
    MAT_Zero(nullptr, solver->rows, n, solver->S);
    MAT_Copy(nullptr, problem.nc, n, problem.A, solver->S);
    for (uint64_t i = 0; i < problem.nc; i++) {
        solver->s[i] = problem.b[i];
        if (solver->least_squares) {
            Normalise_Row(solver, i);
        }
    }
    uint64_t row = problem.nc;
    for (uint64_t i = 0; problem.lb != nullptr && i < n; i++, row++) {
        solver->S[row][i] = -1.0f;
        solver->s[row] = F_Neg(problem.lb[i]);
    }
    for (uint64_t i = 0; problem.ub != nullptr && i < n; i++, row++) {
        solver->S[row][i] = 1.0f;
        solver->s[row] = problem.ub[i];
    }
}

// Q, R and Z for the equalities.
static void Start_Basis(Solver* solver)
{
    if (solver->meq == 0) {
        MAT_Identity(nullptr, solver->n, solver->Q);
    } else {
        Factor_Rows(solver, solver->meq, solver->S);
    }
    Refresh_Z(solver);
}

static void Move_Onto_Equalities(Solver* solver)
{
    const uint64_t n = solver->n;
    const uint64_t meq = solver->meq;
    float* u = solver->reduced.v;
    MAT_Mul(nullptr, meq, n, 1, solver->S, solver->x.m, solver->reduced.m);
    for (uint64_t i = 0; i < meq; i++) {
        u[i] = F_Sub(solver->s[i], u[i]);
    }
    MAT_Transpose(nullptr, meq, meq, solver->R, solver->turned);
    Direct_LeastSquares(meq, meq, solver->turned, solver->reduced.m, solver->multipliers.m,
                        solver->least);
    MAT_Mul(nullptr, n, meq, 1, solver->Q, solver->multipliers.m, solver->product.m);
    MAT_Add_InPlace(nullptr, n, 1, solver->product.m, solver->x.m);
}

// By how much the worst inequality is broken, at least 0.0.
static float Worst_Residual(const Solver* solver)
{
    float worst = 0.0f;
    for (uint64_t i = solver->meq; i < solver->rows; i++) {
        if (solver->residual.v[i] > worst) {
            worst = solver->residual.v[i];
        }
    }
    return worst;
}

// ---- Phase one ----

static void Solve(ObjectHeader* object, const Problem& problem, bool inner, float* x);

struct PhaseOne {
    float** S;
    float *s, *f, *x;
};

static PhaseOne Lay_Out_Phase_One(Scratch* scratch, uint64_t rows, uint64_t n)
{
    PhaseOne one;
    one.S = Scratch_Matrix(scratch, rows + 1, n + 1);
    one.s = Scratch_Floats(scratch, rows + 1);
    one.f = Scratch_Floats(scratch, n + 1);
    one.x = Scratch_Floats(scratch, n + 1);
    return one;
}

// A linear programme with one more variable t, which is to become 0: S x - t <= s. x goes to the
// point that it finds; false if that is not feasible.
static bool Find_Feasible(Solver* solver, ObjectHeader* object, float worst)
{
    const uint64_t rows = solver->rows;
    const uint64_t n = solver->n;
    Scratch measured = {};
    Lay_Out_Phase_One(&measured, rows, n);
    Scratch scratch = Scratch_Allocate(object, measured);
    const PhaseOne one = Lay_Out_Phase_One(&scratch, rows, n);

    for (uint64_t i = 0; i <= rows; i++) {
        if (i < rows) {
            memcpy(one.S[i], solver->S[i], n * sizeof(float));
            one.s[i] = solver->s[i];
        } else {
            memset(one.S[i], 0, n * sizeof(float));
            one.s[i] = Phase_One_Target;
        }
        one.S[i][n] = i < solver->meq ? 0.0f : -1.0f;
    }
    memset(one.f, 0, n * sizeof(float));
    one.f[n] = 1.0f;
    memcpy(one.x, solver->x.v, n * sizeof(float));
    one.x[n] = F_Add(worst, 1.0f);

    const Problem problem = {n + 1, 0,     nullptr, one.f,   rows + 1,    n + 1,
                             one.S, one.s, nullptr, nullptr, solver->meq, 0};
    Solve(object, problem, true, one.x);
    memcpy(solver->x.v, one.x, n * sizeof(float));
    const float t = one.x[n];
    OBJ_Free_T(object, scratch.block);
    Find_Residual(solver);
    return !(t > Feasible);
}

// ---- A call ----

static void Iterate(Solver* solver)
{
    solver->vertex_mode = solver->meq >= solver->n - 1;
    if (!(solver->least_squares ? Least_Squares_Start(solver) : Linear_Start(solver))) {
        return;
    }
    for (uint64_t i = 0; i < solver->meq; i++) {
        memcpy(solver->active_rows[i], solver->S[i], solver->n * sizeof(float));
        solver->active_list[i] = i;
    }
    const auto pass = solver->least_squares ? Least_Squares_Pass : Linear_Pass;
    for (unsigned left = Most_Passes; left > 0 && pass(solver); left--) {
    }
}

// inner says that this is a phase one, which has none of its own whatever the numbers are.
static void Solve(ObjectHeader* object, const Problem& problem, bool inner, float* x)
{
    if (!Is_Solvable(problem)) {
        return;
    }
    Solver solver = {};
    solver.m = problem.m;
    solver.n = problem.n;
    solver.rows = Stacked_Rows(problem);
    solver.meq = problem.meq;
    solver.least_squares = problem.mode == 1;
    solver.H = problem.H;
    Scratch measured = {};
    Lay_Out(&solver, &measured);
    Scratch scratch = Scratch_Allocate(object, measured);
    Lay_Out(&solver, &scratch);

    memcpy(solver.x.v, x, solver.n * sizeof(float));
    memcpy(solver.f.v, problem.f, solver.m * sizeof(float));
    if (solver.rows != 0) {
        Stack_Constraints(&solver, problem);
        memset(solver.active_flag, 0, solver.rows * sizeof(bool));
        memset(solver.active_flag, 1, solver.meq * sizeof(bool));
    }
    solver.active_count = solver.meq;
    Start_Basis(&solver);
    if (solver.least_squares && solver.meq > 0) {
        Move_Onto_Equalities(&solver);
    }
    Find_Residual(&solver);
    const float worst = Worst_Residual(&solver);
    if (inner || !(worst > Feasible) || Find_Feasible(&solver, object, worst)) {
        Iterate(&solver);
    }
    memcpy(x, solver.x.v, solver.n * sizeof(float));
    OBJ_Free_T(object, scratch.block);
}

void MAT_Solve_Constrained(ObjectHeader* object, uint64_t m, uint64_t p, const float* const* H,
                           const float* f, uint64_t nc, uint64_t n, const float* const* A,
                           const float* b, const float* lb, const float* ub, uint64_t meq,
                           int32_t mode, float* x)
{
    Solve(object, {m, p, H, f, nc, n, A, b, lb, ub, meq, mode}, false, x);
}

// ---- Least squares with equalities and inequalities apart ----

struct Stacked {
    float** A;
    float* b;
};

static Stacked Lay_Out_Stacked(Scratch* scratch, uint64_t rows, uint64_t n)
{
    Stacked stacked;
    stacked.A = Scratch_Matrix(scratch, rows, n);
    stacked.b = Scratch_Floats(scratch, rows);
    return stacked;
}

void MAT_LeastSquares_Constrained(ObjectHeader* object, uint64_t m, uint64_t n,
                                  const float* const* H, const float* f, uint64_t ni,
                                  const float* const* Ain, const float* bin, uint64_t ne,
                                  const float* const* Aeq, const float* beq, const float* lb,
                                  const float* ub, float* x)
{
    const uint64_t rows = Size_Sum(ne, ni);
    Scratch measured = {};
    Lay_Out_Stacked(&measured, rows, n);
    Scratch scratch = Scratch_Allocate(object, measured);
    const Stacked stacked = Lay_Out_Stacked(&scratch, rows, n);
    MAT_Copy(object, ne, n, Aeq, stacked.A);
    MAT_Copy(object, ni, n, Ain, stacked.A + ne);
    for (uint64_t i = 0; i < ne; i++) {
        stacked.b[i] = beq[i];
    }
    for (uint64_t i = 0; i < ni; i++) {
        stacked.b[ne + i] = bin[i];
    }
    MAT_Solve_Constrained(object, m, n, H, f, rows, n, stacked.A, stacked.b, lb, ub, ne, 1, x);
    OBJ_Free_T(object, scratch.block);
}
