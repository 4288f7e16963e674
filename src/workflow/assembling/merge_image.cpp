#include "workflow/assembling/merge_image.h"

#include <memory>
#include <optional>
#include <utility>

#include "adapt/fit.h"
#include "workflow/assembling/image_assembly.h"
#include "workflow/findings/result_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

class ImageMaker {
 public:
  explicit ImageMaker(const ImageTask& task) : task_(task), assembly_(task.layout) {}

  Findings Make(MergeImage& image) {
    for (std::size_t clip = 0; clip < task_.clips.size(); ++clip) {
      if (Findings faults = Take(clip); !faults.empty()) return faults;
    }
    const HRESULT finished = Finish(image);
    return finished == S_OK ? Findings() : Unfinished(finished);
  }

 private:
  static Findings Unreadable(const std::string& path) {
    return {MakeFinding(Message::kInputUnreadable, path, "can't be read as a clip",
                        "copy the clip again from the card")};
  }
  Findings Unfinished(HRESULT result) const {
    return {MakeFinding(Message::kOutputUnfinished, task_.clips.front(),
                        "and the clips behind it " + OutputWords(result))};
  }
  Findings Take(std::size_t clip) {
    const std::string& path = task_.clips[clip];
    auto file = std::make_unique<MP4G::CMp4File>();
    QUIRVA::ComPtr<ClipView> view;
    int read = S_OK;
    if (task_.fit == nullptr) {
      read = file->SetFile(Wide(path).c_str());
    } else {
      if (!task_.fit->HasView(clip)) return Unreadable(path);
      view = task_.fit->View(clip, read, task_.layout.block);
      if (read >= 0) read = file->SetReader(view.get());
    }
    if (read != S_OK || file->GetMovieBox() == nullptr) return Unreadable(path);
    // The engine copies what there is of the media; a result that lacks samples is no result.
    if (ImageAssembly::IsCutOff(*file))
      return {MakeFinding(Message::kMediaCutOff, path, "ends before its media does",
                          "copy it again from the card")};
    const HRESULT taken = assembly_.Take(*file, view.get());
    // Its boxes become those of the movie; the others are of no use once they are appended.
    if (clip == 0) first_ = std::move(file);
    if (taken == S_OK) return {};
    Finding finding = MakeFinding(Message::kInputRefused, path, InputWords(taken, clip == 0),
                                  "leave the clip out, or see what a check says about it");
    finding.result = taken;
    return {finding};
  }

  HRESULT Finish(MergeImage& image) {
    Bytes movie;
    RETURN_IF_NOT_OK(assembly_.CompleteMovie(movie));
    // Completing takes as much memory again.
    first_.reset();
    if (task_.fit != nullptr) {
      std::optional<Bytes> complete = task_.fit->Complete(std::move(movie));
      RETURN_IF(!complete, E_BAD_DATA);
      movie = std::move(*complete);
    }
    return assembly_.Finish(std::move(movie), image);
  }

  const ImageTask& task_;
  ImageAssembly assembly_;
  std::unique_ptr<MP4G::CMp4File> first_;
};

}  // namespace

unsigned long long MergeImage::OwnSize() const {
  Number sum = 0;
  for (const auto& bytes : own) sum += bytes.size();
  return sum;
}

void MergeImage::Add(std::vector<unsigned char> bytes) {
  if (bytes.empty()) return;
  pieces.push_back({size, bytes.size(), ImagePiece::kNoClip, own.size()});
  size += bytes.size();
  own.push_back(std::move(bytes));
}

void MergeImage::Add(std::size_t clip, Number source, Number length) {
  if (length == 0) return;
  pieces.push_back({size, length, clip, source});
  size += length;
}

void MergeImage::AddZeros(Number length) {
  Add(std::vector<unsigned char>(static_cast<std::size_t>(length)));
}

Findings MakeMergeImage(const ImageTask& task, MergeImage& image) {
  if (task.clips.empty()) return {MakeFinding(Message::kNothingToMerge, "", "there is no clip")};
  return ImageMaker(task).Make(image);
}

Findings MakeMergeImage(const std::vector<std::string>& clips, const FitOptions& options,
                        const Layout& layout, MergeImage& image) {
  std::unique_ptr<const Fit> fit;
  if (!options.exact && !clips.empty()) fit = std::make_unique<Fit>(clips, options);
  // Clips that need nothing are read by the engine itself, so that their result is to the byte what
  // it was before there was an adaptation.
  if (fit != nullptr && !fit->IsNeeded()) fit.reset();
  return MakeMergeImage({clips, layout, fit.get()}, image);
}

}  // namespace clipchain
