// Outliers of a measured grid; see OutlierScreen.h for the rule.
#include "OutlierScreen.h"

#include <algorithm>
#include <cmath>

namespace zemcal_detail {

namespace {

constexpr double kFloorMm = 0.010;  // never flag a departure under 10 um
constexpr double kMadFactor = 5.0;

struct Prediction {
    double x = 0.0, y = 0.0;
    double weightSq = 0.0;  // sum of the squared weights
    bool valid = false;
};

// Predicts the error at position i of a line of n nodes from up to four of
// the nearest usable others within [lo, hi] (Lagrange weights at i). at(j)
// gives node j's error, usable(j) whether it may be used.
template <class At, class Usable>
Prediction predictWithin(int i, int lo, int hi, At at, Usable usable) {
    int picked[4];
    int count = 0;
    for (int dist = 1; dist <= hi - lo && count < 4; ++dist)
        for (int j : {i - dist, i + dist})
            if (count < 4 && j >= lo && j <= hi && usable(j)) picked[count++] = j;
    Prediction p;
    if (count < 2) return p;
    for (int a = 0; a < count; ++a) {
        double w = 1.0;
        for (int b = 0; b < count; ++b)
            if (b != a) w *= static_cast<double>(i - picked[b]) / (picked[a] - picked[b]);
        const auto e = at(picked[a]);
        p.x += w * e.first;
        p.y += w * e.second;
        p.weightSq += w * w;
    }
    p.valid = true;
    return p;
}

// The inverse-variance mean of two predictions (either may be missing).
Prediction combine(const Prediction& a, const Prediction& b) {
    if (!a.valid || !b.valid) return a.valid ? a : b;
    const double wa = 1.0 / a.weightSq, wb = 1.0 / b.weightSq;
    return {(a.x * wa + b.x * wb) / (wa + wb), (a.y * wa + b.y * wb) / (wa + wb), 1.0 / (wa + wb), true};
}

// The prediction along a line of n nodes (n odd). The correction treats each
// half-axis on its own, so the error field is smooth on either side of the
// middle node but may bend there: a node is predicted from its own side
// (the middle node belongs to both), the middle node from each side.
template <class At, class Usable>
Prediction predictAlong(int i, int n, At at, Usable usable) {
    const int mid = (n - 1) / 2;
    if (i < mid) return predictWithin(i, 0, mid, at, usable);
    if (i > mid) return predictWithin(i, mid, n - 1, at, usable);
    return combine(predictWithin(i, 0, mid, at, usable), predictWithin(i, mid, n - 1, at, usable));
}

double median(std::vector<double> v) {
    if (v.empty()) return 0.0;
    const std::size_t mid = v.size() / 2;
    std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(mid), v.end());
    return v[mid];
}

}  // namespace

std::vector<int> FindOutliers(const std::vector<double>& errors, int n) {
    const int count = n * n;
    std::vector<char> out(static_cast<std::size_t>(count), 0);
    std::vector<int> found;
    auto err = [&](int k) {
        return std::make_pair(errors[2 * static_cast<std::size_t>(k)], errors[2 * static_cast<std::size_t>(k) + 1]);
    };
    while (static_cast<int>(found.size()) < count / 4) {
        std::vector<double> dep(static_cast<std::size_t>(count), 0.0), amp(static_cast<std::size_t>(count), 0.0);
        std::vector<double> scaled;
        for (int k = 0; k < count; ++k) {
            if (out[static_cast<std::size_t>(k)]) continue;
            const int r = k / n, c = k % n;
            const Prediction pr = predictAlong(c, n, [&](int j) { return err(r * n + j); },
                                               [&](int j) { return !out[static_cast<std::size_t>(r * n + j)]; });
            const Prediction pc = predictAlong(r, n, [&](int j) { return err(j * n + c); },
                                               [&](int j) { return !out[static_cast<std::size_t>(j * n + c)]; });
            if (!pr.valid || !pc.valid) continue;  // fewer than two usable neighbours in a line
            const auto e = err(k);
            // The two directions averaged by their noise: an edge node leans on
            // the direction that interpolates rather than extrapolates.
            const Prediction p = combine(pr, pc);
            dep[static_cast<std::size_t>(k)] = std::hypot(e.first - p.x, e.second - p.y);
            amp[static_cast<std::size_t>(k)] = std::sqrt(1.0 + p.weightSq);
            scaled.push_back(dep[static_cast<std::size_t>(k)] / amp[static_cast<std::size_t>(k)]);
        }
        const double scatter = median(scaled);
        int worst = -1;
        double worstRatio = 1.0;
        for (int k = 0; k < count; ++k) {
            const double a = amp[static_cast<std::size_t>(k)];
            if (a == 0.0) continue;
            const double ratio = dep[static_cast<std::size_t>(k)] / a / std::max(kMadFactor * scatter, kFloorMm);
            if (ratio > worstRatio) worstRatio = ratio, worst = k;
        }
        if (worst < 0) break;
        out[static_cast<std::size_t>(worst)] = 1;
        found.push_back(worst);
    }
    return found;
}

}  // namespace zemcal_detail
