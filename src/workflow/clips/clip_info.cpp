#include "workflow/clip_info.h"

#include <algorithm>
#include <span>

#include "adapt/boxes/box_header.h"
#include "adapt/boxes/raw_boxes.h"
#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "box/sample_table_boxes.h"
#include "box/structural_boxes.h"
#include "foundation/fourcc.h"
#include "foundation/reader_wrapper.h"
#include "foundation/strings.h"
#include "reader/movie_reader.h"
#include "reader/mp4_file.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "workflow/boxes/box_place.h"
#include "workflow/clips/adapted_clip.h"
#include "workflow/clips/camera_notes.h"
#include "workflow/clips/clip_file.h"
#include "workflow/system/machine_memory.h"

namespace clipchain {

namespace {

constexpr unsigned int kReaderBuffer = 100000;

TrackInfo InfoOf(MP4G::CTrackBox* track) {
  const MP4G::CTrackReader reader(track);
  const MP4G::CTrackBox_wr view(track);
  TrackInfo info{};
  info.id = reader.GetTrackID();
  if (const auto* handler = view.HandlerBox(); handler != nullptr)
    info.handler = handler->record->handlerType;
  const auto* descriptions = MP4G::CSampleTableBox_wr(view.SampleTableBox()).SampleDescriptionBox();
  if (descriptions != nullptr) {
    for (const MP4G::CBox* entry : descriptions->children) {
      info.sampleEntries.push_back(entry->header->type);
    }
  }
  info.samples = reader.GetSampleNum();
  info.timeScale = reader.GetTimeScale();
  info.duration = reader.GetMediaDuration();
  return info;
}

RawBox RawMovieOf(const ClipFile& clip) {
  const TopLevelBox* place = clip.MoviePlace();
  RawBox movie;
  if (place == nullptr) return movie;
  const auto bytes = clip.Lend(place->position, static_cast<unsigned int>(place->size));
  std::span<const unsigned char> in = bytes;
  static_cast<void>(movie.Take(in));
  return movie;
}

// What the engine is shown of a clip that is adapted hides what kinds its tracks are of.
void NameTracks(const RawBox& movie, ClipInfo& info) {
  for (const RawBox* trak : TracksOf(movie)) {
    const auto track =
        std::find_if(info.tracks.begin(), info.tracks.end(),
                     [id = RawTrackId(*trak)](const TrackInfo& known) { return known.id == id; });
    const RawBox* table = SampleTable(*trak);
    const RawBox* descriptions = table != nullptr ? table->Child(FourCc("stsd")) : nullptr;
    if (track == info.tracks.end() || descriptions == nullptr) continue;
    track->handler = TrackKind(*trak);
    const auto entries = SampleEntriesOf(*descriptions);
    if (!entries) continue;
    track->sampleEntries.clear();
    for (const RawBox& entry : *entries) track->sampleEntries.push_back(entry.type);
  }
}

// Lists the boxes of a file that the engine refuses. Each step answers whether to go on.
class RawBoxLister {
 public:
  using Listener = std::function<bool(const BoxInfo&)>;

  explicit RawBoxLister(const Listener& listener) : listener_(listener) {}

  void List(const ClipFile& clip) const {
    const TopLevelBox* const movie = clip.MoviePlace();
    for (const TopLevelBox& box : clip.Layout()) {
      const bool goesOn =
          &box == movie
              ? Tell(RawMovieOf(clip), box.position, 0)
              : listener_({box.type, box.position, box.size,
                           UsertypeOf(box.type, clip.Lend(box.Body(), sizeof(_GUID))), 0});
      if (!goesOn) return;
    }
  }

 private:
  // Of a box "stsd" below the movie box.
  static constexpr unsigned int kMostDepth = 5;

  static _GUID UsertypeOf(unsigned int type, std::span<const unsigned char> body) {
    if (type != FourCc("uuid") || body.size() < sizeof(_GUID)) return {};
    return QUIRVA::BigEndianToGuid(body.data(), sizeof(_GUID));
  }

  bool Tell(const RawBox& box, long long position, unsigned int depth) const {
    const auto size = static_cast<long long>(box.Size());
    if (!listener_({box.type, position, size, UsertypeOf(box.type, box.data), depth})) return false;
    long long at = position + (box.large ? BoxHeader::kLarge : BoxHeader::kShort);
    for (const RawBox& child : box.children) {
      if (!Tell(child, at, depth + 1)) return false;
      at += static_cast<long long>(child.Size());
    }
    // Deeper no such box has a place, and each level is held in memory.
    return depth > kMostDepth || TellBehindFields(box, at, depth);
  }

  // Of boxes whose children stand behind fields.
  bool TellBehindFields(const RawBox& box, long long at, unsigned int depth) const {
    const std::size_t fields = FieldsAheadOfChildren(box);
    if (fields == 0 || fields > box.data.size()) return true;
    std::span<const unsigned char> in = std::span(box.data).subspan(fields);
    at += static_cast<long long>(fields);
    while (true) {
      RawBox child;
      if (!child.Take(in)) return true;
      if (!Tell(child, at, depth + 1)) return false;
      at += static_cast<long long>(child.Size());
    }
  }

  // 0 where no children do.
  static std::size_t FieldsAheadOfChildren(const RawBox& box) {
    // Version and flags, and the number of the entries.
    if (box.type == FourCc("stsd") || box.type == FourCc("dref")) return 8;
    return box.type == FourCc("meta") ? 4 : 0;
  }

  const Listener& listener_;
};

// Lists the boxes with where they stand in the file. Each step answers whether to go on.
class BoxLister {
 public:
  using Listener = std::function<bool(const BoxInfo&)>;

  BoxLister(const QUIRVA::IQvFileReader& reader, const Listener& listener)
      : reader_(reader), listener_(listener) {}

  // The top level, as far as `tree` goes. What it holds without a box is measured in the file.
  void List(const MP4G::CMp4Tree& tree) {
    long long position = 0;
    for (const MP4G::CMp4Tree::Record& record : tree.boxes) {
      MP4G::CBox unloaded;
      if (record.box == nullptr && !Peek(position, unloaded)) return;
      const MP4G::CBox& box = record.box != nullptr ? *record.box : unloaded;
      long long size = box.GetBoxSize();
      // To the end of the file (ISO/IEC 14496-12, clause 4.2).
      if (size == 0) size = reader_.GetFileSize() - position;
      if (!Tell(box, position, size, 0)) return;
      position += size;
    }
  }

 private:
  bool Peek(long long position, MP4G::CBox& box) const {
    const unsigned char* bytes = nullptr;
    unsigned int got = 0;
    return reader_.GetData(position, BoxHeader::kLarge, bytes, got) >= 0 &&
           box.Set16Byte(bytes, got) == S_OK;
  }

  bool Tell(const MP4G::CBox& box, long long position, long long size, unsigned int depth) const {
    if (!listener_({box.header->type, position, size, box.GetUsertype(), depth})) return false;
    long long behind = FirstEntryDistance(box);
    for (const MP4G::CBox* child : box.children) {
      const long long offset = ChildDistance(box, *child, behind);
      if (!Tell(*child, position + offset, child->GetBoxSize(), depth + 1)) return false;
      behind = offset + child->GetBoxSize();
    }
    return true;
  }

  const QUIRVA::IQvFileReader& reader_;
  const Listener& listener_;
};

void Analyse(MP4G::CMovieBox* movie, ClipInfo& info) {
  const CameraNotes notes = ReadCameraNotes(movie);
  info.analysis = notes.result;
  info.date = notes.date;
  info.uniqueID = notes.id;
  info.previousID = notes.previous;
  info.nextID = notes.next;
  info.cameraStream = notes.cameraStream;
  info.hasIdentifiers = notes.hasIdentifiers;
}

// Whether the boxes of the file take no more memory than that, be they large or many.
bool HasRoom(const ClipFile& clip, long long limit) {
  const long long bytes = clip.MemoryOfBytes();
  return bytes <= limit && clip.MemoryOfBoxes() <= limit - bytes;
}

}  // namespace

HRESULT ReadClipInfo(const std::string& path, ClipInfo& info, const ClipInfoOptions& options) {
  const long long limit = options.memoryLimit > 0 ? options.memoryLimit : HalfOfTheMachine();
  HRESULT opened = S_OK;
  QUIRVA::FileReaderWrapper reader(QUIRVA::WidePathFromBytes(path).c_str(), kReaderBuffer, opened);
  RETURN_IF_NEGATIVE(opened);
  info.size = reader.GetFileSize();
  const ClipFile clip(path, TopLevelWalk::kOfAnyBox);
  RETURN_IF(!HasRoom(clip, limit), E_OUTOFMEMORY);
  MP4G::CMp4File file;
  info.boxesResult = file.SetReader(&reader);
  std::optional<AdaptedClip> adapted;
  if (SaysMoreAdapted(file, info.boxesResult)) adapted.emplace(path);
  MP4G::CMovieBox* adaptedMovie = adapted ? adapted->Movie() : nullptr;
  const bool isRefused = info.boxesResult < 0;
  if (isRefused && adaptedMovie != nullptr) info.boxesResult = S_OK;
  RETURN_IF_NEGATIVE(info.boxesResult);
  MP4G::CMovieBox* movie = adaptedMovie != nullptr ? adaptedMovie : file.GetMovieBox();
  RETURN_IF(movie == nullptr, info.boxesResult);

  const MP4G::CMovieReader movieReader(movie);
  info.timeScale = movieReader.GetTimeScale();
  info.duration = movieReader.GetDuration();
  for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(movie).Tracks()) {
    info.tracks.push_back(InfoOf(track));
  }
  if (adaptedMovie != nullptr) NameTracks(RawMovieOf(clip), info);
  Analyse(movie, info);
  if (!options.box) return S_OK;
  if (isRefused)
    RawBoxLister(options.box).List(clip);
  else
    BoxLister(reader, options.box).List(file);
  return S_OK;
}

}  // namespace clipchain
