// Tells what a merge of clips gives, without making it.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "adapt/fit_options.h"
#include "workflow/boxes/top_level.h"
#include "workflow/finding.h"

namespace clipchain {

class Fit;

// A part of the file that a merge gives: bytes of a clip, or bytes that stand in no clip.
struct ImagePiece {
  static constexpr std::size_t kNoClip = static_cast<std::size_t>(-1);

  // In the merged file.
  unsigned long long position = 0;
  unsigned long long size = 0;
  // Index of the clip.
  std::size_t clip = kNoClip;
  // Where they begin in the clip's file. Of bytes that stand in no clip: their index in
  // MergeImage::own.
  unsigned long long source = 0;
};

struct MergeImage {
  // One behind the other, without gaps, none empty.
  std::vector<ImagePiece> pieces;
  // What stands in no clip, each the whole of one piece: movie boxes are large, and none is copied.
  std::vector<std::vector<unsigned char>> own;
  // Of the merged file.
  unsigned long long size = 0;

  // Of a piece that stands in no clip.
  std::span<const unsigned char> Own(const ImagePiece& piece) const { return own[piece.source]; }
  // Bytes that stand in no clip.
  unsigned long long OwnSize() const;

  void Add(std::vector<unsigned char> bytes);
  void Add(std::size_t clip, unsigned long long source, unsigned long long length);
  void AddZeros(unsigned long long length);
};

struct ImageTask {
  // In the order of the merge.
  const std::vector<std::string>& clips;
  Layout layout{};
  // Null: nothing is adapted.
  const Fit* fit = nullptr;
};

// Puts the boxes of the clips together as a merge in that order does, in memory, and notes which
// ranges of the clips their media are; reads no media. What speaks against it, if anything does: a
// clip that can't be read, ends before its media does, or that a merge refuses.
[[nodiscard]] Findings MakeMergeImage(const ImageTask& task, MergeImage& image);
// The same of clips that are adapted to each other first, as the options say.
[[nodiscard]] Findings MakeMergeImage(const std::vector<std::string>& clips,
                                      const FitOptions& options, const Layout& layout,
                                      MergeImage& image);

}  // namespace clipchain
