// The constrained solver's passes for least squares.
#include "matrix/constrained.h"

#include "vector/simd_float.h"

#include <cmath>

// H x - f and the gradient at x.
static void Find_Gradient(Solver* solver)
{
    const uint64_t m = solver->m;
    MAT_Mul(nullptr, m, solver->n, 1, solver->H, solver->x.m, solver->objective.m);
    for (uint64_t i = 0; i < m; i++) {
        solver->objective.v[i] = F_Sub(solver->objective.v[i], solver->f.v[i]);
    }
    MAT_TransMul(nullptr, m, solver->n, 1, solver->H, solver->objective.m, solver->g.m);
}

// The step to the minimiser of the subspace by the QR of H Z, or down the projected gradient where
// that has no full rank. The gradient must be the one at x. Only the last diagonal element is
// looked at.
static void Make_Direction(Solver* solver)
{
    const uint64_t m = solver->m;
    const uint64_t n = solver->n;
    const uint64_t free = Free_Directions(solver);
    MAT_Mul(nullptr, m, n, free, solver->H, solver->Z, solver->B);
    Direct_QR(m, free, solver->B, solver->Qb, solver->Rb, solver->v);
    MAT_TransMul(nullptr, m, m, 1, solver->Qb, solver->objective.m, solver->e.m);
    if (free > 0 && F_Abs(solver->Rb[free - 1][free - 1]) < Least_Diagonal) {
        solver->newton_step = false;
        Project_Gradient(solver, free);
        return;
    }
    solver->newton_step = true;
    Direct_LeastSquares(free, free, solver->Rb, solver->e.m, solver->product.m, solver->least);
    MAT_Mul(nullptr, n, free, 1, solver->Z, solver->product.m, solver->d.m);
    for (uint64_t i = 0; i < n; i++) {
        solver->d.v[i] = F_Neg(solver->d.v[i]);
    }
}

static void Least_Squares_Direction(Solver* solver)
{
    const uint64_t free = Free_Directions(solver);
    MAT_TransMul(nullptr, solver->n, free, 1, solver->Z, solver->g.m, solver->reduced.m);
    if (Square_Sum(free, solver->reduced.v) < Least_Gradient) {
        MAT_Zero(nullptr, solver->n, 1, solver->d.m);
        solver->newton_step = false;
        return;
    }
    Make_Direction(solver);
}

bool Least_Squares_Start(Solver* solver)
{
    Find_Gradient(solver);
    Make_Direction(solver);
    return true;
}

static bool All_Finite(uint64_t count, const float* v)
{
    bool finite = true;
    for (uint64_t i = 0; i < count; i++) {
        finite = finite && std::isfinite(v[i]);
    }
    return finite;
}

// Where H Z has no full rank or there is nothing to gain: through the inverse of the squared
// reduced matrix. That is not tested, so a singular one sends what the divisions give into x,
// unless the reduced gradient counts as zero: x is as good as it gets then and stays.
static Step Reduced_Step(Solver* solver, bool* full)
{
    const uint64_t n = solver->n;
    const uint64_t free = Free_Directions(solver);
    MAT_Mul(nullptr, solver->m, n, free, solver->H, solver->Z, solver->B);
    MAT_TransMul(nullptr, solver->m, free, free, solver->B, solver->B, solver->P);
    MAT_TransMul(nullptr, n, free, 1, solver->Z, solver->g.m, solver->reduced.m);
    MAT_Mul_Trans(nullptr, free, free, free, solver->P, solver->P, solver->W);
    MAT_Invert(nullptr, free, solver->W, solver->W_inverse);
    MAT_Mul(nullptr, free, free, free, solver->P, solver->W_inverse, solver->W2);
    MAT_Mul(nullptr, free, free, 1, solver->W2, solver->reduced.m, solver->product.m);
    for (uint64_t i = 0; i < free; i++) {
        solver->product.v[i] = F_Neg(solver->product.v[i]);
    }
    MAT_Mul(nullptr, n, free, 1, solver->Z, solver->product.m, solver->d.m);
    if (Inner_Product(n, solver->g.v, solver->d.v) > 0.0f) {
        for (uint64_t i = 0; i < n; i++) {
            solver->d.v[i] = F_Neg(solver->d.v[i]);
        }
    }
    if (!All_Finite(n, solver->d.v) && Square_Sum(free, solver->reduced.v) < Least_Gradient) {
        MAT_Zero(nullptr, n, 1, solver->d.m);
    }
    Step step = Ratio_Test(solver);
    *full = !step.blocked || step.length > 1.0f;
    if (*full) {
        step.length = 1.0f;
    }
    Move(solver, step.length);
    solver->newton_step = false;
    return step;
}

bool Least_Squares_Pass(Solver* solver)
{
    Step step = Ratio_Test(solver);
    bool full = false;
    if (!step.blocked && !solver->newton_step) {
        step = Reduced_Step(solver, &full);
    } else {
        full = !step.blocked || (solver->newton_step && step.length > 1.0f);
        if (full) {
            step.length = 1.0f;
        }
        Move(solver, step.length);
    }
    Find_Gradient(solver);
    Find_Residual(solver);

    uint64_t position;
    if (full) {
        if (solver->active_count == 0) {
            return false;
        }
        Find_Multipliers(solver);
        if (!Choose_By_Index(solver, &position)) {
            return false;
        }
        Drop_Position(solver, position);
    } else {
        if (!Add_Row(solver, step.blocking)) {
            return false;
        }
        if (solver->vertex_mode) {
            Find_Multipliers(solver);
            if (!Choose_By_Step(solver, step.length, &position)) {
                return false;
            }
            Drop_Position(solver, position);
            Least_Squares_Direction(solver);
            return true;
        }
        Refresh_Z(solver);
    }
    solver->vertex_mode = solver->active_count == solver->n - 1;
    Least_Squares_Direction(solver);
    return true;
}
