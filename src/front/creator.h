// What an application holds to chain the clips of a camera into sequences.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "foundation/export.h"
#include "foundation/guid.h"
#include "foundation/result.h"

class CEngineCtrl;

namespace MP4G {
class IMp4Sequence;
class IMp4SequenceCreator;
}  // namespace MP4G

// A clip's identifier. All zero means that there is none.
struct _tagQVGUID {
  unsigned long Data1;    // first group; only the low 32 bits are used
  std::uint16_t Data2;    // second group
  std::uint16_t Data3;    // third group
  std::uint8_t Data4[8];  // the last two groups, in textual order
};

// A calendar date and time of day. All zero: none is known.
struct _tagQVTimeDate {
  std::int32_t year;
  std::int32_t month;  // 1 to 12
  std::int32_t day;    // of the month, from 1
  std::int32_t hour;
  std::int32_t minute;
  std::int32_t second;
};

namespace MP4G {

// The controller's sequence engine without a new reference; null for a null controller.
IMp4SequenceCreator* getCreator(CEngineCtrl* control);
// The sequence with a reference that the caller must release; null without an engine and for an
// index out of range.
IMp4Sequence* getSequence(CEngineCtrl* control, int index);

// The same identifier in the other form.
_GUID QVGUIDtoGUID(_tagQVGUID id);
_tagQVGUID GUIDtoQVGUID(_GUID id);

}  // namespace MP4G

// Sequences with wide paths. Operations answer what those of MP4G::IMp4SequenceCreator and
// MP4G::IMp4Sequence answer. Without an engine a result code is E_POINTER, a count 0 and nothing is
// done. An index without a sequence gives 0, null, all zero or, for a result code, E_POINTER.
class CreatorImpl {
 public:
  CreatorImpl();
  virtual ~CreatorImpl();
  CreatorImpl(const CreatorImpl&) = delete;
  CreatorImpl& operator=(const CreatorImpl&) = delete;

  // Makes a new engine; what was registered is gone.
  [[nodiscard]] HRESULT initialize();
  // Drops the engine.
  void reset();

  [[nodiscard]] HRESULT registerMp4(const wchar_t* path);
  [[nodiscard]] HRESULT registerMp4WithID(const wchar_t* path, _tagQVGUID head, _tagQVGUID tail);
  void clearSequences();
  std::uint32_t sequenceCount();
  std::uint32_t unclosedSequenceCount();
  [[nodiscard]] HRESULT salvationProcess();
  void notifyNewVolume();
  // Without an engine the value of E_POINTER, in place of a count.
  std::uint32_t relaySequnceCount();
  [[nodiscard]] HRESULT divideRelaySequenceExceptFirstOne();

  // E_FAIL, with `out` untouched, if no date is known; E_POINTER for a null `out`.
  [[nodiscard]] HRESULT sequenceTimedate(int index, _tagQVTimeDate* out);
  std::uint32_t sequenceFileCount(int index);
  // The path as it was registered and its length in characters; empty for a file index past the
  // end. Lent by the clip: to be copied before anything is registered or cleared. Without a
  // sequence null, with `length` untouched.
  const wchar_t* sequenceFilePath(int index, int fileIndex, int& length);
  signed char sequenceIsUnclosed(int index);
  signed char sequenceConsistsOfVireoStreams(int index);
  signed char sequenceIsRelaySequence(int index);
  _tagQVGUID sequenceHeadUniqueID(int index);
  _tagQVGUID sequenceTailUniqueID(int index);

  std::unique_ptr<CEngineCtrl> engine;  // null until initialize
};

// Chains clips: init, registerMp4 once per clip in any order, then the questions. Sequences are
// counted from 0; a later registration may join sequences and so move the ones behind.
//
// Paths are UTF-8. Flags are 1 or 0. An index without a sequence gives 0, no path or all zero, and
// an object without an engine the same, or -1 where the answer is a result code. One object is
// driven by one thread at a time.
class CLIPCHAIN_API QVMp4SequenceCreator {
 public:
  // Without an engine; init makes it.
  QVMp4SequenceCreator();
  ~QVMp4SequenceCreator();
  QVMp4SequenceCreator(const QVMp4SequenceCreator&) = delete;
  QVMp4SequenceCreator& operator=(const QVMp4SequenceCreator&) = delete;

  // This object with an engine, or null if that could not be made.
  [[nodiscard]] QVMp4SequenceCreator* init();
  // A new engine in place of the old one. 0, or -1 whatever went wrong.
  [[nodiscard]] HRESULT prepareEngine();

  // Analyses a file and joins its clip to the sequences that it fits. E_FAIL for a path that is
  // null or no UTF-8; any other failure is the analysis's, and the file is not registered.
  [[nodiscard]] HRESULT registerMp4(const char* path);
  // The same with identifiers by which the clip's two ends are to be known in place of its own; two
  // zero ones replace nothing.
  [[nodiscard]] HRESULT registerMp4WithID(const char* path, _tagQVGUID headUniqueID,
                                          _tagQVGUID tailUniqueID);
  // Forgets everything, the number of volumes included.
  void clearSequences();
  std::uint32_t sequenceCount();
  // Sequences that are open at an end: a clip is not registered yet, or lost.
  std::uint32_t unclosedSequenceCount();
  // Joins two remaining sequences if the timecode of one runs on from the other's. 0 also if there
  // is nothing to join.
  [[nodiscard]] HRESULT salvationProcess();
  // What is registered from now on lies on another volume; nothing before the first registration.
  void notifyNewVolume();
  // Sequences whose clips lie on more than one volume.
  std::uint32_t relaySequnceCount();
  // Cuts them at the change of volume, sparing the first one. E_POINTER before the first
  // registration; 0 without an engine.
  [[nodiscard]] HRESULT divideRelaySequenceExceptFirstOne();

  // The recording date of the first clip; all zero if none is known.
  _tagQVTimeDate timedateOfSequenceAt(int index);
  std::uint32_t filecountOfSequenceAt(int index);
  // The path as it was registered; empty for a file index past the end; nothing without such a
  // sequence.
  std::optional<std::string> filepathOfSequenceAt(int index, int fileIndex);
  signed char sequenceIsUnclosed(int index);
  // Whether the first clip carries the camera's stream marker.
  signed char sequenceConsistsOfVireoStreams(int index);
  signed char sequenceIsRelaySequence(int index);
  // The identifiers by which the ends of the sequence are known.
  _tagQVGUID sequenceHeadUniqueID(int index);
  _tagQVGUID sequenceTailUniqueID(int index);

 private:
  std::unique_ptr<CreatorImpl> _pImpl;
};
