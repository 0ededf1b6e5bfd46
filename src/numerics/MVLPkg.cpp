// MVLPkg: dense solvers for A x = b.
//
// Model: the careful solver factors P A = L U by Crout's method (L has a
// unit diagonal and is stored below the diagonal, U on and above it), with
// partial pivoting on the implicitly scaled column |a[i][j]| / max_k |A[i][k]|
// so that a row multiplied by a large factor does not win the pivot. It then
// solves L U x = P b and improves x by iterative refinement: the residual
// r = b - A x is taken with the original A, L U d = r is solved with the same
// factors and x += d, until the correction is negligible against x.
//
// Gauss is plain elimination with partial pivoting on an augmented matrix
// [A | b] and back substitution by columns. It tests no pivot: a singular
// system gives infinities or NaNs, which the calling fits check for.
//
// Everything is in double; no value is narrowed.
#include <zemcal/MVLPkg.h>

#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace {

// Smallest normal double: a scaled pivot not above it is treated as zero.
constexpr double kTinyPivot = 2.2250738585072014e-308;
// Refinement stops once max|d| / max|x| is at or below this (about 256 ulp).
constexpr double kRefinedEnough = 5.69e-14;
// In the second round of refinement a relative correction above this means
// the corrections grow instead of shrinking: the system is too
// ill-conditioned for the factors to be trusted.
constexpr double kDiverging = 0.5;
// A bound on the refinement rounds, so that a system whose residual never
// settles below kRefinedEnough (its condition number near 1e3 or worse in
// plain double arithmetic) cannot loop for ever. Well-conditioned systems
// settle in two or three rounds; one that has not after this many is
// reported as too ill-conditioned.
constexpr int kMaxRefinementRounds = 64;

// Row-major n x n working matrix.
class Square {
public:
    explicit Square(std::size_t n) : n_(n), v_(n * n) {}
    double& operator()(std::size_t i, std::size_t j) { return v_[i * n_ + j]; }
    double operator()(std::size_t i, std::size_t j) const { return v_[i * n_ + j]; }

private:
    std::size_t n_;
    std::vector<double> v_;
};

// Solves L U y = rhs in place, with the row permutation recorded by the
// factorisation (pivot[i] is the row swapped with row i at step i). Leading
// zeros of the permuted right-hand side are skipped in the forward pass.
void substitute(const Square& lu, const std::vector<std::size_t>& pivot, std::vector<double>& y) {
    const std::size_t n = y.size();
    bool nonZeroSeen = false;
    std::size_t first = 0;  // index of the first non-zero entry, once seen
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t p = pivot[i];
        double sum = y[p];
        y[p] = y[i];
        if (nonZeroSeen) {
            for (std::size_t j = first; j < i; ++j) sum -= lu(i, j) * y[j];
        } else if (sum != 0.0) {
            nonZeroSeen = true;
            first = i;
        }
        y[i] = sum;
    }
    for (std::size_t i = n; i-- > 0;) {
        double sum = y[i];
        for (std::size_t j = i + 1; j < n; ++j) sum -= lu(i, j) * y[j];
        y[i] = sum / lu(i, i);
    }
}

double largestMagnitude(const std::vector<double>& v) {
    double big = 0.0;
    for (double e : v) {
        if (std::fabs(e) > big) big = std::fabs(e);
    }
    return big;
}

}  // namespace

int MVLPkg::SolveLinearEquations(unsigned n, unsigned m, const std::vector<std::vector<double>>& A,
                                 const std::vector<double>& b, std::vector<double>& x) {
    try {
        return UnsafeSolveLinearEquations(n, m, A, b, x);
    } catch (...) {
        return 3;
    }
}

int MVLPkg::UnsafeSolveLinearEquations(unsigned n, unsigned /*m*/,
                                       const std::vector<std::vector<double>>& A,
                                       const std::vector<double>& b, std::vector<double>& x) {
    // Shapes are checked before anything is allocated, so a wrong n cannot
    // make the solver read past A or b or allocate more than A already holds.
    if (A.size() < n || b.size() < n) throw std::out_of_range("MVLPkg: A or b smaller than n");
    for (std::size_t i = 0; i < n; ++i) {
        if (A[i].size() < n) throw std::out_of_range("MVLPkg: row of A shorter than n");
    }

    // Copies: A and b stay untouched (and x may be the very vector b).
    Square a(n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) a(i, j) = A[i][j];
    }
    const std::vector<double> rhs(b.begin(), b.begin() + n);

    // Implicit scaling: each row's largest magnitude.
    std::vector<double> scale(n);
    for (std::size_t i = 0; i < n; ++i) {
        double big = 0.0;
        for (std::size_t j = 0; j < n; ++j) {
            if (std::fabs(a(i, j)) > big) big = std::fabs(a(i, j));
        }
        if (big == 0.0) return 2;
        scale[i] = big;
    }

    // Crout: column by column, U above the diagonal, then the candidates on
    // and below it, of which the best scaled one becomes the pivot.
    std::vector<std::size_t> pivot(n);
    for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = 0; i < j; ++i) {
            double sum = a(i, j);
            for (std::size_t k = 0; k < i; ++k) sum -= a(i, k) * a(k, j);
            a(i, j) = sum;
        }
        double big = 0.0;
        std::size_t best = j;
        for (std::size_t i = j; i < n; ++i) {
            double sum = a(i, j);
            for (std::size_t k = 0; k < j; ++k) sum -= a(i, k) * a(k, j);
            a(i, j) = sum;
            const double scaled = std::fabs(sum) / scale[i];
            if (scaled > big) {  // strictly larger: the first of equals stays
                big = scaled;
                best = i;
            }
        }
        if (!(big > kTinyPivot)) return 1;
        if (best != j) {
            for (std::size_t k = 0; k < n; ++k) {
                const double tmp = a(best, k);
                a(best, k) = a(j, k);
                a(j, k) = tmp;
            }
            scale[best] = scale[j];  // the displaced row takes its scale along
        }
        pivot[j] = best;
        const double diagonal = a(j, j);
        for (std::size_t i = j + 1; i < n; ++i) a(i, j) /= diagonal;
    }

    x = rhs;
    substitute(a, pivot, x);

    // Refinement. Round 0 is never judged; round 1 also checks divergence.
    std::vector<double> d(n);
    for (int round = 0; round < kMaxRefinementRounds; ++round) {
        for (std::size_t i = 0; i < n; ++i) {
            double sum = rhs[i];
            for (std::size_t j = 0; j < n; ++j) sum -= A[i][j] * x[j];
            d[i] = sum;
        }
        substitute(a, pivot, d);
        for (std::size_t i = 0; i < n; ++i) x[i] += d[i];
        if (round == 0) continue;
        const double ratio = largestMagnitude(d) / largestMagnitude(x);
        if (round == 1 && ratio > kDiverging) return 1;
        // NaN (an all-zero solution) is not above the limit either: final.
        if (!(ratio > kRefinedEnough)) return 0;
    }
    return 1;
}

std::vector<double> MVLPkg::Gauss(std::vector<std::vector<double>> M) {
    const std::size_t n = M.size();
    // The matrix must be n x (n+1): a short row would otherwise be read past
    // its end during elimination or substitution.
    for (const std::vector<double>& row : M) {
        if (row.size() < n + 1) throw std::out_of_range("Gauss: row shorter than n+1");
    }

    for (std::size_t k = 0; k < n; ++k) {
        std::size_t best = k;
        double big = std::fabs(M[k][k]);
        for (std::size_t i = k + 1; i < n; ++i) {
            if (std::fabs(M[i][k]) > big) {  // strictly larger: the first of equals stays
                big = std::fabs(M[i][k]);
                best = i;
            }
        }
        M[k].swap(M[best]);
        // The entries M[i][k] below the pivot are never read again, so they
        // are left as they are.
        for (std::size_t i = k + 1; i < n; ++i) {
            const double f = -M[i][k] / M[k][k];
            for (std::size_t j = k + 1; j <= n; ++j) M[i][j] += f * M[k][j];
        }
    }

    std::vector<double> x(n, 0.0);
    for (std::size_t k = n; k-- > 0;) {
        x[k] = M[k][n] / M[k][k];
        for (std::size_t i = 0; i < k; ++i) M[i][n] -= M[i][k] * x[k];
    }
    return x;
}
