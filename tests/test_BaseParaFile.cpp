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
#include <tuple>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Head = std::tuple<double, double, int>;  // FieldSize, ValSize, line count

Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// What GetBasePara delivers into outputs that start at -1; it always returns true.
Head head(const std::string& path) {
    Head h{-1, -1, -1};
    EXPECT_TRUE(CBcdFile::GetBasePara(path.c_str(), std::get<0>(h), std::get<1>(h), std::get<2>(h))) << path;
    return h;
}

class BaseParaFile : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(::mkdtemp(dir_.data()), nullptr);
        par_->FieldSize = 150.25, par_->ValSize = 110.5;
        par_->LineCount = 3, par_->ManLineCount = 33;  // they differ, so a read shows which one it found
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::string path(const char* name) const { return dir_ + "/" + name; }

    std::string dir_ = "/tmp/zemcal-base-XXXXXX";
    std::unique_ptr<tagLenPar> par_ = std::make_unique<tagLenPar>();
};

// Bytes 0-9 are never written; 10 FieldSize, 18 ValSize, 26 4.0, 34 ManLineCount.
// Of a file cut short, a value it does not hold in full keeps the caller's
// value, and so does every value after it; a missing file or a folder changes
// nothing. SaveBasePara is always true, also when nothing could be written.
TEST_F(BaseParaFile, LayoutAndReadBack) {
    ASSERT_TRUE(CBcdFile::SaveBasePara(path("b.par").c_str(), *par_));
    const Bytes full = readFile(path("b.par"));
    Bytes want(38);
    const double values[] = {150.25, 110.5, 4.0};
    const std::int32_t lines = 33;
    std::memcpy(&want[10], values, sizeof values), std::memcpy(&want[34], &lines, sizeof lines);
    EXPECT_EQ(full, want);
    const struct { std::streamsize size; Head want; } cases[] = {
        {38, {150.25, 110.5, 33}}, {37, {150.25, 110.5, -1}}, {18, {150.25, -1, -1}}, {17, {-1, -1, -1}},
    };
    for (const auto& c : cases) {
        std::ofstream(path("s.par"), std::ios::binary).write(reinterpret_cast<const char*>(full.data()), c.size);
        EXPECT_EQ(head(path("s.par")), c.want) << c.size;
    }
    EXPECT_EQ(head(path("missing")), Head(-1, -1, -1));
    EXPECT_EQ(head(dir_), Head(-1, -1, -1));
    EXPECT_TRUE(CBcdFile::SaveBasePara(path("no/folder/b.par").c_str(), *par_));
}

// The head of a calibration file holds LineCount where the base file has
// ManLineCount. Saving base parameters over it leaves only the short file,
// which has no magic and is no text file either, so it no longer loads.
TEST_F(BaseParaFile, CalibrationFile) {
    ASSERT_TRUE(CBcdFile::SaveBcdFile(path("c.bcd").c_str(), *par_));
    EXPECT_EQ(head(path("c.bcd")), Head(150.25, 110.5, 3));
    ASSERT_TRUE(CBcdFile::SaveBasePara(path("c.bcd").c_str(), *par_));
    EXPECT_EQ(readFile(path("c.bcd")).size(), 38u);
    EXPECT_FALSE(CBcdFile::LoadBcdFile(path("c.bcd").c_str(), *par_));
}

}  // namespace
