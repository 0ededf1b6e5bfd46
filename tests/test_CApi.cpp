// The C interface: every refusal is a status with the tool's sentence, and
// every point is the C++ corrector's point, bit for bit.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "TempDir.h"

namespace {

const std::string kData = ZEMCAL_TEST_DATA_DIR;
const std::string kSample = std::string(ZEMCAL_EXAMPLES_DIR) + "/sample-head.zcal";
const std::string kSampleText = std::string(ZEMCAL_EXAMPLES_DIR) + "/sample-head.cor";

// Owns a handle for the length of a test.
struct Handle {
    zemcal_calibration* cal = nullptr;
    ~Handle() { zemcal_free(cal); }
};

// The record and corrector a C++ host would build from the same file.
struct Reference {
    explicit Reference(const std::string& path, double fieldSize) {
        tagLoadInfo info;
        std::string message;
        EXPECT_EQ(CCalibFile::Load(path.c_str(), fieldSize, false, rec, info, message), CCalibFile::Ok);
    }
    tagLenPar rec;
};

std::vector<float> probePoints() {
    // Over and beyond the 110 mm span, plus the values that take odd paths.
    std::vector<float> p;
    for (float y = -66.0f; y <= 66.0f; y += 5.5f)
        for (float x = -66.0f; x <= 66.0f; x += 4.125f) p.insert(p.end(), {x, y});
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    p.insert(p.end(), {0.0f, -0.0f, nan, 1.0f, 2.0f, nan, inf, -inf, 1e30f, -1e30f, 49.999f, 50.001f});
    return p;
}

void expectSameBits(const std::vector<float>& got, const std::vector<float>& want) {
    ASSERT_EQ(got.size(), want.size());
    EXPECT_EQ(std::memcmp(got.data(), want.data(), got.size() * sizeof(float)), 0);
}

TEST(CApi, PointsAreTheCorrectorsBitForBit) {
    struct Case {
        const char* name;
        std::string path;
        double fieldSize;  // given to zemcal_load (0: the default)
        double effective;  // what the C++ host passes
    };
    const Case cases[] = {
        {"binary sample, two grid tables", kSample, 0.0, 100.0},
        {"text sample, field size given", kSampleText, 110.0, 110.0},
        {"text sample, default field size", kSampleText, 0.0, 100.0},
        {"text file with a grid section", kData + "/bcd_text_grid.cor", 90.0, 90.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Handle h;
        ASSERT_EQ(zemcal_load(c.path.c_str(), c.fieldSize, &h.cal), ZEMCAL_OK) << zemcal_last_error();
        const Reference ref(c.path, c.effective);
        const CPointCorrector corrector(ref.rec, true);

        const std::vector<float> in = probePoints();
        const std::size_t n = in.size() / 2;
        std::vector<float> want(in.size());
        corrector.Correct(reinterpret_cast<const tagVeyPointF*>(in.data()),
                          reinterpret_cast<tagVeyPointF*>(want.data()), n);

        std::vector<float> single(in.size()), array(in.size()), inPlace = in;
        for (std::size_t i = 0; i < n; ++i)
            ASSERT_EQ(zemcal_correct(h.cal, in[2 * i], in[2 * i + 1], &single[2 * i], &single[2 * i + 1]),
                      ZEMCAL_OK);
        ASSERT_EQ(zemcal_correct_array(h.cal, in.data(), array.data(), n), ZEMCAL_OK);
        ASSERT_EQ(zemcal_correct_array(h.cal, inPlace.data(), inPlace.data(), n), ZEMCAL_OK);
        expectSameBits(single, want);
        expectSameBits(array, want);
        expectSameBits(inPlace, want);

        zemcal_info info{};
        ASSERT_EQ(zemcal_get_info(h.cal, &info, sizeof info), ZEMCAL_OK);
        EXPECT_EQ(info.field_size, ref.rec.FieldSize);
        EXPECT_EQ(info.working_size, ref.rec.ValSize);
        EXPECT_EQ(info.resolution, ref.rec.Resolution);
        EXPECT_EQ(info.center, ref.rec.Center);
        EXPECT_EQ(info.x_invert_lsm, ref.rec.XInvertSaved);
        EXPECT_EQ(info.version, static_cast<unsigned char>(ref.rec.Version));
        ASSERT_EQ(info.table_count, static_cast<int>(ref.rec.Stacks.size()));
        for (int t = 0; t < info.table_count; ++t) {
            int size = 0;
            ASSERT_EQ(zemcal_get_table_size(h.cal, t, &size), ZEMCAL_OK);
            EXPECT_EQ(size, ref.rec.Stacks[static_cast<std::size_t>(t)].Num);
        }
    }
}

TEST(CApi, SaveRefitsAndLoadsBackTheSameCorrection) {
    // The saved file loads back into the handle's own correction; a short
    // zemcal_info (an older caller) gets only its part.
    TempDir dir;
    Handle h, back;
    ASSERT_EQ(zemcal_load(kSampleText.c_str(), 110.0, &h.cal), ZEMCAL_OK);
    ASSERT_EQ(zemcal_save(h.cal, dir.file("head.zcal").c_str(), 0x60), ZEMCAL_OK) << zemcal_last_error();
    ASSERT_EQ(zemcal_load(dir.file("head.zcal").c_str(), 0.0, &back.cal), ZEMCAL_OK);

    const std::vector<float> in = probePoints();
    std::vector<float> a(in.size()), b(in.size());
    zemcal_correct_array(h.cal, in.data(), a.data(), in.size() / 2);
    zemcal_correct_array(back.cal, in.data(), b.data(), in.size() / 2);
    expectSameBits(a, b);

    zemcal_info full{}, shortInfo{};
    shortInfo.resolution = -7;
    zemcal_get_info(back.cal, &full, sizeof full);
    zemcal_get_info(back.cal, &shortInfo, offsetof(zemcal_info, resolution));
    EXPECT_EQ(full.version, 0x60);
    EXPECT_EQ(full.field_size, 110.0);  // the binary file carries it now
    EXPECT_EQ(full.binary, 1);
    EXPECT_EQ(shortInfo.working_size, full.working_size);
    EXPECT_EQ(shortInfo.resolution, -7);
}

TEST(CApi, RefusalsAreStatusesWithTheToolsSentence) {
    TempDir dir;
    dir.write("keep.zcal", "precious");
    Handle loaded;
    ASSERT_EQ(zemcal_load(kSample.c_str(), 0.0, &loaded.cal), ZEMCAL_OK);
    zemcal_calibration* out = nullptr;
    float x = 0.0f;
    int n = 0;
    zemcal_info info{};

    struct Case {
        const char* name;
        std::function<zemcal_status()> call;
        zemcal_status status;
        std::string message;  // the whole sentence, or its start when ending in "..."
    };
    const std::string missing = dir.file("missing.zcal");
    const std::string version3 = kData + "/bcd_version3.bin";
    const std::string cut = dir.file("cut.zcal");  // the sample cut before its test lines
    std::ifstream sample(kSample, std::ios::binary);
    dir.write("cut.zcal", std::string(std::istreambuf_iterator<char>(sample), {}).substr(0, 1000));
    const std::string rowMissing = kData + "/cor_row_missing.ini";
    const Case cases[] = {
        {"missing file", [&] { return zemcal_load(missing.c_str(), 0.0, &out); }, ZEMCAL_ERR_FILE,
         "cannot open " + missing + ": No such file or directory"},
        {"a folder", [&] { return zemcal_load(dir.path.c_str(), 0.0, &out); }, ZEMCAL_ERR_FILE,
         "cannot open " + dir.path.string() + ": it is a directory"},
        {"version '3'", [&] { return zemcal_load(version3.c_str(), 0.0, &out); }, ZEMCAL_ERR_DATA,
         version3 + ": calibration version '3' (0x33) is refused by the library"},
        {"binary file cut short", [&] { return zemcal_load(cut.c_str(), 0.0, &out); },
         ZEMCAL_ERR_DATA, cut + ": truncated binary calibration file: it ends at byte 1000 of ..."},
        {"text file without a base point", [&] { return zemcal_load(rowMissing.c_str(), 0.0, &out); },
         ZEMCAL_ERR_DATA, rowMissing + ":..."},
        {"negative field size", [&] { return zemcal_load(kSample.c_str(), -1.0, &out); },
         ZEMCAL_ERR_ARGUMENT, "the field size must be a positive number of millimetres"},
        {"NaN field size", [&] { return zemcal_load(kSample.c_str(), std::nan(""), &out); },
         ZEMCAL_ERR_ARGUMENT, "the field size must be a positive number of millimetres"},
        {"null path", [&] { return zemcal_load(nullptr, 0.0, &out); }, ZEMCAL_ERR_ARGUMENT,
         "zemcal_load: path is a null pointer"},
        {"null handle to correct", [&] { return zemcal_correct(nullptr, 0, 0, &x, &x); },
         ZEMCAL_ERR_ARGUMENT, "zemcal_correct: cal is a null pointer"},
        {"null array with points", [&] { return zemcal_correct_array(loaded.cal, nullptr, &x, 1); },
         ZEMCAL_ERR_ARGUMENT, "zemcal_correct_array: in is a null pointer"},
        {"null info", [&] { return zemcal_get_info(loaded.cal, nullptr, sizeof info); },
         ZEMCAL_ERR_ARGUMENT, "zemcal_get_info: info is a null pointer"},
        {"table past the end", [&] { return zemcal_get_table_size(loaded.cal, 2, &n); },
         ZEMCAL_ERR_ARGUMENT, "zemcal_get_table_size: table 2 does not exist (the calibration has 2)"},
        {"save into a missing folder",
         [&] { return zemcal_save(loaded.cal, (missing + "/x.zcal").c_str(), -1); }, ZEMCAL_ERR_FILE,
         "cannot write " + missing + "/x.zcal: No such file or directory"},
        {"save as version '3'",
         [&] { return zemcal_save(loaded.cal, dir.file("keep.zcal").c_str(), 0x33); },
         ZEMCAL_ERR_ARGUMENT, "version '3' (0x33) would write a file the library refuses to load"},
        {"save as version 256",
         [&] { return zemcal_save(loaded.cal, dir.file("keep.zcal").c_str(), 256); },
         ZEMCAL_ERR_ARGUMENT, "zemcal_save: version must be -1 (keep) or a byte 0..255"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.call(), c.status);
        const std::string got = zemcal_last_error();
        const std::string& want = c.message;
        if (want.size() > 3 && want.compare(want.size() - 3, 3, "...") == 0)
            EXPECT_EQ(got.substr(0, want.size() - 3), want.substr(0, want.size() - 3)) << got;
        else
            EXPECT_EQ(got, want);
    }
    EXPECT_EQ(out, nullptr);                    // no handle from a failed load
    EXPECT_EQ(dir.read("keep.zcal"), "precious");  // no file damaged by a refused save
    zemcal_free(nullptr);                       // ignored
}

TEST(CApi, LastErrorBelongsToTheCallingThread) {
    zemcal_calibration* out = nullptr;
    ASSERT_EQ(zemcal_load(nullptr, 0.0, &out), ZEMCAL_ERR_ARGUMENT);
    std::string other;
    std::thread([&] {
        other = zemcal_last_error();  // nothing failed on this thread yet
        zemcal_load("/nonexistent/zemcal.zcal", 0.0, &out);
    }).join();
    EXPECT_EQ(other, "");
    EXPECT_EQ(std::string(zemcal_last_error()), "zemcal_load: path is a null pointer");
}

}  // namespace
