// `zemcal measure --virtual PATTERN -o MEASURED`: the virtual head as a
// vision system, standing in for the camera of a physical head.
#include "Commands.h"
#include "Csv.h"
#include "HeadOptions.h"
#include "Text.h"
#include "ToolError.h"
#include "Workflow.h"

namespace zemcal_tool {

Command addMeasureCommand(CLI::App& parent) {
    struct Options {
        std::string pattern, output;
        bool virtualHead = false;
        HeadParams head;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("measure", "Mark and measure a pattern on the virtual head");
    sub->add_option("PATTERN", o->pattern, "Pattern CSV file (zemcal pattern)")->required();
    sub->add_option("-o,--output", o->output, "Measurement CSV file to write")->required();
    sub->add_flag("--virtual", o->virtualHead, "Measure on the virtual head (the only instrument the tool drives)")
        ->required();
    addHeadOptions(*sub, o->head);
    sub->footer(
        "Sends each command of the pattern to the virtual head, measures where the mark lands\n"
        "(with the head's measurement noise) and writes the pattern with measured_x and\n"
        "measured_y appended, as a vision system would. Give the head options of the head the\n"
        "calibration was started for (zemcal new takes the same --val-size, --field-size,\n"
        "--resolution and axis flags).\n\n"
        "Examples:\n"
        "  zemcal measure --virtual nine.csv -o nine-measured.csv\n"
        "  zemcal measure --virtual --rotation -0.5 --seed 7 grid17.csv -o grid17-measured.csv");
    return {sub, [o] {
                checkAndPrintHead(o->head, stdout);
                VirtualHead head(o->head);
                const std::string text = measureVirtually(readSmallFile(o->pattern, kMaxCsvBytes), o->pattern, head);
                writeFileAtomically(o->output, text);
                std::printf("wrote %s: the pattern's marks as the virtual head lands and measures them\n",
                            o->output.c_str());
                return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
