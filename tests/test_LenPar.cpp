// The record's defaults and the zero fill of every field without one.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <tuple>

TEST(LenPar, DefaultsAndZeroFill) {
    // Construct on a dirty buffer: fields without a default must still read zero.
    alignas(tagLenPar) unsigned char storage[sizeof(tagLenPar)];
    std::memset(storage, 0xA5, sizeof storage);
    auto* lp = new (storage) tagLenPar;

    EXPECT_EQ(std::make_tuple(lp->Resolution, lp->Center, lp->LineCount, lp->ManLineCount, lp->SftScaleY),
              std::make_tuple(65535, 32768, 21, 21, 1.0f));
    EXPECT_EQ(std::make_tuple(lp->CenterSq, lp->ValSize, lp->BoxScale[1], lp->QYAux[0], lp->AxisYB),
              std::make_tuple(1073741824.0, 80.0, 100.0, 1.0, 50.0));
    EXPECT_EQ(lp->Y2XAngle, 0x1.921fb54442d18p+0);  // pi/2 to the last bit, as the fits expect
    EXPECT_EQ(lp->UseLsm + lp->XYFlipSaved + lp->YInvert + lp->Version, 0);
    EXPECT_TRUE(lp->Stacks.empty());
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(lp->XT[i] + lp->YA[i] + lp->XR[i] + lp->ManXT[i] + lp->ManYR[i], 0.0) << i;
    }
    for (unsigned char c : lp->LsmAux) EXPECT_EQ(c, 0);
    for (const tagCalData& p : lp->Pnt) EXPECT_EQ(p.PntA.x + p.PntB.y, 0.0f);
    EXPECT_EQ(lp->K[19] + lp->S[7], 0.0);
    lp->~tagLenPar();
}
