#include "workflow/findings/result_words.h"

#include <gtest/gtest.h>

#include <set>

#include "clip/exif_library.h"
#include "support/bytes.h"

using namespace clipchain;

TEST(ResultWords, ExplainEveryAnswerOfAnInputInItsOwnWords) {
  std::set<std::string> words;
  for (const HRESULT result :
       {S_FALSE, MP4G_E_INPUT_OPEN, MP4G_E_INPUT_READ, E_BAD_DATA, E_BAD_TYPE, E_PENDING,
        MP4G_E_TRACK_COUNT, MP4G_E_TIME_SCALE, MP4G_E_SAMPLE_TABLE, E_INVALIDARG, E_OUTOFMEMORY})
    words.insert(InputWords(result, true));
  EXPECT_EQ(11u, words.size());
  EXPECT_EQ(0u, words.count(InputWords(E_UNEXPECTED, true)));
}

TEST(ResultWords, ExplainEveryAnswerOfAnAnalysisInItsOwnWords) {
  std::set<std::string> words;
  for (const HRESULT result :
       {E_HANDLE, S_FALSE, E_BAD_DATA, E_BAD_TYPE, E_PENDING, E_OUTOFMEMORY, EXIFL_ERR_DATA})
    words.insert(ClipWords(result));
  EXPECT_EQ(7u, words.size());
  EXPECT_EQ(0u, words.count(ClipWords(E_UNEXPECTED)));
}

TEST(ResultWords, SpeakOfTheFirstClipOnlyToLaterOnes) {
  EXPECT_EQ(std::string::npos, InputWords(E_BAD_DATA, true).find("first clip"));
  EXPECT_NE(std::string::npos, InputWords(E_BAD_DATA, false).find("first clip"));
}

TEST(ResultWords, TellAMovieBoxThatIsTooLargeFromOneThatIsWrong) {
  EXPECT_NE(OutputWords(E_PENDING), OutputWords(E_BAD_DATA));
  EXPECT_EQ(OutputWords(E_BAD_DATA), OutputWords(E_UNEXPECTED));
}
