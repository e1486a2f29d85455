// rfabg: screen finding and angular maps, a thin layer over rfa/RfaScreenFind.h and
// rfa/RfaAngularMap.h with the GIL released while they work.
#include <pybind11/stl.h>

#include "python/RfabgNumpy.h"
#include "rfa/RfaAngularMap.h"
#include "rfa/RfaParameters.h"
#include "rfa/RfaScreenFind.h"

namespace {

// The grid's axis values, degrees: first, first + step, ... (count of them).
py::array_t<double> Axis(double step, int32_t count) {
  py::array_t<double> axis(count);
  for (int32_t i = 0; i < count; ++i) axis.mutable_at(i) = i * step;
  return axis;
}

}  // namespace

void RfabgDefineAnalysis(py::module_& m) {
  const auto imageArg = py::arg("image");
  const auto nanArg = py::arg("nan") = "zero";
  m.def(
      "find_screen",
      [](const py::handle& im, const std::string& n) {
        const RfabgInputImage in(im, "image", n);
        RfaFoundScreen found;
        {
          py::gil_scoped_release release;
          found = RfaFindScreen(in.Matrix());
        }
        py::dict d;
        d["cx"] = found.Cx;
        d["cy"] = found.Cy;
        d["r"] = found.R;
        d["rim_points"] = found.RimPoints;
        d["rays"] = found.Rays;
        d["scatter"] = found.Scatter;
        return d;
      },
      imageArg, py::kw_only(), nanArg,
      "The screen circle anywhere on the image, as rfa-process --find-screen finds it: a dict "
      "with the centre \"cx\", \"cy\" (column, row) and radius \"r\" in pixels, the rim points "
      "the circle was fitted to, the rays cast and their scatter about it (pixels). A screen "
      "that cannot be found raises ZrError.");
  m.def(
      "angular_map",
      [](const py::handle& im, const RfaParameters& p, double step, const std::string& n) {
        const RfaAngularGrid grid = RfaMakeAngularGrid(step, p);
        const RfabgInputImage in(im, "image", n);
        ZrFloatMatrix map;
        {
          py::gil_scoped_release release;
          map = RfaAngularMap(in.Matrix(), p, grid, RfaInterpolation::Keys);
        }
        py::dict d;
        d["image"] = RfabgToNumpy(std::move(map));
        d["theta_deg"] = Axis(grid.StepDeg, grid.Rows);
        d["phi_deg"] = Axis(grid.StepDeg, grid.Cols);
        return d;
      },
      imageArg, py::arg("params"), py::arg("step"), py::kw_only(), nanArg,
      "The centred result on a regular grid of directions, as rfa-process --angular-map writes "
      "it: a dict with the map \"image\" (rows theta, columns phi) and the axes \"theta_deg\" "
      "and \"phi_deg\". Directions map to pixels as in the background fit (theta grows "
      "linearly with the distance from the image centre up to MappingAzThetaMax_deg_ at "
      "Sr_ - SMargin_); Keys' cubic interpolation; holes stay 0.");
  m.def(
      "stereographic_map",
      [](const py::handle& im, const RfaParameters& p, double step, const std::string& n) {
        const RfaStereoGrid grid = RfaMakeStereoGrid(step, p);
        const RfabgInputImage in(im, "image", n);
        ZrFloatMatrix map;
        {
          py::gil_scoped_release release;
          map = RfaStereographicMap(in.Matrix(), p, grid, RfaInterpolation::Keys);
        }
        py::dict d;
        d["image"] = RfabgToNumpy(std::move(map));
        d["step_deg"] = grid.StepDeg;
        d["theta_max_deg"] = grid.ThetaMaxDeg;
        d["pole"] = py::make_tuple((grid.Side - 1) / 2.0, (grid.Side - 1) / 2.0);
        return d;
      },
      imageArg, py::arg("params"), py::arg("step"), py::kw_only(), nanArg,
      "The same directions in a stereographic projection: a square \"image\" with the pole at "
      "\"pole\" (column, row), a direction at 2 tan(theta / 2) / step (step in radians) from "
      "it towards phi, 0 beyond \"theta_max_deg\".");
}
