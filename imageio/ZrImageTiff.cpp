// TIFF through libtiff, entirely in memory: single-channel 8/16-bit unsigned or 32-bit float
// in, 32-bit float out.
#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "imageio/ZrImageCodec.h"

namespace {

// A growable byte buffer that libtiff reads from or writes to through its client procs.
struct MemoryStream {
  std::string* Data = nullptr;         // written file (write mode)
  const std::string* Input = nullptr;  // read mode
  uint64_t Pos = 0;
  std::string FirstError;  // first message libtiff reported for this handle

  uint64_t Size() const { return Input != nullptr ? Input->size() : Data->size(); }
};

tmsize_t StreamRead(thandle_t h, void* buf, tmsize_t n) {
  auto* s = static_cast<MemoryStream*>(h);
  if (s->Input == nullptr || n < 0) return 0;
  const uint64_t size = s->Input->size();
  if (s->Pos >= size) return 0;
  const uint64_t count = std::min<uint64_t>(static_cast<uint64_t>(n), size - s->Pos);
  std::memcpy(buf, s->Input->data() + s->Pos, static_cast<size_t>(count));
  s->Pos += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t StreamWrite(thandle_t h, void* buf, tmsize_t n) {
  auto* s = static_cast<MemoryStream*>(h);
  if (s->Data == nullptr || n < 0) return -1;
  const uint64_t end = s->Pos + static_cast<uint64_t>(n);
  if (end > s->Data->size()) s->Data->resize(static_cast<size_t>(end));
  std::memcpy(&(*s->Data)[static_cast<size_t>(s->Pos)], buf, static_cast<size_t>(n));
  s->Pos = end;
  return n;
}

toff_t StreamSeek(thandle_t h, toff_t off, int whence) {
  auto* s = static_cast<MemoryStream*>(h);
  int64_t base = 0;
  if (whence == SEEK_CUR) base = static_cast<int64_t>(s->Pos);
  if (whence == SEEK_END) base = static_cast<int64_t>(s->Size());
  const int64_t target = base + static_cast<int64_t>(off);
  if (target < 0) return static_cast<toff_t>(-1);
  s->Pos = static_cast<uint64_t>(target);
  return s->Pos;
}

int StreamClose(thandle_t) {
  return 0;
}
toff_t StreamSize(thandle_t h) {
  return static_cast<MemoryStream*>(h)->Size();
}
int StreamMap(thandle_t, void**, toff_t*) {
  return 0;
}
void StreamUnmap(thandle_t, void*, toff_t) {}

int KeepFirstError(TIFF* tif, void* user, const char*, const char* fmt, va_list ap) {
  auto* s = static_cast<MemoryStream*>(user);
  if (s->FirstError.empty()) {
    char text[512];
    std::vsnprintf(text, sizeof text, fmt, ap);
    s->FirstError = text;
    // Messages often start with the file name, which the caller already puts first.
    const std::string prefix = tif != nullptr ? std::string(TIFFFileName(tif)) + ": " : "";
    if (!prefix.empty() && s->FirstError.compare(0, prefix.size(), prefix) == 0) {
      s->FirstError.erase(0, prefix.size());
    }
  }
  return 1;  // handled: nothing goes to stderr
}

int IgnoreWarning(TIFF*, void*, const char*, const char*, va_list) {
  return 1;
}

// Owns the handle and its options; closing flushes a file being written.
class TiffHandle {
 public:
  TiffHandle(MemoryStream& stream, const std::string& name, const char* mode) {
    options_ = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options_, KeepFirstError, &stream);
    TIFFOpenOptionsSetWarningHandlerExtR(options_, IgnoreWarning, &stream);
    // libtiff's own buffers stay bounded whatever a header says; the bound still admits a
    // whole 8192 x 8192 float image in a single strip, as some writers store it.
    TIFFOpenOptionsSetMaxSingleMemAlloc(options_, tmsize_t{512} << 20);
    tif_ = TIFFClientOpenExt(name.c_str(), mode, &stream, StreamRead, StreamWrite, StreamSeek,
                             StreamClose, StreamSize, StreamMap, StreamUnmap, options_);
  }
  ~TiffHandle() {
    if (tif_ != nullptr) TIFFClose(tif_);
    TIFFOpenOptionsFree(options_);
  }
  TiffHandle(const TiffHandle&) = delete;
  TiffHandle& operator=(const TiffHandle&) = delete;

  TIFF* get() const { return tif_; }
  void Close() {
    if (tif_ != nullptr) TIFFClose(tif_);
    tif_ = nullptr;
  }

 private:
  TIFFOpenOptions* options_ = nullptr;
  TIFF* tif_ = nullptr;
};

// Decoded data may exceed the file by at most this factor (above the best ratios of the LZW
// and Deflate codecs); a larger claim is a hostile or broken header.
constexpr uint64_t kMaxExpansion = 2048;

// n samples of the given width (libtiff has already put them in host byte order) to floats.
void ConvertSamples(const unsigned char* in, float* out, size_t n, uint16_t bits) {
  if (bits == 8) {
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<float>(in[i]);
  } else if (bits == 16) {
    for (size_t i = 0; i < n; ++i) {
      uint16_t v;
      std::memcpy(&v, in + 2 * i, 2);
      out[i] = static_cast<float>(v);
    }
  } else {
    std::memcpy(out, in, n * sizeof(float));
  }
}

void ReadStrips(TIFF* tif, ZrFloatMatrix& image, uint16_t bits, const std::string& name) {
  const auto width = static_cast<uint32_t>(image.ColSize);
  const auto height = static_cast<uint32_t>(image.RowSize);
  const tmsize_t stripSize = TIFFStripSize(tif);
  uint32_t rowsPerStrip = height;
  TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
  rowsPerStrip = std::max<uint32_t>(1, std::min(rowsPerStrip, height));
  const uint64_t rowBytes = static_cast<uint64_t>(width) * (bits / 8);
  if (stripSize <= 0 || static_cast<uint64_t>(stripSize) < rowBytes * rowsPerStrip) {
    throw ZrError(name + ": TIFF strip layout is corrupt");
  }
  std::vector<unsigned char> strip(static_cast<size_t>(stripSize));
  float* out = image.Data;
  for (uint32_t row = 0; row < height; row += rowsPerStrip) {
    const uint32_t rows = std::min(rowsPerStrip, height - row);
    const tmsize_t want = static_cast<tmsize_t>(rowBytes * rows);
    const tmsize_t got =
        TIFFReadEncodedStrip(tif, TIFFComputeStrip(tif, row, 0), strip.data(), want);
    if (got < want) throw ZrError(name + ": TIFF pixel data is truncated or corrupt");
    const size_t n = static_cast<size_t>(width) * rows;
    ConvertSamples(strip.data(), out, n, bits);
    out += n;
  }
}

// Tiles cover the image in a grid; those on the right and bottom edges are padded, and only
// their part inside the image is copied.
void ReadTiles(TIFF* tif, ZrFloatMatrix& image, uint16_t bits, uint64_t fileSize,
               const std::string& name) {
  const auto width = static_cast<uint32_t>(image.ColSize);
  const auto height = static_cast<uint32_t>(image.RowSize);
  uint32_t tileWidth = 0;
  uint32_t tileLength = 0;
  TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tileWidth);
  TIFFGetField(tif, TIFFTAG_TILELENGTH, &tileLength);
  const tmsize_t tileSize = TIFFTileSize(tif);
  const uint64_t bytesPerSample = bits / 8;
  const uint64_t tileBytes = static_cast<uint64_t>(tileWidth) * tileLength * bytesPerSample;
  // Counted in 64 bits: a tile side near 2^32 must not wrap the count of tiles to 0.
  const auto across = [](uint64_t size, uint64_t tile) { return (size + tile - 1) / tile; };
  const uint64_t tiles =
      tileWidth == 0 || tileLength == 0 ? 0 : across(width, tileWidth) * across(height, tileLength);
  if (tileBytes == 0 || tileSize <= 0 || static_cast<uint64_t>(tileSize) < tileBytes ||
      static_cast<uint64_t>(tileSize) > kMaxExpansion * fileSize / tiles) {
    throw ZrError(name + ": TIFF tile layout is corrupt");
  }
  std::vector<unsigned char> tile(static_cast<size_t>(tileSize));
  for (uint32_t y0 = 0; y0 < height; y0 += tileLength) {
    for (uint32_t x0 = 0; x0 < width; x0 += tileWidth) {
      const tmsize_t got = TIFFReadEncodedTile(tif, TIFFComputeTile(tif, x0, y0, 0, 0), tile.data(),
                                               static_cast<tmsize_t>(tileBytes));
      if (got < static_cast<tmsize_t>(tileBytes)) {
        throw ZrError(name + ": TIFF pixel data is truncated or corrupt");
      }
      const uint32_t columns = std::min(tileWidth, width - x0);
      const uint32_t rows = std::min(tileLength, height - y0);
      for (uint32_t r = 0; r < rows; ++r) {
        ConvertSamples(tile.data() + static_cast<size_t>(r) * tileWidth * bytesPerSample,
                       image.Data + static_cast<size_t>(y0 + r) * width + x0, columns, bits);
      }
    }
  }
}

}  // namespace

std::string ZrNoSuchPage(const std::string& name, const ZrImagePage& page) {
  return name + ": holds " + std::to_string(page.Count) + (page.Count == 1 ? " page" : " pages") +
         "; there is no page " + std::to_string(static_cast<int64_t>(page.Index) + 1);
}

ZrFloatMatrix ZrDecodeTiff(const std::string& bytes, const std::string& name, ZrImagePage* page) {
  MemoryStream stream;
  stream.Input = &bytes;
  TiffHandle handle(stream, name, "rm");
  TIFF* tif = handle.get();
  if (tif == nullptr) {
    // libtiff says nothing when the header points to no image directory at all.
    throw ZrError(name + ": not a valid TIFF file (" +
                  (stream.FirstError.empty() ? "no image directory" : stream.FirstError) + ")");
  }
  if (page != nullptr) {
    page->Count = static_cast<int32_t>(TIFFNumberOfDirectories(tif));
    if (page->Index < 0 || page->Index >= page->Count ||
        (page->Index > 0 && TIFFSetDirectory(tif, static_cast<tdir_t>(page->Index)) == 0)) {
      throw ZrError(ZrNoSuchPage(name, *page));
    }
  }
  uint32_t width = 0;
  uint32_t height = 0;
  uint16_t bits = 1;
  uint16_t samples = 1;
  uint16_t format = SAMPLEFORMAT_UINT;
  uint16_t planar = PLANARCONFIG_CONTIG;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);

  const bool supported =
      samples == 1 && ((format == SAMPLEFORMAT_UINT && (bits == 8 || bits == 16)) ||
                       (format == SAMPLEFORMAT_IEEEFP && bits == 32));
  if (!supported) {
    throw ZrError(name + ": unsupported TIFF sample format (" + std::to_string(bits) +
                  " bits, sample format " + std::to_string(format) + ", " +
                  std::to_string(samples) +
                  " samples per pixel); one channel of 8/16-bit unsigned or 32-bit float "
                  "expected");
  }
  const uint64_t pixels = static_cast<uint64_t>(width) * height;
  const uint64_t bytesPerSample = bits / 8;
  if (width > static_cast<uint32_t>(std::numeric_limits<int32_t>::max()) ||
      height > static_cast<uint32_t>(std::numeric_limits<int32_t>::max()) ||
      pixels > static_cast<uint64_t>(kZrImageMaxPixels) ||
      pixels * bytesPerSample > kMaxExpansion * bytes.size()) {
    throw ZrError(name + ": TIFF image size " + std::to_string(width) + " x " +
                  std::to_string(height) + " is inconsistent with the file length of " +
                  std::to_string(bytes.size()) + " bytes");
  }

  ZrFloatMatrix image(static_cast<int32_t>(width), static_cast<int32_t>(height));
  if (pixels == 0) return image;
  if (TIFFIsTiled(tif)) {
    ReadTiles(tif, image, bits, bytes.size(), name);
  } else {
    ReadStrips(tif, image, bits, name);
  }
  return image;
}

ZrTiffText ZrDecodeTiffText(const std::string& bytes, const std::string& name) {
  MemoryStream stream;
  stream.Input = &bytes;
  TiffHandle handle(stream, name, "rm");
  if (handle.get() == nullptr) {
    throw ZrError(name + ": not a valid TIFF file (" +
                  (stream.FirstError.empty() ? "no image directory" : stream.FirstError) + ")");
  }
  ZrTiffText text;
  const char* value = nullptr;
  if (TIFFGetField(handle.get(), TIFFTAG_IMAGEDESCRIPTION, &value) == 1 && value != nullptr) {
    text.Description = value;
  }
  value = nullptr;
  if (TIFFGetField(handle.get(), TIFFTAG_SOFTWARE, &value) == 1 && value != nullptr) {
    text.Software = value;
  }
  return text;
}

std::string ZrEncodeTiff(const ZrFloatMatrix& image, const std::string& name,
                         const ZrTiffText& text) {
  if (image.ColSize <= 0 || image.RowSize <= 0) {
    throw ZrError(name + ": an empty image cannot be stored as TIFF");
  }
  std::string data;
  MemoryStream stream;
  stream.Data = &data;
  TiffHandle handle(stream, name, "w");
  TIFF* tif = handle.get();
  auto fail = [&]() { throw ZrError(name + ": cannot encode TIFF (" + stream.FirstError + ")"); };
  if (tif == nullptr) fail();
  const auto width = static_cast<uint32_t>(image.ColSize);
  const auto height = static_cast<uint32_t>(image.RowSize);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, height);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 32);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
  if (!text.Description.empty()) {
    TIFFSetField(tif, TIFFTAG_IMAGEDESCRIPTION, text.Description.c_str());
  }
  if (!text.Software.empty()) TIFFSetField(tif, TIFFTAG_SOFTWARE, text.Software.c_str());
  std::vector<float> row(width);
  for (uint32_t y = 0; y < height; ++y) {
    // TIFFWriteScanline may swap bytes in place, so it gets a copy of the row.
    std::memcpy(row.data(), image.Data + static_cast<size_t>(y) * width, width * sizeof(float));
    if (TIFFWriteScanline(tif, row.data(), y, 0) < 0) fail();
  }
  if (TIFFWriteDirectory(tif) == 0) fail();
  handle.Close();
  if (!stream.FirstError.empty()) fail();
  return data;
}
