// Changes MP4 files as boxes, so that most of what comes out still has sizes that add up. Targets
// that take whole files are linked with it; the fuzzer finds it by its two functions' names.
#pragma once

#include <array>
#include <random>
#include <vector>

namespace fuzz {

using Bytes = std::vector<unsigned char>;

// A box as the mutator sees it.
struct Node {
  std::array<unsigned char, 4> type{};
  Bytes body;                  // in front of the children; all of a box without
  std::vector<Node> children;  // of a type that is known to have some
  std::uint32_t lie = 0;       // added to the size field

  std::size_t Size() const;
};

// A run of boxes; what is none becomes the body of a last one without a type.
std::vector<Node> Parse(const unsigned char* data, std::size_t size);
Bytes Serialise(const std::vector<Node>& nodes);

class BoxMutator {
 public:
  explicit BoxMutator(unsigned int seed) : random_(seed) {}

  // Makes a few changes.
  void Mutate(std::vector<Node>& nodes);
  // Puts boxes of `other` into `nodes`.
  void CrossOver(std::vector<Node>& nodes, const std::vector<Node>& other);

 private:
  struct Place {
    std::vector<Node>* siblings;
    std::size_t index;
  };

  unsigned int Below(std::size_t bound);
  Place Pick(std::vector<Node>& nodes);
  void MutateOnce(std::vector<Node>& nodes);
  void Copy(const Node& node, std::vector<Node>& nodes);
  void Repeat(std::vector<Node>& nodes);
  void ChangeBox(Node& node, unsigned int choice);
  void ChangeBody(Node& node);
  void ChangeNumber(Node& node);
  void ChangeTable(Node& node);
  void ChangeType(Node& node);
  void Wrap(Node& node);
  Node NewBox();

  std::minstd_rand random_;
};

}  // namespace fuzz
