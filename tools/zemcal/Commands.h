// The subcommands of the zemcal tool. Each add...Command function declares
// one subcommand with its options and --help text on the parent app and
// returns it with the action to run once the command line has been parsed.
// Actions return the exit status; failures the user can fix are thrown as
// ToolError and reported by main().
#pragma once

#include <CLI/CLI.hpp>

#include <functional>

namespace zemcal_tool {

struct Command {
    CLI::App* app = nullptr;
    std::function<int()> run;
};

Command addInfoCommand(CLI::App& parent);
Command addConvertCommand(CLI::App& parent);
Command addCorrectCommand(CLI::App& parent);
Command addSimulateCommand(CLI::App& parent);
Command addEvaluateCommand(CLI::App& parent);
Command addPlotCommand(CLI::App& parent);
Command addNewCommand(CLI::App& parent);
Command addPatternCommand(CLI::App& parent);
Command addMeasureCommand(CLI::App& parent);
Command addFitCommand(CLI::App& parent);

/// Adds --field-size to a subcommand that loads a file; the text format does
/// not carry the device span, so it is set in the record before loading.
CLI::Option* addFieldSizeOption(CLI::App& sub, double& fieldSize, const char* defaultNote);

/// Exit statuses shared by the commands.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  ///< a file or data problem, or bad point lines
constexpr int kExitUsage = 2;    ///< the command line itself was wrong

}  // namespace zemcal_tool
