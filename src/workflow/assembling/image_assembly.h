// Puts a merged file together in memory, without its media.
#pragma once

#include <utility>
#include <vector>

#include "adapt/boxes/raw_boxes.h"
#include "adapt/clips/clip_view.h"
#include "merge/movie_assembly.h"
#include "workflow/assembling/media_placement.h"
#include "workflow/assembling/merge_image.h"

namespace clipchain {

// Takes one clip after the other, completes the movie box, which may then be adapted, and makes the
// image of the file around it.
class ImageAssembly {
 public:
  explicit ImageAssembly(const Layout& layout = {}) : layout_(layout), placement_(0, 0) {}

  // Whether the clip ends ahead of the end of its media.
  static bool IsCutOff(const MP4G::CMp4File& input);

  // Takes the next clip, which was read through `view` or, with null, as it is. The first one must
  // stay as long as this object; a later one, and the views, are needed during the call alone. The
  // code with which a merge would refuse it; nothing is to be done then.
  [[nodiscard]] HRESULT Take(MP4G::CMp4File& input, const ClipView* view);

  // Once all clips are taken: the movie box that the engine makes of them. Else the code with which
  // a merge would fail.
  [[nodiscard]] HRESULT CompleteMovie(Bytes& movie);
  // The whole file, with that movie box or what it was adapted to. MP4G_E_INPUT_READ if a clip is
  // cut off.
  [[nodiscard]] HRESULT Finish(Bytes movie, MergeImage& image);

 private:
  struct Range {
    // Of bytes that stand in no file.
    static constexpr long long kNowhere = -1;

    long long position;
    long long size;
  };
  // The media of a clip.
  struct Media {
    // In the merged file.
    unsigned long long begin;
    // Where it stands in the clip's file.
    std::vector<Range> ranges;
  };

  static std::vector<Range> RangesOf(const MP4G::CMp4File& input, const ClipView* view);
  unsigned int NoteSize() const { return layout_.block != 0 ? Layout::kBlockNote : 0; }
  [[nodiscard]] HRESULT PutMovieInFront(Bytes movie);
  [[nodiscard]] HRESULT AppendMediaHeader();
  void AddMedia(MergeImage& image) const;

  const Layout layout_;
  MP4G::CMovieAssembly assembly_;
  MediaPlacement placement_;
  std::vector<Media> media_;
  // Where the first clip's media begins in its file.
  unsigned long long firstInFile_ = 0;
  // Ahead of the media, with the movie box if it stands in front.
  Bytes head_;
  bool cutOff_ = false;
  // Clips are read through views.
  bool isAdapted_ = false;
  // By which the movie box in front moves the media.
  unsigned long long moved_ = 0;
};

}  // namespace clipchain
