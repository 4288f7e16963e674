#include "workflow/clip_order.h"

#include "workflow/checks/order_check.h"
#include "workflow/checks/unreadable_clip.h"
#include "workflow/clips/clip_file.h"

namespace clipchain {

ClipOrder SortClips(const std::vector<std::string>& clips) {
  ClipOrder order{clips, {}};
  std::vector<OrderFacts> facts;
  for (const std::string& path : clips) {
    ClipFile clip(path);
    const HRESULT result = clip.WhyUnreadable() ? MP4G_E_INPUT_OPEN : clip.Parse();
    if (result != S_OK || clip.Movie() == nullptr) {
      order.findings.push_back(WhyNoClip(path, result).front());
    } else {
      facts.push_back(OrderFactsOf(clip));
    }
  }
  if (!order.findings.empty()) return order;
  const auto recorded = RecordedOrder(facts);
  if (!recorded || recorded->size() != clips.size()) {
    order.findings.push_back(MakeFinding(
        Message::kOrderUnknown, "",
        "the clips can't be put in order: nothing in them makes one recording of them all",
        "give them in their order without --sort, or let \"clipchain join FOLDER -o DIR\" find the "
        "recordings"));
    return order;
  }
  for (std::size_t i = 0; i < clips.size(); ++i) order.clips[i] = clips[(*recorded)[i]];
  return order;
}

}  // namespace clipchain
