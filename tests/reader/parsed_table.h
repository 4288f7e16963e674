// What the tests of the sample table reader share.
#pragma once

#include <memory>
#include <random>

#include "box/sample_table_boxes.h"
#include "reader/sample_table_reader.h"
#include "support/box_io.h"

// A number from 0 to `end` - 1.
inline unsigned int Below(std::mt19937& random, unsigned int end) {
  return static_cast<unsigned int>(random() % end);
}

// A sample table parsed from its boxes, and the reader on it.
class ParsedTable {
 public:
  explicit ParsedTable(const support::Bytes& boxes)
      : box(support::Parsed<MP4G::CSampleTableBox>(support::Box("stbl", {boxes}))),
        reader(box.get()) {
    EXPECT_NE(nullptr, box);
  }

  std::unique_ptr<MP4G::CSampleTableBox> box;
  MP4G::CSampleTableReader reader;
};
