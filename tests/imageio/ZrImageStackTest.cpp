// Stacks and .npy files: header refusals, element types and orders, HDF5 datasets and frames.
#include "imageio/ZrImageStack.h"

#include <gmock/gmock.h>
#include <hdf5.h>
#include <QTemporaryDir>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "imageio/ZrImageCodec.h"
#include "imageio/ZrImageFile.h"
#include "imageio/ZrImageNpy.h"
#include "tests/common/ZrTestImages.h"
#include "tests/common/ZrTestUtil.h"

namespace {

// A version 1 .npy file: the header dictionary as given, then the element bytes.
std::string Npy(const std::string& dict, const std::string& elements = "") {
  const std::string header = dict + "\n";
  std::string out("\x93NUMPY\x01\x00", 8);
  out.push_back(static_cast<char>(header.size() & 0xff));
  out.push_back(static_cast<char>(header.size() >> 8));
  return out + header + elements;
}

std::string Dict(const std::string& descr, const std::string& shape, bool fortran = false) {
  return "{'descr': '" + descr + "', 'fortran_order': " + (fortran ? "True" : "False") +
         ", 'shape': " + shape + ", }";
}

template <typename T>
std::string Bytes(const std::vector<T>& values, bool bigEndian = false) {
  std::string out(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
  for (size_t i = 0; bigEndian && i < out.size(); i += sizeof(T)) {
    std::reverse(out.begin() + static_cast<std::ptrdiff_t>(i),
                 out.begin() + static_cast<std::ptrdiff_t>(i + sizeof(T)));
  }
  return out;
}

struct NpyCase {
  const char* Name;
  std::string File;
  std::vector<float> Pixels;  // row after row
};

class NpyRead : public ::testing::TestWithParam<NpyCase> {};

TEST_P(NpyRead, ConvertsEveryElementTypeAndOrder) {
  const NpyCase& c = GetParam();
  const ZrFloatMatrix image = ZrDecodeNpy(c.File, "a.npy");
  EXPECT_EQ(std::make_pair(image.ColSize, image.RowSize), std::make_pair(3, 2));
  EXPECT_EQ(ZrPixels(image), c.Pixels);
}

const std::vector<float> kCounting = {0, 1, 2, 3, 4, 5};

INSTANTIATE_TEST_SUITE_P(
    Types, NpyRead,
    ::testing::Values(
        NpyCase{"Float32", Npy(Dict("<f4", "(2, 3)"), Bytes(kCounting)), kCounting},
        NpyCase{
            "Float64BigEndian",
            Npy(Dict(">f8", "(2, 3)"), Bytes(std::vector<double>{0.5, 1e300, -2, 3, 4, 5}, true)),
            {0.5f, std::numeric_limits<float>::infinity(), -2, 3, 4, 5}},
        NpyCase{"Int8",
                Npy(Dict("|i1", "(2, 3)"), Bytes(std::vector<int8_t>{-128, 127, 0, 1, 2, 3})),
                {-128, 127, 0, 1, 2, 3}},
        NpyCase{"Uint16BigEndian",
                Npy(Dict(">u2", "(2,3)"), Bytes(std::vector<uint16_t>{65535, 1, 2, 3, 4, 5}, true)),
                {65535, 1, 2, 3, 4, 5}},
        NpyCase{"Int64",
                Npy(Dict("<i8", "(2L, 3L)"), Bytes(std::vector<int64_t>{-7, 1, 2, 3, 4, 5})),
                {-7, 1, 2, 3, 4, 5}},
        // Fortran order: the columns one after another.
        NpyCase{"Uint32Fortran",
                Npy(Dict("<u4", "(2, 3)", true), Bytes(std::vector<uint32_t>{0, 3, 1, 4, 2, 5})),
                kCounting}),
    ZrCaseName());

TEST(Npy, RefusalsNameTheFileAndTheProblem) {
  const std::string six = Bytes(kCounting);
  const std::pair<std::string, std::string> cases[] = {
      {"P6\n", "a.npy: not a .npy file (no NumPy signature)"},
      {std::string("\x93NUMPY\x04\x00\x10\x00", 10), "a.npy: .npy version 4.0 is not supported"},
      {std::string("\x93NUMPY\x01\x00\xff\x00{", 11), "a.npy: .npy header is truncated"},
      {std::string("\x93NUMPY\x02\x00\x00\x00\x20\x00", 12),
       "a.npy: .npy header of 2097152 bytes is too large"},
      {Npy("{'descr': '<f4', 'shape': (2,,3)}"),
       "a.npy: .npy header is malformed (a size expected at character 29)"},
      {Npy("{'descr': '<f4', 'fortran_order': false, 'shape': (2, 3)}"),
       "a.npy: .npy header is malformed (True or False expected at character 34)"},
      {Npy("{'descr': '<f4', 'shape': (2, 3), 'extra': 1}"),
       "a.npy: .npy header is malformed (unknown key 'extra' at character 42)"},
      {Npy("{'descr': '<f4', 'fortran_order': False}"), "a.npy: .npy header lacks 'shape'"},
      {Npy("{'descr': [('a', '<f4')], 'fortran_order': False, 'shape': (2,)}"),
       "a.npy: .npy arrays of records are not images"},
      {Npy(Dict("<c8", "(2, 3)")),
       "a.npy: .npy element type '<c8' is not supported (float32, float64 or 8- to 64-bit "
       "integers)"},
      {Npy(Dict("<f4", "(6,)"), six),
       "a.npy: a .npy array of 1 dimensions is not an image (2-D, or 3-D for a stack of frames)"},
      {Npy(Dict("<f4", "(1, 2, 3)", true), six),
       "a.npy: a Fortran-ordered 3-D .npy array is not supported (save it C-ordered)"},
      {Npy(Dict("<f4", "(3000000000, 1)")), "a.npy: .npy frame size 3000000000 x 1 is too large"},
      {Npy(Dict("<f4", "(99999999999999999999, 1)")),
       "a.npy: .npy header is malformed (size too large at character 70)"},
      {Npy(Dict("<f4", "(2, 3)"), six.substr(1)),
       "a.npy: .npy shape (2, 3) does not match the file length of 93 bytes"},
      {Npy(Dict("<f4", "(1, 2, 3)"), six),
       "a.npy: a stack of 1 frames (3-D .npy array) is not one image"},
      {Npy(Dict("<f4", "(999999999999, 2, 0)")), "a.npy: a .npy stack of empty frames (2 x 0)"},
  };
  for (const auto& [bytes, message] : cases) EXPECT_ZR_ERROR(ZrDecodeNpy(bytes, "a.npy"), message);
}

class StackTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }

  // An HDF5 file with the given datasets, written with the library directly.
  void WriteHdf5(const std::string& name,
                 const std::vector<std::pair<std::string, std::vector<hsize_t>>>& datasets) {
    const hid_t file = H5Fcreate(Path(name).c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    ASSERT_GE(file, 0);
    const hid_t links = H5Pcreate(H5P_LINK_CREATE);
    H5Pset_create_intermediate_group(links, 1);
    for (const auto& [path, dims] : datasets) {
      hsize_t count = 1;
      for (hsize_t d : dims) count *= d;
      std::vector<uint16_t> values(count);
      for (hsize_t i = 0; i < count; ++i) values[i] = static_cast<uint16_t>(1000 + i);
      const hid_t space = H5Screate_simple(static_cast<int>(dims.size()), dims.data(), nullptr);
      const hid_t set =
          H5Dcreate2(file, path.c_str(), H5T_STD_U16BE, space, links, H5P_DEFAULT, H5P_DEFAULT);
      ASSERT_GE(set, 0);
      H5Dwrite(set, H5T_NATIVE_UINT16, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data());
      H5Dclose(set);
      H5Sclose(space);
    }
    H5Pclose(links);
    H5Fclose(file);
  }

  QTemporaryDir dir_;
};

TEST_F(StackTest, Hdf5FramesAreReadOneAtATime) {
  WriteHdf5("run.h5", {{"/entry/data/data", {3, 2, 4}}, {"/entry/sum", {2, 4}}});
  EXPECT_ZR_ERROR(ZrProbeStack(Path("run.h5"), ""),
                  Path("run.h5") +
                      ": holds 2 image datasets (/entry/data/data, /entry/sum); name the one to "
                      "read");
  const ZrStackInfo info = ZrProbeStack(Path("run.h5"), "/entry/data/data");
  EXPECT_EQ(std::make_tuple(info.Frames, info.Cols, info.Rows, info.IsStack),
            std::make_tuple(int64_t{3}, 4, 2, true));
  const ZrFloatMatrix last = ZrReadStackFrame(Path("run.h5"), "/entry/data/data", 2);
  EXPECT_EQ(std::make_pair(last.ColSize, ZrPixels(last)),
            std::make_pair(4, std::vector<float>{1016, 1017, 1018, 1019, 1020, 1021, 1022, 1023}));
  EXPECT_ZR_ERROR(ZrReadStackFrame(Path("run.h5"), "/entry/data/data", 3),
                  Path("run.h5") + ": frame 3 is outside the 3 frames of dataset /entry/data/data");
  const ZrStackInfo sum = ZrProbeStack(Path("run.h5"), "/entry/sum");
  EXPECT_EQ(std::make_pair(sum.Frames, sum.IsStack), std::make_pair(int64_t{1}, false));
  EXPECT_EQ(ZrReadStackFrame(Path("run.h5"), "/entry/sum", 0).Data[7], 1007.0f);

  WriteHdf5("odd.h5", {{"/line", {5}}, {"/cube", {2, 2, 2, 2}}});
  EXPECT_ZR_ERROR(ZrProbeStack(Path("odd.h5"), ""),
                  Path("odd.h5") + ": holds no 2-D or 3-D dataset of numbers");
  EXPECT_ZR_ERROR(ZrProbeStack(Path("odd.h5"), "/line"),
                  Path("odd.h5") +
                      ": dataset /line is not an image (numbers in 2 dimensions, or 3 for a stack "
                      "of frames)");
  // The library's own reason follows in brackets.
  std::ofstream(Path("fake.h5")) << "not HDF5";
  for (const auto& [name, dataset, prefix] :
       {std::tuple{"odd.h5", "/none", ": cannot open dataset /none ("},
        std::tuple{"fake.h5", "", ": cannot open as HDF5 file ("}}) {
    EXPECT_THAT(ZrErrorText([&] { ZrProbeStack(Path(name), dataset); }),
                ::testing::StartsWith(Path(name) + prefix));
  }
}

TEST_F(StackTest, NpyStackFramesAndLength) {
  std::vector<float> values(2 * 3 * 4);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<float>(i);
  std::ofstream(Path("s.npy"), std::ios::binary) << Npy(Dict("<f4", "(2, 3, 4)"), Bytes(values));
  const ZrStackInfo info = ZrProbeStack(Path("s.npy"), "ignored");
  EXPECT_EQ(std::make_pair(info.IsStack, info.Frames), std::make_pair(true, int64_t{2}));
  EXPECT_EQ(ZrPixels(ZrReadStackFrame(Path("s.npy"), "", 1)),
            std::vector<float>(values.begin() + 12, values.end()));
  EXPECT_ZR_ERROR(ZrImageRead(Path("s.npy")),
                  Path("s.npy") + ": a stack of 2 frames (3-D .npy array) is not one image");
  std::ofstream(Path("short.npy"), std::ios::binary)
      << Npy(Dict("<f4", "(2, 3, 4)"), Bytes(values).substr(4));
  EXPECT_ZR_ERROR(ZrReadStackFrame(Path("short.npy"), "", 0),
                  Path("short.npy") + ": .npy shape does not match the file length of 165 bytes");
}

}  // namespace
