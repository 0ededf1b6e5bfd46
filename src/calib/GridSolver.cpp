// CGridSolver: the grid table that corrects a head from one measured grid
// (see GridSolver.h for the method).
#include <zemcal/GridSolver.h>

#include <cmath>
#include <string>

#include <zemcal/CalibAlg.h>
#include <zemcal/CalibWorkflow.h>
#include <zemcal/PointCorrector.h>

#include "HeadModel.h"

namespace {

using zemcal_detail::HeadModel;
using zemcal_detail::Vec2d;

constexpr double kProbeMm = 0.01;       // residual used to probe the device factor
constexpr double kSmallResidual = 0.001;  // the correction's threshold on a summed residual
constexpr int kDensity = 4;             // predicted points per cell and side

std::string nodeName(int row, int col) {
    return "node (row " + std::to_string(row) + ", column " + std::to_string(col) + ")";
}

// The samples in row-major order, checked: a grid-table size, each node
// once, on its nominal position.
bool arrange(const tagLenPar& par, const std::vector<tagGridSample>& samples, std::vector<tagGridSample>& grid,
             std::string& error) {
    int n = 0;
    while (n * n < static_cast<int>(samples.size())) ++n;
    if (n * n != static_cast<int>(samples.size()) || !CCalibPattern::IsGridSize(n)) {
        error = "a solved grid has 5, 9, 17, 25, 33 or 65 nodes per side, each once; this one has " +
                std::to_string(samples.size()) + " nodes";
        return false;
    }
    grid.assign(samples.size(), tagGridSample{});
    std::vector<bool> seen(samples.size(), false);
    for (const tagGridSample& s : samples) {
        if (s.Row < 0 || s.Row >= n || s.Col < 0 || s.Col >= n) {
            error = nodeName(s.Row, s.Col) + " lies outside the " + std::to_string(n) + " x " + std::to_string(n) + " grid";
            return false;
        }
        const std::size_t k = static_cast<std::size_t>(s.Row * n + s.Col);
        const tagVeyPointF node = CCalibPattern::Node(par.ValSize, n, s.Row, s.Col);
        if (seen[k] || std::fabs(node.x - s.Nominal.x) > 1e-4 || std::fabs(node.y - s.Nominal.y) > 1e-4) {
            error = nodeName(s.Row, s.Col) + (seen[k] ? " is given twice" : " is not at its nominal position");
            return false;
        }
        seen[k] = true;
        grid[k] = s;
    }
    return true;
}

// Commands along each row (x) and each column (y) must move one way, the
// same for all rows (columns): anything else is no grid a head drew.
bool monotonic(int n, const std::vector<tagGridSample>& g, std::string& error) {
    double signX = 0.0, signY = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j + 1 < n; ++j) {
            const double dx = double(g[std::size_t(i * n + j + 1)].Command.x) - g[std::size_t(i * n + j)].Command.x;
            const double dy = double(g[std::size_t((j + 1) * n + i)].Command.y) - g[std::size_t(j * n + i)].Command.y;
            if (signX == 0.0) signX = dx, signY = dy;
            if (!(dx * signX > 0.0)) {
                error = "the commands do not change monotonically along row " + std::to_string(i) + " (at " +
                        nodeName(i, j + 1) + ")";
                return false;
            }
            if (!(dy * signY > 0.0)) {
                error = "the commands do not change monotonically along column " + std::to_string(i) + " (at " +
                        nodeName(j + 1, i) + ")";
                return false;
            }
        }
    return true;
}

// The summed residual E (mm) that makes the correction apply `want` (mm),
// under its rule for small residuals: at most 0.001 mm is applied at a
// quarter by the revised fit and not at all by the classic one. Where the
// need falls in the gap, the nearer representable amount wins.
double representable(double want, bool classic) {
    const double a = std::fabs(want), sign = want < 0 ? -1.0 : 1.0;
    if (a > kSmallResidual) return want;
    const double above = std::nextafter(static_cast<double>(std::nextafter(float(kSmallResidual), 1.0f)), 1.0);
    if (classic) return a > kSmallResidual / 2 ? sign * above : 0.0;
    if (a <= kSmallResidual / 4) return 4.0 * want;
    return a - kSmallResidual / 4 < above - a ? sign * kSmallResidual : sign * above;
}

// The part of a summed residual E (mm) the correction applies.
double applied(double e, bool classic) {
    if (classic) return std::fabs(e) >= kSmallResidual ? e : 0.0;
    return std::fabs(e) > kSmallResidual ? e : 0.25 * e;
}

// The record with one more table, uniform residual r over the whole field.
tagLenPar withUniformTable(const tagLenPar& base, tagVeyPointF r) {
    tagLenPar rec = base;
    const float h = static_cast<float>(base.ValSize / 2);
    tagCalData pts[4] = {{{-h, h}, {-h + r.x, h + r.y}}, {{h, h}, {h + r.x, h + r.y}},
                         {{-h, -h}, {-h + r.x, -h + r.y}}, {{h, -h}, {h + r.x, -h + r.y}}};
    CCalibAlg::setCalibPnts(rec, static_cast<int>(rec.Stacks.size()), 2, pts);
    return rec;
}

}  // namespace

bool CGridSolver::Solve(const tagLenPar& par, const std::vector<tagGridSample>& samples, tagSolvedTable& result) {
    result = tagSolvedTable{};
    std::vector<tagGridSample> g;
    if (!arrange(par, samples, g, result.Error) || !monotonic(static_cast<int>(std::lround(std::sqrt(g.size()))), g, result.Error))
        return false;
    const int n = static_cast<int>(std::lround(std::sqrt(static_cast<double>(g.size()))));
    std::vector<Vec2d> commands, measured;
    for (const tagGridSample& s : g) {
        commands.push_back({s.Command.x, s.Command.y});
        measured.push_back({s.Measured.x, s.Measured.y});
    }
    if (HeadModel::Folds(n, measured)) {
        result.Error = "the measured positions fold the field: the head cannot be modelled from them";
        return false;
    }
    const HeadModel head(n, commands, measured);

    // The record's correction without the new table, and its device factor
    // per axis (galvo units per mm of summed residual), probed at each node.
    tagLenPar rec = par;
    rec.UseLsm = 1;
    const CPointCorrector base(rec), probeX(withUniformTable(rec, {float(kProbeMm), 0.0f})),
        probeY(withUniformTable(rec, {0.0f, float(kProbeMm)}));
    const bool classic = rec.Version == CalVerClassic;
    // Per node: the residual the old tables sum to, and the residual the
    // correction must apply in all (want), first so that the node itself is
    // commanded where the model says it lands on target.
    std::vector<tagVeyPointF> old(g.size());
    std::vector<double> wantX(g.size()), wantY(g.size());
    for (int row = 0; row < n; ++row)
        for (int col = 0; col < n; ++col) {
            const std::size_t k = static_cast<std::size_t>(row * n + col);
            const tagVeyPointF node = g[k].Nominal;
            double u = col, v = row;
            if (!head.IndexOfLanding({node.x, node.y}, u, v)) {
                result.Error = "the head model does not reach " + nodeName(row, col) + ": the solve does not converge";
                return false;
            }
            const Vec2d target = head.Command(u, v);
            tagVeyPointF now{}, px{}, py{};
            base.Correct(node, now);
            probeX.Correct(node, px);
            probeY.Correct(node, py);
            for (const tagStack& t : rec.Stacks) {  // summed as the correction sums it
                tagVeyPointF scale{}, offset{};
                CCalibAlg::GetGridDR(rec, node, scale, offset, t);
                old[k].x += offset.x;
                old[k].y += offset.y;
            }
            const double appliedX = applied(old[k].x, classic), appliedY = applied(old[k].y, classic);
            const double fx = (double(px.x) - now.x) / (applied(old[k].x + kProbeMm, classic) - appliedX);
            const double fy = (double(py.y) - now.y) / (applied(old[k].y + kProbeMm, classic) - appliedY);
            wantX[k] = appliedX + (target.x - now.x) / fx;
            wantY[k] = appliedY + (target.y - now.y) / fy;
        }

    // The table, and the prediction: the finished record's commands over a
    // dense pattern, landed through the model.
    result.N = n;
    result.Pnts.resize(g.size());
    for (std::size_t k = 0; k < g.size(); ++k) {
        const tagVeyPointF node = g[k].Nominal;
        const double ex = representable(wantX[k], classic) - old[k].x;
        const double ey = representable(wantY[k], classic) - old[k].y;
        result.Pnts[k] = {node, {static_cast<float>(node.x + ex), static_cast<float>(node.y + ey)}};
    }
    tagLenPar solved = rec;
    CCalibAlg::setCalibPnts(solved, static_cast<int>(solved.Stacks.size()), n, result.Pnts.data());
    const CPointCorrector corrector(solved);
    const int m = kDensity * (n - 1) + 1;
    double sumSq = 0.0;
    for (int row = 0; row < m; ++row)
        for (int col = 0; col < m; ++col) {
            const tagVeyPointF p = CCalibPattern::Node(par.ValSize, m, row, col);
            tagVeyPointF c{};
            corrector.Correct(p, c);
            double u = col / double(kDensity), v = row / double(kDensity);
            if (!head.IndexOfCommand({c.x, c.y}, u, v)) {
                result.Error = "the head model cannot be inverted near (" + std::to_string(p.x) + ", " +
                               std::to_string(p.y) + ") mm: the solve does not converge";
                return false;
            }
            const Vec2d landed = head.Landing(u, v);
            const double e = std::hypot(landed.x - p.x, landed.y - p.y) * 1000.0;
            result.PredictedMaxUm = std::fmax(result.PredictedMaxUm, e);
            sumSq += e * e;
        }
    result.PredictedRmsUm = std::sqrt(sumSq / (double(m) * m));
    return true;
}
