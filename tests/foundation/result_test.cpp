#include "foundation/result.h"

#include <gtest/gtest.h>

#include "foundation/fourcc.h"

TEST(ResultName, NamesEveryCodeByItsConstant) {
  EXPECT_EQ("S_OK", ResultName(S_OK));
  EXPECT_EQ("S_FALSE", ResultName(S_FALSE));
  EXPECT_EQ("E_BAD_DATA", ResultName(static_cast<HRESULT>(0x80090005)));
  EXPECT_EQ("MP4G_E_OUTPUT_WRITE", ResultName(static_cast<HRESULT>(0xA0000008)));
}

TEST(ResultName, ShowsOtherCodesAsNumbers) {
  EXPECT_EQ("0x80000003", ResultName(static_cast<HRESULT>(0x80000003)));
  EXPECT_EQ("0xFFFFFFFF", ResultName(-1));
  EXPECT_EQ("0x00000002", ResultName(2));
}

TEST(FourCc, TurnsIntoANumberAndBackToText) {
  EXPECT_EQ(0x6D6F6F76u, FourCc("moov"));
  EXPECT_EQ("moov", FourCcText(0x6D6F6F76));
  EXPECT_EQ("\\xA9nam", FourCcText(0xA96E616D));
}
