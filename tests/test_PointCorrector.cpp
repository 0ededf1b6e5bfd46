// The prepared corrector against the facade it stands in for: for every
// record and every point its output must be the facade's, bit for bit
// (compared with memcmp, so NaN payloads and -0 count).
//
// Records are drawn at random from a fixed seed: both fit versions, both
// paths, every flag combination, offsets, shifts, line tables, and 0 to 3
// grid tables that are regular, irregular (overlapping and gapped cells),
// hostile (scrambled, inverted or non-finite nominal nodes), short, or
// smaller than 2 x 2 (five tables now and then). Points include every node, points on shared edges and
// corners, in gaps, beyond the field, and non-finite ones.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace {

const float kInf = std::numeric_limits<float>::infinity();
const float kNaN = std::numeric_limits<float>::quiet_NaN();

unsigned Bits(float f) { unsigned u; std::memcpy(&u, &f, 4); return u; }
bool SameBits(const tagVeyPointF& a, const tagVeyPointF& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

class RandomRecords {
public:
    explicit RandomRecords(unsigned seed) : gen_(seed) {}

    float Uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(gen_); }
    int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(gen_); }
    bool Chance(double p) { return std::bernoulli_distribution(p)(gen_); }

    std::unique_ptr<tagLenPar> Record() {
        auto r = std::make_unique<tagLenPar>();
        r->Version = Chance(0.5) ? CalVerClassic : CalVerRevised;
        r->UseLsm = Int(0, 2) == 0 ? 0 : Int(1, 3);
        r->FieldSize = Chance(0.95) ? Uniform(60, 160) : 0.0;
        r->ValSize = Chance(0.9) ? Uniform(40, 120) : Pick<double>({kNaN, kInf, -80.0, 0.0});
        r->Resolution = Chance(0.9) ? 65535 : 1048575;
        r->Center = (r->Resolution + 1) / 2;
        r->CenterSq = static_cast<double>(r->Center) * r->Center;
        for (std::int32_t* f : {&r->XYFlip, &r->XInvert, &r->YInvert, &r->XYFlipSaved,
                                &r->XInvertSaved, &r->YInvertSaved}) {
            *f = Int(0, 2) == 0 ? 0 : Int(-1, 2);
        }
        r->OffsetX = Uniform(-1, 1);
        r->OffsetY = Uniform(-1, 1);
        r->SftX = Uniform(-0.01f, 0.01f);
        r->SftY = Uniform(-0.01f, 0.01f);
        r->SftScaleX = Uniform(0.99f, 1.01f);
        r->SftScaleY = Uniform(0.99f, 1.01f);
        for (int i = 0; i < 2; ++i) {
            r->BoxBarrel[i] = Uniform(0.99f, 1.01f);
            r->BoxSkew[i] = Uniform(0.99f, 1.01f);
            r->BoxTrap[i] = Uniform(0.99f, 1.01f);
            r->BoxScale[i] = Uniform(98, 102);
        }
        // Shape coefficients as a fit leaves them, small and of either sign.
        r->QX[1] = Uniform(-1e-4f, 1e-4f);
        r->QY[1] = Uniform(-1e-4f, 1e-4f);
        r->PLX = Uniform(-0.01f, 0.01f);
        for (double* t : {&r->TXL, &r->TXR, &r->TYT, &r->TYB}) *t = Uniform(-0.01f, 0.01f);
        for (double* a : {&r->AxisXL, &r->AxisXR, &r->AxisYT, &r->AxisYB}) *a = Uniform(45, 55);
        r->SX = Uniform(0.98f, 1.02f);
        r->SY = Uniform(0.98f, 1.02f);
        r->K[2] = Uniform(-0.01f, 0.01f);
        r->K[3] = Uniform(-0.01f, 0.01f);
        LineTables(*r);
        // Up to three tables, now and then five (more than one group of four).
        const int tables = Chance(0.1) ? 5 : Int(0, 3);
        for (int t = 0; t < tables; ++t) r->Stacks.push_back(Table(r->ValSize));
        return r;
    }

    // Nodes of the tables, and points on their edges, corners and in their
    // cells, then scattered and special points.
    std::vector<tagVeyPointF> Points(const tagLenPar& r) {
        std::vector<tagVeyPointF> pts;
        for (const tagStack& t : r.Stacks) {
            // About 150 nodes of each table, from a random start.
            const std::size_t step = t.Pnts.size() / 150 + 1;
            for (std::size_t i = static_cast<std::size_t>(Int(0, static_cast<int>(step) - 1));
                 i + 1 < t.Pnts.size(); i += step) {
                const tagVeyPointF a = t.Pnts[i].PntA;
                const tagVeyPointF b = t.Pnts[i + 1].PntA;
                pts.push_back(a);                                 // node, corner of up to 4 cells
                pts.push_back({a.x, (a.y + b.y) / 2});            // on a vertical edge
                pts.push_back({(a.x + b.x) / 2, a.y});            // on a horizontal edge
                pts.push_back({(a.x + b.x) / 2, a.y - Uniform(0, 3)});  // inside or in a gap
            }
        }
        const float v = std::isfinite(r.ValSize) ? static_cast<float>(r.ValSize) : 100.0f;
        for (int i = 0; i < 600; ++i) pts.push_back({Uniform(-0.7f * v, 0.7f * v), Uniform(-0.7f * v, 0.7f * v)});
        for (float s : {-0.5f, 0.5f}) {
            pts.push_back({s * v, Uniform(-v, v)});  // on the border of the field
            pts.push_back({Uniform(-v, v), s * v});
            pts.push_back({s * v, s * v});
        }
        const float special[] = {0.0f, -0.0f, kNaN, kInf, -kInf, 1e30f, -1e-30f, 3.0f};
        for (float a : special) {
            for (float b : special) pts.push_back({a, b});
        }
        return pts;
    }

private:
    template <class T>
    T Pick(std::initializer_list<T> values) {
        return values.begin()[Int(0, static_cast<int>(values.size()) - 1)];
    }

    void LineTables(tagLenPar& r) {
        r.Grid = Int(0, 1);
        r.ManGrid = Int(0, 1);
        r.LineCount = Pick<std::int32_t>({0, 1, 2, 21, 99, 100});
        r.ManLineCount = Pick<std::int32_t>({0, 1, 21, 99, 100});
        const bool sorted = Chance(0.8);
        for (int i = 0; i < 100; ++i) {
            const double t = sorted ? -60 + 1.2 * i : Uniform(-60, 60);
            r.XT[i] = r.YT[i] = r.ManXT[i] = r.ManYT[i] = t;
            r.XR[i] = Uniform(0.99f, 1.01f);
            r.YR[i] = Uniform(0.99f, 1.01f);
            r.ManXR[i] = Uniform(0.99f, 1.01f);
            r.ManYR[i] = Uniform(0.99f, 1.01f);
        }
    }

    tagStack Table(double valSize) {
        const double v = std::isfinite(valSize) && valSize > 0 ? valSize : 80.0;
        tagStack t;
        t.Flag = 1;
        t.Num = Pick<std::int32_t>({2, 3, 5, 5, 9, 17, 17, 65});
        const int kind = Int(0, 9);  // 0-4 regular, 5-6 irregular, 7 hostile, 8 short, 9 n < 2
        const double pitch = v / (t.Num - 1);
        for (int row = 0; row < t.Num; ++row) {
            for (int col = 0; col < t.Num; ++col) {
                float x = static_cast<float>(v * (col / (t.Num - 1.0)) - v * 0.5);
                float y = static_cast<float>(v * 0.5 - v * (row / (t.Num - 1.0)));
                if (kind == 5 || kind == 6) {
                    // Shifted by up to 60 % of the pitch: cells overlap or leave gaps.
                    x += static_cast<float>(pitch * Uniform(-0.6f, 0.6f));
                    y += static_cast<float>(pitch * Uniform(-0.6f, 0.6f));
                } else if (kind == 7) {
                    x = Chance(0.05) ? Pick<float>({kNaN, kInf, -kInf}) : Uniform(-0.6f * v, 0.6f * v);
                    y = Uniform(-0.6f * v, 0.6f * v);
                }
                // Residuals of a few micrometres, sometimes exactly none.
                const float mx = Chance(0.1) ? x : x + Uniform(-0.005f, 0.005f);
                const float my = Chance(0.1) ? y : y + Uniform(-0.005f, 0.005f);
                t.Pnts.push_back({{x, y}, {mx, my}});
            }
        }
        if (kind == 8) t.Pnts.resize(t.Pnts.size() - 1);
        if (kind == 9) t.Num = Pick<std::int32_t>({1, 0, -3});
        if (Chance(0.1)) t.Pnts.push_back(t.Pnts.empty() ? tagCalData{} : t.Pnts.front());  // extra points
        return t;
    }

    std::mt19937 gen_;
};

// Points of pts that some grid table of rec holds, found by the scan.
int PointsInCells(const tagLenPar& rec, const std::vector<tagVeyPointF>& pts) {
    int held = 0;
    for (const tagVeyPointF& p : pts) {
        for (const tagStack& t : rec.Stacks) {
            tagVeyPointF scale{}, offset{};
            CCalibAlg::GetGridDR(rec, p, scale, offset, t);
            if (offset.x != 0 || offset.y != 0) {
                ++held;
                break;
            }
        }
    }
    return held;
}

// Every call of the corrector against the facade on one record; with
// `built` the corrector is built from that record instead, on rec's path.
void ExpectSameAsFacade(const tagLenPar& rec, const std::vector<tagVeyPointF>& pts, int which,
                        const tagLenPar* built = nullptr) {
    ZemCal zc;
    const CPointCorrector corrector =
        built ? CPointCorrector(*built, rec.UseLsm != 0) : CPointCorrector(rec);
    ASSERT_EQ(corrector.UsesLsm(), rec.UseLsm != 0);
    std::vector<tagVeyPointF> want(pts.size()), wantSft(pts.size()), got(pts.size());
    for (std::size_t i = 0; i < pts.size(); ++i) {
        tagVeyPointF out{};
        zc.CalibPoint(rec, pts[i], want[i]);
        corrector.Correct(pts[i], out);
        ASSERT_TRUE(SameBits(out, want[i]))
            << "record " << which << " point " << i << " (" << pts[i].x << ", " << pts[i].y
            << "): " << std::hex << Bits(out.x) << " " << Bits(out.y) << ", facade "
            << Bits(want[i].x) << " " << Bits(want[i].y);
        for (bool shift : {false, true}) {
            tagVeyPointF facade{}, prepared{};
            zc.LP2DPEX_SFT(pts[i], facade, rec, shift);
            corrector.CorrectSft(pts[i], prepared, shift);
            ASSERT_TRUE(SameBits(prepared, facade)) << "record " << which << " point " << i;
            if (shift) wantSft[i] = facade;
        }
    }
    corrector.Correct(pts.data(), got.data(), pts.size());
    EXPECT_EQ(std::memcmp(got.data(), want.data(), got.size() * sizeof got[0]), 0) << which;
    got = pts;  // in place
    corrector.CorrectSft(got.data(), got.data(), got.size(), true);
    EXPECT_EQ(std::memcmp(got.data(), wantSft.data(), got.size() * sizeof got[0]), 0) << which;
}

TEST(PointCorrector, MatchesTheFacadeBitForBit) {
    RandomRecords gen(20240611u);
    std::size_t points = 0;
    int inCells = 0;
    for (int which = 0; which < 300; ++which) {
        const std::unique_ptr<tagLenPar> rec = gen.Record();
        const std::vector<tagVeyPointF> pts = gen.Points(*rec);
        ExpectSameAsFacade(*rec, pts, which);
        if (HasFatalFailure()) return;
        if (which % 8 == 0) {
            // A path chosen at construction, whatever UseLsm says.
            tagLenPar other = *rec;
            other.UseLsm = rec->UseLsm != 0 ? 0 : 1;
            ExpectSameAsFacade(other, pts, which, rec.get());
            if (HasFatalFailure()) return;
        }
        points += pts.size();
        if (rec->UseLsm != 0) inCells += PointsInCells(*rec, pts);
    }
    // Enough of the comparisons went through located cells to mean something.
    EXPECT_GT(points, 200000u);
    EXPECT_GT(inCells, 30000);
}

TEST(PointCorrector, KeepsItsOwnCopyOfTheRecord) {
    RandomRecords gen(99u);
    std::unique_ptr<tagLenPar> rec = gen.Record();
    rec->UseLsm = 1;
    rec->Stacks.assign(1, tagStack{});
    while (rec->Stacks.size() < 2) {  // a record whose tables hold cells
        const std::unique_ptr<tagLenPar> other = gen.Record();
        for (const tagStack& t : other->Stacks) {
            if (t.Num >= 2 && t.Pnts.size() >= static_cast<std::size_t>(t.Num) * t.Num) rec->Stacks.push_back(t);
        }
    }
    const std::vector<tagVeyPointF> pts = gen.Points(*rec);
    const CPointCorrector corrector(*rec);
    const CPointCorrector copy = corrector;
    std::vector<tagVeyPointF> before(pts.size()), after(pts.size()), fromCopy(pts.size());
    corrector.Correct(pts.data(), before.data(), pts.size());

    // Changing, then destroying the record leaves the corrector and its copy as they were.
    rec->K[2] += 0.5;
    rec->UseLsm = 0;
    for (tagCalData& d : rec->Stacks[1].Pnts) d.PntB.x += 1.0f;
    rec.reset();
    corrector.Correct(pts.data(), after.data(), pts.size());
    copy.Correct(pts.data(), fromCopy.data(), pts.size());
    EXPECT_EQ(std::memcmp(after.data(), before.data(), before.size() * sizeof before[0]), 0);
    EXPECT_EQ(std::memcmp(fromCopy.data(), before.data(), before.size() * sizeof before[0]), 0);
    EXPECT_TRUE(copy.UsesLsm());
    corrector.Correct(pts.data(), after.data(), 0);  // nothing to do, nothing read
}

// The crossing of the cell's edge lines is written out inline for speed;
// here it is held to Line::GetLine and Line::GetCrossPoint, the exported
// primitives it stands for, through the residual of a one-cell table.
TEST(PointCorrector, CellResidualUsesTheLinePrimitives) {
    RandomRecords gen(5u);
    tagLenPar lp;
    lp.ValSize = 80;
    for (int i = 0; i < 2000; ++i) {
        tagStack t{2, 1, {}};
        for (const auto& corner : {std::pair<float, float>{-40, 40}, {40, 40}, {-40, -40}, {40, -40}}) {
            t.Pnts.push_back({{corner.first, corner.second},
                              {corner.first + gen.Uniform(-2, 2), corner.second + gen.Uniform(-2, 2)}});
        }
        const float x = gen.Uniform(-40, 40), y = gen.Uniform(-40, 40);
        // The edge points as GetGridDR defines them, then the crossing by Line.
        const float pitch = 80.0f;
        auto edge = [pitch](float a, float b, float d) { return b - a == 0 ? a : a + (b - a) * d / pitch; };
        const tagCalData &p00 = t.Pnts[0], &p01 = t.Pnts[1], &p10 = t.Pnts[2], &p11 = t.Pnts[3];
        const float dt = std::fabs(x - p00.PntA.x), db = std::fabs(x - p10.PntA.x);
        const float dl = std::fabs(y - p00.PntA.y), dr = std::fabs(y - p01.PntA.y);
        const tagVeyPointF top{edge(p00.PntB.x, p01.PntB.x, dt), edge(p00.PntB.y, p01.PntB.y, dt)};
        const tagVeyPointF bottom{edge(p10.PntB.x, p11.PntB.x, db), edge(p10.PntB.y, p11.PntB.y, db)};
        const tagVeyPointF left{edge(p00.PntB.x, p10.PntB.x, dl), edge(p00.PntB.y, p10.PntB.y, dl)};
        const tagVeyPointF right{edge(p01.PntB.x, p11.PntB.x, dr), edge(p01.PntB.y, p11.PntB.y, dr)};
        Line l;
        const tagVeyPointF c = l.GetCrossPoint(l.GetLine(top, bottom), l.GetLine(left, right));
        tagVeyPointF scale{}, offset{};
        CCalibAlg::GetGridDR(lp, {x, y}, scale, offset, t);
        const tagVeyPointF wantScale{x / c.x, y / c.y};
        // p00 and p10 lie at nominal y 40 and -40.
        const tagVeyPointF wantOffset{
            (top.x - x) + (c.x - top.x) * ((bottom.x - x) - (top.x - x)) / (bottom.x - top.x),
            (top.y - 40) + (c.y - top.y) * ((bottom.y + 40) - (top.y - 40)) / (bottom.y - top.y)};
        ASSERT_TRUE(SameBits(scale, wantScale)) << i;
        ASSERT_TRUE(SameBits(offset, wantOffset)) << i;
    }
}

}  // namespace
