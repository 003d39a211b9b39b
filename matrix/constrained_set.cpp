// The constrained solver's working set: which rows stand at equality, how far it is to the next,
// and which may go.
#include "matrix/constrained.h"

#include "vector/kern.h"
#include "vector/simd_float.h"

#include <cstring>

// ---- Sums and moves ----

float Inner_Product(uint64_t count, const float* a, const float* b)
{
    float sum = 0.0f;
    for (uint64_t i = 0; i < count; i++) {
        sum = F_MulAdd(a[i], b[i], sum);
    }
    return sum;
}

float Square_Sum(uint64_t count, const float* v)
{
    return Inner_Product(count, v, v);
}

void Project_Gradient(Solver* solver, uint64_t directions)
{
    const uint64_t n = solver->n;
    MAT_TransMul(nullptr, n, directions, 1, solver->Z, solver->g.m, solver->reduced.m);
    MAT_Mul(nullptr, n, directions, 1, solver->Z, solver->reduced.m, solver->d.m);
    for (uint64_t i = 0; i < n; i++) {
        solver->d.v[i] = F_Neg(solver->d.v[i]);
    }
}

void Move(Solver* solver, float length)
{
    for (uint64_t i = 0; i < solver->n; i++) {
        solver->x.v[i] = F_MulAdd(length, solver->d.v[i], solver->x.v[i]);
    }
}

void Find_Residual(Solver* solver)
{
    float* residual = solver->residual.v;
    MAT_Mul(nullptr, solver->rows, solver->n, 1, solver->S, solver->x.m, solver->residual.m);
    for (uint64_t i = 0; i < solver->rows; i++) {
        residual[i] = F_Sub(residual[i], solver->s[i]);
    }
}

// ---- Ratio test ----

// The first of the rows that d runs into; equalities and rows of the set do not block.
Step Ratio_Test(Solver* solver)
{
    const uint64_t inequalities = solver->rows - solver->meq;
    const float length = F_Sqrt(Square_Sum(solver->n, solver->d.v));
    const float limit = static_cast<float>(static_cast<double>(length) * Rate_Limit);
    MAT_Mul(nullptr, inequalities, solver->n, 1, solver->S + solver->meq, solver->d.m,
            solver->rates.m);
    Step step = {No_Block, false, 0};
    for (uint64_t k = 0; k < inequalities; k++) {
        const uint64_t i = solver->meq + k;
        const float rate = solver->rates.v[k];
        if (rate > limit) {
            const float ratio = F_Abs(F_Div(solver->residual.v[i], rate));
            if (ratio < step.length && !solver->active_flag[i]) {
                step = {ratio, true, i};
            }
        }
    }
    return step;
}

// ---- Changes of the set ----

void Factor_Rows(Solver* solver, uint64_t count, const float* const* rows)
{
    MAT_Transpose(nullptr, count, solver->n, rows, solver->turned);
    Direct_QR(solver->n, count, solver->turned, solver->Q, solver->R, solver->row_v);
}

void Refresh_Z(Solver* solver)
{
    const uint64_t count = solver->active_count;
    for (uint64_t i = 0; i < solver->n; i++) {
        for (uint64_t j = count; j < solver->n; j++) {
            solver->Z[i][j - count] = solver->Q[i][j];
        }
    }
}

bool Add_Row(Solver* solver, uint64_t row)
{
    const uint64_t position = solver->active_count;
    if (position == solver->n) {
        return false;
    }
    solver->active_flag[row] = true;
    memcpy(solver->active_rows[position], solver->S[row], solver->n * sizeof(float));
    solver->active_list[position] = row;
    solver->active_count++;
    Factor_Rows(solver, solver->active_count, solver->active_rows);
    return true;
}

void Drop_Position(Solver* solver, uint64_t position)
{
    const uint64_t last = solver->active_count - 1;
    solver->active_flag[solver->active_list[position]] = false;
    if (position != last) {
        memcpy(solver->active_rows[position], solver->active_rows[last], solver->n * sizeof(float));
        solver->active_list[position] = solver->active_list[last];
    }
    solver->active_count = last;
    Factor_Rows(solver, last, solver->active_rows);
    Refresh_Z(solver);
}

// ---- Multipliers ----

void Find_Multipliers(Solver* solver)
{
    const uint64_t n = solver->n;
    MAT_TransMul(nullptr, n, n, 1, solver->Q, solver->g.m, solver->product.m);
    for (uint64_t i = 0; i < n; i++) {
        solver->product.v[i] = F_Neg(solver->product.v[i]);
    }
    Direct_LeastSquares(n, solver->active_count, solver->R, solver->product.m,
                        solver->multipliers.m, solver->least);
}

bool Choose_By_Index(const Solver* solver, uint64_t* position)
{
    bool found = false;
    for (uint64_t i = solver->meq; i < solver->active_count; i++) {
        if (solver->multipliers.v[i] < 0.0f &&
            (!found || solver->active_list[i] < solver->active_list[*position])) {
            *position = i;
            found = true;
        }
    }
    return found;
}

bool Choose_By_Step(const Solver* solver, float step_length, uint64_t* position)
{
    if (!(step_length > Degenerate)) {
        return Choose_By_Index(solver, position);
    }
    float least = 0.0f;
    for (uint64_t i = solver->meq; i < solver->active_count; i++) {
        if (solver->multipliers.v[i] < least) {
            least = solver->multipliers.v[i];
            *position = i;
        }
    }
    return least < 0.0f;
}
