// Tells by two names whether a camera gave them one after the other.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace clipchain {

// A name that would follow a given one.
struct NextName {
  std::string name;
  // The number that runs on counts the chapters of a recording, which has a number of its own in
  // the name. Else it counts clips.
  bool isChapter = false;
};

// The names that follow `name` with one of its numbers higher by `step`: a number of clips, which
// begins anew behind 9999; a number of chapters in front of another number, be it without anything
// between them. Numbers that are parts of a date or a time do not run.
std::vector<NextName> NamesBehind(std::string_view name, unsigned int step);

// How the numbers of two names go that are equal but for one.
enum class NumberOrder {
  // They are not.
  kNone,
  // It is higher in the second one, or began anew.
  kRises,
  kFalls,
  // It falls, for chapters are counted in front of the number of the recording.
  kNextRecording,
};
NumberOrder OrderOfNumbers(std::string_view before, std::string_view behind);

// Whether two names are equal but for the number of a recording, which rises by 1 or 2, beside the
// number of a chapter.
bool IsOfNextRecording(std::string_view before, std::string_view behind);

// Whether two names of one series are those of two recordings if what stands beside a number of
// four digits or more in them counts chapters: that number differs. A number of five digits counts
// clips.
bool AreOfTwoRecordings(std::string_view before, std::string_view behind);

// Whether somebody may have thought of the number: it is the only one of the name and has up to
// three digits. Cameras count clips with four or more.
bool MayBeGiven(std::string_view name);

// Whether a camera may have numbered two clips by these names: they are equal but for a number of
// two digits or more that is no part of a date. "(1)" stands behind what a system copies.
bool MayBeNumbered(std::string_view a, std::string_view b);

// A name in which nothing but a recording of four digits is numbered, "0034", or a chapter of it,
// as in "020034".
struct RecordingName {
  unsigned int recording = 0;
  // 0: none is named.
  unsigned int chapter = 0;
};
std::optional<RecordingName> RecordingNameOf(std::string_view name);

// "100ABCDE" as camera folders are named: three digits and five other characters. 0 for any other
// name.
unsigned int FolderNumber(std::string_view name);

}  // namespace clipchain
