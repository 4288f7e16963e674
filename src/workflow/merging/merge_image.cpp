#include "workflow/merging/merge_image.h"

#include <memory>
#include <optional>
#include <utility>

#include "adapt/fit.h"
#include "merge/movie_assembly.h"
#include "workflow/findings/result_words.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

struct Range {
  Number position;
  Number size;
};

class ImageMaker {
 public:
  ImageMaker(const std::vector<std::string>& clips, const FitOptions& options) : clips_(clips) {
    if (!options.exact && !clips.empty()) fit_ = std::make_unique<Fit>(clips, options);
    if (fit_ != nullptr && !fit_->IsNeeded()) fit_.reset();
  }

  Findings Make(MergeImage& image) {
    for (std::size_t clip = 0; clip < clips_.size(); ++clip) {
      if (Findings faults = Take(clip); !faults.empty()) return faults;
    }
    std::vector<unsigned char> head;
    std::vector<unsigned char> movie;
    if (const HRESULT finished = assembly_.Finish(head, movie); finished != S_OK)
      return Unfinished(finished);
    if (fit_ != nullptr) {
      std::optional<Bytes> complete = fit_->Complete(movie);
      if (!complete) return Unfinished(E_BAD_DATA);
      movie = std::move(*complete);
    }
    image = {};
    image.Add(head);
    for (std::size_t clip = 0; clip < media_.size(); ++clip) {
      for (const Range& range : media_[clip]) image.Add(clip, range.position, range.size);
    }
    image.Add(movie);
    return {};
  }

 private:
  Findings Unreadable(const std::string& path) {
    return {MakeFinding(Message::kInputUnreadable, path, "can't be read as a clip",
                        "copy the clip again from the card")};
  }
  Findings Unfinished(HRESULT result) {
    return {MakeFinding(Message::kOutputUnfinished, clips_.front(),
                        "and the clips behind it " + OutputWords(result))};
  }
  Findings Take(std::size_t clip) {
    const std::string& path = clips_[clip];
    auto file = std::make_unique<MP4G::CMp4File>();
    QUIRVA::ComPtr<ClipView> view;
    int read = S_OK;
    if (fit_ == nullptr) {
      read = file->SetFile(Wide(path).c_str());
    } else {
      if (!fit_->HasView(clip)) return Unreadable(path);
      view = fit_->View(clip, read);
      if (read >= 0) read = file->SetReader(view.get());
    }
    if (read != S_OK || file->GetMovieBox() == nullptr) return Unreadable(path);
    if (file->mdatSize < 0 || file->mdatPos > file->fileSize ||
        file->mdatSize > file->fileSize - file->mdatPos)
      return {MakeFinding(Message::kMediaCutOff, path, "ends before its media does",
                          "copy it again from the card")};
    media_.emplace_back();
    if (file->mdatSize > 0) NoteMedia(view.get(), file->mdatPos, file->mdatSize);
    if (const HRESULT taken = assembly_.Take(file.get()); taken != S_OK) {
      Finding finding = MakeFinding(Message::kInputRefused, path, InputWords(taken, clip == 0),
                                    "leave the clip out, or see what a check says about it");
      finding.result = taken;
      return {finding};
    }
    if (first_ == nullptr) first_ = std::move(file);
    return {};
  }

  // What comes from several places of the file is taken in halves, until each comes from one.
  void NoteMedia(const ClipView* view, long long position, long long size) {
    const long long first = view != nullptr ? view->FilePosition(position) : position;
    const long long last =
        view != nullptr ? view->FilePosition(position + size - 1) : position + size - 1;
    if (last - first != size - 1 && size > 1) {
      NoteMedia(view, position, size / 2);
      NoteMedia(view, position + size / 2, size - size / 2);
      return;
    }
    std::vector<Range>& media = media_.back();
    const Range range{static_cast<Number>(first), static_cast<Number>(size)};
    if (!media.empty() && media.back().position + media.back().size == range.position) {
      media.back().size += range.size;
    } else {
      media.push_back(range);
    }
  }

  const std::vector<std::string>& clips_;
  std::unique_ptr<const Fit> fit_;  // null unless the clips are adapted
  std::unique_ptr<MP4G::CMp4File> first_;
  MP4G::CMovieAssembly assembly_;
  std::vector<std::vector<Range>> media_;  // of each clip, in its file
};

}  // namespace

void MergeImage::Add(const std::vector<unsigned char>& own) {
  if (own.empty()) return;
  pieces.push_back({size, own.size(), ImagePiece::kNoClip, bytes.size()});
  bytes.insert(bytes.end(), own.begin(), own.end());
  size += own.size();
}

void MergeImage::Add(std::size_t clip, Number source, Number length) {
  if (length == 0) return;
  pieces.push_back({size, length, clip, source});
  size += length;
}

Findings MakeMergeImage(const std::vector<std::string>& clips, const FitOptions& options,
                        MergeImage& image) {
  if (clips.empty()) return {MakeFinding(Message::kNothingToMerge, "", "there is no clip")};
  return ImageMaker(clips, options).Make(image);
}

}  // namespace clipchain
