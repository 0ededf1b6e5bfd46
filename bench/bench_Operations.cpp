// Time per call of the operations around the point corrections: the fit,
// the binary load and save, and the text import, each on a record with one
// 65 x 65 grid table (the largest size the text format carries); and the
// grid solver.
#include <benchmark/benchmark.h>

#include <zemcal/ZemCal.h>

#include <memory>

#include "BenchRecords.h"

namespace {

using zemcal_bench::MakeRecord;
using zemcal_bench::ScratchDir;

void BM_Fit(benchmark::State& state, CalVerion version) {
    const std::unique_ptr<tagLenPar> rec = MakeRecord(version, {});
    for (auto _ : state) {
        CCalibAlg::MVLSMCoef(*rec);
        benchmark::DoNotOptimize(rec->K[2]);
    }
}

void BM_LoadBinary(benchmark::State& state) {
    const ScratchDir dir;
    const std::string path = dir.File("head.zcal");
    {
        const std::unique_ptr<tagLenPar> rec = MakeRecord(CalVerRevised, {65});
        if (!ZemCal().saveUcf(path.c_str(), *rec, CalVerRevised)) {
            state.SkipWithError("cannot write the calibration file");
            return;
        }
    }
    for (auto _ : state) {
        // A fresh record each time, as a host loading a head does.
        auto rec = std::make_unique<tagLenPar>();
        const bool ok = ZemCal().loadUcf(path.c_str(), *rec);
        benchmark::DoNotOptimize(ok);
    }
}

// saveUcf: the refit and the binary write (temporary file, then rename).
void BM_SaveBinary(benchmark::State& state) {
    const ScratchDir dir;
    const std::string path = dir.File("head.zcal");
    const std::unique_ptr<tagLenPar> rec = MakeRecord(CalVerRevised, {65});
    for (auto _ : state) {
        const bool ok = ZemCal().saveUcf(path.c_str(), *rec, CalVerRevised);
        benchmark::DoNotOptimize(ok);
    }
}

// loadUcf of a text correction file: the INI parse, the import and the fit.
void BM_ImportText(benchmark::State& state) {
    const ScratchDir dir;
    const std::string path = dir.File("head.cor");
    {
        const std::unique_ptr<tagLenPar> rec = MakeRecord(CalVerClassic, {65});
        if (!zemcal_bench::WriteText(path, zemcal_bench::CorrectionFileText(*rec))) {
            state.SkipWithError("cannot write the text correction file");
            return;
        }
    }
    for (auto _ : state) {
        auto rec = std::make_unique<tagLenPar>();
        rec->FieldSize = 110.0;
        const bool ok = ZemCal().loadUcf(path.c_str(), *rec);
        benchmark::DoNotOptimize(ok);
    }
}

// The grid solver on an n x n grid measured through the record's nine-point
// fit, from a head whose marks land off by a smooth field of about 0.3 mm.
void BM_SolveGrid(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const std::unique_ptr<tagLenPar> rec = MakeRecord(CalVerRevised, {});
    std::vector<tagGridSample> grid;
    for (const tagPatternNode& p : CCalibPattern::Grid(*rec, n)) {
        const float x = p.Nominal.x, y = p.Nominal.y;
        grid.push_back({p.Row, p.Col, p.Nominal, p.Command,
                        {x + 3e-3f * x * y / 50 + 1e-4f * x, y - 2e-3f * x * x / 50 + 5e-5f * y * y / 50}});
    }
    tagSolvedTable table;
    for (auto _ : state) {
        if (!CGridSolver::Solve(*rec, grid, table)) {
            state.SkipWithError(table.Error.c_str());
            return;
        }
    }
}

}  // namespace

BENCHMARK(BM_SolveGrid)->Arg(17)->Arg(33)->Arg(65)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Fit, classic, CalVerClassic)->ComputeStatistics("min", zemcal_bench::MinOf);
BENCHMARK_CAPTURE(BM_Fit, revised, CalVerRevised)->ComputeStatistics("min", zemcal_bench::MinOf);
BENCHMARK(BM_LoadBinary)->ComputeStatistics("min", zemcal_bench::MinOf)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SaveBinary)->ComputeStatistics("min", zemcal_bench::MinOf)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ImportText)->ComputeStatistics("min", zemcal_bench::MinOf)->Unit(benchmark::kMillisecond);
