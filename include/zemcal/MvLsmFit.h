// CMvLsmFit: a fixed-capacity linear least-squares solver.
//
// Solves one problem of at most 40 samples and 20 terms through the normal
// equations, inverting the normal matrix by cofactors. Every determinant is a
// Leibniz sum over all permutations in a fixed order: the summation order
// fixes the rounding, and the calibration coefficients the fits store depend
// on it to the last bit. All arrays are used from index 1; index 0 is never
// touched. Callers keep within the capacity, and keep the sample count at 20
// or fewer when they call OLS() (Product has 20 usable columns). Outside it
// nothing is written past the object: init(x, y) loads an empty system when
// y is empty or the system does not fit, and OLS() sets Coef[1..20] to NaN
// when the counts exceed 20. The cost grows as TermCount! * TermCount per
// determinant, so only small term counts are practical.
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
    /// each (values left over at the end are ignored), y the observed
    /// values. An empty y, more than 40 samples or more than 20 terms load
    /// an empty system (both counts 0).
    void init(std::vector<double> x, std::vector<double> y);

    /// Solves the loaded system into Coef[1..TermCount]. The return value
    /// carries no meaning.
    int OLS();

    /// Adds the Leibniz terms of det(Normal) into Det, filling Order[k] down.
    /// Order[k+1..TermCount] must already hold distinct values of
    /// 1..TermCount (none when k == TermCount, as OLS() calls it). A k or
    /// TermCount above 20 adds nothing.
    void creatorder(int k);

    /// Adds the Leibniz terms of the minor of Normal without row `row` and
    /// column `col` into Det; the same precondition on Order.
    void creataorder(int k, int row, int col);

    /// Sign (+1/-1) of the permutation order[1..n]; +1 when n < 1.
    int getorder(int* order, int n);

    /// Sign of order[1..n] with position skip left out; +1 when n < 1.
    int getaorder(int* order, int n, int skip);
};
