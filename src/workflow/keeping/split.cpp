#include "workflow/split.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "workflow/folders.h"
#include "workflow/keeping/originals_archive.h"
#include "workflow/system/files.h"
#include "workflow/system/part_file.h"
#include "workflow/system/part_name.h"
#include "workflow/system/system_error.h"
#include "workflow/system/text_file.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

constexpr std::size_t kBlock = 256 * 1024;

class Splitting {
 public:
  Splitting(const std::string& merged, const SplitOptions& options)
      : merged_(merged),
        archivePath_(merged + std::string(kOriginalsSuffix)),
        folder_(options.folder.empty() ? DefaultSplitFolder(merged) : options.folder),
        options_(options),
        result_(merged),
        archive_(archivePath_) {}

  SplitReport Run() {
    if (Prepare() && Make() && KnowsResult()) Publish();
    // A part of the clips stays where those are all that the merged file still has.
    if (!report_.done) LeaveNothing();
    return std::move(report_);
  }

 private:
  bool Prepare();
  bool NamesAreFree();
  bool HasRoom();
  bool Make();
  bool MakeClip(std::size_t clip);
  bool Fill(std::size_t clip, PartFile& part, bool& wrong);
  bool FromArchive(PartFile& part, Number size);
  bool FromResult(PartFile& part, Number position, Number size, bool& wrong);
  bool Write(PartFile& part, std::size_t size);
  bool Seal(std::size_t clip, PartFile& part, bool& right);
  bool KnowsResult();
  bool Has(const OwnRange& range);
  void Publish();
  void LeaveNothing();

  void Fail(Message message, const std::string& path, std::string text, std::string remedy) {
    report_.findings.push_back(MakeFinding(message, path, std::move(text), std::move(remedy)));
  }
  void FailWrite(std::size_t clip, const std::error_code& error) {
    Fail(Message::kOutputUnwritable, report_.clips[clip].path,
         "can't be written: " + ErrorText(error), "make room, or choose another folder");
  }
  void FailArchive(const std::string& why) {
    Fail(Message::kInputRefused, archivePath_, why,
         "look for the archive that was made with this file");
  }
  bool Tell();

  const std::string& merged_;
  const std::string archivePath_;
  const std::string folder_;
  const SplitOptions& options_;
  FileBytes result_;
  FileBytes archive_;
  OriginalsReader reader_;
  // Of the clips; null where one is not what it was.
  std::vector<std::unique_ptr<PartFile>> parts_;
  bool madeFolder_ = false;
  std::size_t clip_ = 0;
  Number written_ = 0;
  Number total_ = 0;
  std::vector<unsigned char> block_ = std::vector<unsigned char>(kBlock);
  SplitReport report_;
};

bool Splitting::Tell() {
  Step step{Step::Phase::kCopying};
  step.clip = clip_;
  step.clips = report_.clips.size();
  step.current = static_cast<long long>(written_);
  step.total = static_cast<long long>(total_);
  if (!options_.progress || options_.progress(step)) return true;
  Fail(Message::kMergeStopped, folder_, "got no clips: the work was stopped", "run it again");
  return false;
}

bool Splitting::Prepare() {
  if (!result_.IsFile()) {
    Fail(Message::kInputUnreadable, merged_, "can't be read: " + UnreadableWords(merged_),
         "check the name and the permissions");
    return false;
  }
  if (!archive_.IsFile()) {
    Fail(Message::kInputUnreadable, archivePath_, "can't be read: " + UnreadableWords(archivePath_),
         "put the archive that \"clipchain merge --originals\" made beside the file");
    return false;
  }
  if (const Reason why = reader_.Open(archive_)) {
    FailArchive(*why);
    return false;
  }
  for (const OriginalClip& clip : reader_.Contents().clips) {
    report_.clips.push_back({folder_ + '/' + clip.name, false, static_cast<long long>(clip.size)});
    total_ += clip.size;
  }
  return NamesAreFree() && HasRoom();
}

bool Splitting::NamesAreFree() {
  const bool existed = Exists(folder_);
  for (const SplitClip& clip : report_.clips) {
    // All names are looked at before anything is made: half a card in a folder would help nobody.
    if (existed && Exists(clip.path)) {
      Fail(Message::kOutputExists, clip.path, "exists already",
           "choose another folder with -o; nothing was made");
      return false;
    }
  }
  if (const auto fault = MakeFolder(folder_)) {
    report_.findings.push_back(*fault);
    return false;
  }
  madeFolder_ = !existed;
  return true;
}

// An archive may claim more than any disk holds.
bool Splitting::HasRoom() {
  struct statvfs status;
  // Some file systems tell nothing, or 0: whether there is room shows in writing.
  if (::statvfs(folder_.c_str(), &status) != 0) return true;
  const Number room = Number{status.f_bavail} * status.f_frsize;
  if (room == 0 || total_ <= room) return true;
  Fail(Message::kTooLittleSpace, folder_,
       fmt::format("has {} bytes of free space, and the clips take {}", room, total_),
       "make room, or choose another disk with -o");
  return false;
}

bool Splitting::Make() {
  for (clip_ = 0; clip_ < report_.clips.size(); ++clip_) {
    if (!Tell() || !MakeClip(clip_)) return false;
  }
  // An archive with more in it was changed, or is of another program.
  if (const Reason why = reader_.AtEnd()) {
    FailArchive(*why);
    return false;
  }
  return true;
}

bool Splitting::MakeClip(std::size_t clip) {
  auto part = std::make_unique<PartFile>();
  if (const std::error_code error = part->Create(report_.clips[clip].path)) {
    FailWrite(clip, error);
    return false;
  }
  // The merged file lacks bytes.
  bool wrong = false;
  bool right = false;
  if (!Fill(clip, *part, wrong) || (!wrong && !Seal(clip, *part, right))) return false;
  if (right) {
    parts_.push_back(std::move(part));
    return true;
  }
  // Its place is kept: parts and clips are counted alike.
  parts_.push_back(nullptr);
  Fail(Message::kResultDamaged, report_.clips[clip].path,
       "was not made: " + PrintablePath(merged_) + " does not have its bytes any more",
       "look for another copy of the merged file");
  return true;
}

bool Splitting::Fill(std::size_t clip, PartFile& part, bool& wrong) {
  // Clips can't be passed over: an archive is read from its beginning to its end alone.
  if (const Reason why = reader_.NextClip()) {
    FailArchive(*why);
    return false;
  }
  for (const RecipeStep& step : reader_.Contents().clips[clip].recipe) {
    if (!FromArchive(part, step.kept) || !FromResult(part, step.position, step.size, wrong))
      return false;
  }
  return true;
}

bool Splitting::FromArchive(PartFile& part, Number size) {
  while (size != 0) {
    const auto count = static_cast<std::size_t>(std::min<Number>(size, kBlock));
    if (const Reason why = reader_.Read(block_.data(), count)) {
      FailArchive(*why);
      return false;
    }
    if (!Write(part, count)) return false;
    size -= count;
  }
  return true;
}

// What the merged file does not give any more makes this clip wrong, and none of the others.
bool Splitting::FromResult(PartFile& part, Number position, Number size, bool& wrong) {
  while (size != 0 && !wrong) {
    const auto count = static_cast<std::size_t>(std::min<Number>(size, kBlock));
    wrong = !result_.Read(position, block_.data(), count);
    if (!wrong && !Write(part, count)) return false;
    position += count;
    size -= count;
  }
  return true;
}

bool Splitting::Write(PartFile& part, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(block_.data()), size);
  if (const std::error_code error = WriteText(part.descriptor(), text)) {
    FailWrite(clip_, error);
    return false;
  }
  written_ += size;
  return Tell();
}

// Its time is set last, for every write sets another one.
bool Splitting::Seal(std::size_t clip, PartFile& part, bool& right) {
  const OriginalClip& original = reader_.Contents().clips[clip];
  if (const std::error_code error = Flush(part.descriptor())) {
    FailWrite(clip, error);
    return false;
  }
  FileBytes written(part.descriptor());
  // What the disk has is compared with the hash, and not what memory still holds.
  written.ForgetCached();
  ContentHash hash(!original.hashes.sha256.empty());
  for (Number at = 0; at < original.size;) {
    const auto count = static_cast<std::size_t>(std::min<Number>(original.size - at, kBlock));
    if (!written.Read(at, block_.data(), count)) {
      Fail(Message::kResultDamaged, report_.clips[clip].path, "can't be read back",
           "write to another disk, or check this one");
      return false;
    }
    hash.Update(block_.data(), count);
    at += count;
  }
  // Of both hashes, where the archive has both.
  right = hash.Value() == original.hashes;
  if (!right) return true;
  const timespec times[] = {original.modified, original.modified};
  if (::futimens(part.descriptor(), times) != 0) {
    FailWrite(clip, LastError());
    return false;
  }
  // The time is part of the file, too.
  const std::error_code error = Flush(part.descriptor());
  if (!error) return true;
  FailWrite(clip, error);
  return false;
}

// A merged file of which no clip comes out, and nothing else is what the archive says either, is
// another one.
bool Splitting::KnowsResult() {
  const auto made = [](const std::unique_ptr<PartFile>& part) { return part != nullptr; };
  const std::vector<OwnRange>& own = reader_.Contents().own;
  if (std::any_of(parts_.begin(), parts_.end(), made) ||
      std::any_of(own.begin(), own.end(), [this](const OwnRange& range) { return Has(range); }))
    return true;
  // A line for each clip would only say the same of one wrong archive.
  report_.findings.clear();
  report_.clips.clear();
  FailArchive("belongs to another file than " + PrintablePath(merged_));
  return false;
}

bool Splitting::Has(const OwnRange& range) {
  ContentHash hash;
  for (Number done = 0; done < range.size;) {
    const auto count = static_cast<std::size_t>(std::min<Number>(range.size - done, kBlock));
    if (!result_.Read(range.position + done, block_.data(), count)) return false;
    hash.Update(block_.data(), count);
    done += count;
  }
  return hash.Value().xxh128 == range.xxh128;
}

void Splitting::Publish() {
  bool all = true;
  bool durable = true;
  std::vector<std::size_t> named;
  for (std::size_t clip = 0; clip < parts_.size(); ++clip) {
    if (parts_[clip] == nullptr) {
      all = false;
      continue;
    }
    // Names come last, and one after the other: until then nobody takes half a clip for one.
    const std::error_code error = parts_[clip]->Publish(false);
    if (!error) {
      named.push_back(clip);
      continue;
    }
    // Somebody took the name meanwhile: nothing is made.
    for (const std::size_t done : named) ::unlink(report_.clips[done].path.c_str());
    Fail(error == std::errc::file_exists ? Message::kOutputExists : Message::kOutputUnnamed,
         report_.clips[clip].path,
         error == std::errc::file_exists ? "exists already"
                                         : "can't get its name: " + ErrorText(error),
         "choose another folder with -o; nothing was made");
    report_.clips.clear();
    return;
  }
  for (const std::size_t clip : named) {
    const std::error_code error = parts_[clip]->FlushFolder();
    // A name that a loss of power could take back is not relied on.
    report_.clips[clip].made = !error;
    if (!error) continue;
    durable = false;
    Fail(Message::kOutputNotDurable, report_.clips[clip].path,
         "is complete, but its folder can't be flushed: " + ErrorText(error),
         "check the disk before you rely on it");
  }
  report_.done = all && durable;
  report_.partly = !all && durable;
}

void Splitting::LeaveNothing() {
  // Hidden files go with their objects.
  parts_.clear();
  const auto made = [](const SplitClip& clip) { return clip.made; };
  if (madeFolder_ && std::none_of(report_.clips.begin(), report_.clips.end(), made))
    // It stays where somebody has put something into it meanwhile.
    ::rmdir(folder_.c_str());
}

}  // namespace

std::string DefaultSplitFolder(const std::string& merged) {
  const std::string name = NameOf(merged);
  const std::size_t dot = name.rfind('.');
  // Without an extension to take away, the folder would have the name of the file.
  if (dot == std::string::npos || dot == 0) return merged + ".clips";
  // As people do who unpack an archive: beside it, and of its name.
  return merged.substr(0, merged.size() - (name.size() - dot));
}

SplitReport Split(const std::string& merged, const SplitOptions& options) {
  try {
    return Splitting(merged, options).Run();
  } catch (const std::bad_alloc&) {
    SplitReport report;
    report.findings.push_back(MakeFinding(Message::kOutOfMemory, merged,
                                          "was not split: there is not enough memory",
                                          "free some memory, then split again"));
    return report;
  }
}

}  // namespace clipchain
