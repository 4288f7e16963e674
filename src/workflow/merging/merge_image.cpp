#include "workflow/merging/merge_image.h"

#include <memory>
#include <utility>

#include "adapt/fit.h"
#include "workflow/findings/result_words.h"
#include "workflow/merging/expected_file.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

using Number = unsigned long long;

struct Range {
  // Of bytes that stand in no file.
  static constexpr long long kNowhere = -1;

  long long position;
  long long size;
};

class ImageMaker {
 public:
  ImageMaker(const ImageTask& task) : task_(task), expected_(task.layout) {}

  Findings Make(MergeImage& image) {
    for (std::size_t clip = 0; clip < task_.clips.size(); ++clip) {
      if (Findings faults = Take(clip); !faults.empty()) return faults;
    }
    if (const HRESULT finished = expected_.Finish(task_.fit); finished != S_OK)
      return Unfinished(finished);
    image = {};
    image.Add(expected_.Head());
    for (std::size_t clip = 0; clip < media_.size(); ++clip) {
      image.AddZeros(expected_.Media()[clip].begin - image.size);
      for (const Range& range : media_[clip]) {
        const auto size = static_cast<Number>(range.size);
        if (range.position == Range::kNowhere) {
          image.AddZeros(size);
        } else {
          image.Add(clip, static_cast<Number>(range.position), size);
        }
      }
    }
    if (!task_.layout.movieInFront) image.Add(expected_.Movie());
    return {};
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
    if (file->mdatSize < 0 || file->mdatPos > file->fileSize ||
        file->mdatSize > file->fileSize - file->mdatPos)
      return {MakeFinding(Message::kMediaCutOff, path, "ends before its media does",
                          "copy it again from the card")};
    NoteMedia(view.get(), file->mdatPos, file->mdatSize);
    if (const HRESULT taken = expected_.Take(std::move(file), view.get()); taken != S_OK) {
      Finding finding = MakeFinding(Message::kInputRefused, path, InputWords(taken, clip == 0),
                                    "leave the clip out, or see what a check says about it");
      finding.result = taken;
      return {finding};
    }
    return {};
  }

  void NoteMedia(const ClipView* view, long long position, long long size) {
    std::vector<Range>& media = media_.emplace_back();
    if (view == nullptr) {
      media.push_back({position, size});
      return;
    }
    for (const auto& [place, part] : view->PlacesOf(position, size)) {
      const bool continues = !media.empty() && place != Range::kNowhere &&
                             media.back().position != Range::kNowhere &&
                             media.back().position + media.back().size == place;
      if (continues) {
        media.back().size += part;
      } else {
        media.push_back({place, part});
      }
    }
  }

  const ImageTask& task_;
  ExpectedFile expected_;
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
  if (fit != nullptr && !fit->IsNeeded()) fit.reset();
  return MakeMergeImage({clips, layout, fit.get()}, image);
}

}  // namespace clipchain
