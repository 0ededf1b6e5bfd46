// CMvLsmFit: a fixed-capacity linear least-squares solver.
//
// Solves one problem of at most 40 samples and 20 terms through the normal
// equations, inverting the normal matrix by cofactors. Every determinant is a
// Leibniz sum over all permutations in a fixed order: the summation order
// fixes the rounding, and the calibration coefficients the fits store depend
// on it to the last bit. All arrays are used from index 1; index 0 is never
// touched. Nothing checks the capacity: callers keep within it, and keep the
// sample count at 20 or fewer when they call OLS() (Product has 20 usable
// columns).
//
// Never throws; a singular system gives infinite or NaN coefficients.
#pragma once

#include <cstdint>
#include <vector>

#include <zemcal/Export.h>

class ZEMCAL_API CMvLsmFit {
public:
    double Array[41][21];    ///< design matrix [sample][term]
    double B[41];            ///< observed value of each sample
    double Coef[21];         ///< result: coefficient of each term
    double Inverse[21][21];  ///< inverse of Normal [row][column]
    double Product[21][21];  ///< Inverse times transposed Array [term][sample]
    double Normal[21][21];   ///< transposed Array times Array
    std::int32_t SampleCount;  ///< m
    std::int32_t TermCount;    ///< n
    std::int32_t Order[21];    ///< permutation work array: column chosen for each row
    double Det;                ///< accumulator of the Leibniz sums

    /// Sets Det to 0; the arrays start undefined.
    CMvLsmFit();
    ~CMvLsmFit() {}

    /// Self-demonstration: loads a built-in three-term system and prints it
    /// to standard output.
    void init();

    /// Loads samples: x holds y.size() rows of x.size()/y.size() regressors
    /// each, y the observed values. y must not be empty.
    void init(std::vector<double> x, std::vector<double> y);

    /// Solves the loaded system into Coef[1..TermCount]. The return value
    /// carries no meaning.
    int OLS();

    /// Adds the Leibniz terms of det(Normal) into Det, filling Order[k] down.
    void creatorder(int k);

    /// Adds the Leibniz terms of the minor of Normal without row `row` and
    /// column `col` into Det.
    void creataorder(int k, int row, int col);

    /// Sign (+1/-1) of the permutation order[1..n]; +1 when n < 1.
    int getorder(int* order, int n);

    /// Sign of order[1..n] with position skip left out; +1 when n < 1.
    int getaorder(int* order, int n, int skip);
};
