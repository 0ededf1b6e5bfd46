// CMvLsmFit: linear least squares through the normal equations.
//
// Model: for m samples of n regressors, Array (m x n) and observations B,
// the coefficients are
//     Coef = (Array^T Array)^-1 Array^T B,
// with Normal = Array^T Array inverted by the adjugate:
//     Inverse[row][col] = (-1)^(row+col) * minor(Normal without row col,
//                                                column row) * (1.0 / det).
// Every determinant and minor is a Leibniz sum over all n! permutations,
// generated recursively in one fixed order, and every other sum runs over
// ascending indices from 0.0. All of it is in double; nothing is narrowed.
//
// Why the expensive method: the calibration stores the coefficients this
// produces, and files written earlier must be reproduced to the last bit.
// The permutation order, the inline signs, the single reciprocal of the
// determinant and the summation orders fix the rounding, so none of them may
// be "improved" (no elimination, no use of symmetry, no division per entry).
//
// Indices run from 1; row and column 0 of every array are never touched.
#include <zemcal/MvLsmFit.h>

#include <cmath>
#include <cstdio>
#include <limits>

namespace {

// Capacity of the fixed arrays. Product has one column per sample but only
// kMaxTerms usable columns, which is why a solve takes at most kMaxTerms
// samples although Array holds kMaxSamples.
constexpr int kMaxTerms = 20;
constexpr int kMaxSamples = 40;

// Parity of the number of pairs i < j (both in 1..n, neither equal to skip)
// with order[i] > order[j]: -1 for odd, +1 for even. skip = 0 leaves out
// nothing, since positions start at 1.
int inversionSign(const std::int32_t* order, int n, int skip) {
    int inversions = 0;
    for (int i = 1; i <= n; ++i) {
        if (i == skip) continue;
        for (int j = i + 1; j <= n; ++j) {
            if (j == skip) continue;
            if (order[i] > order[j]) ++inversions;
        }
    }
    return inversions % 2 != 0 ? -1 : 1;
}

// Fills order[k] down to order[1] with the values of 1..n that
// order[k+1..n] does not hold yet, each position taking its free values
// from the largest to the smallest, and calls leaf() on every complete
// permutation: the leaves come in descending lexicographic order of
// (order[n], ..., order[1]). The determinants' rounding depends on that
// order.
template <class Leaf>
void forEachPermutation(std::int32_t* order, int n, int k, const Leaf& leaf) {
    if (k < 1) {
        leaf();
        return;
    }
    for (int v = n; v >= 1; --v) {
        bool taken = false;
        for (int p = k + 1; p <= n; ++p) {
            if (order[p] == v) taken = true;
        }
        if (taken) continue;
        order[k] = v;
        forEachPermutation(order, n, k - 1, leaf);
    }
}

}  // namespace

CMvLsmFit::CMvLsmFit() : Det(0.0) {}

void CMvLsmFit::init(std::vector<double> x, std::vector<double> y) {
    // An empty y would divide by zero, and a system larger than the arrays
    // would be written past the object into the caller's stack. Both load an
    // empty system instead, on which OLS() computes nothing.
    if (y.empty() || y.size() > static_cast<std::size_t>(kMaxSamples) ||
        x.size() / y.size() > static_cast<std::size_t>(kMaxTerms)) {
        SampleCount = 0;
        TermCount = 0;
        return;
    }
    SampleCount = static_cast<std::int32_t>(y.size());
    // Integer division: values left over at the end of x are ignored.
    TermCount = static_cast<std::int32_t>(x.size() / y.size());
    for (int s = 0; s < SampleCount; ++s) {
        for (int t = 0; t < TermCount; ++t) {
            Array[s + 1][t + 1] = x[static_cast<std::size_t>(s) * TermCount + t];
        }
        B[s + 1] = y[s];
    }
}

int CMvLsmFit::OLS() {
    const int n = TermCount;
    const int m = SampleCount;
    // A system beyond the arrays (only possible by setting the counts
    // directly) is not solved: the coefficients become NaN, which the
    // callers' finiteness checks catch as they catch a singular system.
    if (n > kMaxTerms || m > kMaxTerms) {
        for (int t = 1; t <= kMaxTerms; ++t) Coef[t] = std::numeric_limits<double>::quiet_NaN();
        return 0;
    }

    // Normal = Array^T Array; every entry summed on its own, no symmetry.
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            double sum = 0.0;
            for (int s = 1; s <= m; ++s) sum = sum + Array[s][i] * Array[s][j];
            Normal[i][j] = sum;
        }
    }

    Det = 0.0;
    creatorder(n);
    const double d = Det;
    // One reciprocal, multiplied into every cofactor. A zero determinant
    // gives an infinite factor and NaN/infinite coefficients, on purpose.
    const double f = 1.0 / d;

    // Adjugate: entry [row][col] is the cofactor of Normal at (col, row), so
    // the minor drops row `col` and column `row`.
    for (int row = 1; row <= n; ++row) {
        for (int col = 1; col <= n; ++col) {
            Det = 0.0;
            creataorder(n, col, row);
            double cofactor = Det;
            if ((row + col) % 2 != 0) cofactor = -cofactor;
            Inverse[row][col] = cofactor * f;
        }
    }

    // Product = Inverse Array^T, then Coef = Product B.
    for (int t = 1; t <= n; ++t) {
        for (int s = 1; s <= m; ++s) {
            double sum = 0.0;
            for (int k = 1; k <= n; ++k) sum = sum + Inverse[t][k] * Array[s][k];
            Product[t][s] = sum;
        }
    }
    for (int t = 1; t <= n; ++t) {
        double sum = 0.0;
        for (int s = 1; s <= m; ++s) sum = sum + Product[t][s] * B[s];
        Coef[t] = sum;
    }
    return 0;
}

void CMvLsmFit::creatorder(int k) {
    if (k > kMaxTerms || TermCount > kMaxTerms) return;  // would index past Order/Normal
    forEachPermutation(Order, TermCount, k, [this] {
        // A complete permutation: its signed product, multiplied row by row.
        double t = inversionSign(Order, TermCount, 0) < 0 ? -1.0 : 1.0;
        for (int p = 1; p <= TermCount; ++p) t = t * Normal[p][Order[p]];
        Det = Det + t;
    });
}

// The same enumeration as creatorder. Only the permutations with
// Order[row] == col survive; the others still add a zero term, and the full
// n! leaves are visited, so the rounding matches the stored coefficients.
void CMvLsmFit::creataorder(int k, int row, int col) {
    if (k > kMaxTerms || TermCount > kMaxTerms) return;  // would index past Order/Normal
    forEachPermutation(Order, TermCount, k, [this, row, col] {
        // Sign of the permutation with position `row` removed; relabelling
        // the remaining columns keeps their order, so this is the sign in
        // the minor.
        double t = inversionSign(Order, TermCount, row) < 0 ? -1.0 : 1.0;
        for (int p = 1; p <= TermCount; ++p) {
            if (p == row) continue;
            // Zeroing and then multiplying on (rather than stopping) is what
            // the stored results were computed with: 0 * inf gives NaN here.
            if (Order[p] == col) {
                t = 0.0;
            } else {
                t = t * Normal[p][Order[p]];
            }
        }
        Det = Det + t;
    });
}

int CMvLsmFit::getorder(int* order, int n) {
    return inversionSign(order, n, 0);
}

int CMvLsmFit::getaorder(int* order, int n, int skip) {
    return inversionSign(order, n, skip);
}

namespace {

// One node of a small 3 x 3 demonstration grid, in field units (half field
// = 1): where the node was measured (u, v) and where it should be (X, Y).
// The measurements show a mild pincushion with some noise; the centre
// column and row were measured exactly on the axes.
struct DemoNode {
    double u, v;  // measured
    double X, Y;  // nominal
};

// Kept small on purpose: nine nodes give at most eighteen samples, within
// the twenty that a solve can take.
constexpr DemoNode kDemoNodes[9] = {
    {-1.031, 1.028, -1.0, 1.0}, {0.0, 1.004, 0.0, 1.0}, {1.027, 1.033, 1.0, 1.0},
    {-1.002, 0.0, -1.0, 0.0},   {0.0, 0.0, 0.0, 0.0},   {0.998, 0.0, 1.0, 0.0},
    {-1.029, -1.026, -1.0, -1.0}, {0.0, -0.997, 0.0, -1.0}, {1.034, -1.030, 1.0, -1.0},
};

}  // namespace

void CMvLsmFit::init() {
    // Each node offers two samples: the x sample leads with u (fitting X),
    // the y sample with v (fitting Y). A sample whose leading reading is zero
    // carries no information about its axis and is skipped. Regressors: the
    // leading reading, it times the other reading squared, and its cube times
    // the other reading squared (the pincushion terms).
    TermCount = 3;
    int rows = 0;
    for (const DemoNode& node : kDemoNodes) {
        const double samples[2][3] = {{node.u, node.v, node.X}, {node.v, node.u, node.Y}};
        for (const auto& sample : samples) {
            const double lead = sample[0];
            const double other = sample[1];
            if (!(std::fabs(lead) > 1e-6)) continue;
            ++rows;
            Array[rows][1] = lead;
            Array[rows][2] = lead * (other * other);
            Array[rows][3] = (lead * lead * lead) * (other * other);
            B[rows] = sample[2];
        }
    }
    SampleCount = rows;

    std::puts("Array[][], B[]:");
    for (int s = 1; s <= SampleCount; ++s) {
        for (int t = 1; t <= TermCount; ++t) std::printf("%5.8f ", Array[s][t]);
        std::printf(",%5.8f \n", B[s]);
    }
    std::putchar('\n');
}
