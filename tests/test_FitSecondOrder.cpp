// Second-order fits of the nine-point grid: CCalibAlg::MVLSMCoef, MVLSMCoef2
// (classic) and MVLSMCoef2_new (revised). Everything is compared bit for bit.
// Non-trivial expected values come from tests/data/fit_reference.txt, written
// by tests/reference/fit_reference.py, an independent re-computation with
// emulated single precision.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <zemcal/CalibAlg.h>

namespace {

using FitFn = void (*)(tagLenPar&);
const FitFn kClassic = &CCalibAlg::MVLSMCoef2, kRevised = &CCalibAlg::MVLSMCoef2_new;

std::uint64_t Bits(double d) {
    std::uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}

// The doubles the fits write: the first 23 by both, the last 4 by the revised one.
struct Field {
    const char* name;
    std::size_t offset;
};
#define F(name, member) Field{name, offsetof(tagLenPar, member)}
const Field kFields[] = {
    F("AxisXL", AxisXL), F("AxisXR", AxisXR), F("AxisYT", AxisYT), F("AxisYB", AxisYB),
    F("OX", OX),         F("OY", OY),         F("SXL", SXL),       F("SXR", SXR),
    F("SX", SX),         F("SYT", SYT),       F("SYB", SYB),       F("SY", SY),
    F("TXL", TXL),       F("TXR", TXR),       F("TYT", TYT),       F("TYB", TYB),
    F("PLX", PLX),       F("PLY", PLY),       F("Y2XAngle", Y2XAngle), F("K0", K[0]),
    F("K1", K[1]),       F("K2", K[2]),       F("K3", K[3]),
    F("QX0", QX[0]),     F("QX1", QX[1]),     F("QY0", QY[0]),     F("QY1", QY[1])};
#undef F
std::size_t WrittenCount(FitFn fit) { return fit == kRevised ? 27 : 23; }

double Get(const tagLenPar& par, const Field& f) {
    double d;
    std::memcpy(&d, reinterpret_cast<const unsigned char*>(&par) + f.offset, sizeof d);
    return d;
}

// One case of the reference file: the fit's inputs and its expected fields.
struct RefCase {
    FitFn fit = nullptr;
    std::string name;
    tagLenPar input;
    std::vector<std::pair<std::string, double>> expect;
};

std::vector<RefCase> LoadReference() {
    std::vector<RefCase> cases;
    std::ifstream in(ZEMCAL_TEST_DATA_DIR "/fit_reference.txt");
    for (std::string line, key; std::getline(in, line);) {
        std::istringstream ls(line);
        if (!(ls >> key) || key[0] == '#' || key == "end") continue;
        if (key == "case") {
            std::string fit;
            cases.emplace_back();
            ls >> fit >> cases.back().name;
            cases.back().fit = fit == "classic" ? kClassic : kRevised;
            continue;
        }
        std::vector<double> v;
        for (std::string tok; ls >> tok;) v.push_back(std::strtod(tok.c_str(), nullptr));
        tagLenPar& p = cases.back().input;
        if (key == "Resolution") p.Resolution = static_cast<std::int32_t>(v.at(0));
        else if (key == "FieldSize") p.FieldSize = v.at(0);
        else if (key == "ValSize") p.ValSize = v.at(0);
        else if (key.rfind("Pnt", 0) == 0) {
            float* row = &p.Pnt[std::stoi(key.substr(3))].PntA.x;
            for (int i = 0; i < 4; ++i) row[i] = static_cast<float>(v.at(i));
        } else cases.back().expect.emplace_back(key, v.at(0));
    }
    return cases;
}

// The grid of the reference case "rotated_column", where the two fits differ.
tagLenPar TurnedGrid() {
    for (const RefCase& c : LoadReference())
        if (c.name == "rotated_column") return c.input;
    ADD_FAILURE() << "tests/data/fit_reference.txt has no rotated_column case";
    return tagLenPar{};
}

}  // namespace

TEST(FitSecondOrder, MatchesIndependentReference) {
    const std::vector<RefCase> cases = LoadReference();
    ASSERT_EQ(cases.size(), 12u) << "tests/data/fit_reference.txt missing or changed";
    for (const RefCase& c : cases) {
        SCOPED_TRACE(c.name);
        tagLenPar par = c.input;
        c.fit(par);
        ASSERT_EQ(c.expect.size(), WrittenCount(c.fit));
        for (std::size_t i = 0; i < c.expect.size(); ++i) {
            ASSERT_EQ(c.expect[i].first, kFields[i].name);
            EXPECT_EQ(Bits(Get(par, kFields[i])), Bits(c.expect[i].second))
                << kFields[i].name << " = " << Get(par, kFields[i]);
        }
    }
}

// An ideal grid (measured == nominal at +-40 mm, ValSize 80), worked by hand:
// the column is vertical, so the angle is the row's slope, 0, and there is no
// shear; the edge slopes are 0/-80 in float, i.e. -0; every residual is 0; the
// quadratic terms are 0, so the revised fit equals the classic one.
TEST(FitSecondOrder, IdealGridByHand) {
    const double expect[27] = {40, 40, 40, 40, 0, 0, 1, 1, 1, 1, 1, 1, -0.0, -0.0,
                               -0.0, -0.0, 0, 0, 0, 1, 1, 0, 0, 1, 0, 1, 0};
    for (FitFn fit : {kClassic, kRevised}) {
        tagLenPar par;
        const float at[3] = {-40.0f, 0.0f, 40.0f};
        for (int i = 0; i < 9; ++i) {
            const tagVeyPointF p{at[i % 3], at[2 - i / 3]};
            par.Pnt[i] = {p, p};
        }
        fit(par);
        for (std::size_t i = 0; i < WrittenCount(fit); ++i)
            EXPECT_EQ(Bits(Get(par, kFields[i])), Bits(expect[i])) << kFields[i].name;
    }
}

// Every byte of the record other than the fit's own fields survives the fit
// (the nine points too), and every one of those fields is written.
TEST(FitSecondOrder, WritesOnlyItsFields) {
    for (FitFn fit : {kClassic, kRevised}) {
        tagLenPar par;
        auto* bytes = reinterpret_cast<unsigned char*>(&par);
        const std::size_t vecBegin = offsetof(tagLenPar, Stacks);
        const std::size_t vecEnd = vecBegin + sizeof par.Stacks;
        std::memset(bytes, 0xA5, vecBegin);
        std::memset(bytes + vecEnd, 0xA5, sizeof par - vecEnd);
        const tagLenPar grid = TurnedGrid();
        std::memcpy(par.Pnt, grid.Pnt, sizeof par.Pnt);
        par.Resolution = grid.Resolution;
        par.FieldSize = grid.FieldSize;
        par.ValSize = grid.ValSize;
        const std::vector<unsigned char> before(bytes, bytes + sizeof par);

        fit(par);
        std::vector<bool> skip(sizeof par, false);
        for (std::size_t i = 0; i < WrittenCount(fit); ++i) {
            const std::size_t at = kFields[i].offset;
            EXPECT_NE(std::memcmp(bytes + at, &before[at], 8), 0) << kFields[i].name;
            std::fill(skip.begin() + at, skip.begin() + at + 8, true);
        }
        std::fill(skip.begin() + vecBegin, skip.begin() + vecEnd, true);
        for (std::size_t i = 0; i < sizeof par; ++i) {
            if (!skip[i]) {
                ASSERT_EQ(bytes[i], before[i]) << "byte at offset " << i;
            }
        }
        EXPECT_TRUE(par.Stacks.empty());
    }
}

TEST(FitSecondOrder, DriverChoosesByVersionByte) {
    const struct {
        unsigned char version;
        FitFn expected;
    } cases[] = {{0x50, kClassic}, {0x60, kRevised}, {0x00, kRevised}, {0x33, kRevised},
                 {0x51, kRevised}};
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.version));
        tagLenPar viaDriver = TurnedGrid(), direct = TurnedGrid();
        viaDriver.Version = direct.Version = static_cast<CalVerion>(c.version);
        CCalibAlg::MVLSMCoef(viaDriver);
        c.expected(direct);
        EXPECT_EQ(std::memcmp(viaDriver.Pnt, direct.Pnt, 600), 0);  // the parameter block
    }
}

// All nine measured points at the origin: zero half-axes and coincident
// lines. Nothing throws; infinities and NaNs are stored as they come.
TEST(FitSecondOrder, DegenerateGridStoresNonFiniteValues) {
    for (FitFn fit : {kClassic, kRevised}) {
        tagLenPar par;
        for (int i = 0; i < 9; ++i) par.Pnt[i].PntA = {10.0f * i, 5.0f};
        fit(par);
        EXPECT_TRUE(std::isinf(par.SXL) && std::isinf(par.SX));
        EXPECT_TRUE(std::isnan(par.Y2XAngle));  // pi/2 - atan(0/0)
        EXPECT_TRUE(std::isnan(par.PLX));
        EXPECT_EQ(Bits(par.TXL), Bits(0.0));  // held by the 1e-6 guard
        EXPECT_TRUE(std::isnan(par.K[2]) && std::isnan(par.K[3]));
        EXPECT_EQ(std::isnan(par.QX[1]), fit == kRevised);  // 0/0, revised only
    }
}
