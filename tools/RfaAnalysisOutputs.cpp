// rfa-process's provenance records and analysis outputs.
#include "tools/RfaAnalysisOutputs.h"

#include <QDateTime>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>

#include "formats/ZrBarnXml.h"
#include "formats/ZrKeyRecord.h"
#include "formats/ZrSha256.h"
#include "imageio/ZrImageCodec.h"
#include "rfa/RfaAngularMap.h"
#include "rfa/RfaFitDiagnostics.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaProvenance.h"
#include "rfa/RfaRadialProfile.h"
#include "tools/RfaProcess.h"

namespace fs = std::filesystem;

namespace {

constexpr char kProgram[] = "rfa-process";
constexpr RfaInterpolation kInterpolation = RfaInterpolation::Keys;

}  // namespace

// Computed once per file however many frames of it a run processes; the file's size and time of
// change are part of the key, so a file replaced meanwhile is hashed again.
std::string RfaInputSha256(const std::string& path) {
  static std::mutex mutex;
  static std::map<std::string, std::string> known;
  std::error_code ec;
  const auto size = fs::file_size(path, ec);
  const auto changed = fs::last_write_time(path, ec).time_since_epoch().count();
  const std::string key = path + "\n" + std::to_string(size) + "\n" + std::to_string(changed);
  {
    std::lock_guard<std::mutex> lock(mutex);
    const auto it = known.find(key);
    if (it != known.end()) return it->second;
  }
  const std::string hash = ZrFileSha256Hex(path);
  std::lock_guard<std::mutex> lock(mutex);
  return known[key] = hash;
}

namespace {

std::string Base(const RfaProcessJob& job) {
  return job.OutputImage.substr(0, job.OutputImage.size() - 4);  // "<out>/<name>" of ".tif"
}

// The optional outputs of a job: (role, ending), in the order they are written.
std::vector<std::pair<std::string, std::string>> Endings(const RfaProcessJob& job) {
  const RfaAnalysisOptions& o = job.Analysis;
  std::vector<std::pair<std::string, std::string>> endings = {
      {"image", ".tif"}, {"keys", ".keys.xml"}, {"provenance", ".json"}};
  if (!job.BeforePng.empty()) {
    endings.push_back({"before-picture", ".before.png"});
    endings.push_back({"after-picture", ".after.png"});
  }
  if (o.Background) {
    endings.push_back({"background", ".background.tif"});
    endings.push_back({"coefficients", ".coefficients.csv"});
    if (o.Pictures) endings.push_back({"background-picture", ".background.png"});
  }
  if (o.Profile) {
    endings.push_back({"profile-table", ".profile.csv"});
    endings.push_back({"profile-plot", ".profile.png"});
  }
  if (o.AngularStep > 0) {
    endings.push_back({"angular-map", ".angular.tif"});
    endings.push_back({"stereographic-map", ".stereo.tif"});
    if (o.Pictures) {
      endings.push_back({"angular-picture", ".angular.png"});
      endings.push_back({"stereographic-picture", ".stereo.png"});
    }
  }
  return endings;
}

RfaRecordFields ParameterFields(const RfaParameters& p) {
  RfaRecordFields fields;
  for (const RfaParameterField& field : RfaParameterFields()) {
    std::visit(
        [&, k = std::string(field.Key)](auto member) {
          using T = std::decay_t<decltype(p.*member)>;
          if constexpr (std::is_same_v<T, bool>) {
            fields.emplace_back(k, p.*member);
          } else if constexpr (std::is_integral_v<T>) {
            fields.emplace_back(k, static_cast<int64_t>(p.*member));
          } else {
            fields.emplace_back(k, static_cast<double>(p.*member));
          }
        },
        field.Member);
  }
  return fields;
}

RfaRecordFields OptionFields(const RfaProcessJob& job) {
  const RfaAnalysisOptions& o = job.Analysis;
  const char* modes[] = {"off", "image", "series"};
  RfaRecordFields fields = {
      {"find-screen", std::string(modes[static_cast<int>(o.FindScreen)])},
      {"subpixel-shift", std::string(o.Subpixel ? RfaInterpolationName(kInterpolation) : "off")},
      {"background", o.Background},
      {"profile", o.Profile},
  };
  if (o.AngularStep > 0) fields.emplace_back("angular-map", o.AngularStep);
  if (job.Frame < 0) fields.emplace_back("page", static_cast<int64_t>(job.Page) + 1);
  return fields;
}

RfaRecordFields AngularGridFields(const RfaAngularGrid& grid, const RfaParameters& p,
                                  const ZrFloatMatrix& image) {
  return {{"content", std::string("angular map")},
          {"rows", std::string("theta")},
          {"columns", std::string("phi")},
          {"theta_first_deg", 0.0},
          {"theta_step_deg", grid.StepDeg},
          {"theta_count", static_cast<int64_t>(grid.Rows)},
          {"phi_first_deg", 0.0},
          {"phi_step_deg", grid.StepDeg},
          {"phi_count", static_cast<int64_t>(grid.Cols)},
          {"theta_max_deg", grid.ThetaMaxDeg},
          {"disc_centre_x", static_cast<int64_t>(image.ColSize / 2)},
          {"disc_centre_y", static_cast<int64_t>(image.RowSize / 2)},
          {"disc_radius_px", p.Sr - p.SMargin},
          {"mapping", std::string("azimuthal equidistant: theta = distance / disc_radius_px x "
                                  "theta_max_deg, phi from +x towards +y")},
          {"interpolation", std::string(RfaInterpolationName(kInterpolation))}};
}

RfaRecordFields StereoGridFields(const RfaStereoGrid& grid) {
  const double pole = (grid.Side - 1) / 2.0;
  return {{"content", std::string("stereographic map")},
          {"side", static_cast<int64_t>(grid.Side)},
          {"pole_x", pole},
          {"pole_y", pole},
          {"step_deg", grid.StepDeg},
          {"radius", std::string("2 tan(theta / 2) / step_rad pixels from the pole, towards phi")},
          {"theta_max_deg", grid.ThetaMaxDeg},
          {"interpolation", std::string(RfaInterpolationName(kInterpolation))}};
}

std::string Picture(const ZrFloatMatrix& image, const std::string& path) {
  float lo = 0, hi = 0;
  RfaDisplayRange(image, lo, hi);
  return ZrEncodePng(image, lo, hi, path);
}

}  // namespace

const std::vector<RfaCommandOption<RfaAnalysisOptions>>& RfaAnalysisCommandOptions() {
  using O = RfaAnalysisOptions;
  static const std::vector<RfaCommandOption<O>> options = {
      {{"find-screen"},
       "MODE",
       "find the screen circle (Sx_, Sy_, Sr_) on every image\n"
       "(image) or once on the first (series)",
       [](O& o, const std::string& mode) {
         if (mode == "image") {
           o.FindScreen = RfaFindScreenMode::Image;
         } else if (mode == "series") {
           o.FindScreen = RfaFindScreenMode::Series;
         } else {
           throw ZrError("--find-screen needs image or series, not \"" + mode + "\"");
         }
       }},
      {{"subpixel-shift"},
       "",
       "move to the centre by an interpolated shift (Keys'\n"
       "cubic) instead of whole pixels",
       [](O& o, const std::string&) { o.Subpixel = true; }},
      {{"background"},
       "",
       "also write OUT/<name>.background.tif and\n"
       ".coefficients.csv of the spherical-harmonics fit",
       [](O& o, const std::string&) { o.Background = true; }},
      {{"profile"},
       "",
       "also write the radial profiles OUT/<name>.profile.csv\n"
       "and .profile.png",
       [](O& o, const std::string&) { o.Profile = true; }},
      {{"angular-map"},
       "STEP",
       "also write OUT/<name>.angular.tif (theta, phi grid) and\n"
       ".stereo.tif (stereographic), STEP degrees",
       [](O& o, const std::string& text) {
         bool whole = false;
         const double step = ZrParseNumber<double>(text, &whole);
         if (!whole || !(step > 0 && step <= 90)) {
           throw ZrError("--angular-map needs a step in degrees above 0 and at most 90, not \"" +
                         text + "\"");
         }
         o.AngularStep = step;
       }},
  };
  return options;
}

void RfaCheckAnalysisOptions(const RfaAnalysisOptions& options, const RfaParameters& params) {
  if (options.Background && !params.IsBgSh) {
    throw ZrError(
        "--background writes the spherical-harmonics background, which IsBgSh_ "
        "switches off");
  }
  if (options.AngularStep > 0) {
    RfaMakeAngularGrid(options.AngularStep, params);
    RfaMakeStereoGrid(options.AngularStep, params);
  }
  RfaProvenanceSeconds();
}

const std::vector<std::string>& RfaSideFileEndings() {
  static const std::vector<std::string> endings = {
      ".keys.xml",       ".json",           ".before.png",       ".after.png",
      ".background.tif", ".background.png", ".coefficients.csv", ".profile.csv",
      ".profile.png",    ".angular.tif",    ".angular.png",      ".stereo.tif",
      ".stereo.png"};
  return endings;
}

int64_t RfaProvenanceSeconds() {
  const char* fixed = std::getenv("SOURCE_DATE_EPOCH");
  if (fixed == nullptr) return QDateTime::currentSecsSinceEpoch();
  bool whole = false;
  const int64_t seconds = ZrParseNumber<int64_t>(fixed, &whole);
  if (!whole || seconds < 0 || seconds > 253402300799) {  // up to the end of year 9999
    throw ZrError(std::string("SOURCE_DATE_EPOCH must be a whole number of seconds since 1970, "
                              "not \"") +
                  fixed + "\"");
  }
  return seconds;
}

RfaParameters RfaImageParameters(const RfaParameters& params, const RfaAnalysisOptions& options,
                                 const ZrFloatMatrix& input, const RfaSeriesScreen* series,
                                 std::optional<RfaFoundScreen>& found) {
  RfaParameters used = params;
  if (series != nullptr) {
    found.reset();
    used.Sx = series->Screen.Cx;
    used.Sy = series->Screen.Cy;
    used.Sr = series->Screen.R;
  } else if (options.FindScreen == RfaFindScreenMode::Image) {
    found = RfaFindScreen(input);
    used.Sx = found->Cx;
    used.Sy = found->Cy;
    used.Sr = found->R;
  }
  return used;
}

std::vector<std::string> RfaJobOutputs(const RfaProcessJob& job) {
  std::vector<std::string> paths;
  for (const auto& [role, ending] : Endings(job)) paths.push_back(Base(job) + ending);
  return paths;
}

void RfaCheckJobOutputs(const std::vector<RfaProcessJob>& jobs, bool overwrite) {
  std::map<std::string, std::string> taken;  // output -> input
  std::error_code ec;
  for (const RfaProcessJob& job : jobs) {
    for (const std::string& path : RfaJobOutputs(job)) {
      const auto [it, fresh] = taken.emplace(fs::weakly_canonical(path, ec).string(), job.Input);
      if (!fresh && it->second != job.Input) {
        throw ZrError("inputs " + it->second + " and " + job.Input + " would both be written to " +
                      path);
      }
      if (!overwrite && fs::exists(path, ec)) {
        throw ZrError(path + ": output exists (--no-overwrite)");
      }
    }
  }
}

std::vector<std::pair<std::string, std::string>> RfaResultFiles(const RfaProcessJob& job,
                                                                const RfaParameters& used,
                                                                RfaProcessResult& result,
                                                                const RfaAnalysisInputs& inputs,
                                                                std::string& warning) {
  const RfaAnalysisOptions& o = job.Analysis;
  const ZrFloatMatrix& input = *inputs.Input;
  const std::string base = Base(job);
  RfaProvenance record;
  record.Program = kProgram;
  record.Version = used.Version;
  record.Input = job.Input;
  record.InputSha256 = RfaInputSha256(job.Input);
  record.Frame = job.Frame;
  record.Time = RfaUtcTime(RfaProvenanceSeconds());
  record.Parameters = ParameterFields(used);
  record.Options = OptionFields(job);
  for (const auto& [role, ending] : Endings(job)) {
    record.Outputs.emplace_back(role, fs::path(base + ending).filename().string());
  }

  const RfaFoundScreen* screen = inputs.Series != nullptr ? &inputs.Series->Screen
                                 : inputs.Found           ? &*inputs.Found
                                                          : nullptr;
  if (screen != nullptr) {
    record.Results.insert(
        record.Results.end(),
        {{"ScreenX", screen->Cx},
         {"ScreenY", screen->Cy},
         {"ScreenR", screen->R},
         {"ScreenRimPoints", static_cast<int64_t>(screen->RimPoints)},
         {"ScreenRays", static_cast<int64_t>(screen->Rays)},
         {"ScreenScatter", screen->Scatter},
         {"ScreenFoundOn", inputs.Series != nullptr ? inputs.Series->From : job.Input}});
  }
  if (used.IsMoveCenter) {
    const double dx = input.ColSize / 2 - used.Sx, dy = input.RowSize / 2 - used.Sy;
    record.Results.emplace_back("CentreShiftX", o.Subpixel ? dx : std::trunc(dx));
    record.Results.emplace_back("CentreShiftY", o.Subpixel ? dy : std::trunc(dy));
  }
  if (!inputs.Background.IsEmpty()) {
    const RfaFitQuality q = RfaAssessFit(inputs.Fitted, inputs.Background, used, inputs.Solution);
    record.Results.insert(record.Results.end(), {{"FitCondition", q.Condition},
                                                 {"FitResidualRms", q.ResidualRms},
                                                 {"FitRelativeResidualRms", q.RelativeResidualRms},
                                                 {"FitPixels", q.Pixels},
                                                 {"FitReliable", !q.Unreliable()}});
    const std::string text = RfaFitWarning(q, used);
    if (!text.empty()) {
      record.Results.emplace_back("FitWarning", text);
      warning = job.Input + ": warning: " + text;
    }
  }

  std::vector<std::pair<std::string, RfaRecordFields>> grids;
  ZrFloatMatrix angular, stereo;
  if (o.AngularStep > 0) {
    const RfaAngularGrid grid = RfaMakeAngularGrid(o.AngularStep, used);
    const RfaStereoGrid stereoGrid = RfaMakeStereoGrid(o.AngularStep, used);
    angular = RfaAngularMap(result.Image, used, grid, kInterpolation);
    stereo = RfaStereographicMap(result.Image, used, stereoGrid, kInterpolation);
    grids.emplace_back("angular_map", AngularGridFields(grid, used, result.Image));
    grids.emplace_back("stereographic_map", StereoGridFields(stereoGrid));
  }

  RfaKeyWriter keys(result.Doubles, result.Texts);
  RfaWriteProvenanceKeys(keys, record);
  const ZrTiffText software{"", std::string(kProgram) + " " + used.Version};
  auto tiff = [&](const ZrFloatMatrix& image, const std::string& path,
                  const RfaRecordFields& content) {
    ZrTiffText text = software;
    text.Description = RfaProvenanceJson(record, false, true, {{"file", content}});
    return ZrEncodeTiff(image, path, text);
  };
  auto content = [](const char* what) { return RfaRecordFields{{"content", std::string(what)}}; };

  std::vector<std::pair<std::string, std::string>> files = {
      {job.OutputImage, tiff(result.Image, job.OutputImage, content("result"))},
      {job.OutputKeys, ZrKeyRecordText(result.Doubles, result.Texts)},
      {base + ".json", RfaProvenanceJson(record, true, false, grids)}};
  if (!job.BeforePng.empty()) {
    files.emplace_back(job.BeforePng, Picture(input, job.BeforePng));
    files.emplace_back(job.AfterPng, Picture(result.Image, job.AfterPng));
  }
  if (o.Background) {
    files.emplace_back(base + ".background.tif", tiff(inputs.Background, base + ".background.tif",
                                                      content("spherical-harmonics background")));
    files.emplace_back(base + ".coefficients.csv",
                       RfaCoefficientsCsv(inputs.Solution.Coefficients));
    if (o.Pictures) {
      files.emplace_back(base + ".background.png",
                         Picture(inputs.Background, base + ".background.png"));
    }
  }
  if (o.Profile) {
    double cx = 0, cy = 0;
    RfaResultScreenCentre(input, used, o.Subpixel, cx, cy);
    const double reach = std::hypot(input.ColSize, input.RowSize) + 1;
    const int32_t rings = static_cast<int32_t>(std::min(std::ceil(used.Sr) + 2, reach));
    const RfaRadialProfile before = RfaMakeRadialProfile(input, used.Sx, used.Sy, rings);
    const RfaRadialProfile after = RfaMakeRadialProfile(result.Image, cx, cy, rings);
    files.emplace_back(base + ".profile.csv", RfaProfileCsv(before, after, used));
    files.emplace_back(base + ".profile.png", RfaProfilePlotPng(before, after, used));
  }
  if (o.AngularStep > 0) {
    files.emplace_back(base + ".angular.tif",
                       tiff(angular, base + ".angular.tif", grids[0].second));
    files.emplace_back(base + ".stereo.tif", tiff(stereo, base + ".stereo.tif", grids[1].second));
    if (o.Pictures) {
      files.emplace_back(base + ".angular.png", Picture(angular, base + ".angular.png"));
      files.emplace_back(base + ".stereo.png", Picture(stereo, base + ".stereo.png"));
    }
  }
  return files;
}
