// What the C interface adds to the C++ array call: both correct the same
// million points with the bundled sample calibration (two 17 x 17 tables).
// bench/bindings.py runs these beside the Python module's correct.
#include <benchmark/benchmark.h>

#include <zemcal/ZemCal.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

const std::string kSample = std::string(ZEMCAL_EXAMPLES_DIR) + "/sample-head.zcal";
constexpr std::size_t kMillion = 1000000;

// Point i at the fractional parts of i times two irrational steps, spread
// over a square 20 % wider than the 110 mm span; bench/bindings.py makes the
// same floats with numpy.
std::vector<float> LatticePoints() {
    std::vector<float> p(2 * kMillion);
    for (std::size_t i = 0; i < kMillion; ++i) {
        const double d = static_cast<double>(i);
        p[2 * i] = static_cast<float>(-66.0 + 132.0 * std::fmod(d * 0.6180339887498949, 1.0));
        p[2 * i + 1] = static_cast<float>(-66.0 + 132.0 * std::fmod(d * 0.7548776662466927, 1.0));
    }
    return p;
}

void BM_BindingsCppArray(benchmark::State& state) {
    tagLenPar rec;
    tagLoadInfo info;
    std::string message;
    if (CCalibFile::Load(kSample.c_str(), 100.0, false, rec, info, message) != CCalibFile::Ok) {
        state.SkipWithError(message.c_str());
        return;
    }
    const CPointCorrector corrector(rec, true);
    const std::vector<float> in = LatticePoints();
    std::vector<float> out(in.size());
    for (auto _ : state) {
        corrector.Correct(reinterpret_cast<const tagVeyPointF*>(in.data()),
                          reinterpret_cast<tagVeyPointF*>(out.data()), kMillion);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kMillion));
}

void BM_BindingsCApiArray(benchmark::State& state) {
    zemcal_calibration* cal = nullptr;
    if (zemcal_load(kSample.c_str(), 100.0, &cal) != ZEMCAL_OK) {
        state.SkipWithError(zemcal_last_error());
        return;
    }
    const std::vector<float> in = LatticePoints();
    std::vector<float> out(in.size());
    for (auto _ : state) {
        zemcal_correct_array(cal, in.data(), out.data(), kMillion);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kMillion));
    zemcal_free(cal);
}

}  // namespace

BENCHMARK(BM_BindingsCppArray)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BindingsCApiArray)->Unit(benchmark::kMillisecond)->UseRealTime();
