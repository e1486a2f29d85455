// rfa-process beyond the plug-in's chain: the provenance of every result, and when asked for,
// the screen found on the image, the sub-pixel move, the fitted background with its
// coefficients, the radial profile and the angular maps. All off by default: then the result
// image is the plug-in's, bit for bit.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaParameters.h"
#include "rfa/RfaScreenFind.h"
#include "tools/RfaCommandOption.h"

enum class RfaFindScreenMode {
  Off,
  Image,   // on every image
  Series,  // once, on the first image of the run, for all of them
};

struct RfaAnalysisOptions {
  RfaFindScreenMode FindScreen = RfaFindScreenMode::Off;
  bool Subpixel = false;    // move to the centre by Keys' cubic interpolation
  bool Background = false;  // <name>.background.tif and <name>.coefficients.csv
  bool Profile = false;     // <name>.profile.csv and <name>.profile.png
  double AngularStep = 0;   // > 0: <name>.angular.tif and <name>.stereo.tif, this step (degrees)
  bool Pictures = false;    // --png: pictures of the background and the maps as well
};

// The screen found once for a series, and on which file.
struct RfaSeriesScreen {
  RfaFoundScreen Screen;
  std::string From;
};

// The options --find-screen MODE (image or series), --subpixel-shift, --background, --profile
// and --angular-map STEP; a bad value throws ZrError with its text.
const std::vector<RfaCommandOption<RfaAnalysisOptions>>& RfaAnalysisCommandOptions();

// Refuses, before anything runs, what no image could make of the parameters: an angular grid
// that is impossible (RfaMakeAngularGrid, RfaMakeStereoGrid), --background without the
// spherical-harmonics step, and a SOURCE_DATE_EPOCH that is not a whole number of seconds.
void RfaCheckAnalysisOptions(const RfaAnalysisOptions& options, const RfaParameters& params);

// The endings of the files written beside <name>.tif; a folder's files with one of them are
// results, not inputs.
const std::vector<std::string>& RfaSideFileEndings();

// The time a result records, in seconds since 1970 (UTC): the environment variable
// SOURCE_DATE_EPOCH when it is set (so that runs can be compared file by file), else now.
int64_t RfaProvenanceSeconds();

// The parameters for one image: the run's, with Sx_, Sy_ and Sr_ of the screen found on it
// (mode Image) or on the series (series non-null); a screen that is not found fails the image.
RfaParameters RfaImageParameters(const RfaParameters& params, const RfaAnalysisOptions& options,
                                 const ZrFloatMatrix& input, const RfaSeriesScreen* series,
                                 std::optional<RfaFoundScreen>& found);

struct RfaProcessJob;
struct RfaProcessResult;

// What the chain handed out beside its result.
struct RfaAnalysisInputs {
  const ZrFloatMatrix* Input = nullptr;     // the image as read
  ZrFloatMatrix Background, Fitted;         // of the spherical-harmonics fit (empty: none)
  RfaFitSolution Solution;                  // what the fit solved
  std::optional<RfaFoundScreen> Found;      // on this image
  const RfaSeriesScreen* Series = nullptr;  // or on the series
};

// The SHA-256 of the input file as lower-case hex, kept for later calls; ZrError when it
// cannot be read.
std::string RfaInputSha256(const std::string& path);

// Every file of one result, encoded but not written: the float TIFF with its provenance in
// the ImageDescription and Software tags, the key record with the "Provenance" group, the JSON
// side file, the pictures of job.beforePng / afterPng, and the outputs the options ask for.
// warning: what the user should know (an ill-conditioned fit), "" for nothing.
std::vector<std::pair<std::string, std::string>> RfaResultFiles(const RfaProcessJob& job,
                                                                const RfaParameters& used,
                                                                RfaProcessResult& result,
                                                                const RfaAnalysisInputs& inputs,
                                                                std::string& warning);

// The paths one job writes.
std::vector<std::string> RfaJobOutputs(const RfaProcessJob& job);
// Refuses jobs of which two would write the same file ("inputs A and B would both be written
// to PATH"), and without overwrite, any output that exists ("PATH: output exists
// (--no-overwrite)").
void RfaCheckJobOutputs(const std::vector<RfaProcessJob>& jobs, bool overwrite);
