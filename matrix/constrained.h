// The state of one call of the constrained solver and the steps on it. constrained.cpp sets up,
// finds a feasible start and ends; constrained_set.cpp keeps the working set; constrained_least.cpp
// and constrained_linear.cpp hold the passes of the two kinds of problem.
#pragma once

#include "matrix/direct.h"
#include "matrix/mat.h"

// ---- Constants ----

constexpr double Rate_Limit = 1.4901e-10; // a row blocks above this rate for a d of length 1
constexpr float No_Block = 1e16f;         // a step this long meets no row
constexpr unsigned Most_Passes = 200;
constexpr float Feasible = 1.1921e-07f;      // a row may be off by this much
constexpr float Degenerate = 3.4526802e-06f; // a step that is none, a multiplier near zero
constexpr float Phase_One_Target = 1e-05f;   // phase one may bring its variable down to -this
constexpr float Last_Variable_Reached = 2.3842e-07f;
constexpr float Least_Slope = 0.011921f;          // of a vertex direction that descends
constexpr float Least_Direction = 0.00014211024f; // squared length of a projection that descends
constexpr float Least_Gradient = 3.5527554e-13f; // squared length of a reduced gradient that counts
constexpr float Least_Diagonal = 1.1921e-07f;    // of a factor of full rank
constexpr float Divisor_Term = 1.1921e-07f;      // in the last step of an unbounded programme
constexpr float Least_Unbounded = 1.1921001e-11f; // squared length of d that takes that step

// ---- State ----

struct Solver {
    uint64_t m, n;      // rows of H and length of f; variables
    uint64_t rows, meq; // of S; the first meq are equalities
    bool least_squares; // or a linear programme
    bool newton_step;   // d is a full step to the minimiser of the present subspace
    bool vertex_mode;   // at most one free direction is left
    const float* const* H;

    Column f;         // m
    float** S;        // rows by n: equalities, inequalities, lower bounds, upper bounds
    float* s;         // rows: S x = s or S x <= s
    Column x;         // n, the iterate
    Column g;         // m, the gradient; its first n count
    Column residual;  // rows, S x - s
    Column d;         // n, the direction
    Column objective; // m, H x - f

    // The working set, by position.
    uint64_t active_count;
    float** active_rows;   // copies of rows of S
    uint64_t* active_list; // their numbers in S
    bool* active_flag;     // by row of S

    float** Q; // n by n and n by active_count, of the transpose of active_rows
    float** R;
    float** Z; // its first n - active_count columns are the last ones of Q

    // Scratch of single steps.
    float** turned;                    // n by n
    Column reduced, product;           // n
    Column multipliers, rates;         // n, rows
    float* kept_multipliers;           // n
    uint64_t* saved_list;              // n
    float *v, *row_v;                  // m, n
    LeastSquaresScratch least;         // n by n
    float **B, **Qb, **Rb;             // m by n, m by m, m by n; least squares only
    Column e;                          // m
    float **P, **W, **W_inverse, **W2; // n by n
};

struct Step {
    float length;
    bool blocked;
    uint64_t blocking; // the row, if blocked
};

// The columns of Z in use.
inline uint64_t Free_Directions(const Solver* solver)
{
    return solver->n - solver->active_count;
}

// ---- Working set ----

Step Ratio_Test(Solver* solver);
void Refresh_Z(Solver* solver);
// False, and nothing done, when the set is full.
bool Add_Row(Solver* solver, uint64_t row);
void Drop_Position(Solver* solver, uint64_t position);
// Factors the transpose of count rows into Q and R.
void Factor_Rows(Solver* solver, uint64_t count, const float* const* rows);
// Into solver->multipliers, by position.
void Find_Multipliers(Solver* solver);
// The position to drop; false if the point is optimal.
bool Choose_By_Index(const Solver* solver, uint64_t* position);
bool Choose_By_Step(const Solver* solver, float step_length, uint64_t* position);

// ---- Directions and moves ----

// A sum of squares of count elements, and of products.
float Square_Sum(uint64_t count, const float* v);
float Inner_Product(uint64_t count, const float* a, const float* b);
// d = minus the projection of g on the first directions columns of Z.
void Project_Gradient(Solver* solver, uint64_t directions);
// x = x + length * d.
void Move(Solver* solver, float length);
void Find_Residual(Solver* solver);

// ---- The two kinds ----

// The start direction; false if the call ends at once.
bool Least_Squares_Start(Solver* solver);
bool Linear_Start(Solver* solver);
// One pass; false if it was the last.
bool Least_Squares_Pass(Solver* solver);
bool Linear_Pass(Solver* solver);
