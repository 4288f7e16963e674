/* The functions on the operating system's files: the only code that knows them. They do the same on
 * every system, and whatever differs between systems ends here.
 *
 * A location is the bytes of a path, null for none; a handle is opaque, null for none. Functions
 * answer 0 for success and -1 for failure except where they say otherwise. Symbolic links are
 * followed. Positions and sizes are bytes. Pointers that receive a result must not be null. */
#ifndef CLIPCHAIN_FOUNDATION_PLATFORM_CFW_H_
#define CLIPCHAIN_FOUNDATION_PLATFORM_CFW_H_

#include "foundation/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opens a file: 1 to read, 2 to write, 3 for both. 2 and 3 create an empty file where there is none
 * and leave the contents of one that is there: writing starts at its first byte. Null on failure,
 * for any other access, and for what has no position to read or write at: folders, pipes, sockets.
 */
CLIPCHAIN_API void* CFWCreateFile(const char* location, unsigned int access);

/* Flushes what was written to the disk and closes. The handle is gone in any case; -1 says that the
 * disk did not take everything. */
CLIPCHAIN_API int CFWCloseHandle(void* handle);

/* Reads up to `count` bytes, fewer only at the end of the file. `*read`: the bytes that came, 0 on
 * failure; untouched for a null handle. */
CLIPCHAIN_API int CFWReadFile(void* handle, void* buffer, unsigned long long count,
                              long long* read);

/* Writes all `count` bytes. Answers 6 for a null handle, and the negated errno of a write that
 * failed. `*written`: `count`, or 0 on failure; untouched for a null handle. */
CLIPCHAIN_API int CFWWriteFile(void* handle, const void* buffer, unsigned long long count,
                               long long* written);

/* The position stays where it is. */
CLIPCHAIN_API int CFWGetFileSize(void* handle, long long* size);

/* `*position` is 0 on failure, and untouched for a null handle. */
CLIPCHAIN_API int CFWGetFilePointer(void* handle, long long* position);

/* Moves to `offset` from the start (1), from the file's size (2) or from the current position (3).
 * A position before the start, or any other origin, is a failure and moves nowhere. */
CLIPCHAIN_API int CFWSetFilePointer(void* handle, long long offset, unsigned int origin);

/* Ends the file at the current position. */
CLIPCHAIN_API int CFWSetEOF(void* handle);

/* 1 if something is there, 0 if not. */
CLIPCHAIN_API int CFWFileIsExist(const char* path);

/* Copy a file or a folder, and move one; nothing that exists is replaced, and a folder is not
 * copied into itself. 0 also if the system could not, or not all of it: look at the destination. -1
 * for a null location. */
CLIPCHAIN_API int CFWCopyFile(const char* source, const char* destination);
CLIPCHAIN_API int CFWRenameFile(const char* source, const char* destination);

/* Removes a regular file or a symbolic link: 1. Anything else is left where it is: 0, also if there
 * is nothing or it could not be removed. -1 for a null location. */
CLIPCHAIN_API int CFWDeleteFile(const char* location);

#ifdef __cplusplus
}
#endif

#endif
