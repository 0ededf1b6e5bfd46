// The record's defaults and the zero fill of every field without one.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cstring>
#include <new>

TEST(LenPar, DefaultsAndZeroFill) {
    // Construct on a dirty buffer: fields without a default must still read zero.
    alignas(tagLenPar) unsigned char storage[sizeof(tagLenPar)];
    std::memset(storage, 0xA5, sizeof storage);
    auto* lp = new (storage) tagLenPar;

    EXPECT_EQ(lp->Resolution, 65535);
    EXPECT_EQ(lp->Center, 32768);
    EXPECT_EQ(lp->CenterSq, 1073741824.0);
    EXPECT_EQ(lp->LineCount, 21);
    EXPECT_EQ(lp->ManLineCount, 21);
    EXPECT_EQ(lp->ValSize, 80.0);
    EXPECT_EQ(lp->BoxScale[1], 100.0);
    EXPECT_EQ(lp->SftScaleY, 1.0f);
    EXPECT_EQ(lp->QYAux[0], 1.0);
    EXPECT_EQ(lp->AxisYB, 50.0);
    EXPECT_EQ(lp->UseLsm + lp->XYFlipSaved + lp->YInvert + lp->Version, 0);
    EXPECT_TRUE(lp->Stacks.empty());
    std::uint64_t bits;
    std::memcpy(&bits, &lp->Y2XAngle, sizeof bits);
    EXPECT_EQ(bits, 0x3FF921FB54442D18u);

    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(lp->XT[i] + lp->YA[i] + lp->XR[i] + lp->ManXT[i] + lp->ManYR[i], 0.0) << i;
    }
    for (unsigned char c : lp->LsmAux) EXPECT_EQ(c, 0);
    for (const tagCalData& p : lp->Pnt) EXPECT_EQ(p.PntA.x + p.PntB.y, 0.0f);
    EXPECT_EQ(lp->K[19] + lp->S[7], 0.0);
    lp->~tagLenPar();

    // The version keeps only its low byte.
    EXPECT_EQ(static_cast<CalVerion>(0x150), CalVerClassic);
}
