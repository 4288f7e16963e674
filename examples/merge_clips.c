/* Merges clips in plain C, as safely as the tool does: merge_clips OUT IN...
 *
 * Nothing that exists is replaced, no clip is touched, and OUT is there only when it is complete,
 * compared with the clips and on the disk. */
#include <clipchain/workflow/clipchain.h>
#include <stdio.h>

static int show(void* context, int phase, size_t clip, int64_t current, int64_t total) {
  (void)context;
  if (phase == CLIPCHAIN_COPYING && total > 0)
    fprintf(stderr, "\rclip %u  %3d %%", (unsigned int)clip + 1, (int)(current * 100 / total));
  return 0; /* anything else would end the merge and leave nothing */
}

int main(int argc, char** argv) {
  struct clipchain_options options = {0};
  char* report = NULL;
  int result;

  if (argc < 3) {
    fprintf(stderr, "usage: merge_clips OUT IN...\n");
    return 2;
  }
  options.size = sizeof options;
  options.progress = show;
  result =
      clipchain_merge((const char* const*)argv + 2, (size_t)argc - 2, argv[1], &options, &report);
  fprintf(stderr, "\n");
  if (report != NULL) printf("%s", report); /* JSON: what was found, and why it was refused */
  clipchain_free(report);
  return result == CLIPCHAIN_DONE ? 0 : 1;
}
