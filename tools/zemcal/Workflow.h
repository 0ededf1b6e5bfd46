// The steps of calibrating a head, shared by the commands that run them one
// at a time (new, pattern, measure, fit) and by simulate, which runs them
// all on the virtual head through the same files' text.
//
// Files: a pattern is CSV with the header "row,col,nominal_x,nominal_y,
// command_x,command_y" (nominal in mm, logical frame; command in galvo units
// as the scan card receives it, printed to read back to the same float); a
// measurement is any CSV holding nominal_x, nominal_y, measured_x,
// measured_y (mm), such as a pattern with two columns appended.
#pragma once

#include <zemcal/ZemCal.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "VirtualHead.h"

namespace zemcal_tool {

/// What `zemcal new` asks for: the geometry and mounting of a head.
struct HeadSetup {
    double valSize = 100.0;     ///< mm: side of the working field
    double fieldSize = 110.0;   ///< mm: device span
    std::int32_t resolution = 65535;
    bool swap = false, invertX = false, invertY = false;
    bool classic = false;       ///< the classic fit (version 'P') instead of the revised one
};

/// The setup of the head a virtual head's parameters describe.
HeadSetup setupOf(const HeadParams& p, bool classic);

/// An uncorrected calibration: the nine points exact, no tables, both flag
/// copies set. Throws ToolError for an unusable setup.
std::unique_ptr<tagLenPar> newRecord(const HeadSetup& s);

/// The pattern file's text.
std::string patternCsv(const std::vector<tagPatternNode>& nodes);

/// A pattern row read back, with its line.
struct PatternRow {
    int line = 0;
    tagPatternNode node;
};
std::vector<PatternRow> parsePattern(std::string_view text, const std::string& name);

/// The virtual head as a vision system: lands each command of the pattern
/// text (the card routes command_x to the Y mirror when the head is
/// swapped), adds the head's measurement noise, and returns the pattern
/// with measured_x and measured_y appended.
std::string measureVirtually(std::string_view patternText, const std::string& name, VirtualHead& head);

/// A measured node read back, with its line.
struct MeasuredRows {
    std::vector<tagMeasuredNode> nodes;
    std::vector<int> lines;
};
MeasuredRows parseMeasurement(std::string_view text, const std::string& name);

/// A measurement of a grid with the commands it was marked with (the
/// pattern's columns and the measured ones), for the grid solver.
std::vector<tagGridSample> parseGridSamples(std::string_view text, const std::string& name);

/// The outcome of fitting a measurement into a record.
struct FitOutcome {
    tagMeasurementReport report;
    std::vector<std::string> warnings;  ///< "name: line L: ..." sentences
    bool solved = false;                ///< the table came from CGridSolver
    double predictedMaxUm = 0.0;        ///< its predicted largest error
    double predictedRmsUm = 0.0;
};

/// CMeasurementFit::Apply with the tool's messages: a refusal is thrown as
/// ToolError naming the file and the line; outliers become warnings, or the
/// refusal with strict set. With solve (a grid measurement holding its
/// commands), the table stored is the one CGridSolver computes from it
/// instead of the measured errors. rec is untouched when it throws.
FitOutcome fitMeasurement(tagLenPar& rec, const MeasuredRows& m, const std::string& name, int replace,
                          bool strict, const std::vector<tagGridSample>* solve = nullptr);

/// Largest bytes of a pattern or measurement file (a 65 x 65 pattern takes
/// about 300 kB).
constexpr std::size_t kMaxCsvBytes = 16u << 20;

}  // namespace zemcal_tool
