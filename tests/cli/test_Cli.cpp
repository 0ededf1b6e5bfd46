// The zemcal program as a user runs it: arguments, standard input, standard
// output, standard error and exit status. Expected device points come from
// the library called directly, so these tests check the tool's plumbing
// (flags, paths, formatting, alignment), not the library's arithmetic.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "TempDir.h"

namespace {

const std::string kTool = ZEMCAL_TOOL_PATH;
const std::string kSampleBin = std::string(ZEMCAL_EXAMPLES_DIR) + "/sample-head.zcal";
const std::string kSampleCor = std::string(ZEMCAL_EXAMPLES_DIR) + "/sample-head.cor";

struct ToolRun {
    int status = -1;
    std::string out, err;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// Runs the tool through the shell with args (already quoted) and stdin text.
ToolRun runZemcal(const TempDir& dir, const std::string& args, const std::string& input = "") {
    writeFile(dir.file("stdin"), input);
    const std::string cmd = "cd '" + dir.file("") + "' && '" + kTool + "' " + args +
                            " < stdin > stdout 2> stderr";
    const int rc = std::system(cmd.c_str());
    ToolRun r;
    r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    r.out = readFile(dir.file("stdout"));
    r.err = readFile(dir.file("stderr"));
    return r;
}

bool contains(const std::string& s, const std::string& part) { return s.find(part) != std::string::npos; }

// What the tool should print for one point, from the library itself.
std::string expectedPoint(const tagLenPar& rec, float x, float y, bool shift) {
    tagVeyPointF out{};
    if (shift)
        ZemCal().LP2DPEX_SFT({x, y}, out, rec, true);
    else
        ZemCal().CalibPoint(rec, {x, y}, out);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.9g %.9g\n", out.x, out.y);
    return buf;
}

std::unique_ptr<tagLenPar> loadDirect(const std::string& path, double fieldSize) {
    auto rec = std::make_unique<tagLenPar>();
    rec->FieldSize = fieldSize;
    EXPECT_TRUE(ZemCal().loadUcf(path.c_str(), *rec));
    return rec;
}

}  // namespace

TEST(Cli, VersionHelpAndUsageErrors) {
    TempDir dir;
    const ToolRun v = runZemcal(dir, "--version");
    EXPECT_EQ(v.status, 0);
    EXPECT_EQ(v.out, "zemcal " ZEMCAL_VERSION_STRING " (libZemCal " ZEMCAL_VERSION_STRING ")\n");
    for (const char* sub : {"info", "convert", "correct", "simulate", "evaluate", "plot"}) {
        SCOPED_TRACE(sub);
        const ToolRun h = runZemcal(dir, std::string(sub) + " --help");
        EXPECT_EQ(h.status, 0);
        EXPECT_TRUE(contains(h.out, "Examples:\n  zemcal " + std::string(sub)));
    }
    struct Case {
        const char* args;
        const char* err;
    } usage[] = {{"", "A subcommand is required"},
                 {"info", "FILE is required"},
                 {"info --bogus x", "bogus"},
                 {"correct --sft-x 1 f.zcal", "--sft-x requires --shift"},
                 {"simulate -o x.zcal --passes 2", "--passes requires --grid"}};
    for (const Case& c : usage) {
        SCOPED_TRACE(c.args);
        const ToolRun r = runZemcal(dir, c.args);
        EXPECT_EQ(r.status, 2);
        EXPECT_TRUE(contains(r.err, c.err)) << r.err;
    }
}

TEST(Cli, FailuresAreOneMessageNamingTheFile) {
    TempDir dir;
    const std::string nine =
        "[Cal3]\nPNT0=-50 50 -50 50\nPNT1=0 50 0 50\nPNT2=50 50 50 50\nPNT3=-50 0 -50 0\nPNT4=0 0 0 0\n"
        "PNT5=50 0 50 0\nPNT6=-50 -50 -50 -50\nPNT7=0 -50 0 -50\nPNT8=50 -50 50 -50\n";
    writeFile(dir.file("badnum.cor"), "[CalCoefs]\nValSize=100\n" + nine + "TXL=0.5\nk3=x1\n");
    writeFile(dir.file("badres.cor"), "; head\n[CalCoefs]\nResolution=65535.5e\nLEN_XINVERT=\n" + nine);
    writeFile(dir.file("badpnt.cor"), "[Cal3]\nPNT0=-50 50 -50 50\nPNT1=0  50 0 50\n");
    writeFile(dir.file("short.cor"), nine.substr(0, nine.find("PNT8")));
    writeFile(dir.file("empty.cor"), "");
    std::string refused = readFile(kSampleBin);
    refused[7] = '3';
    writeFile(dir.file("refused.zcal"), refused);
    std::filesystem::create_directory(dir.file("adir"));

    struct Case {
        const char* args;
        const char* err;
    } cases[] = {
        {"info missing.zcal", "zemcal: cannot open missing.zcal: No such file or directory\n"},
        {"correct missing.zcal", "zemcal: cannot open missing.zcal: No such file or directory\n"},
        {"info adir", "zemcal: cannot open adir: it is a directory\n"},
        {"info badnum.cor", "zemcal: badnum.cor:14: [Cal3] k3=x1: the value is not a number\n"},
        // stoi reads "65535" and ignores the rest; the next key is empty.
        {"info badres.cor", "zemcal: badres.cor:4: [CalCoefs] LEN_XINVERT=: the value is not a whole number\n"},
        {"info badpnt.cor",
         "zemcal: badpnt.cor:3: [Cal3] PNT1=0  50 0 50: needs four numbers separated by single spaces\n"},
        {"info short.cor", "zemcal: short.cor: [Cal3] base point PNT8 is missing (all nine, PNT0..PNT8, are required)\n"},
        {"info empty.cor", "zemcal: empty.cor: not a calibration file: neither the binary magic ZEMCLDT nor a [Cal3] "
                           "section with the base points PNT0..PNT8\n"},
        {"info refused.zcal", "zemcal: refused.zcal: calibration version '3' (0x33) is refused by the library\n"},
        {"convert --version 3 badnum.cor x.zcal", "zemcal: badnum.cor:14:"},
        {"convert --field-size -1 x.cor x.zcal", "zemcal: --field-size must be a positive number of millimetres\n"},
        {"evaluate --field-size 90 missing.zcal", "zemcal: virtual head: the device span (--field-size) must exceed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolRun r = runZemcal(dir, c.args);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err.substr(0, std::string(c.err).size()), c.err);
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
    const ToolRun v3 = runZemcal(dir, "convert --version 3 '" + kSampleBin + "' x.zcal");
    EXPECT_EQ(v3.status, 1);
    EXPECT_EQ(v3.err, "zemcal: --version: '3' (0x33) would write a file the library refuses to load\n");
    EXPECT_FALSE(std::filesystem::exists(dir.file("x.zcal")));
}

TEST(Cli, InfoShowsResidualsOfTheNinePointsAndEachTable) {
    // Offsets chosen exact in float: (3, 4)/1024 mm on one base point, so
    // 5/1024 mm = 4.8828125 um, RMS over nine 4.8828125/3 um; (6, 8)/1024 mm
    // on one node of a 5 x 5 grid, 9.765625 um, RMS over 25 9.765625/5 um.
    TempDir dir;
    std::string text = "[CalCoefs]\nValSize=100\norder=5\n[Cal3]\n";
    for (int i = 0; i < 9; ++i) {
        const double u = -50 + 50 * (i % 3), v = 50 - 50 * (i / 3);
        const double du = i == 2 ? 3.0 / 1024 : 0.0, dv = i == 2 ? 4.0 / 1024 : 0.0;
        char row[96];
        std::snprintf(row, sizeof row, "PNT%d=%.10g %.10g %.10g %.10g\n", i, u, v, u + du, v + dv);
        text += row;
    }
    text += "[Cal5]\n";
    for (int j = 0; j < 25; ++j) {
        const double u = -50 + 25 * (j % 5), v = 50 - 25 * (j / 5);
        const double du = j == 12 ? 6.0 / 1024 : 0.0, dv = j == 12 ? 8.0 / 1024 : 0.0;
        char row[96];
        std::snprintf(row, sizeof row, "PNT%d=%.10g %.10g %.10g %.10g\n", j, u, v, u + du, v + dv);
        text += row;
    }
    writeFile(dir.file("small.cor"), text);
    const ToolRun r = runZemcal(dir, "info --json small.cor");
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["format"], "text");
    EXPECT_EQ(j["version"]["byte"], 0x50);
    EXPECT_EQ(j["field_size_mm"], 100.0);
    EXPECT_EQ(j["field_size_source"], "--field-size");
    EXPECT_EQ(j["nine_points"]["max_residual_um"], 4.8828125);
    EXPECT_DOUBLE_EQ(j["nine_points"]["rms_residual_um"].get<double>(), 4.8828125 / 3);
    ASSERT_EQ(j["tables"].size(), 1u);
    EXPECT_EQ(j["tables"][0]["size"], 5);
    EXPECT_EQ(j["tables"][0]["enabled"], 1);
    EXPECT_EQ(j["tables"][0]["max_residual_um"], 9.765625);
    EXPECT_EQ(j["tables"][0]["rms_residual_um"], 9.765625 / 5);

    const ToolRun t = runZemcal(dir, "info --field-size 110 small.cor");
    EXPECT_TRUE(contains(t.out, "format        text correction file, version 'P' (0x50): classic fit\n"));
    EXPECT_TRUE(contains(t.out, "field size    110 mm device span (from --field-size)\n"));
    EXPECT_TRUE(contains(t.out, "largest residual 4.9 um, RMS 1.6 um"));
    EXPECT_TRUE(contains(t.out, "  #0     5 x 5   enabled 1, largest 9.77 um, RMS 1.95 um\n"));
}

TEST(Cli, InfoOnTheSampleMatchesTheLibrary) {
    TempDir dir;
    const ToolRun r = runZemcal(dir, "info --json '" + kSampleBin + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    const auto rec = loadDirect(kSampleBin, 100.0);
    EXPECT_EQ(j["format"], "binary");
    EXPECT_EQ(j["version"]["byte"], static_cast<int>(rec->Version));
    EXPECT_EQ(j["field_size_mm"], rec->FieldSize);
    EXPECT_EQ(j["field_size_source"], "file");
    EXPECT_EQ(j["shape"]["half_axes_mm"]["left"], rec->AxisXL);
    EXPECT_EQ(j["shape"]["edge_slope"]["bottom"], rec->TYB);
    EXPECT_EQ(j["shape"]["k"][2], rec->K[2]);
    EXPECT_EQ(j["shape"]["qy"][1], rec->QY[1]);
    ASSERT_EQ(j["tables"].size(), rec->Stacks.size());
    for (std::size_t i = 0; i < rec->Stacks.size(); ++i) EXPECT_EQ(j["tables"][i]["size"], rec->Stacks[i].Num);

    const ToolRun t = runZemcal(dir, "info '" + kSampleBin + "'");
    EXPECT_TRUE(contains(t.out, "binary calibration file, version '`' (0x60): revised fit\n"));
    EXPECT_TRUE(contains(t.out, "110 mm device span (from the file)\n"));
    EXPECT_TRUE(contains(t.out, "grid tables   2\n"));
}

TEST(Cli, ConvertRoundTripKeepsEveryFact) {
    TempDir dir;
    struct Case {
        std::string in, args;
    } cases[] = {{kSampleCor, "--field-size 110"}, {kSampleBin, ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        const ToolRun conv = runZemcal(dir, "convert " + c.args + " '" + c.in + "' out.zcal");
        ASSERT_EQ(conv.status, 0) << conv.err;
        EXPECT_TRUE(contains(conv.out, "wrote out.zcal: binary calibration file, version "));
        EXPECT_TRUE(contains(conv.out, std::to_string(std::filesystem::file_size(dir.file("out.zcal"))) + " bytes\n"));
        auto a = nlohmann::json::parse(runZemcal(dir, "info --json " + c.args + " '" + c.in + "'").out);
        auto b = nlohmann::json::parse(runZemcal(dir, "info --json out.zcal").out);
        for (const char* key : {"file", "format", "field_size_source"}) {
            a.erase(key);
            b.erase(key);
        }
        EXPECT_EQ(a, b) << a.dump() << "\n" << b.dump();
    }
    // A chosen version is written and refits with its fit.
    const ToolRun conv = runZemcal(dir, "convert --version 0x60 --field-size 110 '" + kSampleCor + "' rev.zcal");
    ASSERT_EQ(conv.status, 0) << conv.err;
    EXPECT_TRUE(contains(conv.out, "version '`' (0x60), refitted with the revised fit\n"));
    const auto j = nlohmann::json::parse(runZemcal(dir, "info --json rev.zcal").out);
    EXPECT_EQ(j["version"]["byte"], 0x60);
    EXPECT_EQ(j["version"]["fit"], "revised");
}

TEST(Cli, CorrectStreamsPointsAlignedWithTheInput) {
    TempDir dir;
    const std::string input = "# x y\n0 0\n\n12.5 -30\r\nnot a point\n-49.9 49.9\n1 2 3\n";
    auto rec = loadDirect(kSampleBin, 100.0);
    struct Case {
        const char* args;
        int useLsm;
        bool shift;
    } cases[] = {{"", 1, false}, {"--manual", 0, false}, {"--shift --sft-x 0.5 --sft-scale-y 0.9", 1, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        rec->UseLsm = c.useLsm;
        rec->SftX = c.shift ? 0.5f : 0.0f;
        rec->SftScaleY = c.shift ? 0.9f : 1.0f;
        const std::string expected = "# x y\n" + expectedPoint(*rec, 0, 0, c.shift) + "\n" +
                                     expectedPoint(*rec, 12.5f, -30, c.shift) +
                                     "# line 5: expected two numbers \"x y\": not a point\n" +
                                     expectedPoint(*rec, -49.9f, 49.9f, c.shift) +
                                     "# line 7: unexpected text after \"x y\": 1 2 3\n";
        const ToolRun r = runZemcal(dir, std::string("correct -q ") + c.args + " '" + kSampleBin + "'", input);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, expected);
        EXPECT_EQ(r.err, "zemcal correct: <stdin>:5: expected two numbers \"x y\"\n"
                         "zemcal correct: <stdin>:7: unexpected text after \"x y\"\n");
    }
    // From a file, all lines good: exit 0.
    writeFile(dir.file("points.txt"), "10 10\n");
    rec->UseLsm = 1;
    const ToolRun r = runZemcal(dir, "correct -i points.txt '" + kSampleBin + "'");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, expectedPoint(*rec, 10, 10, false));
    EXPECT_EQ(r.err, "zemcal correct: " + kSampleBin + ": field size 110 mm (from the file), least-squares path\n");
    writeFile(dir.file("head.cor"), readFile(kSampleCor));
    EXPECT_EQ(runZemcal(dir, "correct --manual --field-size 110 head.cor").err,
              "zemcal correct: head.cor: field size 110 mm (from --field-size), manual box path\n");
    EXPECT_EQ(runZemcal(dir, "correct -i nope.txt '" + kSampleBin + "'").err,
              "zemcal: cannot open nope.txt: No such file or directory\n");
}

TEST(Cli, CorrectKeepsManyPointsAlignedAndReportsOverlongLines) {
    TempDir dir;
    std::string input;
    const int n = 50000;
    for (int i = 0; i < n; ++i) input += std::to_string(i % 100 - 50) + " " + std::to_string(i % 37) + "\n";
    input += std::string(5000, '1') + "\n0 0\n";
    const ToolRun r = runZemcal(dir, "correct -q '" + kSampleBin + "'", input);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), n + 2);
    EXPECT_TRUE(contains(r.out, "\n# line 50001: line longer than 4096 bytes: \n"));
    EXPECT_EQ(r.err, "zemcal correct: <stdin>:50001: line longer than 4096 bytes\n");
}

TEST(Cli, SimulateEvaluateAndPlotAVirtualHead) {
    TempDir dir;
    const ToolRun s = runZemcal(dir, "simulate --grid 9 --passes 2 --seed 5 -o head.zcal");
    ASSERT_EQ(s.status, 0) << s.err;
    EXPECT_TRUE(contains(s.out, "  mounting     rotation = 0.3 deg\n"));
    EXPECT_TRUE(contains(s.out, "stamps '`' (0x60) and refits"));
    EXPECT_TRUE(contains(s.out, "wrote head.zcal: binary calibration file, version '`' (0x60), revised fit, 2 grid tables\n"));

    const ToolRun e = runZemcal(dir, "evaluate --json --seed 5 head.zcal");
    ASSERT_EQ(e.status, 0) << e.err;
    const auto j = nlohmann::json::parse(e.out);
    EXPECT_EQ(j["points_per_side"], 101);
    EXPECT_LT(j["full"]["max_um"].get<double>(), j["nine_point"]["max_um"].get<double>());
    EXPECT_LT(j["nine_point"]["max_um"].get<double>(), j["uncorrected"]["max_um"].get<double>());
    EXPECT_EQ(j["full"]["clamped"], 0);

    // A head the file was not made for is pointed out.
    const ToolRun w = runZemcal(dir, "evaluate --invert-x head.zcal");
    EXPECT_EQ(w.status, 0);
    EXPECT_TRUE(contains(w.out, "warning: the file's axis flags differ from the head's"));

    const ToolRun p = runZemcal(dir, "plot head.zcal -o field.svg");
    ASSERT_EQ(p.status, 0) << p.err;
    const std::string svg = readFile(dir.file("field.svg"));
    EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
    EXPECT_TRUE(contains(svg, "Uncorrected: linear commands"));
    EXPECT_TRUE(contains(svg, "deformed grid exaggerated ×"));
    EXPECT_TRUE(contains(svg, "</svg>\n"));
    if (std::system("command -v rsvg-convert > /dev/null 2>&1") != 0) GTEST_SKIP() << "rsvg-convert not installed";
    const std::string render = "rsvg-convert '" + dir.file("field.svg") + "' -o '" + dir.file("field.png") + "'";
    ASSERT_EQ(std::system(render.c_str()), 0);
    EXPECT_GT(std::filesystem::file_size(dir.file("field.png")), 10000u);
}
