// The binary calibration file: byte layout, loading (including truncated and
// hostile files) and saving without losing the previous file.
//
// Offsets and sizes below are literals of the file format, written
// independently of the library; the fixtures tests/data/bcd_*.bin come from
// tests/reference/bcd_make_fixtures.py.
#include <zemcal/BcdFile.h>

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
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

constexpr double kSentinel = 77.0;
constexpr uid_t kNobody = 65534;
constexpr int kCannotDropRoot = 99;

// Sizes of a saved sample: header + 3 lines; with tables, each table's
// 8-byte header plus 16 bytes per point (3x3, 2x2 and 0x0).
constexpr std::size_t kSampleNoTables = 4100 + 32 * 3;
constexpr std::size_t kSampleWithTables = 64000 + (8 + 9 * 16) + (8 + 4 * 16) + 8;

Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& b) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(b.data()), b.size());
}

template <class T>
T at(const Bytes& b, std::size_t offset) {
    T v{};
    if (offset + sizeof v <= b.size()) std::memcpy(&v, b.data() + offset, sizeof v);
    else ADD_FAILURE() << "offset " << offset << " is past the end";
    return v;
}

template <class T>
Bytes le(T v) {
    Bytes b(sizeof v);
    std::memcpy(b.data(), &v, sizeof v);
    return b;
}

std::string dataFile(const char* name) { return std::string(ZEMCAL_TEST_DATA_DIR) + "/" + name; }

struct stat statOf(const std::string& path) {
    struct stat st {};
    ::stat(path.c_str(), &st);
    return st;
}

long entries(const std::string& dir) {
    return std::distance(std::filesystem::directory_iterator(dir), std::filesystem::directory_iterator());
}

// Runs body in a child process; returns its exit code, or minus the signal
// that ended it. `unprivileged` first drops root to nobody: root ignores
// permission bits, so the permission cases would prove nothing as root.
int inChild(const std::function<int()>& body, bool unprivileged = false) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (unprivileged && ::geteuid() == 0 &&
            (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
            ::_exit(kCannotDropRoot);
        }
        ::_exit(body());
    }
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid) return -1000;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// A record with a value in every stored part, and tables on request.
std::unique_ptr<tagLenPar> sample(bool withTables) {
    auto p = std::make_unique<tagLenPar>();
    p->Version = CalVerRevised;
    p->FieldSize = 120.5;
    p->ValSize = 90.25;
    p->LineCount = 3;
    p->Resolution = 131071;
    p->XYFlip = p->XInvertSaved = p->YInvert = p->YInvertSaved = 1;
    p->Pnt[0].PntA.x = 1.5f;
    p->K[2] = 0.125;
    p->S[7] = -2.0;
    p->Grid = 7;
    for (int i = 0; i < 100; ++i) {
        p->XT[i] = i + 0.5;
        p->YT[i] = -i;
        p->XA[i] = 2.0 * i;
        p->YA[i] = 1000.0 + i;
    }
    if (withTables) {
        tagStack a{3, 1, {}}, b{2, 0, {}}, c{0, 5, {}};
        for (int k = 0; k < 9; ++k) a.Pnts.push_back({{k + 0.25f, -1.0f * k}, {k * 0.5f, 100.0f + k}});
        for (int k = 0; k < 4; ++k) b.Pnts.push_back({{-10.0f - k, 1.0f}, {2.0f, 3.0f + k}});
        p->Stacks = {a, b, c};
    }
    return p;
}

// A record whose fields differ from the sample's, to see what a load sets.
std::unique_ptr<tagLenPar> sentinel() {
    auto p = std::make_unique<tagLenPar>();
    p->Version = static_cast<CalVerion>('s');
    p->FieldSize = p->ValSize = p->QX[0] = kSentinel;
    p->LineCount = p->Resolution = p->Grid = 77;
    p->XYFlip = p->XYFlipSaved = p->XInvert = p->XInvertSaved = p->YInvert = p->YInvertSaved = 77;
    p->Pnt[0].PntA.x = static_cast<float>(kSentinel);
    for (int i = 0; i < 100; ++i) p->XT[i] = p->YT[i] = p->XA[i] = p->YA[i] = p->XR[i] = kSentinel;
    p->Stacks.resize(2);  // every load clears them first
    return p;
}

Bytes saveToBytes(tagLenPar& par, const std::string& path) {
    EXPECT_TRUE(CBcdFile::SaveBcdFile(path.c_str(), par));
    return readFile(path);
}

// Every test works in a fresh directory of its own.
class BcdFile : public ::testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/zemcal-bcd-XXXXXX";
        ASSERT_NE(::mkdtemp(name), nullptr);
        dir_ = name;
    }
    void TearDown() override {
        ::chmod(dir_.c_str(), 0700);
        std::filesystem::remove_all(dir_);
    }
    const std::string& dir() const { return dir_; }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }

private:
    std::string dir_;
};

TEST_F(BcdFile, LayoutOfAFileWithoutTables) {
    const auto par = sample(false);
    ASSERT_TRUE(CBcdFile::SaveBcdFile(path("a.bcd").c_str(), *par));
    const Bytes b = readFile(path("a.bcd"));
    ASSERT_EQ(b.size(), kSampleNoTables);
    EXPECT_EQ(std::memcmp(b.data(), "ZEMCLDT\x60", 8), 0);
    const struct { std::size_t from, to; } gaps[] = {{8, 10}, {26, 34}, {62, 256}, {856, 4096}};
    for (const auto& g : gaps) {
        for (std::size_t i = g.from; i < g.to; ++i) ASSERT_EQ(b[i], 0) << "offset " << i;
    }
    EXPECT_EQ(at<double>(b, 10), 120.5);
    EXPECT_EQ(at<double>(b, 18), 90.25);
    EXPECT_EQ(at<std::int32_t>(b, 34), 3);
    EXPECT_EQ(at<std::int32_t>(b, 38), 131071);
    EXPECT_EQ(at<std::uint32_t>(b, 42), 0x0001u);  // XYFlip 1, saved 0
    EXPECT_EQ(at<std::uint32_t>(b, 46), 0x0100u);  // XInvert 0, saved 1
    EXPECT_EQ(at<std::uint32_t>(b, 50), 0x0101u);
    EXPECT_EQ(at<double>(b, 54), 4.0);
    EXPECT_EQ(at<float>(b, 256), 1.5f);             // Pnt[0].PntA.x
    EXPECT_EQ(at<double>(b, 256 + 376 + 16), 0.125);  // K[2]
    EXPECT_EQ(at<double>(b, 256 + 592), -2.0);        // S[7], last of the block
    EXPECT_EQ(at<std::int32_t>(b, 4096), 7);          // Grid
    EXPECT_EQ(at<double>(b, 4100 + 64), 2.5);         // XT[2]
    EXPECT_EQ(at<double>(b, 4100 + 64 + 24), 1002.0); // YA[2]
}

TEST_F(BcdFile, LineCountDecidesTheLinesStoredAndLoaded) {
    const struct { std::int32_t lineCount; int stored; } cases[] = {{0, 0}, {-5, 0}, {21, 21}, {150, 100}};
    for (const auto& c : cases) {
        auto par = sample(false);
        par->LineCount = c.lineCount;
        ASSERT_TRUE(CBcdFile::SaveBcdFile(path("l.bcd").c_str(), *par));
        EXPECT_EQ(readFile(path("l.bcd")).size(), 4100u + 32u * c.stored) << c.lineCount;
        auto back = sentinel();
        ASSERT_TRUE(CBcdFile::LoadBcdFile(path("l.bcd").c_str(), *back));
        EXPECT_EQ(back->LineCount, c.lineCount);
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(back->YA[i], i < c.stored ? 1000.0 + i : kSentinel) << c.lineCount << " line " << i;
        }
    }
}

TEST_F(BcdFile, RoundTripWithTables) {
    const Bytes b = saveToBytes(*sample(true), path("t.bcd"));
    ASSERT_EQ(b.size(), kSampleWithTables);
    EXPECT_EQ(at<std::int32_t>(b, 60000), 3);
    EXPECT_EQ(at<std::int32_t>(b, 60004 + 4), 2);
    EXPECT_EQ(at<std::int32_t>(b, 64000 + 8 + 144 + 4), 0);  // Flag of the second table

    // Everything stored comes back: saving the loaded record gives the same bytes.
    auto back = sentinel();
    ASSERT_TRUE(CBcdFile::LoadBcdFile(path("t.bcd").c_str(), *back));
    EXPECT_EQ(saveToBytes(*back, path("again.bcd")), b);
    EXPECT_EQ(back->Stacks.size(), 3u);
    EXPECT_EQ(back->Center, 65536);
    EXPECT_EQ(back->XR[0], kSentinel);  // ratios are not stored
}

// One field of a saved sample is patched, then loaded into a sentinel record.
TEST_F(BcdFile, HeaderValuesOnLoad) {
    struct Case {
        const char* name;
        std::size_t offset;
        Bytes patch;
        void (*check)(const tagLenPar&);
    };
    const Case cases[] = {
        {"resolution 4095 is raised", 38, le<std::int32_t>(4095),
         [](const tagLenPar& p) { EXPECT_EQ(p.Resolution, 65535); EXPECT_EQ(p.Center, 32768); EXPECT_EQ(p.CenterSq, 1073741824.0); }},
        {"resolution 131071 kept", 38, le<std::int32_t>(131071),
         [](const tagLenPar& p) { EXPECT_EQ(p.Resolution, 131071); EXPECT_EQ(p.Center, 65536); EXPECT_EQ(p.CenterSq, 4294967296.0); }},
        {"negative resolution raised", 38, le<std::int32_t>(-7),
         [](const tagLenPar& p) { EXPECT_EQ(p.Resolution, 65535); EXPECT_EQ(p.Center, 32768); }},
        {"largest resolution, unsigned centre", 38, le<std::int32_t>(2147483647),
         [](const tagLenPar& p) { EXPECT_EQ(p.Center, 1073741824); EXPECT_EQ(p.CenterSq, 1152921504606846976.0); }},
        {"FieldSize 0.5 ignored", 10, le(0.5), [](const tagLenPar& p) { EXPECT_EQ(p.FieldSize, kSentinel); }},
        {"FieldSize 1.0 ignored", 10, le(1.0), [](const tagLenPar& p) { EXPECT_EQ(p.FieldSize, kSentinel); }},
        {"FieldSize NaN ignored", 10, le(std::nan("")), [](const tagLenPar& p) { EXPECT_EQ(p.FieldSize, kSentinel); }},
        {"FieldSize just above 1", 10, le(1.0000000000000002),
         [](const tagLenPar& p) { EXPECT_EQ(p.FieldSize, 1.0000000000000002); }},
        {"ValSize 0.5 ignored", 18, le(0.5), [](const tagLenPar& p) { EXPECT_EQ(p.ValSize, kSentinel); }},
        {"flags 0x0101", 42, le<std::uint32_t>(0x0101),
         [](const tagLenPar& p) { EXPECT_EQ(p.XYFlip, 1); EXPECT_EQ(p.XYFlipSaved, 1); }},
        {"flags 0x0100", 42, le<std::uint32_t>(0x0100),
         [](const tagLenPar& p) { EXPECT_EQ(p.XYFlip, 0); EXPECT_EQ(p.XYFlipSaved, 1); }},
        {"flag bits above 15 dropped", 46, le<std::uint32_t>(0xFFFF0302u),
         [](const tagLenPar& p) { EXPECT_EQ(p.XInvert, 2); EXPECT_EQ(p.XInvertSaved, 3); }},
    };
    const Bytes saved = saveToBytes(*sample(false), path("h.bcd"));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes b = saved;
        std::memcpy(&b[c.offset], c.patch.data(), c.patch.size());
        writeFile(path("h.bcd"), b);
        auto par = sentinel();
        ASSERT_TRUE(CBcdFile::LoadBcdFile(path("h.bcd").c_str(), *par));
        c.check(*par);
    }
}

TEST_F(BcdFile, FixtureEndingAfterTheHeader) {
    auto par = sentinel();
    ASSERT_TRUE(CBcdFile::LoadBcdFile(dataFile("bcd_header_only.bin").c_str(), *par));
    EXPECT_EQ(par->Version, 'Q');
    EXPECT_EQ(par->FieldSize, 120.5);
    EXPECT_EQ(par->ValSize, kSentinel);
    EXPECT_EQ(par->LineCount, 2);
    EXPECT_EQ(par->Resolution, 65535);
    EXPECT_EQ(par->Center, 32768);
    EXPECT_EQ(par->XYFlip + 10 * par->XYFlipSaved, 11);
    EXPECT_EQ(par->XInvert + 10 * par->XInvertSaved, 10);
    EXPECT_EQ(par->YInvert + 10 * par->YInvertSaved, 1);
    EXPECT_EQ(par->Pnt[0].PntA.x, static_cast<float>(kSentinel));  // no block in the file
    EXPECT_EQ(par->XT[0], kSentinel);
    EXPECT_TRUE(par->Stacks.empty());
}

TEST_F(BcdFile, RefusedOrNotBinary) {
    const struct { const char* name; std::string file; } cases[] = {
        {"version '3'", dataFile("bcd_version3.bin")},
        {"shorter than the magic: text import fails", dataFile("bcd_short.bin")},
        {"base-parameter file: text import fails", ""},
        {"missing file", path("missing.bcd")},
        {"a directory", dir()},
        {"a FIFO (must not block)", path("fifo")},
    };
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    auto base = sample(false);
    CBcdFile::SaveBasePara(path("base.par").c_str(), *base);
    for (const auto& c : cases) {
        auto par = sentinel();
        const std::string file = c.file.empty() ? path("base.par") : c.file;
        EXPECT_FALSE(CBcdFile::LoadBcdFile(file.c_str(), *par)) << c.name;
        EXPECT_TRUE(par->Stacks.empty()) << c.name;
        EXPECT_EQ(par->Version, 's') << c.name;
        EXPECT_EQ(par->FieldSize, kSentinel) << c.name;
    }
}

// Without the magic the file is imported as text, then fitted classically.
TEST_F(BcdFile, TextFileIsImportedAndFitted) {
    auto par = sentinel();  // has tables: the importer only appends, so the loader clears first
    ASSERT_TRUE(CBcdFile::LoadBcdFile(dataFile("bcd_text_grid.cor").c_str(), *par));
    EXPECT_EQ(par->Version, 'P');
    EXPECT_TRUE(par->Stacks.empty());
    EXPECT_EQ(par->AxisXL, 40.0);  // fitted from the measured grid: 100 / (40 + 40)
    EXPECT_EQ(par->SX, 1.25);
}

// A saved sample with tables, cut at interesting offsets, loads what it holds.
TEST_F(BcdFile, TruncatedFilesLoadWhatTheyHold) {
    const auto full = sample(true);
    const Bytes saved = saveToBytes(*full, path("c.bcd"));
    struct Case {
        std::size_t cut;
        void (*check)(const tagLenPar& p, const tagLenPar& full);
    };
    const Case cases[] = {
        {14, [](const tagLenPar& p, const tagLenPar&) {  // inside FieldSize
             EXPECT_TRUE(p.Version == 0x60 && p.FieldSize == kSentinel && p.LineCount == 77);
         }},
        {42, [](const tagLenPar& p, const tagLenPar&) {  // before the flag words
             EXPECT_TRUE(p.Resolution == 131071 && p.XYFlip == 77);
         }},
        {256 + 144, [](const tagLenPar& p, const tagLenPar& f) {  // the block ends after Pnt
             EXPECT_TRUE(std::memcmp(p.Pnt, f.Pnt, sizeof p.Pnt) == 0 && p.QX[0] == kSentinel);
         }},
        {4132 + 12, [](const tagLenPar& p, const tagLenPar&) {  // inside YT[1]
             EXPECT_TRUE(p.Grid == 7 && p.YA[0] == 1000.0 && p.XT[1] == 1.5 && p.YT[1] == kSentinel);
         }},
        {59999, [](const tagLenPar& p, const tagLenPar&) {
             EXPECT_TRUE(p.YA[2] == 1002.0 && p.Stacks.empty());
         }},
        {60008, [](const tagLenPar& p, const tagLenPar&) {  // only the first listed size
             ASSERT_EQ(p.Stacks.size(), 3u);
             EXPECT_TRUE(p.Stacks[0].Num == 3 && p.Stacks[0].Flag == 0 && p.Stacks[0].Pnts.size() == 9);
             EXPECT_EQ(p.Stacks[0].Pnts[8].PntB.y, 0.0f);
             EXPECT_TRUE(p.Stacks[1].Pnts.empty());
         }},
        {64000 + 8 + 4 * 16 + 5, [](const tagLenPar& p, const tagLenPar& f) {  // inside pair 4 of table 0
             ASSERT_EQ(p.Stacks.size(), 3u);
             ASSERT_TRUE(p.Stacks[0].Flag == 1 && p.Stacks[0].Pnts.size() == 9);
             EXPECT_EQ(std::memcmp(p.Stacks[0].Pnts.data(), f.Stacks[0].Pnts.data(), 4 * 16), 0);
             for (int i = 5; i < 9; ++i) EXPECT_EQ(p.Stacks[0].Pnts[i].PntA.x, 0.0f) << i;
             // Header missing: the listed size, zero points.
             EXPECT_TRUE(p.Stacks[1].Num == 2 && p.Stacks[1].Pnts.size() == 4);
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.cut);
        writeFile(path("c.bcd"), Bytes(saved.begin(), saved.begin() + c.cut));
        auto par = sentinel();
        ASSERT_TRUE(CBcdFile::LoadBcdFile(path("c.bcd").c_str(), *par));
        c.check(*par, *full);
    }
}

// Declared sizes beyond the limits are refused before anything is allocated.
TEST_F(BcdFile, HostileTableSizes) {
    const Bytes saved = saveToBytes(*sample(true), path("x.bcd"));
    const struct {
        const char* name;
        std::size_t offset, cut;  // cut 0: keep the whole file
        std::int32_t value;
        bool loads;
        std::size_t tables;
    } cases[] = {
        {"N = 2^31-1", 60000, 0, 2147483647, false, 0},
        {"N = 4097", 60000, 0, 4097, false, 0},
        {"N = 4096, nothing listed", 60000, 60004, 4096, true, 4096},
        {"N = -1", 60000, 0, -1, true, 0},
        {"n = 65536", 64000, 0, 65536, false, 0},
        {"n*n beyond 32 bits", 64000, 0, 46341, false, 0},
        {"n = 2^31-1", 64000, 0, 2147483647, false, 0},
        {"n above the file size", 64000, 0, 1000, false, 0},
        {"listed n, no header, within the file size", 60004, 60008, 200, true, 3},
        {"listed n, no header, beyond the file size", 60004, 60008, 1000, false, 0},
    };
    for (const auto& c : cases) {
        Bytes b = saved;
        if (c.cut != 0) b.resize(c.cut);
        std::memcpy(&b[c.offset], &c.value, 4);
        writeFile(path("x.bcd"), b);
        auto par = sentinel();
        EXPECT_EQ(CBcdFile::LoadBcdFile(path("x.bcd").c_str(), *par), c.loads) << c.name;
        EXPECT_EQ(par->Stacks.size(), c.tables) << c.name;
    }
}

TEST_F(BcdFile, NegativeSizeHoldsNoPoints) {
    auto par = sample(false);
    par->Stacks = {tagStack{-3, 4, {}}, tagStack{2, 1, std::vector<tagCalData>(4, tagCalData{{1, 2}, {3, 4}})}};
    ASSERT_TRUE(CBcdFile::SaveBcdFile(path("n.bcd").c_str(), *par));
    auto back = sentinel();
    ASSERT_TRUE(CBcdFile::LoadBcdFile(path("n.bcd").c_str(), *back));
    ASSERT_EQ(back->Stacks.size(), 2u);
    EXPECT_EQ(back->Stacks[0].Num, 0);
    EXPECT_EQ(back->Stacks[0].Flag, 4);
    EXPECT_TRUE(back->Stacks[0].Pnts.empty());
    EXPECT_EQ(back->Stacks[1].Num, 2);
    EXPECT_EQ(back->Stacks[1].Pnts[3].PntB.y, 4.0f);
}

TEST_F(BcdFile, SaveRefusesTablesThatCannotBeWrittenOrLoaded) {
    const auto old = sample(false);
    const Bytes before = saveToBytes(*old, path("r.bcd"));
    auto shortTable = sample(false);
    shortTable->Stacks = {tagStack{3, 1, std::vector<tagCalData>(8)}};
    auto tooMany = sample(false);
    tooMany->Stacks.resize(4097);
    EXPECT_FALSE(CBcdFile::SaveBcdFile(path("r.bcd").c_str(), *shortTable));
    EXPECT_FALSE(CBcdFile::SaveBcdFile(path("r.bcd").c_str(), *tooMany));
    EXPECT_EQ(readFile(path("r.bcd")), before);
}

TEST_F(BcdFile, ShorterSaveLeavesNoTail) {
    saveToBytes(*sample(true), path("s.bcd"));
    EXPECT_EQ(saveToBytes(*sample(false), path("s.bcd")).size(), kSampleNoTables);
    EXPECT_EQ(entries(dir()), 1);
}

TEST_F(BcdFile, SaveKeepsPermissionsAndSymlinks) {
    const auto par = sample(false);
    const mode_t oldMask = ::umask(022);
    ASSERT_TRUE(CBcdFile::SaveBcdFile(path("new.bcd").c_str(), *par));
    ::umask(oldMask);
    EXPECT_EQ(statOf(path("new.bcd")).st_mode & 07777, 0644u);

    ASSERT_EQ(::chmod(path("new.bcd").c_str(), 0640), 0);
    ASSERT_TRUE(CBcdFile::SaveBcdFile(path("new.bcd").c_str(), *par));
    EXPECT_EQ(statOf(path("new.bcd")).st_mode & 07777, 0640u);

    ASSERT_EQ(::symlink("new.bcd", path("link.bcd").c_str()), 0);
    auto changed = sample(true);
    ASSERT_TRUE(CBcdFile::SaveBcdFile(path("link.bcd").c_str(), *changed));
    struct stat st {};
    ASSERT_EQ(::lstat(path("link.bcd").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(readFile(path("new.bcd")).size(), kSampleWithTables);
    EXPECT_EQ(statOf(path("new.bcd")).st_mode & 07777, 0640u);
}

// A save that fails or dies part-way leaves the previous file as it was.
TEST_F(BcdFile, FailedSaveKeepsThePreviousFile) {
    const Bytes before = saveToBytes(*sample(false), path("f.bcd"));
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
    EXPECT_EQ(entries(dir()), 1);
    EXPECT_EQ(saveLimited(true), -SIGXFSZ);  // killed while writing
    EXPECT_EQ(readFile(path("f.bcd")), before);

    EXPECT_FALSE(CBcdFile::SaveBcdFile(path("no/such/folder.bcd").c_str(), *bigger));
}

TEST_F(BcdFile, UnwritableTargetIsNotReplaced) {
    const Bytes before = saveToBytes(*sample(false), path("ro.bcd"));
    ASSERT_EQ(::chmod(path("ro.bcd").c_str(), 0444), 0);
    if (::geteuid() == 0) { ASSERT_EQ(::chown(path("ro.bcd").c_str(), kNobody, kNobody), 0); }
    ASSERT_EQ(::chmod(dir().c_str(), 0777), 0);
    const auto par = sample(true);
    const int saved = inChild([&] { return CBcdFile::SaveBcdFile(path("ro.bcd").c_str(), *par) ? 1 : 0; }, true);
    if (saved == kCannotDropRoot) GTEST_SKIP() << "cannot run unprivileged";
    EXPECT_EQ(saved, 0);
    EXPECT_EQ(readFile(path("ro.bcd")), before);
    EXPECT_EQ(statOf(path("ro.bcd")).st_mode & 07777, 0444u);
}

// Where no replacement can be made the file is written in place: same inode.
TEST_F(BcdFile, WrittenInPlaceWhereNoTemporaryFits) {
    const bool root = ::geteuid() == 0;
    const struct {
        const char* name;
        std::string file;
        mode_t dirMode;
        bool hardLink, asNobody, ownedByNobody;
    } cases[] = {
        {"read-only folder", "ro-dir.bcd", 0555, false, true, true},
        {"name too long for a temporary", std::string(250, 'n'), 0777, false, false, false},
        {"hard-linked file", "linked.bcd", 0777, true, false, false},
        {"someone else's file", "foreign.bcd", 0777, false, true, false},
    };
    const auto par = sample(true);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.asNobody && !c.ownedByNobody && !root) continue;  // needs a second user
        const std::string file = path(c.file);
        saveToBytes(*sample(false), file);
        ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
        if (root && c.ownedByNobody) { ASSERT_EQ(::chown(file.c_str(), kNobody, kNobody), 0); }
        if (c.hardLink) { ASSERT_EQ(::link(file.c_str(), path("other.bcd").c_str()), 0); }
        const ino_t inode = statOf(file).st_ino;
        ASSERT_EQ(::chmod(dir().c_str(), c.dirMode), 0);
        const int saved = inChild([&] { return CBcdFile::SaveBcdFile(file.c_str(), *par) ? 1 : 0; }, c.asNobody);
        ::chmod(dir().c_str(), 0700);
        if (saved == kCannotDropRoot) GTEST_SKIP() << "cannot run unprivileged";
        EXPECT_EQ(saved, 1);
        EXPECT_EQ(statOf(file).st_ino, inode);
        EXPECT_EQ(readFile(file).size(), kSampleWithTables);
        if (c.hardLink) { EXPECT_EQ(readFile(path("other.bcd")).size(), kSampleWithTables); }
    }
}

TEST(BcdFileOrder, CalibrationOrderCodes) {
    const struct { int code, size; } cases[] = {{1, 5}, {2, 9}, {3, 17}, {4, 33}, {5, 65}, {6, 25},
                                                {0, 3}, {7, 3}, {-1, 3}, {-2147483647 - 1, 3}};
    for (const auto& c : cases) EXPECT_EQ(CBcdFile::GetCalOrder(c.code), c.size) << c.code;
}

}  // namespace
