// Reads the syntax of a unit of video: fields of bits behind one another,
// without the bytes that prevent start codes.
#pragma once

#include <span>
#include <vector>

#include "box/rbsp.h"

namespace clipchain::rescue {

// A field that is not there any more is 0, and good() says so.
class SyntaxReader {
 public:
  // The unit behind its header; of a long one the first bytes count.
  explicit SyntaxReader(std::span<const unsigned char> payload);
  SyntaxReader(const SyntaxReader&) = delete;
  SyntaxReader& operator=(const SyntaxReader&) = delete;

  bool good() const { return good_; }
  // 0 to 32.
  unsigned int Bits(unsigned int count);
  bool Flag() { return Bits(1) != 0; }
  // ue(v).
  unsigned int Unsigned();
  // se(v).
  int Signed();
  void Skip(unsigned int count);

 private:
  void Note(HRESULT result) { good_ = good_ && result == S_OK; }

  std::vector<unsigned char> bytes_;
  H264::RbspReader reader_;
  bool good_ = true;
};

}  // namespace clipchain::rescue
