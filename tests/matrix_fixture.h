// Matrices for tests: rows between guards, at a chosen distance from a 16-byte boundary.
#pragma once

#include "matrix/mat.h"
#include "tests/vector_fixture.h"

#include <memory>

struct Matrix {
    uint64_t rows, columns;
    std::vector<std::unique_ptr<Guarded>> each;
    std::vector<float*> m;

    Matrix(uint64_t rows_, uint64_t columns_, unsigned off_bytes = 0)
        : rows(rows_), columns(columns_), m(rows_ + 1) // never an empty array
    {
        for (uint64_t i = 0; i < rows; i++) {
            each.push_back(std::make_unique<Guarded>(columns, off_bytes));
            m[i] = each.back()->data;
        }
    }
    Matrix(std::initializer_list<std::vector<float>> values)
        : Matrix(values.size(), values.begin()->size())
    {
        uint64_t i = 0;
        for (const std::vector<float>& row : values) {
            each[i++]->Fill(row);
        }
    }
    Matrix(const Matrix& other) : Matrix(other.rows, other.columns)
    {
        for (uint64_t i = 0; i < rows; i++) {
            each[i]->Fill(other.each[i]->Values());
        }
    }

    void Fill(Random* random, Content content)
    {
        for (auto& row : each) {
            row->Fill(Make_Floats(random, columns, content));
        }
    }
    bool Guards_Whole() const
    {
        bool whole = true;
        for (const auto& row : each) {
            whole = whole && row->Guards_Whole();
        }
        return whole;
    }
};

inline testing::AssertionResult Same_Matrix(const Matrix& expected, const Matrix& got)
{
    for (uint64_t i = 0; i < expected.rows; i++) {
        const testing::AssertionResult row = Same_Floats(expected.m[i], got.m[i], expected.columns);
        if (!row) {
            return testing::AssertionFailure() << "row " << i << ", " << row.message();
        }
    }
    return got.Guards_Whole() ? testing::AssertionSuccess()
                              : testing::AssertionFailure() << "written outside the rows";
}

// Within tolerance of each other, element by element.
inline testing::AssertionResult Near_Matrix(const Matrix& expected, const Matrix& got,
                                            double tolerance)
{
    for (uint64_t i = 0; i < expected.rows; i++) {
        for (uint64_t j = 0; j < expected.columns; j++) {
            const double difference = double{got.m[i][j]} - double{expected.m[i][j]};
            if (!(std::fabs(difference) <= tolerance)) {
                return testing::AssertionFailure() << "element " << i << ", " << j << ": "
                                                   << got.m[i][j] << " is off by " << difference;
            }
        }
    }
    return testing::AssertionSuccess();
}
