// Image files: format choice, raw float and matrix XML codecs, PNG rendering.
#include "imageio/ZrImageFile.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "formats/ZrBarnXml.h"
#include "formats/ZrFileBytes.h"
#include "imageio/ZrImageCodec.h"

namespace {

void PutInt32(std::string& out, int32_t v) {
  const auto u = static_cast<uint32_t>(v);
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((u >> (8 * i)) & 0xffu));
}

int32_t GetInt32(const std::string& in, size_t at) {
  uint32_t u = 0;
  for (int i = 0; i < 4; ++i)
    u |= static_cast<uint32_t>(static_cast<unsigned char>(in[at + i])) << (8 * i);
  return static_cast<int32_t>(u);
}

// The element data are copied as stored; this build assumes a little-endian host, like the
// shared-memory image block does.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "raw float files are little-endian");

constexpr char kXmlRoot[] = "VELDRA-IMAGE-FILE";
constexpr char kXmlImage[] = "image";

}  // namespace

bool ZrImageFormatFromExtension(const std::string& path, ZrImageFormat& format, bool required) {
  const std::string ext = ZrLowerExtension(path);
  if (ext == ".tif" || ext == ".tiff") {
    format = ZrImageFormat::Tiff;
  } else if (ext == ".rawf") {
    format = ZrImageFormat::RawFloat;
  } else if (ext == ".xml") {
    format = ZrImageFormat::MatrixXml;
  } else if (ext == ".png") {
    format = ZrImageFormat::Png;
  } else if (ext == ".npy") {
    format = ZrImageFormat::Npy;
  } else {
    if (required) {
      throw ZrError(path +
                    ": unknown image file extension (use .tif, .tiff, .rawf, .xml, .png or .npy)");
    }
    return false;
  }
  return true;
}

bool ZrImageFormatFromMagic(const std::string& bytes, ZrImageFormat& format) {
  auto startsWith = [&](const char* magic, size_t n) {
    return bytes.size() >= n && std::memcmp(bytes.data(), magic, n) == 0;
  };
  if (startsWith("II*\0", 4) || startsWith("MM\0*", 4) || startsWith("II+\0", 4) ||
      startsWith("MM\0+", 4)) {
    format = ZrImageFormat::Tiff;
    return true;
  }
  if (startsWith("\x89PNG\r\n\x1a\n", 8)) {
    format = ZrImageFormat::Png;
    return true;
  }
  if (startsWith("\x93NUMPY", 6)) {
    format = ZrImageFormat::Npy;
    return true;
  }
  size_t i = startsWith("\xEF\xBB\xBF", 3) ? 3 : 0;  // UTF-8 byte-order mark
  while (i < bytes.size() && std::isspace(static_cast<unsigned char>(bytes[i]))) ++i;
  if (i < bytes.size() && bytes[i] == '<') {
    format = ZrImageFormat::MatrixXml;
    return true;
  }
  return false;
}

ZrFloatMatrix ZrDecodeRawFloat(const std::string& bytes, const std::string& name) {
  if (bytes.size() < 16)
    throw ZrError(name + ": raw float header is truncated (16 bytes expected)");
  const int32_t cols = GetInt32(bytes, 0);
  const int32_t rows = GetInt32(bytes, 4);
  const int32_t colBegin = GetInt32(bytes, 8);
  const int32_t rowBegin = GetInt32(bytes, 12);
  const auto expected =
      static_cast<uint64_t>(16) + 4 * static_cast<uint64_t>(std::max(cols, 0)) * std::max(rows, 0);
  if (cols < 0 || rows < 0 || expected != bytes.size()) {
    throw ZrError(name + ": raw float header sizes (ColSize " + std::to_string(cols) +
                  ", RowSize " + std::to_string(rows) + ") do not match the file length of " +
                  std::to_string(bytes.size()) + " bytes");
  }
  ZrFloatMatrix image(cols, rows);
  image.SetBegin(colBegin, rowBegin);
  if (image.Count() > 0) std::memcpy(image.Data, bytes.data() + 16, bytes.size() - 16);
  return image;
}

std::string ZrEncodeRawFloat(const ZrFloatMatrix& image) {
  std::string out;
  out.reserve(16 + 4 * static_cast<size_t>(image.Count()));
  PutInt32(out, image.ColSize);
  PutInt32(out, image.RowSize);
  PutInt32(out, image.ColBegin);
  PutInt32(out, image.RowBegin);
  if (image.Count() > 0) {
    out.append(reinterpret_cast<const char*>(image.Data), 4 * static_cast<size_t>(image.Count()));
  }
  return out;
}

ZrFloatMatrix ZrDecodeMatrixXml(const std::string& bytes, const std::string& name) {
  try {
    // A first pass reads only the sizes, so that a hostile header is refused before the
    // matrix reader allocates anything: every element needs at least one byte of the file.
    {
      ZrBarnXml probe("r");
      probe.SetText(bytes);
      if (!probe.OpenRack(kXmlRoot)) {
        throw ZrError(name + ": not a matrix XML image file (no \"" + kXmlRoot + "\" element)");
      }
      if (!probe.OpenRack(kXmlImage)) {
        throw ZrError(name + ": matrix XML image file has no \"" + kXmlImage + "\" element");
      }
      bool found = false;
      for (const char* form : {"zr_matrix", "LDoubleMatrix", "ZrFloatMatrixBinary"}) {
        if (!probe.OpenRack(form)) continue;
        found = true;
        int32_t cols = 0;
        int32_t rows = 0;
        probe.Value("ColSize", cols, 0);
        probe.Value("RowSize", rows, 0);
        const long long count = static_cast<long long>(cols) * rows;
        if (cols > 0 && rows > 0 &&
            (count > kZrImageMaxPixels || count > static_cast<long long>(bytes.size()))) {
          throw ZrError(name + ": matrix sizes (ColSize " + std::to_string(cols) + ", RowSize " +
                        std::to_string(rows) + ") do not match the file length of " +
                        std::to_string(bytes.size()) + " bytes");
        }
        break;
      }
      if (!found) {
        throw ZrError(name + ": matrix XML image file holds no float matrix under \"" + kXmlImage +
                      "\"");
      }
    }
    ZrBarnXml tree("r");
    tree.SetText(bytes);
    tree.OpenRack(kXmlRoot);
    ZrFloatMatrix image;
    if (!tree.Value(kXmlImage, image, "bb")) {
      throw ZrError(name + ": matrix XML image file has no \"" + kXmlImage + "\" element");
    }
    tree.CloseRack(kXmlRoot);
    return image;
  } catch (ZrError& e) {
    if (e.Message.compare(0, name.size() + 2, name + ": ") != 0)
      e.Message = name + ": " + e.Message;
    throw;
  }
}

std::string ZrEncodeMatrixXml(const ZrFloatMatrix& image) {
  ZrBarnXml tree("w");
  tree.OpenRack(kXmlRoot);
  ZrFloatMatrix copy(image);  // the accessor takes a non-const matrix for both directions
  tree.Value(kXmlImage, copy, "bb");
  tree.CloseRack(kXmlRoot);
  std::string text;
  tree.GetText(text);
  return text;
}

std::string ZrEncodePng(const ZrFloatMatrix& image, float lo, float hi, const std::string& name) {
  if (image.ColSize <= 0 || image.RowSize <= 0) {
    throw ZrError(name + ": an empty image cannot be stored as PNG");
  }
  if (!(lo < hi)) {
    lo = std::numeric_limits<float>::infinity();
    hi = -std::numeric_limits<float>::infinity();
    for (int64_t i = 0; i < image.Count(); ++i) {
      if (std::isfinite(image.Data[i])) {
        lo = std::min(lo, image.Data[i]);
        hi = std::max(hi, image.Data[i]);
      }
    }
    if (!(lo < hi)) {  // no finite pixel, or a flat image: draw it mid-grey
      lo = std::isfinite(lo) ? lo - 1.0f : -1.0f;
      hi = lo + 2.0f;
    }
  }
  const double scale = 255.0 / (static_cast<double>(hi) - lo);
  QImage picture(image.ColSize, image.RowSize, QImage::Format_Grayscale8);
  for (int y = 0; y < image.RowSize; ++y) {
    const float* in = image.Data + static_cast<size_t>(y) * image.ColSize;
    uchar* line = picture.scanLine(y);
    for (int x = 0; x < image.ColSize; ++x) {
      const double v = (static_cast<double>(in[x]) - lo) * scale;
      line[x] = std::isnan(v) ? 0 : static_cast<uchar>(std::lround(std::clamp(v, 0.0, 255.0)));
    }
  }
  QByteArray data;
  QBuffer buffer(&data);
  buffer.open(QIODevice::WriteOnly);
  if (!picture.save(&buffer, "PNG")) throw ZrError(name + ": cannot encode PNG");
  return std::string(data.constData(), static_cast<size_t>(data.size()));
}

ZrFloatMatrix ZrDecodeImage(ZrImageFormat format, const std::string& bytes, const std::string& name,
                            ZrImagePage* page) {
  if (format == ZrImageFormat::Tiff) return ZrDecodeTiff(bytes, name, page);
  if (page != nullptr) {
    page->Count = 1;
    if (page->Index != 0) throw ZrError(ZrNoSuchPage(name, *page));
  }
  switch (format) {
    case ZrImageFormat::Tiff:
      break;
    case ZrImageFormat::RawFloat:
      return ZrDecodeRawFloat(bytes, name);
    case ZrImageFormat::MatrixXml:
      return ZrDecodeMatrixXml(bytes, name);
    case ZrImageFormat::Png:
      return ZrDecodePng(bytes, name);
    case ZrImageFormat::Npy:
      return ZrDecodeNpy(bytes, name);
  }
  throw ZrError(name + ": unknown image file format");
}

ZrFloatMatrix ZrImageRead(const std::string& path, ZrImagePage* page) {
  const std::string bytes = ZrReadFileBytes(path);
  ZrImageFormat format{};
  if (!ZrImageFormatFromExtension(path, format, false) && !ZrImageFormatFromMagic(bytes, format)) {
    throw ZrError(path + ": unknown image file format");
  }
  return ZrDecodeImage(format, bytes, path, page);
}

void ZrImageWrite(const std::string& path, const ZrFloatMatrix& image) {
  ZrImageFormat format{};
  ZrImageFormatFromExtension(path, format, true);
  std::string bytes;
  switch (format) {
    case ZrImageFormat::Tiff:
      bytes = ZrEncodeTiff(image, path);
      break;
    case ZrImageFormat::RawFloat:
      bytes = ZrEncodeRawFloat(image);
      break;
    case ZrImageFormat::MatrixXml:
      bytes = ZrEncodeMatrixXml(image);
      break;
    case ZrImageFormat::Png:
      bytes = ZrEncodePng(image, 0.0f, 0.0f, path);
      break;
    case ZrImageFormat::Npy:
      bytes = ZrEncodeNpy(image);
      break;
  }
  ZrWriteFileAtomic(path, bytes);
}

void ZrImageWritePng(const std::string& path, const ZrFloatMatrix& image, float lo, float hi) {
  ZrWriteFileAtomic(path, ZrEncodePng(image, lo, hi, path));
}

std::string ZrLowerExtension(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  const size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string ext = path.substr(dot);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext;
}
