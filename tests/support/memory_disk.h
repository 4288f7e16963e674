// A disk in memory. Programs that are built with memory_disk.cpp have every file of the engine
// there, and can have any operation on it fail.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "support/bytes.h"

namespace support {

enum class DiskCall { kOpen, kRead, kWrite, kSeek, kClose };
inline constexpr int kDiskCalls = 5;

class MemoryDisk {
 public:
  struct Handle {
    std::shared_ptr<Bytes> bytes;
    unsigned long long position;
    unsigned int access;
  };

  // There is one. It is not for use from several threads at a time.
  static MemoryDisk& Get();

  // No files and no failures.
  void Clear();
  void Put(const std::string& path, Bytes bytes);
  // Null if there is no such file. Valid until the file is removed or replaced.
  const Bytes* Find(const std::string& path) const;
  // Handles that nobody closed yet.
  std::size_t OpenHandles() const { return openHandles_; }

  // Lets operation number `index` of that kind, counted from 0 and from now on, fail: alone or with
  // all behind it. Writes say that there is no space. A close that fails closes all the same.
  void Fail(DiskCall call, unsigned int index, bool forEver);
  // Operations of that kind since Clear or Fail.
  unsigned int Calls(DiskCall call) const { return Of(call).calls; }

  // What the functions of the file layer are made of: counts an operation and says whether it is to
  // fail; opens, with null for no such file; closes; removes.
  bool Fails(DiskCall call);
  Handle* Open(const std::string& path, unsigned int access);
  void Close(Handle* handle);
  bool Remove(const std::string& path) { return files_.erase(path) != 0; }

 private:
  struct Counter {
    unsigned int calls = 0;
    unsigned int failsAt = ~0u;
    bool forEver = false;
  };
  Counter& Of(DiskCall call) { return counters_[static_cast<int>(call)]; }
  const Counter& Of(DiskCall call) const { return counters_[static_cast<int>(call)]; }

  Counter counters_[kDiskCalls];
  std::map<std::string, std::shared_ptr<Bytes>> files_;
  std::size_t openHandles_ = 0;
};

}  // namespace support
