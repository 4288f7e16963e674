// For tests of what asks the decoders' library.
#pragma once

#include <gtest/gtest.h>

#include "workflow/rescue/sound_decoder.h"

// A build that was made with the library has to find it; one without it has nothing to test.
#ifdef CLIPCHAIN_WITH_DECODER
#define NEED_DECODER() ASSERT_TRUE(clipchain::rescue::HasDecoder()) << "libavcodec is not there"
#else
#define NEED_DECODER() GTEST_SKIP() << "this build has no decoder"
#endif
