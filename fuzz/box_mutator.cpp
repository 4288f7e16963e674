#include "box_mutator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "box/box_factory.h"

extern "C" std::size_t LLVMFuzzerMutate(unsigned char* data, std::size_t size, std::size_t maxSize);

namespace fuzz {

namespace {

constexpr std::size_t kHeader = 8;
constexpr unsigned int kDeepest = 12;
// More than this and a box is left as bytes.
constexpr std::size_t kMostBoxes = 4000;

// Boxes with children, and how many bytes of their own stand in front of them.
struct Container {
  std::string_view type;
  std::size_t own;
};
constexpr Container kContainers[] = {
    {"moov", 0},  {"trak", 0},  {"mdia", 0},  {"minf", 0},  {"dinf", 0},
    {"stbl", 0},  {"edts", 0},  {"mvex", 0},  {"tref", 0},  {"udta", 0},
    {"moof", 0},  {"traf", 0},  {"mfra", 0},  {"dref", 8},  {"stsd", 8},
    {"meta", 4},  {"avc1", 78}, {"avcp", 78}, {"mp4v", 78}, {"jpeg", 78},
    {"mp4a", 28}, {"tmcd", 26}, {"uuid", 16}, {"VROP", 0},  {"VRTH", 0},
};

// What the engine knows, the camera's boxes, and some that it passes on.
constexpr std::string_view kOtherTypes[] = {"meta", "udta", "skip", "pdin", "uuid", "VRCV", "VRTH",
                                            "VRDA", "VROP", "VRFB", "hvc1", "hev1", "vide", "soun"};

// Boxes of entries behind a count, and what an entry takes.
struct Table {
  std::string_view type;
  std::size_t own;  // bytes up to the end of the count
  std::size_t entry;
};
constexpr Table kTables[] = {{"stts", 8, 8},  {"ctts", 8, 8}, {"stsc", 8, 12}, {"stco", 8, 4},
                             {"co64", 8, 8},  {"stss", 8, 4}, {"stsz", 12, 4}, {"stz2", 12, 2},
                             {"elst", 8, 12}, {"sdtp", 4, 1}};

constexpr std::uint32_t kNumbers[] = {0,      1,       2,          4,          7,
                                      8,      16,      0x7F,       0x80,       0xFF,
                                      0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 1000,
                                      0x8000, 0x7FFF,  0xFFFFFFF8, 0xFFFFFFFE, 0xFFFFFFFF};

std::uint32_t ReadU32(const unsigned char* at) {
  return static_cast<std::uint32_t>(at[0]) << 24 | static_cast<std::uint32_t>(at[1]) << 16 |
         static_cast<std::uint32_t>(at[2]) << 8 | at[3];
}

void WriteU32(unsigned char* at, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) *at++ = static_cast<unsigned char>(value >> shift);
}

template <class Row, std::size_t count>
const Row* Find(const Row (&rows)[count], const std::array<unsigned char, 4>& type) {
  const auto found = std::find_if(std::begin(rows), std::end(rows), [&](const Row& row) {
    return std::equal(type.begin(), type.end(), row.type.begin());
  });
  return found != std::end(rows) ? found : nullptr;
}

std::array<unsigned char, 4> TypeOf(std::uint32_t code) {
  std::array<unsigned char, 4> type;
  WriteU32(type.data(), code);
  return type;
}

std::vector<std::array<unsigned char, 4>> AllTypes() {
  std::vector<std::array<unsigned char, 4>> types;
  for (const unsigned int code : MP4G::CBoxFactory::KnownTypes()) types.push_back(TypeOf(code));
  for (const std::string_view name : kOtherTypes) {
    types.emplace_back();
    std::copy(name.begin(), name.end(), types.back().begin());
  }
  return types;
}

std::vector<Node> ParseRun(const unsigned char* data, std::size_t size, unsigned int depth,
                           std::size_t& budget) {
  std::vector<Node> nodes;
  while (size != 0) {
    Node node;
    const std::uint32_t declared = size >= kHeader ? ReadU32(data) : 0;
    if (budget == 0 || declared < kHeader || declared > size) {
      node.body.assign(data, data + size);
      nodes.push_back(std::move(node));
      break;
    }
    --budget;
    std::copy(data + 4, data + kHeader, node.type.begin());
    const Container* container = Find(kContainers, node.type);
    std::size_t own = declared - kHeader;
    if (container != nullptr && depth < kDeepest && container->own <= own) {
      own = container->own;
      node.children = ParseRun(data + kHeader + own, declared - kHeader - own, depth + 1, budget);
    }
    node.body.assign(data + kHeader, data + kHeader + own);
    nodes.push_back(std::move(node));
    data += declared;
    size -= declared;
  }
  return nodes;
}

bool IsStray(const Node& node) { return node.type == std::array<unsigned char, 4>{}; }

void Append(const Node& node, Bytes& out) {
  if (!IsStray(node)) {
    unsigned char header[kHeader];
    WriteU32(header, static_cast<std::uint32_t>(node.Size()) + node.lie);
    std::copy(node.type.begin(), node.type.end(), header + 4);
    out.insert(out.end(), header, header + kHeader);
  }
  out.insert(out.end(), node.body.begin(), node.body.end());
  for (const Node& child : node.children) Append(child, out);
}

void Collect(std::vector<Node>& nodes,
             std::vector<std::pair<std::vector<Node>*, std::size_t>>& all) {
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    all.emplace_back(&nodes, i);
    Collect(nodes[i].children, all);
  }
}

}  // namespace

std::size_t Node::Size() const {
  std::size_t size = body.size() + (IsStray(*this) ? 0 : kHeader);
  for (const Node& child : children) size += child.Size();
  return size;
}

std::vector<Node> Parse(const unsigned char* data, std::size_t size) {
  std::size_t budget = kMostBoxes;
  return ParseRun(data, size, 0, budget);
}

Bytes Serialise(const std::vector<Node>& nodes) {
  Bytes out;
  for (const Node& node : nodes) Append(node, out);
  return out;
}

unsigned int BoxMutator::Below(std::size_t bound) {
  return static_cast<unsigned int>(random_() % bound);
}

BoxMutator::Place BoxMutator::Pick(std::vector<Node>& nodes) {
  std::vector<std::pair<std::vector<Node>*, std::size_t>> all;
  Collect(nodes, all);
  const auto& [siblings, index] = all[Below(all.size())];
  return {siblings, index};
}

void BoxMutator::Mutate(std::vector<Node>& nodes) {
  for (unsigned int changes = 1 + Below(4); changes != 0; --changes) MutateOnce(nodes);
}

void BoxMutator::MutateOnce(std::vector<Node>& nodes) {
  if (nodes.empty()) {
    nodes.push_back(NewBox());
    return;
  }
  const Place place = Pick(nodes);
  std::vector<Node>& siblings = *place.siblings;
  Node& node = siblings[place.index];
  const auto at = siblings.begin() + static_cast<std::ptrdiff_t>(place.index);
  switch (const unsigned int choice = Below(20)) {
    case 0:
      siblings.erase(at);
      break;
    case 1:
      Copy(node, nodes);
      break;
    case 2:
      std::swap(node, siblings[Below(siblings.size())]);
      break;
    case 3:
      siblings.insert(at, NewBox());
      break;
    case 4:
      Repeat(nodes);
      break;
    default:
      ChangeBox(node, choice);
  }
}

// To another place.
void BoxMutator::Copy(const Node& node, std::vector<Node>& nodes) {
  Node copy = node;
  const Place target = Pick(nodes);
  target.siblings->insert(target.siblings->begin() + static_cast<std::ptrdiff_t>(target.index),
                          std::move(copy));
}

// The whole once more, as a second input of a merge.
void BoxMutator::Repeat(std::vector<Node>& nodes) {
  const std::vector<Node> copy = nodes;
  nodes.insert(nodes.end(), copy.begin(), copy.end());
}

void BoxMutator::ChangeBox(Node& node, unsigned int choice) {
  if (choice == 5) {
    ChangeType(node);
  } else if (choice == 6) {
    node.lie = Below(2) == 0 ? Below(64) : 0u - Below(64);
  } else if (choice == 7) {
    Wrap(node);
  } else if (choice < 12) {
    ChangeTable(node);
  } else if (choice < 16) {
    ChangeNumber(node);
  } else {
    ChangeBody(node);
  }
}

void BoxMutator::ChangeBody(Node& node) {
  const std::size_t room = node.body.size() + 1 + Below(32);
  const std::size_t before = node.body.size();
  node.body.resize(room);
  node.body.resize(LLVMFuzzerMutate(node.body.data(), before, room));
}

void BoxMutator::ChangeNumber(Node& node) {
  if (node.body.size() < 4) return ChangeBody(node);
  unsigned char* at = node.body.data() + 4 * Below(node.body.size() / 4);
  const std::uint32_t value =
      Below(2) == 0 ? kNumbers[Below(std::size(kNumbers))] : ReadU32(at) + Below(5) - 2;
  WriteU32(at, value);
}

// Adds or takes away entries of a table and, as a rule, says so in its count.
void BoxMutator::ChangeTable(Node& node) {
  const Table* table = Find(kTables, node.type);
  if (table == nullptr || node.body.size() < table->own) return ChangeNumber(node);
  const std::size_t entries = (node.body.size() - table->own) / table->entry;
  const std::size_t wanted = Below(3) == 0 ? Below(entries + 1) : entries + Below(8);
  const Bytes first(node.body.begin() + static_cast<std::ptrdiff_t>(table->own), node.body.end());
  node.body.resize(table->own + wanted * table->entry);
  for (std::size_t i = entries; i < wanted && entries != 0; ++i)
    std::copy_n(first.begin(), table->entry,
                node.body.begin() + static_cast<std::ptrdiff_t>(table->own + i * table->entry));
  if (table->own >= 8 && Below(8) != 0)
    WriteU32(node.body.data() + table->own - 4, static_cast<std::uint32_t>(wanted));
}

void BoxMutator::ChangeType(Node& node) {
  static const std::vector<std::array<unsigned char, 4>> types = AllTypes();
  if (!IsStray(node)) node.type = types[Below(types.size())];
}

void BoxMutator::Wrap(Node& node) {
  const std::size_t levels = Below(8) == 0 ? 30 : 1;
  for (std::size_t i = 0; i < levels; ++i) {
    Node outer;
    const Container& container = kContainers[Below(std::size(kContainers))];
    std::copy(container.type.begin(), container.type.end(), outer.type.begin());
    outer.body.resize(container.own);
    outer.children.push_back(std::move(node));
    node = std::move(outer);
  }
}

Node BoxMutator::NewBox() {
  Node node;
  node.type = {'f', 'r', 'e', 'e'};
  ChangeType(node);
  node.body.resize(4 * Below(8));
  return node;
}

void BoxMutator::CrossOver(std::vector<Node>& nodes, const std::vector<Node>& other) {
  if (nodes.empty() || other.empty()) return;
  std::vector<Node> donor = other;
  for (unsigned int i = 1 + Below(2); i != 0; --i) {
    const Place from = Pick(donor);
    const Place to = Pick(nodes);
    const Node& box = (*from.siblings)[from.index];
    if (Below(2) == 0) {
      (*to.siblings)[to.index] = box;
    } else {
      to.siblings->insert(to.siblings->begin() + static_cast<std::ptrdiff_t>(to.index), box);
    }
  }
}

}  // namespace fuzz

namespace {

// What does not fit leaves the input to the fuzzer's own changes.
std::size_t Deliver(const fuzz::Bytes& bytes, unsigned char* data, std::size_t size,
                    std::size_t maxSize) {
  if (bytes.empty() || bytes.size() > maxSize) return LLVMFuzzerMutate(data, size, maxSize);
  std::memcpy(data, bytes.data(), bytes.size());
  return bytes.size();
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(unsigned char* data, std::size_t size,
                                               std::size_t maxSize, unsigned int seed) {
  // Now and then the bytes are changed as they are, sizes and all.
  if (seed % 8 == 0) return LLVMFuzzerMutate(data, size, maxSize);
  std::vector<fuzz::Node> nodes = fuzz::Parse(data, size);
  fuzz::BoxMutator(seed).Mutate(nodes);
  return Deliver(fuzz::Serialise(nodes), data, size, maxSize);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const unsigned char* first, std::size_t firstSize,
                                                 const unsigned char* second,
                                                 std::size_t secondSize, unsigned char* out,
                                                 std::size_t maxSize, unsigned int seed) {
  std::vector<fuzz::Node> nodes = fuzz::Parse(first, firstSize);
  fuzz::BoxMutator(seed).CrossOver(nodes, fuzz::Parse(second, secondSize));
  const fuzz::Bytes bytes = fuzz::Serialise(nodes);
  if (bytes.empty() || bytes.size() > maxSize) return 0;
  std::memcpy(out, bytes.data(), bytes.size());
  return bytes.size();
}
