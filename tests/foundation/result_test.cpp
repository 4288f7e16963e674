#include "foundation/result.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "foundation/fourcc.h"

TEST(ResultName, NamesEveryCodeByItsConstant) {
  EXPECT_EQ("S_OK", ResultName(S_OK));
  EXPECT_EQ("S_FALSE", ResultName(S_FALSE));
  EXPECT_EQ("E_BAD_DATA", ResultName(static_cast<HRESULT>(0x80090005)));
  EXPECT_EQ("MP4G_E_OUTPUT_WRITE", ResultName(static_cast<HRESULT>(0xA0000008)));
}

// Applications compare with numbers.
TEST(ResultCodes, HaveTheirValues) {
  const std::map<std::string, std::uint32_t> expected = {{"S_OK", 0},
                                                         {"S_FALSE", 1},
                                                         {"E_PENDING", 0x8000000A},
                                                         {"E_NOTIMPL", 0x80004001},
                                                         {"E_NOINTERFACE", 0x80004002},
                                                         {"E_POINTER", 0x80004003},
                                                         {"E_ABORT", 0x80004004},
                                                         {"E_FAIL", 0x80004005},
                                                         {"E_UNEXPECTED", 0x8000FFFF},
                                                         {"E_HANDLE", 0x80070006},
                                                         {"E_OUTOFMEMORY", 0x8007000E},
                                                         {"E_INVALIDARG", 0x80070057},
                                                         {"E_NO_MORE_ITEMS", 0x80070103},
                                                         {"E_BAD_DATA", 0x80090005},
                                                         {"E_BAD_TYPE", 0x8009000A},
                                                         {"MP4G_E_INPUT_OPEN", 0xA0000001},
                                                         {"MP4G_E_OUTPUT_OPEN", 0xA0000002},
                                                         {"MP4G_E_TRACK_COUNT", 0xA0000003},
                                                         {"MP4G_E_TIME_SCALE", 0xA0000004},
                                                         {"MP4G_E_SAMPLE_DESCRIPTION", 0xA0000005},
                                                         {"MP4G_E_SAMPLE_TABLE", 0xA0000006},
                                                         {"MP4G_E_INPUT_READ", 0xA0000007},
                                                         {"MP4G_E_OUTPUT_WRITE", 0xA0000008}};
  std::map<std::string, std::uint32_t> codes;
#define CLIPCHAIN_RESULT(name, value) codes[#name] = static_cast<std::uint32_t>(name);
#include "foundation/result_codes.inc"
#undef CLIPCHAIN_RESULT
  EXPECT_EQ(expected, codes);
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
