// zemcal: the command-line tool of libZemCal. Parses the command line with
// CLI11, runs one subcommand, and turns every failure into one line on
// standard error and a non-zero exit status.
#include <zemcal/Version.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <exception>
#include <new>
#include <vector>

#include "Commands.h"
#include "ToolError.h"

int main(int argc, char** argv) {
    using namespace zemcal_tool;
    CLI::App app("zemcal: field calibration of a galvanometer scan head (libZemCal " ZEMCAL_VERSION_STRING ")",
                 "zemcal");
    app.set_version_flag("--version", "zemcal " ZEMCAL_VERSION_STRING " (libZemCal " ZEMCAL_VERSION_STRING ")");
    app.require_subcommand(1);
    app.footer(
        "Units: logical points in millimetres, field centre at the origin, y up; device points in\n"
        "galvo units from 0 to Resolution. Exit status: 0 success, 1 a file, data or point-line\n"
        "problem, 2 a command-line error. Run 'zemcal COMMAND --help' for each command.\n\n"
        "Calibrating a head: new -> pattern -> (mark, measure) -> fit, once for the nine points,\n"
        "then for each grid pass; docs/calibrating-a-head.md walks through it.\n\n"
        "Examples:\n"
        "  zemcal new -o lens.zcal\n"
        "  zemcal pattern lens.zcal -o nine.csv\n"
        "  zemcal measure --virtual nine.csv -o nine-measured.csv\n"
        "  zemcal fit lens.zcal nine-measured.csv -o lens.zcal\n"
        "  zemcal simulate --grid 17 --passes 2 -o head.zcal\n"
        "  zemcal info head.zcal\n"
        "  printf '0 0\\n40 -25\\n' | zemcal correct head.zcal\n"
        "  zemcal evaluate head.zcal\n"
        "  zemcal plot head.zcal -o field.svg");

    const std::vector<Command> commands = {
        addNewCommand(app),     addPatternCommand(app),  addMeasureCommand(app), addFitCommand(app),
        addInfoCommand(app),    addConvertCommand(app),  addCorrectCommand(app), addSimulateCommand(app),
        addEvaluateCommand(app), addPlotCommand(app)};
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        // --help and --version succeed only if what they print was written.
        if (code == 0 && !(std::cout.flush() && std::fflush(stdout) == 0)) {
            std::fprintf(stderr, "zemcal: cannot write standard output: %s\n", std::strerror(errno));
            return kExitFailure;
        }
        return code == 0 ? kExitOk : kExitUsage;
    }
    try {
        for (const Command& c : commands)
            if (c.app->parsed()) return c.run();
    } catch (const ToolError& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "zemcal: %s\n", e.what());
        return kExitFailure;
    } catch (const std::bad_alloc&) {
        std::fflush(stdout);
        std::fprintf(stderr, "zemcal: out of memory\n");
        return kExitFailure;
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "zemcal: unexpected error: %s\n", e.what());
        return kExitFailure;
    }
    return kExitUsage;
}
