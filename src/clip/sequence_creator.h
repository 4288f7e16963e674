// Building sequences from clips that come one at a time, in any order.
#pragma once

#include <list>

#include "foundation/guid.h"
#include "foundation/result.h"

namespace MP4G {

class CMp4Sequence;
class CMp4SequenceCreator;

// Every clip starts as a sequence of its own, is put into the list by its time and joined to
// whatever its identifiers fit, for as long as something fits: a clip that fills a gap closes up
// the chains on both of its sides.
//
// The list is sorted by ascending time as sequences go in, and not kept so: a sequence that grows
// at its head stays where it is. Both lists hold one reference on each entry. Emptied sequences
// wait to be used again, so somebody who still holds one may see it fill up with other clips.
//
// Each registration costs a walk of the list for the insertion and one for each join.
class CSequenceCreator {
 public:
  explicit CSequenceCreator(CMp4SequenceCreator* engine);
  virtual ~CSequenceCreator();
  CSequenceCreator(const CSequenceCreator&) = delete;
  CSequenceCreator& operator=(const CSequenceCreator&) = delete;

  // Drops all sequences and starts counting volumes anew.
  void Reset();
  // Drops all sequences.
  void ResetSequences();

  // Analyses the file and takes its clip in. Unless both identifiers are zero they become the ones
  // by which the new sequence's head and tail are known, the zero one of the two included. Any
  // result but S_OK of the analysis is returned and the file is not registered; a failure to
  // connect is returned as well, and then it is.
  [[nodiscard]] HRESULT RegisterMp4(const wchar_t* path, _GUID headID, _GUID tailID);

  // Joins the last two sequences, in one order or the other, if the first one's last clip declares
  // a successor and the timecode runs on. S_OK also if there are not two, or they do not fit.
  [[nodiscard]] HRESULT SalvationProcess();

  // Cuts sequences at their changes of volume. The first relay sequence of the list is spared, for
  // good if it stands at the front; elsewhere it is seen again once another one has been cut.
  [[nodiscard]] HRESULT DivideRelaySequenceExceptFirstOne();

  // Without a reference of its own; null past the end.
  CMp4Sequence* GetSequenceAtIndex(unsigned int index) const;
  // The code E_POINTER in place of a count if the list holds a null entry.
  unsigned int GetUnclosedSequenceCount() const;
  unsigned int GetRelaySequenceCount() const;

  // The steps of the above.
  // A sequence without clips, with a reference for the caller. E_POINTER for null.
  [[nodiscard]] HRESULT PrepareEmptySequence(CMp4Sequence** out);
  // Takes over the caller's reference. Among equal times the newcomer stands behind. Null does
  // nothing.
  void InsertSequenceToListWithTimesort(CMp4Sequence* sequence);
  // Joins `sequence`, and then whatever took it in, until nothing fits.
  [[nodiscard]] HRESULT ContinueConnecting(CMp4Sequence* sequence);
  // Gives the clips of `sequence` to the first other entry that they fit and stores that entry;
  // stores nothing if there is none. E_POINTER for a null argument or entry.
  [[nodiscard]] HRESULT ConnectSequence(CMp4Sequence* sequence, CMp4Sequence** connected);
  // Moves the entry and its reference; a sequence that is not in the list stays what it is.
  void MoveSequenceToQue(CMp4Sequence* sequence);
  [[nodiscard]] HRESULT SalvationProcessImpl();
  // S_OK if `second` was appended to `first`, S_FALSE if they do not fit.
  [[nodiscard]] HRESULT ConnectSequenceAtSalvationMode(CMp4Sequence* first, CMp4Sequence* second);

  CMp4SequenceCreator* owner;            // not owned
  std::list<CMp4Sequence*> sequences;    // the live ones
  std::list<CMp4Sequence*> sequenceQue;  // emptied ones
  unsigned int volume = 0;               // of the next clip

 private:
  // Moves the part of a sequence from a change of volume on into a new entry.
  [[nodiscard]] HRESULT SplitOff(CMp4Sequence& sequence, unsigned int index);
};

}  // namespace MP4G
