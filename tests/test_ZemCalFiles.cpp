// End to end through the facade only: text import, fit, save, reload and
// correction, and the table calls on existing and missing files.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "TempDir.h"

namespace {

const std::string kHead = std::string(ZEMCAL_TEST_DATA_DIR) + "/facade_head.cor";

// Corrects a 20 x 17 pattern over and beyond the field (+-60 mm) on both
// paths. The device points as raw bits, so NaN and -0 compare too.
std::vector<std::uint64_t> correctPattern(ZemCal& zc, tagLenPar& lp) {
    std::vector<std::uint64_t> out(2 * 20 * 17);
    for (std::size_t i = 0; i < out.size(); ++i) {
        lp.UseLsm = i < out.size() / 2 ? 1 : 0;
        tagVeyPointF p{};
        const float x = static_cast<float>(i % 20), y = static_cast<float>(i / 20 % 17);
        zc.CalibPoint(lp, {-60.0f + 6.25f * x, -60.0f + 7.5f * y}, p);
        std::memcpy(&out[i], &p, sizeof p);
    }
    return out;
}

// Each test has a scratch directory of its own.
struct ZemCalFiles : testing::Test {
    // Loads into a fresh record; the text import takes FieldSize 110 from it.
    std::unique_ptr<tagLenPar> load(const std::string& file, bool expected = true) {
        auto lp = std::make_unique<tagLenPar>();
        lp->FieldSize = 110.0;
        EXPECT_EQ(zc_.loadUcf(file.c_str(), *lp), expected) << file;
        return lp;
    }

    TempDir dir;
    ZemCal zc_;
};

}  // namespace

// Only the low byte of the version is kept; the fit follows it (only the
// revised fit writes QX/QY). The file carries everything the correction
// needs: the reloaded record, never refitted, corrects bit for bit like the
// record that was saved.
TEST_F(ZemCalFiles, TextImportSaveReloadCorrectsIdenticallyForBothVersions) {
    const std::string file = dir.file("head.zcal");
    for (CalVerion ver : {CalVerClassic, CalVerRevised}) {
        const auto src = load(kHead);
        ASSERT_TRUE(zc_.saveUcf(file.c_str(), *src, static_cast<CalVerion>(0x100 | ver)));
        EXPECT_EQ(src->Version, ver);
        EXPECT_EQ(dir.read("head.zcal").at(7), static_cast<char>(ver));
        EXPECT_EQ(src->QX[1] != 0.0, ver == CalVerRevised);
        EXPECT_EQ(correctPattern(zc_, *src), correctPattern(zc_, *load(file)));
    }
}

// A missing file does not load; the table calls work on the defaults and
// only setCalibPnts writes: the defaults plus the new table, under the revised
// version. A table of another size at an existing index is refused, but the
// file is still rewritten. On a saved head setEqualPnts does not save either;
// UseLsm is not stored, so getEqualPnts reads the manual half, which the file
// does not carry: the defaults, not the values set. setCalibPnts on the nine
// points refits them under the revised version.
TEST_F(ZemCalFiles, TableCalls) {
    const std::string created = dir.file("new.zcal"), head = dir.file("head.zcal");
    load(created, false);
    tagCalData nine[9];
    int n = 3;
    EXPECT_TRUE(zc_.getCalibPnts(created.c_str(), -1, n, nine));
    EXPECT_EQ(nine[8].PntB.x, 0.0f);  // the defaults
    tagVeyPointF lines[100] = {{1.0f, 2.0f}, {3.0f, 4.0f}, {5.0f, 6.0f}};
    EXPECT_TRUE(zc_.setEqualPnts(created.c_str(), 0, 3, lines));
    EXPECT_FALSE(std::filesystem::exists(created));
    std::vector<tagCalData> grid(25), back(25), other(81);
    for (std::size_t i = 0; i < 25; ++i) {
        grid[i] = {{static_cast<float>(i), -40.0f}, {0.5f, 0.01f * static_cast<float>(i)}};
    }
    ASSERT_TRUE(zc_.setCalibPnts(created.c_str(), 0, 5, grid.data()));
    EXPECT_TRUE(zc_.setCalibPnts(created.c_str(), 0, 9, other.data()));
    const auto lp = load(created);
    EXPECT_TRUE(lp->Stacks.size() == 1 && lp->ValSize == 80.0);  // the defaults plus the new table
    n = 5;
    ASSERT_TRUE(zc_.getCalibPnts(created.c_str(), 0, n, back.data()));
    EXPECT_EQ(std::memcmp(back.data(), grid.data(), 25 * sizeof(tagCalData)), 0);

    ASSERT_TRUE(zc_.saveUcf(head.c_str(), *load(kHead), CalVerClassic));
    double fieldSize = 0.0, valSize = 0.0;
    int count = 0;
    ASSERT_TRUE(zc_.getBasePara(head.c_str(), fieldSize, valSize, count));
    EXPECT_EQ(std::make_tuple(fieldSize, valSize, count), std::make_tuple(110.0, 100.0, 21));
    const std::string before = dir.read("head.zcal");
    EXPECT_TRUE(zc_.setEqualPnts(head.c_str(), 0, 3, lines));
    EXPECT_EQ(dir.read("head.zcal"), before);
    count = 0;
    EXPECT_TRUE(zc_.getEqualPnts(head.c_str(), 0, count, lines));
    EXPECT_EQ(std::make_tuple(count, lines[0].x, lines[2].y), std::make_tuple(21, 0.0f, 0.0f));
    n = 3;
    ASSERT_TRUE(zc_.getCalibPnts(head.c_str(), -1, n, nine));
    nine[4].PntB = {0.05f, -0.05f};
    ASSERT_TRUE(zc_.setCalibPnts(head.c_str(), -1, 3, nine));
    const auto saved = load(head), refit = load(head);
    EXPECT_EQ(saved->Version, CalVerRevised);
    EXPECT_EQ(saved->Pnt[4].PntB.x, 0.05f);
    EXPECT_EQ(saved->Stacks.size(), 2u);  // the grid tables travel along
    CCalibAlg::MVLSMCoef(*refit);
    EXPECT_EQ(std::memcmp(saved->Pnt, refit->Pnt, 600), 0);  // stored coefficients are the revised fit
}
