// Image files: reading and writing a ZrFloatMatrix as TIFF, raw float, matrix XML or PNG.
#pragma once

#include <string>

#include "numerics/ZrMatrix.h"

// The format is chosen by the file extension (case-insensitive):
//   ".tif", ".tiff"  TIFF. Reading: one channel of 8- or 16-bit unsigned integers or 32-bit
//                    floats, in strips or tiles, one page (the first unless chosen). Writing:
//                    32-bit float, one channel, lossless.
//                    The matrix begins are not kept (a read image has begins 0, 0).
//   ".rawf"          raw float: a 16-byte little-endian header of four int32 values
//                    ColSize, RowSize, ColBegin, RowBegin (the layout of the shared-memory
//                    image block), then ColSize * RowSize little-endian float32 pixels, row
//                    after row, x fastest. Begins are kept.
//   ".xml"           matrix XML: root element "VELDRA-IMAGE-FILE" holding the matrix under
//                    "image" (written in the "bb" binary form). Begins are kept.
//   ".png"           Reading: grey of 1 to 16 bits (palette and colour images only when every
//                    pixel is grey), converted to float (0..255 or 0..65535).
//                    Writing: a display rendering, see ZrImageWritePng.
//   ".npy"           NumPy array file. Reading: a 2-D array (rows, columns) of float32,
//                    float64 or 8- to 64-bit integers, converted to float. Writing: float32,
//                    C order. Begins are not kept. (3-D arrays are stacks: ZrImageStack.h.)
// On reading, a file whose extension is unknown is recognised by its first bytes (TIFF and
// PNG and NumPy signatures, an XML start tag); the raw float format has no signature and needs
// ".rawf".
//
// Every failure throws ZrError with a text that names the file. Writes replace the file in one
// step (ZrWriteFileAtomic, formats/ZrFileBytes.h), so a failed write never leaves a partial
// file under the destination name.
// With page, its index chooses the page of a multi-page TIFF and its count is set to the
// number of pages in the file (ZrImagePage, imageio/ZrImageCodec.h).
struct ZrImagePage;
ZrFloatMatrix ZrImageRead(const std::string& path, ZrImagePage* page = nullptr);
void ZrImageWrite(const std::string& path, const ZrFloatMatrix& image);

// An 8-bit grey picture for people: lo maps to black, hi to white, linear between, values
// outside clamp. When lo >= hi the range is taken from the image's finite minimum and maximum.
// Not-a-number pixels are drawn black.
void ZrImageWritePng(const std::string& path, const ZrFloatMatrix& image, float lo, float hi);
