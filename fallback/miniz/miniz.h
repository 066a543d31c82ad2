#ifndef WRENFALL_FALLBACK_MINIZ_H_
#define WRENFALL_FALLBACK_MINIZ_H_

// The writing of ZIP archives to a stdio file, in the interface of miniz; see README.md.
//
// A writer's life: zero the record (or mz_zip_zero_struct), init, add, finalize, end. Every result
// is MZ_TRUE or MZ_FALSE; after a failed write only mz_zip_writer_end is of use. One thread at a
// time.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int mz_bool;
typedef unsigned int mz_uint;
typedef uint64_t mz_uint64;

#define MZ_FALSE (0)
#define MZ_TRUE (1)

// Levels from 1 (fast) to 9 (small); 0 stores.
enum {
  MZ_NO_COMPRESSION = 0,
  MZ_BEST_SPEED = 1,
  MZ_DEFAULT_LEVEL = 6,
  MZ_BEST_COMPRESSION = 9,
  MZ_UBER_COMPRESSION = 10,  // Here the same as 9.
  MZ_DEFAULT_COMPRESSION = -1
};

// Of miniz's many, those that the writer tells apart.
typedef enum {
  MZ_ZIP_NO_ERROR = 0,
  MZ_ZIP_UNDEFINED_ERROR,  // Here every failure that is not listed below.
  MZ_ZIP_ALLOC_FAILED
} mz_zip_error;

typedef struct mz_zip_archive {
  mz_uint64 m_archive_size;  // Bytes written so far.
  mz_uint m_total_files;
  mz_zip_error m_last_error;
  void* m_pState;  // Owned; null outside init to end.
} mz_zip_archive;

void mz_zip_zero_struct(mz_zip_archive* pZip);

// Writes to `pFile` from its current position on, which counts as the archive's start. The file
// must be open in binary mode, stay open until the end and is the caller's to close. `flags` has no
// effect.
mz_bool mz_zip_writer_init_cfile(mz_zip_archive* pZip, FILE* pFile, mz_uint flags);

// Adds `buf_size` bytes under a UTF-8 name with "/" between folders, stamped with the current local
// time. The low 4 bits of `level_and_flags` are the level. Data that deflating does not shrink is
// stored. Fails for a name that is empty, starts with "/", holds a backslash or a colon, or is
// longer than 65535 bytes.
mz_bool mz_zip_writer_add_mem(mz_zip_archive* pZip, const char* pArchive_name, const void* pBuf,
                              size_t buf_size, mz_uint level_and_flags);

// Writes the central directory and flushes the file. Nothing can be added afterwards.
mz_bool mz_zip_writer_finalize_archive(mz_zip_archive* pZip);

// Why the last init, add or finalize failed.
mz_zip_error mz_zip_get_last_error(mz_zip_archive* pZip);

// Frees the writer's memory, whatever came before. Fails only when there is none.
mz_bool mz_zip_writer_end(mz_zip_archive* pZip);

#ifdef __cplusplus
}
#endif

#endif  // WRENFALL_FALLBACK_MINIZ_H_
