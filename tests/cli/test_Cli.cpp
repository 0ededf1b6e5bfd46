// The zemcal program as a user runs it: arguments, standard input, standard
// output, standard error and exit status. Expected device points come from
// the library called directly, so these tests check the tool's plumbing
// (flags, paths, formatting, alignment), not the library's arithmetic.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>

#include <cstdio>

#include "../TempDir.h"

namespace {

using nlohmann::json;

// Expects every part in s, showing s when one is missing.
void expectParts(const std::string& s, std::initializer_list<std::string> parts) {
    for (const std::string& part : parts)
        EXPECT_NE(s.find(part), std::string::npos) << "missing: " << part << "\nin:\n" << s;
}

// Expects each JSON pointer of the list to hold its value in j.
void expectFields(const json& j, const std::vector<std::pair<std::string, json>>& fields) {
    for (const auto& [ptr, value] : fields) EXPECT_EQ(j.value(json::json_pointer(ptr), json()), value) << ptr;
}

// A text file section of n x n points PNTi over a 100 mm field, row 0 at the
// top, measured where nominal except node, which is off by (du, dv) mm.
std::string gridSection(const char* name, int n, int node = -1, double du = 0.0, double dv = 0.0) {
    std::string s = std::string("[") + name + "]\n";
    char row[96];
    for (int i = 0; i < n * n; ++i) {
        const double u = -50 + 100.0 / (n - 1) * (i % n), v = 50 - 100.0 / (n - 1) * (i / n), at = i == node;
        s.append(row, std::snprintf(row, sizeof row, "PNT%d=%g %g %.10g %.10g\n", i, u, v, u + at * du, v + at * dv));
    }
    return s;
}

// Each test runs the tool in a scratch directory of its own, holding a copy
// of the bundled sample head (binary sample.zcal, text sample.cor); rec is
// what the library loads from sample.zcal.
struct Cli : testing::Test {
    Cli() {
        for (const std::string ext : {"zcal", "cor"})
            std::filesystem::copy_file(ZEMCAL_EXAMPLES_DIR "/sample-head." + ext, dir.file("sample." + ext));
        EXPECT_TRUE(ZemCal().loadUcf(dir.file("sample.zcal").c_str(), rec));
    }

    struct Run { int status; std::string out, err; };

    // Runs the tool through the shell with args (already quoted) and stdin text.
    Run run(const std::string& args, const std::string& input = "") const {
        dir.write("stdin", input);
        const std::string cmd = "cd '" + dir.file("") + "' && '" ZEMCAL_TOOL_PATH "' " + args;
        const int rc = std::system((cmd + " < stdin > stdout 2> stderr").c_str());
        return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, dir.read("stdout"), dir.read("stderr")};
    }

    // Runs the tool, expects success and returns standard output.
    std::string runOk(const std::string& args) const {
        const Run r = run(args);
        EXPECT_EQ(r.status, 0) << args << ": " << r.err;
        return r.out;
    }
    json runJson(const std::string& args) const { return json::parse(runOk(args)); }

    TempDir dir;
    tagLenPar rec;
};

}  // namespace

// --version and every subcommand's --help (with its examples) succeed. A
// command-line mistake is exit 2 and a message saying what is wrong; any
// other failure is exit 1 and exactly one line naming the file, for a refused
// text file with the line and key that stopped the import. Nothing is
// written after a failure.
TEST_F(Cli, ExitStatusesAndMessages) {
    EXPECT_EQ(runOk("--version"), "zemcal " ZEMCAL_VERSION_STRING " (libZemCal " ZEMCAL_VERSION_STRING ")\n");
    for (const std::string sub : {"info", "convert", "correct", "simulate", "evaluate", "plot"})
        expectParts(runOk(sub + " --help"), {"Examples:\n  zemcal " + sub});
    const std::string nine = gridSection("Cal3", 3);
    dir.write("badnum.cor", "[CalCoefs]\nValSize=100\n" + nine + "TXL=0.5\nk3=x1\n");
    dir.write("badres.cor", "; head\n[CalCoefs]\nResolution=65535.5e\nLEN_XINVERT=\n" + nine);
    dir.write("badpnt.cor", "[Cal3]\nPNT0=-50 50 -50 50\nPNT1=0  50 0 50\n");
    dir.write("short.cor", nine.substr(0, nine.find("PNT8")));
    dir.write("empty.cor", "");
    dir.write("refused.zcal", dir.read("sample.zcal").replace(7, 1, "3"));  // the version byte
    dir.write("cut.zcal", dir.read("sample.zcal").substr(0, 64100));  // inside the first grid table
    const std::string head = "virtual head: ";
    const struct { int status; std::string args, err; } cases[] = {
        {2, "", "A subcommand is required"}, {2, "info", "FILE is required"},
        {2, "correct --sft-x 1 x", "--sft-x requires --shift"},
        {2, "simulate -o x --passes 2", "--passes requires --grid"},
        {1, "info missing.zcal", "cannot open missing.zcal: No such file or directory"},
        {1, "correct -i nope.txt sample.zcal", "cannot open nope.txt: No such file or directory"},
        {1, "info .", "cannot open .: it is a directory"},
        {1, "info badnum.cor", "badnum.cor:14: [Cal3] k3=x1: the value is not a number"},
        // stoi reads "65535" and ignores the rest; the next key is empty.
        {1, "info badres.cor", "badres.cor:4: [CalCoefs] LEN_XINVERT=: the value is not a whole number"},
        {1, "info badpnt.cor",
         "badpnt.cor:3: [Cal3] PNT1=0  50 0 50: needs four numbers separated by single spaces"},
        {1, "info short.cor", "short.cor: [Cal3] base point PNT8 is missing (all nine, PNT0..PNT8, are required)"},
        {1, "info empty.cor", "empty.cor: not a calibration file: neither the binary magic ZEMCLDT nor a [Cal3] "
                              "section with the base points PNT0..PNT8"},
        {1, "info refused.zcal", "refused.zcal: calibration version '3' (0x33) is refused by the library"},
        {1, "convert cut.zcal x.zcal",
         "cut.zcal: truncated binary calibration file: it ends at byte 64100 of 73264 (zemcal info shows what it holds)"},
        {1, "convert --field-size -1 x.cor x.zcal", "--field-size must be a positive number of millimetres"},
        {1, "convert --version 3 sample.zcal x.zcal",
         "--version: '3' (0x33) would write a file the library refuses to load"},
        {1, "simulate --grid 17 -o x.cor",
         "x.cor: grid tables are written to a binary calibration file; choose a name such as head.zcal"},
        {1, "simulate --grid 2 -o x.zcal", "--grid: a grid table has 5, 9, 17, 25, 33 or 65 points per side"},
        {1, "simulate --grid 17 --passes 0 -o x.zcal", "--passes: between 1 and 10"},
        // The head is checked before the file is read. The span may not equal
        // the working field (100 mm by default).
        {1, "evaluate --field-size 100 x",
         head + "the device span (--field-size) must exceed the working field (--val-size): corrected commands for "
                "the corners need room beyond it"},
        {1, "evaluate --focal -1 x", head + "the focal length must be positive"},
        {1, "evaluate --focal 50 x",
         head + "the focal length is too short for the span: the edge of the span is 1.1 rad off axis (at most 0.7)"},
        {1, "evaluate --f2 -1000 x", head + "the lens radius r = f T + f2 T^2 + f3 T^3 must grow with T over the span"},
        {1, "evaluate --rotation nan x", head + "every head parameter must be a finite number"},
        {1, "evaluate --resolution 4095 x", head + "the resolution must lie between 65535 and 16777215 galvo units"},
        {1, "evaluate --scale-top 20 x", head + "scale and trapezoid errors are at most 10 percent"},
        {1, "evaluate --offset-x 20 x", head + "the offset is at most a tenth of the working field"},
        {1, "evaluate --noise -1 x", head + "the measurement noise lies between 0 and 1000 micrometres"}};
    for (const auto& c : cases) {
        const Run r = run(c.args);
        EXPECT_EQ(r.status, c.status) << c.args;
        // CLI11 follows its message with usage hints; the tool's own messages are exact.
        EXPECT_TRUE(c.status == 2 ? r.err.find(c.err) != std::string::npos : r.err == "zemcal: " + c.err + "\n")
            << c.args << ": " << r.err;
    }
    for (const char* name : {"x.zcal", "x.cor"}) EXPECT_FALSE(std::filesystem::exists(dir.file(name))) << name;
}

// Residuals are measured minus nominal, largest and RMS, for the nine points
// and each table. Offsets exact in float: (3, 4)/1024 mm on one base point is
// 4.8828125 um, RMS over nine a third of it; (6, 8)/1024 mm on the middle
// node of a 5 x 5 table is 9.765625 um, RMS over 25 a fifth of it.
TEST_F(Cli, InfoShowsResidualsOfTheNinePointsAndEachTable) {
    dir.write("small.cor", "[CalCoefs]\nValSize=100\norder=5\n" + gridSection("Cal3", 3, 2, 3.0 / 1024, 4.0 / 1024) +
                               gridSection("Cal5", 5, 12, 6.0 / 1024, 8.0 / 1024));
    const json j = runJson("info --json small.cor");
    ASSERT_EQ(j["tables"].size(), 1u);
    EXPECT_DOUBLE_EQ(j["nine_points"]["rms_residual_um"].get<double>(), 4.8828125 / 3);
    expectFields(j, {{"/format", "text"}, {"/version/byte", 0x50}, {"/field_size_mm", 100.0},
                     {"/field_size_source", "--field-size"}, {"/nine_points/max_residual_um", 4.8828125},
                     {"/tables/0/size", 5}, {"/tables/0/enabled", 1}, {"/tables/0/max_residual_um", 9.765625},
                     {"/tables/0/rms_residual_um", 9.765625 / 5}});
    expectParts(run("info --field-size 110 small.cor").out,
                {"format        text correction file, version 'P' (0x50): classic fit\n",
                 "field size    110 mm device span (from --field-size)\n", "largest residual 4.9 um, RMS 1.6 um",
                 "  #0     5 x 5   enabled 1, largest 9.77 um, RMS 1.95 um\n"});
}

// info on the bundled sample shows what the library loads from it, and that
// a binary file's own field size wins. convert writes a binary file whose
// info matches the source's fact for fact, saying where the field size came
// from; a chosen version byte is written and refitted with its own fit.
TEST_F(Cli, InfoAndConvertOnTheSample) {
    expectFields(runJson("info --json sample.zcal"),
                 {{"/format", "binary"}, {"/version/byte", static_cast<int>(rec.Version)},
                  {"/field_size_mm", rec.FieldSize}, {"/field_size_source", "file"},
                  {"/shape/half_axes_mm/left", rec.AxisXL}, {"/shape/edge_slope/bottom", rec.TYB},
                  {"/shape/k/2", rec.K[2]}, {"/shape/qy/1", rec.QY[1]}});
    expectParts(run("info sample.zcal").out, {"binary calibration file, version '`' (0x60): revised fit\n",
                                              "110 mm device span (from the file)\n", "grid tables   2\n"});
    for (const auto& [source, from] : {std::pair{"--field-size 110 sample.cor", "--field-size"},
                                       std::pair{"sample.zcal", "the file"}}) {
        const std::string wrote = runOk(std::string("convert ") + source + " out.zcal");  // before file_size below
        expectParts(wrote, {"wrote out.zcal: binary calibration file, version ",
                            "\n  field size 110 mm (from " + std::string(from) + "), working field 100 mm",
                            std::to_string(std::filesystem::file_size(dir.file("out.zcal"))) + " bytes\n"});
        json a = runJson(std::string("info --json ") + source), b = runJson("info --json out.zcal");
        for (const char* key : {"file", "format", "field_size_source"}) a.erase(key), b.erase(key);
        EXPECT_EQ(a, b) << a.dump() << "\n" << b.dump();
    }
    expectParts(runOk("convert --version 0x60 --field-size 110 sample.cor rev.zcal"),
                {"version '`' (0x60), refitted with the revised fit\n"});
    expectFields(runJson("info --json rev.zcal"), {{"/version/byte", 0x60}, {"/version/fit", "revised"}});
}

// From standard input or a file, on every path the output stays aligned with
// the input: comments and blank lines echoed, CR-LF accepted, each bad line
// (an overlong one too) reported on standard error with its number and
// replaced in place by a '#' line, the others still corrected, and exit 1 at
// the end. What was loaded goes first to standard error.
TEST_F(Cli, CorrectStreamsPointsAlignedWithTheInput) {
    const std::string input =
        "# x y\n0 0\n\n12.5 -30\r\nnot a point\n" + std::string(5000, '1') + "\n-49.9 49.9\n1 2 3\n";
    dir.write("points.txt", input);
    const struct { const char* args; int useLsm; bool shift; std::string in, path; } cases[] = {
        {"", 1, false, "<stdin>", "least-squares path"},
        {"--manual -i points.txt", 0, false, "points.txt", "manual box path"},
        {"--shift --sft-x 0.5 --sft-scale-y 0.9", 1, true, "<stdin>", "least-squares path with LP2DPEX_SFT"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        rec.UseLsm = c.useLsm, rec.SftX = c.shift ? 0.5f : 0.0f, rec.SftScaleY = c.shift ? 0.9f : 1.0f;
        const Run r = run(std::string("correct ") + c.args + " sample.zcal", c.in == "<stdin>" ? input : "");
        EXPECT_EQ(r.status, 1);
        auto point = [&](float x, float y) {
            tagVeyPointF out{};
            c.shift ? ZemCal().LP2DPEX_SFT({x, y}, out, rec, true) : ZemCal().CalibPoint(rec, {x, y}, out);
            char buf[64];
            return std::string(buf, std::snprintf(buf, sizeof buf, "%.9g %.9g\n", out.x, out.y));
        };
        EXPECT_EQ(r.out, "# x y\n" + point(0, 0) + "\n" + point(12.5f, -30) +
                             "# line 5: expected two numbers \"x y\": not a point\n# line 6: line longer than 4096 "
                             "bytes: \n" + point(-49.9f, 49.9f) + "# line 8: unexpected text after \"x y\": 1 2 3\n");
        const std::string at = "zemcal correct: " + c.in + ":";
        EXPECT_EQ(r.err, "zemcal correct: sample.zcal: field size 110 mm (from the file), " + c.path + "\n" + at +
                             "5: expected two numbers \"x y\"\n" + at + "6: line longer than 4096 bytes\n" + at +
                             "8: unexpected text after \"x y\"\n");
    }
    // Many points stay aligned through the buffered reader and writer; a
    // clean run is exit 0, and -q keeps standard error empty.
    std::string many;
    for (int i = 0; i < 50000; ++i) many += std::to_string(i % 100 - 50) + " " + std::to_string(i % 37) + "\n";
    const Run r = run("correct -q sample.zcal", many);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 50000);
}

// The virtual bench from the command line: simulate writes a two-pass file,
// evaluate ranks full < nine points < uncorrected and warns about a head the
// file was not made for, and plot draws an SVG a renderer accepts.
TEST_F(Cli, SimulateEvaluateAndPlotAVirtualHead) {
    expectParts(runOk("simulate --grid 9 --passes 2 --seed 5 -o head.zcal"),
                {"  mounting     rotation = 0.3 deg\n",
                 "wrote head.zcal: binary calibration file, version '`' (0x60), revised fit, 2 grid tables\n"});
    const json e = runJson("evaluate --json --seed 5 head.zcal");
    EXPECT_LT(e["full"]["max_um"].get<double>(), e["nine_point"]["max_um"].get<double>());
    EXPECT_LT(e["nine_point"]["max_um"].get<double>(), e["uncorrected"]["max_um"].get<double>());
    EXPECT_EQ(e["full"]["clamped"], 0);
    expectParts(runOk("evaluate --invert-x head.zcal"), {"warning: the file's axis flags differ from the head's"});
    runOk("plot head.zcal -o field.svg");
    const std::string svg = dir.read("field.svg");
    EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
    EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
    expectParts(svg, {"Uncorrected: linear commands", "deformed grid exaggerated ×"});
    if (std::system("command -v rsvg-convert > /dev/null 2>&1") != 0) GTEST_SKIP() << "rsvg-convert not installed";
    ASSERT_EQ(std::system(("cd '" + dir.file("") + "' && rsvg-convert field.svg -o field.png").c_str()), 0);
    EXPECT_GT(std::filesystem::file_size(dir.file("field.png")), 10000u);
}
