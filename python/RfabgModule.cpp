// rfabg: the RFA operation chain for Python -- the parameter set, each operation on a float32
// numpy image, the whole chain with its key records, image and key files. A thin layer: it
// checks and converts Python objects and calls RfabgCore.h and the libraries, with the GIL
// released while they work.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "formats/ZrKeyRecord.h"
#include "imageio/ZrImageFile.h"
#include "python/RfabgCore.h"
#include "python/RfabgNumpy.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaImageOps.h"
#include "tools/RfaProcess.h"

namespace py = pybind11;

namespace {

constexpr char kProgramName[] = "rfabg";

// Runs an operation that changes its image on a copy of the input.
template <class Op>
py::array_t<float> Changed(const py::handle& image, const std::string& nan, Op op) {
  const RfabgInputImage in(image, "image", nan);
  ZrFloatMatrix out;
  {
    py::gil_scoped_release release;
    out = in.Matrix();
    op(out);
  }
  return RfabgToNumpy(std::move(out));
}

template <class Op>
py::array_t<float> Computed(const py::handle& image, const std::string& nan, Op op) {
  const RfabgInputImage in(image, "image", nan);
  ZrFloatMatrix out;
  {
    py::gil_scoped_release release;
    out = op(in.Matrix());
  }
  return RfabgToNumpy(std::move(out));
}

RfabgValue ToValue(const std::string& key, const py::handle& v) {
  if (py::isinstance<py::bool_>(v) || std::string(Py_TYPE(v.ptr())->tp_name) == "numpy.bool_") {
    return v.cast<bool>();
  }
  if (PyIndex_Check(v.ptr())) {
    const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(v.ptr()));
    if (!number) throw py::error_already_set();
    int overflow = 0;
    const long long i = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
    // Beyond 64 bits the digits go as a text, refused or rounded as on the command line.
    if (overflow != 0) return py::str(number).cast<std::string>();
    return static_cast<int64_t>(i);
  }
  if (py::isinstance<py::str>(v)) return v.cast<std::string>();
  if (PyFloat_Check(v.ptr()) || PyNumber_Check(v.ptr()))
    return py::float_(py::reinterpret_borrow<py::object>(v)).cast<double>();
  throw ZrError("parameter " + key + " takes a number, a bool or a text, not " +
                py::str(py::type::handle_of(v).attr("__name__")).cast<std::string>());
}

// A file name given as str, bytes or os.PathLike (pathlib.Path).
std::string FilePath(const py::handle& path) {
  const auto text = py::reinterpret_steal<py::object>(PyOS_FSPath(path.ptr()));
  if (!text) throw py::error_already_set();
  return text.cast<std::string>();
}

py::object FromValue(const RfabgValue& v) {
  return std::visit([](const auto& x) -> py::object { return py::cast(x); }, v);
}

py::dict ResultDict(RfaProcessResult&& result) {
  py::dict d;
  d["image"] = RfabgToNumpy(std::move(result.Image));
  d["doubles"] = py::cast(result.Doubles);
  d["texts"] = py::cast(result.Texts);
  return d;
}

// ZrError texts come from files and user input as well: bytes that are not UTF-8 are shown
// escaped rather than turning the error into a decoding error.
PyObject* g_zrError = nullptr;

void TranslateZrError(std::exception_ptr p) {
  try {
    if (p) std::rethrow_exception(p);
  } catch (const ZrError& e) {
    PyObject* text = PyUnicode_DecodeUTF8(
        e.Message.data(), static_cast<Py_ssize_t>(e.Message.size()), "backslashreplace");
    PyErr_SetObject(g_zrError, text);
    Py_XDECREF(text);
  }
}

}  // namespace

PYBIND11_MODULE(_rfabg, m) {
  m.doc() =
      "The RFA background chain (move to centre, spherical-harmonics and azimuthal backgrounds, "
      "MCP dip and outside masks) on float32 numpy images; see docs/python.md.";
  // The fit prints its normal matrix for every image; in a notebook that is noise.
  RfaSilenceDebugOutput();

  // Created once and kept for the life of the process (a module is never unloaded).
  g_zrError = PyErr_NewException("rfabg.ZrError", PyExc_Exception, nullptr);
  m.attr("ZrError") = py::handle(g_zrError);
  py::register_exception_translator(TranslateZrError);

  py::class_<RfaParameters>(m, "Parameters",
                            "The parameter set, its fields by their file keys (\"Sx_\", ...).")
      .def(py::init([](const py::kwargs& fields) {
             RfaParameters p;
             for (const auto& [key, value] : fields) {
               const std::string k = key.cast<std::string>();
               RfabgSetParameter(p, k, ToValue(k, value));
             }
             return p;
           }),
           "The defaults, then the given fields: Parameters(Sx_=120, IsBgSh_=False).")
      .def_static(
          "read",
          [](const py::handle& path) {
            RfaProcessOptions options;
            options.ParameterFile = FilePath(path);
            return RfaLoadParameters(options);
          },
          py::arg("path"), "Reads a parameter file (.rfa_bg, root element \"ini\").")
      .def(
          "write",
          [](RfaParameters& p, const py::handle& path) {
            RfaWriteParameterFile(FilePath(path), p);
          },
          py::arg("path"), "Writes a parameter file as the plug-in does (6 significant digits).")
      .def("__getitem__",
           [](const RfaParameters& p, const std::string& key) {
             return FromValue(RfabgGetParameter(p, key));
           })
      .def("__setitem__",
           [](RfaParameters& p, const std::string& key, const py::handle& value) {
             RfabgSetParameter(p, key, ToValue(key, value));
           })
      .def("__contains__",
           [](const RfaParameters& p, const std::string& key) {
             try {
               RfabgGetParameter(p, key);
               return true;
             } catch (const ZrError&) {
               return false;
             }
           })
      .def("keys", [](const RfaParameters&) { return RfabgParameterKeys(); })
      .def("__iter__",
           [](const RfaParameters&) { return py::iter(py::cast(RfabgParameterKeys())); })
      .def("__len__", [](const RfaParameters&) { return RfabgParameterKeys().size(); })
      .def("to_dict",
           [](const RfaParameters& p) {
             py::dict d;
             for (const std::string& key : RfabgParameterKeys()) {
               d[py::str(key)] = FromValue(RfabgGetParameter(p, key));
             }
             return d;
           })
      .def("copy", [](const RfaParameters& p) { return p; })
      .def_property_readonly("version", [](const RfaParameters& p) { return p.Version; })
      .def("__repr__",
           [](const RfaParameters& p) {
             std::string text;
             for (const std::string& key : RfabgParameterKeys()) {
               text += (text.empty() ? "" : ", ") + key + "=" +
                       py::repr(FromValue(RfabgGetParameter(p, key))).cast<std::string>();
             }
             return "rfabg.Parameters(" + text + ")";
           })
      .def(py::pickle([](const RfaParameters& p) { return RfabgParameterTexts(p); },
                      [](const std::vector<std::pair<std::string, std::string>>& texts) {
                        RfaParameters p;
                        for (const auto& [key, text] : texts) RfabgSetParameter(p, key, text);
                        return p;
                      }));

  const auto imageArg = py::arg("image");
  const auto nanArg = py::arg("nan") = "zero";
  const auto paramsArg = py::arg("params");

  m.def(
      "move_to_center",
      [](const py::handle& im, double sx, double sy, const std::string& n) {
        return Changed(im, n, [&](ZrFloatMatrix& x) { RfaMoveToCenter(x, sx, sy); });
      },
      imageArg, py::arg("sx"), py::arg("sy"), py::kw_only(), nanArg,
      "Rolls the image so that the screen centre (sx, sy) lands on the image centre.");
  m.def(
      "move_to_center",
      [](const py::handle& im, const RfaParameters& p, const std::string& n) {
        return Changed(im, n, [&](ZrFloatMatrix& x) { RfaMoveToCenter(x, p.Sx, p.Sy); });
      },
      imageArg, paramsArg, py::kw_only(), nanArg, "The same with (Sx_, Sy_) of the parameter set.");

  m.def(
      "sh_background",
      [](const py::handle& im, const RfaParameters& p, const std::string& n) {
        return Computed(im, n, [&](const ZrFloatMatrix& x) {
          ZrFloatMatrix background;
          RfaSphericalHarmonicsBackground(background, p, x);
          return background;
        });
      },
      imageArg, paramsArg, py::kw_only(), nanArg,
      "The spherical-harmonics background (Sr_, SMargin_, MappingAzThetaMax_deg_, Size_l_) "
      "of the non-zero pixels of the disc about the image centre.");

  m.def(
      "azimuthal_background",
      [](const py::handle& im, float cx, float cy, float step, const std::string& n) {
        return Computed(im, n, [&](const ZrFloatMatrix& x) {
          return RfaAzimuthalAverageBackground(x, cx, cy, step);
        });
      },
      imageArg, py::arg("cx"), py::arg("cy"), py::arg("step") = 1.0f, py::kw_only(), nanArg,
      "The background that depends on the distance from (cx, cy) only.");
  m.def(
      "azimuthal_background",
      [](const py::handle& im, const RfaParameters& p, const std::string& n) {
        return Computed(im, n, [&](const ZrFloatMatrix& x) {
          return RfaAzimuthalAverageBackground(x, static_cast<float>(p.Ax),
                                               static_cast<float>(p.Ay), 1.0f);
        });
      },
      imageArg, paramsArg, py::kw_only(), nanArg,
      "The same about (Ax_, Ay_) with rings 1 pixel wide.");

  m.def(
      "divide",
      [](const py::handle& im, const py::handle& bg, const std::string& n) {
        const RfabgInputImage background(bg, "background", n);
        return Computed(im, n, [&](const ZrFloatMatrix& x) {
          return RfaDivideByBackground(x, background.Matrix());
        });
      },
      imageArg, py::arg("background"), py::kw_only(), nanArg,
      "image / background, and 0 where the background is exactly 0.");

  m.def(
      "mask_mcp_dip",
      [](const py::handle& im, double cx, double cy, double r, const std::string& n) {
        return Changed(im, n, [&](ZrFloatMatrix& x) { RfaMaskMcpDip(x, cx, cy, r); });
      },
      imageArg, py::arg("cx"), py::arg("cy"), py::arg("r"), py::kw_only(), nanArg,
      "Zeroes the disc of radius r + 0.5 about (cx, cy).");
  m.def(
      "mask_mcp_dip",
      [](const py::handle& im, const RfaParameters& p, const std::string& n) {
        return Changed(
            im, n, [&](ZrFloatMatrix& x) { RfaMaskMcpDip(x, p.McpDipCx, p.McpDipCy, p.McpDipR); });
      },
      imageArg, paramsArg, py::kw_only(), nanArg, "The same with McpDipCx_, McpDipCy_, McpDipR_.");

  m.def(
      "mask_outside",
      [](const py::handle& im, double cx, double cy, double rx, double ry, const std::string& n) {
        return Changed(im, n, [&](ZrFloatMatrix& x) { RfaMaskOutside(x, cx, cy, rx, ry); });
      },
      imageArg, py::arg("cx"), py::arg("cy"), py::arg("rx"), py::arg("ry"), py::kw_only(), nanArg,
      "Zeroes everything outside the ellipse of radii rx + 0.5, ry + 0.5 about (cx, cy).");
  m.def(
      "mask_outside",
      [](const py::handle& im, const RfaParameters& p, const std::string& n) {
        return Changed(im, n, [&](ZrFloatMatrix& x) {
          RfaMaskOutside(x, p.MaskCx, p.MaskCy, p.MaskRx, p.MaskRy);
        });
      },
      imageArg, paramsArg, py::kw_only(), nanArg,
      "The same with MaskCx_, MaskCy_, MaskRx_, MaskRy_.");

  m.def(
      "process",
      [](const py::handle& im, const RfaParameters& p, const std::string& n) {
        const RfabgInputImage in(im, "image", n);
        RfaProcessResult result;
        {
          py::gil_scoped_release release;
          result = RfaProcessImage(in.Matrix(), p, {}, kProgramName);
        }
        return ResultDict(std::move(result));
      },
      imageArg, paramsArg, py::kw_only(), nanArg,
      "The checked operations in their fixed order, as rfa-process runs them: a dict with the "
      "result \"image\" and its key records \"doubles\" and \"texts\" (with the \"log\").");

  m.def(
      "read_image",
      [](const py::handle& path) {
        const std::string file = FilePath(path);
        ZrFloatMatrix image;
        {
          py::gil_scoped_release release;
          image = ZrImageRead(file);
        }
        return RfabgToNumpy(std::move(image));
      },
      py::arg("path"), "Reads an image file as rfa-process does (.tif .rawf .xml .png .npy).");
  m.def(
      "write_image",
      [](const py::handle& path, const py::handle& im) {
        const std::string file = FilePath(path);
        const RfabgInputImage in(im, "image", "keep");
        py::gil_scoped_release release;
        ZrImageWrite(file, in.Matrix());
      },
      py::arg("path"), imageArg, "Writes an image file; the extension chooses the format.");
  m.def(
      "read_keys",
      [](const py::handle& path) {
        RfaProcessResult keys;
        ZrKeyRecordRead(FilePath(path), keys.Doubles, keys.Texts);
        py::dict d;
        d["doubles"] = py::cast(keys.Doubles);
        d["texts"] = py::cast(keys.Texts);
        return d;
      },
      py::arg("path"), "Reads a key file (NAME.keys.xml): a dict of \"doubles\" and \"texts\".");
  m.def(
      "write_keys",
      [](const py::handle& path, const std::map<std::string, double>& doubles,
         const std::map<std::string, std::string>& texts) {
        ZrKeyRecordWrite(FilePath(path), doubles, texts);
      },
      py::arg("path"), py::arg("doubles"), py::arg("texts"),
      "Writes a key file as rfa-process does.");

  RfabgDefineAnalysis(m);
}
