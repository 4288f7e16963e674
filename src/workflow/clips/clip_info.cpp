#include "workflow/clip_info.h"

#include "adapt/boxes/box_header.h"
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
bool HasRoom(const std::string& path, long long limit) {
  const ClipFile clip(path);
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
  RETURN_IF(!HasRoom(path, limit), E_OUTOFMEMORY);
  MP4G::CMp4File file;
  info.boxesResult = file.SetReader(&reader);
  RETURN_IF_NEGATIVE(info.boxesResult);
  MP4G::CMovieBox* movie = file.GetMovieBox();
  RETURN_IF(movie == nullptr, info.boxesResult);

  const MP4G::CMovieReader movieReader(movie);
  info.timeScale = movieReader.GetTimeScale();
  info.duration = movieReader.GetDuration();
  for (MP4G::CTrackBox* track : MP4G::CMovieBox_wr(movie).Tracks()) {
    info.tracks.push_back(InfoOf(track));
  }
  Analyse(movie, info);
  if (options.box) BoxLister(reader, options.box).List(file);
  return S_OK;
}

}  // namespace clipchain
