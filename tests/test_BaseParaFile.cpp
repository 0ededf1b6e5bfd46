// The base-parameter file: its 38-byte layout, reading the head of either
// kind of file, and short files. Offsets are literals of the file format.
#include <zemcal/BcdFile.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>

#include "TempDir.h"

namespace {

using Head = std::tuple<double, double, int>;  // FieldSize, ValSize, line count

// What GetBasePara delivers into outputs that start at -1; it always returns true.
Head head(const std::string& path) {
    Head h{-1, -1, -1};
    EXPECT_TRUE(CBcdFile::GetBasePara(path.c_str(), std::get<0>(h), std::get<1>(h), std::get<2>(h))) << path;
    return h;
}

// The head of a calibration file holds LineCount where the base file has
// ManLineCount; they differ here, so a read shows which one it found. Saving
// base parameters over a calibration file leaves only the short file: bytes
// 0-9 are never written; 10 FieldSize, 18 ValSize, 26 4.0, 34 ManLineCount.
// Of a file cut short, a value it does not hold in full keeps the caller's
// value, and so does every value after it; a missing file changes nothing.
// SaveBasePara is always true, also when nothing could be written.
TEST(BaseParaFile, LayoutAndReadBack) {
    const TempDir dir;
    const std::string file = dir.file("b.par");
    const auto par = std::make_unique<tagLenPar>();
    par->FieldSize = 150.25, par->ValSize = 110.5, par->LineCount = 3, par->ManLineCount = 33;
    EXPECT_TRUE(CBcdFile::SaveBcdFile(file.c_str(), *par));
    EXPECT_EQ(head(file), Head(150.25, 110.5, 3));
    EXPECT_TRUE(CBcdFile::SaveBasePara(file.c_str(), *par));
    std::string want(38, '\0');
    const double values[] = {150.25, 110.5, 4.0};
    const std::int32_t lines = 33;
    std::memcpy(&want[10], values, sizeof values), std::memcpy(&want[34], &lines, sizeof lines);
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
