// Which track of an input continues which track of the first one.
#pragma once

#include <deque>
#include <unordered_map>
#include <unordered_set>

#include "box/structural_boxes.h"
#include "box/top_level_boxes.h"
#include "reader/track_reader.h"
#include "reader/typed_views.h"

namespace MP4G {

// The tracks of an input that wait for a partner, by sample entry type, each kind in box order. A
// track whose identifier was used is passed over, so each is looked at once however many tracks
// there are.
class FreeTracks {
 public:
  explicit FreeTracks(CMovieBox* movie) {
    for (CTrackBox* track : CMovieBox_wr(movie).Tracks()) {
      const CTrackReader reader(track);
      byType_[reader.GetSampleEntryType()].push_back({track, reader.GetTrackID()});
    }
  }

  struct Candidate {
    CTrackBox* track;
    unsigned int id;
  };

  // The first free track of that type; a null track if there is none.
  Candidate First(unsigned int type) {
    std::deque<Candidate>& queue = byType_[type];
    while (!queue.empty() && used_.count(queue.front().id) != 0) queue.pop_front();
    return queue.empty() ? Candidate{nullptr, 0} : queue.front();
  }

  void Use(unsigned int id) { used_.insert(id); }

 private:
  std::unordered_map<unsigned int, std::deque<Candidate>> byType_;
  std::unordered_set<unsigned int> used_;
};

}  // namespace MP4G
