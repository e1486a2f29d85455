// rfa-process: command line, parameters, job list, per-file processing and the thread pool.
#include "tools/RfaProcess.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>
#include <variant>

#include <QString>
#include <QtGlobal>

#include "formats/ZrBarnFile.h"
#include "formats/ZrKeyRecord.h"
#include "formats/ZrPluginLog.h"
#include "formats/ZrQtDebug.h"
#include "imageio/ZrImageCodec.h"
#include "imageio/ZrImageFile.h"
#include "imageio/ZrImageStack.h"
#include "numerics/ZrMatrixOperator.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameterFields.h"
#include "rfa/RfaResultCheck.h"

namespace fs = std::filesystem;

namespace {

constexpr char kProgramName[] = "rfa-process";
constexpr int64_t kMaxFramesPerRun = 10000000;

}  // namespace

namespace {

// The operation that an option such as "--no-bg-sh" skips; null for other arguments.
const RfaOperation* SkippedOperation(const std::string& argument) {
  for (const RfaOperation& operation : RfaOperations()) {
    if (argument == operation.offOption) return &operation;
  }
  return nullptr;
}

// Numbers on the command line are read as a parameter file reads them (ZrParseNumber), so a
// text never means one number here and another there; here the whole text must be the number.
int ParseCount(const std::string& option, const std::string& text, int lo, int hi) {
  bool whole = false;
  const int32_t v = ZrParseNumber<int32_t>(text, &whole);
  if (!whole || v < lo || v > hi) {
    throw ZrError(option + " needs a whole number from " + std::to_string(lo) + " to " +
                  std::to_string(hi) + ", not \"" + text + "\"");
  }
  return v;
}

bool EndsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// Image files of a folder; the side files this program writes are not images to process,
// so a folder of earlier results can be processed again.
bool IsFolderImage(const fs::path& p) {
  const std::string name = p.filename().string();
  for (const std::string& ending : RfaSideFileEndings()) {
    if (EndsWith(name, ending)) return false;
  }
  ZrImageFormat format{};
  return ZrImageFormatFromExtension(p.string(), format, false) || ZrIsStackFile(p.string());
}

// "FIRST:END", "FIRST:", ":END" or "FRAME" (END not included, as in a Python slice).
void ParseFrames(const std::string& text, RfaFrameRange& frames) {
  auto fail = [&]() {
    throw ZrError(
        "--frames needs FIRST:END, FIRST: or FRAME (frame numbers from 0, END not "
        "included), not \"" +
        text + "\"");
  };
  auto number = [&](const std::string& part) {
    bool whole = false;
    const int64_t v = ZrParseNumber<int64_t>(part, &whole);
    if (!whole || v < 0 || v > 1000000000000000) fail();
    return v;
  };
  const size_t colon = text.find(':');
  if (colon == std::string::npos) {
    frames.first = number(text);
    frames.end = frames.first + 1;
    return;
  }
  const std::string first = text.substr(0, colon);
  const std::string end = text.substr(colon + 1);
  frames.first = first.empty() ? 0 : number(first);
  frames.end = end.empty() ? -1 : number(end);
  if (frames.end >= 0 && frames.end <= frames.first) fail();
}

void DropDebugMessages(QtMsgType type, const QMessageLogContext&, const QString& message) {
  if (type == QtDebugMsg || type == QtInfoMsg) return;
  std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
}

}  // namespace

void RfaSilenceDebugOutput() {
  qInstallMessageHandler(DropDebugMessages);
}

namespace {

// A line per operation: "      --no-bg-sh          skip 2) spherical-harmonics background".
std::string SkipOptionsHelp() {
  std::string help;
  int step = 0;
  for (const RfaOperation& operation : RfaOperations()) {
    std::string option = operation.offOption;
    option.resize(std::max<size_t>(option.size() + 1, 20), ' ');
    help += "      " + option + "skip " + std::to_string(++step) + ") " + operation.help + "\n";
  }
  return help;
}

}  // namespace

std::string RfaProcessUsage() {
  return "Usage: rfa-process [options] INPUT...\n"
         "Runs the RFA operation chain (move to centre, spherical-harmonics background,\n"
         "azimuthal background, MCP dip mask, outside mask) on image files and folders.\n"
         "INPUT is an image file (.tif .tiff .rawf .xml .png .npy), a stack of frames\n"
         "(.h5 .hdf5 .hdf .nxs, 3-D .npy) or a folder of them.\n"
         "Each result is written as OUT/<name>.tif (32-bit float), OUT/<name>.keys.xml and\n"
         "its provenance OUT/<name>.json; frame N of a stack as OUT/<name>_<N>.tif, ...\n"
         "\n"
         "Options:\n"
         "  -p, --parameters FILE   parameter file (.rfa_bg); default: built-in defaults\n"
         "  -s, --set KEY=VALUE     override one parameter by its file key, e.g. Sx_=120\n"
         "                          or IsBgSh_=false (applied after the file, in order)\n" +
         SkipOptionsHelp() +
         "      --dataset PATH      HDF5 dataset of the stacks (default: the only image one)\n"
         "      --frames FIRST:END  frames of every stack to process (END not included)\n"
         "  -o, --output DIR        output folder (created if missing); default: rfa-out\n"
         "  -j, --jobs N            process N files in parallel (1-64); default: 1\n"
         "      --page N            page N of multi-page TIFF files (from 1); default: the\n"
         "                          first, with a note for files that hold more\n"
         "      --fit-threads N     threads of each background fit (1-64); default: the\n"
         "                          processors shared among the jobs\n"
         "      --png               also write OUT/<name>.before.png and .after.png (and\n"
         "                          pictures of the background and the maps asked for)\n" +
         RfaAnalysisUsage() +
         "      --no-overwrite      refuse to start when an output file already exists\n"
         "      --allow-empty       write a result that is 0 everywhere (else it fails)\n"
         "      --make-samples DIR  write synthetic screen images to DIR and stop\n"
         "      --count N           number of samples for --make-samples (default 3)\n"
         "      --size N            sample width and height in pixels (default 256)\n"
         "  -v, --verbose           a line per file (time, normal matrix computed or\n"
         "                          reused) and the diagnostic output of the fit\n"
         "  -h, --help              show this text\n"
         "      --version           show the program version\n"
         "\n"
         "Exit status: 0 all files done, 1 some file failed, 2 usage or parameter error.\n";
}

RfaProcessOptions RfaParseCommandLine(const std::vector<std::string>& args) {
  RfaProcessOptions options;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto next = [&]() -> const std::string& {
      if (i + 1 >= args.size()) throw ZrError("option " + a + " needs a value");
      return args[++i];
    };
    if (a == "-h" || a == "--help") {
      options.help = true;
    } else if (a == "-v" || a == "--verbose") {
      options.verbose = true;
    } else if (a == "--version") {
      options.version = true;
    } else if (a == "-p" || a == "--parameters") {
      options.parameterFile = next();
    } else if (a == "-o" || a == "--output") {
      options.outputDir = next();
    } else if (a == "-j" || a == "--jobs") {
      options.jobs = ParseCount("--jobs", next(), 1, 64);
    } else if (a == "--page") {
      options.page = ParseCount("--page", next(), 1, 65535) - 1;
      options.pageChosen = true;
    } else if (a == "--fit-threads") {
      options.fitThreads = ParseCount("--fit-threads", next(), 1, 64);
    } else if (a == "-s" || a == "--set") {
      const std::string& kv = next();
      const size_t eq = kv.find('=');
      if (eq == std::string::npos || eq == 0) {
        throw ZrError("--set needs KEY=VALUE, not \"" + kv + "\"");
      }
      options.overrides.emplace_back(kv.substr(0, eq), kv.substr(eq + 1));
    } else if (const RfaOperation* skipped = SkippedOperation(a)) {
      // Recorded as an override so that it takes its place in the command-line order.
      options.overrides.emplace_back(RfaSwitchField(*skipped).key, "false");
    } else if (a == "--dataset") {
      options.frames.dataset = next();
    } else if (a == "--frames") {
      ParseFrames(next(), options.frames);
    } else if (a == "--png") {
      options.pictures = true;
    } else if (a == "--no-overwrite") {
      options.overwrite = false;
    } else if (a == "--allow-empty") {
      options.allowEmpty = true;
    } else if (a == "--make-samples") {
      options.makeSamplesDir = next();
    } else if (a == "--count") {
      options.sampleCount = ParseCount("--count", next(), 1, 1000);
    } else if (a == "--size") {
      options.sampleSize = ParseCount("--size", next(), 16, 8192);
    } else if (RfaParseAnalysisOption(args, i, options.analysis)) {
      continue;
    } else if (a.size() > 1 && a[0] == '-') {
      throw ZrError("unknown option " + a + " (see --help)");
    } else {
      options.inputs.push_back(a);
    }
  }
  return options;
}

RfaParameters RfaLoadParameters(const RfaProcessOptions& options) {
  RfaParameters params;  // a private set: never the GUI's process-wide instance
  if (!options.parameterFile.empty()) {
    ZrBarnFile file(options.parameterFile, "r");
    if (!params.Exchange(file, "ini")) {
      throw ZrError(options.parameterFile + ": not a parameter file (no \"ini\" element)");
    }
  }
  for (const auto& [key, value] : options.overrides) RfaSetParameter(params, key, value);
  params.CheckRanges();
  params.MappingIsAzM2 = true;  // as every binding of the plug-in's panel leaves it
  return params;
}

std::vector<RfaProcessJob> RfaCollectJobs(const std::vector<std::string>& inputs,
                                          const std::string& outputDir, bool pictures,
                                          const RfaFrameRange& frames) {
  std::vector<std::string> files;
  for (const std::string& input : inputs) {
    std::error_code ec;
    if (fs::is_directory(input, ec)) {
      std::vector<std::string> found;
      for (const auto& entry : fs::directory_iterator(input, ec)) {
        const std::string name = entry.path().filename().string();
        if (!name.empty() && name[0] != '.' && entry.is_regular_file(ec) &&
            IsFolderImage(entry.path())) {
          found.push_back(entry.path().string());
        }
      }
      if (ec) throw ZrError(input + ": cannot list folder (" + ec.message() + ")");
      std::sort(found.begin(), found.end());
      if (found.empty()) throw ZrError(input + ": folder holds no image files");
      files.insert(files.end(), found.begin(), found.end());
    } else {
      files.push_back(input);  // a missing or bad file fails as its own job
    }
  }
  std::vector<RfaProcessJob> jobs;
  std::map<std::string, std::string> taken;  // output image -> input
  auto add = [&](const std::string& file, const std::string& stem, RfaProcessJob job) {
    job.input = file;
    job.outputImage = (fs::path(outputDir) / (stem + ".tif")).string();
    job.outputKeys = (fs::path(outputDir) / (stem + ".keys.xml")).string();
    if (pictures) {
      job.beforePng = (fs::path(outputDir) / (stem + ".before.png")).string();
      job.afterPng = (fs::path(outputDir) / (stem + ".after.png")).string();
    }
    const auto [it, fresh] = taken.emplace(fs::weakly_canonical(job.outputImage).string(), file);
    if (!fresh) {
      throw ZrError("inputs " + it->second + " and " + file + " would both be written to " +
                    job.outputImage);
    }
    std::error_code ec;
    if (fs::equivalent(file, job.outputImage, ec)) {
      throw ZrError(file + ": output would replace the input; choose another output folder");
    }
    jobs.push_back(job);
  };
  for (const std::string& file : files) {
    const std::string stem = fs::path(file).stem().string();
    if (!ZrIsStackFile(file)) {
      add(file, stem, {});
      continue;
    }
    RfaProcessJob job;
    ZrStackInfo stack;
    try {
      stack = ZrProbeStack(file, frames.dataset);
      job.dataset = stack.Dataset;
      const int64_t end = frames.end < 0 ? stack.Frames : frames.end;
      if (stack.IsStack && (frames.first >= stack.Frames || end > stack.Frames)) {
        throw ZrError(file + ": frames " + std::to_string(frames.first) + ":" +
                      std::to_string(end) + " asked for, the stack holds " +
                      std::to_string(stack.Frames) + " (0:" + std::to_string(stack.Frames) + ")");
      }
      // A job is made for every frame before any runs; a dataset can claim far more frames
      // than its file stores (unwritten chunks read as the fill value).
      if (stack.IsStack && end - frames.first > kMaxFramesPerRun) {
        throw ZrError(file + ": frames " + std::to_string(frames.first) + ":" +
                      std::to_string(end) + " are more than " + std::to_string(kMaxFramesPerRun) +
                      " at once; choose fewer with --frames");
      }
    } catch (const ZrError& e) {
      job.error = e.Message;
      add(file, stem, job);
      continue;
    }
    if (!stack.IsStack) {  // a 2-D array is one image
      job.frame = 0;
      add(file, stem, job);
      continue;
    }
    const size_t width = std::to_string(std::max<int64_t>(stack.Frames - 1, 0)).size();
    const int64_t end = frames.end < 0 ? stack.Frames : frames.end;
    for (int64_t f = frames.first; f < end; ++f) {
      const std::string number = std::to_string(f);
      job.frame = f;
      add(file, stem + "_" + std::string(width - std::min(width, number.size()), '0') + number,
          job);
    }
  }
  return jobs;
}

RfaProcessResult RfaProcessImage(const ZrFloatMatrix& image, const RfaParameters& params,
                                 const RfaChainOptions& chain, const std::string& program) {
  RfaProcessResult result;
  result.image = image;
  ZrPluginLog log;
  log.Open(program, params.version);
  // The parameters that were used, so a result file documents how it was made.
  log.LogOpenFunction("ApplyCheckedOperations");
  for (const RfaParameterField& field : RfaParameterFields()) {
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(params.*member)>;
          if constexpr (std::is_same_v<T, long double>) {
            log.Add(field.key, static_cast<double>(params.*member));
          } else {
            log.Add(field.key, params.*member);
          }
        },
        field.member);
  }
  log.Write(result.texts);
  RfaKeyWriter keys(result.doubles, result.texts);
  RfaResultCheck check(params, image);
  RfaApplyCheckedOperations(result.image, params, keys, chain, std::ref(check));
  result.problem = check.Problem();
  result.empty = check.IsEmpty();
  return result;
}

ZrFloatMatrix RfaReadJobImage(const RfaProcessJob& job, ZrImagePage* page) {
  if (!job.error.empty()) throw ZrError(job.error);
  ZrImagePage own;
  if (page == nullptr) page = &own;
  page->index = job.page;
  ZrFloatMatrix input = job.frame < 0 ? ZrImageRead(job.input, page)
                                      : ZrReadStackFrame(job.input, job.dataset, job.frame);
  ZrMatrixOperator::ClearNaN(input);  // as the plug-in fetches its images from the host
  return input;
}

RfaFileReport RfaProcessFile(const RfaProcessJob& job, const RfaParameters& params,
                             const RfaFitOptions& fit) {
  const auto start = std::chrono::steady_clock::now();
  RfaFileReport report;
  ZrImagePage page;
  const ZrFloatMatrix input = RfaReadJobImage(job, &page);
  RfaAnalysisInputs extra;
  extra.Input = &input;
  extra.Series = job.series.get();
  RfaChainOptions chain(fit);
  chain.Fit.Report = &report.fit;
  chain.Fit.Solution = &extra.Solution;
  chain.Subpixel = job.analysis.subpixel;
  chain.Background = &extra.Background;
  chain.Fitted = &extra.Fitted;
  RfaParameters used = params;
  RfaProcessResult result;
  const std::string name =
      job.input + (job.frame >= 0 ? " frame " + std::to_string(job.frame) : "") + ": ";
  std::vector<std::pair<std::string, std::string>> files;
  try {
    used = RfaImageParameters(params, job.analysis, input, extra.Series, extra.Found);
    result = RfaProcessImage(input, used, chain);
    if (!result.problem.empty() && !(result.empty && job.allowEmpty)) {
      throw ZrError(result.problem + (result.empty ? " (--allow-empty writes it anyway)" : ""));
    }
    // Image, key record, provenance and the other outputs are written as one: an image
    // without its record is no result, and a failed run must not cost the outputs of an
    // earlier one.
    files = RfaResultFiles(job, used, result, extra, report.warning);
  } catch (ZrError& e) {
    // The range error speaks of matrix indices; here its usual cause is a screen that does
    // not fit this image, so the screen and the image size are named with it.
    if (e.Message.rfind("Matrix over range.", 0) == 0) {
      std::ostringstream hint;
      hint << " (screen Sx_=" << used.Sx << " Sy_=" << used.Sy << " Sr_=" << used.Sr
           << " SMargin_=" << used.SMargin << " on a " << input.ColSize << " x " << input.RowSize
           << " image: set them with --set or --parameters)";
      e.Message += hint.str();
    }
    e.Message = name + e.Message;
    throw;
  }
  ZrWriteFilesAtomic(files);
  report.fitted = params.IsBgSh;
  report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (job.notePages && page.count > 1) {
    report.note = job.input + ": note: the file holds " + std::to_string(page.count) +
                  " pages; page " + std::to_string(job.page + 1) +
                  " was processed (choose one with --page N)";
  }
  return report;
}

void RfaDisplayRange(const ZrFloatMatrix& image, float& lo, float& hi) {
  std::vector<float> values;
  values.reserve(static_cast<size_t>(image.Count()));
  for (int64_t i = 0; i < image.Count(); ++i) {
    if (std::isfinite(image.Data[i]) && image.Data[i] != 0.0f) values.push_back(image.Data[i]);
  }
  lo = 0;
  hi = 0;  // lo == hi asks the writer for the full range
  if (values.size() < 2) return;
  const auto at = [&](double q) {
    auto it =
        values.begin() + static_cast<std::ptrdiff_t>(q * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), it, values.end());
    return *it;
  };
  lo = at(0.005);
  hi = at(0.995);
}

int RfaFitThreadsPerJob(int jobs) {
  return std::max(1, std::min(RfaFitThreads(), omp_get_num_procs() / std::max(jobs, 1)));
}

RfaRunReport RfaRunJobs(const std::vector<RfaProcessJob>& jobs, const RfaParameters& params,
                        int threads, const std::function<void(int, int)>& progress, int fitThreads,
                        const std::function<void(size_t, const RfaFileReport&)>& finished) {
  std::vector<std::string> errors(jobs.size());
  std::vector<std::vector<std::string>> notes(jobs.size());
  std::atomic<size_t> next{0};
  std::mutex progressMutex;
  int done = 0;
  const int count = std::max(1, std::min<int>(threads, static_cast<int>(jobs.size())));
  RfaFitOptions fit;
  fit.Threads = fitThreads > 0 ? fitThreads : RfaFitThreadsPerJob(count);
  auto worker = [&]() {
    for (size_t i = next++; i < jobs.size(); i = next++) {
      RfaFileReport report;
      try {
        report = RfaProcessFile(jobs[i], params, fit);
        for (const std::string& n : {report.note, report.warning}) {
          if (!n.empty()) notes[i].push_back(n);
        }
      } catch (const ZrError& e) {
        errors[i] = e.Message;
      } catch (const std::exception& e) {
        errors[i] = jobs[i].input + ": " + e.what();
      } catch (...) {
        errors[i] = jobs[i].input + ": undefined err";
      }
      std::lock_guard<std::mutex> lock(progressMutex);
      ++done;
      if (finished && errors[i].empty()) finished(i, report);
      if (progress) progress(done, static_cast<int>(jobs.size()));
    }
  };
  if (count == 1) {
    worker();
  } else {
    std::vector<std::thread> pool;
    for (int t = 0; t < count; ++t) pool.emplace_back(worker);
    for (std::thread& t : pool) t.join();
  }
  RfaRunReport report;
  for (size_t i = 0; i < jobs.size(); ++i) {
    if (!errors[i].empty()) report.failures.push_back(errors[i]);
    report.notes.insert(report.notes.end(), notes[i].begin(), notes[i].end());
  }
  return report;
}

int RfaProcessMain(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   bool showProgress) {
  RfaProcessOptions options;
  std::vector<RfaProcessJob> jobs;
  RfaParameters params;
  bool outputDirMade = false;
  try {
    options = RfaParseCommandLine(args);
    if (options.help) {
      out << RfaProcessUsage();
      return 0;
    }
    if (options.version) {
      out << kProgramName << " " << params.version << "\n";
      return 0;
    }
    if (!options.makeSamplesDir.empty()) {
      for (const std::string& path :
           RfaMakeSamples(options.makeSamplesDir, options.sampleCount, options.sampleSize)) {
        out << path << "\n";
      }
      return 0;
    }
    if (options.inputs.empty()) throw ZrError("no input files (see --help)");
    // The libraries' debug lines (the fit's matrices) reach Qt's debug output with --verbose.
    if (options.verbose) {
      ZrDebugToQt();
    } else {
      RfaSilenceDebugOutput();
    }
    params = RfaLoadParameters(options);
    RfaCheckAnalysisOptions(options.analysis, params);
    options.analysis.pictures = options.pictures;
    jobs = RfaCollectJobs(options.inputs, options.outputDir, options.pictures, options.frames);
    for (RfaProcessJob& job : jobs) {
      job.allowEmpty = options.allowEmpty;
      job.page = options.page;
      job.notePages = !options.pageChosen;
      job.analysis = options.analysis;
    }
    RfaCheckJobOutputs(jobs, options.overwrite);
    std::error_code ec;
    outputDirMade = !fs::exists(options.outputDir, ec);
    fs::create_directories(options.outputDir, ec);
    if (ec) throw ZrError(options.outputDir + ": cannot create folder (" + ec.message() + ")");
  } catch (const ZrError& e) {
    err << kProgramName << ": " << e.Message << "\n";
    return 2;
  }

  // With --verbose a line per file instead of the bar.
  int fits = 0;
  int reused = 0;
  auto line = [&](size_t index, const RfaFileReport& report) {
    if (!options.verbose) return;
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f s", report.seconds);
    out << jobs[index].input << ": " << seconds;
    if (report.fitted) {
      ++fits;
      reused += report.fit.MatrixReused ? 1 : 0;
      out << ", normal matrix " << (report.fit.MatrixReused ? "reused" : "computed") << " ("
          << report.fit.Threads << " fit thread" << (report.fit.Threads == 1 ? "" : "s") << ")";
    }
    out << "\n" << std::flush;
  };
  auto bar = [&](int done, int total) {
    if (!showProgress || options.verbose) return;
    const int width = 40;
    const int filled = total > 0 ? done * width / total : width;
    out << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done
        << "/" << total << (done == total ? "\n" : "") << std::flush;
  };
  // One screen for the whole series, found on its first image before any file is processed;
  // when it cannot be found, no file is.
  if (options.analysis.findScreen == RfaFindScreenMode::Series && !jobs.empty()) {
    auto series = std::make_shared<RfaSeriesScreen>();
    series->From = jobs[0].input;
    try {
      series->Screen = RfaFindScreen(RfaReadJobImage(jobs[0]));
    } catch (const ZrError& e) {
      err << kProgramName << ": " << jobs[0].input << ": " << e.Message << "\n";
      std::error_code ec;
      if (outputDirMade) fs::remove(options.outputDir, ec);
      out << "processed 0 of " << jobs.size() << " files into " << options.outputDir << "\n";
      return 1;
    }
    for (RfaProcessJob& job : jobs) job.series = series;
  }
  bar(0, static_cast<int>(jobs.size()));
  const RfaRunReport report = RfaRunJobs(jobs, params, options.jobs, bar, options.fitThreads, line);
  for (const std::string& n : report.notes) err << kProgramName << ": " << n << "\n";
  for (const std::string& f : report.failures) err << kProgramName << ": " << f << "\n";
  const std::vector<std::string>& failures = report.failures;
  if (outputDirMade && failures.size() == jobs.size()) {
    std::error_code ec;
    fs::remove(options.outputDir, ec);  // only when empty: a folder made for nothing goes again
  }
  out << "processed " << (jobs.size() - failures.size()) << " of " << jobs.size() << " files into "
      << options.outputDir << "\n";
  if (options.verbose && fits > 0) {
    out << "normal matrix reused for " << reused << " of " << fits << " background fits\n";
  }
  return failures.empty() ? 0 : 1;
}
