#include "workflow/keep_originals.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <utility>

#include "workflow/assembling/merge_image.h"
#include "workflow/keeping/checksum_file.h"
#include "workflow/keeping/clip_hashes.h"
#include "workflow/keeping/kept_bytes.h"
#include "workflow/system/files.h"
#include "workflow/system/open_file.h"
#include "workflow/system/part_file.h"
#include "workflow/system/part_name.h"
#include "workflow/system/system_error.h"
#include "workflow/system/text_file.h"

namespace clipchain {

namespace {

// One file beside the output, from its hidden beginning to its name.
class BesideFile {
 public:
  explicit BesideFile(std::string path) : path_(std::move(path)) {}
  // Of a merge that was not completed nothing stays.
  ~BesideFile() { Withdraw(); }
  BesideFile(const BesideFile&) = delete;
  BesideFile& operator=(const BesideFile&) = delete;

  const std::string& path() const { return path_; }
  int descriptor() const { return part_.descriptor(); }

  Findings Create() { return Unwritable(part_.Create(path_)); }
  Findings Unwritable(const std::error_code& error) const {
    if (!error) return {};
    return {MakeFinding(Message::kOutputUnwritable, path_, "can't be written: " + ErrorText(error),
                        "make room, or choose another folder")};
  }
  Findings FlushNow() const {
    const std::error_code error = Flush(part_.descriptor());
    if (!error) return {};
    return {MakeFinding(Message::kOutputUnflushed, path_,
                        "is lost: the disk did not take all that was written",
                        "check the disk, or choose another one")};
  }

  Findings Publish(bool overwrite) {
    // Exchanged, not replaced: a merge that fails later gives back what had the name.
    swapped_ = overwrite && Exists(path_) && !part_.Exchange();
    const std::error_code error = swapped_ ? std::error_code() : part_.Publish(overwrite);
    named_ = !error;
    if (named_) return {};
    if (error == std::errc::file_exists)
      return {MakeFinding(Message::kOutputExists, path_, "exists already",
                          "choose another name, or let --overwrite replace it")};
    return {MakeFinding(Message::kOutputUnnamed, path_, "can't get its name: " + ErrorText(error),
                        "choose another folder")};
  }
  void Withdraw() {
    if (swapped_) {
      // Why the merge failed is told already, and to be told of this too would help nobody.
      [[maybe_unused]] const std::error_code unreported = part_.Exchange();
    } else if (named_) {
      ::unlink(path_.c_str());
    }
    named_ = swapped_ = false;
  }
  void Complete() {
    named_ = swapped_ = false;
    [[maybe_unused]] const std::error_code unreported = part_.Discard();
  }

 private:
  std::string path_;
  PartFile part_;
  bool named_ = false;
  // What had the name is hidden now.
  bool swapped_ = false;
};

Findings Unhashed(const std::string& path) {
  return {MakeFinding(Message::kResultDamaged, path, "can't be read to make its checksum",
                      "write to another disk, or check this one")};
}

class Keeper final : public Companion {
 public:
  explicit Keeper(const KeepOptions& options) : options_(options) {}

  std::vector<std::string> Paths(const std::string& output) const override {
    std::vector<std::string> paths;
    if (options_.originals) paths.push_back(output + std::string(kOriginalsSuffix));
    if (options_.checksums) paths.push_back(output + std::string(kChecksumsSuffix));
    return paths;
  }

  void Start(const std::vector<std::string>& clips) override {
    if (options_.originals) hashes_ = std::make_unique<ClipHashes>(clips, options_.sha256);
  }
  void See(std::size_t clip, unsigned long long position,
           std::span<const unsigned char> bytes) override {
    if (hashes_ != nullptr) hashes_->See(clip, position, bytes);
  }

  Findings Prepare(const std::vector<std::string>& clips, const FitOptions& options,
                   const std::string& output, int file, const Progress& progress) override;
  Findings Publish(bool overwrite) override;
  void Withdraw() override {
    for (auto* beside : {&archive_, &checksums_}) {
      if (*beside) (*beside)->Withdraw();
    }
  }
  void Complete() override {
    for (auto* beside : {&archive_, &checksums_}) {
      if (*beside) (*beside)->Complete();
    }
  }

  // What is beside the output already is compared, and what is not is prepared.
  Findings Agree(const std::vector<std::string>& clips, const FitOptions& options,
                 const std::string& output, int file, const Progress& progress);

 private:
  Findings Describe(const std::vector<std::string>& clips, const FitOptions& options,
                    const std::string& output, FileBytes& result);
  Findings AddClip(const std::string& path, const MergeImage& image);
  Findings WriteArchive(const std::vector<std::string>& clips, const std::string& output);
  Findings WriteChecksums(const std::string& output, int file, const Progress& progress);
  Findings HashArchive(FileBytes& archive, const std::string& path);
  Findings SumsOf(const std::string& output, int file, const Progress& progress,
                  std::vector<Checksum>& sums);
  Findings CompareChecksums(const std::string& output, int file, const Progress& progress);

  const KeepOptions options_;
  std::unique_ptr<ClipHashes> hashes_;
  Originals originals_;
  std::optional<std::string> archiveHash_;
  std::optional<BesideFile> archive_;
  std::optional<BesideFile> checksums_;
};

Findings Keeper::AddClip(const std::string& path, const MergeImage& image) {
  const std::size_t index = originals_.clips.size();
  const Findings unreadable{MakeFinding(Message::kInputUnreadable, path,
                                        "can't be read again to keep what is not merged",
                                        "copy the clip again from the card")};
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return unreadable;
  OriginalClip clip;
  // For people who look for the card; nothing is found by it.
  clip.place = std::filesystem::absolute(path).string();
  clip.size = static_cast<unsigned long long>(status.st_size);
  clip.modified = status.st_mtim;
  clip.recipe = RecipeFor(image, index, clip.size);
  if (!hashes_->Finish(index, clip.hashes)) return unreadable;
  originals_.clips.push_back(std::move(clip));
  return {};
}

// All that the archive will say.
Findings Keeper::Describe(const std::vector<std::string>& clips, const FitOptions& options,
                          const std::string& output, FileBytes& result) {
  const std::vector<std::string> names = NamesFor(clips);
  for (std::size_t clip = 0; clip < clips.size(); ++clip) {
    if (!IsFileName(names[clip]))
      return {MakeFinding(Message::kInputRefused, clips[clip],
                          "has a name that a file can't have everywhere, so that it could not be "
                          "made again",
                          "merge a copy of it of another name, or leave --originals out")};
  }
  const auto damaged = [&output](std::string text) {
    return Findings{MakeFinding(Message::kResultDamaged, output, std::move(text),
                                "write to another disk, or check this one")};
  };
  TopLevel boxes;
  if (const Reason wrong = boxes.Read(result)) return damaged(*wrong);
  // Made anew from the clips, not handed over by the merge: an archive of what was meant would
  // agree with any mistake.
  MergeImage image;
  if (Findings faults = MakeMergeImage(clips, options, boxes.layout, image); !faults.empty())
    return faults;
  // A recipe names places in the result: it must be the file that the image says.
  if (image.size != result.Size())
    return damaged(fmt::format("has {} bytes; the clips give {}", result.Size(), image.size));
  originals_ = {};
  originals_.options = options;
  originals_.resultSize = image.size;
  for (const ImagePiece& piece : image.pieces) {
    if (piece.clip != ImagePiece::kNoClip) continue;
    // Small ranges: tables, headers, gaps.
    ContentHash own;
    own.Update(image.Own(piece).data(), piece.size);
    // By these a split tells a merged file that is damaged from one that never was this one.
    originals_.own.push_back({piece.position, piece.size, own.Value().xxh128});
  }
  // Of a result that was there already nothing was copied, so that no hash was made on the way.
  if (hashes_ == nullptr) Start(clips);
  for (const std::string& path : clips) {
    if (Findings faults = AddClip(path, image); !faults.empty()) return faults;
    originals_.clips.back().name = names[originals_.clips.size() - 1];
  }
  return {};
}

Findings Keeper::WriteArchive(const std::vector<std::string>& clips, const std::string& output) {
  archive_.emplace(output + std::string(kOriginalsSuffix));
  if (Findings faults = archive_->Create(); !faults.empty()) return faults;
  std::unique_ptr<KeptBytes> bytes;
  std::size_t at = clips.size();
  const KeptSource source = [&](std::size_t clip, void* buffer, std::size_t size) {
    // One clip is open at a time, of however many.
    if (clip != at) bytes = std::make_unique<KeptBytes>(clips[clip], originals_.clips[clip].recipe);
    at = clip;
    return bytes->Read(buffer, size);
  };
  const std::error_code error = WriteOriginals(originals_, source, archive_->descriptor());
  // A clip that can't be read is another matter than a disk that is full.
  if (error && bytes != nullptr && bytes->error())
    return {MakeFinding(Message::kInputUnreadable, clips[at],
                        "can't be read again: " + ErrorText(bytes->error()),
                        "copy the clip again from the card")};
  if (error) return archive_->Unwritable(error);
  if (Findings faults = archive_->FlushNow(); !faults.empty()) return faults;
  FileBytes written(archive_->descriptor());
  // Cards are erased in trust in it: what the disk has counts, not what memory holds.
  written.ForgetCached();
  if (const Reason why = CompareArchive(written, originals_, clips))
    return {MakeFinding(Message::kResultDamaged, archive_->path(), *why,
                        "write to another disk, or check this one")};
  return HashArchive(written, archive_->path());
}

Findings Keeper::HashArchive(FileBytes& archive, const std::string& path) {
  if (!options_.checksums) return {};
  archiveHash_ = HashFile(archive, nullptr);
  if (!archiveHash_) return Unhashed(path);
  return {};
}

Findings Keeper::SumsOf(const std::string& output, int file, const Progress& progress,
                        std::vector<Checksum>& sums) {
  // A line feed would end its line, and what comes behind would be read as another file's.
  if (output.find('\n') != std::string::npos)
    return {MakeFinding(Message::kOutputUnwritable, output + std::string(kChecksumsSuffix),
                        "can't name a file whose name has a line feed",
                        "choose another name for the result")};
  FileBytes result(file);
  const auto total = static_cast<long long>(result.Size());
  const std::optional<std::string> hash = HashFile(result, [&](unsigned long long done) {
    Step step{Step::Phase::kVerifying};
    step.current = static_cast<long long>(done);
    step.total = total;
    return !progress || progress(step);
  });
  if (!hash) return Unhashed(output);
  sums.push_back({*hash, NameOf(output)});
  if (archiveHash_) sums.push_back({*archiveHash_, NameOf(output) + std::string(kOriginalsSuffix)});
  return {};
}

Findings Keeper::WriteChecksums(const std::string& output, int file, const Progress& progress) {
  std::vector<Checksum> sums;
  if (Findings faults = SumsOf(output, file, progress, sums); !faults.empty()) return faults;
  checksums_.emplace(output + std::string(kChecksumsSuffix));
  if (Findings faults = checksums_->Create(); !faults.empty()) return faults;
  if (const std::error_code error = WriteText(checksums_->descriptor(), ChecksumText(sums)))
    return checksums_->Unwritable(error);
  // Checksums that a loss of power has taken would make the whole result count for nothing.
  return checksums_->FlushNow();
}

Findings Keeper::Prepare(const std::vector<std::string>& clips, const FitOptions& options,
                         const std::string& output, int file, const Progress& progress) {
  FileBytes result(file);
  if (options_.originals) {
    // The archive comes first: its own checksum stands in the other file.
    if (Findings faults = Describe(clips, options, output, result); !faults.empty()) return faults;
    if (Findings faults = WriteArchive(clips, output); !faults.empty()) return faults;
  }
  return options_.checksums ? WriteChecksums(output, file, progress) : Findings{};
}

Findings Keeper::Publish(bool overwrite) {
  for (auto* beside : {&archive_, &checksums_}) {
    if (!*beside) continue;
    if (Findings faults = (*beside)->Publish(overwrite); !faults.empty()) {
      Withdraw();
      return faults;
    }
  }
  return {};
}

Findings Keeper::CompareChecksums(const std::string& output, int file, const Progress& progress) {
  const std::string path = output + std::string(kChecksumsSuffix);
  std::vector<Checksum> sums;
  if (Findings faults = SumsOf(output, file, progress, sums); !faults.empty()) return faults;
  const std::string expected = ChecksumText(sums);
  FileBytes there(path);
  std::string text(expected.size(), '\0');
  if (there.IsFile() && there.Size() == text.size() && there.Read(0, text.data(), text.size()) &&
      text == expected)
    return {};
  return {MakeFinding(Message::kOutputDiffers, path,
                      "is there already, but does not have the checksums of the result",
                      "look at it, then rename or remove it and join again")};
}

Findings Keeper::Agree(const std::vector<std::string>& clips, const FitOptions& options,
                       const std::string& output, int file, const Progress& progress) {
  FileBytes result(file);
  const std::string path = output + std::string(kOriginalsSuffix);
  if (options_.originals) {
    if (Findings faults = Describe(clips, options, output, result); !faults.empty()) return faults;
    if (Exists(path)) {
      FileBytes there(path);
      const Reason why = there.IsFile() ? CompareOlderArchive(there, originals_, clips)
                                        : Reason("is no regular file");
      if (why)
        return {MakeFinding(Message::kOutputDiffers, path, "is there already, but " + *why,
                            "look at it, then rename or remove it and join again")};
      if (Findings faults = HashArchive(there, path); !faults.empty()) return faults;
    } else if (Findings faults = WriteArchive(clips, output); !faults.empty()) {
      return faults;
    }
  }
  if (!options_.checksums) return {};
  return Exists(output + std::string(kChecksumsSuffix)) ? CompareChecksums(output, file, progress)
                                                        : WriteChecksums(output, file, progress);
}

}  // namespace

std::unique_ptr<Companion> MakeCompanion(const KeepOptions& options) {
  return std::make_unique<Keeper>(options);
}

Findings KeepBeside(const std::vector<std::string>& clips, const FitOptions& options,
                    const std::string& output, const KeepOptions& keep, const Progress& progress) {
  if (!keep.Any()) return {};
  Keeper keeper(keep);
  const Descriptor file = OpenToRead(output);
  if (file < 0)
    return {MakeFinding(Message::kResultDamaged, output, "can't be read: " + ErrorText(LastError()),
                        "look at it, then rename or remove it")};
  if (Findings faults = keeper.Agree(clips, options, output, file, progress); !faults.empty())
    return faults;
  // What was there already was compared; what has come since is somebody else's.
  if (Findings faults = keeper.Publish(false); !faults.empty()) return faults;
  const Descriptor folder = OpenToRead(FolderOf(output));
  const std::error_code error = folder < 0 ? LastError() : Flush(folder);
  keeper.Complete();
  if (!error) return {};
  return {MakeFinding(Message::kOutputNotDurable, output,
                      "is complete, but its folder can't be flushed: " + ErrorText(error),
                      "check the disk before you delete the clips")};
}

}  // namespace clipchain
