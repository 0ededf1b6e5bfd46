// Head options; see HeadOptions.h.
#include "HeadOptions.h"

#include "ToolError.h"

namespace zemcal_tool {

void addHeadOptions(CLI::App& sub, HeadParams& p) {
    const char* g = "Virtual head";
    auto opt = [&](const char* name, auto& value, const char* help) {
        // The last occurrence wins, so a script can override a default it passes.
        sub.add_option(name, value, help)
            ->group(g)
            ->capture_default_str()
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    };
    opt("--focal", p.focal, "f-theta focal length f, mm per radian");
    opt("--f2", p.f2, "second lens coefficient: r = f T + f2 T^2 + f3 T^3 (mm/rad^2)");
    opt("--f3", p.f3, "third lens coefficient (mm/rad^3)");
    opt("--val-size", p.valSize, "working field side, mm (ValSize)");
    opt("--field-size", p.fieldSize, "device span, mm (FieldSize); must exceed --val-size");
    opt("--resolution", p.resolution, "largest galvo command");
    opt("--rotation", p.rotationDeg, "mounting rotation, degrees counter-clockwise");
    opt("--scale-left", p.scaleLeft, "scale error of the left half, percent");
    opt("--scale-right", p.scaleRight, "scale error of the right half, percent");
    opt("--scale-top", p.scaleTop, "scale error of the top half, percent");
    opt("--scale-bottom", p.scaleBottom, "scale error of the bottom half, percent");
    opt("--trapezoid-x", p.trapezoidX, "growth of the x extent from the centre to the top edge, percent");
    opt("--trapezoid-y", p.trapezoidY, "growth of the y extent from the centre to the right edge, percent");
    opt("--shear", p.shearDeg, "shear: the y axis leans towards +x by this many degrees");
    opt("--offset-x", p.offsetX, "field offset in x, mm");
    opt("--offset-y", p.offsetY, "field offset in y, mm");
    sub.add_flag("--swap", p.swap, "the X mirror draws along y (axes swapped)")->group(g);
    sub.add_flag("--invert-x", p.invertX, "the head's X axis points along -x")->group(g);
    sub.add_flag("--invert-y", p.invertY, "the head's Y axis points along -y")->group(g);
    opt("--noise", p.noiseUm, "measurement noise, standard deviation in micrometres");
    opt("--seed", p.seed, "seed of the measurement noise");
}

void checkAndPrintHead(const HeadParams& p, std::FILE* out) {
    const std::string problem = validateHeadParams(p);
    if (!problem.empty()) throw ToolError("virtual head: " + problem);
    std::fprintf(out, "virtual head\n");
    for (const std::string& line : describeHeadParams(p)) std::fprintf(out, "  %s\n", line.c_str());
}

}  // namespace zemcal_tool
