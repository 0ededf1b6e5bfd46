// Tests of the linear-equation solvers. Hex-float results were printed by
// tests/reference/numerics_reference.py (both solvers emulated in Python
// doubles); the other expected values are worked out in the comments.
#include <zemcal/CalibAlg.h>
#include <zemcal/MVLPkg.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

using Matrix = std::vector<std::vector<double>>;
using Vec = std::vector<double>;

Matrix hilbert(unsigned n) {
    Matrix h(n, Vec(n));
    for (unsigned k = 0; k < n * n; ++k) h[k / n][k % n] = 1.0 / (k / n + k % n + 1);
    return h;
}

TEST(MVLPkg, ResultCodesSolutionsAndShapes) {
    const struct { const char* name; Matrix A; Vec b; int code; Vec want; } cases[] = {
        // Column 0 is zero too, which factoring would report as 1.
        {"zero row, found before factoring", {{0, 0, 0}, {0, 1, 2}, {0, 3, 4}}, {1, 1, 1}, 2, {}},
        {"two equal rows", {{1, 2, 3}, {1, 2, 3}, {4, 5, 7}}, {1, 1, 1}, 1, {}},
        // The second refinement round corrects x by about 70%.
        {"refinement diverges", hilbert(14), Vec(14, 1.0), 1, {}},
        // The residual never drops below about 4e-12 of x in double: the
        // rounds are bounded instead of going on for ever.
        {"refinement never settles", hilbert(5), Vec(5, 1.0), 1, {}},
        {"empty system", {}, {}, 0, {}},
        {"zero diagonal needs a pivot", {{0, 1}, {1, 0}}, {2, 3}, 0, {3, 2}},
        // Rows of very different scale and a leading zero in b: the scaled
        // pivots, the skipped leading zeros and the unjudged first round all
        // show in the last bits.
        {"reference", {{0.009000000000000001, -0.06, 0.0, 0.30000000000000004}, {-200.0, 3.0, -0.003, -5000.0},
                       {-70.0, -3.0, 0.8, -200.0}, {-0.05, 0.04000000000000001, 0.0, 80.0}},
         {0.0, 0.6, 0.6, 0.4}, 0,
         {-0x1.01855b5f89058p-3, 0x1.779bc2fbe33a2p-8, -0x1.200b13b15ee84p+3, 0x1.42577eb70d256p-8}},
    };
    for (const auto& c : cases) {
        const unsigned n = static_cast<unsigned>(c.b.size());
        Vec x, inPlace = c.b;  // b may also receive the solution
        EXPECT_EQ(MVLPkg::SolveLinearEquations(n, 0, c.A, c.b, x), c.code) << c.name;
        if (c.code != 0) continue;
        MVLPkg::SolveLinearEquations(n, n, c.A, inPlace, inPlace);
        EXPECT_TRUE(x == c.want && inPlace == x) << c.name;
    }
    // Result 1 from refinement leaves x as it stood in that round.
    Vec x;
    MVLPkg::SolveLinearEquations(14, 14, hilbert(14), Vec(14, 1.0), x);
    EXPECT_TRUE(x.size() == 14 && x[0] == 0x1.f46e0d42c0000p+5 && x[13] == 0x1.b8a16ecdd12dcp+28);

    // Shapes smaller than n throw in the worker only; the wrapper reports 3.
    const struct { const char* name; unsigned n; Matrix A; Vec b; } shapes[] = {
        {"too few rows", 3, {{1, 0, 0}, {0, 1, 0}}, {1, 1, 1}},
        {"short row", 3, {{1, 0, 0}, {0, 1}, {0, 0, 1}}, {1, 1, 1}},
        {"short b", 3, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {1, 1}},
        {"huge n, refused before allocating", 0xFFFFFFFFu, {{1}}, {1}},
    };
    for (const auto& c : shapes) {
        EXPECT_THROW(MVLPkg::UnsafeSolveLinearEquations(c.n, c.n, c.A, c.b, x), std::out_of_range) << c.name;
        EXPECT_EQ(MVLPkg::SolveLinearEquations(c.n, c.n, c.A, c.b, x), 3) << c.name;
    }
}

TEST(MVLPkg, Gauss) {
    // By hand: f = -0.5, row 1 becomes (2.5 | 3.5); x1 = 1.4, x0 = (3 - 1.4) / 2.
    EXPECT_EQ(MVLPkg::Gauss({{2, 1, 3}, {1, 3, 5}}), (Vec{0.8, 1.4}));
    // Needs a row swap in the first column.
    EXPECT_EQ(MVLPkg::Gauss({{0.1, 0.7, -0.3, 1.9}, {0.9, 0.2, 0.4, -0.6}, {-0.5, 0.8, 0.3, 0.25}}),
              (Vec{0x1.d9a9f4ecd4fa7p-3, 0x1.7eb8dd7f5c6ebp+0, -0x1.624a1dd1250eep+1}));
    EXPECT_TRUE(MVLPkg::Gauss({}).empty());
    EXPECT_TRUE(hasNaN(MVLPkg::Gauss({{1, 2, 3}, {2, 4, 6}})));  // no pivot test
    EXPECT_THROW(MVLPkg::Gauss({{1, 2, 3}, {2, 4}}), std::out_of_range);
}

}  // namespace
