/* The flat functions of the live merge: several MP4 files become one, without re-encoding. Plain C.
 *
 * A handle is driven by one thread at a time. Inputs are handed in one by one, in order; each is
 * merged and copied during its call and never looked at again. The output file comes into being
 * with the first input's first byte, replacing what lies at that path, and is complete only after
 * m4lm_finalize returned 0. A failed input deletes the output; the caller is to stop then and to
 * delete the handle.
 *
 * All functions answer a 32-bit result code: 0 is success, 1 a soft no, a value with the top bit
 * set a failure. A null handle gives 0x80070006. Paths are text in the encoding of the current
 * locale, of at most 1023 characters.
 */
#ifndef CLIPCHAIN_MERGE_M4LM_H
#define CLIPCHAIN_MERGE_M4LM_H

#include <stdint.h>

#if defined(_WIN32)
#define CLIPCHAIN_M4LM_API
#else
#define CLIPCHAIN_M4LM_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Makes a merge and stores its handle. 0x80004003 for a null argument. */
CLIPCHAIN_M4LM_API int32_t m4lm_createHandle(void** handle);

/* Destroys the merge at once. An output that was not finalized is closed and stays as it is,
 * without a movie box. A null handle is fine: 0. */
CLIPCHAIN_M4LM_API int32_t m4lm_deleteHandle(void* handle);

/* Names the output file. 0x80004003 for a null path. */
CLIPCHAIN_M4LM_API int32_t m4lm_setOutputPath(void* handle, const char* path);

/* Takes one input file. 0xA0000001: it could not be opened, nothing was touched. 0x80004003 for a
 * null path: nothing was touched either. */
CLIPCHAIN_M4LM_API int32_t m4lm_inputMp4File(void* handle, const char* path);

/* Takes one whole input file from memory; the bytes are copied. 0x80070057 for a null pointer or a
 * size of 0: nothing was touched. The same code stands for an edit list in one of two tracks that
 * belong together, and then the output is deleted as at any other failure. */
CLIPCHAIN_M4LM_API int32_t m4lm_inputMp4Data(void* handle, const unsigned char* data,
                                             unsigned int size);

/* Writes the movie box and closes the output. 0x80004003 if there was no input. The handle can then
 * start a new merge. */
CLIPCHAIN_M4LM_API int32_t m4lm_finalize(void* handle);

#ifdef __cplusplus
}
#endif

#endif
