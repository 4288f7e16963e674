#include "clip/exif_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>

#include "support/exif.h"
#include "support/processor_time.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

namespace {

using namespace support;

constexpr char kNoDate[] = "0000:00:00 00:00:00";

class ExifLibrary : public testing::Test {
 protected:
  ExifLibrary() { EXPECT_OK(EXIFL_CreateHandle(&handle_)); }
  ~ExifLibrary() override { EXPECT_OK(EXIFL_DestroyHandle(handle_)); }

  // Gives the handle a block of exactly these bytes, which is gone before anything is asked.
  _tagEXIFL_ERR Set(const Bytes& bytes) {
    const Bytes exact(bytes);
    return EXIFL_SetExifData(handle_, exact.data(), static_cast<unsigned int>(exact.size()));
  }
  _tagEXIFL_ERR Get(Bytes& block) {
    return EXIFL_GetInfo(handle_, EXIFL_INFO_DATE_BLOCK, nullptr, 0, block.data(),
                         static_cast<unsigned int>(block.size()));
  }
  // The date of these bytes; a code's name where there is none.
  std::string DateOf(const Bytes& bytes) {
    if (const auto error = Set(bytes); error != EXIFL_OK) return ResultName(error);
    Bytes block(EXIFL_DATE_BLOCK_SIZE, 0xEE);
    if (const auto error = Get(block); error != EXIFL_OK) return ResultName(error);
    return {block.begin() + EXIFL_DATE_TEXT_OFFSET, block.begin() + EXIFL_DATE_TEXT_OFFSET + 19};
  }

  EXIFL_HANDLE handle_ = nullptr;
};

Bytes Golden(const std::string& name) {
  return ReadHexFile(SourcePath("tests/golden/exif/" + name + ".hex"));
}

TEST_F(ExifLibrary, TakesDateTimeOriginalInBothByteOrders) {
  EXPECT_EQ("2021:03:02 16:47:36", DateOf(Golden("little_endian")));
  EXPECT_EQ("1999:12:31 23:59:58", DateOf(Golden("big_endian")));
}

TEST_F(ExifLibrary, TakesDateTimeWithoutDateTimeOriginal) {
  EXPECT_EQ("2022:04:05 06:07:08", DateOf(Golden("date_time_only")));
}

TEST_F(ExifLibrary, LetsABlankDatePass) {
  EXPECT_EQ("    :  :     :  :  ", DateOf(Golden("blank_date")));
  EXPECT_EQ(std::string(19, ' '), DateOf(ExifWithDate(std::string(19, ' '))));
}

TEST_F(ExifLibrary, GivesZerosWithoutADate) {
  EXPECT_EQ(kNoDate, DateOf(Golden("no_date")));
  EXPECT_EQ(kNoDate, DateOf(TiffHeader(TiffOrder::kIntel) + TiffDirectory(TiffOrder::kIntel, {})));
}

TEST_F(ExifLibrary, FillsExactlyTheBlockWithZerosAndTheText) {
  ASSERT_OK(Set(Golden("big_endian")));
  Bytes block(EXIFL_DATE_BLOCK_SIZE + 1, 0xEE);
  ASSERT_OK(Get(block));
  EXPECT_EQ(143u, EXIFL_DATE_BLOCK_SIZE);
  EXPECT_EQ(Join({Zeros(67), Text("1999:12:31 23:59:58"), Zeros(143 - 67 - 19), U8(0xEE)}), block);
}

TEST_F(ExifLibrary, ReplacesWhatItHeld) {
  EXPECT_EQ("2021:03:02 16:47:36", DateOf(Golden("little_endian")));
  EXPECT_EQ("1999:12:31 23:59:58", DateOf(Golden("big_endian")));
  EXPECT_EQ(kNoDate, DateOf(Golden("no_date")));
}

TEST_F(ExifLibrary, HoldsNothingBeforeDataAndAfterBytesThatAreNone) {
  Bytes block(EXIFL_DATE_BLOCK_SIZE, 0xEE);
  EXPECT_RESULT(EXIFL_ERR_DATA, Get(block));
  ASSERT_OK(Set(Golden("big_endian")));
  EXPECT_OK(Get(block));
  EXPECT_RESULT(EXIFL_ERR_DATA, Set(Text("no Exif data at all")));
  EXPECT_RESULT(EXIFL_ERR_DATA, Get(block));
  ASSERT_OK(Set(Golden("big_endian")));
  EXPECT_OK(EXIFL_ResetHandle(handle_));
  EXPECT_RESULT(EXIFL_ERR_DATA, Get(block));
}

TEST_F(ExifLibrary, RefusesBytesWithoutATiffHeader) {
  const Bytes good = Golden("little_endian");
  EXPECT_EQ("2021:03:02 16:47:36", DateOf(good));
  for (std::size_t i = 0; i < 4; ++i) {
    Bytes bad = good;
    bad[i] ^= 1;
    EXPECT_RESULT(EXIFL_ERR_DATA, Set(bad)) << i;
  }
  EXPECT_RESULT(EXIFL_ERR_DATA, Set(Text("Exif") + Zeros(2) + good));
}

TEST_F(ExifLibrary, RefusesAFirstDirectoryOutsideTheBlock) {
  for (const TiffOrder order : {TiffOrder::kIntel, TiffOrder::kMotorola}) {
    const auto withFirst = [order](std::uint32_t offset) {
      return TiffHeader(order, offset) + Zeros(8);
    };
    EXPECT_OK(Set(withFirst(8)));
    EXPECT_OK(Set(withFirst(14)));
    for (const std::uint32_t offset : {15u, 16u, 17u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0u, 7u}) {
      EXPECT_RESULT(EXIFL_ERR_DATA, Set(withFirst(offset))) << offset;
    }
  }
}

TEST_F(ExifLibrary, RefusesWrongArguments) {
  const Bytes good = Golden("big_endian");
  const auto size = static_cast<unsigned int>(good.size());
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, EXIFL_CreateHandle(nullptr));
  ASSERT_OK(Set(good));
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, EXIFL_SetExifData(handle_, nullptr, size));
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, EXIFL_SetExifData(handle_, good.data(), 0));
  Bytes block(EXIFL_DATE_BLOCK_SIZE);
  EXPECT_OK(Get(block));  // a wrong argument changed nothing
  Bytes small(EXIFL_DATE_BLOCK_SIZE - 1, 0xEE);
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, Get(small));
  EXPECT_EQ(Bytes(EXIFL_DATE_BLOCK_SIZE - 1, 0xEE), small);
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, EXIFL_GetInfo(handle_, EXIFL_INFO_DATE_BLOCK, nullptr, 0,
                                                  nullptr, EXIFL_DATE_BLOCK_SIZE));
  EXPECT_RESULT(EXIFL_ERR_ARGUMENT, EXIFL_GetInfo(handle_, static_cast<_tagEXIFL_INFO_TYPE>(7),
                                                  nullptr, 0, block.data(), EXIFL_DATE_BLOCK_SIZE));
}

TEST_F(ExifLibrary, IgnoresTheFirstPairOfAQuestion) {
  ASSERT_OK(Set(Golden("big_endian")));
  Bytes block(EXIFL_DATE_BLOCK_SIZE);
  EXPECT_OK(
      EXIFL_GetInfo(handle_, EXIFL_INFO_DATE_BLOCK, "ab", 2, block.data(), EXIFL_DATE_BLOCK_SIZE));
}

TEST(ExifLibraryWithoutHandle, SaysSoBeforeAnythingElse) {
  unsigned int size = 0;
  EXPECT_RESULT(EXIFL_ERR_HANDLE, EXIFL_DestroyHandle(nullptr));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, EXIFL_ResetHandle(nullptr));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, EXIFL_SetExifData(nullptr, nullptr, 0));
  EXPECT_RESULT(EXIFL_ERR_HANDLE,
                EXIFL_GetInfo(nullptr, EXIFL_INFO_DATE_BLOCK, nullptr, 0, nullptr, 0));
  EXPECT_RESULT(EXIFL_ERR_HANDLE,
                EXIFL_SetInfo(nullptr, EXIFL_INFO_DATE_BLOCK, nullptr, 0, nullptr, 0));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, EXIFL_FixParam(nullptr, &size));
  EXPECT_RESULT(EXIFL_ERR_HANDLE, EXIFL_GetExifData(nullptr, nullptr, 0));
}

TEST_F(ExifLibrary, WritesNothing) {
  unsigned int size = 77;
  unsigned char byte = 0xEE;
  EXPECT_RESULT(EXIFL_ERR_NOT_IMPLEMENTED,
                EXIFL_SetInfo(handle_, EXIFL_INFO_DATE_BLOCK, nullptr, 0, &byte, 1));
  EXPECT_RESULT(EXIFL_ERR_NOT_IMPLEMENTED, EXIFL_FixParam(handle_, &size));
  EXPECT_RESULT(EXIFL_ERR_NOT_IMPLEMENTED, EXIFL_GetExifData(handle_, &byte, 1));
  EXPECT_EQ(77u, size);
  EXPECT_EQ(0xEE, byte);
}

// A block whose first directory holds a date of `type` and `count`.
Bytes WithDateTime(TiffOrder order, std::uint16_t type, const Bytes& text) {
  return Join(
      {TiffHeader(order),
       TiffDirectory(order, {{kTiffDateTime, type, static_cast<std::uint32_t>(text.size()), 26}}),
       text});
}

TEST_F(ExifLibrary, TakesNineteenCharactersWithOrWithoutAnEnd) {
  const Bytes date = Text("2021:03:02 16:47:36");
  for (const TiffOrder order : {TiffOrder::kIntel, TiffOrder::kMotorola}) {
    EXPECT_EQ("2021:03:02 16:47:36", DateOf(WithDateTime(order, kTiffText, date + Zeros(1))));
    EXPECT_EQ("2021:03:02 16:47:36", DateOf(WithDateTime(order, kTiffText, date)));
    EXPECT_EQ("2021:03:02 16:47:36", DateOf(WithDateTime(order, kTiffText, date + Text("+01:00"))));
  }
}

TEST_F(ExifLibrary, TakesNothingForADateThatIsTooShortOrNoText) {
  const TiffOrder order = TiffOrder::kMotorola;
  const Bytes date = Text("2021:03:02 16:47:36");
  EXPECT_EQ(kNoDate, DateOf(WithDateTime(order, kTiffText, Slice(date, 0, 18))));
  EXPECT_EQ(kNoDate, DateOf(WithDateTime(order, kTiffText, Slice(date, 0, 18) + Zeros(2))));
  EXPECT_EQ(kNoDate, DateOf(WithDateTime(order, kTiffText, Zeros(20))));
  EXPECT_EQ(kNoDate, DateOf(WithDateTime(order, kTiffOpaque, date)));
}

TEST_F(ExifLibrary, PassesOverADateTimeOriginalThatIsTooShort) {
  const TiffOrder order = TiffOrder::kIntel;
  const auto withOriginal = [](const Bytes& original) {
    return Join({TiffHeader(order),
                 TiffDirectory(order, {{kTiffDateTime, kTiffText, 19, 56},
                                       {kTiffExifDirectory, kTiffNumber, 1, 38}}),
                 TiffDirectory(order, {{kTiffDateTimeOriginal, kTiffText, 19, 75}}),
                 Text("2022:04:05 06:07:08"), original});
  };
  EXPECT_EQ("2021:03:02 16:47:36", DateOf(withOriginal(Text("2021:03:02 16:47:36"))));
  EXPECT_EQ("2022:04:05 06:07:08", DateOf(withOriginal(Text("2021:03:02 16:47:3") + Zeros(1))));
  // One byte short: the value leaves the block.
  EXPECT_EQ("2022:04:05 06:07:08", DateOf(withOriginal(Text("2021:03:02 16:47:3"))));
}

TEST_F(ExifLibrary, TakesTheLastOfSeveralEntriesOfATag) {
  const TiffOrder order = TiffOrder::kMotorola;
  EXPECT_EQ("2022:04:05 06:07:08",
            DateOf(Join({TiffHeader(order),
                         TiffDirectory(order, {{kTiffDateTime, kTiffText, 19, 38},
                                               {kTiffDateTime, kTiffText, 19, 57}}),
                         Text("2021:03:02 16:47:36"), Text("2022:04:05 06:07:08")})));
}

TEST_F(ExifLibrary, LooksForEachDateInItsOwnDirectoryOnly) {
  const TiffOrder order = TiffOrder::kMotorola;
  const Bytes date = Text("2021:03:02 16:47:36");
  EXPECT_EQ(
      kNoDate,
      DateOf(Join({TiffHeader(order),
                   TiffDirectory(order, {{kTiffDateTimeOriginal, kTiffText, 19, 26}}), date})));
  EXPECT_EQ(kNoDate,
            DateOf(Join({TiffHeader(order),
                         TiffDirectory(order, {{kTiffExifDirectory, kTiffNumber, 1, 26}}),
                         TiffDirectory(order, {{kTiffDateTime, kTiffText, 19, 44}}), date})));
}

TEST_F(ExifLibrary, ReadsTheWholeEntriesOfADirectoryThatClaimsMore) {
  Bytes bytes = WithDateTime(TiffOrder::kMotorola, kTiffText, Text("2021:03:02 16:47:36"));
  EXPECT_EQ("2021:03:02 16:47:36", DateOf(bytes));
  bytes[8] = 0xFF;
  bytes[9] = 0xFF;
  EXPECT_EQ("2021:03:02 16:47:36", DateOf(bytes));
}

TEST_F(ExifLibrary, SurvivesEveryTruncation) {
  for (const char* name : {"little_endian", "big_endian", "date_time_only", "blank_date"}) {
    const Bytes whole = Golden(name);
    for (std::size_t size = 1; size < whole.size(); ++size) {
      const std::string answer = DateOf(Slice(whole, 0, size));
      if (size < 10) {
        EXPECT_EQ("0x8000000B", answer) << name << ' ' << size;
      } else {
        EXPECT_EQ(19u, answer.size()) << name << ' ' << size;
      }
    }
  }
}

TEST_F(ExifLibrary, SurvivesEveryDamagedByte) {
  for (const char* name : {"little_endian", "big_endian", "date_time_only", "blank_date"}) {
    const Bytes whole = Golden(name);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      for (const unsigned char value : Hex("00 01 7F 80 FF")) {
        Bytes damaged = whole;
        damaged[i] = value;
        const std::string answer = DateOf(damaged);
        EXPECT_TRUE(answer.size() == 19 || answer == "0x8000000B") << name << ' ' << i;
      }
    }
  }
}

TEST_F(ExifLibrary, SurvivesRandomBytesBehindAHeader) {
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    Bytes bytes = TiffHeader(i % 2 == 0 ? TiffOrder::kIntel : TiffOrder::kMotorola);
    bytes.resize(10 + random() % 300);
    for (std::size_t at = 8; at < bytes.size(); ++at)
      bytes[at] = static_cast<unsigned char>(random());
    EXPECT_EQ(19u, DateOf(bytes).size()) << i;
  }
}

// Fills a JPEG segment with one directory of entries made by `entry(index)`.
template <class MakeEntry>
Bytes Bomb(MakeEntry entry) {
  std::vector<TiffEntry> entries;
  for (unsigned int i = 0; i < 5400; ++i) entries.push_back(entry(i));
  Bytes bytes = TiffHeader(TiffOrder::kIntel) + TiffDirectory(TiffOrder::kIntel, entries);
  bytes.resize(65520, 'x');
  return bytes;
}

class ExifBomb : public ExifLibrary {
 protected:
  void ExpectQuickAndWithoutDate(const Bytes& bytes) {
    EXPECT_GT(1, support::ProcessorSeconds([&] { EXPECT_EQ(kNoDate, DateOf(bytes)); }));
  }
};

TEST_F(ExifBomb, OfDirectoriesThatPointAtThemselves) {
  ExpectQuickAndWithoutDate(Bomb([](unsigned int i) {
    static constexpr std::uint16_t kPointers[] = {kTiffExifDirectory, 0x8825, 0xA005};
    return TiffEntry{kPointers[i % 3], kTiffNumber, 1, 8};
  }));
}

TEST_F(ExifBomb, OfValuesThatAllShareOneLargePlace) {
  ExpectQuickAndWithoutDate(Bomb([](unsigned int i) {
    return TiffEntry{static_cast<std::uint16_t>(0x0100 + i), kTiffOpaque, 60000, 0};
  }));
  ExpectQuickAndWithoutDate(Bomb([](unsigned int) {
    return TiffEntry{kTiffDateTime, kTiffText, 60000, 0};
  }));
}

TEST_F(ExifBomb, OfHugeCounts) {
  ExpectQuickAndWithoutDate(Bomb([](unsigned int) {
    return TiffEntry{kTiffDateTime, 5, 0xFFFFFFFF, 26};
  }));
}

TEST_F(ExifLibrary, LooksAtNothingBehindAJpegSegment) {
  const TiffOrder order = TiffOrder::kMotorola;
  const auto withDirectoryAt = [](std::uint32_t offset) {
    Bytes bytes = TiffHeader(order, offset);
    bytes.resize(offset);
    bytes = bytes + TiffDirectory(order, {{kTiffDateTime, kTiffText, 19, 8}});
    bytes.resize(200000);
    const Bytes date = Text("2021:03:02 16:47:36");
    std::copy(date.begin(), date.end(), bytes.begin() + 8);
    return bytes;
  };
  // The longest segment has room for 65,528 bytes behind "Exif" and its two zeros.
  EXPECT_EQ("2021:03:02 16:47:36", DateOf(withDirectoryAt(65528 - 14)));
  EXPECT_EQ(kNoDate, DateOf(withDirectoryAt(65528 - 13)));
  EXPECT_RESULT(EXIFL_ERR_DATA, Set(withDirectoryAt(65528)));
}

TEST_F(ExifLibrary, PrintsNothing) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Bytes damaged = Golden("little_endian");
  std::fill(damaged.begin() + 20, damaged.end(), static_cast<unsigned char>(0xFF));
  EXPECT_EQ(kNoDate, DateOf(damaged));
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

// The dates that an independent reader found: file name, DateTimeOriginal and DateTime.
struct ManifestRow {
  std::string file, kind, original, dateTime;
};

std::vector<ManifestRow> ReadManifest(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  std::vector<ManifestRow> rows;
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    ManifestRow row;
    std::string order, digitized;
    std::getline(fields, row.file, '\t');
    std::getline(fields, row.kind, '\t');
    std::getline(fields, order, '\t');
    std::getline(fields, row.original, '\t');
    std::getline(fields, digitized, '\t');
    std::getline(fields, row.dateTime, '\t');
    rows.push_back(row);
  }
  return rows;
}

TEST_F(ExifLibrary, AgreesWithAnIndependentReaderOnRealFiles) {
  if (RealMedia().empty()) GTEST_SKIP() << "no folder of real media beside the checkout";
  const std::vector<ManifestRow> rows = ReadManifest(RealMedia() / "jpeg_manifest.tsv");
  ASSERT_FALSE(rows.empty());
  int dated = 0;
  for (const ManifestRow& row : rows) {
    const Bytes jpeg = ReadFile(RealMedia() / "jpeg" / row.file);
    const std::string marker("Exif\0\0", 6);
    const auto found = std::search(jpeg.begin(), jpeg.end(), marker.begin(), marker.end());
    if (found == jpeg.end()) {
      EXPECT_EQ("no Exif", row.kind) << row.file;
      continue;
    }
    const std::string expected = row.original != "-" ? row.original : row.dateTime;
    const std::string answer = DateOf(Bytes(found + 6, jpeg.end()));
    if (expected == "-") {
      EXPECT_TRUE(answer == kNoDate || answer == "0x8000000B") << row.file << ' ' << answer;
    } else {
      EXPECT_EQ(expected, answer) << row.file;
      ++dated;
    }
  }
  EXPECT_GT(dated, 20);
}

}  // namespace
