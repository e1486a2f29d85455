// Image stacks: HDF5 datasets through the HDF5 C library, .npy arrays through ZrImageNpy.
#include "imageio/ZrImageStack.h"

#include <hdf5.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "imageio/ZrImageCodec.h"
#include "imageio/ZrImageNpy.h"

namespace {

bool IsNpy(const std::string& path) {
  return ZrLowerExtension(path) == ".npy";
}

// HDF5 calls are serialised: not every build of the library is thread-safe, and rfa-process
// reads frames from several threads.
std::mutex& Hdf5Mutex() {
  static std::mutex mutex;
  return mutex;
}

// While it exists the library does not print its error stack to stderr (the message goes into
// the ZrError instead); Last() is the most specific message of the last failure.
class Hdf5Quiet {
 public:
  Hdf5Quiet() {
    H5Eget_auto2(H5E_DEFAULT, &func_, &data_);
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
  }
  ~Hdf5Quiet() { H5Eset_auto2(H5E_DEFAULT, func_, data_); }
  Hdf5Quiet(const Hdf5Quiet&) = delete;
  Hdf5Quiet& operator=(const Hdf5Quiet&) = delete;

  static std::string Last() {
    std::string text;
    H5Ewalk2(
        H5E_DEFAULT, H5E_WALK_UPWARD,
        [](unsigned n, const H5E_error2_t* e, void* out) -> herr_t {
          if (n == 0 && e->desc != nullptr) *static_cast<std::string*>(out) = e->desc;
          return 0;
        },
        &text);
    return text.empty() ? "HDF5 error" : text;
  }

 private:
  H5E_auto2_t func_ = nullptr;
  void* data_ = nullptr;
};

// An HDF5 identifier closed at the end of its scope.
class Hdf5Id {
 public:
  Hdf5Id(hid_t id, herr_t (*close)(hid_t)) : id_(id), close_(close) {}
  ~Hdf5Id() {
    if (id_ >= 0) close_(id_);
  }
  Hdf5Id(const Hdf5Id&) = delete;
  Hdf5Id& operator=(const Hdf5Id&) = delete;
  hid_t get() const { return id_; }
  bool ok() const { return id_ >= 0; }

 private:
  hid_t id_;
  herr_t (*close_)(hid_t);
};

// Rank and element class of a dataset: a candidate image holds numbers in 2 or 3 dimensions.
bool IsImageDataset(hid_t dataset, int& rank) {
  Hdf5Id type(H5Dget_type(dataset), H5Tclose);
  Hdf5Id space(H5Dget_space(dataset), H5Sclose);
  if (!type.ok() || !space.ok()) return false;
  const H5T_class_t cls = H5Tget_class(type.get());
  rank = H5Sget_simple_extent_ndims(space.get());
  return (cls == H5T_INTEGER || cls == H5T_FLOAT) && (rank == 2 || rank == 3);
}

// Every 2-D or 3-D numeric dataset reachable by hard links, as absolute paths.
std::vector<std::string> ImageDatasets(hid_t file) {
  std::vector<std::string> found;
  H5Lvisit(
      file, H5_INDEX_NAME, H5_ITER_INC,
      [](hid_t group, const char* name, const H5L_info_t* info, void* out) -> herr_t {
        if (info->type != H5L_TYPE_HARD) return 0;
        Hdf5Id object(H5Oopen(group, name, H5P_DEFAULT), H5Oclose);
        int rank = 0;
        if (object.ok() && H5Iget_type(object.get()) == H5I_DATASET &&
            IsImageDataset(object.get(), rank)) {
          static_cast<std::vector<std::string>*>(out)->push_back(std::string("/") + name);
        }
        return 0;
      },
      &found);
  return found;
}

struct Hdf5Dataset {
  ZrStackInfo Info;
  std::vector<hsize_t> Dims;
};

// Opens file and dataset (finding the dataset when none is named) and checks the shape.
// Must be called under the mutex and with the library quiet.
template <class Use>
void WithHdf5Dataset(const std::string& path, const std::string& dataset, Use use) {
  Hdf5Id file(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
  if (!file.ok()) {
    throw ZrError(path + ": cannot open as HDF5 file (" + Hdf5Quiet::Last() + ")");
  }
  Hdf5Dataset d;
  d.Info.Dataset = dataset;
  if (dataset.empty()) {
    const std::vector<std::string> names = ImageDatasets(file.get());
    if (names.empty()) throw ZrError(path + ": holds no 2-D or 3-D dataset of numbers");
    if (names.size() > 1) {
      std::string list;
      for (const std::string& n : names) list += (list.empty() ? "" : ", ") + n;
      throw ZrError(path + ": holds " + std::to_string(names.size()) + " image datasets (" + list +
                    "); name the one to read");
    }
    d.Info.Dataset = names.front();
  }
  const std::string& name = d.Info.Dataset;
  Hdf5Id set(H5Dopen2(file.get(), name.c_str(), H5P_DEFAULT), H5Dclose);
  if (!set.ok()) {
    throw ZrError(path + ": cannot open dataset " + name + " (" + Hdf5Quiet::Last() + ")");
  }
  int rank = 0;
  if (!IsImageDataset(set.get(), rank)) {
    throw ZrError(path + ": dataset " + name +
                  " is not an image (numbers in 2 dimensions, or 3 for a stack of frames)");
  }
  Hdf5Id space(H5Dget_space(set.get()), H5Sclose);
  d.Dims.resize(static_cast<size_t>(rank));
  H5Sget_simple_extent_dims(space.get(), d.Dims.data(), nullptr);
  const hsize_t rows = d.Dims[d.Dims.size() - 2];
  const hsize_t cols = d.Dims[d.Dims.size() - 1];
  if (rows > INT32_MAX || cols > INT32_MAX ||
      (rows > 0 && cols > static_cast<hsize_t>(kZrImageMaxPixels) / rows) ||
      (rank == 3 && d.Dims[0] > static_cast<hsize_t>(INT64_MAX))) {
    throw ZrError(path + ": frames of dataset " + name + " (" + std::to_string(rows) + " x " +
                  std::to_string(cols) + ") are too large");
  }
  if (rank == 3 && d.Dims[0] > 0 && rows * cols == 0) {
    throw ZrError(path + ": frames of dataset " + name + " are empty (" + std::to_string(rows) +
                  " x " + std::to_string(cols) + ")");
  }
  d.Info.Rows = static_cast<int32_t>(rows);
  d.Info.Cols = static_cast<int32_t>(cols);
  d.Info.IsStack = rank == 3;
  d.Info.Frames = rank == 3 ? static_cast<int64_t>(d.Dims[0]) : 1;
  use(set.get(), space.get(), d);
}

}  // namespace

bool ZrIsStackFile(const std::string& path) {
  const std::string ext = ZrLowerExtension(path);
  return ext == ".h5" || ext == ".hdf5" || ext == ".hdf" || ext == ".nxs" || ext == ".npy";
}

ZrStackInfo ZrProbeStack(const std::string& path, const std::string& dataset) {
  if (IsNpy(path)) {
    const ZrNpyHeader h = ZrReadNpyHeader(path);
    return {"", h.Frames(), h.Cols(), h.Rows(), h.Shape.size() == 3};
  }
  std::lock_guard<std::mutex> lock(Hdf5Mutex());
  Hdf5Quiet quiet;
  ZrStackInfo info;
  WithHdf5Dataset(path, dataset, [&](hid_t, hid_t, const Hdf5Dataset& d) { info = d.Info; });
  return info;
}

ZrFloatMatrix ZrReadStackFrame(const std::string& path, const std::string& dataset, int64_t frame) {
  if (IsNpy(path)) return ZrReadNpyFrame(path, frame);
  std::lock_guard<std::mutex> lock(Hdf5Mutex());
  Hdf5Quiet quiet;
  ZrFloatMatrix image;
  WithHdf5Dataset(path, dataset, [&](hid_t set, hid_t space, const Hdf5Dataset& d) {
    const std::string& name = d.Info.Dataset;
    if (frame < 0 || frame >= d.Info.Frames) {
      throw ZrError(path + ": frame " + std::to_string(frame) + " is outside the " +
                    std::to_string(d.Info.Frames) + " frames of dataset " + name);
    }
    image.Create(d.Info.Cols, d.Info.Rows);
    if (image.Count() == 0) return;
    const hsize_t rows = static_cast<hsize_t>(d.Info.Rows);
    const hsize_t cols = static_cast<hsize_t>(d.Info.Cols);
    if (d.Info.IsStack) {
      const hsize_t start[3] = {static_cast<hsize_t>(frame), 0, 0};
      const hsize_t count[3] = {1, rows, cols};
      H5Sselect_hyperslab(space, H5S_SELECT_SET, start, nullptr, count, nullptr);
    }
    const hsize_t shape[2] = {rows, cols};
    Hdf5Id memory(H5Screate_simple(2, shape, nullptr), H5Sclose);
    if (H5Dread(set, H5T_NATIVE_FLOAT, memory.get(), space, H5P_DEFAULT, image.Data) < 0) {
      throw ZrError(path + ": cannot read frame " + std::to_string(frame) + " of dataset " + name +
                    " (" + Hdf5Quiet::Last() + ")");
    }
  });
  return image;
}
