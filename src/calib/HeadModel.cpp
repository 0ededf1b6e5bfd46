// The head model of the grid solver; see HeadModel.h.
#include "HeadModel.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zemcal_detail {

namespace {

// The stencil along one index: its first node, size and Lagrange weights at t.
struct Stencil {
    int first = 0, size = 0;
    double w[4] = {};
};

Stencil stencilAt(double t, int n) {
    const int mid = (n - 1) / 2;
    const int lo = t <= mid ? 0 : mid, hi = t <= mid ? mid : n - 1;
    Stencil s;
    s.size = std::min(4, hi - lo + 1);
    const int guess = static_cast<int>(std::floor(t)) - (s.size / 2 - 1);
    s.first = std::clamp(guess, lo, hi - s.size + 1);
    for (int a = 0; a < s.size; ++a) {
        double w = 1.0;
        for (int b = 0; b < s.size; ++b)
            if (b != a) w *= (t - (s.first + b)) / static_cast<double>(a - b);
        s.w[a] = w;
    }
    return s;
}

double cross(Vec2d a, Vec2d b) { return a.x * b.y - a.y * b.x; }
Vec2d minus(Vec2d a, Vec2d b) { return {a.x - b.x, a.y - b.y}; }

}  // namespace

HeadModel::HeadModel(int n, std::vector<Vec2d> commands, std::vector<Vec2d> measured)
    : n_(n), commands_(std::move(commands)), measured_(std::move(measured)) {}

Vec2d HeadModel::at(const std::vector<Vec2d>& f, double u, double v) const {
    const Stencil su = stencilAt(u, n_), sv = stencilAt(v, n_);
    Vec2d r;
    for (int b = 0; b < sv.size; ++b) {
        Vec2d row;
        for (int a = 0; a < su.size; ++a) {
            const Vec2d& p = f[static_cast<std::size_t>((sv.first + b) * n_ + su.first + a)];
            row.x += su.w[a] * p.x;
            row.y += su.w[a] * p.y;
        }
        r.x += sv.w[b] * row.x;
        r.y += sv.w[b] * row.y;
    }
    return r;
}

bool HeadModel::invert(const std::vector<Vec2d>& f, Vec2d target, double& u, double& v) const {
    constexpr double kStep = 1e-4;  // index units, for the finite-difference Jacobian
    const double scale = std::max(std::fabs(target.x), std::fabs(target.y)) + 1.0;
    for (int iteration = 0; iteration < 30; ++iteration) {
        const Vec2d r = minus(at(f, u, v), target);
        if (std::fabs(r.x) + std::fabs(r.y) <= 1e-12 * scale) return true;
        const Vec2d du = minus(at(f, u + kStep, v), at(f, u - kStep, v));
        const Vec2d dv = minus(at(f, u, v + kStep), at(f, u, v - kStep));
        const double det = cross(du, dv) / (4 * kStep * kStep);
        if (!(std::fabs(det) > 0.0)) return false;
        const double ju = (r.x * dv.y - r.y * dv.x) / (2 * kStep), jv = (du.x * r.y - du.y * r.x) / (2 * kStep);
        u -= ju / det;
        v -= jv / det;
        if (!(std::fabs(u) < 4.0 * n_ && std::fabs(v) < 4.0 * n_)) return false;  // ran off the grid
    }
    return std::fabs(at(f, u, v).x - target.x) + std::fabs(at(f, u, v).y - target.y) <= 1e-9 * scale;
}

bool HeadModel::Folds(int n, const std::vector<Vec2d>& values) {
    auto value = [&](int row, int col) { return values[static_cast<std::size_t>(row * n + col)]; };
    double orientation = 0.0;
    for (int row = 0; row + 1 < n; ++row)
        for (int col = 0; col + 1 < n; ++col) {
            // Each corner of the cell with its two neighbours in the cell.
            const Vec2d p00 = value(row, col), p01 = value(row, col + 1), p10 = value(row + 1, col),
                        p11 = value(row + 1, col + 1);
            const double turns[4] = {cross(minus(p01, p00), minus(p10, p00)), cross(minus(p11, p01), minus(p00, p01)),
                                     cross(minus(p10, p11), minus(p01, p11)), cross(minus(p00, p10), minus(p11, p10))};
            for (double t : turns) {
                if (orientation == 0.0) orientation = t;
                if (!(t * orientation > 0.0)) return true;
            }
        }
    return false;
}

}  // namespace zemcal_detail
