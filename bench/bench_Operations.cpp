// Time per call of the operations around the point corrections: the fit,
// the binary load and save, and the text import, each on a record with one
// 65 x 65 grid table (the largest size the text format carries).
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

}  // namespace

BENCHMARK_CAPTURE(BM_Fit, classic, CalVerClassic)->ComputeStatistics("min", zemcal_bench::MinOf);
BENCHMARK_CAPTURE(BM_Fit, revised, CalVerRevised)->ComputeStatistics("min", zemcal_bench::MinOf);
BENCHMARK(BM_LoadBinary)->ComputeStatistics("min", zemcal_bench::MinOf)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SaveBinary)->ComputeStatistics("min", zemcal_bench::MinOf)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ImportText)->ComputeStatistics("min", zemcal_bench::MinOf)->Unit(benchmark::kMillisecond);
