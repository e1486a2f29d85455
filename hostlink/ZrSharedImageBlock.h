// Layout of an image in a shared-memory block: a 16-byte header of four little-endian
// int32 (ColSize, RowSize, ColBegin, RowBegin) followed by float32 pixels, row after row,
// x fastest -- the storage order of ZrFloatMatrix.
#pragma once

#include <cstdint>

#include "numerics/ZrMatrix.h"

namespace ZrSharedImageBlock {

constexpr int64_t kHeaderBytes = 16;

// Bytes a block needs for an image of cols x rows.
int64_t BlockBytes(int64_t cols, int64_t rows);

// Copies the image out of a block of blockBytes bytes. Fails with "NO DATA" when the block
// is 15 bytes or less, with the matrix creation error for negative sizes, and with a message
// stating both sizes when the block is smaller than its header claims; never reads past it.
void Decode(const void* block, int64_t blockBytes, ZrFloatMatrix& image);

// Writes header and pixels; the block must hold BlockBytes(ColSize, RowSize) bytes.
void Encode(const ZrFloatMatrix& image, void* block, int64_t blockBytes);

}  // namespace ZrSharedImageBlock
