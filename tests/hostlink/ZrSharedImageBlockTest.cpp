// The shared-memory image layout and its size guards.
#include "hostlink/ZrSharedImageBlock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/common/ZrTestImages.h"
#include "tests/common/ZrTestUtil.h"

namespace {

std::vector<char> Block(int32_t cols, int32_t rows, int32_t colBegin, int32_t rowBegin,
                        size_t bytes) {
  std::vector<char> block(bytes, 0);
  const int32_t header[4] = {cols, rows, colBegin, rowBegin};
  if (bytes > 0) std::memcpy(block.data(), header, std::min(bytes, sizeof(header)));
  return block;
}

struct GuardCase {
  int32_t Cols, Rows;
  size_t Bytes;
  std::string Error;
};

class ZrSharedImageBlockGuard : public ::testing::TestWithParam<GuardCase> {};

}  // namespace

TEST_P(ZrSharedImageBlockGuard, RejectsBlocksThatCannotHoldTheirImage) {
  const GuardCase& c = GetParam();
  std::vector<char> block = Block(c.Cols, c.Rows, 0, 0, c.Bytes);
  ZrFloatMatrix image(2, 2);
  EXPECT_ZR_ERROR(
      ZrSharedImageBlock::Decode(block.data(), static_cast<int64_t>(block.size()), image), c.Error);
  EXPECT_EQ(image.ColSize, 2);  // untouched on failure
}

INSTANTIATE_TEST_SUITE_P(
    Table, ZrSharedImageBlockGuard,
    ::testing::Values(
        GuardCase{0, 0, 15, "NO DATA"}, GuardCase{0, 0, 0, "NO DATA"},
        GuardCase{-1, 2, 64, "matrix creation Parameter Error"},
        GuardCase{3, -2, 64, "matrix creation Parameter Error"},
        GuardCase{2, 2, 31,
                  "Shared memory block is too small: its header claims 2 x 2 pixels (32 bytes) "
                  "but the block holds 31 bytes"},
        GuardCase{1, 1, 16,
                  "Shared memory block is too small: its header claims 1 x 1 pixels (20 bytes) "
                  "but the block holds 16 bytes"},
        GuardCase{65536, 65536, 1024,
                  "Shared memory block is too small: its header claims 65536 x 65536 pixels "
                  "(17179869200 bytes) but the block holds 1024 bytes"},
        GuardCase{2147483647, 2147483647, 64,
                  "Shared memory block is too small: its header claims 2147483647 x 2147483647 "
                  "pixels (18446744056529682452 bytes) but the block holds 64 bytes"}));

TEST(ZrSharedImageBlock, EncodeDecodeRoundTripIsBitExactAndLargerBlocksAreFine) {
  ZrFloatMatrix image(3, 2);
  image.SetBegin(-1, 5);
  const uint32_t bits[6] = {0x7fc00001u, 0xff800000u, 0x00000001u,
                            0x80000000u, 0x3f800000u, 0x7f7fffffu};
  std::memcpy(image.Data, bits, sizeof(bits));
  std::vector<char> block(ZrSharedImageBlock::BlockBytes(3, 2) + 100);
  ZrSharedImageBlock::Encode(image, block.data(), static_cast<int64_t>(block.size()));
  int32_t header[4];
  std::memcpy(header, block.data(), 16);
  EXPECT_EQ(std::vector<int32_t>(header, header + 4), (std::vector<int32_t>{3, 2, -1, 5}));
  ZrFloatMatrix read;
  ZrSharedImageBlock::Decode(block.data(), static_cast<int64_t>(block.size()), read);
  EXPECT_TRUE(ZrSameBits(read, image));
  EXPECT_ZR_ERROR(ZrSharedImageBlock::Encode(image, block.data(), 39),
                  "Shared memory block is too small: the image needs 40 bytes but the block "
                  "holds 39 bytes");
  // An empty image is a header alone and keeps its begins.
  block = Block(0, 0, -4, 9, 16);
  ZrSharedImageBlock::Decode(block.data(), 16, read);
  EXPECT_EQ(std::make_tuple(read.Count(), read.ColBegin, read.RowBegin), std::make_tuple(0, -4, 9));
}

// Images of 4 MiB and more are copied by several threads; every pixel must land once, in
// place, also when the last share is not a whole number of pages.
TEST(ZrSharedImageBlock, LargeImagesCopiedInSharesRoundTripBitExact) {
  for (const auto& [cols, rows] : {std::pair{1024, 1024}, std::pair{1031, 1029}}) {
    SCOPED_TRACE(std::to_string(cols) + " x " + std::to_string(rows));
    ZrFloatMatrix image(cols, rows);
    for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = static_cast<float>(i);
    std::vector<char> block(ZrSharedImageBlock::BlockBytes(cols, rows), '\x5a');
    ZrSharedImageBlock::Encode(image, block.data(), static_cast<int64_t>(block.size()));
    ASSERT_EQ(std::memcmp(block.data() + 16, image.Data, 4 * image.Count()), 0);
    ZrFloatMatrix read(7, 7);
    ZrSharedImageBlock::Decode(block.data(), static_cast<int64_t>(block.size()), read);
    EXPECT_TRUE(ZrSameBits(read, image));
  }
}
