#include "support/memory_disk.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "foundation/platform/cfw.h"

namespace support {

namespace {

constexpr unsigned int kReading = 1;

}  // namespace

MemoryDisk& MemoryDisk::Get() {
  static MemoryDisk disk;
  return disk;
}

void MemoryDisk::Clear() {
  std::fill(std::begin(counters_), std::end(counters_), Counter{});
  files_.clear();
}

void MemoryDisk::Put(const std::string& path, Bytes bytes) {
  files_[path] = std::make_shared<Bytes>(std::move(bytes));
}

const Bytes* MemoryDisk::Find(const std::string& path) const {
  const auto found = files_.find(path);
  return found != files_.end() ? found->second.get() : nullptr;
}

void MemoryDisk::Fail(DiskCall call, unsigned int index, bool forEver) {
  Of(call) = {0, index, forEver};
}

bool MemoryDisk::Fails(DiskCall call) {
  Counter& counter = Of(call);
  const unsigned int number = counter.calls++;
  return number == counter.failsAt || (counter.forEver && number > counter.failsAt);
}

MemoryDisk::Handle* MemoryDisk::Open(const std::string& path, unsigned int access) {
  auto found = files_.find(path);
  if (found == files_.end() && access == kReading) return nullptr;
  if (found == files_.end()) found = files_.emplace(path, std::make_shared<Bytes>()).first;
  ++openHandles_;
  return new Handle{found->second, 0, access};
}

void MemoryDisk::Close(Handle* handle) {
  --openHandles_;
  delete handle;
}

}  // namespace support

using support::DiskCall;
using support::MemoryDisk;

namespace {

constexpr int kDone = 0;
constexpr int kFailed = -1;
constexpr int kNoHandleToWrite = 6;

MemoryDisk::Handle& File(void* handle) { return *static_cast<MemoryDisk::Handle*>(handle); }

}  // namespace

void* CFWCreateFile(const char* location, unsigned int access) {
  if (location == nullptr || *location == '\0' || access < 1 || access > 3) return nullptr;
  MemoryDisk& disk = MemoryDisk::Get();
  return disk.Fails(DiskCall::kOpen) ? nullptr : disk.Open(location, access);
}

int CFWCloseHandle(void* handle) {
  if (handle == nullptr) return kFailed;
  MemoryDisk& disk = MemoryDisk::Get();
  const bool written = File(handle).access != 1;
  disk.Close(&File(handle));
  return written && disk.Fails(DiskCall::kClose) ? kFailed : kDone;
}

int CFWReadFile(void* handle, void* buffer, unsigned long long count, long long* read) {
  if (handle == nullptr) return kFailed;
  *read = 0;
  if (MemoryDisk::Get().Fails(DiskCall::kRead)) return kFailed;
  MemoryDisk::Handle& file = File(handle);
  const unsigned long long size = file.bytes->size();
  const unsigned long long came = std::min(count, size - std::min(size, file.position));
  if (came != 0)
    std::memcpy(buffer, file.bytes->data() + file.position, static_cast<std::size_t>(came));
  file.position += came;
  *read = static_cast<long long>(came);
  return kDone;
}

int CFWWriteFile(void* handle, const void* buffer, unsigned long long count, long long* written) {
  if (handle == nullptr) return kNoHandleToWrite;
  *written = 0;
  if (MemoryDisk::Get().Fails(DiskCall::kWrite)) return -ENOSPC;
  MemoryDisk::Handle& file = File(handle);
  const unsigned long long end = file.position + count;
  if (count != 0 && end > file.bytes->size()) file.bytes->resize(static_cast<std::size_t>(end));
  if (count != 0)
    std::memcpy(file.bytes->data() + file.position, buffer, static_cast<std::size_t>(count));
  file.position = end;
  *written = static_cast<long long>(count);
  return kDone;
}

int CFWGetFileSize(void* handle, long long* size) {
  if (handle == nullptr || MemoryDisk::Get().Fails(DiskCall::kSeek)) return kFailed;
  *size = static_cast<long long>(File(handle).bytes->size());
  return kDone;
}

int CFWGetFilePointer(void* handle, long long* position) {
  if (handle == nullptr) return kFailed;
  *position = 0;
  if (MemoryDisk::Get().Fails(DiskCall::kSeek)) return kFailed;
  *position = static_cast<long long>(File(handle).position);
  return kDone;
}

int CFWSetFilePointer(void* handle, long long offset, unsigned int origin) {
  if (handle == nullptr || origin < 1 || origin > 3) return kFailed;
  if (MemoryDisk::Get().Fails(DiskCall::kSeek)) return kFailed;
  MemoryDisk::Handle& file = File(handle);
  const unsigned long long bases[] = {0, file.bytes->size(), file.position};
  const unsigned long long target = bases[origin - 1] + static_cast<unsigned long long>(offset);
  if (static_cast<long long>(target) < 0) return kFailed;
  file.position = target;
  return kDone;
}

int CFWSetEOF(void* handle) {
  if (handle == nullptr || MemoryDisk::Get().Fails(DiskCall::kSeek)) return kFailed;
  File(handle).bytes->resize(static_cast<std::size_t>(File(handle).position));
  return kDone;
}

int CFWFileIsExist(const char* path) {
  return path != nullptr && MemoryDisk::Get().Find(path) != nullptr ? 1 : 0;
}

int CFWCopyFile(const char* source, const char* destination) {
  if (source == nullptr || destination == nullptr) return kFailed;
  MemoryDisk& disk = MemoryDisk::Get();
  const support::Bytes* bytes = disk.Find(source);
  if (bytes != nullptr && disk.Find(destination) == nullptr) disk.Put(destination, *bytes);
  return kDone;
}

int CFWRenameFile(const char* source, const char* destination) {
  if (source == nullptr || destination == nullptr) return kFailed;
  MemoryDisk& disk = MemoryDisk::Get();
  if (disk.Find(source) == nullptr || disk.Find(destination) != nullptr) return kDone;
  disk.Put(destination, *disk.Find(source));
  static_cast<void>(disk.Remove(source));
  return kDone;
}

int CFWDeleteFile(const char* location) {
  if (location == nullptr) return kFailed;
  return MemoryDisk::Get().Remove(location) ? 1 : 0;
}
