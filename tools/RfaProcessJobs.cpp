// rfa-process's jobs: collecting them, one file through the chain, the thread pool.
#include "tools/RfaProcessJobs.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>
#include <mutex>
#include <sstream>
#include <thread>
#include <variant>

#include "formats/ZrBarnFile.h"
#include "formats/ZrFileBytes.h"
#include "formats/ZrPluginLog.h"
#include "imageio/ZrImageFile.h"
#include "imageio/ZrImageStack.h"
#include "numerics/ZrError.h"
#include "numerics/ZrMatrixOperator.h"
#include "rfa/RfaKeyWriter.h"
#include "rfa/RfaParameterFields.h"
#include "rfa/RfaResultCheck.h"

namespace fs = std::filesystem;

namespace {

constexpr int64_t kMaxFramesPerRun = 10000000;

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

}  // namespace

RfaParameters RfaLoadParameters(const RfaProcessOptions& options) {
  RfaParameters params;  // a private set: never the GUI's process-wide instance
  if (!options.ParameterFile.empty()) {
    ZrBarnFile file(options.ParameterFile, "r");
    if (!params.Exchange(file, "ini")) {
      throw ZrError(options.ParameterFile + ": not a parameter file (no \"ini\" element)");
    }
  }
  for (const auto& [key, value] : options.Overrides) RfaSetParameter(params, key, value);
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
    job.Input = file;
    job.OutputImage = (fs::path(outputDir) / (stem + ".tif")).string();
    job.OutputKeys = (fs::path(outputDir) / (stem + ".keys.xml")).string();
    if (pictures) {
      job.BeforePng = (fs::path(outputDir) / (stem + ".before.png")).string();
      job.AfterPng = (fs::path(outputDir) / (stem + ".after.png")).string();
    }
    const auto [it, fresh] = taken.emplace(fs::weakly_canonical(job.OutputImage).string(), file);
    if (!fresh) {
      throw ZrError("inputs " + it->second + " and " + file + " would both be written to " +
                    job.OutputImage);
    }
    std::error_code ec;
    if (fs::equivalent(file, job.OutputImage, ec)) {
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
      stack = ZrProbeStack(file, frames.Dataset);
      job.Dataset = stack.Dataset;
      const int64_t end = frames.End < 0 ? stack.Frames : frames.End;
      if (stack.IsStack && (frames.First >= stack.Frames || end > stack.Frames)) {
        throw ZrError(file + ": frames " + std::to_string(frames.First) + ":" +
                      std::to_string(end) + " asked for, the stack holds " +
                      std::to_string(stack.Frames) + " (0:" + std::to_string(stack.Frames) + ")");
      }
      // A job is made for every frame before any runs; a dataset can claim far more frames
      // than its file stores (unwritten chunks read as the fill value).
      if (stack.IsStack && end - frames.First > kMaxFramesPerRun) {
        throw ZrError(file + ": frames " + std::to_string(frames.First) + ":" +
                      std::to_string(end) + " are more than " + std::to_string(kMaxFramesPerRun) +
                      " at once; choose fewer with --frames");
      }
    } catch (const ZrError& e) {
      job.Error = e.Message;
      add(file, stem, job);
      continue;
    }
    if (!stack.IsStack) {  // a 2-D array is one image
      job.Frame = 0;
      add(file, stem, job);
      continue;
    }
    const size_t width = std::to_string(std::max<int64_t>(stack.Frames - 1, 0)).size();
    const int64_t end = frames.End < 0 ? stack.Frames : frames.End;
    for (int64_t f = frames.First; f < end; ++f) {
      const std::string number = std::to_string(f);
      job.Frame = f;
      add(file, stem + "_" + std::string(width - std::min(width, number.size()), '0') + number,
          job);
    }
  }
  return jobs;
}

RfaProcessResult RfaProcessImage(const ZrFloatMatrix& image, const RfaParameters& params,
                                 const RfaChainOptions& chain, const std::string& program) {
  RfaProcessResult result;
  result.Image = image;
  ZrPluginLog log;
  log.Open(program, params.Version);
  // The parameters that were used, so a result file documents how it was made.
  log.LogOpenFunction("ApplyCheckedOperations");
  for (const RfaParameterField& field : RfaParameterFields()) {
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(params.*member)>;
          if constexpr (std::is_same_v<T, long double>) {
            log.Add(field.Key, static_cast<double>(params.*member));
          } else {
            log.Add(field.Key, params.*member);
          }
        },
        field.Member);
  }
  log.Write(result.Texts);
  RfaKeyWriter keys(result.Doubles, result.Texts);
  RfaResultCheck check(params, image);
  RfaApplyCheckedOperations(result.Image, params, keys, chain, std::ref(check));
  result.Problem = check.Problem();
  result.Empty = check.IsEmpty();
  return result;
}

ZrFloatMatrix RfaReadJobImage(const RfaProcessJob& job, ZrImagePage* page) {
  if (!job.Error.empty()) throw ZrError(job.Error);
  ZrImagePage own;
  if (page == nullptr) page = &own;
  page->Index = job.Page;
  ZrFloatMatrix input = job.Frame < 0 ? ZrImageRead(job.Input, page)
                                      : ZrReadStackFrame(job.Input, job.Dataset, job.Frame);
  ZrMatrixOperator::ClearNaN(input);  // as the plug-in fetches its images from the host
  return input;
}

RfaPendingFile RfaComputeFile(const RfaProcessJob& job, const RfaParameters& params,
                              const RfaFitOptions& fit) {
  RfaPendingFile pending;
  pending.Start = std::chrono::steady_clock::now();
  RfaFileReport& report = pending.Report;
  ZrImagePage page;
  const ZrFloatMatrix input = RfaReadJobImage(job, &page);
  // The input's hash for the provenance, on a thread of its own while the chain runs; the
  // record takes it from the hash's store (a failure is reported there).
  std::future<void> hashing = std::async(std::launch::async, [path = job.Input] {
    try {
      RfaInputSha256(path);
    } catch (const ZrError&) {
    }
  });
  RfaAnalysisInputs extra;
  extra.Input = &input;
  extra.Series = job.Series.get();
  RfaChainOptions chain(fit);
  chain.Fit.Report = &report.Fit;
  chain.Fit.Solution = &extra.Solution;
  chain.Subpixel = job.Analysis.Subpixel;
  chain.Background = &extra.Background;
  chain.Fitted = &extra.Fitted;
  RfaParameters used = params;
  RfaProcessResult result;
  const std::string name =
      job.Input + (job.Frame >= 0 ? " frame " + std::to_string(job.Frame) : "") + ": ";
  try {
    used = RfaImageParameters(params, job.Analysis, input, extra.Series, extra.Found);
    result = RfaProcessImage(input, used, chain);
    if (!result.Problem.empty() && !(result.Empty && job.AllowEmpty)) {
      throw ZrError(result.Problem + (result.Empty ? " (--allow-empty writes it anyway)" : ""));
    }
    hashing.wait();
    pending.Files = RfaResultFiles(job, used, result, extra, report.Warning);
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
  report.Fitted = params.IsBgSh;
  if (job.NotePages && page.Count > 1) {
    report.Note = job.Input + ": note: the file holds " + std::to_string(page.Count) +
                  " pages; page " + std::to_string(job.Page + 1) +
                  " was processed (choose one with --page N)";
  }
  return pending;
}

RfaFileReport RfaCommitFile(const RfaPendingFile& pending) {
  // Image, key record, provenance and the other outputs are written as one: an image without
  // its record is no result, and a failed run must not cost the outputs of an earlier one.
  ZrWriteFilesAtomic(pending.Files);
  RfaFileReport report = pending.Report;
  report.Seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - pending.Start).count();
  return report;
}

RfaFileReport RfaProcessFile(const RfaProcessJob& job, const RfaParameters& params,
                             const RfaFitOptions& fit) {
  return RfaCommitFile(RfaComputeFile(job, params, fit));
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
  // Records how job i ended (an empty error: it succeeded with this report).
  auto record = [&](size_t i, const std::string& error, const RfaFileReport& report) {
    errors[i] = error;
    if (error.empty()) {
      for (const std::string& n : {report.Note, report.Warning}) {
        if (!n.empty()) notes[i].push_back(n);
      }
    }
    std::lock_guard<std::mutex> lock(progressMutex);
    ++done;
    if (finished && error.empty()) finished(i, report);
    if (progress) progress(done, static_cast<int>(jobs.size()));
  };
  auto failure = [&](size_t i) -> std::string {
    try {
      throw;
    } catch (const ZrError& e) {
      return e.Message;
    } catch (const std::exception& e) {
      return jobs[i].Input + ": " + e.what();
    } catch (...) {
      return jobs[i].Input + ": undefined err";
    }
  };
  auto worker = [&]() {
    // A job's outputs are written while the worker goes on with its next job: one write in
    // flight per worker, settled (and its job reported) before any later job is.
    std::future<void> writing;
    auto settle = [&]() {
      if (writing.valid()) writing.get();
    };
    for (size_t i = next++; i < jobs.size(); i = next++) {
      RfaPendingFile pending;
      try {
        pending = RfaComputeFile(jobs[i], params, fit);
      } catch (...) {
        const std::string error = failure(i);
        settle();
        record(i, error, {});
        continue;
      }
      settle();
      writing = std::async(std::launch::async, [&, i, p = std::move(pending)] {
        RfaFileReport report;
        std::string error;
        try {
          report = RfaCommitFile(p);
        } catch (...) {
          error = failure(i);
        }
        record(i, error, report);
      });
    }
    settle();
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
    if (!errors[i].empty()) report.Failures.push_back(errors[i]);
    report.Notes.insert(report.Notes.end(), notes[i].begin(), notes[i].end());
  }
  return report;
}
