// Byte-level codecs behind ZrImageFile.h: image bytes in memory <-> ZrFloatMatrix.
// Separate from the file access so that tests and fuzz targets can feed bytes directly.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "formats/ZrFileBytes.h"  // the file functions the encoders' callers write with
#include "numerics/ZrMatrix.h"

enum class ZrImageFormat { Tiff, RawFloat, MatrixXml, Png, Npy };

// The extension of path's file name with its dot, in lower case (".tif"); "" when it has none.
std::string ZrLowerExtension(const std::string& path);

// The format named by the path's extension; unknown extensions throw when required is true
// and give false otherwise.
bool ZrImageFormatFromExtension(const std::string& path, ZrImageFormat& format, bool required);

// Recognises TIFF, PNG and XML by their first bytes; false when none matches.
bool ZrImageFormatFromMagic(const std::string& bytes, ZrImageFormat& format);

// Which page of a multi-page file to read, from 0, and (set by the reader) how many pages the
// file holds. Only TIFF files hold more than one; asking for a page they lack fails with
// "<name>: holds 3 pages; there is no page 5" (pages counted from 1 in the text).
struct ZrImagePage {
  int32_t Index = 0;
  int32_t Count = 1;
};

// Decoders. name is only used in error texts ("<name>: <problem>"). Without page the first
// page is read.
ZrFloatMatrix ZrDecodeTiff(const std::string& bytes, const std::string& name,
                           ZrImagePage* page = nullptr);
ZrFloatMatrix ZrDecodeRawFloat(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodeMatrixXml(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodePng(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodeNpy(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodeImage(ZrImageFormat format, const std::string& bytes, const std::string& name,
                            ZrImagePage* page = nullptr);

// The text of a page the file lacks (ZrImagePage).
std::string ZrNoSuchPage(const std::string& name, const ZrImagePage& page);

// The text tags of a TIFF file: what the image is (ImageDescription) and what made it
// (Software). ASCII tags: each text is written up to its first NUL byte.
struct ZrTiffText {
  std::string Description;
  std::string Software;
};

// The text tags of the first page; empty texts for tags the file lacks. Malformed files fail
// as in ZrDecodeTiff.
ZrTiffText ZrDecodeTiffText(const std::string& bytes, const std::string& name);

// Encoders: the complete file contents. The TIFF carries the text tags that are not empty.
std::string ZrEncodeTiff(const ZrFloatMatrix& image, const std::string& name,
                         const ZrTiffText& text = {});
std::string ZrEncodeRawFloat(const ZrFloatMatrix& image);
std::string ZrEncodeMatrixXml(const ZrFloatMatrix& image);
std::string ZrEncodePng(const ZrFloatMatrix& image, float lo, float hi, const std::string& name);
std::string ZrEncodeNpy(const ZrFloatMatrix& image);

// The largest pixel count any decoder accepts (a 1 GiB float image).
constexpr long long kZrImageMaxPixels = 1LL << 28;
