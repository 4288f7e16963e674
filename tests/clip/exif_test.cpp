#include "clip/exif.h"

#include "support/exif.h"
#include "support/result_matchers.h"

namespace QUIRVA {
namespace {

using namespace support;

TEST(QvExif, StartsClosedAndWithoutAModule) {
  CQvExif exif;
  EXPECT_EQ(0u, exif.library);
  EXPECT_EQ(nullptr, exif.handle);
  EXPECT_FALSE(exif.IsDllLoaded());
  EXPECT_STREQ(L"qvExif.dll", exif.GetDllName());
}

TEST(QvExif, ReadsTheDateInTheUsualOrderOfCalls) {
  const Bytes tiff = ExifWithDate("2021:03:02 16:47:36");
  CQvExif exif;
  ASSERT_OK(exif.InitLibrary());
  ASSERT_OK(exif.SetExifData(tiff.data(), static_cast<unsigned int>(tiff.size())));
  Bytes block(EXIFL_DATE_BLOCK_SIZE);
  ASSERT_OK(exif.GetInfo(EXIFL_INFO_DATE_BLOCK, nullptr, 0, block.data(), EXIFL_DATE_BLOCK_SIZE));
  EXPECT_EQ(Text("2021:03:02 16:47:36"), Slice(block, 67, 86));
  EXPECT_FALSE(exif.IsDllLoaded());
}

TEST(QvExif, LeavesOneOpenHandleAfterTwoStarts) {
  const Bytes tiff = ExifWithDate("2021:03:02 16:47:36");
  CQvExif exif;
  ASSERT_OK(exif.InitLibrary());
  ASSERT_OK(exif.SetExifData(tiff.data(), static_cast<unsigned int>(tiff.size())));
  ASSERT_OK(exif.InitLibrary());
  EXPECT_NE(nullptr, exif.handle);
  // The second handle is a fresh one; a leak of the first is the sanitizer's to report.
  Bytes block(EXIFL_DATE_BLOCK_SIZE);
  EXPECT_RESULT(EXIFL_ERR_DATA, exif.GetInfo(EXIFL_INFO_DATE_BLOCK, nullptr, 0, block.data(),
                                             EXIFL_DATE_BLOCK_SIZE));
  exif.UnInitLibrary();
  EXPECT_EQ(nullptr, exif.handle);
}

TEST(QvExif, OpensAndClosesRawAndWithResultCodes) {
  CQvExif exif;
  EXPECT_OK(exif.CreateHandle());
  EXPECT_NE(nullptr, exif.handle);
  EXPECT_OK(exif.CreateHandle());
  EXPECT_OK(exif.DestroyHandle());
  EXPECT_EQ(nullptr, exif.handle);
  EXPECT_OK(exif.CreateObject());
  EXPECT_NE(nullptr, exif.handle);
  EXPECT_OK(exif.CreateObject());
  EXPECT_OK(exif.DestroyObject());
  EXPECT_EQ(nullptr, exif.handle);
}

TEST(QvExif, ClosesWhatIsNotOpenWithoutFailure) {
  CQvExif exif;
  EXPECT_OK(exif.DestroyHandle());
  EXPECT_OK(exif.DestroyObject());
  exif.UnInitLibrary();
  EXPECT_EQ(nullptr, exif.handle);
}

TEST(QvExif, HandsOnRawAnswers) {
  unsigned int size = 0;
  unsigned char byte = 0;
  CQvExif closed;
  EXPECT_RESULT(EXIFL_ERR_HANDLE, closed.ResetHandle());
  EXPECT_RESULT(EXIFL_ERR_HANDLE, closed.SetExifData(&byte, 1));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, closed.GetInfo(EXIFL_INFO_DATE_BLOCK, nullptr, 0, &byte, 1));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, closed.SetInfo(EXIFL_INFO_DATE_BLOCK, nullptr, 0, &byte, 1));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, closed.FixParam(&size));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, closed.GetExifData(&byte, 1));

  CQvExif open;
  ASSERT_OK(open.InitLibrary());
  EXPECT_OK(open.ResetHandle());
  EXPECT_RESULT(EXIFL_ERR_DATA, open.SetExifData(&byte, 1));
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, open.SetExifData(nullptr, 1));
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, open.GetInfo(EXIFL_INFO_DATE_BLOCK, nullptr, 0, &byte, 1));
  EXPECT_RESULT(EXIFL_ERR_NOT_IMPLEMENTED,
                open.SetInfo(EXIFL_INFO_DATE_BLOCK, nullptr, 0, &byte, 1));
  EXPECT_RESULT(EXIFL_ERR_NOT_IMPLEMENTED, open.FixParam(&size));
  EXPECT_RESULT(EXIFL_ERR_NOT_IMPLEMENTED, open.GetExifData(&byte, 1));
}

TEST(TransformtoHRESULT, GivesEachAnswerItsCode) {
  const std::pair<std::uint32_t, HRESULT> table[] = {
      {0, S_OK},
      {1, S_FALSE},
      {0x80000003, E_HANDLE},
      {0x80000004, E_INVALIDARG},
      {0x80000005, E_OUTOFMEMORY},
      {0x80000006, E_POINTER},
      {0x80000007, E_NOTIMPL},
      {0x80000008, E_PENDING},
      {0x80000009, E_ABORT},
      {0x8000000A, E_BAD_TYPE},
      {0x8000000B, E_BAD_DATA},
  };
  for (const auto& [error, result] : table) {
    EXPECT_RESULT(result, CQvExif::TransformtoHRESULT(static_cast<_tagEXIFL_ERR>(error)));
  }
}

TEST(TransformtoHRESULT, GivesAnyOtherAnswerAFailure) {
  for (const std::uint32_t error : {2u, 3u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0x80000002u,
                                    0x8000000Cu, 0xFFFFFFFFu, 0x80004005u}) {
    EXPECT_RESULT(E_FAIL, CQvExif::TransformtoHRESULT(static_cast<_tagEXIFL_ERR>(error))) << error;
  }
}

}  // namespace
}  // namespace QUIRVA
