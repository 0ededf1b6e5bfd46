// The binary calibration file: byte layout, loading (including truncated and
// hostile files) and saving without losing the previous file.
//
// Offsets and sizes below are literals of the file format, written
// independently of the library; the fixtures tests/data/bcd_*.bin come from
// tests/reference/bcd_make_fixtures.py.
#include <zemcal/BcdFile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Bytes = std::vector<unsigned char>;
using Record = std::unique_ptr<tagLenPar>;
using P = const tagLenPar&;  // a loaded record, as the checks see it
namespace fs = std::filesystem;

constexpr double kSentinel = 77.0;
constexpr uid_t kNobody = 65534;
constexpr int kCannotDropRoot = 99;

// Sizes of a saved sample: header + 3 lines; with tables, each table's
// 8-byte header plus 16 bytes per point (3x3, none for -3, 2x2).
constexpr std::size_t kSampleNoTables = 4100 + 32 * 3;
constexpr std::size_t kSecondTableAt = 64000 + 8 + 9 * 16;
constexpr std::size_t kSampleWithTables = kSecondTableAt + 8 + (8 + 4 * 16);

Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& b) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(b.data()), b.size());
}

template <class T>
void put(Bytes& b, std::size_t offset, T v) { std::memcpy(&b.at(offset), &v, sizeof v); }

template <class T>
Bytes bytesOf(T v) { Bytes b(sizeof v); put(b, 0, v); return b; }
Bytes i32(std::int32_t v) { return bytesOf(v); }

std::string dataFile(const char* name) { return std::string(ZEMCAL_TEST_DATA_DIR) + "/" + name; }

struct stat statOf(const std::string& path) {
    struct stat st {};
    ::stat(path.c_str(), &st);
    return st;
}

// Runs body in a child process; returns its exit code, or minus the signal
// that ended it. `unprivileged` first drops root to nobody: root ignores
// permission bits, so the permission cases would prove nothing as root.
template <class Body>
int inChild(const Body& body, bool unprivileged = false) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        const bool drop = unprivileged && ::geteuid() == 0;
        if (drop && (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
            ::_exit(kCannotDropRoot);
        }
        ::_exit(body());
    }
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid) return -1000;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// A record with a value in every stored part, and on request three tables:
// 3x3, one of negative size (it holds no points) and 2x2.
Record sample(bool withTables) {
    auto p = std::make_unique<tagLenPar>();
    p->Version = CalVerRevised;
    p->FieldSize = 120.5, p->ValSize = 90.25, p->LineCount = 3, p->Resolution = 131071, p->Grid = 7;
    p->XYFlip = p->XInvertSaved = p->YInvert = p->YInvertSaved = 1;
    p->Pnt[0].PntA.x = 1.5f, p->S[7] = -2.0;  // the first and the last value of the parameter block
    for (int i = 0; i < 100; ++i) p->XT[i] = i + 0.5, p->YT[i] = -i, p->XA[i] = 2.0 * i, p->YA[i] = 1000.0 + i;
    if (withTables) {
        tagStack a{3, 1, {}}, b{2, 0, {}};
        for (int k = 0; k < 9; ++k) a.Pnts.push_back({{k + 0.25f, -1.0f * k}, {k * 0.5f, 100.0f + k}});
        for (int k = 0; k < 4; ++k) b.Pnts.push_back({{-10.0f - k, 1.0f}, {2.0f, 3.0f + k}});
        p->Stacks = {a, tagStack{-3, 5, {}}, b};
    }
    return p;
}

// Loads into a record whose fields all differ from the sample's, so a test
// sees exactly what the load set. It holds tables: every load clears them first.
Record load(const std::string& file, bool expected = true) {
    auto p = std::make_unique<tagLenPar>();
    p->Version = static_cast<CalVerion>('s');
    p->FieldSize = p->ValSize = p->QX[0] = kSentinel;
    p->LineCount = p->Resolution = p->Grid = 77;
    p->XYFlip = p->XYFlipSaved = p->XInvert = p->XInvertSaved = p->YInvert = p->YInvertSaved = 77;
    p->Pnt[0].PntA.x = static_cast<float>(kSentinel);
    for (int i = 0; i < 100; ++i) p->XT[i] = p->YT[i] = p->XA[i] = p->YA[i] = p->XR[i] = kSentinel;
    p->Stacks.resize(2);
    EXPECT_EQ(CBcdFile::LoadBcdFile(file.c_str(), *p), expected) << file;
    return p;
}

bool untouched(P p) { return p.Version == 's' && p.FieldSize == kSentinel && p.Stacks.empty(); }
bool noTables(P p, P) { return p.Stacks.empty(); }

Bytes saveToBytes(tagLenPar& par, const std::string& path) {
    EXPECT_TRUE(CBcdFile::SaveBcdFile(path.c_str(), par));
    return readFile(path);
}

// Every test works in a fresh directory of its own.
class BcdFile : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(::mkdtemp(dir_.data()), nullptr); }
    void TearDown() override { fs::remove_all(dir_); }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    long entries() const { return std::distance(fs::directory_iterator(dir_), fs::directory_iterator()); }
    std::string dir_ = "/tmp/zemcal-bcd-XXXXXX";
};

TEST_F(BcdFile, LayoutOfAFileWithoutTables) {
    const auto par = sample(false);
    // Magic and version, zero gaps, the sizes, reserved zeros, LineCount,
    // Resolution, the flag words (XYFlip 1 saved 0, XInvert 0 saved 1, both 1),
    // 4.0, the parameter block, Grid, then XT, YT, XA, YA of each line.
    Bytes want(kSampleNoTables);
    std::memcpy(want.data(), "ZEMCLDT\x60", 8);
    put(want, 10, 120.5), put(want, 18, 90.25), put<std::int32_t>(want, 34, 3), put<std::int32_t>(want, 38, 131071);
    put<std::uint32_t>(want, 42, 0x0001), put<std::uint32_t>(want, 46, 0x0100), put<std::uint32_t>(want, 50, 0x0101);
    put(want, 54, 4.0), put<std::int32_t>(want, 4096, 7);
    std::memcpy(&want[256], &par->Pnt[0], 600);  // Pnt .. S, one raw image
    for (int i = 0; i < 3; ++i) {
        put(want, 4100 + 32 * i, i + 0.5), put(want, 4108 + 32 * i, static_cast<double>(-i));
        put(want, 4116 + 32 * i, 2.0 * i), put(want, 4124 + 32 * i, 1000.0 + i);
    }
    EXPECT_EQ(saveToBytes(*par, path("a.bcd")), want);
}

TEST_F(BcdFile, LineCountDecidesTheLinesStoredAndLoaded) {
    const struct { std::int32_t lineCount; int stored; } cases[] = {{0, 0}, {-5, 0}, {21, 21}, {150, 100}};
    for (const auto& c : cases) {
        auto par = sample(false);
        par->LineCount = c.lineCount;
        EXPECT_EQ(saveToBytes(*par, path("l.bcd")).size(), 4100u + 32u * c.stored) << c.lineCount;
        const auto back = load(path("l.bcd"));
        EXPECT_EQ(back->LineCount, c.lineCount);
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(back->YA[i], i < c.stored ? 1000.0 + i : kSentinel) << c.lineCount << " line " << i;
        }
    }
}

// Everything stored comes back, except that the negative size loads as 0 (so
// Num*Num is always the point count) and the table after it still follows
// its 8 header bytes.
TEST_F(BcdFile, RoundTripWithTables) {
    const Bytes b = saveToBytes(*sample(true), path("t.bcd"));
    ASSERT_EQ(b.size(), kSampleWithTables);
    const std::int32_t list[] = {3, 3, -3, 2}, heads[] = {-3, 5, 2, 0};  // N and the sizes; two table headers
    EXPECT_EQ(std::memcmp(&b[60000], list, sizeof list), 0);
    EXPECT_EQ(std::memcmp(&b[kSecondTableAt], heads, sizeof heads), 0);
    const auto back = load(path("t.bcd"));
    ASSERT_EQ(back->Stacks.size(), 3u);
    EXPECT_TRUE(back->Stacks[1].Num == 0 && back->Stacks[1].Flag == 5 && back->Stacks[1].Pnts.empty());
    EXPECT_EQ(back->Stacks[2].Pnts[3].PntB.y, 6.0f);
    EXPECT_TRUE(back->Center == 65536 && back->XR[0] == kSentinel);  // ratios are not stored
    Bytes want = b;
    put<std::int32_t>(want, 60008, 0), put<std::int32_t>(want, kSecondTableAt, 0);
    EXPECT_EQ(saveToBytes(*back, path("again.bcd")), want);
}

// A saved sample with tables, patched at an offset (empty patch: none) and/or
// cut short (cut 0: whole file), then loaded; check(loaded, saved) judges it.
TEST_F(BcdFile, DamagedFilesLoadWhatTheyHold) {
    const struct { const char* name; std::size_t cut, at; Bytes patch; bool loads; bool (*check)(P, P); } cases[] = {
        // The resolution floor (signed) and the unsigned centre; sizes of 1.0
        // or NaN are not loaded; flag bits above 15 are dropped.
        {"resolution 4095", 0, 38, i32(4095), true,
         [](P p, P) { return p.Resolution == 65535 && p.Center == 32768 && p.CenterSq == 1073741824.0; }},
        {"resolution 131071", 0, 38, i32(131071), true,
         [](P p, P) { return p.Resolution == 131071 && p.Center == 65536 && p.CenterSq == 4294967296.0; }},
        {"negative resolution", 0, 38, i32(-7), true, [](P p, P) { return p.Resolution == 65535; }},
        {"largest resolution", 0, 38, i32(2147483647), true,
         [](P p, P) { return p.Center == 1073741824 && p.CenterSq == 1152921504606846976.0; }},
        {"FieldSize 1.0", 0, 10, bytesOf(1.0), true, [](P p, P) { return p.FieldSize == kSentinel; }},
        {"FieldSize NaN", 0, 10, bytesOf(std::nan("")), true, [](P p, P) { return p.FieldSize == kSentinel; }},
        {"FieldSize above 1", 0, 10, bytesOf(1.0000000000000002), true,
         [](P p, P) { return p.FieldSize == 1.0000000000000002; }},
        {"flag bits above 15", 0, 46, bytesOf(0xFFFF0302u), true,
         [](P p, P) { return p.XInvert == 2 && p.XInvertSaved == 3; }},
        // Cuts: every value is all or nothing, a table cut short keeps a zero
        // tail, one whose header is gone keeps its listed size (none when negative).
        {"cut inside FieldSize", 14, 0, {}, true,
         [](P p, P) { return p.Version == 0x60 && p.FieldSize == kSentinel && p.LineCount == 77; }},
        {"cut after Pnt", 256 + 144, 0, {}, true,
         [](P p, P f) { return std::memcmp(p.Pnt, f.Pnt, sizeof p.Pnt) == 0 && p.QX[0] == kSentinel; }},
        {"cut inside YT[1]", 4132 + 12, 0, {}, true,
         [](P p, P) { return p.Grid == 7 && p.YA[0] == 1000.0 && p.XT[1] == 1.5 && p.YT[1] == kSentinel; }},
        {"cut before 60000", 59999, 0, {}, true, [](P p, P) { return p.YA[2] == 1002.0 && p.Stacks.empty(); }},
        {"cut inside pair 4 of table 0", 64000 + 8 + 4 * 16 + 5, 0, {}, true, [](P p, P f) {
             if (p.Stacks.size() != 3 || p.Stacks[0].Flag != 1 || p.Stacks[0].Pnts.size() != 9) return false;
             const auto& pnts = p.Stacks[0].Pnts;
             return std::memcmp(pnts.data(), f.Stacks[0].Pnts.data(), 4 * 16) == 0 &&
                    std::all_of(pnts.begin() + 5, pnts.end(), [](const tagCalData& d) { return d.PntA.x == 0.0f; }) &&
                    p.Stacks[1].Num == 0 && p.Stacks[1].Pnts.empty() && p.Stacks[2].Num == 2 &&
                    p.Stacks[2].Pnts.size() == 4 && p.Stacks[2].Pnts[3].PntB.y == 0.0f;
         }},
        // Hostile sizes are refused before anything is allocated, also those
        // whose square overflows 32 bits (65536, 46341, 2^31-1).
        {"N = 2^31-1", 0, 60000, i32(2147483647), false, noTables},
        {"N = 4097", 0, 60000, i32(4097), false, noTables},
        {"N = 4096, nothing listed", 60004, 60000, i32(4096), true, [](P p, P) { return p.Stacks.size() == 4096; }},
        {"N = -1", 0, 60000, i32(-1), true, noTables},
        {"n = 65536", 0, 64000, i32(65536), false, noTables},
        {"n*n beyond 32 bits", 0, 64000, i32(46341), false, noTables},
        {"n = 2^31-1", 0, 64000, i32(2147483647), false, noTables},
        {"n above the file size", 0, 64000, i32(1000), false, noTables},
        {"listed n, no header, within the file size", 60008, 60004, i32(200), true,
         [](P p, P) { return p.Stacks.size() == 3 && p.Stacks[0].Pnts.size() == 40000; }},
        {"listed n, no header, beyond the file size", 60008, 60004, i32(1000), false, noTables},
    };
    const auto full = sample(true);
    const Bytes saved = saveToBytes(*full, path("d.bcd"));
    for (const auto& c : cases) {
        Bytes b(saved.begin(), saved.begin() + (c.cut != 0 ? c.cut : saved.size()));
        std::copy(c.patch.begin(), c.patch.end(), b.begin() + c.at);
        writeFile(path("d.bcd"), b);
        EXPECT_TRUE(c.check(*load(path("d.bcd"), c.loads), *full)) << c.name;
    }
}

// Files that are not a binary calibration: refused ones leave the record untouched.
TEST_F(BcdFile, OtherFiles) {
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    CBcdFile::SaveBasePara(path("base.par").c_str(), *sample(false));
    const struct { std::string file; bool loads; bool (*check)(P); } cases[] = {
        // Written by the fixture script: ValSize 0.5, Resolution 4095, flag
        // words 0x0101, 0x0100, 0x0001, and nothing after the header.
        {dataFile("bcd_header_only.bin"), true, [](P p) {
             return p.Version == 'Q' && p.FieldSize == 120.5 && p.ValSize == kSentinel && p.LineCount == 2 &&
                    p.Resolution == 65535 && p.Center == 32768 && p.XYFlip == 1 && p.XYFlipSaved == 1 &&
                    p.XInvert == 0 && p.XInvertSaved == 1 && p.YInvert == 1 && p.YInvertSaved == 0 &&
                    p.Pnt[0].PntA.x == static_cast<float>(kSentinel) && p.XT[0] == kSentinel && p.Stacks.empty();
         }},
        // No magic: imported as text (the importer only appends tables), then
        // fitted classically: AxisXL 40 from the measured grid, SX 100 / (40 + 40).
        {dataFile("bcd_text_grid.cor"), true,
         [](P p) { return p.Version == 'P' && p.Stacks.empty() && p.AxisXL == 40.0 && p.SX == 1.25; }},
        {dataFile("bcd_version3.bin"), false, untouched},
        {dataFile("bcd_short.bin"), false, untouched},  // shorter than the magic: the text import fails
        {path("base.par"), false, untouched},           // no magic, and not text either
        {path("missing.bcd"), false, untouched},
        {dir_, false, untouched},
        {path("fifo"), false, untouched},  // and must not block
    };
    for (const auto& c : cases) EXPECT_TRUE(c.check(*load(c.file, c.loads))) << c.file;
}

// A save that is refused, fails or dies part-way leaves the previous file as it was.
TEST_F(BcdFile, FailedSaveKeepsThePreviousFile) {
    const Bytes before = saveToBytes(*sample(false), path("f.bcd"));
    auto refused = sample(false);
    refused->Stacks = {tagStack{3, 1, std::vector<tagCalData>(8)}};  // claims 9 points, holds 8
    EXPECT_FALSE(CBcdFile::SaveBcdFile(path("f.bcd").c_str(), *refused));
    refused->Stacks.assign(4097, tagStack{});  // one table more than a load takes
    EXPECT_FALSE(CBcdFile::SaveBcdFile(path("f.bcd").c_str(), *refused));
    EXPECT_EQ(readFile(path("f.bcd")), before);

    auto bigger = sample(true);
    bigger->FieldSize = 333.0;  // differs within the first bytes written, too
    const auto saveLimited = [&](bool dieOnLimit) {
        return inChild([&] {
            const rlimit limit{8192, RLIM_INFINITY};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            if (!dieOnLimit) std::signal(SIGXFSZ, SIG_IGN);
            return CBcdFile::SaveBcdFile(path("f.bcd").c_str(), *bigger) ? 1 : 0;
        });
    };
    EXPECT_EQ(saveLimited(false), 0);  // disk full: false, temporary removed
    EXPECT_EQ(readFile(path("f.bcd")), before);
    EXPECT_EQ(entries(), 1);
    EXPECT_EQ(saveLimited(true), -SIGXFSZ);  // killed while writing
    EXPECT_EQ(readFile(path("f.bcd")), before);
    EXPECT_FALSE(CBcdFile::SaveBcdFile(path("no/such/folder.bcd").c_str(), *bigger));
}

// Saving over an existing file, as this user or as another one. Normally the
// file is replaced (new inode) by a temporary that takes over its owner and
// mode, and a symbolic link to it stays a link. Where no temporary can do
// that it is written in place (same inode, no tail of the longer old
// contents); a file this user may not write is neither written nor replaced.
TEST_F(BcdFile, SaveKeepsOwnerModeAndLinks) {
    const bool root = ::geteuid() == 0;
    const struct {
        const char* name;
        mode_t fileMode, dirMode;
        bool symLink, hardLink, asNobody, ownedByNobody, saves, inPlace;
    } cases[] = {
        {"replaced, mode kept", 0640, 0700, false, false, false, false, true, false},
        {"through a symbolic link", 0640, 0700, true, false, false, false, true, false},
        {"read-only folder", 0666, 0555, false, false, true, true, true, true},
        {"hard-linked file", 0666, 0777, false, true, false, false, true, true},
        {"someone else's file", 0666, 0777, false, false, true, false, true, true},
        {"read-only file", 0444, 0777, false, false, true, true, false, true},
    };
    const auto par = sample(false);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.asNobody && !c.ownedByNobody && !root) continue;  // needs a second user
        fs::remove_all(dir_);
        fs::create_directory(dir_);
        const std::string file = path("f.bcd"), saveAs = c.symLink ? path("link.bcd") : file;
        const mode_t mask = ::umask(022);
        const Bytes before = saveToBytes(*sample(true), file);
        ::umask(mask);
        EXPECT_EQ(statOf(file).st_mode & 07777, 0644u);  // a new file: the umask decides
        ASSERT_EQ(::chmod(file.c_str(), c.fileMode), 0);
        if (root && c.ownedByNobody) { ASSERT_EQ(::chown(file.c_str(), kNobody, kNobody), 0); }
        if (c.hardLink) { ASSERT_EQ(::link(file.c_str(), path("other.bcd").c_str()), 0); }
        if (c.symLink) { ASSERT_EQ(::symlink("f.bcd", saveAs.c_str()), 0); }
        const struct stat old = statOf(file);
        ASSERT_EQ(::chmod(dir_.c_str(), c.dirMode), 0);
        const int saved = inChild([&] { return CBcdFile::SaveBcdFile(saveAs.c_str(), *par) ? 1 : 0; }, c.asNobody);
        ::chmod(dir_.c_str(), 0700);
        if (saved == kCannotDropRoot) GTEST_SKIP() << "cannot run unprivileged";
        EXPECT_EQ(saved, c.saves ? 1 : 0);
        const struct stat now = statOf(file);
        EXPECT_EQ(now.st_ino == old.st_ino, c.inPlace);
        EXPECT_TRUE(now.st_uid == old.st_uid && now.st_mode == old.st_mode);
        if (c.saves) EXPECT_EQ(readFile(file).size(), kSampleNoTables);
        else EXPECT_EQ(readFile(file), before);
        if (c.hardLink) { EXPECT_EQ(readFile(path("other.bcd")).size(), kSampleNoTables); }
        struct stat link {};
        EXPECT_TRUE(!c.symLink || (::lstat(saveAs.c_str(), &link) == 0 && S_ISLNK(link.st_mode)));
        EXPECT_EQ(entries(), 1 + c.symLink + c.hardLink);  // no temporary left behind
    }
}

TEST(BcdFileOrder, CalibrationOrderCodes) {
    const struct { int code, size; } cases[] = {{1, 5}, {2, 9}, {3, 17}, {4, 33}, {5, 65}, {6, 25},
                                                {0, 3}, {7, 3}, {-1, 3}, {-2147483647 - 1, 3}};
    for (const auto& c : cases) EXPECT_EQ(CBcdFile::GetCalOrder(c.code), c.size) << c.code;
}

}  // namespace
