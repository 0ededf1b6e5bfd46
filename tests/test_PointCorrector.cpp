// The prepared corrector against the facade it stands in for: for every
// record and every point its output must be the facade's, bit for bit
// (compared with memcmp, so NaN payloads and -0 count).
//
// Records are drawn at random from a fixed seed: both fit versions, both
// paths, every flag combination, offsets, shifts, line tables, and 0 to 3
// grid tables that are regular, irregular (overlapping and gapped cells),
// hostile (scrambled, inverted or non-finite nominal nodes), short, or
// smaller than 2 x 2 (five tables now and then). Points include every node,
// points on shared edges and corners, in gaps, beyond the field, and
// non-finite ones.
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
        for (double* o : {&r->OffsetX, &r->OffsetY}) *o = Uniform(-1, 1);
        for (float* f : {&r->SftX, &r->SftY}) *f = Uniform(-0.01f, 0.01f);
        for (float* f : {&r->SftScaleX, &r->SftScaleY}) *f = Uniform(0.99f, 1.01f);
        for (int i = 0; i < 2; ++i) {
            for (double* b : {&r->BoxBarrel[i], &r->BoxSkew[i], &r->BoxTrap[i]}) *b = Uniform(0.99f, 1.01f);
            r->BoxScale[i] = Uniform(98, 102);
        }
        // Shape coefficients as a fit leaves them, small and of either sign.
        for (double* q : {&r->QX[1], &r->QY[1]}) *q = Uniform(-1e-4f, 1e-4f);
        for (double* t : {&r->PLX, &r->TXL, &r->TXR, &r->TYT, &r->TYB}) *t = Uniform(-0.01f, 0.01f);
        for (double* a : {&r->AxisXL, &r->AxisXR, &r->AxisYT, &r->AxisYB}) *a = Uniform(45, 55);
        for (double* sc : {&r->SX, &r->SY}) *sc = Uniform(0.98f, 1.02f);
        for (double* k : {&r->K[2], &r->K[3]}) *k = Uniform(-0.01f, 0.01f);
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
            for (double* ratio : {&r.XR[i], &r.YR[i], &r.ManXR[i], &r.ManYR[i]}) *ratio = Uniform(0.99f, 1.01f);
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
// It is built from a scratch copy that is then changed and freed, and the
// array calls go through a copy of it: a corrector must keep all it reads,
// and copies share it.
void ExpectSameAsFacade(const tagLenPar& rec, const std::vector<tagVeyPointF>& pts, int which,
                        const tagLenPar* built = nullptr) {
    ZemCal zc;
    auto scratch = std::make_unique<tagLenPar>(built ? *built : rec);
    const CPointCorrector corrector =
        built ? CPointCorrector(*scratch, rec.UseLsm != 0) : CPointCorrector(*scratch);
    const CPointCorrector copy = corrector;
    scratch->K[2] += 0.5, scratch->UseLsm = !scratch->UseLsm;
    for (tagStack& t : scratch->Stacks)
        for (tagCalData& d : t.Pnts) d.PntB.x += 1.0f;
    scratch.reset();
    ASSERT_TRUE(corrector.UsesLsm() == (rec.UseLsm != 0) && copy.UsesLsm() == corrector.UsesLsm());
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
    copy.Correct(pts.data(), got.data(), pts.size());
    EXPECT_EQ(std::memcmp(got.data(), want.data(), got.size() * sizeof got[0]), 0) << which;
    got = pts;  // in place
    copy.CorrectSft(got.data(), got.data(), got.size(), true);
    EXPECT_EQ(std::memcmp(got.data(), wantSft.data(), got.size() * sizeof got[0]), 0) << which;
    corrector.Correct(nullptr, nullptr, 0);  // nothing to do, nothing read
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

// The crossing of the cell's edge lines is written out inline for speed;
// here it is held to Line::GetLine and Line::GetCrossPoint, the exported
// primitives it stands for, through the residual of a one-cell table.
TEST(PointCorrector, CellResidualUsesTheLinePrimitives) {
    RandomRecords gen(5u);
    tagLenPar lp;
    lp.ValSize = 80;
    for (int i = 0; i < 2000; ++i) {
        tagStack t{2, 1, {}};
        tagVeyPointF m[4];  // measured corners: top left, top right, bottom left, bottom right
        for (int k = 0; k < 4; ++k) {
            const tagVeyPointF nominal{k % 2 ? 40.0f : -40.0f, k < 2 ? 40.0f : -40.0f};
            m[k] = {nominal.x + gen.Uniform(-2, 2), nominal.y + gen.Uniform(-2, 2)};
            t.Pnts.push_back({nominal, m[k]});
        }
        const float x = gen.Uniform(-40, 40), y = gen.Uniform(-40, 40);
        // The edge points as GetGridDR defines them, at the point's distance
        // from the left column and the top row (pitch 80), then the crossing by Line.
        const auto edge = [](tagVeyPointF a, tagVeyPointF b, float d) {
            const auto at = [d](float u, float v) { return v - u == 0 ? u : u + (v - u) * d / 80.0f; };
            return tagVeyPointF{at(a.x, b.x), at(a.y, b.y)};
        };
        const float dx = std::fabs(x + 40), dy = std::fabs(y - 40);
        const tagVeyPointF top = edge(m[0], m[1], dx), bottom = edge(m[2], m[3], dx);
        const tagVeyPointF left = edge(m[0], m[2], dy), right = edge(m[1], m[3], dy);
        Line l;
        const tagVeyPointF c = l.GetCrossPoint(l.GetLine(top, bottom), l.GetLine(left, right));
        tagVeyPointF scale{}, offset{};
        CCalibAlg::GetGridDR(lp, {x, y}, scale, offset, t);
        const tagVeyPointF wantScale{x / c.x, y / c.y};
        // The top and bottom rows lie at nominal y 40 and -40.
        const tagVeyPointF wantOffset{
            (top.x - x) + (c.x - top.x) * ((bottom.x - x) - (top.x - x)) / (bottom.x - top.x),
            (top.y - 40) + (c.y - top.y) * ((bottom.y + 40) - (top.y - 40)) / (bottom.y - top.y)};
        ASSERT_TRUE(SameBits(scale, wantScale) && SameBits(offset, wantOffset)) << i;
    }
}

}  // namespace
