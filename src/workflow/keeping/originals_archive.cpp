#include "workflow/keeping/originals_archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "workflow/system/system_error.h"
#include "workflow/system/text_file.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr std::size_t kBlock = 256 * 1024;
// Of a recording of some hundred thousand fragments.
constexpr Number kLargestContents = Number{32} << 20;
// How many times as large a table of contents may be as what it was compressed to, from a size on.
constexpr Number kMostTimes = 64;
constexpr Number kSmallContents = Number{1} << 20;
constexpr int kHashDigits = 32;

// A frame that decompressors of zstd pass over (RFC 8878, clause 3.1.2): its number and the size of
// what follows, both little-endian.
constexpr unsigned char kSealHead[] = {0x5C, 0x2A, 0x4D, 0x18, 48, 0, 0, 0};
// Ahead of the digits.
constexpr std::string_view kSealMark = "clipchain xxh128";
constexpr std::size_t kSealSize = sizeof kSealHead + kSealMark.size() + kHashDigits;

std::string SealOf(const std::string& hash) {
  std::string seal(reinterpret_cast<const char*>(kSealHead), sizeof kSealHead);
  return seal.append(kSealMark).append(hash);
}

// Where libarchive writes to.
struct Sink {
  int file;
  ContentHash hash;
  std::error_code error{};
};

la_ssize_t WriteTo(archive* writer, void* data, const void* bytes, std::size_t size) {
  Sink& sink = *static_cast<Sink*>(data);
  sink.error = WriteText(sink.file, {static_cast<const char*>(bytes), size});
  if (sink.error) {
    archive_set_error(writer, sink.error.value(), "write");
    return -1;
  }
  sink.hash.Update(bytes, size);
  return static_cast<la_ssize_t>(size);
}

struct FreeWriter {
  void operator()(archive* writer) const { archive_write_free(writer); }
};
struct FreeEntry {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

class Writer {
 public:
  explicit Writer(int file) : sink_{file, ContentHash()}, archive_(archive_write_new()) {}

  std::error_code Write(const Originals& originals, const KeptSource& source) {
    if (archive_ == nullptr) return SystemError(ENOMEM);
    const std::string text = OriginalsText(originals);
    if (!Open() || !Put(kContentsName, text.size(), {}) || !Data(text.data(), text.size()))
      return Error();
    std::vector<char> block(kBlock);
    for (std::size_t clip = 0; clip < originals.clips.size(); ++clip) {
      const OriginalClip& original = originals.clips[clip];
      if (!Put(original.name, original.KeptBytes(), original.modified)) return Error();
      for (Number left = original.KeptBytes(); left != 0;) {
        const std::size_t got = source(clip, block.data(), std::min<Number>(left, kBlock));
        // The source keeps its own reason, which its owner asks for.
        if (got == 0) return SystemError(EIO);
        if (!Data(block.data(), got)) return Error();
        left -= got;
      }
    }
    if (archive_write_close(archive_.get()) != ARCHIVE_OK) return Error();
    return WriteText(sink_.file, SealOf(sink_.hash.Value().xxh128));
  }

 private:
  bool Open() {
    archive* const writer = archive_.get();
    // Names are bytes, which no locale may change or refuse; and nothing pads a block as for tapes.
    return archive_write_set_format_pax(writer) == ARCHIVE_OK &&
           archive_write_set_format_option(writer, "pax", "hdrcharset", "BINARY") == ARCHIVE_OK &&
           archive_write_add_filter_zstd(writer) == ARCHIVE_OK &&
           archive_write_set_bytes_in_last_block(writer, 1) == ARCHIVE_OK &&
           archive_write_open(writer, &sink_, nullptr, WriteTo, nullptr) == ARCHIVE_OK;
  }

  bool Put(std::string_view name, Number size, const timespec& modified) {
    const std::unique_ptr<archive_entry, FreeEntry> entry(archive_entry_new2(archive_.get()));
    if (entry == nullptr) return false;
    archive_entry_set_pathname(entry.get(), std::string(name).c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), 0644);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
    archive_entry_set_mtime(entry.get(), modified.tv_sec, modified.tv_nsec);
    return archive_write_header(archive_.get(), entry.get()) == ARCHIVE_OK;
  }

  bool Data(const char* bytes, std::size_t size) {
    while (size != 0) {
      const la_ssize_t went = archive_write_data(archive_.get(), bytes, size);
      if (went <= 0) return false;
      bytes += went;
      size -= static_cast<std::size_t>(went);
    }
    return true;
  }

  std::error_code Error() const {
    if (sink_.error) return sink_.error;
    const int error = archive_errno(archive_.get());
    return SystemError(error > 0 ? error : EIO);
  }

  Sink sink_;
  std::unique_ptr<archive, FreeWriter> archive_;
};

}  // namespace

std::error_code WriteOriginals(const Originals& originals, const KeptSource& source, int file) {
  return Writer(file).Write(originals, source);
}

// Where libarchive reads from.
struct OriginalsReader::Stream {
  FileBytes& file;
  // Of the compressed data.
  Number end;
  Number at = 0;
  std::vector<char> block = std::vector<char>(kBlock);

  static la_ssize_t Read(archive* reader, void* data, const void** bytes) {
    Stream& stream = *static_cast<Stream*>(data);
    const auto size = static_cast<std::size_t>(std::min<Number>(kBlock, stream.end - stream.at));
    if (size == 0) return 0;
    if (!stream.file.Read(stream.at, stream.block.data(), size)) {
      archive_set_error(reader, EIO, "read");
      return -1;
    }
    stream.at += size;
    *bytes = stream.block.data();
    return static_cast<la_ssize_t>(size);
  }
};

void OriginalsReader::Free::operator()(archive* reader) const { archive_read_free(reader); }

OriginalsReader::OriginalsReader() = default;
OriginalsReader::~OriginalsReader() = default;

Reason OriginalsReader::CheckSeal(FileBytes& file) {
  constexpr const char* kUnread = "can't be read";
  const Number size = file.Size();
  if (file.error()) return kUnread;
  if (size <= kSealSize) return "is no archive of originals";
  const Number end = size - kSealSize;
  ContentHash hash;
  std::vector<char> block(kBlock);
  for (Number at = 0; at < end;) {
    const auto part = static_cast<std::size_t>(std::min<Number>(kBlock, end - at));
    if (!file.Read(at, block.data(), part)) return kUnread;
    hash.Update(block.data(), part);
    at += part;
  }
  std::string seal(kSealSize, '\0');
  if (!file.Read(end, seal.data(), seal.size())) return kUnread;
  if (seal != SealOf(hash.Value().xxh128)) {
    return seal.find(kSealMark) == sizeof kSealHead
               ? "is damaged: its bytes are not those of its hash"
               : "is no archive of originals, or is cut off";
  }
  hash.Update(seal.data(), seal.size());
  fileHash_ = hash.Value().xxh128;
  return std::nullopt;
}

Reason OriginalsReader::Open(FileBytes& file) {
  if (Reason why = CheckSeal(file)) return why;
  stream_ = std::make_unique<Stream>(Stream{file, file.Size() - kSealSize});
  archive_.reset(archive_read_new());
  archive* const reader = archive_.get();
  if (reader == nullptr) throw std::bad_alloc();
  constexpr const char* kNoArchive = "is no archive of originals";
  if (archive_read_support_filter_zstd(reader) != ARCHIVE_OK ||
      archive_read_support_format_tar(reader) != ARCHIVE_OK ||
      archive_read_open(reader, stream_.get(), nullptr, Stream::Read, nullptr) != ARCHIVE_OK)
    return kNoArchive;
  archive_entry* entry = nullptr;
  if (archive_read_next_header(reader, &entry) != ARCHIVE_OK) return kNoArchive;
  if (archive_filter_code(reader, 0) != ARCHIVE_FILTER_ZSTD) return kNoArchive;
  const char* const name = archive_entry_pathname(entry);
  const la_int64_t size = archive_entry_size(entry);
  if (name == nullptr || name != kContentsName || archive_entry_filetype(entry) != AE_IFREG ||
      archive_entry_size_is_set(entry) == 0)
    return kNoArchive;
  const Number most = std::min(kLargestContents, kSmallContents + kMostTimes * file.Size());
  if (size < 0 || static_cast<Number>(size) > most)
    return "has a table of contents that is too large";
  std::string text;
  for (std::vector<char> block(kBlock); text.size() < static_cast<std::size_t>(size);) {
    const la_ssize_t got = archive_read_data(reader, block.data(), block.size());
    if (got <= 0) return "has a table of contents that is cut off";
    text.append(block.data(), static_cast<std::size_t>(got));
  }
  return ReadOriginals(text, contents_);
}

Reason OriginalsReader::OpenEntry(const std::string& name, Number size) {
  archive_entry* entry = nullptr;
  if (archive_read_next_header(archive_.get(), &entry) != ARCHIVE_OK)
    return "is damaged: the entry of a clip can't be read";
  const char* const found = archive_entry_pathname(entry);
  // An archive that was made to do so must not write outside of its folder.
  if (found == nullptr || !IsFileName(found))
    return "has an entry of a name that no single file can have";
  if (found != name) return "has another entry than its table of contents says";
  if (archive_entry_filetype(entry) != AE_IFREG || archive_entry_hardlink(entry) != nullptr ||
      archive_entry_sparse_count(entry) != 0)
    return "has an entry that is no plain file";
  if (archive_entry_size_is_set(entry) == 0 ||
      static_cast<Number>(archive_entry_size(entry)) != size)
    return "has an entry of another size than its table of contents says";
  return std::nullopt;
}

Reason OriginalsReader::NextClip() {
  const OriginalClip& clip = contents_.clips.at(next_++);
  return OpenEntry(clip.name, clip.KeptBytes());
}

Reason OriginalsReader::Read(void* buffer, std::size_t size) {
  auto* out = static_cast<char*>(buffer);
  while (size != 0) {
    const la_ssize_t got = archive_read_data(archive_.get(), out, size);
    if (got <= 0) return "is damaged: the bytes of a clip can't be read";
    out += got;
    size -= static_cast<std::size_t>(got);
  }
  return std::nullopt;
}

Reason OriginalsReader::AtEnd() {
  archive_entry* entry = nullptr;
  if (archive_read_next_header(archive_.get(), &entry) != ARCHIVE_EOF)
    return "has something behind its last clip";
  return std::nullopt;
}

}  // namespace clipchain
