// The numpy side shared by the files of the module rfabg: input images checked and seen as
// matrices, results handed to numpy, and the analysis functions' definitions.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <utility>

#include "python/RfabgCore.h"

namespace py = pybind11;

// The pixels of a numpy image, checked, and the matrix over them (see RfabgImage). The array
// reference keeps the pixels alive; Matrix() may be used with the GIL released.
class RfabgInputImage {
 public:
  RfabgInputImage(const py::handle& object, const char* what, const std::string& nan) {
    if (!py::isinstance<py::array>(object)) {
      throw ZrError(std::string(what) + " must be a numpy array of float32, not " +
                    py::str(py::type::handle_of(object).attr("__name__")).cast<std::string>());
    }
    const auto array = py::reinterpret_borrow<py::array>(object);
    if (!py::isinstance<py::array_t<float>>(array)) {
      throw ZrError(std::string(what) + " must be float32, not " +
                    py::str(array.dtype()).cast<std::string>() + ": convert it with " + what +
                    ".astype(numpy.float32)");
    }
    if (array.ndim() != 2) {
      throw ZrError(std::string(what) + " must be 2-D (rows, columns), not " +
                    std::to_string(array.ndim()) + "-D" +
                    (array.ndim() == 3 ? ": process the frames of a stack one at a time" : ""));
    }
    // C order is what a matrix is; any other layout costs one copy here.
    array_ = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(array);
    const int64_t rows = array_.shape(0);
    const int64_t cols = array_.shape(1);
    const float* pixels = array_.data();
    const RfabgNaN policy = RfabgNaNFromName(nan);
    py::gil_scoped_release release;
    image_ = std::make_unique<RfabgImage>(pixels, rows, cols, policy);
  }
  const ZrFloatMatrix& Matrix() const { return image_->Matrix(); }

 private:
  py::array_t<float, py::array::c_style | py::array::forcecast> array_;
  std::unique_ptr<RfabgImage> image_;
};

// Hands a matrix to numpy without copying its pixels: the array owns the matrix.
inline py::array_t<float> RfabgToNumpy(ZrFloatMatrix&& image) {
  const py::ssize_t rows = image.RowSize;
  const py::ssize_t cols = image.ColSize;
  if (image.Data == nullptr) return py::array_t<float>({rows, cols});
  auto* owner = new ZrFloatMatrix(std::move(image));
  const py::capsule free(owner, [](void* p) { delete static_cast<ZrFloatMatrix*>(p); });
  return py::array_t<float>({rows, cols}, owner->Data, free);
}

// find_screen, angular_map and stereographic_map (RfabgAnalysis.cpp).
void RfabgDefineAnalysis(py::module_& m);
