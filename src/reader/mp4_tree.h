// The ordered top-level boxes of an MP4 file.
#pragma once

#include <list>

#include "box/top_level_boxes.h"

namespace MP4G {

// Owns its boxes. Pointers that it lends die with the tree. A record without a box is normal: media
// data, and boxes too large to load, are known by their type only.
class CMp4Tree {
 public:
  struct Record {
    unsigned int type;
    CBox* box;  // owned by the tree; null for a box that is known by its type only
  };

  CMp4Tree() = default;
  virtual ~CMp4Tree();
  CMp4Tree(const CMp4Tree&) = delete;
  CMp4Tree& operator=(const CMp4Tree&) = delete;

  [[nodiscard]] HRESULT Init();
  void Reset();
  void ResetTree();

  // Parses one top-level box that stood at `position` in its source, and appends it. S_FALSE below
  // 8 bytes. A box that fails to parse stays in the tree, half-built, until the next ResetTree.
  [[nodiscard]] HRESULT AddBoxData(const unsigned char* data, unsigned int size,
                                   long long position);
  // Appends a copy of a box, which is fixed up first and stays with the caller. E_POINTER for null.
  [[nodiscard]] HRESULT AddBoxData(CBox* box);
  // Appends a record without a box.
  void AddBoxType(unsigned int type);

  // Positions in a file made of the loaded boxes alone: records without a box count for nothing.
  long long GetNoLargeBoxSizeSum() const;
  [[nodiscard]] HRESULT GetMdatBoxPos(long long* position) const;
  // The sum of the sizes ahead of the first record of `type`, or of all records when there is none;
  // with `includeSelf` 1 that record's own size is added. E_POINTER for null.
  [[nodiscard]] HRESULT GetBoxPos(unsigned int type, long long* position,
                                  signed char includeSelf) const;

  // The first "ftyp" and "moov": null if missing, not loaded, or of another class.
  CFileTypeBox* GetFileTypeBox() const;
  CMovieBox* GetMovieBox() const;
  // The box of record number `index`, from 0, among those of `type`; null when there are fewer.
  CBox* GetBox(unsigned int type, unsigned int index) const;

  // Moves the first "mdat" record, with its box, behind all others.
  [[nodiscard]] HRESULT MoveMdatBoxToTail();

  std::list<Record> boxes;  // in file order
};

}  // namespace MP4G
