// PNG reading through libpng, entirely in memory: grey of 1 to 16 bits, or palette and colour
// images whose pixels are all grey, to float. libpng's own reports become the error text
// instead of going to standard error.
#include <png.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "imageio/ZrImageCodec.h"

namespace {

struct PngSource {
  const std::string* Bytes = nullptr;
  size_t Pos = 0;
  char Message[200] = "";  // the first problem libpng reported
};

void ReadBytes(png_structp png, png_bytep out, png_size_t n) {
  auto* source = static_cast<PngSource*>(png_get_io_ptr(png));
  if (n > source->Bytes->size() - source->Pos) png_error(png, "the file is truncated");
  std::memcpy(out, source->Bytes->data() + source->Pos, n);
  source->Pos += n;
}

void KeepError(png_structp png, png_const_charp message) {
  auto* source = static_cast<PngSource*>(png_get_error_ptr(png));
  if (source->Message[0] == '\0')
    std::snprintf(source->Message, sizeof source->Message, "%s", message);
  png_longjmp(png, 1);
}

void IgnoreWarning(png_structp, png_const_charp) {}

// The two stages that may end in a longjmp; they hold no C++ object that a jump could skip.
// Header: colour and alpha reduced to grey or RGB of 8 bits, grey kept at 8 or 16 bits in host
// byte order, interlacing undone.
bool ReadHeader(png_structp png, png_infop info) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  const int type = png_get_color_type(png, info);
  const int depth = png_get_bit_depth(png, info);
  if (type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (type == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
  if ((type & PNG_COLOR_MASK_COLOR) != 0 && depth == 16) png_set_strip_16(png);
  png_set_strip_alpha(png);
  if (depth == 16) png_set_swap(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  return true;
}

bool ReadRows(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  return true;
}

}  // namespace

ZrFloatMatrix ZrDecodePng(const std::string& bytes, const std::string& name) {
  if (bytes.size() < 8 || png_sig_cmp(reinterpret_cast<png_const_bytep>(bytes.data()), 0, 8) != 0) {
    throw ZrError(name + ": not a readable PNG file (no PNG signature)");
  }
  PngSource source;
  source.Bytes = &bytes;
  png_structp png =
      png_create_read_struct(PNG_LIBPNG_VER_STRING, &source, KeepError, IgnoreWarning);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  struct Release {
    png_structp& Png;
    png_infop& Info;
    ~Release() { png_destroy_read_struct(&Png, &Info, nullptr); }
  } release{png, info};
  if (info == nullptr) throw ZrError(name + ": not a readable PNG file (out of memory)");
  png_set_read_fn(png, &source, ReadBytes);
  const auto unreadable = [&]() {
    return ZrError(name + ": not a readable PNG file (" + source.Message + ")");
  };
  if (!ReadHeader(png, info)) throw unreadable();

  const uint32_t width = png_get_image_width(png, info);
  const uint32_t height = png_get_image_height(png, info);
  if (static_cast<long long>(width) * height > kZrImageMaxPixels) {
    throw ZrError(name + ": PNG image size " + std::to_string(width) + " x " +
                  std::to_string(height) + " is too large");
  }
  const int channels = png_get_channels(png, info);
  const bool wide = png_get_bit_depth(png, info) == 16;
  const size_t rowBytes = png_get_rowbytes(png, info);
  std::vector<png_byte> pixels(rowBytes * height);
  std::vector<png_bytep> rows(height);
  for (uint32_t y = 0; y < height; ++y) rows[y] = pixels.data() + y * rowBytes;
  if (!ReadRows(png, rows.data())) throw unreadable();

  ZrFloatMatrix image(static_cast<int32_t>(width), static_cast<int32_t>(height));
  for (uint32_t y = 0; y < height; ++y) {
    const png_byte* in = rows[y];
    float* out = image.Data + static_cast<size_t>(y) * width;
    for (uint32_t x = 0; x < width; ++x) {
      if (wide) {
        uint16_t v;
        std::memcpy(&v, in + 2 * x, 2);
        out[x] = static_cast<float>(v);
      } else if (channels == 1) {
        out[x] = static_cast<float>(in[x]);
      } else {
        const png_byte* rgb = in + 3 * static_cast<size_t>(x);
        if (rgb[0] != rgb[1] || rgb[1] != rgb[2]) {
          throw ZrError(name + ": unsupported PNG pixel format (8- or 16-bit grey expected)");
        }
        out[x] = static_cast<float>(rgb[0]);
      }
    }
  }
  return image;
}
