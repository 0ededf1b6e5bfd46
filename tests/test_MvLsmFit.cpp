// Tests of the least-squares fitter. Hex-float expectations were printed by
// tests/reference/numerics_reference.py, which enumerates the permutations
// with itertools rather than by the fitter's recursion.
#include <zemcal/CalibAlg.h>
#include <zemcal/MvLsmFit.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

using Rows = std::vector<std::vector<double>>;

// The fitter is about 20 KB: kept off the test's stack.
std::unique_ptr<CMvLsmFit> solved(const Rows& rows, const std::vector<double>& obs) {
    auto fit = std::make_unique<CMvLsmFit>();
    std::vector<double> x;
    for (const auto& r : rows) x.insert(x.end(), r.begin(), r.end());
    fit->init(x, obs);
    fit->OLS();
    return fit;
}

std::vector<double> coefs(const CMvLsmFit& f) { return {f.Coef + 1, f.Coef + 1 + f.TermCount}; }

TEST(MvLsmFit, FitsMatchTheReferenceBitForBit) {
    Rows pincushion;  // x, x*y^2, x^3*y^2 of six measured (x, y), as in the fits
    for (auto [x, y] : {std::pair{-1.03, 1.02}, {1.01, 0.98}, {-0.99, 0.0}, {1.02, 0.01}, {0.97, -1.04}, {-1.05, -0.96}})
        pincushion.push_back({x, x * (y * y), (x * x * x) * (y * y)});
    const struct { Rows rows; std::vector<double> obs, want; } cases[] = {
        // One term: 1/(sum r*r) times each r, then summed against B; the
        // textbook sum(r*B)/sum(r*r) is one ulp lower, 0x1.3ffffffffffffp+2.
        {{{0.1}, {0.1}, {0.3}}, {1.1, 2.3, 0.7}, {5.0}},
        {{{1, 0.5}, {1, 1.5}, {1, 2.25}, {1, 3}}, {1.2, 2.9, 4.1, 5.3}, {0x1.9f36016719f28p-2, 0x1.a36b4f413a36ap+0}},
        {pincushion, {-1, 1, -1, 1, 1, -1}, {0x1.fd4d44440b120p-1, 0x1.f6570abdeb700p-2, -0x1.f11b9cca915d0p-2}},
    };
    for (const auto& c : cases) {
        auto fit = solved(c.rows, c.obs);
        EXPECT_EQ(coefs(*fit), c.want);
        fit->OLS();  // a repeat recomputes everything from Array and B
        EXPECT_EQ(coefs(*fit), c.want);
    }
}

TEST(MvLsmFit, LeibnizSumsInTheirEnumerationOrder) {
    const struct { const char* name; int n; std::vector<double> normal; int row, col; double want; } cases[] = {
        // Order-sensitive entries: ascending or first-to-last enumeration rounds differently.
        {"det 3x3", 3, {-5.9, 5.2, 6.6, -3.1, -5.0, 8.3, 3.7, 6.2, -8.5}, 0, 0, 0x1.1b22d0e56041dp+6},
        {"minor 4x4", 4, {8.3, -4.3, 1.9, -1.4, -8.7, 1.0, -6.5, -8.0, -8.4, -6.1, -7.3, 2.4, 0.1, 8.7, 7.8, 8.9},
         2, 3, -0x1.a679fbe76c8b5p+9},
        // Non-symmetric, by hand: without row 1 and column 2, 7*23 - 13*17;
        // without row 2 and column 1, 3*23 - 5*19.
        {"minor 1,2", 3, {2, 3, 5, 7, 11, 13, 17, 19, 23}, 1, 2, -60.0},
        {"minor 2,1", 3, {2, 3, 5, 7, 11, 13, 17, 19, 23}, 2, 1, -26.0},
    };
    auto fit = std::make_unique<CMvLsmFit>();
    for (const auto& c : cases) {
        fit->TermCount = c.n;
        for (int i = 0; i < c.n * c.n; ++i) fit->Normal[i / c.n + 1][i % c.n + 1] = c.normal[i];
        fit->Det = 0.0;
        if (c.row == 0) fit->creatorder(c.n); else fit->creataorder(c.n, c.row, c.col);
        EXPECT_EQ(fit->Det, c.want) << c.name;
    }
}

TEST(MvLsmFit, PermutationSignsAndDegenerateOrOversizedSystems) {
    auto fit = std::make_unique<CMvLsmFit>();
    int swap[4] = {0, 2, 1, 3}, cycle[4] = {0, 3, 1, 2};  // {unused, order[1..3]}; skip 0 leaves out nothing
    EXPECT_TRUE(fit->getorder(swap, 3) == -1 && fit->getaorder(swap, 3, 3) == -1 && fit->getaorder(swap, 3, 1) == 1);
    EXPECT_TRUE(fit->getorder(cycle, 3) == 1 && fit->getaorder(cycle, 3, 2) == -1 && fit->getaorder(cycle, 3, 0) == 1);
    EXPECT_EQ(fit->getorder(swap, 0), 1);

    // Two equal columns: det = 14*14 - 14*14 = 0 and f = inf.
    EXPECT_TRUE(hasNaN(coefs(*solved({{1, 1}, {2, 2}, {3, 3}}, {1, 2, 3}))));
    fit->Array[1][3] = -7.0;
    fit->init({1, 2, 3, 4, 5, 6, 7}, {10, 20, 30});  // the 7 is left over
    EXPECT_TRUE(fit->TermCount == 2 && fit->Array[3][2] == 6.0 && fit->B[3] == 30.0 && fit->Array[1][3] == -7.0);
    for (auto [xs, ys] : {std::pair<size_t, size_t>{3, 0}, {41, 41}, {21, 1}}) {
        fit->init(std::vector<double>(xs, 1.0), std::vector<double>(ys, 1.0));
        EXPECT_EQ(fit->SampleCount + fit->TermCount, 0) << xs << " / " << ys;
    }
    fit->init(std::vector<double>(21, 1.0), std::vector<double>(21, 1.0));
    fit->OLS();  // 21 samples load, but Product holds only 20
    EXPECT_TRUE(std::isnan(fit->Coef[1]) && std::isnan(fit->Coef[20]));
}

TEST(MvLsmFit, DemonstrationPrintsItsSystem) {
    auto fit = std::make_unique<CMvLsmFit>();
    testing::internal::CaptureStdout();
    fit->init();
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_EQ(fit->SampleCount, 12);  // six nodes off the centre column, six off the centre row
    // First node measured at (-1.031, 1.028): 1.028^2 = 1.056784, 1.031^3 = 1.095912791.
    EXPECT_EQ(out.rfind("Array[][], B[]:\n-1.03100000 -1.08954430 -1.15814310 ,-1.00000000 \n", 0), 0u);
    EXPECT_TRUE(std::count(out.begin(), out.end(), '\n') == 12 + 2 && out.substr(out.size() - 3) == " \n\n");
}

}  // namespace
