// Image files: bit-exact round trips, integer and tiled TIFF reading, TIFF text tags, PNG,
// malformed files.
#include "imageio/ZrImageFile.h"

#include <tiffio.h>
#include <QDir>
#include <QImage>
#include <QTemporaryDir>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "imageio/ZrImageCodec.h"
#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestImages.h"
#include "tests/common/ZrTestUtil.h"

namespace {

class ImageFileTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    for (const QString& n : QDir(dir_.path()).entryList(QDir::Files | QDir::Hidden)) {
      names.push_back(n.toStdString());
    }
    return names;
  }
  QTemporaryDir dir_;
};

// Every bit pattern class a float can hold: signed zeros, subnormals, infinities, NaN.
ZrFloatMatrix MakeTestImage(int32_t cols, int32_t rows, int32_t colBegin, int32_t rowBegin) {
  ZrFloatMatrix m(cols, rows);
  m.SetBegin(colBegin, rowBegin);
  std::mt19937 rng(12345);
  std::uniform_int_distribution<uint32_t> bits;
  for (int64_t i = 0; i < m.Count(); ++i) {
    const uint32_t b = bits(rng);
    std::memcpy(&m.Data[i], &b, 4);
  }
  const float inf = std::numeric_limits<float>::infinity();
  const float specials[] = {0.0f, -0.0f,    std::numeric_limits<float>::denorm_min(),
                            inf,  -inf,     std::nanf(""),
                            1.0f, -1.5e-30f};
  for (size_t i = 0; i < std::size(specials) && static_cast<int64_t>(i) < m.Count(); ++i) {
    m.Data[i] = specials[i];
  }
  return m;
}

// A minimal little-endian, uncompressed, single-strip TIFF assembled by hand, so that a header
// can claim what no libtiff writer would. dataBytes may be shorter than the strip byte count
// the header claims.
std::string HandTiff(uint32_t width, uint32_t height, uint16_t bits, uint16_t format,
                     uint16_t samples, const std::string& pixels, uint32_t claimedBytes) {
  std::string out("II*\0\x08\0\0\0", 8);
  auto put16 = [&](uint16_t v) { out.append({char(v & 0xff), char(v >> 8)}); };
  auto put32 = [&](uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(char((v >> (8 * i)) & 0xff));
  };
  const uint32_t dataOffset = 8 + 2 + 12 * 10 + 4;
  // Directory entries as id, type, count, value: no compression (259), black is zero (262).
  const uint32_t tags[10][4] = {
      {256, 4, 1, width},       {257, 4, 1, height}, {258, 3, samples, bits},
      {259, 3, 1, 1},           {262, 3, 1, 1},      {273, 4, 1, dataOffset},
      {277, 3, 1, samples},     {278, 4, 1, height}, {279, 4, 1, claimedBytes},
      {339, 3, samples, format}};
  put16(10);
  for (const auto& [id, type, count, value] : tags) {
    // SHORT values (type 3) fill two slots, a LONG (type 4) one.
    put16(id);
    put16(type);
    put32(count);
    put32(type == 4 ? value : value | (count > 1 ? value << 16 : 0));
  }
  put32(0);
  return out + pixels;
}

// The tags of a one-channel grey image.
void SetGreyTags(TIFF* tif, uint32_t width, uint32_t height, int bits, int compression) {
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, height);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, bits);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, compression);
}

// Writes a grey TIFF with libtiff in the given byte order ("l" or "b"), optionally two pages.
template <typename T>
void WriteIntegerTiff(const std::string& path, const char* order, const std::vector<T>& px,
                      uint32_t width, uint32_t height, bool secondPage) {
  const std::string mode = std::string("w") + order;
  TIFF* tif = TIFFOpen(path.c_str(), mode.c_str());
  ASSERT_NE(tif, nullptr);
  for (int page = 0; page < (secondPage ? 2 : 1); ++page) {
    SetGreyTags(tif, width, height, 8 * sizeof(T), page == 0 ? COMPRESSION_LZW : COMPRESSION_NONE);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 2);  // several strips, the last one short
    for (uint32_t y = 0; y < height; ++y) {
      std::vector<T> row(px.begin() + y * width, px.begin() + (y + 1) * width);
      if (page == 1) row.assign(width, T(7));
      ASSERT_GE(TIFFWriteScanline(tif, row.data(), y, 0), 0);
    }
    TIFFWriteDirectory(tif);
  }
  TIFFClose(tif);
}

struct RoundTripCase {
  const char* Extension;
  bool KeepsBegins;  // raw float and matrix XML keep begins and can hold an empty image
};

class ImageRoundTrip : public ImageFileTest, public ::testing::WithParamInterface<RoundTripCase> {};

TEST_P(ImageRoundTrip, KeepsEveryBit) {
  const RoundTripCase c = GetParam();
  const std::string path = Path(std::string("img") + c.Extension);
  if (c.KeepsBegins) {
    ZrFloatMatrix empty;
    empty.SetBegin(-2, 3);
    ZrImageWrite(path, empty);
    EXPECT_TRUE(ZrSameBits(ZrImageRead(path), empty));
  }
  for (const auto& shape : std::vector<std::vector<int32_t>>{
           {5, 3, 0, 0}, {7, 11, -3, -20}, {1, 1, 4, -1}, {300, 257, -150, -128}}) {
    ZrFloatMatrix image = MakeTestImage(shape[0], shape[1], shape[2], shape[3]);
    ZrImageWrite(path, image);
    if (!c.KeepsBegins) image.SetBegin(0, 0);  // TIFF has no begins: they read back as 0
    EXPECT_TRUE(ZrSameBits(ZrImageRead(path), image)) << shape[0] << "x" << shape[1];
  }
  // Only the finished file is left: no temporaries beside it.
  EXPECT_EQ(Entries(), std::vector<std::string>{std::string("img") + c.Extension});
}

INSTANTIATE_TEST_SUITE_P(Formats, ImageRoundTrip,
                         ::testing::Values(RoundTripCase{".tif", false},
                                           RoundTripCase{".TIFF", false},
                                           RoundTripCase{".rawf", true},
                                           RoundTripCase{".xml", true}));

TEST_F(ImageFileTest, RawFloatLayoutIsHeaderThenRowsLittleEndian) {
  ZrFloatMatrix m(2, 1);
  m.SetBegin(-1, 258);
  m.Data[0] = 1.0f;
  m.Data[1] = -2.0f;
  ZrImageWrite(Path("a.rawf"), m);
  const std::string expected(
      "\x02\0\0\0\x01\0\0\0\xff\xff\xff\xff\x02\x01\0\0"
      "\0\0\x80\x3f\0\0\0\xc0",
      24);
  EXPECT_EQ(ZrReadFileBytes(Path("a.rawf")), expected);
}

TEST_F(ImageFileTest, WrittenTiffIsOneChannelFloatForOtherReaders) {
  ZrImageWrite(Path("f.tif"), MakeTestImage(9, 4, 0, 0));
  TIFF* tif = TIFFOpen(Path("f.tif").c_str(), "r");
  ASSERT_NE(tif, nullptr);
  uint16_t bits = 0, format = 0, samples = 0;
  uint32_t width = 0, height = 0;
  TIFFGetField(tif, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetField(tif, TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetField(tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
  TIFFClose(tif);
  EXPECT_EQ(std::vector<uint32_t>({bits, format, samples, width, height}),
            std::vector<uint32_t>({32, SAMPLEFORMAT_IEEEFP, 1, 9, 4}));
}

TEST_F(ImageFileTest, ReadsIntegerTiffsInBothByteOrdersAndTheChosenPage) {
  std::vector<uint8_t> p8(25);
  std::vector<uint16_t> p16(25);
  for (uint32_t i = 0; i < 25; ++i) {
    p8[i] = static_cast<uint8_t>(i * 10 + 3);
    p16[i] = static_cast<uint16_t>(i * 2711 + 1);  // reaches past 0xff00, byte order matters
  }
  WriteIntegerTiff(Path("g8.tif"), "l", p8, 5, 5, true);
  WriteIntegerTiff(Path("g16le.tif"), "l", p16, 5, 5, false);
  WriteIntegerTiff(Path("g16be.tif"), "b", p16, 5, 5, true);
  EXPECT_EQ(ZrImageRead(Path("g8.tif")).ColSize, 5);
  EXPECT_EQ(ZrPixels(ZrImageRead(Path("g8.tif"))), std::vector<float>(p8.begin(), p8.end()));
  for (const char* name : {"g16le.tif", "g16be.tif"}) {
    EXPECT_EQ(ZrPixels(ZrImageRead(Path(name))), std::vector<float>(p16.begin(), p16.end()))
        << name;
  }
  // A chosen page, and the page count of every file.
  ZrImagePage page;
  page.Index = 1;
  EXPECT_EQ(ZrPixels(ZrImageRead(Path("g16be.tif"), &page)), std::vector<float>(25, 7.0f));
  EXPECT_EQ(page.Count, 2);
  page.Index = 2;
  EXPECT_ZR_ERROR(ZrImageRead(Path("g8.tif"), &page),
                  Path("g8.tif") + ": holds 2 pages; there is no page 3");
  page.Index = 0;
  ZrImageRead(Path("g16le.tif"), &page);
  EXPECT_EQ(page.Count, 1);
  ZrImageWrite(Path("r.rawf"), MakeTestImage(2, 2, 0, 0));
  page.Index = 1;
  EXPECT_ZR_ERROR(ZrImageRead(Path("r.rawf"), &page),
                  Path("r.rawf") + ": holds 1 page; there is no page 2");
}

// Square and oblong tiles, so that a row count taken from the tile width shows.
TEST_F(ImageFileTest, ReadsTiledTiffWithPartialEdgeTiles) {
  const ZrFloatMatrix image = MakeTestImage(40, 45, 0, 0);
  for (const auto& [tileWidth, tileLength] : {std::pair{16u, 16u}, {16u, 32u}, {32u, 16u}}) {
    const std::string path = Path("tiled" + std::to_string(tileLength) + ".tif");
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr);
    SetGreyTags(tif, 40, 45, 32, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, tileWidth);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, tileLength);
    std::vector<float> tile(tileWidth * tileLength);
    for (uint32_t y0 = 0; y0 < 45; y0 += tileLength) {
      for (uint32_t x0 = 0; x0 < 40; x0 += tileWidth) {
        for (uint32_t i = 0; i < tile.size(); ++i) {
          const uint32_t x = x0 + i % tileWidth, y = y0 + i / tileWidth;
          tile[i] = x < 40 && y < 45 ? image.Data[y * 40 + x] : -99.0f;
        }
        ASSERT_GE(TIFFWriteTile(tif, tile.data(), x0, y0, 0, 0), 0);
      }
    }
    TIFFClose(tif);
    EXPECT_TRUE(ZrSameBits(ZrImageRead(path), image)) << tileWidth << " x " << tileLength;
  }
}

// The TIFF's text tags: written when given, read back, absent otherwise.
TEST(ZrTiffText, RoundTripAndAbsence) {
  ZrFloatMatrix image(3, 2);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = 0.5f * static_cast<float>(i);
  const std::string json =
      "{\"input\":{\"file\":\"caf\\u00e9.tif\"},\"time\":\"2023-11-14T22:13:20Z\"}";
  const std::string tagged = ZrEncodeTiff(image, "t.tif", {json, "rfa-process 0.0.5"});
  const ZrTiffText text = ZrDecodeTiffText(tagged, "t.tif");
  EXPECT_EQ(std::make_pair(text.Description, text.Software),
            std::make_pair(json, std::string("rfa-process 0.0.5")));
  EXPECT_TRUE(ZrSameBits(ZrDecodeTiff(tagged, "t.tif"), image));

  const ZrTiffText none = ZrDecodeTiffText(ZrEncodeTiff(image, "t.tif"), "t.tif");
  EXPECT_EQ(none.Description + none.Software, "");
  EXPECT_ZR_ERROR(ZrDecodeTiffText("II*\0", "x.tif"),
                  "x.tif: not a valid TIFF file (Cannot read TIFF header)");
}

TEST_F(ImageFileTest, UnknownExtensionIsRecognisedByContent) {
  ZrImageWrite(Path("x.tif"), MakeTestImage(4, 4, 0, 0));
  ASSERT_TRUE(ZrTestWriteFile(Path("x.dat"), ZrReadFileBytes(Path("x.tif"))));
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("x.dat")), MakeTestImage(4, 4, 0, 0)));
}

TEST_F(ImageFileTest, PngReadGivesGreyLevels) {
  const uchar g8[4] = {0, 17, 255};
  const uint16_t g16[2] = {1000, 65535};
  ASSERT_TRUE(
      QImage(g8, 3, 1, 4, QImage::Format_Grayscale8).save(QString::fromStdString(Path("g8.png"))));
  ASSERT_TRUE(QImage(reinterpret_cast<const uchar*>(g16), 2, 1, 4, QImage::Format_Grayscale16)
                  .save(QString::fromStdString(Path("g16.png"))));
  EXPECT_EQ(ZrPixels(ZrImageRead(Path("g8.png"))), std::vector<float>({0, 17, 255}));
  EXPECT_EQ(ZrPixels(ZrImageRead(Path("g16.png"))), std::vector<float>({1000, 65535}));
}

TEST_F(ImageFileTest, PngRenderingScalesLinearlyAndClamps) {
  ZrFloatMatrix m(6, 1);
  const float values[] = {-5.0f, 10.0f, 15.0f, 20.0f, 99.0f, std::nanf("")};
  std::copy(std::begin(values), std::end(values), m.Data);
  ZrImageWritePng(Path("r.png"), m, 10.0f, 20.0f);
  EXPECT_EQ(ZrPixels(ZrImageRead(Path("r.png"))), std::vector<float>({0, 0, 128, 255, 255, 0}));
  // Automatic range: the finite minimum and maximum, -5 and 20; +inf clamps like 99 above.
  m.Data[4] = std::numeric_limits<float>::infinity();
  ZrImageWrite(Path("auto.png"), m);
  EXPECT_EQ(ZrPixels(ZrImageRead(Path("auto.png"))),
            std::vector<float>({0, 153, 204, 255, 255, 0}));
}

TEST_F(ImageFileTest, FailedWriteKeepsThePreviousFileAndLeavesNoTemporary) {
  const ZrFloatMatrix good = MakeTestImage(3, 3, 0, 0);
  ZrImageWrite(Path("keep.tif"), good);
  EXPECT_ZR_ERROR(ZrImageWrite(Path("keep.tif"), ZrFloatMatrix()),
                  Path("keep.tif") + ": an empty image cannot be stored as TIFF");
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("keep.tif")), good));
  EXPECT_EQ(Entries(), std::vector<std::string>{"keep.tif"});
}

TEST_F(ImageFileTest, ErrorsNameTheFile) {
  EXPECT_ZR_ERROR(
      ZrImageWrite(Path("a.jpg"), MakeTestImage(2, 2, 0, 0)),
      Path("a.jpg") +
          ": unknown image file extension (use .tif, .tiff, .rawf, .xml, .png or .npy)");
  EXPECT_ZR_ERROR(ZrImageWritePng(Path("e.png"), ZrFloatMatrix(), 0, 1),
                  Path("e.png") + ": an empty image cannot be stored as PNG");
  QImage colour(2, 2, QImage::Format_RGB32);
  colour.fill(qRgb(10, 200, 30));
  ASSERT_TRUE(colour.save(QString::fromStdString(Path("c.png"))));
  EXPECT_ZR_ERROR(ZrImageRead(Path("c.png")),
                  Path("c.png") + ": unsupported PNG pixel format (8- or 16-bit grey expected)");
}

// The 16-byte raw float header (little-endian, as the test machines are).
std::string RawHeader(int32_t cols, int32_t rows) {
  const int32_t fields[4] = {cols, rows, 0, 0};
  return std::string(reinterpret_cast<const char*>(fields), sizeof(fields));
}

struct MalformedCase {
  const char* Name;
  const char* FileName;
  std::string Bytes;
  const char* Message;  // after "<path>: "
};

class MalformedImage : public ImageFileTest, public ::testing::WithParamInterface<MalformedCase> {};

TEST_P(MalformedImage, GivesClearErrorNamingTheFile) {
  const MalformedCase& c = GetParam();
  ASSERT_TRUE(ZrTestWriteFile(Path(c.FileName), c.Bytes));
  EXPECT_ZR_ERROR(ZrImageRead(Path(c.FileName)), Path(c.FileName) + ": " + c.Message);
}

const std::string kFloat4(16, '\0');
const MalformedCase kMalformed[] = {
    {"RawShortHeader", "a.rawf", std::string(10, '\0'),
     "raw float header is truncated (16 bytes expected)"},
    {"RawMissingPixels", "a.rawf", RawHeader(2, 2) + std::string(12, '\0'),
     "raw float header sizes (ColSize 2, RowSize 2) do not match the file length of 28 bytes"},
    {"RawExtraPixels", "a.rawf", RawHeader(1, 1) + std::string(8, '\0'),
     "raw float header sizes (ColSize 1, RowSize 1) do not match the file length of 24 bytes"},
    {"RawNegativeSize", "a.rawf", RawHeader(-1, 4),
     "raw float header sizes (ColSize -1, RowSize 4) do not match the file length of 16 bytes"},
    {"RawHugeHeader", "a.rawf", RawHeader(2000000000, 2000000000) + kFloat4,
     "raw float header sizes (ColSize 2000000000, RowSize 2000000000) do not match the file "
     "length of 32 bytes"},
    {"UnknownContent", "a.dat", "hello", "unknown image file format"},
    {"TiffGarbage", "a.tif", std::string("II*\0\xff\xff\xff\x7f", 8),
     "not a valid TIFF file (Can not read TIFF directory count)"},
    {"TiffHeaderOnly", "a.tif", std::string("II*\0\0\0\0\0", 8),
     "not a valid TIFF file (no image directory)"},
    {"TiffOneBit", "a.tif", HandTiff(8, 1, 1, 1, 1, std::string(1, '\0'), 1),
     "unsupported TIFF sample format (1 bits, sample format 1, 1 samples per pixel); one channel "
     "of 8/16-bit unsigned or 32-bit float expected"},
    {"TiffSignedInt", "a.tif", HandTiff(2, 1, 16, 2, 1, std::string(4, '\0'), 4),
     "unsupported TIFF sample format (16 bits, sample format 2, 1 samples per pixel); one "
     "channel of 8/16-bit unsigned or 32-bit float expected"},
    {"TiffTwoChannels", "a.tif", HandTiff(2, 1, 8, 1, 2, std::string(4, '\0'), 4),
     "unsupported TIFF sample format (8 bits, sample format 1, 2 samples per pixel); one channel "
     "of 8/16-bit unsigned or 32-bit float expected"},
    {"TiffTruncatedPixels", "a.tif", HandTiff(4, 4, 32, 3, 1, std::string(20, '\0'), 64),
     "TIFF pixel data is truncated or corrupt"},
    {"TiffHugeHeader", "a.tif", HandTiff(100000, 100000, 32, 3, 1, kFloat4, 16),
     "TIFF image size 100000 x 100000 is inconsistent with the file length of 150 bytes"},
    {"XmlNoRoot", "a.xml", "<other><image/></other>",
     "not a matrix XML image file (no \"VELDRA-IMAGE-FILE\" element)"},
    {"XmlNoImage", "a.xml", "<VELDRA-IMAGE-FILE><picture/></VELDRA-IMAGE-FILE>",
     "matrix XML image file has no \"image\" element"},
    {"XmlHugeSizes", "a.xml",
     "<VELDRA-IMAGE-FILE><image><ZrFloatMatrixBinary><ColSize>100000</ColSize><ColBegin>0"
     "</ColBegin><RowSize>100000</RowSize><RowBegin>0</RowBegin><base64b>AAAA</base64b>"
     "</ZrFloatMatrixBinary></image></VELDRA-IMAGE-FILE>",
     "matrix sizes (ColSize 100000, RowSize 100000) do not match the file length of 214 bytes"},
    {"XmlBadData", "a.xml",
     "<VELDRA-IMAGE-FILE><image><ZrFloatMatrixBinary><ColSize>1</ColSize><ColBegin>0"
     "</ColBegin><RowSize>1</RowSize><RowBegin>0</RowBegin><base64b>A*</base64b>"
     "</ZrFloatMatrixBinary></image></VELDRA-IMAGE-FILE>",
     "Illigal Data"},
    {"XmlTooManyValues", "a.xml",
     "<VELDRA-IMAGE-FILE><image><zr_matrix><ColSize>1</ColSize><ColBegin>0</ColBegin>"
     "<RowSize>1</RowSize><RowBegin>0</RowBegin><elements>1,2,</elements></zr_matrix></image>"
     "</VELDRA-IMAGE-FILE>",
     "Too manay data"},
    {"XmlEmptyImage", "a.xml", "<VELDRA-IMAGE-FILE><image>",
     "matrix XML image file holds no float matrix under \"image\""},
    {"PngGarbage", "a.png", std::string("\x89PNG\r\n\x1a\nxx", 10),
     "not a readable PNG file (the file is truncated)"},
    {"PngBadChecksum", "a.png",
     std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\0\x02\0\0\0\x02\x08\0\0\0\0\0\0\0\0", 33),
     "not a readable PNG file (IHDR: CRC error)"},
};

INSTANTIATE_TEST_SUITE_P(Table, MalformedImage, ::testing::ValuesIn(kMalformed), ZrCaseName());

}  // namespace
