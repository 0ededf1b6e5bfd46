// The record's defaults and the layout the binary file depends on.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>

TEST(LenPar, DefaultsAreTheDocumentedOnes) {
    const auto lp = std::make_unique<tagLenPar>();
    EXPECT_EQ(lp->Scale0, 10000.0f);
    EXPECT_EQ(lp->FieldSize, 100.0);
    EXPECT_EQ(lp->ValSize, 80.0);
    EXPECT_EQ(lp->Resolution, 65535);
    EXPECT_EQ(lp->Center, 32768);
    EXPECT_EQ(lp->CenterSq, 1073741824.0);
    EXPECT_EQ(lp->LineCount, 21);
    EXPECT_EQ(lp->ManLineCount, 21);
    EXPECT_EQ(lp->UseLsm, 0);
    EXPECT_EQ(lp->Version, 0);
    EXPECT_TRUE(lp->Stacks.empty());
    EXPECT_EQ(lp->XYFlip | lp->XInvert | lp->YInvert, 0);
    EXPECT_EQ(lp->XYFlipSaved | lp->XInvertSaved | lp->YInvertSaved, 0);
    EXPECT_EQ(lp->BoxScale[0], 100.0);
    EXPECT_EQ(lp->BoxBarrel[1], 1.0);
    EXPECT_EQ(lp->SftScaleY, 1.0f);
    EXPECT_EQ(lp->QXAux[0], 1.0);
    EXPECT_EQ(lp->QYAux[0], 1.0);
    EXPECT_EQ(lp->AxisYB, 50.0);
    EXPECT_EQ(lp->SY, 1.0);
    EXPECT_EQ(lp->K[19], 0.0);

    std::uint64_t bits;
    std::memcpy(&bits, &lp->Y2XAngle, sizeof bits);
    EXPECT_EQ(bits, 0x3FF921FB54442D18u);
}

TEST(LenPar, FieldsWithoutDefaultAreZeroFilled) {
    // A record on a dirty heap: every field without a default must still be zero.
    alignas(tagLenPar) unsigned char storage[sizeof(tagLenPar)];
    std::memset(storage, 0xA5, sizeof storage);
    auto* lp = new (storage) tagLenPar;
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(lp->XT[i] + lp->YA[i] + lp->XR[i] + lp->ManXT[i] + lp->ManYR[i], 0.0) << i;
    }
    for (unsigned char c : lp->LsmAux) EXPECT_EQ(c, 0);
    for (const tagCalData& p : lp->Pnt) EXPECT_EQ(p.PntA.x + p.PntB.y, 0.0f);
    lp->~tagLenPar();
}

TEST(LenPar, CalVerionKeepsTheLowByte) {
    EXPECT_EQ(static_cast<CalVerion>(0x150), CalVerClassic);
    EXPECT_EQ(CalVerClassic, 'P');
    EXPECT_EQ(CalVerRefused, '3');
}
