// The layer that reads Exif data (Exif 2.32, clause 4.6), a flat set of functions. It reads dates
// and writes nothing, and it is the one place that knows the library underneath.
#pragma once

#include <cstdint>

// What every function answers: 0, or one of the codes below.
using _tagEXIFL_ERR = std::int32_t;

inline constexpr _tagEXIFL_ERR EXIFL_OK = 0;
inline constexpr _tagEXIFL_ERR EXIFL_ERR_HANDLE = static_cast<_tagEXIFL_ERR>(0x80000003u);
inline constexpr _tagEXIFL_ERR EXIFL_ERR_ARGUMENT = static_cast<_tagEXIFL_ERR>(0x80000004u);
inline constexpr _tagEXIFL_ERR EXIFL_ERR_MEMORY = static_cast<_tagEXIFL_ERR>(0x80000005u);
inline constexpr _tagEXIFL_ERR EXIFL_ERR_NOT_IMPLEMENTED = static_cast<_tagEXIFL_ERR>(0x80000007u);
inline constexpr _tagEXIFL_ERR EXIFL_ERR_DATA = static_cast<_tagEXIFL_ERR>(0x8000000Bu);

// The blocks of information that can be asked for.
enum _tagEXIFL_INFO_TYPE : std::int32_t {
  // The date of the recording: EXIFL_DATE_BLOCK_SIZE bytes, all zero but for the text
  // "YYYY:MM:DD HH:MM:SS" at EXIFL_DATE_TEXT_OFFSET, terminated.
  EXIFL_INFO_DATE_BLOCK = 8,
};

inline constexpr unsigned int EXIFL_DATE_BLOCK_SIZE = 143;
inline constexpr unsigned int EXIFL_DATE_TEXT_OFFSET = 67;

// Holds one block of Exif data at a time.
struct EXIFL_Handle;
using EXIFL_HANDLE = EXIFL_Handle*;

// A null handle is EXIFL_ERR_HANDLE in each function that takes one, before anything else.

// The new handle belongs to the caller. EXIFL_ERR_ARGUMENT for null.
[[nodiscard]] _tagEXIFL_ERR EXIFL_CreateHandle(EXIFL_HANDLE* handle);
[[nodiscard]] _tagEXIFL_ERR EXIFL_DestroyHandle(EXIFL_HANDLE handle);
// Forgets the data.
[[nodiscard]] _tagEXIFL_ERR EXIFL_ResetHandle(EXIFL_HANDLE handle);

// Takes Exif data, from the TIFF header on, in place of what the handle held; the bytes are not
// needed afterwards. Nothing behind the 64 KiB of a JPEG segment is looked at. EXIFL_ERR_ARGUMENT
// for null or no bytes. EXIFL_ERR_DATA: there is no TIFF header with a directory inside the block.
// Damage behind that is no failure, it only hides what it touches.
[[nodiscard]] _tagEXIFL_ERR EXIFL_SetExifData(EXIFL_HANDLE handle, const unsigned char* bytes,
                                              unsigned int size);

// Answers as EXIFL_SetExifData does for those bytes, and takes nothing. The time does not depend on
// their number.
[[nodiscard]] _tagEXIFL_ERR EXIFL_CheckExifData(const unsigned char* bytes, unsigned int size);

// Fills `buffer` with the block of that type. The date is that of DateTimeOriginal, or else of
// DateTime, as it stands, blanks and all; of several under one tag the last counts, and one of less
// than 19 characters does not. Without a date the text is "0000:00:00 00:00:00". The first pair
// selects nothing. EXIFL_ERR_DATA: the handle holds no data. EXIFL_ERR_ARGUMENT: another type,
// or a buffer that is null or too small.
[[nodiscard]] _tagEXIFL_ERR EXIFL_GetInfo(EXIFL_HANDLE handle, _tagEXIFL_INFO_TYPE type,
                                          const void* first, unsigned int firstSize, void* buffer,
                                          unsigned int bufferSize);

// What would change or write data: EXIFL_ERR_NOT_IMPLEMENTED.
[[nodiscard]] _tagEXIFL_ERR EXIFL_SetInfo(EXIFL_HANDLE handle, _tagEXIFL_INFO_TYPE type,
                                          const void* first, unsigned int firstSize,
                                          const void* second, unsigned int secondSize);
[[nodiscard]] _tagEXIFL_ERR EXIFL_FixParam(EXIFL_HANDLE handle, unsigned int* size);
[[nodiscard]] _tagEXIFL_ERR EXIFL_GetExifData(EXIFL_HANDLE handle, unsigned char* buffer,
                                              unsigned int size);
