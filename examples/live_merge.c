/* Merges clips with the flat functions of the engine, in plain C.
 *
 *   live_merge [--memory] OUT IN...
 *
 * The engine replaces what lies at OUT with its first byte, be it a clip, and leaves what it has
 * written where something fails: programs that have no reason to drive it by themselves take
 * merge_clips.c for a start. This one refuses an OUT that exists. With --memory the inputs are read
 * by this program and handed over as bytes. */
#include <clipchain/merge/m4lm.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int32_t inputFromMemory(void* merge, const char* path) {
  int32_t result = -1;
  unsigned char* bytes = NULL;
  long size = -1;
  FILE* file = fopen(path, "rb");
  if (file == NULL) return result;
  if (fseek(file, 0, SEEK_END) == 0) size = ftell(file);
  if (size > 0) bytes = malloc((size_t)size);
  if (bytes != NULL && fseek(file, 0, SEEK_SET) == 0 &&
      fread(bytes, 1, (size_t)size, file) == (size_t)size)
    result = m4lm_inputMp4Data(merge, bytes, (unsigned int)size);
  free(bytes);
  fclose(file);
  return result;
}

static int report(const char* path, int32_t result) {
  if (result != 0) fprintf(stderr, "%s: 0x%08X\n", path, (unsigned int)result);
  return result == 0;
}

int main(int argc, char** argv) {
  void* merge = NULL;
  const int memory = argc > 1 && strcmp(argv[1], "--memory") == 0;
  const int first = memory ? 3 : 2;
  FILE* existing = NULL;
  int ok;
  int i;

  if (argc <= first) {
    fprintf(stderr, "usage: live_merge [--memory] OUT IN...\n");
    return 2;
  }
  existing = fopen(argv[first - 1], "rb");
  if (existing != NULL) {
    fclose(existing);
    fprintf(stderr, "%s: exists already\n", argv[first - 1]);
    return 1;
  }
  setlocale(LC_CTYPE, ""); /* paths are text in the encoding of the locale */
  if (m4lm_createHandle(&merge) != 0) return 1;
  ok = report(argv[first - 1], m4lm_setOutputPath(merge, argv[first - 1]));
  for (i = first; ok && i < argc; ++i)
    ok = report(argv[i],
                memory ? inputFromMemory(merge, argv[i]) : m4lm_inputMp4File(merge, argv[i]));
  if (ok) ok = report(argv[first - 1], m4lm_finalize(merge));
  m4lm_deleteHandle(merge);
  return ok ? 0 : 1;
}
