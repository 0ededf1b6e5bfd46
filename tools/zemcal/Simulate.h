// The simulated calibration workflow: mark the nine points with linear
// commands, measure them, fit; then optionally mark grids through the
// current correction, measure them and add them as tables, pass after pass.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "Info.h"
#include "VirtualHead.h"

namespace zemcal_tool {

struct SimulateSettings {
    std::string output;  ///< the calibration file to write
    int grid = 0;        ///< points per side of each grid pass; 0: nine points only
    int passes = 1;      ///< grid passes (with grid > 0)
    bool solve = false;
    bool classic = false;  ///< the classic fit (version 'P') instead of the revised one  ///< solve each grid table (CGridSolver) instead of storing the measured errors
};

struct SimulateReport {
    ResidualStats ninePoints;                ///< linear commands: measured minus nominal
    std::vector<ResidualStats> gridPasses;   ///< each pass, at its nodes, before its table is added
    bool binary = false;                     ///< the file written is binary (else text)
};

/// Runs the workflow on a head built from params and writes settings.output
/// (text correction file without grids, binary calibration file with them).
/// Progress goes to log. Throws ToolError on any failure.
SimulateReport runSimulation(const HeadParams& params, const SimulateSettings& settings, std::FILE* log);

}  // namespace zemcal_tool
