// Second-order fits of the nine-point grid: CCalibAlg::MVLSMCoef, MVLSMCoef2
// (classic) and MVLSMCoef2_new (revised). Everything is compared bit for bit.
// Non-trivial expected values come from tests/data/fit_reference.txt, written
// by tests/reference/fit_reference.py, an independent re-computation with
// emulated single precision.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <zemcal/CalibAlg.h>

namespace {

using FitFn = void (*)(tagLenPar&);
const FitFn kClassic = &CCalibAlg::MVLSMCoef2, kRevised = &CCalibAlg::MVLSMCoef2_new;

// The doubles the fits write, in the order of the reference file: AxisXL
// through K[3] (one after another in the record) by both fits, then QX[0],
// QX[1], QY[0], QY[1] by the revised fit only.
std::size_t Offset(std::size_t i) {
    if (i < 23) return offsetof(tagLenPar, AxisXL) + 8 * i;
    return i < 25 ? offsetof(tagLenPar, QX) + 8 * (i - 23) : offsetof(tagLenPar, QY) + 8 * (i - 25);
}
std::size_t WrittenCount(FitFn fit) { return fit == kRevised ? 27 : 23; }

// The bit pattern of the double at `at`, or of field i of a record.
std::uint64_t Bits(const void* at) {
    std::uint64_t u;
    std::memcpy(&u, at, sizeof u);
    return u;
}
std::uint64_t Bits(const tagLenPar& p, std::size_t i) { return Bits(reinterpret_cast<const char*>(&p) + Offset(i)); }

// One case of the reference file: the fit, its inputs and its expected fields.
struct RefCase {
    FitFn fit = nullptr;
    tagLenPar input;
    std::vector<double> expect;  // field by field, in the order of Offset
};

std::vector<RefCase> LoadReference() {
    std::vector<RefCase> cases;
    std::ifstream in(ZEMCAL_TEST_DATA_DIR "/fit_reference.txt");
    for (std::string line, key, tok; std::getline(in, line);) {
        std::istringstream ls(line);
        if (!(ls >> key) || key[0] == '#' || key == "end") continue;
        if (key == "case" && ls >> tok) {
            cases.push_back({tok == "classic" ? kClassic : kRevised, {}, {}});
            continue;
        }
        std::vector<double> v;
        while (ls >> tok) v.push_back(std::stod(tok));
        const auto f = [&v](std::size_t i) { return static_cast<float>(v.at(i)); };
        tagLenPar& p = cases.back().input;
        if (key == "Resolution") p.Resolution = static_cast<std::int32_t>(v.at(0));
        else if (key == "FieldSize") p.FieldSize = v.at(0);
        else if (key == "ValSize") p.ValSize = v.at(0);
        else if (key.rfind("Pnt", 0) == 0) p.Pnt[std::stoi(key.substr(3))] = {{f(0), f(1)}, {f(2), f(3)}};
        else cases.back().expect.push_back(v.at(0));
    }
    return cases;
}

// The grid of the third reference case, "rotated_column", where the two fits differ.
tagLenPar TurnedGrid() { return LoadReference().at(2).input; }

}  // namespace

// The reference cases, then an ideal grid (measured == nominal at +-40 mm,
// ValSize 80) worked by hand: the column is vertical, so the angle is the
// row's slope, 0, and there is no shear; the edge slopes are 0/-80 in float,
// i.e. -0; every residual is 0; the quadratic terms are 0, so the revised fit
// equals the classic one. Each fit runs on a record poisoned outside its
// inputs: it must neither read nor write any byte but its own fields (the
// nine points included).
TEST(FitSecondOrder, MatchesReferenceAndWritesOnlyItsFields) {
    std::vector<RefCase> cases = LoadReference();
    ASSERT_EQ(cases.size(), 12u) << "tests/data/fit_reference.txt missing or changed";
    const double ideal[27] = {40, 40, 40, 40, 0, 0, 1, 1, 1, 1, 1, 1, -0.0, -0.0,
                              -0.0, -0.0, 0, 0, 0, 1, 1, 0, 0, 1, 0, 1, 0};
    const float at[3] = {-40.0f, 0.0f, 40.0f};
    tagLenPar grid;
    for (int i = 0; i < 9; ++i) grid.Pnt[i].PntA = grid.Pnt[i].PntB = {at[i % 3], at[2 - i / 3]};
    for (FitFn fit : {kClassic, kRevised}) cases.push_back({fit, grid, {ideal, ideal + WrittenCount(fit)}});

    for (std::size_t c = 0; c < cases.size(); ++c) {
        tagLenPar par;
        auto* bytes = reinterpret_cast<unsigned char*>(&par);
        const std::size_t vec = offsetof(tagLenPar, Stacks), tail = vec + sizeof par.Stacks;
        std::memset(bytes, 0xA5, vec);
        std::memset(bytes + tail, 0xA5, sizeof par - tail);
        const tagLenPar& in = cases[c].input;
        std::memcpy(par.Pnt, in.Pnt, sizeof par.Pnt);
        par.Resolution = in.Resolution, par.FieldSize = in.FieldSize, par.ValSize = in.ValSize;
        const std::vector<unsigned char> before(bytes, bytes + sizeof par);
        cases[c].fit(par);
        ASSERT_EQ(cases[c].expect.size(), WrittenCount(cases[c].fit)) << "case " << c;
        // Each field as expected; put back as it was, after which no byte may differ.
        for (std::size_t i = 0; i < cases[c].expect.size(); ++i) {
            EXPECT_EQ(Bits(par, i), Bits(&cases[c].expect[i])) << "case " << c << ", field " << i;
            std::memcpy(bytes + Offset(i), &before[Offset(i)], 8);
        }
        EXPECT_EQ(std::memcmp(bytes, before.data(), vec), 0) << "case " << c;
        EXPECT_EQ(std::memcmp(bytes + tail, &before[tail], sizeof par - tail), 0) << "case " << c;
        EXPECT_TRUE(par.Stacks.empty());
    }
}

// 'P' alone selects the classic fit; only the version byte is looked at.
TEST(FitSecondOrder, DriverChoosesByVersionByte) {
    const struct { unsigned char version; FitFn expected; } cases[] = {
        {0x50, kClassic}, {0x60, kRevised}, {0x00, kRevised}, {0x51, kRevised}};
    for (const auto& c : cases) {
        tagLenPar viaDriver = TurnedGrid(), direct = TurnedGrid();
        viaDriver.Version = direct.Version = static_cast<CalVerion>(c.version);
        CCalibAlg::MVLSMCoef(viaDriver);
        c.expected(direct);
        EXPECT_EQ(std::memcmp(viaDriver.Pnt, direct.Pnt, 600), 0) << int{c.version};  // the parameter block
    }
}

// All nine measured points at the origin: zero half-axes and coincident
// lines. Nothing throws; infinities and NaNs are stored as they come.
TEST(FitSecondOrder, DegenerateGridStoresNonFiniteValues) {
    for (FitFn fit : {kClassic, kRevised}) {
        tagLenPar par;
        for (int i = 0; i < 9; ++i) par.Pnt[i].PntA = {10.0f * i, 5.0f};
        fit(par);
        // Y2XAngle is pi/2 - atan(0/0); TXL is held at +0 by the 1e-6 guard.
        EXPECT_TRUE(std::isinf(par.SXL) && std::isinf(par.SX) && std::isnan(par.Y2XAngle) && std::isnan(par.PLX));
        EXPECT_TRUE(std::isnan(par.K[2]) && std::isnan(par.K[3]) && par.TXL == 0.0 && !std::signbit(par.TXL));
        EXPECT_EQ(std::isnan(par.QX[1]), fit == kRevised);  // 0/0, revised only
    }
}
