// `zemcal pattern CAL -o pattern.csv`: the points to mark next.
#include "Commands.h"
#include "Load.h"
#include "Text.h"
#include "ToolError.h"
#include "Workflow.h"

namespace zemcal_tool {

Command addPatternCommand(CLI::App& parent) {
    struct Options {
        std::string file, output;
        int grid = 0;
        int drop = -1;
        double fieldSize = 100.0;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("pattern", "List the points to mark, with their commands, as CSV");
    sub->add_option("CAL", o->file, "The calibration to mark through")->required();
    sub->add_option("-o,--output", o->output, "CSV file to write")->required();
    CLI::Option* grid = sub->add_option("--grid", o->grid, "An N x N grid (5, 9, 17, 25, 33 or 65) instead of the "
                                                           "nine points");
    sub->add_option("--drop", o->drop, "Command the grid through the calibration without grid table K, "
                                       "for a measurement that replaces it (fit --replace K)")
        ->needs(grid);
    addFieldSizeOption(*sub, o->fieldSize, "default 100");
    sub->footer(
        "Without --grid: the nine calibration points, commanded with the plain linear mapping (the\n"
        "nine-point fit is made from uncorrected marks). With --grid N: the N x N nodes commanded\n"
        "through the calibration. One row per node, rows from the top (largest y), left to right:\n"
        "row,col,nominal_x,nominal_y,command_x,command_y. Nominal in mm (field centre at the\n"
        "origin, y up); command in galvo units as the scan card receives it (with the swap flag\n"
        "the card sends command_x to the Y mirror). Mark the commands, measure the marks, and\n"
        "append measured_x,measured_y (mm) to each row for 'zemcal fit'.\n\n"
        "Examples:\n"
        "  zemcal pattern lens.zcal -o nine.csv\n"
        "  zemcal pattern lens.zcal --grid 17 -o grid17.csv");
    return {sub, [o] {
                LoadedCalibration lc = loadCalibration(o->file, o->fieldSize);
                tagLenPar& rec = *lc.rec;
                if (o->drop >= 0) {
                    if (o->drop >= static_cast<int>(rec.Stacks.size()))
                        throw ToolError(strprintf("--drop: %s has no grid table #%d", o->file.c_str(), o->drop));
                    rec.Stacks.erase(rec.Stacks.begin() + o->drop);
                }
                if (o->grid != 0 && !CCalibPattern::IsGridSize(o->grid))
                    throw ToolError("--grid: a grid table has 5, 9, 17, 25, 33 or 65 points per side");
                const std::vector<tagPatternNode> nodes =
                    o->grid == 0 ? CCalibPattern::NinePoints(rec) : CCalibPattern::Grid(rec, o->grid);
                writeFileAtomically(o->output, patternCsv(nodes));
                const int n = o->grid == 0 ? 3 : o->grid;
                std::printf("wrote %s: %d x %d nodes over the %g mm working field, pitch %g mm, commanded %s\n",
                            o->output.c_str(), n, n, rec.ValSize, rec.ValSize / (n - 1),
                            o->grid == 0 ? "linearly (for the nine-point fit)" : "through the calibration");
                return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
