#include "workflow/oracle/track_pairs.h"

#include <deque>
#include <unordered_map>

#include "workflow/oracle/sample_description.h"

namespace clipchain::samples {

TrackPairs::Likeness TrackPairs::Of(const TrackView& track) {
  Likeness likeness;
  likeness.coded = std::to_string(track.handler) + '/';
  likeness.described = likeness.coded;
  if (!track.entries.empty()) likeness.coded += std::to_string(U32(track.entries.front(), 4));
  for (const View entry : track.entries)
    likeness.described += DescriptionOf(entry, track.handler).bare;
  // Two tracks of sound in one description are told apart by language and name.
  likeness.named = likeness.described + '/' + std::to_string(track.language) + '/' +
                   std::string(track.name.begin(), track.name.end());
  return likeness;
}

TrackPairs::TrackPairs(const SampleFile& result, By by) : by_(by) {
  for (const TrackView& track : result.Tracks()) wanted_.push_back(Of(track));
}

std::vector<const TrackView*> TrackPairs::Find(const SampleFile& clip,
                                               std::vector<const TrackView*>& left) const {
  const std::vector<TrackView>& tracks = clip.Tracks();
  std::vector<Likeness> offered;
  for (const TrackView& track : tracks) offered.push_back(Of(track));
  std::vector<const TrackView*> partners(wanted_.size());
  std::vector<bool> used(tracks.size());
  const auto match = [&](std::string Likeness::*by) {
    std::unordered_map<std::string, std::deque<std::size_t>> free;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      if (!used[i]) free[offered[i].*by].push_back(i);
    }
    for (std::size_t i = 0; i < wanted_.size(); ++i) {
      std::deque<std::size_t>& queue = free[wanted_[i].*by];
      if (partners[i] != nullptr || queue.empty()) continue;
      partners[i] = &tracks[queue.front()];
      used[queue.front()] = true;
      queue.pop_front();
    }
  };
  // The most alike first, so that no track takes the partner of one that resembles it more.
  if (by_ == By::kDescription) {
    match(&Likeness::named);
    match(&Likeness::described);
  }
  match(&Likeness::coded);
  left.clear();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    if (!used[i]) left.push_back(&tracks[i]);
  }
  return partners;
}

}  // namespace clipchain::samples
