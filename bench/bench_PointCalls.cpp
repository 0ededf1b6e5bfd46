// Points per second through the facade's per-point calls and through the
// prepared corrector (CPointCorrector), on the same records (BenchRecords.h)
// and the same points. A single-point benchmark corrects one point per
// iteration, an array benchmark the whole pattern per iteration.
//
// Two fixed-seed patterns over and beyond the working field: "scattered"
// points, each anywhere (consecutive points land in unrelated cells, a worst
// case for caches and branch prediction), and a "path" of short marking
// vectors (consecutive points close together, as a scan card streams them).
#include <benchmark/benchmark.h>

#include <zemcal/ZemCal.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "BenchRecords.h"

namespace {

using zemcal_bench::kPointCount;
using zemcal_bench::MakeRecord;

// The grid tables of a benchmarked record. One 2 x 2 table is a single cell
// over the whole field: every point pays the cell's residual, none a search.
enum class Tables { None, One2, One17, One65, Two65, Three65 };

std::vector<int> Sizes(Tables t) {
    switch (t) {
        case Tables::None: return {};
        case Tables::One2: return {2};
        case Tables::One17: return {17};
        case Tables::One65: return {65};
        case Tables::Two65: return {65, 65};
        case Tables::Three65: return {65, 65, 65};
    }
    return {};
}

enum class Pattern { Scattered, Path };

std::vector<tagVeyPointF> Points(Pattern p, double valSize) {
    return p == Pattern::Scattered ? zemcal_bench::MakePoints(valSize)
                                   : zemcal_bench::MakePathPoints(valSize);
}

// The manual box path with every factor away from its neutral value.
std::unique_ptr<tagLenPar> ManualRecord() {
    std::unique_ptr<tagLenPar> rec = MakeRecord(CalVerRevised, {});
    rec->UseLsm = 0;
    rec->OffsetX = 0.02;
    rec->OffsetY = -0.01;
    rec->BoxScale[0] = 99.8;
    rec->BoxScale[1] = 100.3;
    rec->BoxSkew[0] = 1.001;
    rec->BoxTrap[1] = 0.999;
    rec->BoxBarrel[0] = 1.002;
    rec->BoxBarrel[1] = 0.998;
    return rec;
}

// LP2DPEX_SFT's shift and scale, on the revised fit with one 65 x 65 table.
std::unique_ptr<tagLenPar> ShiftRecord() {
    std::unique_ptr<tagLenPar> rec = MakeRecord(CalVerRevised, {65});
    rec->SftX = 0.001f;
    rec->SftY = -0.002f;
    rec->SftScaleX = 1.0005f;
    rec->SftScaleY = 0.9995f;
    return rec;
}

// One point per iteration through correct(in, out).
template <class Correct>
void RunPoints(benchmark::State& state, const std::vector<tagVeyPointF>& points,
               const Correct& correct) {
    std::size_t i = 0;
    for (auto _ : state) {
        tagVeyPointF out;
        correct(points[i], out);
        benchmark::DoNotOptimize(out);
        i = (i + 1) & (kPointCount - 1);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_CalibPoint(benchmark::State& state, CalVerion version, Tables tables, Pattern pattern) {
    const std::unique_ptr<tagLenPar> rec = MakeRecord(version, Sizes(tables));
    ZemCal zc;
    RunPoints(state, Points(pattern, rec->ValSize),
              [&](tagVeyPointF in, tagVeyPointF& out) { zc.CalibPoint(*rec, in, out); });
}

void BM_CalibPointManual(benchmark::State& state) {
    const std::unique_ptr<tagLenPar> rec = ManualRecord();
    ZemCal zc;
    RunPoints(state, Points(Pattern::Scattered, rec->ValSize),
              [&](tagVeyPointF in, tagVeyPointF& out) { zc.CalibPoint(*rec, in, out); });
}

void BM_Lp2dpexSft(benchmark::State& state) {
    const std::unique_ptr<tagLenPar> rec = ShiftRecord();
    ZemCal zc;
    RunPoints(state, Points(Pattern::Scattered, rec->ValSize),
              [&](tagVeyPointF in, tagVeyPointF& out) { zc.LP2DPEX_SFT(in, out, *rec, true); });
}

void BM_Corrector(benchmark::State& state, CalVerion version, Tables tables, Pattern pattern) {
    const std::unique_ptr<tagLenPar> rec = MakeRecord(version, Sizes(tables));
    const CPointCorrector corrector(*rec);
    RunPoints(state, Points(pattern, rec->ValSize),
              [&](tagVeyPointF in, tagVeyPointF& out) { corrector.Correct(in, out); });
}

void BM_CorrectorManual(benchmark::State& state) {
    const CPointCorrector corrector(*ManualRecord());
    RunPoints(state, Points(Pattern::Scattered, 100.0),
              [&](tagVeyPointF in, tagVeyPointF& out) { corrector.Correct(in, out); });
}

void BM_CorrectorSft(benchmark::State& state) {
    const CPointCorrector corrector(*ShiftRecord());
    RunPoints(state, Points(Pattern::Scattered, 100.0),
              [&](tagVeyPointF in, tagVeyPointF& out) { corrector.CorrectSft(in, out, true); });
}

// The whole pattern per iteration through the corrector's array call.
void RunArray(benchmark::State& state, const CPointCorrector& corrector,
              const std::vector<tagVeyPointF>& points) {
    std::vector<tagVeyPointF> out(points.size());
    for (auto _ : state) {
        corrector.Correct(points.data(), out.data(), points.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points.size()));
}

void BM_CorrectorArray(benchmark::State& state, CalVerion version, Tables tables,
                       Pattern pattern) {
    const std::unique_ptr<tagLenPar> rec = MakeRecord(version, Sizes(tables));
    RunArray(state, CPointCorrector(*rec), Points(pattern, rec->ValSize));
}

void BM_CorrectorManualArray(benchmark::State& state) {
    RunArray(state, CPointCorrector(*ManualRecord()), Points(Pattern::Scattered, 100.0));
}

// Building a corrector: the record copy and the index of one 65 x 65 table.
void BM_CorrectorBuild(benchmark::State& state) {
    const std::unique_ptr<tagLenPar> rec = MakeRecord(CalVerRevised, {65});
    for (auto _ : state) {
        const CPointCorrector corrector(*rec);
        benchmark::DoNotOptimize(&corrector);
    }
}

}  // namespace

using zemcal_bench::MinOf;

#define ZEMCAL_BENCH(fn, name, ...) \
    BENCHMARK_CAPTURE(fn, name, __VA_ARGS__)->ComputeStatistics("min", MinOf)

// The facade's calls.
ZEMCAL_BENCH(BM_CalibPoint, classic_none, CalVerClassic, Tables::None, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, classic_17, CalVerClassic, Tables::One17, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, classic_65, CalVerClassic, Tables::One65, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, classic_65x2, CalVerClassic, Tables::Two65, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, revised_none, CalVerRevised, Tables::None, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, revised_17, CalVerRevised, Tables::One17, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, revised_65, CalVerRevised, Tables::One65, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, revised_65x2, CalVerRevised, Tables::Two65, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, revised_65x3, CalVerRevised, Tables::Three65, Pattern::Scattered);
ZEMCAL_BENCH(BM_CalibPoint, revised_none_path, CalVerRevised, Tables::None, Pattern::Path);
ZEMCAL_BENCH(BM_CalibPoint, revised_65_path, CalVerRevised, Tables::One65, Pattern::Path);
BENCHMARK(BM_CalibPointManual)->ComputeStatistics("min", MinOf);
BENCHMARK(BM_Lp2dpexSft)->ComputeStatistics("min", MinOf);

// The prepared corrector on the same records and points.
ZEMCAL_BENCH(BM_Corrector, classic_none, CalVerClassic, Tables::None, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, classic_17, CalVerClassic, Tables::One17, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, classic_65, CalVerClassic, Tables::One65, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, classic_65x2, CalVerClassic, Tables::Two65, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, revised_none, CalVerRevised, Tables::None, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, revised_2, CalVerRevised, Tables::One2, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, revised_17, CalVerRevised, Tables::One17, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, revised_65, CalVerRevised, Tables::One65, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, revised_65x2, CalVerRevised, Tables::Two65, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, revised_65x3, CalVerRevised, Tables::Three65, Pattern::Scattered);
ZEMCAL_BENCH(BM_Corrector, revised_none_path, CalVerRevised, Tables::None, Pattern::Path);
ZEMCAL_BENCH(BM_Corrector, revised_65_path, CalVerRevised, Tables::One65, Pattern::Path);
ZEMCAL_BENCH(BM_Corrector, revised_65x3_path, CalVerRevised, Tables::Three65, Pattern::Path);
ZEMCAL_BENCH(BM_CorrectorArray, revised_none, CalVerRevised, Tables::None, Pattern::Scattered);
ZEMCAL_BENCH(BM_CorrectorArray, revised_2, CalVerRevised, Tables::One2, Pattern::Scattered);
ZEMCAL_BENCH(BM_CorrectorArray, revised_65, CalVerRevised, Tables::One65, Pattern::Scattered);
ZEMCAL_BENCH(BM_CorrectorArray, revised_65x3, CalVerRevised, Tables::Three65, Pattern::Scattered);
ZEMCAL_BENCH(BM_CorrectorArray, revised_none_path, CalVerRevised, Tables::None, Pattern::Path);
ZEMCAL_BENCH(BM_CorrectorArray, revised_65_path, CalVerRevised, Tables::One65, Pattern::Path);
ZEMCAL_BENCH(BM_CorrectorArray, revised_65x3_path, CalVerRevised, Tables::Three65, Pattern::Path);
BENCHMARK(BM_CorrectorManual)->ComputeStatistics("min", MinOf);
BENCHMARK(BM_CorrectorManualArray)->ComputeStatistics("min", MinOf);
BENCHMARK(BM_CorrectorSft)->ComputeStatistics("min", MinOf);
BENCHMARK(BM_CorrectorBuild)->ComputeStatistics("min", MinOf)->Unit(benchmark::kMicrosecond);
