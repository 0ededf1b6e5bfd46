// CMeasurementFit: a measured pattern checked node by node and stored in the
// record (see CalibWorkflow.h for the rules and OutlierScreen.h for the
// outlier test).
#include <zemcal/CalibWorkflow.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <zemcal/CalibAlg.h>

#include "OutlierScreen.h"
#include "interface/FacadeSteps.h"

namespace {

constexpr double kNodeToleranceMm = 1e-4;  // a nominal position names a node to 0.1 um
constexpr double kPlausibleShare = 0.05;   // farthest a mark may land: 5 % of the field
constexpr int kPatternSizes[] = {3, 5, 9, 17, 25, 33, 65};
constexpr std::size_t kWorstShown = 5;

std::string format(const char* fmt, double a, double b = 0, double c = 0, double d = 0, double e = 0,
                   double f = 0) {
    char buf[256];
    std::snprintf(buf, sizeof buf, fmt, a, b, c, d, e, f);
    return buf;
}

std::string nodeName(int row, int col) {
    return "node (row " + std::to_string(row) + ", column " + std::to_string(col) + ")";
}

// Row and column of the n x n node at p, if p is one to the tolerance.
bool nodeAt(double valSize, int n, tagVeyPointF p, int& row, int& col) {
    const double pitch = valSize / (n - 1);
    col = static_cast<int>(std::lround((p.x + valSize / 2) / pitch));
    row = static_cast<int>(std::lround((valSize / 2 - p.y) / pitch));
    if (!(row >= 0 && row < n && col >= 0 && col < n)) return false;
    const tagVeyPointF node = CCalibPattern::Node(valSize, n, row, col);
    return std::fabs(node.x - p.x) <= kNodeToleranceMm && std::fabs(node.y - p.y) <= kNodeToleranceMm;
}

// The pattern size whose node count is nearest the number of nodes given.
int patternSizeFor(std::size_t count) {
    int best = kPatternSizes[0];
    for (int n : kPatternSizes) {
        const double d = std::fabs(static_cast<double>(n) * n - static_cast<double>(count));
        if (d < std::fabs(static_cast<double>(best) * best - static_cast<double>(count))) best = n;
    }
    return best;
}

double distanceMm(tagVeyPointF a, tagVeyPointF b) {
    return std::hypot(static_cast<double>(a.x) - b.x, static_cast<double>(a.y) - b.y);
}

// Why measured positions may lie far from their nodes: tried on every node,
// the first reading under which they lie close names the likely cause.
std::string likelyCause(const tagLenPar& par, const std::vector<tagMeasuredNode>& nodes) {
    const double limit = kPlausibleShare * par.ValSize;
    const double k = par.Resolution / par.FieldSize;
    // A reading: the cause, the units per millimetre of the positions it
    // expects (scaling the limit) and the position it expects for a node.
    struct Reading {
        const char* cause;
        double unit;
        tagVeyPointF (*expect)(tagVeyPointF nominal, double k, double center);
    };
    const Reading readings[] = {
        {"the measured positions look like micrometres, not millimetres", 1000.0,
         [](tagVeyPointF q, double, double) { return tagVeyPointF{q.x * 1000.0f, q.y * 1000.0f}; }},
        {"the measured positions look like galvo units, not millimetres", k,
         [](tagVeyPointF q, double k, double c) {
             return tagVeyPointF{static_cast<float>(c + q.x * k), static_cast<float>(c + q.y * k)};
         }},
        {"the measured_x and measured_y columns look swapped", 1.0,
         [](tagVeyPointF q, double, double) { return tagVeyPointF{q.y, q.x}; }},
        {"x looks inverted: a head mounted otherwise, or a camera whose x axis is reversed", 1.0,
         [](tagVeyPointF q, double, double) { return tagVeyPointF{-q.x, q.y}; }},
        {"y looks inverted: a head mounted otherwise, or a camera whose y axis is reversed", 1.0,
         [](tagVeyPointF q, double, double) { return tagVeyPointF{q.x, -q.y}; }},
    };
    for (const Reading& r : readings) {
        const bool fits = std::all_of(nodes.begin(), nodes.end(), [&](const tagMeasuredNode& m) {
            return distanceMm(m.Measured, r.expect(m.Nominal, k, par.Center)) <= limit * r.unit;
        });
        if (fits) return r.cause;
    }
    return "is it the measurement of another head, lens or working field?";
}

}  // namespace


bool CMeasurementFit::Check(const tagLenPar& par, const std::vector<tagMeasuredNode>& nodes,
                            tagMeasurementReport& report, tagMeasurementProblem& problem) {
    report = tagMeasurementReport{};
    problem = tagMeasurementProblem{};
    const double v = par.ValSize;
    if (nodes.empty() || !(v > 0.0)) {
        problem.Message = nodes.empty() ? "the measurement holds no node" : "the calibration has no working field";
        return false;
    }
    const int n = patternSizeFor(nodes.size());
    report.N = n;

    // Every node once, recognised by its nominal position.
    std::vector<int> slot(static_cast<std::size_t>(n) * n, -1);
    std::vector<int> rows(nodes.size()), cols(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const tagVeyPointF q = nodes[i].Nominal;
        problem.Index = static_cast<int>(i);
        if (!nodeAt(v, n, q, rows[i], cols[i])) {
            problem.Message = format("nominal position (%.6g, %.6g) is no node of the ", q.x, q.y) +
                              std::to_string(n) + " x " + std::to_string(n) + " pattern over the " +
                              format("%g mm field (pitch %g mm)", v, v / (n - 1));
            return false;
        }
        int& first = slot[static_cast<std::size_t>(rows[i] * n + cols[i])];
        if (first >= 0) {
            problem.Row = rows[i], problem.Col = cols[i];
            problem.Message = nodeName(rows[i], cols[i]) + " is given twice";
            return false;
        }
        first = static_cast<int>(i);
    }
    problem.Index = -1;
    for (int k = 0; k < n * n; ++k) {
        if (slot[static_cast<std::size_t>(k)] >= 0) continue;
        const tagVeyPointF q = CCalibPattern::Node(v, n, k / n, k % n);
        problem.Row = k / n, problem.Col = k % n;
        problem.Message = nodeName(k / n, k % n) + format(" at (%.6g, %.6g) is missing", q.x, q.y);
        return false;
    }

    // Plausible positions, and the node errors.
    double sumSq = 0.0;
    std::vector<tagNodeError> errors;
    std::vector<double> field(2 * static_cast<std::size_t>(n) * n);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const tagMeasuredNode& m = nodes[i];
        const double d = distanceMm(m.Measured, m.Nominal);
        if (!(d <= kPlausibleShare * v)) {
            problem = {static_cast<int>(i), rows[i], cols[i],
                       nodeName(rows[i], cols[i]) +
                           format(": measured (%.6g, %.6g) lies %.6g mm from its nominal position, more than "
                                  "5 %% of the %g mm field: ",
                                  m.Measured.x, m.Measured.y, d, v) +
                           likelyCause(par, nodes)};
            return false;
        }
        errors.push_back({static_cast<int>(i), rows[i], cols[i], d * 1000.0});
        sumSq += d * d * 1e6;
        const std::size_t k = static_cast<std::size_t>(rows[i] * n + cols[i]);
        field[2 * k] = static_cast<double>(m.Measured.x) - m.Nominal.x;
        field[2 * k + 1] = static_cast<double>(m.Measured.y) - m.Nominal.y;
    }
    report.RmsUm = std::sqrt(sumSq / static_cast<double>(nodes.size()));
    std::stable_sort(errors.begin(), errors.end(),
                     [](const tagNodeError& a, const tagNodeError& b) { return a.ErrorUm > b.ErrorUm; });
    report.LargestUm = errors.front().ErrorUm;
    errors.resize(std::min(errors.size(), kWorstShown));
    report.Worst = errors;

    if (n >= 5) {
        for (int k : zemcal_detail::FindOutliers(field, n)) {
            const int i = slot[static_cast<std::size_t>(k)];
            const double dx = field[2 * static_cast<std::size_t>(k)], dy = field[2 * static_cast<std::size_t>(k) + 1];
            report.Outliers.push_back(
                {i, k / n, k % n,
                 nodeName(k / n, k % n) +
                     format(" is an outlier: its error (%.1f, %.1f) um departs from what its neighbours predict",
                            dx * 1000.0, dy * 1000.0)});
        }
    }
    return true;
}

bool CMeasurementFit::Apply(tagLenPar& par, const std::vector<tagMeasuredNode>& nodes, int replaceIndex,
                            tagMeasurementReport& report, tagMeasurementProblem& problem) {
    if (!Check(par, nodes, report, problem)) return false;
    const int n = report.N;
    std::vector<tagCalData> table(static_cast<std::size_t>(n) * n);
    for (const tagMeasuredNode& m : nodes) {
        int row = 0, col = 0;
        nodeAt(par.ValSize, n, m.Nominal, row, col);
        table[static_cast<std::size_t>(row * n + col)] = {CCalibPattern::Node(par.ValSize, n, row, col), m.Measured};
    }
    if (n == 3) {
        // The fit works in the command frame: the saved inversions map each
        // logical node and its mark there (the rule is its own inverse).
        const zemcal_detail::AxisFlags flags = zemcal_detail::SavedFlags(par);
        tagCalData pnt[9];
        for (int i = 0; i < 9; ++i) {
            tagVeyPointF logical = CCalibPattern::Node(par.ValSize, 3, i / 3, i % 3);
            zemcal_detail::Invert(logical, flags);
            int row = 0, col = 0;
            nodeAt(par.ValSize, 3, logical, row, col);
            pnt[i] = table[static_cast<std::size_t>(row * 3 + col)];
            zemcal_detail::Invert(pnt[i].PntA, flags);
            zemcal_detail::Invert(pnt[i].PntB, flags);
        }
        CCalibAlg::setCalibPnts(par, -1, 3, pnt);
        report.TablesDropped = static_cast<int>(par.Stacks.size());
        par.Stacks.clear();
        CCalibAlg::MVLSMCoef(par);
        return true;
    }
    const int tables = static_cast<int>(par.Stacks.size());
    if (replaceIndex >= tables) {
        problem = {-1, -1, -1, "there is no grid table #" + std::to_string(replaceIndex) + " to replace (the "
                                   "calibration has " + std::to_string(tables) + ")"};
        return false;
    }
    const int index = replaceIndex >= 0 ? replaceIndex : tables;
    if (replaceIndex >= 0 && par.Stacks[static_cast<std::size_t>(index)].Num != n) {
        problem = {-1, -1, -1, "grid table #" + std::to_string(index) + " is " +
                                   std::to_string(par.Stacks[static_cast<std::size_t>(index)].Num) + " x " +
                                   std::to_string(par.Stacks[static_cast<std::size_t>(index)].Num) +
                                   ": a " + std::to_string(n) + " x " + std::to_string(n) +
                                   " measurement cannot replace it"};
        return false;
    }
    CCalibAlg::setCalibPnts(par, index, n, table.data());
    report.TableIndex = index;
    return true;
}
