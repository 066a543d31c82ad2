#include "miniz.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "zip_records.h"

namespace {

constexpr uint16_t kStored = 0;
constexpr uint16_t kDeflated = 8;
constexpr uInt kPieceSize = 1 << 18;

struct Writer {
  FILE* file = nullptr;
  bool failed = false;
  bool finalized = false;
  std::vector<miniz::ZipEntry> entries;
};

Writer* writer_of(const mz_zip_archive* archive) {
  return archive == nullptr ? nullptr : static_cast<Writer*>(archive->m_pState);
}

bool is_valid_name(const std::string& name) {
  return !name.empty() && name.size() <= 0xFFFF && name.front() != '/' &&
         name.find_first_of("\\:") == std::string::npos;
}

int level_of(mz_uint level_and_flags) {
  if (static_cast<int>(level_and_flags) < 0) return MZ_DEFAULT_LEVEL;
  return std::min(static_cast<int>(level_and_flags & 0xF), static_cast<int>(MZ_BEST_COMPRESSION));
}

uint32_t crc_of(const Bytef* data, size_t size) {
  uLong crc = crc32(0, nullptr, 0);
  while (size > 0) {
    const uInt part = static_cast<uInt>(std::min<size_t>(size, 1u << 30));
    crc = crc32(crc, data, part);
    data += part;
    size -= part;
  }
  return static_cast<uint32_t>(crc);
}

struct DeflateStream : z_stream {
  DeflateStream() : z_stream{} {}
  ~DeflateStream() { deflateEnd(this); }
  DeflateStream(const DeflateStream&) = delete;
  DeflateStream& operator=(const DeflateStream&) = delete;
};

// Compressed data in pieces, which need no copy of the whole while they grow in number.
struct Pieces {
  std::vector<std::vector<Bytef>> pieces;
  size_t size = 0;
};

// Deflates `size` bytes to `output`. False when the result would not be smaller, or zlib has no
// memory; then the data can still be stored.
bool deflate_smaller(const Bytef* data, size_t size, int level, Pieces* output) {
  DeflateStream stream;
  // Negative window bits: no zlib header and trailer.
  if (deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    return false;
  }
  stream.next_in = const_cast<Bytef*>(data);
  size_t left = size;
  for (int result = Z_OK; result != Z_STREAM_END;) {
    if (stream.avail_in == 0) {
      stream.avail_in = static_cast<uInt>(std::min<size_t>(left, 1u << 30));
      left -= stream.avail_in;
    }
    std::vector<Bytef> piece(kPieceSize);
    stream.next_out = piece.data();
    stream.avail_out = kPieceSize;
    result = deflate(&stream, left == 0 ? Z_FINISH : Z_NO_FLUSH);
    if (result != Z_OK && result != Z_STREAM_END) return false;
    piece.resize(kPieceSize - stream.avail_out);
    output->size += piece.size();
    output->pieces.push_back(std::move(piece));
    if (output->size >= size) return false;
  }
  return true;
}

mz_bool failed(mz_zip_archive* archive, mz_zip_error error) {
  archive->m_last_error = error;
  return MZ_FALSE;
}

bool write(mz_zip_archive* archive, Writer* writer, const void* data, size_t size) {
  if (size != 0 && std::fwrite(data, 1, size, writer->file) != size) {
    writer->failed = true;
    return false;
  }
  archive->m_archive_size += size;
  return true;
}

bool add(mz_zip_archive* archive, Writer* writer, const char* name, const Bytef* data, size_t size,
         int level) {
  miniz::ZipEntry entry;
  entry.name = name;
  const bool is_folder = !entry.name.empty() && entry.name.back() == '/';
  if (!is_valid_name(entry.name) || (is_folder && size != 0)) return false;
  if (writer->entries.size() == std::numeric_limits<mz_uint>::max()) return false;

  Pieces deflated;
  const bool deflate = size != 0 && level != 0 && deflate_smaller(data, size, level, &deflated);
  entry.method = deflate ? kDeflated : kStored;
  entry.crc = crc_of(data, size);
  entry.size = size;
  entry.compressed_size = deflate ? deflated.size : size;
  entry.header_offset = archive->m_archive_size;
  miniz::set_time(std::time(nullptr), &entry);

  const std::string header = miniz::local_header(entry);
  writer->entries.push_back(std::move(entry));
  if (!write(archive, writer, header.data(), header.size())) return false;
  if (!deflate && !write(archive, writer, data, size)) return false;
  for (size_t i = 0; deflate && i < deflated.pieces.size(); ++i) {
    const std::vector<Bytef>& piece = deflated.pieces[i];
    if (!write(archive, writer, piece.data(), piece.size())) return false;
  }
  archive->m_total_files = static_cast<mz_uint>(writer->entries.size());
  return true;
}

bool finalize(mz_zip_archive* archive, Writer* writer) {
  const uint64_t directory_offset = archive->m_archive_size;
  for (const miniz::ZipEntry& entry : writer->entries) {
    const std::string header = miniz::central_header(entry);
    if (!write(archive, writer, header.data(), header.size())) return false;
  }
  const std::string end = miniz::end_of_archive(writer->entries.size(), directory_offset,
                                                archive->m_archive_size - directory_offset);
  if (!write(archive, writer, end.data(), end.size())) return false;
  writer->finalized = std::fflush(writer->file) == 0;
  writer->failed = !writer->finalized;
  return writer->finalized;
}

}  // namespace

void mz_zip_zero_struct(mz_zip_archive* pZip) {
  if (pZip != nullptr) *pZip = mz_zip_archive{};
}

mz_bool mz_zip_writer_init_cfile(mz_zip_archive* pZip, FILE* pFile, mz_uint /*flags*/) {
  if (pZip == nullptr || pFile == nullptr || pZip->m_pState != nullptr) return MZ_FALSE;
  auto* writer = new (std::nothrow) Writer;
  if (writer == nullptr) return failed(pZip, MZ_ZIP_ALLOC_FAILED);
  writer->file = pFile;
  *pZip = mz_zip_archive{0, 0, MZ_ZIP_NO_ERROR, writer};
  return MZ_TRUE;
}

// Memory is the only thing that can throw down there, and the callers may be C.

mz_bool mz_zip_writer_add_mem(mz_zip_archive* pZip, const char* pArchive_name, const void* pBuf,
                              size_t buf_size, mz_uint level_and_flags) {
  Writer* writer = writer_of(pZip);
  if (writer == nullptr || writer->failed || writer->finalized || pArchive_name == nullptr ||
      (pBuf == nullptr && buf_size != 0)) {
    return MZ_FALSE;
  }
  try {
    return add(pZip, writer, pArchive_name, static_cast<const Bytef*>(pBuf), buf_size,
               level_of(level_and_flags))
               ? MZ_TRUE
               : failed(pZip, MZ_ZIP_UNDEFINED_ERROR);
  } catch (const std::bad_alloc&) {
    return failed(pZip, MZ_ZIP_ALLOC_FAILED);
  }
}

mz_bool mz_zip_writer_finalize_archive(mz_zip_archive* pZip) {
  Writer* writer = writer_of(pZip);
  if (writer == nullptr || writer->failed || writer->finalized) return MZ_FALSE;
  try {
    return finalize(pZip, writer) ? MZ_TRUE : failed(pZip, MZ_ZIP_UNDEFINED_ERROR);
  } catch (const std::bad_alloc&) {
    return failed(pZip, MZ_ZIP_ALLOC_FAILED);
  }
}

mz_zip_error mz_zip_get_last_error(mz_zip_archive* pZip) {
  return pZip == nullptr ? MZ_ZIP_UNDEFINED_ERROR : pZip->m_last_error;
}

mz_bool mz_zip_writer_end(mz_zip_archive* pZip) {
  Writer* writer = writer_of(pZip);
  if (writer == nullptr) return MZ_FALSE;
  delete writer;
  pZip->m_pState = nullptr;
  return MZ_TRUE;
}
