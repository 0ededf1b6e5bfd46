// Scratch files, the save/reload round trip and the point corrections that
// every fuzz target runs after a load.
#include "FuzzSupport.h"

#include <zemcal/BcdFile.h>
#include <zemcal/Facade.h>
#include <zemcal/PointCorrector.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include <unistd.h>

namespace zemcal::fuzz {
namespace {

// The per-process scratch directory and the names used in it, removed at
// exit. Created on first use so that a target that never needs a file makes
// none.
struct Scratch {
    std::string dir;
    std::set<std::string> names;
};

Scratch& scratch() {
    static Scratch s;
    return s;
}

void removeScratch() {
    Scratch& s = scratch();
    for (const std::string& n : s.names) std::remove((s.dir + '/' + n).c_str());
    if (!s.dir.empty()) ::rmdir(s.dir.c_str());
}

const std::string& scratchDir() {
    Scratch& s = scratch();
    if (s.dir.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = tmp != nullptr && *tmp != '\0' ? tmp : "/tmp";
        pattern += "/zemcal-fuzz-XXXXXX";
        if (::mkdtemp(&pattern[0]) == nullptr) fail("cannot create the scratch directory");
        s.dir = pattern;
        std::atexit(removeScratch);
    }
    return s.dir;
}

// A point lies in the device range when it was clamped into [0, R]; a
// negative Resolution (the text format allows one) clamps everything to 0 or
// R. NaN passes the clamp by design.
bool inDeviceRange(float v, float resolution) {
    return std::isnan(v) || v == 0.0f || v == resolution || (v > 0.0f && v < resolution);
}

bool sameBits(const tagVeyPointF& a, const tagVeyPointF& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

std::string scratchPath(const char* name) {
    const std::string& dir = scratchDir();
    scratch().names.insert(name);
    return dir + '/' + name;
}

std::string writeScratch(const char* name, const std::uint8_t* data, std::size_t size) {
    const std::string path = scratchPath(name);
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) fail("cannot write the scratch input");
    const bool written = size == 0 || std::fwrite(data, 1, size, f) == size;
    if (std::fclose(f) != 0 || !written) fail("cannot write the scratch input");
    return path;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();  // block reads, not one character at a time
    return bytes.str();
}

void fail(const char* what) {
    std::fprintf(stderr, "zemcal fuzz finding: %s\n", what);
    std::abort();
}

void exercisePoints(tagLenPar& par) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr std::size_t kCount = 8;
    const tagVeyPointF points[kCount] = {
        {0.0f, 0.0f},       {10.0f, -20.0f}, {-40.0f, 40.0f},  {55.0f, 55.0f},
        {-1e6f, 3e5f},      {-0.0f, 1e-30f}, {nan, 1.0f},      {inf, -inf},
    };
    const std::int32_t useLsm = par.UseLsm;
    const float resolution = static_cast<float>(par.Resolution);
    ZemCal zem;
    for (const std::int32_t path : {0, 1}) {
        par.UseLsm = path;
        // The prepared corrector, built from whatever the file put into the
        // record, must give the facade's points to the last bit (NaNs too),
        // one at a time and as an array.
        const CPointCorrector corrector(par);
        tagVeyPointF batch[kCount];
        corrector.Correct(points, batch, kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            const tagVeyPointF& p = points[i];
            tagVeyPointF out{}, prepared{};
            if (!zem.CalibPoint(par, p, out)) fail("CalibPoint returned false");
            corrector.Correct(p, prepared);
            if (!sameBits(out, prepared) || !sameBits(out, batch[i])) {
                fail("CPointCorrector::Correct differs from CalibPoint");
            }
            for (const bool shift : {false, true}) {
                if (!zem.LP2DPEX_SFT(p, out, par, shift)) fail("LP2DPEX_SFT returned false");
                if (!inDeviceRange(out.x, resolution) || !inDeviceRange(out.y, resolution)) {
                    fail("LP2DPEX_SFT left the device range");
                }
                corrector.CorrectSft(p, prepared, shift);
                if (!sameBits(out, prepared)) fail("CPointCorrector::CorrectSft differs from LP2DPEX_SFT");
            }
        }
    }
    par.UseLsm = useLsm;
}

void checkSaveReload(tagLenPar& par) {
    const std::string a = scratchPath("saved-a.bin");
    const std::string b = scratchPath("saved-b.bin");
    if (!CBcdFile::SaveBcdFile(a.c_str(), par)) fail("a loaded record does not save");

    // The first reload may differ from par (the loader raises Resolution,
    // ignores sizes <= 1, keeps only 8 bits of each flag); from then on the
    // record is a fixed point of save and load.
    tagLenPar first;
    if (!CBcdFile::LoadBcdFile(a.c_str(), first)) fail("a saved file does not load");
    if (!CBcdFile::SaveBcdFile(b.c_str(), first)) fail("a reloaded record does not save");
    tagLenPar second;
    if (!CBcdFile::LoadBcdFile(b.c_str(), second)) fail("a resaved file does not load");
    if (!CBcdFile::SaveBcdFile(a.c_str(), second)) fail("a reloaded record does not save");
    if (readFile(a) != readFile(b)) fail("save and load are not inverse");
}

void silenceStdout() {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) fail("cannot silence standard output");
}

}  // namespace zemcal::fuzz
