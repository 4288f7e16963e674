#include "clip/exif_library.h"

#include <libexif/exif-data.h>
#include <libexif/exif-utils.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct EXIFL_Handle {
  std::optional<std::string> date;  // nothing while the handle holds no data
};

namespace {

constexpr char kSegmentName[] = {'E', 'x', 'i', 'f', 0, 0};
constexpr std::size_t kLargestSegment = 0xFFFE;

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kCountSize = 2;
constexpr std::size_t kValueInEntry = 8;
constexpr std::size_t kPointerSize = 4;

constexpr char kNoDate[] = "0000:00:00 00:00:00";
constexpr std::size_t kDateLength = sizeof kNoDate - 1;

bool IsDirectory(std::size_t offset, std::size_t tiffSize) {
  return offset >= kHeaderSize && offset <= tiffSize && tiffSize - offset >= kCountSize;
}

// How many of so many bytes count.
std::size_t WithinSegment(std::size_t size) {
  return std::min(size, kLargestSegment - sizeof kSegmentName);
}

struct TiffHeader {
  ExifByteOrder order;
  std::size_t directory;  // where the first one is
};

// Nothing where there is no TIFF header, or the first directory lies outside.
std::optional<TiffHeader> ReadHeader(const unsigned char* tiff, std::size_t size) {
  if (size < kHeaderSize) return std::nullopt;
  TiffHeader header{EXIF_BYTE_ORDER_INTEL, 0};
  if (std::memcmp(tiff, "MM\0*", 4) == 0) {
    header.order = EXIF_BYTE_ORDER_MOTOROLA;
  } else if (std::memcmp(tiff, "II*\0", 4) != 0) {
    return std::nullopt;
  }
  header.directory = exif_get_long(tiff + 4, header.order);
  if (!IsDirectory(header.directory, size)) return std::nullopt;
  return header;
}

// A copy of Exif data as libexif wants it, cut down to what a date needs. libexif would follow
// every directory, thumbnail and maker note, and a block of 64 KiB whose directories point at each
// other keeps it busy for minutes.
class DateBlock {
 public:
  DateBlock(const unsigned char* tiff, std::size_t size)
      : bytes_(std::begin(kSegmentName), std::end(kSegmentName)) {
    bytes_.insert(bytes_.end(), tiff, tiff + WithinSegment(size));
  }

  // Reads the TIFF header. False: there is none, or the first directory lies outside.
  bool FindDirectory() {
    const std::optional<TiffHeader> header =
        ReadHeader(bytes_.data() + sizeof kSegmentName, TiffSize());
    if (!header) return false;
    order_ = header->order;
    directory_ = header->directory;
    return true;
  }

  // Takes out of the directories all that is not needed.
  void KeepDates() {
    const Entries kept = KeepEntries(directory_, {EXIF_TAG_DATE_TIME, EXIF_TAG_EXIF_IFD_POINTER});
    const auto pointer = kept.find(EXIF_TAG_EXIF_IFD_POINTER);
    if (pointer == kept.end()) return;
    const std::size_t exifDirectory = exif_get_long(&pointer->second[kValueInEntry], order_);
    if (IsDirectory(exifDirectory, TiffSize()))
      KeepEntries(exifDirectory, {EXIF_TAG_DATE_TIME_ORIGINAL});
  }

  const std::vector<unsigned char>& bytes() const { return bytes_; }

 private:
  using Entry = std::array<unsigned char, 12>;
  using Entries = std::map<int, Entry>;

  std::size_t TiffSize() const { return bytes_.size() - sizeof kSegmentName; }
  unsigned char* Tiff(std::size_t offset) { return &bytes_[sizeof kSegmentName + offset]; }

  // Leaves of a directory the last entry of each of these tags, and no directory behind it.
  Entries KeepEntries(std::size_t directory, std::initializer_list<int> tags) {
    Entries kept;
    std::size_t at = directory + kCountSize;
    for (unsigned int rest = exif_get_short(Tiff(directory), order_);
         rest != 0 && TiffSize() - at >= sizeof(Entry); --rest, at += sizeof(Entry)) {
      const int tag = exif_get_short(Tiff(at), order_);
      if (std::find(tags.begin(), tags.end(), tag) == tags.end()) continue;
      std::memcpy(kept[tag].data(), Tiff(at), sizeof(Entry));
    }
    exif_set_short(Tiff(directory), order_, static_cast<ExifShort>(kept.size()));
    at = directory + kCountSize;
    for (const auto& [tag, entry] : kept) {
      std::memcpy(Tiff(at), entry.data(), sizeof(Entry));
      at += sizeof(Entry);
    }
    if (TiffSize() - at >= kPointerSize) exif_set_long(Tiff(at), order_, 0);
    return kept;
  }

  std::vector<unsigned char> bytes_;
  ExifByteOrder order_ = EXIF_BYTE_ORDER_INTEL;
  std::size_t directory_ = 0;
};

using ExifDataPtr = std::unique_ptr<ExifData, decltype(&exif_data_unref)>;

// The date text of an entry; nothing if it is missing or too short to be one.
std::optional<std::string> DateOf(ExifData& data, ExifIfd directory, ExifTag tag) {
  const ExifEntry* entry = exif_content_get_entry(data.ifd[directory], tag);
  if (entry == nullptr || entry->format != EXIF_FORMAT_ASCII) return std::nullopt;
  const char* text = reinterpret_cast<const char*>(entry->data);
  if (entry->size < kDateLength || std::memchr(text, 0, kDateLength) != nullptr) {
    return std::nullopt;
  }
  return std::string(text, kDateLength);
}

std::string DateOf(ExifData& data) {
  if (const auto date = DateOf(data, EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL)) return *date;
  return DateOf(data, EXIF_IFD_0, EXIF_TAG_DATE_TIME).value_or(kNoDate);
}

}  // namespace

_tagEXIFL_ERR EXIFL_CreateHandle(EXIFL_HANDLE* handle) {
  if (handle == nullptr) return EXIFL_ERR_ARGUMENT;
  *handle = std::make_unique<EXIFL_Handle>().release();
  return EXIFL_OK;
}

_tagEXIFL_ERR EXIFL_DestroyHandle(EXIFL_HANDLE handle) {
  if (handle == nullptr) return EXIFL_ERR_HANDLE;
  const std::unique_ptr<EXIFL_Handle> owned(handle);
  return EXIFL_OK;
}

_tagEXIFL_ERR EXIFL_ResetHandle(EXIFL_HANDLE handle) {
  if (handle == nullptr) return EXIFL_ERR_HANDLE;
  handle->date.reset();
  return EXIFL_OK;
}

_tagEXIFL_ERR EXIFL_SetExifData(EXIFL_HANDLE handle, const unsigned char* bytes,
                                unsigned int size) {
  if (handle == nullptr) return EXIFL_ERR_HANDLE;
  if (bytes == nullptr || size == 0) return EXIFL_ERR_ARGUMENT;
  handle->date.reset();
  DateBlock block(bytes, size);
  if (!block.FindDirectory()) return EXIFL_ERR_DATA;
  block.KeepDates();

  const ExifDataPtr data(exif_data_new(), exif_data_unref);
  if (data == nullptr) return EXIFL_ERR_MEMORY;
  // To follow the standard means, for libexif, to invent entries that it finds missing.
  exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
  exif_data_load_data(data.get(), block.bytes().data(),
                      static_cast<unsigned int>(block.bytes().size()));
  handle->date = DateOf(*data);
  return EXIFL_OK;
}

_tagEXIFL_ERR EXIFL_CheckExifData(const unsigned char* bytes, unsigned int size) {
  if (bytes == nullptr || size == 0) return EXIFL_ERR_ARGUMENT;
  return ReadHeader(bytes, WithinSegment(size)) ? EXIFL_OK : EXIFL_ERR_DATA;
}

_tagEXIFL_ERR EXIFL_GetInfo(EXIFL_HANDLE handle, _tagEXIFL_INFO_TYPE type, const void*,
                            unsigned int, void* buffer, unsigned int bufferSize) {
  if (handle == nullptr) return EXIFL_ERR_HANDLE;
  if (type != EXIFL_INFO_DATE_BLOCK || buffer == nullptr || bufferSize < EXIFL_DATE_BLOCK_SIZE) {
    return EXIFL_ERR_ARGUMENT;
  }
  if (!handle->date) return EXIFL_ERR_DATA;
  unsigned char block[EXIFL_DATE_BLOCK_SIZE] = {};
  std::memcpy(&block[EXIFL_DATE_TEXT_OFFSET], handle->date->data(), kDateLength);
  std::memcpy(buffer, block, sizeof block);
  return EXIFL_OK;
}

_tagEXIFL_ERR EXIFL_SetInfo(EXIFL_HANDLE handle, _tagEXIFL_INFO_TYPE, const void*, unsigned int,
                            const void*, unsigned int) {
  return handle == nullptr ? EXIFL_ERR_HANDLE : EXIFL_ERR_NOT_IMPLEMENTED;
}

_tagEXIFL_ERR EXIFL_FixParam(EXIFL_HANDLE handle, unsigned int*) {
  return handle == nullptr ? EXIFL_ERR_HANDLE : EXIFL_ERR_NOT_IMPLEMENTED;
}

_tagEXIFL_ERR EXIFL_GetExifData(EXIFL_HANDLE handle, unsigned char*, unsigned int) {
  return handle == nullptr ? EXIFL_ERR_HANDLE : EXIFL_ERR_NOT_IMPLEMENTED;
}
