// Compares what a track of a result says about samples beside its sample table proper, groups,
// sub-samples and how they are protected, with what the clips say.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "workflow/oracle/sample_groups.h"
#include "workflow/oracle/table_forms.h"

namespace clipchain::samples {

class ExtrasComparison {
 public:
  // Types of boxes that the result may lack; must outlive the comparison.
  explicit ExtrasComparison(const std::set<unsigned int>& dropped) : dropped_(dropped) {}

  // Reads what the track of the result says; false where that fails.
  bool Open(const SampleFile& result, const TrackView& track, GroupNames& names) {
    return ReadExtras(result, track, names, ours_);
  }

  // Compares `count` samples, from the result's `first` on, with all of a clip's; clips come in
  // their order. The first difference.
  std::optional<WrongTable> Compare(const SampleExtras& clips, Number first, Number count,
                                    const std::string& path);

 private:
  // A cursor over what is said of groups.
  struct GroupPlace {
    std::size_t run = 0;
    Number used = 0;
  };

  // The same over what is told of protected samples.
  struct ProtectionPlace {
    std::size_t run = 0;
    Number used = 0;
    std::size_t byte = 0;
  };

  static std::uint32_t SizeAt(const ToldProtection& told, ProtectionPlace& place, Number& left);
  static unsigned int GroupAt(const std::vector<GroupRun>& runs, GroupPlace& place, Number& left);
  static void Skip(GroupPlace& place, const std::vector<GroupRun>& runs, Number count);
  std::optional<WrongTable> CompareGroups(const SampleExtras& clips, Number first, Number count,
                                          const std::string& path);
  std::optional<WrongTable> CompareSubSamples(const SampleExtras& clips, Number first, Number count,
                                              const std::string& path);

  std::optional<WrongTable> CompareProtection(const ToldProtection& clips, Number first,
                                              Number count, const std::string& path);

  const std::set<unsigned int>& dropped_;
  SampleExtras ours_;
  std::map<GroupKey, GroupPlace> places_;
  // Those that were compared.
  std::size_t subSamples_ = 0;
  ProtectionPlace protection_;
};

}  // namespace clipchain::samples
