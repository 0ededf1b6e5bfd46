// The base-parameter file: its 38-byte layout, reading the head of either
// kind of file, and short files. Offsets are literals of the file format.
#include <zemcal/BcdFile.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& b) {
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(b.data()), b.size());
}

template <class T>
T at(const Bytes& b, std::size_t offset) {
    T v{};
    std::memcpy(&v, b.data() + offset, sizeof v);
    return v;
}

class BaseParaFile : public ::testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/zemcal-base-XXXXXX";
        ASSERT_NE(::mkdtemp(name), nullptr);
        dir_ = name;
        par_->FieldSize = 150.25;
        par_->ValSize = 110.5;
        par_->LineCount = 3;
        par_->ManLineCount = 33;
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::string path(const char* name) const { return dir_ + "/" + name; }

    std::string dir_;
    std::unique_ptr<tagLenPar> par_ = std::make_unique<tagLenPar>();
};

TEST_F(BaseParaFile, LayoutAndReadBack) {
    ASSERT_TRUE(CBcdFile::SaveBasePara(path("b.par").c_str(), *par_));
    const Bytes b = readFile(path("b.par"));
    ASSERT_EQ(b.size(), 38u);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(b[i], 0) << i;
    EXPECT_EQ(at<double>(b, 10), 150.25);
    EXPECT_EQ(at<double>(b, 18), 110.5);
    EXPECT_EQ(at<double>(b, 26), 4.0);
    EXPECT_EQ(at<std::int32_t>(b, 34), 33);  // ManLineCount, not LineCount

    double field = 0, val = 0;
    int lines = 0;
    EXPECT_TRUE(CBcdFile::GetBasePara(path("b.par").c_str(), field, val, lines));
    EXPECT_EQ(field, 150.25);
    EXPECT_EQ(val, 110.5);
    EXPECT_EQ(lines, 33);
}

TEST_F(BaseParaFile, ReadsTheHeadOfACalibrationFile) {
    ASSERT_TRUE(CBcdFile::SaveBcdFile(path("c.bcd").c_str(), *par_));
    double field = 0, val = 0;
    int lines = 0;
    EXPECT_TRUE(CBcdFile::GetBasePara(path("c.bcd").c_str(), field, val, lines));
    EXPECT_EQ(field, 150.25);
    EXPECT_EQ(val, 110.5);
    EXPECT_EQ(lines, 3);  // LineCount in a calibration file

    // Saving base parameters over it leaves only the short file.
    ASSERT_TRUE(CBcdFile::SaveBasePara(path("c.bcd").c_str(), *par_));
    EXPECT_EQ(readFile(path("c.bcd")).size(), 38u);
}

// A value the file does not hold in full keeps the caller's value, and so
// does every value after it.
TEST_F(BaseParaFile, ShortOrMissingFilesKeepTheUnreadOutputs) {
    ASSERT_TRUE(CBcdFile::SaveBasePara(path("b.par").c_str(), *par_));
    const Bytes full = readFile(path("b.par"));
    const struct { std::size_t size; bool field, val, lines; } cases[] = {
        {0, false, false, false},  {17, false, false, false}, {18, true, false, false},
        {26, true, true, false},   {33, true, true, false},   {37, true, true, false},
        {38, true, true, true},
    };
    for (const auto& c : cases) {
        writeFile(path("s.par"), Bytes(full.begin(), full.begin() + c.size));
        double field = -1, val = -1;
        int lines = -1;
        EXPECT_TRUE(CBcdFile::GetBasePara(path("s.par").c_str(), field, val, lines));
        EXPECT_EQ(field, c.field ? 150.25 : -1.0) << c.size;
        EXPECT_EQ(val, c.val ? 110.5 : -1.0) << c.size;
        EXPECT_EQ(lines, c.lines ? 33 : -1) << c.size;
    }
    double field = -1, val = -1;
    int lines = -1;
    EXPECT_TRUE(CBcdFile::GetBasePara(path("missing").c_str(), field, val, lines));
    EXPECT_TRUE(CBcdFile::GetBasePara(dir_.c_str(), field, val, lines));
    EXPECT_EQ(field + val + lines, -3.0);
}

// Always true, also when nothing could be written.
TEST_F(BaseParaFile, FailedSaveReportsTrue) {
    EXPECT_TRUE(CBcdFile::SaveBasePara(path("no/folder/b.par").c_str(), *par_));
    EXPECT_FALSE(std::filesystem::exists(path("no")));
}

}  // namespace
