// The steps of calibrating a head; see Workflow.h.
#include "Workflow.h"

#include "Csv.h"
#include "Text.h"
#include "ToolError.h"

namespace zemcal_tool {

namespace {

const std::vector<std::string> kPatternColumns = {"row", "col", "nominal_x", "nominal_y", "command_x", "command_y"};
const std::vector<std::string> kMeasuredColumns = {"nominal_x", "nominal_y", "measured_x", "measured_y"};
constexpr std::size_t kMaxRows = 65 * 65;  // the largest pattern

tagVeyPointF pointOf(double x, double y) { return {static_cast<float>(x), static_cast<float>(y)}; }

}  // namespace

HeadSetup setupOf(const HeadParams& p, bool classic) {
    return {p.valSize, p.fieldSize, p.resolution, p.swap, p.invertX, p.invertY, classic};
}

std::unique_ptr<tagLenPar> newRecord(const HeadSetup& s) {
    if (const std::string bad = validateGeometry(s.valSize, s.fieldSize, s.resolution); !bad.empty())
        throw ToolError(bad);
    auto rec = std::make_unique<tagLenPar>();
    rec->FieldSize = s.fieldSize;
    rec->ValSize = s.valSize;
    rec->Resolution = s.resolution;
    rec->Center = (s.resolution + 1) / 2;
    rec->CenterSq = static_cast<double>(rec->Center) * rec->Center;
    rec->XYFlip = rec->XYFlipSaved = s.swap ? 1 : 0;
    rec->XInvert = rec->XInvertSaved = s.invertX ? 1 : 0;
    rec->YInvert = rec->YInvertSaved = s.invertY ? 1 : 0;
    rec->LineCount = 0;
    rec->UseLsm = 1;
    rec->Version = s.classic ? CalVerClassic : CalVerRevised;
    // The nine points exact: measured where nominal, in the command frame.
    for (int i = 0; i < 9; ++i) {
        const tagVeyPointF u = CCalibPattern::Node(s.valSize, 3, i / 3, i % 3);
        rec->Pnt[i] = {u, u};
    }
    CCalibAlg::MVLSMCoef(*rec);
    return rec;
}

std::string patternCsv(const std::vector<tagPatternNode>& nodes) {
    std::string text = "row,col,nominal_x,nominal_y,command_x,command_y\n";
    for (const tagPatternNode& n : nodes)
        text += strprintf("%d,%d,%.9g,%.9g,%.9g,%.9g\n", n.Row, n.Col, n.Nominal.x, n.Nominal.y, n.Command.x,
                          n.Command.y);
    return text;
}

std::vector<PatternRow> parsePattern(std::string_view text, const std::string& name) {
    std::vector<PatternRow> rows;
    for (const CsvRow& r : parseCsv(text, name, kPatternColumns, kMaxRows)) {
        const std::vector<double>& v = r.values;
        rows.push_back({r.line,
                        {static_cast<std::int32_t>(v[0]), static_cast<std::int32_t>(v[1]), pointOf(v[2], v[3]),
                         pointOf(v[4], v[5])}});
    }
    return rows;
}

std::string measureVirtually(std::string_view patternText, const std::string& name, VirtualHead& head) {
    std::string text = "row,col,nominal_x,nominal_y,command_x,command_y,measured_x,measured_y\n";
    for (const PatternRow& r : parsePattern(patternText, name)) {
        const tagPatternNode& n = r.node;
        const bool swap = head.params().swap;
        const Vec2 spot = head.measure(swap ? n.Command.y : n.Command.x, swap ? n.Command.x : n.Command.y);
        text += strprintf("%d,%d,%.9g,%.9g,%.9g,%.9g,%.6f,%.6f\n", n.Row, n.Col, n.Nominal.x, n.Nominal.y,
                          n.Command.x, n.Command.y, spot.x, spot.y);
    }
    return text;
}

MeasuredRows parseMeasurement(std::string_view text, const std::string& name) {
    MeasuredRows m;
    for (const CsvRow& r : parseCsv(text, name, kMeasuredColumns, kMaxRows)) {
        const std::vector<double>& v = r.values;
        m.nodes.push_back({pointOf(v[0], v[1]), pointOf(v[2], v[3])});
        m.lines.push_back(r.line);
    }
    if (m.nodes.empty()) throw ToolError(name + ": no measured node");
    return m;
}

std::vector<tagGridSample> parseGridSamples(std::string_view text, const std::string& name) {
    std::vector<std::string> columns = kPatternColumns;
    columns.insert(columns.end(), {"measured_x", "measured_y"});
    std::vector<tagGridSample> samples;
    for (const CsvRow& r : parseCsv(text, name, columns, kMaxRows)) {
        const std::vector<double>& v = r.values;
        samples.push_back({static_cast<std::int32_t>(v[0]), static_cast<std::int32_t>(v[1]), pointOf(v[2], v[3]),
                           pointOf(v[4], v[5]), pointOf(v[6], v[7])});
    }
    return samples;
}

FitOutcome fitMeasurement(tagLenPar& rec, const MeasuredRows& m, const std::string& name, int replace,
                          bool strict, const std::vector<tagGridSample>* solve) {
    auto where = [&](const tagMeasurementProblem& p) {
        return p.Index >= 0 ? strprintf("%s: line %d: ", name.c_str(), m.lines[static_cast<std::size_t>(p.Index)])
                            : name + ": ";
    };
    FitOutcome out;
    tagMeasurementProblem problem;
    tagLenPar trial = rec;  // rec changes only when everything is accepted
    if (solve != nullptr) {
        if (replace >= 0) throw ToolError(name + ": a solved table is added; it cannot replace table #" +
                                          std::to_string(replace));
        if (!CMeasurementFit::Check(trial, m.nodes, out.report, problem))
            throw ToolError(where(problem) + problem.Message);
        if (out.report.N == 3) throw ToolError(name + ": the nine points are fitted, not solved: --solve needs a grid");
        tagSolvedTable table;
        if (!CGridSolver::Solve(trial, *solve, table)) throw ToolError(name + ": " + table.Error);
        out.report.TableIndex = static_cast<std::int32_t>(trial.Stacks.size());
        CCalibAlg::setCalibPnts(trial, out.report.TableIndex, table.N, table.Pnts.data());
        out.solved = true;
        out.predictedMaxUm = table.PredictedMaxUm;
        out.predictedRmsUm = table.PredictedRmsUm;
    } else if (!CMeasurementFit::Apply(trial, m.nodes, replace, out.report, problem)) {
        throw ToolError(where(problem) + problem.Message);
    }
    for (const tagMeasurementProblem& o : out.report.Outliers) {
        if (strict) throw ToolError(where(o) + o.Message + " (refused with --strict)");
        out.warnings.push_back(where(o) + o.Message);
    }
    if (out.report.TablesDropped > 0)
        out.warnings.push_back(strprintf("%s: the nine points are new: the %d grid tables measured through "
                                         "the previous fit are removed",
                                         name.c_str(), out.report.TablesDropped));
    rec = std::move(trial);
    return out;
}

}  // namespace zemcal_tool
