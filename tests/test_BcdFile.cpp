// The binary calibration file: byte layout, loading (including truncated and
// hostile files) and saving without losing the previous file; the
// base-parameter file, whose head it shares.
//
// Offsets and sizes below are literals of the file format, written
// independently of the library; the fixtures tests/data/bcd_*.bin come from
// tests/reference/bcd_make_fixtures.py.
#include <zemcal/BcdFile.h>

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TempDir.h"

namespace {

using Bytes = std::string;
using Record = std::unique_ptr<tagLenPar>;
using P = const tagLenPar&;  // a loaded record, as the checks see it
namespace fs = std::filesystem;

constexpr double kSentinel = 77.0;
constexpr uid_t kNobody = 65534;
constexpr int kCannotDropRoot = 99;

// The sample's tables from 64000 take 8 header bytes plus 16 bytes per point
// each (3x3, none for -3, 2x2), so the file ends 80 bytes after the second.
constexpr std::size_t kSecondTableAt = 64000 + 8 + 9 * 16;

template <class T>
void put(Bytes& b, std::size_t offset, T v) { std::memcpy(&b.at(offset), &v, sizeof v); }

template <class T>
Bytes bytesOf(T v) { Bytes b(sizeof v, '\0'); put(b, 0, v); return b; }
Bytes i32(std::int32_t v) { return bytesOf(v); }

// A record with a value in every stored part and three tables: 3x3, one of
// negative size (it holds no points) and 2x2.
Record sample() {
    auto p = std::make_unique<tagLenPar>();
    p->Version = CalVerRevised;
    p->FieldSize = 120.5, p->ValSize = 90.25, p->LineCount = 3, p->Resolution = 131071, p->Grid = 7;
    p->XYFlip = p->XInvertSaved = p->YInvert = p->YInvertSaved = 1;
    p->Pnt[0].PntA.x = 1.5f, p->S[7] = -2.0;  // the first and the last value of the parameter block
    for (int i = 0; i < 100; ++i) p->XT[i] = i + 0.5, p->YT[i] = -i, p->XA[i] = 2.0 * i, p->YA[i] = 1000.0 + i;
    tagStack a{3, 1, {}}, b{2, 0, {}};
    for (int k = 0; k < 9; ++k) a.Pnts.push_back({{k + 0.25f, -1.0f * k}, {k * 0.5f, 100.0f + k}});
    for (int k = 0; k < 4; ++k) b.Pnts.push_back({{-10.0f - k, 1.0f}, {2.0f, 3.0f + k}});
    p->Stacks = {a, tagStack{-3, 5, {}}, b};
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

using Head = std::tuple<double, double, int>;  // FieldSize, ValSize, line count

// What GetBasePara delivers into outputs that start at -1; it always returns true.
Head head(const std::string& path) {
    Head h{-1, -1, -1};
    EXPECT_TRUE(CBcdFile::GetBasePara(path.c_str(), std::get<0>(h), std::get<1>(h), std::get<2>(h))) << path;
    return h;
}

bool untouched(P p) { return p.Version == 's' && p.FieldSize == kSentinel && p.Stacks.empty(); }
bool noTables(P p, P) { return p.Stacks.empty(); }

// Saves par as name in dir and gives back the file's bytes.
Bytes saveToBytes(tagLenPar& par, const TempDir& dir, const std::string& name) {
    EXPECT_TRUE(CBcdFile::SaveBcdFile(dir.file(name).c_str(), par));
    return dir.read(name);
}

// Every test works in a fresh directory of its own.
struct BcdFile : testing::Test {
    TempDir dir;
};

// Magic and version, zero gaps, the sizes, reserved zeros, LineCount,
// Resolution, the flag words (XYFlip 1 saved 0, XInvert 0 saved 1, both 1),
// 4.0, the parameter block, Grid, then XT, YT, XA, YA of each line: as many
// as LineCount says, at most 100. At 60000 the table count and sizes, from
// 64000 each table's size, Flag and points. Everything stored comes back,
// except that the negative size loads as 0 (so Num*Num is always the point
// count) and the table after it still follows its 8 header bytes.
TEST_F(BcdFile, LayoutAndRoundTrip) {
    const struct { std::int32_t lineCount; int stored; } cases[] = {{3, 3}, {0, 0}, {-5, 0}, {150, 100}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lineCount);
        const auto par = sample();
        par->LineCount = c.lineCount;
        Bytes want(kSecondTableAt + 8 + 8 + 4 * 16, '\0');
        std::memcpy(want.data(), "ZEMCLDT\x60", 8);
        put(want, 10, 120.5), put(want, 18, 90.25), put(want, 34, c.lineCount), put(want, 38, 131071);
        put(want, 42, 0x0001u), put(want, 46, 0x0100u), put(want, 50, 0x0101u);  // 32-bit flag words
        put(want, 54, 4.0), put<std::int32_t>(want, 4096, 7);
        std::memcpy(&want[256], &par->Pnt[0], 600);  // Pnt .. S, one raw image
        for (int i = 0; i < c.stored; ++i) {
            put(want, 4100 + 32 * i, i + 0.5), put(want, 4108 + 32 * i, static_cast<double>(-i));
            put(want, 4116 + 32 * i, 2.0 * i), put(want, 4124 + 32 * i, 1000.0 + i);
        }
        const std::int32_t list[] = {3, 3, -3, 2}, first[] = {3, 1}, others[] = {-3, 5, 2, 0};
        std::memcpy(&want[60000], list, sizeof list), std::memcpy(&want[64000], first, sizeof first);
        std::memcpy(&want[64008], par->Stacks[0].Pnts.data(), 9 * 16);
        std::memcpy(&want[kSecondTableAt], others, sizeof others);
        std::memcpy(&want[kSecondTableAt + 16], par->Stacks[2].Pnts.data(), 4 * 16);
        EXPECT_EQ(saveToBytes(*par, dir, "t.bcd"), want);

        const auto back = load(dir.file("t.bcd"));
        for (int i = 0; i < 100; ++i) EXPECT_EQ(back->YA[i], i < c.stored ? 1000.0 + i : kSentinel) << i;
        ASSERT_EQ(back->Stacks.size(), 3u);
        EXPECT_TRUE(back->Stacks[1].Num == 0 && back->Stacks[1].Flag == 5 && back->Stacks[1].Pnts.empty());
        // Center and CenterSq are derived on load; ratios are not stored.
        EXPECT_TRUE(back->Center == 65536 && back->CenterSq == 4294967296.0 && back->XR[0] == kSentinel);
        put<std::int32_t>(want, 60008, 0), put<std::int32_t>(want, kSecondTableAt, 0);
        EXPECT_EQ(saveToBytes(*back, dir, "again.bcd"), want);
    }
}

// The saved sample patched at an offset (empty patch: none) and/or cut short
// (cut 0: whole file), then loaded; check(loaded, saved) judges it.
TEST_F(BcdFile, DamagedFilesLoadWhatTheyHold) {
    const struct { const char* name; std::size_t cut, at; Bytes patch; bool loads; bool (*check)(P, P); } cases[] = {
        // The resolution floor is signed and the centre unsigned; sizes of 1.0
        // or NaN are not loaded; flag bits above 15 are dropped.
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
             std::vector<tagCalData> t(9);  // the bytes the file still holds, then zeros
             std::memcpy(t.data(), f.Stacks[0].Pnts.data(), 4 * 16 + 5);
             const auto& s = p.Stacks;
             return s.size() == 3 && s[0].Flag == 1 && s[0].Pnts.size() == 9 &&
                    std::memcmp(s[0].Pnts.data(), t.data(), 9 * 16) == 0 && s[1].Num == 0 && s[1].Pnts.empty() &&
                    s[2].Num == 2 && s[2].Pnts.size() == 4 && s[2].Pnts[3].PntB.y == 0.0f;
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
    const auto full = sample();
    const Bytes saved = saveToBytes(*full, dir, "d.bcd");
    for (const auto& c : cases) {
        dir.write("d.bcd", saved.substr(0, c.cut != 0 ? c.cut : saved.size()).replace(c.at, c.patch.size(), c.patch));
        EXPECT_TRUE(c.check(*load(dir.file("d.bcd"), c.loads), *full)) << c.name;
    }
}

// Files that are not a binary calibration: refused ones leave the record untouched.
TEST_F(BcdFile, OtherFiles) {
    ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
    CBcdFile::SaveBasePara(dir.file("base.par").c_str(), *sample());
    const struct { std::string file; bool loads; bool (*check)(P); } cases[] = {
        // Written by the fixture script: ValSize 0.5, Resolution 4095 (raised
        // to the floor), flag words 0x0101, 0x0100, 0x0001, nothing after the header.
        {ZEMCAL_TEST_DATA_DIR "/bcd_header_only.bin", true, [](P p) {
             return p.Version == 'Q' && p.FieldSize == 120.5 && p.ValSize == kSentinel && p.LineCount == 2 &&
                    p.Resolution == 65535 && p.Center == 32768 && p.XYFlip == 1 && p.XYFlipSaved == 1 &&
                    p.XInvert == 0 && p.XInvertSaved == 1 && p.YInvert == 1 && p.YInvertSaved == 0 &&
                    p.Pnt[0].PntA.x == static_cast<float>(kSentinel) && p.XT[0] == kSentinel && p.Stacks.empty();
         }},
        // No magic: imported as text (the importer only appends tables), then
        // fitted classically: AxisXL 40 from the measured grid, SX 100 / (40 + 40).
        {ZEMCAL_TEST_DATA_DIR "/bcd_text_grid.cor", true,
         [](P p) { return p.Version == 'P' && p.Stacks.empty() && p.AxisXL == 40.0 && p.SX == 1.25; }},
        {ZEMCAL_TEST_DATA_DIR "/bcd_version3.bin", false, untouched},
        {ZEMCAL_TEST_DATA_DIR "/bcd_short.bin", false, untouched},  // shorter than the magic: the text import fails
        {dir.file("base.par"), false, untouched},                      // no magic, and not text either
        {dir.file("missing.bcd"), false, untouched},
        {dir.path, false, untouched},
        {dir.file("fifo"), false, untouched},  // and must not block
    };
    for (const auto& c : cases) EXPECT_TRUE(c.check(*load(c.file, c.loads))) << c.file;
}

// Saving over an existing file, as this user or as another one. Normally the
// file is replaced (new inode) by a temporary that takes over its owner and
// mode, and a symbolic link to it stays a link. Where no temporary can do
// that it is written in place (same inode, no tail of the longer old
// contents) once the space is reserved; a file this user may not write is
// neither written nor replaced; a name too long for a temporary beside it
// is written in place.
// A save that is refused, fails (disk full) or dies part-way leaves the
// previous file as it was.
TEST_F(BcdFile, SaveOverAnExistingFile) {
    auto par = sample();
    par->Stacks.clear(), par->FieldSize = 333.0;  // differs within the first bytes written, too
    const Bytes after = saveToBytes(*par, dir, "new.bcd"), before = saveToBytes(*sample(), dir, "f.bcd");
    ASSERT_EQ(after.size(), 4100u + 32 * 3);  // Grid and 3 lines end the file: no table section without tables
    auto refused = sample();
    refused->Stacks[0].Pnts.pop_back();  // claims 9 points, holds 8
    EXPECT_FALSE(CBcdFile::SaveBcdFile(dir.file("f.bcd").c_str(), *refused));
    refused->Stacks.assign(4097, tagStack{});  // one table more than a load takes
    EXPECT_FALSE(CBcdFile::SaveBcdFile(dir.file("f.bcd").c_str(), *refused));
    EXPECT_EQ(dir.read("f.bcd"), before);
    EXPECT_FALSE(CBcdFile::SaveBcdFile(dir.file("no/such/folder.bcd").c_str(), *par));

    enum Limit { kNoLimit, kDiskFull, kKilled };
    const bool root = ::geteuid() == 0;
    const struct { const char* name; mode_t fileMode, dirMode; bool symLink, hardLink, asNobody, ownedByNobody;
                   Limit limit; int result; bool sameInode; } cases[] = {
        {"replaced, mode kept", 0640, 0700, false, false, false, false, kNoLimit, 1, false},
        {"through a symbolic link", 0640, 0700, true, false, false, false, kNoLimit, 1, false},
        {"hard-linked file", 0666, 0777, false, true, false, false, kNoLimit, 1, true},
        {"hard-linked file, disk full", 0644, 0700, false, true, false, false, kDiskFull, 0, true},
        {"disk full", 0644, 0700, false, false, false, false, kDiskFull, 0, true},
        {"killed while writing", 0644, 0700, false, false, false, false, kKilled, -SIGXFSZ, true},
        {"read-only folder", 0666, 0555, false, false, true, true, kNoLimit, 1, true},
        {"someone else's file", 0666, 0777, false, false, true, false, kNoLimit, 1, true},
        {"read-only file", 0444, 0777, false, false, true, true, kNoLimit, 0, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.asNobody && !c.ownedByNobody && !root) continue;  // needs a second user
        const TempDir fresh;
        const std::string file = fresh.file("f.bcd"), saveAs = fresh.file(c.symLink ? "link.bcd" : "f.bcd");
        const mode_t mask = ::umask(022);
        saveToBytes(*sample(), fresh, "f.bcd");
        ::umask(mask);
        EXPECT_EQ(fs::status(file).permissions(), static_cast<fs::perms>(0644));  // a new file: the umask decides
        ASSERT_EQ(::chmod(file.c_str(), c.fileMode), 0);
        if (root && c.ownedByNobody) { ASSERT_EQ(::chown(file.c_str(), kNobody, kNobody), 0); }
        if (c.hardLink) { ASSERT_EQ(::link(file.c_str(), fresh.file("other.bcd").c_str()), 0); }
        if (c.symLink) { ASSERT_EQ(::symlink("f.bcd", saveAs.c_str()), 0); }
        struct stat old {}, now {};
        ASSERT_EQ(::stat(file.c_str(), &old), 0);
        ASSERT_EQ(::chmod(fresh.path.c_str(), c.dirMode), 0);
        // The save runs in a child, which may drop root to nobody (root ignores
        // permission bits, so those cases would prove nothing as root), get a
        // file size limit below the new file's size, and die of it.
        const pid_t pid = ::fork();
        if (pid == 0) {
            if (c.asNobody && root && (::setgroups(0, nullptr) || ::setgid(kNobody) || ::setuid(kNobody))) {
                ::_exit(kCannotDropRoot);
            }
            const rlimit limit{1024, RLIM_INFINITY};
            if (c.limit != kNoLimit) ::setrlimit(RLIMIT_FSIZE, &limit);
            if (c.limit == kDiskFull) std::signal(SIGXFSZ, SIG_IGN);
            ::_exit(CBcdFile::SaveBcdFile(saveAs.c_str(), *par) ? 1 : 0);
        }
        int status = 0;
        const bool waited = pid > 0 && ::waitpid(pid, &status, 0) == pid;
        ::chmod(fresh.path.c_str(), 0700);
        ASSERT_TRUE(waited);
        const int result = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        if (result == kCannotDropRoot) GTEST_SKIP() << "cannot run unprivileged";
        EXPECT_EQ(result, c.result);
        ASSERT_EQ(::stat(file.c_str(), &now), 0);
        EXPECT_EQ(now.st_ino == old.st_ino, c.sameInode);
        EXPECT_TRUE(now.st_uid == old.st_uid && now.st_mode == old.st_mode);
        EXPECT_EQ(fresh.read("f.bcd"), c.result == 1 ? after : before);
        if (c.hardLink) { EXPECT_EQ(fresh.read("other.bcd"), c.result == 1 ? after : before); }
        EXPECT_EQ(fs::is_symlink(saveAs), c.symLink);
        // No temporary left behind, unless the save was killed.
        if (c.limit != kKilled) {
            EXPECT_EQ(std::distance(fs::directory_iterator(fresh.path), {}), 1 + c.symLink + c.hardLink);
        }
    }
    const std::string longName = dir.file(std::string(250, 'n'));
    saveToBytes(*sample(), dir, std::string(250, 'n'));
    struct stat old {}, now {};
    ASSERT_EQ(::stat(longName.c_str(), &old), 0);
    EXPECT_TRUE(CBcdFile::SaveBcdFile(longName.c_str(), *par));
    ASSERT_EQ(::stat(longName.c_str(), &now), 0);
    EXPECT_TRUE(now.st_ino == old.st_ino && dir.read(std::string(250, 'n')) == after);
}

// The head of a calibration file holds LineCount where the base file has
// ManLineCount; they differ here, so a read shows which one it found. Saving
// base parameters over a calibration file leaves only the short file: bytes
// 0-9 are never written; 10 FieldSize, 18 ValSize, 26 4.0, 34 ManLineCount.
// Of a file cut short, a value it does not hold in full keeps the caller's
// value, and so does every value after it; a missing file changes nothing.
// SaveBasePara is always true, also when nothing could be written.
TEST_F(BcdFile, BaseParameterFile) {
    const std::string file = dir.file("b.par");
    const auto par = std::make_unique<tagLenPar>();
    par->FieldSize = 150.25, par->ValSize = 110.5, par->LineCount = 3, par->ManLineCount = 33;
    saveToBytes(*par, dir, "b.par");
    EXPECT_EQ(head(file), Head(150.25, 110.5, 3));
    EXPECT_TRUE(CBcdFile::SaveBasePara(file.c_str(), *par));
    Bytes want(38, '\0');
    put(want, 10, 150.25), put(want, 18, 110.5), put(want, 26, 4.0), put<std::int32_t>(want, 34, 33);
    EXPECT_EQ(dir.read("b.par"), want);
    const struct { std::size_t size; Head want; } cases[] = {
        {38, {150.25, 110.5, 33}}, {37, {150.25, 110.5, -1}}, {18, {150.25, -1, -1}}, {17, {-1, -1, -1}},
    };
    for (const auto& c : cases) {
        dir.write("cut.par", want.substr(0, c.size));
        EXPECT_EQ(head(dir.file("cut.par")), c.want) << c.size;
    }
    EXPECT_EQ(head(dir.file("missing")), Head(-1, -1, -1));
    EXPECT_TRUE(CBcdFile::SaveBasePara(dir.file("no/folder/b.par").c_str(), *par));
}

}  // namespace
