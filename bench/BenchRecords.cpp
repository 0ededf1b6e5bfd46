// Benchmark records and points; see BenchRecords.h.
#include "BenchRecords.h"

#include <stdlib.h>  // mkdtemp

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>

namespace zemcal_bench {

namespace {

// Where a head with these mounting and lens errors draws a linear command
// aimed at (x, y) mm: about 1 mm of pincushion at the corners, half-axis
// scale errors of a few tenths of a percent, trapezoid, shear and an offset.
tagVeyPointF Distorted(double x, double y) {
    const double pin = 1.0 + 4.0e-6 * (x * x + y * y);
    const double mx = x * pin * (x < 0 ? 1.0025 : 0.9985) + 0.0009 * y + 0.001 * x * y / 50 + 0.04;
    const double my = y * pin * (y > 0 ? 1.002 : 0.997) - 0.0006 * x * y / 50 - 0.03;
    return {static_cast<float>(mx), static_cast<float>(my)};
}

// Nominal node (row, col) of an n x n grid over the working field: row 0 at
// the top, the outer nodes exactly on +-valSize/2.
tagVeyPointF Node(double valSize, int n, int row, int col) {
    const double last = n - 1;
    return {static_cast<float>(valSize * (col / last) - valSize * 0.5),
            static_cast<float>(valSize * 0.5 - valSize * (row / last))};
}

// What is left after the nine-point fit: a few micrometres that vary
// smoothly over the field, different in each table. Some residuals stay
// below the 1 um threshold of the correction, most exceed it.
tagVeyPointF Residual(float x, float y, int table) {
    const double phase = 0.7 * table;
    return {static_cast<float>(0.004 * std::sin(0.13 * x + phase) * std::cos(0.07 * y)),
            static_cast<float>(0.003 * std::cos(0.11 * x) * std::sin(0.09 * y + phase))};
}

std::string Format(const char* fmt, double a, double b, double c, double d) {
    char buf[160];
    std::snprintf(buf, sizeof buf, fmt, a, b, c, d);
    return buf;
}

std::string Row(int index, const tagCalData& d) {
    return "PNT" + std::to_string(index) +
           Format("=%.9g %.9g %.9g %.9g\n", d.PntA.x, d.PntA.y, d.PntB.x, d.PntB.y);
}

}  // namespace

std::unique_ptr<tagLenPar> MakeRecord(CalVerion version, const std::vector<int>& tableSizes) {
    auto rec = std::make_unique<tagLenPar>();
    rec->FieldSize = 110.0;
    rec->ValSize = 100.0;
    for (int i = 0; i < 9; ++i) {
        const tagVeyPointF u = Node(rec->ValSize, 3, i / 3, i % 3);
        rec->Pnt[i] = {u, Distorted(u.x, u.y)};
    }
    rec->Version = version;
    CCalibAlg::MVLSMCoef(*rec);
    for (std::size_t t = 0; t < tableSizes.size(); ++t) {
        const int n = tableSizes[t];
        tagStack table{n, 1, {}};
        table.Pnts.reserve(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
        for (int row = 0; row < n; ++row) {
            for (int col = 0; col < n; ++col) {
                const tagVeyPointF u = Node(rec->ValSize, n, row, col);
                const tagVeyPointF r = Residual(u.x, u.y, static_cast<int>(t));
                table.Pnts.push_back({u, {u.x + r.x, u.y + r.y}});
            }
        }
        rec->Stacks.push_back(std::move(table));
    }
    rec->UseLsm = 1;
    return rec;
}

std::vector<tagVeyPointF> MakePoints(double valSize) {
    std::mt19937 gen(20240607u);
    const float half = static_cast<float>(0.6 * valSize);
    std::uniform_real_distribution<float> coord(-half, half);
    std::vector<tagVeyPointF> points(kPointCount);
    for (tagVeyPointF& p : points) {
        p.x = coord(gen);
        p.y = coord(gen);
    }
    return points;
}

std::vector<tagVeyPointF> MakePathPoints(double valSize) {
    std::mt19937 gen(20240608u);
    const double half = 0.6 * valSize;
    std::uniform_real_distribution<double> length(1.0, 20.0);
    std::uniform_real_distribution<double> angle(0.0, 6.283185307179586);
    std::vector<tagVeyPointF> points;
    points.reserve(kPointCount);
    double x = 0.0, y = 0.0;
    while (points.size() < kPointCount) {
        const double a = angle(gen);
        const int steps = static_cast<int>(length(gen) / 0.25);
        double dx = 0.25 * std::cos(a), dy = 0.25 * std::sin(a);
        if (std::fabs(x + steps * dx) > half) dx = -dx;
        if (std::fabs(y + steps * dy) > half) dy = -dy;
        for (int s = 0; s < steps && points.size() < kPointCount; ++s) {
            x += dx;
            y += dy;
            points.push_back({static_cast<float>(x), static_cast<float>(y)});
        }
    }
    return points;
}

std::string CorrectionFileText(const tagLenPar& rec) {
    std::string t = "[CalCoefs]\n";
    t += Format("ValSize=%.9g\n", static_cast<float>(rec.ValSize), 0, 0, 0);
    t += "Resolution=" + std::to_string(rec.Resolution) + "\n";
    t += "[Cal3]\n";
    for (int i = 0; i < 9; ++i) t += Row(i, rec.Pnt[i]);
    for (const tagStack& table : rec.Stacks) {
        t += "[Cal" + std::to_string(table.Num) + "]\n";
        for (std::size_t j = 0; j < table.Pnts.size(); ++j) t += Row(static_cast<int>(j), table.Pnts[j]);
    }
    return t;
}

ScratchDir::ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zemcal-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create " + pattern);
    dir_ = pattern;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

std::string ScratchDir::File(const std::string& name) const {
    return (std::filesystem::path(dir_) / name).string();
}

double MinOf(const std::vector<double>& v) {
    return v.empty() ? 0.0 : *std::min_element(v.begin(), v.end());
}

bool WriteText(const std::string& path, const std::string& text) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && written;
}

}  // namespace zemcal_bench
