// What an application holds to turn a list of MP4 files into one.
#pragma once

#include <memory>

#include "foundation/export.h"
#include "foundation/result.h"

class CEngineCtrl;

// The application's ear for progress.
class CLIPCHAIN_API QVMp4MergerDelegate {
 public:
  // Called on the thread that called inputMp4File, during that call: before the first block of the
  // input's media data and after each one of 16 MiB. Bytes of this input copied so far and in all;
  // `current` may exceed `total` in an input's last call. 0 goes on; anything else ends the input,
  // which answers that value, and deletes the output.
  //
  // A source that delivers less than it promises is reported with the same `current` again and
  // again: the copy goes on until the delegate ends it.
  [[nodiscard]] virtual HRESULT notifyMergeProgress(long long current, long long total) = 0;

 protected:
  ~QVMp4MergerDelegate() = default;
};

// A merge with wide paths; what listens to its progress is up to the class behind it. Without an
// engine every operation answers E_POINTER.
class MergerImpl {
 public:
  MergerImpl();
  MergerImpl(const MergerImpl&) = delete;
  MergerImpl& operator=(const MergerImpl&) = delete;

  // Drops the engine. An unfinished output stays as it stands.
  void reset();
  // Makes a new engine.
  [[nodiscard]] HRESULT initialize();
  // The operations of MP4G::IMp4LiveMerge, with its answers.
  [[nodiscard]] HRESULT setOutputPath(const wchar_t* path);
  [[nodiscard]] HRESULT inputMp4File(const wchar_t* path);
  [[nodiscard]] HRESULT finalize();

  // Hears of progress; 0 goes on, anything else ends the input.
  [[nodiscard]] virtual HRESULT notifyProgress(long long current, long long total) = 0;

  std::unique_ptr<CEngineCtrl> engine;  // null until initialize

 protected:
  static constexpr long long kNoReport = -1;

  ~MergerImpl();

  long long lastReport = kNoReport;  // `current` of the last report on the input under way
};

// Passes progress on to the application. With no delegate nobody could end the copy of a source
// that delivers nothing, so that such an input ends with MP4G_E_INPUT_READ; all else is 0 then.
class MergerImplEx final : public MergerImpl {
 public:
  [[nodiscard]] HRESULT notifyProgress(long long current, long long total) override;

  QVMp4MergerDelegate* delegate = nullptr;  // not owned
};

// Merges MP4 files: init, setDelegate if progress is wanted, setOutputPath, inputMp4File once per
// input in order, finalizeMerger. After that the next merge may begin.
//
// Paths are UTF-8; E_FAIL for null and for bytes that are no UTF-8, with nothing changed. All other
// answers are those of MP4G::IMp4LiveMerge, and -1 stands for an object without an engine. An input
// that fails deletes the output, except when its file could not be opened (MP4G_E_INPUT_OPEN).
// Destruction closes an unfinished output and leaves it as it stands. One object is driven by one
// thread at a time.
class CLIPCHAIN_API QVMp4Merger {
 public:
  // Without an engine; init makes it.
  QVMp4Merger();
  ~QVMp4Merger();
  QVMp4Merger(const QVMp4Merger&) = delete;
  QVMp4Merger& operator=(const QVMp4Merger&) = delete;

  // This object with an engine, or null if that could not be made.
  [[nodiscard]] QVMp4Merger* init();
  // A new engine in place of the old one. 0, or -1 whatever went wrong.
  [[nodiscard]] HRESULT prepareEngine();
  // Null turns notification off. The delegate is not owned and must live while it is set.
  [[nodiscard]] HRESULT setDelegate(QVMp4MergerDelegate* delegate);
  // Names the output file. It comes into being with the first input's first byte and replaces what
  // lies there.
  [[nodiscard]] HRESULT setOutputPath(const char* path);
  // Merges one file and copies its media data.
  [[nodiscard]] HRESULT inputMp4File(const char* path);
  // Completes the output. E_POINTER if there was no input.
  [[nodiscard]] HRESULT finalizeMerger();

 private:
  std::unique_ptr<MergerImplEx> _pImpl;
};
