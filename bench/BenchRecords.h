// Calibration records, point patterns and scratch files shared by the
// benchmarks. Everything is built in code from fixed seeds, so every run
// measures the same work.
#pragma once

#include <zemcal/ZemCal.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zemcal_bench {

/// Points per pattern: a power of two, so a benchmark loop can wrap with a mask.
constexpr std::size_t kPointCount = 4096;

/// A record of a realistic head: 110 mm span, 100 mm working field, 16 bits,
/// nine points measured with about 2 mm of pincushion, scale, trapezoid and
/// shear error, fitted with the fit of `version`; then one grid table of
/// each size in tableSizes (nodes on the nominal grid over the working field,
/// measured a few micrometres off), and UseLsm set to 1.
std::unique_ptr<tagLenPar> MakeRecord(CalVerion version, const std::vector<int>& tableSizes);

/// kPointCount logical points (mm), pseudo-random from a fixed seed, spread
/// uniformly over a square 20 % wider than the working field, so that about
/// a third of them lie beyond it and are clamped.
std::vector<tagVeyPointF> MakePoints(double valSize);

/// kPointCount logical points (mm) along a pseudo-random marking path from
/// a fixed seed: straight vectors of 1 to 20 mm in random directions, each
/// sampled every 0.25 mm, wandering over the same square as MakePoints (a
/// vector that would leave it turns back). Consecutive points are close, as
/// those a scan card streams along a vector are.
std::vector<tagVeyPointF> MakePathPoints(double valSize);

/// The text correction file of rec: its nine points and its grid tables as
/// [CalN] sections (each float written so that it reads back to the same bits).
std::string CorrectionFileText(const tagLenPar& rec);

/// A scratch folder under the system's temporary folder, removed with its
/// contents when the object goes.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    /// Full path of a file in the folder.
    std::string File(const std::string& name) const;

private:
    std::string dir_;
};

/// The smallest of a benchmark's repetitions, reported as its "_min" statistic.
double MinOf(const std::vector<double>& v);

/// Writes text to path; false on any failure.
bool WriteText(const std::string& path, const std::string& text);

}  // namespace zemcal_bench
