#include "workflow/oracle/chapter_comparison.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/fourcc.h"
#include "workflow/system/files.h"

namespace clipchain::samples {

namespace {

constexpr const char* kPlace = "moov/udta/chpl";
// Version 1: version and flags, a reserved field, the count.
constexpr std::size_t kCountAt = 8;
constexpr std::size_t kHeader = 9;
// Times count 100 ns.
constexpr Seconds kUnit = 1e-7L;
// What times in floating point may be off by.
constexpr Seconds kRounding = 1e-9L;

}  // namespace

void CompareChapters(const SampleFile& result, const std::vector<ExpectedChapter>& expected,
                     bool timed, OracleFindings& findings) {
  const View userData = FindBox(result.Movie(), FourCc("udta")).body;
  View body = FindBox(userData, FourCc("chpl")).body;
  if (body.size() < kHeader || body[0] != 1 || body[kCountAt] != expected.size()) {
    findings.Differs(0, kPlace, fmt::format("does not have {} chapters there", expected.size()));
    return;
  }
  body = body.subspan(kHeader);
  for (const ExpectedChapter& chapter : expected) {
    constexpr std::size_t kTitleAt = 9;
    const std::size_t length = body.size() < kTitleAt ? 0 : body[kTitleAt - 1];
    if (body.size() < kTitleAt + length) {
      findings.Differs(0, kPlace, "has chapters there that end too early");
      return;
    }
    const View title = body.subspan(kTitleAt, length);
    if (!std::equal(title.begin(), title.end(), chapter.title.begin(), chapter.title.end(),
                    [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); })) {
      findings.Differs(0, kPlace,
                       fmt::format("has no chapter \"{}\" where one should stand",
                                   PrintablePath(chapter.title)));
      return;
    }
    const Seconds late =
        static_cast<Seconds>(U64(body, 0)) * kUnit - std::max<Seconds>(chapter.start, 0);
    // Rounded up: a chapter that begins too early would open with the picture of the clip before.
    if (timed && (late < -kRounding || late > kUnit + kRounding)) {
      findings.Differs(0, kPlace,
                       fmt::format("lets the chapter \"{}\" begin {:.4f} ms away from its picture",
                                   PrintablePath(chapter.title), static_cast<double>(late * 1000)));
      return;
    }
    body = body.subspan(kTitleAt + length);
  }
  if (!body.empty())
    findings.Differs(0, kPlace, fmt::format("has {} bytes behind its chapters", body.size()));
}

}  // namespace clipchain::samples
