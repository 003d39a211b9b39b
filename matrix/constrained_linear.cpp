// The constrained solver's passes for a linear programme. It ends as soon as its last variable,
// that of phase one, has come down to zero.
#include "matrix/constrained.h"

#include "vector/simd_float.h"

#include <cstring>

// The slope of g along the first column of Z, which goes to d, turned downhill: as -z only above
// zero.
static float Downhill_Column(Solver* solver)
{
    const uint64_t n = solver->n;
    for (uint64_t i = 0; i < n; i++) {
        solver->d.v[i] = solver->Z[i][0];
    }
    const float slope = Inner_Product(n, solver->d.v, solver->g.v);
    if (slope > 0.0f) {
        for (uint64_t i = 0; i < n; i++) {
            solver->d.v[i] = F_Neg(solver->d.v[i]);
        }
    }
    return slope;
}

bool Linear_Start(Solver* solver)
{
    memcpy(solver->g.v, solver->f.v, solver->n * sizeof(float));
    Project_Gradient(solver, solver->n - solver->meq);
    solver->newton_step = false;
    return solver->meq == 0 || !(Square_Sum(solver->n, solver->d.v) < Least_Direction);
}

// ---- Degeneracy probe ----

// The set that the probe thins out: numbers of rows of S and their multipliers, by position.
struct SavedSet {
    uint64_t count;
    uint64_t* list;
    const float* multipliers;
};

// Q, Z and d without the saved row at position out; false if there is no descent either.
static bool Descends_Without(Solver* solver, const SavedSet& saved, uint64_t out)
{
    const uint64_t n = solver->n;
    const uint64_t count = saved.count - 1;
    for (uint64_t i = 0; i < n; i++) {
        for (uint64_t k = 0; k < count; k++) {
            solver->turned[i][k] = solver->S[saved.list[k < out ? k : k + 1]][i];
        }
    }
    Direct_QR(n, count, solver->turned, solver->Q, solver->R, solver->row_v);
    for (uint64_t i = 0; i < n; i++) {
        for (uint64_t j = count; j < n; j++) {
            solver->Z[i][j - count] = solver->Q[i][j];
        }
    }
    if (count == n - 1) {
        return !(F_Abs(Downhill_Column(solver)) < Least_Slope);
    }
    Project_Gradient(solver, n - count);
    return !(Square_Sum(n, solver->d.v) < Least_Direction);
}

// The point looks stationary: looks for a row with a multiplier near zero whose removal opens a way
// down. False if there is none, so the point is optimal. An equality can go here as well.
static bool Probe(Solver* solver, const SavedSet& saved)
{
    for (uint64_t i = 0; i < solver->active_count; i++) {
        const float multiplier = saved.multipliers[i];
        const float size = i < solver->meq ? F_Abs(multiplier) : multiplier;
        if (!(size < Degenerate) || !Descends_Without(solver, saved, i)) {
            continue;
        }
        memset(solver->active_flag, 0, solver->rows * sizeof(bool));
        solver->active_count = saved.count - 1;
        for (uint64_t k = 0; k < solver->active_count; k++) {
            const uint64_t row = saved.list[k < i ? k : k + 1];
            solver->active_list[k] = row;
            solver->active_flag[row] = true;
            memcpy(solver->active_rows[k], solver->S[row], solver->n * sizeof(float));
        }
        return true;
    }
    return false;
}

static bool Probe_Present_Set(Solver* solver)
{
    const uint64_t count = solver->active_count;
    Find_Multipliers(solver);
    memcpy(solver->saved_list, solver->active_list, count * sizeof(uint64_t));
    return Probe(solver, {count, solver->saved_list, solver->multipliers.v});
}

// The set from before the fruitless drop of row, which stood at position: it goes back there and
// what follows moves up. Each multiplier goes with its row, also with the last one, which the drop
// had moved.
static bool Probe_Before_Drop(Solver* solver, uint64_t position, uint64_t row)
{
    const uint64_t count = solver->active_count + 1;
    const float* before = solver->multipliers.v;
    for (uint64_t i = 0; i < count; i++) {
        const bool moved_last = i == position + 1;
        solver->saved_list[i] = i < position    ? solver->active_list[i]
                                : i == position ? row
                                                : solver->active_list[i - 1];
        solver->kept_multipliers[i] =
            i <= position ? before[i] : before[moved_last ? count - 1 : i - 1];
    }
    return Probe(solver, {count, solver->saved_list, solver->kept_multipliers});
}

// ---- Vertex direction ----

// One free direction is left and only its sign to choose. The row dropped before stood at position;
// a row of 0 counts as none.
static bool Vertex_Direction(Solver* solver, uint64_t position, uint64_t row)
{
    const float slope = Downhill_Column(solver);
    solver->vertex_mode = true;
    if (!(F_Abs(slope) < Least_Slope)) {
        return true;
    }
    return row != 0 ? Probe_Before_Drop(solver, position, row) : Probe_Present_Set(solver);
}

// ---- Pass ----

// Unbounded along d: the last variable goes to about the target below zero.
static void Last_Step(Solver* solver)
{
    const uint64_t last = solver->n - 1;
    if (Square_Sum(solver->n, solver->d.v) > Least_Unbounded) {
        const float way = F_Add(solver->x.v[last], Phase_One_Target);
        Move(solver, F_Abs(F_Div(way, F_Add(solver->d.v[last], Divisor_Term))));
    }
}

bool Linear_Pass(Solver* solver)
{
    const Step step = Ratio_Test(solver);
    if (!step.blocked) {
        Last_Step(solver);
        return false;
    }
    Move(solver, step.length);
    Find_Residual(solver);
    if (solver->x.v[solver->n - 1] < Last_Variable_Reached || !Add_Row(solver, step.blocking)) {
        return false;
    }
    if (solver->vertex_mode) {
        uint64_t position;
        Find_Multipliers(solver);
        if (!Choose_By_Step(solver, step.length, &position)) {
            return false;
        }
        const uint64_t row = solver->active_list[position];
        Drop_Position(solver, position);
        return Vertex_Direction(solver, position, row);
    }
    Refresh_Z(solver);
    if (solver->active_count == solver->n - 1) {
        return Vertex_Direction(solver, 0, 0);
    }
    Project_Gradient(solver, Free_Directions(solver));
    solver->vertex_mode = false;
    if (!(Square_Sum(solver->n, solver->d.v) < Least_Direction)) {
        return true;
    }
    return Probe_Present_Set(solver);
}
