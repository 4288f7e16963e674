#include "workflow/rescue/video_sets.h"

#include <algorithm>

namespace clipchain::rescue {

namespace {

// Identifiers that ISO/IEC 14496-10 allows (7.4.2); ISO/IEC 23008-2 allows fewer.
constexpr unsigned int kMostSequences = 32;
constexpr unsigned int kMostPictures = 256;

// Profiles that say more about colour (ISO/IEC 14496-10, 7.3.2.1.1).
bool SaysMore(unsigned int profile) {
  constexpr unsigned int kProfiles[] = {100, 110, 122, 244, 44,  83, 86,
                                        118, 128, 138, 139, 134, 135};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

void SkipScalingList(SyntaxReader& in, unsigned int entries) {
  int last = 8;
  int next = 8;
  for (unsigned int i = 0; i < entries && in.good(); ++i) {
    // A 0 says that the rest of a list is as the entry before, and not in the stream (7.3.2.1.1.1).
    if (next != 0) next = (last + in.Signed() + 256) % 256;
    if (next != 0) last = next;
  }
}

void ReadColour(SyntaxReader& in, SequenceSet& set) {
  const unsigned int format = in.Unsigned();
  if (format == 3) set.separatePlanes = in.Flag();
  in.Unsigned();
  in.Unsigned();
  in.Flag();
  if (!in.Flag()) return;
  // Lists of scaling factors stand ahead of what is looked for, and have no length to skip them by.
  const unsigned int lists = format == 3 ? 12 : 8;
  for (unsigned int i = 0; i < lists && in.good(); ++i) {
    if (in.Flag()) SkipScalingList(in, i < 6 ? 16 : 64);
  }
}

void ReadOrder(SyntaxReader& in, SequenceSet& set) {
  set.orderType = in.Unsigned();
  // By the order of pictures (8.2.1 of ISO/IEC 14496-10) samples are told to follow each other.
  if (set.orderType == 0) set.orderBits = in.Unsigned() + 4;
  if (set.orderType != 1) return;
  in.Flag();
  in.Signed();
  in.Signed();
  // No more are allowed (7.4.2.1.1).
  const unsigned int cycle = std::min(in.Unsigned(), 255U);
  for (unsigned int i = 0; i < cycle && in.good(); ++i) in.Signed();
}

// profile_tier_level() of a sequence set (ISO/IEC 23008-2, 7.3.3).
void SkipProfiles(SyntaxReader& in, unsigned int subLayers) {
  // Both have fixed widths; of the level of the whole sequence there is always one.
  constexpr unsigned int kProfileBits = 88;
  constexpr unsigned int kLevelBits = 8;
  in.Skip(kProfileBits + kLevelBits);
  if (subLayers == 0) return;
  bool profiles[8] = {};
  bool levels[8] = {};
  for (unsigned int i = 0; i < 8; ++i) {
    // There are flags for eight of them, however many there are.
    const bool counts = i < subLayers;
    profiles[i] = in.Flag() && counts;
    levels[i] = in.Flag() && counts;
  }
  for (unsigned int i = 0; i < subLayers; ++i) {
    if (profiles[i]) in.Skip(kProfileBits);
    if (levels[i]) in.Skip(kLevelBits);
  }
}

}  // namespace

std::optional<std::pair<unsigned int, SequenceSet>> ReadAvcSequence(SyntaxReader& in) {
  SequenceSet set;
  const unsigned int profile = in.Bits(8);
  in.Skip(16);
  const unsigned int id = in.Unsigned();
  if (SaysMore(profile)) ReadColour(in, set);
  set.frameNumberBits = in.Unsigned() + 4;
  ReadOrder(in, set);
  in.Unsigned();
  in.Flag();
  in.Unsigned();
  in.Unsigned();
  set.framesOnly = in.Flag();
  // Both numbers have 16 bits at most (7.4.2.1.1): more were read at a wrong place.
  if (!in.good() || id >= kMostSequences || set.frameNumberBits > 16 || set.orderBits > 16 ||
      set.orderType > 2)
    return std::nullopt;
  return std::pair{id, set};
}

std::optional<std::pair<unsigned int, PictureSet>> ReadAvcPicture(SyntaxReader& in) {
  PictureSet set;
  const unsigned int id = in.Unsigned();
  set.sequenceSet = in.Unsigned();
  in.Flag();
  set.bottomOrder = in.Flag();
  if (!in.good() || id >= kMostPictures) return std::nullopt;
  return std::pair{id, set};
}

std::optional<std::pair<unsigned int, SequenceSet>> ReadHevcSequence(SyntaxReader& in) {
  SequenceSet set;
  in.Skip(4);
  const unsigned int subLayers = in.Bits(3);
  in.Flag();
  SkipProfiles(in, subLayers);
  const unsigned int id = in.Unsigned();
  if (in.Unsigned() == 3) set.separatePlanes = in.Flag();
  in.Unsigned();
  in.Unsigned();
  if (in.Flag()) {
    for (unsigned int i = 0; i < 4; ++i) in.Unsigned();
  }
  in.Unsigned();
  in.Unsigned();
  set.orderBits = in.Unsigned() + 4;
  if (!in.good() || id >= kMostSequences || set.orderBits > 16) return std::nullopt;
  return std::pair{id, set};
}

std::optional<std::pair<unsigned int, PictureSet>> ReadHevcPicture(SyntaxReader& in) {
  PictureSet set;
  const unsigned int id = in.Unsigned();
  set.sequenceSet = in.Unsigned();
  set.dependentSlices = in.Flag();
  set.outputFlag = in.Flag();
  set.extraBits = in.Bits(3);
  if (!in.good() || id >= kMostPictures) return std::nullopt;
  return std::pair{id, set};
}

}  // namespace clipchain::rescue
