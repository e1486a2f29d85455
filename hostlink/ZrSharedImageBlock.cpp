// Shared-memory image blocks: header and pixels, with a size check before every copy.
#include "hostlink/ZrSharedImageBlock.h"

#include <omp.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace ZrSharedImageBlock {

namespace {

// A fresh shared-memory block costs a page fault per 4 KiB page on first touch, in the
// writer (the kernel allocates and clears the page) and again in the reader (it maps the
// page). Those faults, not the copy itself, dominate large images, and they are handled
// in parallel when the copy is split between threads. Small images stay on one thread.
constexpr size_t kParallelCopyBytes = size_t{4} << 20;

void CopyPixels(void* to, const void* from, size_t bytes) {
  const int parts = bytes >= kParallelCopyBytes ? omp_get_max_threads() : 1;
  if (parts <= 1) {
    std::memcpy(to, from, bytes);
    return;
  }
  // Each thread copies one contiguous share, a whole number of 4 KiB except the last.
  constexpr size_t kChunk = 4096;
  const size_t chunks = (bytes + kChunk - 1) / kChunk;
#pragma omp parallel for num_threads(parts) schedule(static)
  for (int part = 0; part < parts; ++part) {
    const size_t begin = std::min(bytes, chunks * part / parts * kChunk);
    const size_t end = std::min(bytes, chunks * (part + 1) / parts * kChunk);
    std::memcpy(static_cast<char*>(to) + begin, static_cast<const char*>(from) + begin,
                end - begin);
  }
}

}  // namespace

int64_t BlockBytes(int64_t cols, int64_t rows) {
  return kHeaderBytes + 4 * cols * rows;
}

void Decode(const void* block, int64_t blockBytes, ZrFloatMatrix& image) {
  if (block == nullptr || blockBytes <= 15) throw ZrError("NO DATA");
  int32_t header[4];
  std::memcpy(header, block, sizeof(header));
  const int32_t cols = header[0];
  const int32_t rows = header[1];
  if (cols < 0 || rows < 0) throw ZrError("matrix creation Parameter Error");
  // In unsigned 64 bits: 16 + 4 x (2^31 - 1)^2 still fits, where a signed product would not.
  const uint64_t needed = static_cast<uint64_t>(kHeaderBytes) +
                          4u * static_cast<uint64_t>(cols) * static_cast<uint64_t>(rows);
  if (static_cast<uint64_t>(blockBytes) < needed) {
    throw ZrError("Shared memory block is too small: its header claims " + std::to_string(cols) +
                  " x " + std::to_string(rows) + " pixels (" + std::to_string(needed) +
                  " bytes) but the block holds " + std::to_string(blockBytes) + " bytes");
  }
  // Re-shaped in place: storage of the same element count is reused, which spares the
  // page faults of a fresh allocation when images of one size come one after another.
  image.FastReturn = false;
  image.Resize(cols, rows);
  image.SetBegin(header[2], header[3]);
  if (image.Count() != 0) {
    CopyPixels(image.Data, static_cast<const char*>(block) + kHeaderBytes,
               static_cast<size_t>(4 * image.Count()));
  }
}

void Encode(const ZrFloatMatrix& image, void* block, int64_t blockBytes) {
  const int64_t needed = BlockBytes(image.ColSize, image.RowSize);
  if (blockBytes < needed) {
    throw ZrError("Shared memory block is too small: the image needs " + std::to_string(needed) +
                  " bytes but the block holds " + std::to_string(blockBytes) + " bytes");
  }
  const int32_t header[4] = {image.ColSize, image.RowSize, image.ColBegin, image.RowBegin};
  std::memcpy(block, header, sizeof(header));
  if (image.Count() != 0) {
    CopyPixels(static_cast<char*>(block) + kHeaderBytes, image.Data,
               static_cast<size_t>(4 * image.Count()));
  }
}

}  // namespace ZrSharedImageBlock
