// The calibration of a head as a technician runs it, with the virtual head
// standing in for the camera: new, pattern, measure, fit; and every rule by
// which fit refuses or warns about a measurement, with its exact message.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "../TempDir.h"

namespace {

struct ToolRun { int status; std::string out, err; };

ToolRun run(const TempDir& dir, const std::string& args) {
    const std::string cmd = "cd '" + dir.file("") + "' && '" ZEMCAL_TOOL_PATH "' " + args;
    const int rc = std::system((cmd + " < /dev/null > stdout 2> stderr").c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, dir.read("stdout"), dir.read("stderr")};
}

std::string runOk(const TempDir& dir, const std::string& args) {
    const ToolRun r = run(dir, args);
    EXPECT_EQ(r.status, 0) << args << ": " << r.err;
    return r.out;
}

// An n x n measurement over the 100 mm field: each node measured at its
// nominal position plus a smooth error (um), node `odd` off by (du, dv) um.
// unit: the measured positions' unit in mm (0.001 for micrometres).
std::string measurement(int n, int odd = -1, double du = 0.0, double dv = 0.0, double unit = 1.0) {
    std::string s = "# measured by hand\nnominal_x,nominal_y,measured_x,measured_y\n";
    char row[160];
    for (int i = 0; i < n * n; ++i) {
        const double x = -50 + 100.0 / (n - 1) * (i % n), y = 50 - 100.0 / (n - 1) * (i / n);
        const double ex = 3e-3 * x * y / 2500 + (i == odd) * du / 1000, ey = 2e-3 * x / 50 + (i == odd) * dv / 1000;
        s.append(row, std::snprintf(row, sizeof row, "%g,%g,%.6f,%.6f\n", x, y, (x + ex) / unit, (y + ey) / unit));
    }
    return s;
}

// text with line `line` (1-based) replaced, or removed when with is empty.
std::string editLine(const std::string& text, int line, const std::string& with) {
    std::istringstream in(text);
    std::string out, l;
    for (int i = 1; std::getline(in, l); ++i)
        if (i != line) out += l + "\n";
        else if (!with.empty()) out += with + "\n";
    return out;
}

}  // namespace

// new -> nine points -> two 17 x 17 passes reaches about 2 um, as simulate
// does, and every command of a pattern reads back to the library's float.
TEST(CalibrationWorkflow, VirtualVisionSystemEndToEnd) {
    TempDir dir;
    runOk(dir, "new -o lens.zcal");
    runOk(dir, "pattern lens.zcal -o nine.csv");
    EXPECT_EQ(dir.read("nine.csv").substr(0, 59), "row,col,nominal_x,nominal_y,command_x,command_y\n0,0,-50,50,");
    runOk(dir, "measure --virtual nine.csv -o nine-m.csv");
    EXPECT_NE(runOk(dir, "fit lens.zcal nine-m.csv -o lens.zcal").find("stored: the nine points, refitted"),
              std::string::npos);
    for (int pass = 1; pass <= 2; ++pass) {
        runOk(dir, "pattern lens.zcal --grid 17 -o grid.csv");
        tagLenPar rec;
        ASSERT_TRUE(ZemCal().loadUcf(dir.file("lens.zcal").c_str(), rec));
        rec.UseLsm = 1;
        std::istringstream csv(dir.read("grid.csv"));
        std::string line;
        std::getline(csv, line);
        while (std::getline(csv, line)) {
            int r, c;
            float nx, ny, cx, cy;
            ASSERT_EQ(std::sscanf(line.c_str(), "%d,%d,%g,%g,%g,%g", &r, &c, &nx, &ny, &cx, &cy), 6);
            tagVeyPointF out{};
            ZemCal().CalibPoint(rec, {nx, ny}, out);
            ASSERT_TRUE(out.x == cx && out.y == cy) << line;
        }
        runOk(dir, "measure --virtual --seed " + std::to_string(pass + 1) + " grid.csv -o grid-m.csv");
        runOk(dir, "fit lens.zcal grid-m.csv -o lens.zcal");
    }
    EXPECT_NE(runOk(dir, "fit --solve lens.zcal grid-m.csv -o solved.zcal").find("solved table: predicted error"),
              std::string::npos);
    runOk(dir, "plot --measured grid-m.csv -o errors.svg");
    EXPECT_NE(dir.read("errors.svg").find("17 x 17 nodes over 100 mm · largest"), std::string::npos);
    const auto e = nlohmann::json::parse(runOk(dir, "evaluate --json lens.zcal"));
    EXPECT_LT(e["full"]["max_um"].get<double>(), 3.0);
    EXPECT_EQ(e["grid_tables"], 2);
}

// Each rule: the measurement file, the options, the exit status and the
// exact message; nothing is written on a refusal.
TEST(CalibrationWorkflow, BadMeasurementsAreRefusedWithTheirLine) {
    TempDir dir;
    runOk(dir, "new -o lens.zcal");
    const std::string nine = measurement(3), grid = measurement(5, 13, 50.0, 0.0);
    const struct { std::string name, csv, options; int status; std::string err; } cases[] = {
        {"not a number", editLine(nine, 3, "-50,50,1O.5,50"), "", 1,
         "zemcal: m.csv: line 3: column 'measured_x': '1O.5' is not a number\n"},
        {"decimal comma", editLine(nine, 3, "-50,50,-50,0,04"), "", 1,
         "zemcal: m.csv: line 3: 5 cells where the header names 4 (a decimal comma? use '.')\n"},
        {"decimal comma, other separator", editLine(nine, 3, "-50,50,-50,49.9;7"), "", 1,
         "zemcal: m.csv: line 3: column 'measured_y': '49.9;7' is not a number\n"},
        {"NaN", editLine(nine, 3, "-50,50,nan,50"), "", 1,
         "zemcal: m.csv: line 3: column 'measured_x': 'nan' is not a finite number\n"},
        {"missing column", editLine(nine, 2, "nominal_x,nominal_y,measured_x,y"), "", 1,
         "zemcal: m.csv: line 2: the header line has no column 'measured_y' (it needs "
         "nominal_x,nominal_y,measured_x,measured_y)\n"},
        {"too few cells", editLine(nine, 4, "0,50,0"), "", 1, "zemcal: m.csv: line 4: 3 cells where the header names 4\n"},
        {"no node", editLine(nine, 4, "0.001,50,0,50"), "", 1,
         "zemcal: m.csv: line 4: nominal position (0.001, 50) is no node of the 3 x 3 pattern over the 100 mm "
         "field (pitch 50 mm)\n"},
        {"node missing", editLine(nine, 7, ""), "", 1, "zemcal: m.csv: node (row 1, column 1) at (0, 0) is missing\n"},
        {"node twice", nine + "0,0,0,0\n", "", 1, "zemcal: m.csv: line 12: node (row 1, column 1) is given twice\n"},
        {"one node far off", editLine(nine, 3, "-50,50,-50000,50000"), "", 1,
         "zemcal: m.csv: line 3: node (row 0, column 0): measured (-50000, 50000) lies 70640 mm from its nominal "
         "position, more than 5 % of the 100 mm field: is it the measurement of another head, lens or working "
         "field?\n"},
        {"micrometres", measurement(3, -1, 0, 0, 0.001), "", 1,
         "zemcal: m.csv: line 3: node (row 0, column 0): measured (-50003, 49998) lies 70640.7 mm from its nominal "
         "position, more than 5 % of the 100 mm field: the measured positions look like micrometres, not "
         "millimetres\n"},
        {"swapped columns", editLine(nine, 2, "nominal_x,nominal_y,measured_y,measured_x"), "", 1,
         "zemcal: m.csv: line 3: node (row 0, column 0): measured (49.998, -50.003) lies 141.422 mm from its nominal "
         "position, more than 5 % of the 100 mm field: the measured_x and measured_y columns look swapped\n"},
        {"outlier warned", grid, "", 0,
         "warning: m.csv: line 16: node (row 2, column 3) is an outlier: its error (50.0, 1.0) um departs from what "
         "its neighbours predict\n"},
        {"outlier refused", grid, " --strict", 1,
         "zemcal: m.csv: line 16: node (row 2, column 3) is an outlier: its error (50.0, 1.0) um departs from what "
         "its neighbours predict (refused with --strict)\n"},
        {"replace a missing table", grid, " --replace 4", 1,
         "zemcal: m.csv: there is no grid table #4 to replace (the calibration has 0)\n"},
        {"output over the measurement", nine, " -o m.csv", 1,
         "zemcal: m.csv: is the measurement file; write the calibration elsewhere\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        dir.write("m.csv", c.csv);
        std::filesystem::remove(dir.file("out.zcal"));
        const ToolRun r = run(dir, "fit lens.zcal m.csv" + (c.options.find("-o") != std::string::npos ? c.options
                                                                                                   : c.options + " -o out.zcal"));
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err, c.err);
        EXPECT_EQ(std::filesystem::exists(dir.file("out.zcal")), c.status == 0);
        EXPECT_EQ(dir.read("m.csv"), c.csv);
    }
}

// Every file the tool writes goes through the library's safe writer: a
// symbolic link stays a link, a file keeps its mode, a device is written in
// place (never replaced), a failed write is reported; a FIFO is no input.
TEST(CalibrationWorkflow, FilesAreWrittenAndReadSafely) {
    TempDir dir;
    runOk(dir, "new -o lens.zcal");
    dir.write("target.csv", "old");
    ASSERT_EQ(::symlink("target.csv", dir.file("link.csv").c_str()), 0);
    ASSERT_EQ(::chmod(dir.file("target.csv").c_str(), 0600), 0);
    runOk(dir, "pattern lens.zcal -o link.csv");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link.csv")));
    EXPECT_EQ(std::filesystem::status(dir.file("target.csv")).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(dir.read("target.csv").substr(0, 4), "row,");
    ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
    const struct { std::string args; std::string err; } cases[] = {
        {"pattern lens.zcal -o /dev/full", "zemcal: cannot write /dev/full: No space left on device\n"},
        {"info fifo", "zemcal: cannot open fifo: not a regular file\n"},
        {"fit lens.zcal fifo -o x.zcal", "zemcal: cannot read fifo: not a regular file\n"},
    };
    for (const auto& c : cases) {
        const ToolRun r = run(dir, c.args);
        EXPECT_EQ(r.status, 1) << c.args;
        EXPECT_EQ(r.err, c.err) << c.args;
    }
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    const std::string version = "'" ZEMCAL_TOOL_PATH "' --version > /dev/full 2> /dev/null";
    EXPECT_EQ(WEXITSTATUS(std::system(version.c_str())), 1);
}
