// End to end through the facade only: text import, fit, save, reload and
// correction, and the table calls on existing and missing files.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cstdio>
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

    std::string dir_;
    ZemCal zc_;
};

bool sameBits(const void* a, const void* b, std::size_t n) { return std::memcmp(a, b, n) == 0; }

// Every field the binary file carries.
void expectSameStoredRecord(const tagLenPar& a, const tagLenPar& b) {
    EXPECT_EQ(a.Version, b.Version);
    EXPECT_TRUE(sameBits(&a.FieldSize, &b.FieldSize, sizeof a.FieldSize));
    EXPECT_TRUE(sameBits(&a.ValSize, &b.ValSize, sizeof a.ValSize));
    EXPECT_EQ(a.LineCount, b.LineCount);
    EXPECT_EQ(a.Resolution, b.Resolution);
    EXPECT_EQ(a.Center, b.Center);
    EXPECT_EQ(a.CenterSq, b.CenterSq);
    EXPECT_EQ(a.XYFlip, b.XYFlip);
    EXPECT_EQ(a.XInvert, b.XInvert);
    EXPECT_EQ(a.YInvert, b.YInvert);
    EXPECT_EQ(a.XYFlipSaved, b.XYFlipSaved);
    EXPECT_EQ(a.XInvertSaved, b.XInvertSaved);
    EXPECT_EQ(a.YInvertSaved, b.YInvertSaved);
    EXPECT_TRUE(sameBits(a.Pnt, b.Pnt, 600)) << "parameter block";
    EXPECT_EQ(a.Grid, b.Grid);
    const int lines = a.LineCount < 100 ? a.LineCount : 100;
    for (const auto member : {&tagLenPar::XT, &tagLenPar::YT, &tagLenPar::XA, &tagLenPar::YA}) {
        EXPECT_TRUE(sameBits(a.*member, b.*member, sizeof(double) * static_cast<std::size_t>(lines)));
    }
    ASSERT_EQ(a.Stacks.size(), b.Stacks.size());
    for (std::size_t i = 0; i < a.Stacks.size(); ++i) {
        EXPECT_EQ(a.Stacks[i].Num, b.Stacks[i].Num);
        EXPECT_EQ(a.Stacks[i].Flag, b.Stacks[i].Flag);
        ASSERT_EQ(a.Stacks[i].Pnts.size(), b.Stacks[i].Pnts.size());
        EXPECT_TRUE(sameBits(a.Stacks[i].Pnts.data(), b.Stacks[i].Pnts.data(),
                             a.Stacks[i].Pnts.size() * sizeof(tagCalData)));
    }
}

// Corrects a pattern over and beyond the field on both paths.
std::vector<tagVeyPointF> correctPattern(ZemCal& zc, tagLenPar& lp) {
    std::vector<tagVeyPointF> out;
    for (int useLsm : {1, 0}) {
        lp.UseLsm = useLsm;
        for (float y = -60.0f; y <= 60.0f; y += 7.5f) {
            for (float x = -60.0f; x <= 60.0f; x += 6.25f) {
                tagVeyPointF p{};
                zc.CalibPoint(lp, {x, y}, p);
                out.push_back(p);
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
        ASSERT_TRUE(zc_.saveUcf(file.c_str(), *src, ver));
        EXPECT_EQ(src->Version, ver);
        EXPECT_EQ(readBytes(file).at(7), static_cast<unsigned char>(ver));

        auto back = std::make_unique<tagLenPar>();
        ASSERT_TRUE(zc_.loadUcf(file.c_str(), *back));
        expectSameStoredRecord(*src, *back);

        const auto expected = correctPattern(zc_, *src);
        const auto actual = correctPattern(zc_, *back);
        ASSERT_EQ(expected.size(), actual.size());
        EXPECT_TRUE(sameBits(expected.data(), actual.data(), expected.size() * sizeof(tagVeyPointF)));
    }
}

TEST_F(ZemCalFiles, SaveFitsByTheRequestedVersion) {
    auto classic = std::make_unique<tagLenPar>();
    auto revised = std::make_unique<tagLenPar>();
    ASSERT_TRUE(zc_.loadUcf(kHead.c_str(), *classic));
    ASSERT_TRUE(zc_.loadUcf(kHead.c_str(), *revised));
    ASSERT_TRUE(zc_.saveUcf(path("p.zcal").c_str(), *classic, CalVerClassic));
    ASSERT_TRUE(zc_.saveUcf(path("r.zcal").c_str(), *revised, static_cast<CalVerion>(0x160)));
    EXPECT_EQ(revised->Version, CalVerRevised);  // the low byte of the value given
    EXPECT_EQ(classic->QX[1], 0.0);              // only the revised fit writes QX/QY
    EXPECT_NE(revised->QX[1], 0.0);
    EXPECT_EQ(revised->QX[0], 1.0);
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
    auto lp = std::make_unique<tagLenPar>();
    ASSERT_TRUE(zc_.loadUcf(kHead.c_str(), *lp));
    const std::string file = path("head.zcal");
    ASSERT_TRUE(zc_.saveUcf(file.c_str(), *lp, CalVerClassic));

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
    auto lp = std::make_unique<tagLenPar>();
    ASSERT_TRUE(zc_.loadUcf(kHead.c_str(), *lp));
    const std::string file = path("head.zcal");
    ASSERT_TRUE(zc_.saveUcf(file.c_str(), *lp, CalVerClassic));
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
    auto lp = std::make_unique<tagLenPar>();
    lp->FieldSize = 110.0;
    ASSERT_TRUE(zc_.loadUcf(kHead.c_str(), *lp));
    const std::string file = path("head.zcal");
    ASSERT_TRUE(zc_.saveUcf(file.c_str(), *lp, CalVerClassic));

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
