/* Opens the safe door to C and to other languages: clips are checked, merged, compared with what is
 * kept of them and made again as the tool does it, so that no call can harm a clip or leave half a
 * result. Plain C.
 *
 * Paths are bytes, as the system has them. No function throws, exits, prints or handles a signal.
 * Calls from several threads at once do not disturb each other.
 */
#ifndef CLIPCHAIN_WORKFLOW_CLIPCHAIN_H
#define CLIPCHAIN_WORKFLOW_CLIPCHAIN_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define CLIPCHAIN_C_API
#else
#define CLIPCHAIN_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What the functions answer. */
enum {
  CLIPCHAIN_DONE = 0,    /* the check found nothing that holds a merge up; the result is there */
  CLIPCHAIN_REFUSED = 1, /* the report says why */
  CLIPCHAIN_MISUSE = 2,  /* a null or empty argument, or unknown or too short options; no report */
  CLIPCHAIN_PARTLY = 3   /* something is not kept, or some clips alone could be made again */
};

/* Where the work is. */
enum {
  CLIPCHAIN_CHECKING = 1,
  CLIPCHAIN_COPYING = 2,
  CLIPCHAIN_VERIFYING = 3,
  CLIPCHAIN_FLUSHING = 4
};

/* Whether the output shares blocks of the disk with the clips, where the file system can. */
enum {
  CLIPCHAIN_COPY = 0,
  CLIPCHAIN_SHARE_OR_COPY = 1,
  CLIPCHAIN_SHARE = 2 /* an output that can't share them is not made */
};

/* Told how far the work is: the phase, the index of the clip at work, and bytes of all clips
 * together, 0 of 0 where none are counted. 0 goes on; anything else ends the work, which then
 * leaves nothing behind. It must not throw or jump out. */
typedef int (*clipchain_progress)(void* context, int phase, size_t clip, int64_t current,
                                  int64_t total);

/* All of it zero is what the tool does without an option. */
struct clipchain_options {
  size_t size;          /* sizeof(struct clipchain_options); what lies behind is not read */
  int overwrite;        /* replace an output that exists, by the final rename only */
  int force;            /* go on in spite of problems that risk the result alone */
  int verify_all;       /* compare every byte, read back from the disk, not only around seams */
  int64_t memory_limit; /* bytes that movie boxes may take; 0: half of the machine's memory */
  int originals;        /* keep what is not in the result in OUTPUT.originals */
  int checksums;        /* write OUTPUT.xxh */
  int faststart;        /* put the movie box ahead of the media */
  int reflink;          /* CLIPCHAIN_COPY, or share blocks of the clips with the output */
  clipchain_progress progress; /* may be null */
  void* context;               /* handed to it */
  int chapters; /* let each clip begin a chapter of the result, titled with its name */
};

/* All of it zero is what the tool does without an option. */
struct clipchain_verify_options {
  size_t size;    /* sizeof(struct clipchain_verify_options) */
  int clips_only; /* look at clips alone */
  int whole;      /* a clip is kept only if every byte of it is */
  /* May be null; told CLIPCHAIN_CHECKING while folders are searched, then CLIPCHAIN_VERIFYING, and
   * bytes of the cards. */
  clipchain_progress progress;
  void* context; /* handed to it */
};

/* "0.1.0"; lasts as long as the library. */
CLIPCHAIN_C_API const char* clipchain_version(void);

/* Says whether the clips can be merged in this order, and what one would regret. Reads movie boxes,
 * writes nothing. `output`, the file that a merge would write, and `options` may be null. `report`,
 * unless it is null, gets JSON text in UTF-8, to be freed with clipchain_free: "verdict" and
 * "findings", of which each has "name", "severity", "path", "track", "box", "offset", "text",
 * "remedy" and "result", as `clipchain check --json` prints them; null where memory is short. */
CLIPCHAIN_C_API int clipchain_check(const char* const* clips, size_t count, const char* output,
                                    const struct clipchain_options* options, char** report);

/* Checks the clips, merges them beside `output`, verifies the result, flushes it to the disk and
 * only then gives it its name, which no existing file loses without `overwrite`. Clips are only
 * read. `report` as above, with "done" and "size" (bytes of the result) in place of the verdict. */
CLIPCHAIN_C_API int clipchain_merge(const char* const* clips, size_t count, const char* output,
                                    const struct clipchain_options* options, char** report);

/* Says whether all that lies below the folders `cards` is kept below the folders `against`, by
 * comparing it now; nothing is written. CLIPCHAIN_DONE: all of it, or with `clips_only` all clips;
 * CLIPCHAIN_PARTLY: something is not kept; CLIPCHAIN_REFUSED: there is no answer. `options` may be
 * null. `report` as `clipchain verify --json` prints it. */
CLIPCHAIN_C_API int clipchain_verify(const char* const* cards, size_t card_count,
                                     const char* const* against, size_t against_count,
                                     const struct clipchain_verify_options* options, char** report);

/* Makes the clips of a merged file again, byte for byte, by OUTPUT.originals beside it, into the
 * folder; null: one of its name beside it. CLIPCHAIN_PARTLY: the merged file is damaged, and what
 * could be made was made. `report` as `clipchain split --json` prints it. */
CLIPCHAIN_C_API int clipchain_split(const char* merged, const char* folder,
                                    clipchain_progress progress, void* context, char** report);
/* Checks the clips and writes the result, with the movie box in front, to a descriptor such as a
 * pipe, in one pass. What will be written is compared with the clips before the first byte is. A
 * reader that goes away is a failure and no signal. Of `options` those about files and `verify_all`
 * are not for it: with `overwrite`, `verify_all` or `reflink` it is misused. `report` as of a
 * merge; "size" is what was written, all of it or not. Only CLIPCHAIN_DONE says that it was all. */
CLIPCHAIN_C_API int clipchain_stream(const char* const* clips, size_t count, int descriptor,
                                     const struct clipchain_options* options, char** report);

/* Frees a report; null is fine. */
CLIPCHAIN_C_API void clipchain_free(char* report);

#ifdef __cplusplus
}
#endif

#endif
