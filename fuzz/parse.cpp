// Whatever parses is written in exactly the bytes that its size promised; these parse again, and
// are then written in the same bytes.
#include <vector>

#include "box/avc_configuration.h"
#include "box/es_descriptor_box.h"
#include "box/fragment_boxes.h"
#include "box/sample_table_boxes.h"
#include "foundation/file_buffer.h"
#include "reader/mp4_file.h"
#include "reader/sample_table_reader.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"
#include "target.h"

using namespace MP4G;

namespace {

using Bytes = std::vector<unsigned char>;

// Boxes of an input take no more than this many times its bytes when they are written: sizes of
// half a byte become two bytes each.
constexpr long long kMostGrowth = 4;

// Boxes that are defined to be written in another form than the one they are read in:
//   "urn "  its name takes all that is left of the bytes, so that the box grows each time;
//   "tfra"  its size leaves out a part of it, so that it cannot be written at all;
//   "stz2"  sizes are always written with 16 bits, under the field size that was read;
//   "esds"  time stamps of odd lengths have a size that is not that of their bytes;
//   "avcC"  the sets of an extension are read from another place than they are written to.
bool ChangesItsForm(const CBox& box) {
  if (const auto* sizes = dynamic_cast<const CCompactSampleSizeBox*>(&box))
    return sizes->record->fieldSize != 16;
  if (dynamic_cast<const CDataEntryUrnBox*>(&box) != nullptr) return true;
  if (dynamic_cast<const CTrackFragmentRandomAccessBox*>(&box) != nullptr) return true;
  if (const auto* avc = dynamic_cast<const CAvcConfigurationBox*>(&box))
    return avc->record != nullptr && !avc->record->spsExtList.empty();
  return dynamic_cast<const CESDBox*>(&box) != nullptr;
}

bool AnyChangesItsForm(const CBox& root) {
  std::vector<const CBox*> waiting{&root};
  while (!waiting.empty()) {
    const CBox* box = waiting.back();
    waiting.pop_back();
    if (ChangesItsForm(*box)) return true;
    waiting.insert(waiting.end(), box->children.begin(), box->children.end());
  }
  return false;
}

// Empty if the box does not agree to be fixed, or would grow beyond what is worth looking at.
Bytes Written(CBox& box, std::size_t inputSize, bool changes) {
  long long size = 0;
  if (box.FixParam() != S_OK) return {};
  fuzz::Require(box.GetDataSize(&size) == S_OK, "a box that was fixed knows its size");
  if (size > kMostGrowth * static_cast<long long>(inputSize)) {
    fuzz::Require(changes, "no box swells");
    return {};
  }
  Bytes bytes(static_cast<std::size_t>(size));
  unsigned char* out = bytes.data();
  unsigned int rest = static_cast<unsigned int>(bytes.size());
  const HRESULT written = box.GetData(out, rest);
  if (changes) return {};
  fuzz::Require(written == S_OK, "a box that was fixed is written");
  fuzz::Require(rest == 0, "as many bytes are written as the size says");
  return bytes;
}

void CheckRoundTrip(CBox& box, std::size_t inputSize) {
  const bool changes = AnyChangesItsForm(box);
  const Bytes once = Written(box, inputSize, changes);
  if (once.empty()) return;
  CMp4Tree tree;
  fuzz::Require(tree.AddBoxData(once.data(), static_cast<unsigned int>(once.size()), 0) == S_OK,
                "what was written parses");
  fuzz::Require(Written(*tree.boxes.front().box, inputSize, false) == once,
                "what was written is written again in the same bytes");
}

void AskForSample(const CSampleTableReader& reader, unsigned int index) {
  unsigned int number = 0;
  unsigned int first = 0;
  long long value = 0;
  static_cast<void>(reader.SampleIndexToPosSize(index, &value, &number));
  static_cast<void>(reader.SampleIndexToChunkIndex(index, &number, &first));
  static_cast<void>(reader.ChunkIndexToSampleIndex(index, &number, 1));
  static_cast<void>(reader.SampleIndexToPreSyncSample(index, &number));
  static_cast<void>(reader.SampleIndexToNextSyncSample(index, &number));
  static_cast<void>(reader.SampleIndexToLeastCts(index, &value));
  if (reader.SampleIndexToCts(index, &value) == S_OK)
    static_cast<void>(reader.CtsToSample(value, &number));
}

void AskForTrack(CTrackBox* track) {
  CSampleTableReader reader(CTrackBox_wr(track).SampleTableBox());
  for (const unsigned int index : {0u, 1u, 5u, reader.GetSampleNum() - 1, 0x7FFFFFFFu, 0xFFFFFFFFu})
    AskForSample(reader, index);
  CTrackReader times(track);
  static_cast<void>(times.TrackTimeToMovieTime(times.GetMediaDuration()));
  static_cast<void>(times.MovieTimeToTrackTime(times.GetTrackDuration()));
  static_cast<void>(times.GetSampleDeltaSum());
  static_cast<void>(times.ChangeScale(90000));
  static_cast<void>(reader.RewriteChunkOffset(-100));
  static_cast<void>(reader.ConvertChunkOffsetToChunkLargeOffset());
  static_cast<void>(reader.ConvertChunkLargeOffsetToChunkOffset());
}

}  // namespace

void fuzz::RunInput(const unsigned char* data, std::size_t size) {
  QUIRVA::CFileBuffer source;
  if (source.SetData(data, static_cast<unsigned int>(size)) != S_OK) return;
  CMp4File file;
  const HRESULT parsed = file.SetReader(&source);
  if (parsed != S_OK && !file.boxes.empty()) file.boxes.back().type = 0;  // perhaps half-built
  for (const CMp4Tree::Record& record : file.boxes)
    if (record.box != nullptr && record.type != 0) CheckRoundTrip(*record.box, size);
  if (parsed != S_OK) return;
  constexpr std::size_t kTracksToAsk = 4;
  std::vector<CTrackBox*> tracks = CMovieBox_wr(file.GetMovieBox()).Tracks();
  if (tracks.size() > kTracksToAsk) tracks.resize(kTracksToAsk);
  for (CTrackBox* track : tracks) AskForTrack(track);
  CheckRoundTrip(*file.GetMovieBox(), size + 8 * size);
}
