// Byte-level codecs behind ZrImageFile.h: image bytes in memory <-> ZrFloatMatrix.
// Separate from the file access so that tests and fuzz targets can feed bytes directly.
#pragma once

#include <string>

#include "numerics/ZrMatrix.h"

enum class ZrImageFormat { Tiff, RawFloat, MatrixXml, Png, Npy };

// The format named by the path's extension; unknown extensions throw when required is true
// and give false otherwise.
bool ZrImageFormatFromExtension(const std::string& path, ZrImageFormat& format, bool required);

// Recognises TIFF, PNG and XML by their first bytes; false when none matches.
bool ZrImageFormatFromMagic(const std::string& bytes, ZrImageFormat& format);

// Decoders. name is only used in error texts ("<name>: <problem>").
ZrFloatMatrix ZrDecodeTiff(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodeRawFloat(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodeMatrixXml(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodePng(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodeNpy(const std::string& bytes, const std::string& name);
ZrFloatMatrix ZrDecodeImage(ZrImageFormat format, const std::string& bytes,
                            const std::string& name);

// Encoders: the complete file contents.
std::string ZrEncodeTiff(const ZrFloatMatrix& image, const std::string& name);
std::string ZrEncodeRawFloat(const ZrFloatMatrix& image);
std::string ZrEncodeMatrixXml(const ZrFloatMatrix& image);
std::string ZrEncodePng(const ZrFloatMatrix& image, float lo, float hi, const std::string& name);
std::string ZrEncodeNpy(const ZrFloatMatrix& image);

// The whole file, or ZrError "<path>: cannot open (...)".
std::string ZrReadFileBytes(const std::string& path);

// Writes bytes to a temporary file beside path and renames it into place; on failure the
// temporary is removed and ZrError "<path>: cannot write (...)" is thrown.
void ZrWriteFileAtomic(const std::string& path, const std::string& bytes);

// The largest pixel count any decoder accepts (a 1 GiB float image).
constexpr long long kZrImageMaxPixels = 1LL << 28;
