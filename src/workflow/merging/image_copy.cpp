#include "workflow/merging/image_copy.h"

#include <fmt/format.h>

#include <utility>

#include "foundation/result.h"
#include "workflow/assembling/merge_image.h"
#include "workflow/system/files.h"

namespace clipchain {

namespace {

ImageCopy WriteAll(const ImageCopyTask& task, const Layout& layout, MergeImage& image) {
  ImageCopy copy;
  // The check has mostly made the image already.
  if (image.pieces.empty()) copy.findings = MakeMergeImage({task.inputs, layout, task.fit}, image);
  if (copy.findings.empty())
    copy.fault = ImageWriter(task.inputs, image, task.progress, task.companion)
                     .WriteTo(task.part.descriptor(), task.mark);
  return copy;
}

Finding NotShared(const ImageCopyTask& task, const WriteFault& fault) {
  const std::string why =
      fault.error ? ErrorText(fault.error) : "its file system tells no blocks that fit";
  Finding finding = MakeFinding(
      Message::kOutputUnwritable, task.output,
      fmt::format("can't share blocks with {}: {}", PrintablePath(task.inputs[fault.clip]), why),
      "put clips and result on one disk whose file system shares blocks, such as btrfs or XFS, or "
      "let --reflink=auto copy what can't be shared");
  finding.result = MP4G_E_OUTPUT_WRITE;
  return finding;
}

}  // namespace

ImageCopy CopyImage(const ImageCopyTask& task, Layout layout, MergeImage& image) {
  if (task.reflink == Reflink::kNever) return WriteAll(task, layout, image);
  const bool strict = task.reflink == Reflink::kAlways;
  ImageCopy copy;
  Layout blocks = layout;
  blocks.block = task.part.BlockSize();
  copy.fault.side = WriteFault::Side::kNotShared;
  // A file system that tells no size of a block can share none.
  if (blocks.block != 0) {
    MergeImage shared;
    copy.findings = MakeMergeImage({task.inputs, blocks, task.fit}, shared);
    if (!copy.findings.empty()) {
      copy.fault = {};
      return copy;
    }
    // Without a companion: what is shared passes through no buffer, so that nobody sees its bytes.
    ImageWriter writer(task.inputs, shared, task.progress);
    copy.fault = writer.ShareWith(task.part.descriptor(), blocks.block, strict);
    copy.shared = static_cast<long long>(writer.Shared());
    // Shared, stopped or failed: all that is left to try is for what could not be shared.
    if (copy.fault.side != WriteFault::Side::kNotShared) {
      image = std::move(shared);
      return copy;
    }
  }
  if (strict) {
    copy.findings.push_back(NotShared(task, copy.fault));
    copy.fault = {};
    return copy;
  }
  // What was written for sharing lies at other places than a plain copy has.
  task.progress.StartAgain();
  if (const std::error_code error = task.part.Empty()) {
    copy.fault = {WriteFault::Side::kOutput, 0, error};
    return copy;
  }
  return WriteAll(task, layout, image);
}

}  // namespace clipchain
