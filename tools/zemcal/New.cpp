// `zemcal new -o lens.zcal`: an uncorrected calibration of a head, the
// first file of the workflow.
#include <filesystem>

#include "Commands.h"
#include "Text.h"
#include "ToolError.h"
#include "VersionByte.h"
#include "Workflow.h"

namespace zemcal_tool {

Command addNewCommand(CLI::App& parent) {
    struct Options {
        std::string output;
        HeadSetup setup;
        bool force = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("new", "Start the calibration of a head: an uncorrected calibration file");
    sub->add_option("-o,--output", o->output, "Binary calibration file to write")->required();
    sub->add_option("--val-size", o->setup.valSize, "Working field side, mm (ValSize)")->capture_default_str();
    sub->add_option("--field-size", o->setup.fieldSize, "Device span, mm (FieldSize): the field Resolution galvo "
                                                        "units span; must exceed --val-size")
        ->capture_default_str();
    sub->add_option("--resolution", o->setup.resolution, "Largest galvo command")->capture_default_str();
    sub->add_flag("--swap", o->setup.swap, "The X mirror draws along y: the card sends command_x to the Y mirror");
    sub->add_flag("--invert-x", o->setup.invertX, "The head's X axis points along -x");
    sub->add_flag("--invert-y", o->setup.invertY, "The head's Y axis points along -y");
    sub->add_flag("--classic", o->setup.classic,
                  "The classic fit (version 'P') instead of the revised one (0x60); chosen once: tables "
                  "measured through one fit do not correct through the other");
    sub->add_flag("--force", o->force, "Write over an existing file");
    sub->footer(
        "Writes a calibration whose nine points are exact and which has no grid table: it commands\n"
        "the head linearly. Next: 'zemcal pattern FILE -o nine.csv' lists the nine points to mark.\n\n"
        "Examples:\n"
        "  zemcal new -o lens.zcal\n"
        "  zemcal new --val-size 150 --field-size 165 --invert-y -o big-lens.zcal");
    return {sub, [o] {
                std::error_code ec;
                if (!o->force && std::filesystem::exists(o->output, ec))
                    throw ToolError(o->output + ": the file exists; choose another name or add --force");
                auto rec = newRecord(o->setup);
                if (!ZemCal().saveUcf(o->output.c_str(), *rec, static_cast<CalVerion>(rec->Version)))
                    throw ToolError("cannot write " + o->output);
                std::printf("wrote %s: uncorrected calibration, version %s (%s fit), %g mm working field in a "
                            "%g mm span, resolution %d\n",
                            o->output.c_str(), versionLabel(rec->Version).c_str(), fitName(rec->Version),
                            rec->ValSize, rec->FieldSize, static_cast<int>(rec->Resolution));
                return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
