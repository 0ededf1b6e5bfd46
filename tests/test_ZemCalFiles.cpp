// End to end through the facade only: text import, fit, save, reload and
// correction, and the table calls on existing and missing files.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

const std::string kHead = std::string(ZEMCAL_TEST_DATA_DIR) + "/facade_head.cor";

// A scratch directory removed with the fixture.
class ZemCalFiles : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/zemcal-facade-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }
    std::string path(const char* name) const { return dir_ + "/" + name; }
    // The fixture head imported (FieldSize 110) and saved as a classic binary file.
    std::string savedHead() {
        auto lp = std::make_unique<tagLenPar>();
        lp->FieldSize = 110.0;
        const std::string file = path("head.zcal");
        if (!zc_.loadUcf(kHead.c_str(), *lp) || !zc_.saveUcf(file.c_str(), *lp, CalVerClassic)) {
            ADD_FAILURE() << "cannot prepare " << file;
        }
        return file;
    }

    std::string dir_;
    ZemCal zc_;
};

bool sameBits(const void* a, const void* b, std::size_t n) { return std::memcmp(a, b, n) == 0; }

// Corrects a pattern over and beyond the field on both paths.
// The device points as raw bits, so NaN and -0 compare too.
std::vector<std::uint64_t> correctPattern(ZemCal& zc, tagLenPar& lp) {
    std::vector<std::uint64_t> out;
    for (int useLsm : {1, 0}) {
        lp.UseLsm = useLsm;
        for (float y = -60.0f; y <= 60.0f; y += 7.5f) {
            for (float x = -60.0f; x <= 60.0f; x += 6.25f) {
                tagVeyPointF p{};
                zc.CalibPoint(lp, {x, y}, p);
                std::uint64_t bits;
                std::memcpy(&bits, &p, sizeof bits);
                out.push_back(bits);
            }
        }
    }
    return out;
}

std::vector<unsigned char> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

TEST_F(ZemCalFiles, TextImportSaveReloadCorrectsIdenticallyForBothVersions) {
    for (CalVerion ver : {CalVerClassic, CalVerRevised}) {
        auto src = std::make_unique<tagLenPar>();
        src->FieldSize = 110.0;
        ASSERT_TRUE(zc_.loadUcf(kHead.c_str(), *src));
        EXPECT_EQ(src->Version, CalVerClassic);
        ASSERT_EQ(src->Stacks.size(), 2u);
        EXPECT_EQ(src->XInvertSaved, 1);

        const std::string file = path("head.zcal");
        // Only the low byte of the version is kept; the fit follows it (only
        // the revised fit writes QX/QY).
        ASSERT_TRUE(zc_.saveUcf(file.c_str(), *src, static_cast<CalVerion>(0x100 | ver)));
        EXPECT_EQ(src->Version, ver);
        EXPECT_EQ(readBytes(file).at(7), static_cast<unsigned char>(ver));
        EXPECT_EQ(src->QX[1] != 0.0, ver == CalVerRevised);

        // Everything the file stores comes back: saving the reloaded record
        // (without refitting) gives the same bytes.
        auto back = std::make_unique<tagLenPar>();
        ASSERT_TRUE(zc_.loadUcf(file.c_str(), *back));
        ASSERT_TRUE(CBcdFile::SaveBcdFile(path("again.zcal").c_str(), *back));
        EXPECT_EQ(readBytes(file), readBytes(path("again.zcal")));
        EXPECT_EQ(back->CenterSq, src->CenterSq);

        EXPECT_EQ(correctPattern(zc_, *src), correctPattern(zc_, *back));
    }
}

TEST_F(ZemCalFiles, SetCalibPntsCreatesAMissingFileWithTheRevisedVersion) {
    const std::string file = path("new.zcal");
    std::vector<tagCalData> grid(25);
    for (int i = 0; i < 25; ++i) {
        const float u = -40.0f + 20.0f * static_cast<float>(i % 5);
        const float v = 40.0f - 20.0f * static_cast<float>(i / 5);
        grid[static_cast<std::size_t>(i)] = {{u, v}, {u + 0.01f, v - 0.02f}};
    }
    ASSERT_TRUE(zc_.setCalibPnts(file.c_str(), 0, 5, grid.data()));
    EXPECT_EQ(readBytes(file).at(7), 0x60);

    std::vector<tagCalData> back(25);
    int n = 5;
    ASSERT_TRUE(zc_.getCalibPnts(file.c_str(), 0, n, back.data()));
    EXPECT_EQ(n, 5);
    EXPECT_TRUE(sameBits(back.data(), grid.data(), 25 * sizeof(tagCalData)));

    auto lp = std::make_unique<tagLenPar>();
    ASSERT_TRUE(zc_.loadUcf(file.c_str(), *lp));
    ASSERT_EQ(lp->Stacks.size(), 1u);
    EXPECT_EQ(lp->Stacks[0].Flag, 1);
    EXPECT_EQ(lp->ValSize, 80.0);  // the defaults plus the new table

    // A table of another size at an existing index is refused, but the
    // file is still rewritten (refitted, version stamped).
    std::vector<tagCalData> nine(81);
    EXPECT_TRUE(zc_.setCalibPnts(file.c_str(), 0, 9, nine.data()));
    n = 5;
    ASSERT_TRUE(zc_.getCalibPnts(file.c_str(), 0, n, back.data()));
    EXPECT_TRUE(sameBits(back.data(), grid.data(), 25 * sizeof(tagCalData)));
}

TEST_F(ZemCalFiles, SetCalibPntsRefitsTheNinePointsUnderTheRevisedVersion) {
    const std::string file = savedHead();

    tagCalData nine[9];
    int n = 3;
    ASSERT_TRUE(zc_.getCalibPnts(file.c_str(), -1, n, nine));
    nine[4].PntB = {0.05f, -0.05f};
    ASSERT_TRUE(zc_.setCalibPnts(file.c_str(), -1, 3, nine));

    auto back = std::make_unique<tagLenPar>();
    ASSERT_TRUE(zc_.loadUcf(file.c_str(), *back));
    EXPECT_EQ(back->Version, CalVerRevised);
    EXPECT_EQ(back->Pnt[4].PntB.x, 0.05f);
    EXPECT_EQ(back->Stacks.size(), 2u);  // the grid tables travel along
    auto refit = std::make_unique<tagLenPar>();
    ASSERT_TRUE(zc_.loadUcf(file.c_str(), *refit));
    CCalibAlg::MVLSMCoef(*refit);
    EXPECT_TRUE(sameBits(back->Pnt, refit->Pnt, 600));  // stored coefficients are the revised fit
}

TEST_F(ZemCalFiles, SetEqualPntsIsNeverSaved) {
    const std::string file = savedHead();
    const auto before = readBytes(file);

    tagVeyPointF lines[3] = {{1.0f, 2.0f}, {3.0f, 4.0f}, {5.0f, 6.0f}};
    EXPECT_TRUE(zc_.setEqualPnts(file.c_str(), 0, 3, lines));
    EXPECT_EQ(readBytes(file), before);

    // UseLsm is not stored, so the temporary record reads the manual half,
    // which the file does not carry either: the defaults, not the values set.
    tagVeyPointF back[100];
    int count = 0;
    EXPECT_TRUE(zc_.getEqualPnts(file.c_str(), 0, count, back));
    EXPECT_EQ(count, 21);
    EXPECT_EQ(back[0].x, 0.0f);
    EXPECT_EQ(back[2].y, 0.0f);

    const std::string missing = path("missing.zcal");
    EXPECT_TRUE(zc_.setEqualPnts(missing.c_str(), 0, 3, lines));
    EXPECT_FALSE(std::ifstream(missing).good());
}

TEST_F(ZemCalFiles, BaseParametersAndMissingFiles) {
    const std::string file = savedHead();

    double fieldSize = 0.0, valSize = 0.0;
    int lineCount = 0;
    ASSERT_TRUE(zc_.getBasePara(file.c_str(), fieldSize, valSize, lineCount));
    EXPECT_EQ(fieldSize, 110.0);
    EXPECT_EQ(valSize, 100.0);
    EXPECT_EQ(lineCount, 21);

    auto fresh = std::make_unique<tagLenPar>();
    EXPECT_FALSE(zc_.loadUcf(path("missing.zcal").c_str(), *fresh));
    int n = 3;
    tagCalData nine[9];
    EXPECT_TRUE(zc_.getCalibPnts(path("missing.zcal").c_str(), -1, n, nine));  // the defaults
    EXPECT_EQ(nine[8].PntB.x, 0.0f);
}
