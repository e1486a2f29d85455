// rfa-process's jobs: the files a run processes, one file through the chain to its outputs,
// and the pool of threads that runs them.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "imageio/ZrImageCodec.h"
#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaParameters.h"
#include "tools/RfaAnalysisOutputs.h"
#include "tools/RfaProcessArgs.h"

// Defaults, then the parameter file, then the overrides in order (RfaSetParameter); values no
// operation can compute with are refused (RfaParameters::CheckRanges).
RfaParameters RfaLoadParameters(const RfaProcessOptions& options);

// One image of a batch: where it comes from and where its results go.
struct RfaProcessJob {
  std::string Input;
  std::string OutputImage;  // <outputDir>/<stem>.tif
  std::string OutputKeys;   // <outputDir>/<stem>.keys.xml
  std::string BeforePng;    // optional pictures for people; empty: none
  std::string AfterPng;
  bool AllowEmpty = false;  // an all-zero result is written and counts as done
  int Page = 0;             // the page of a multi-page TIFF to process, from 0
  bool NotePages = true;    // say so when the file holds pages that are not processed
  int64_t Frame = -1;       // >= 0: this frame of the stack file input (ZrImageStack.h)
  std::string Dataset;      // its HDF5 dataset
  std::string Error;        // non-empty: the input could not be opened; the job fails with this
  RfaAnalysisOptions Analysis;
  std::shared_ptr<const RfaSeriesScreen> Series;  // the screen found once for the run
};

// Expands folders (their image and stack files, not recursive, sorted by name, hidden files
// and the side files written here -- "*.keys.xml", "*.before.png", "*.after.png" -- skipped)
// and stacks (3-D HDF5 datasets and .npy arrays: one job per frame of the range, output
// "<stem>_<frame>" with the frame number zero-padded to the width of the stack's last
// number), and names the outputs; two inputs with the same output name, or an output that
// would replace its own input, throw ZrError. A stack that cannot be opened, or whose frames
// do not reach the range, gives one job that fails with the reason.
std::vector<RfaProcessJob> RfaCollectJobs(const std::vector<std::string>& inputs,
                                          const std::string& outputDir, bool pictures = false,
                                          const RfaFrameRange& frames = {});

// A display range for a picture: the 0.5 % and 99.5 % quantiles of the finite non-zero
// pixels (zeros are the masked parts), so that a few extreme pixels do not grey out the rest.
void RfaDisplayRange(const ZrFloatMatrix& image, float& lo, float& hi);

// The result of the chain: the image and the key record the plug-in sends to its host, and
// what makes the image no result (RfaResultCheck): "" when it is one.
struct RfaProcessResult {
  ZrFloatMatrix Image;
  std::map<std::string, double> Doubles;
  std::map<std::string, std::string> Texts;
  std::string Problem;
  bool Empty = false;  // 0 everywhere, nothing non-finite
};

// The processing-log entry ("log", naming the program and the parameters) followed by the
// checked operations, as the plug-in does, judged as they go. chain: how the background fit
// runs (the result is the same bits), and what the chain does beyond the plug-in's.
RfaProcessResult RfaProcessImage(const ZrFloatMatrix& image, const RfaParameters& params,
                                 const RfaChainOptions& chain = {},
                                 const std::string& program = "rfa-process");

// What processing one file took.
struct RfaFileReport {
  double Seconds = 0;   // reading, the chain and writing
  bool Fitted = false;  // the chain ran the background fit; fit says how
  RfaFitReport Fit;
  std::string Note;     // for the user ("" for none): a multi-page file had one page processed
  std::string Warning;  // likewise: the background fit is unreliable
};

// The image of a job: its page or frame, NaN pixels read as 0 (as the plug-in fetches images).
ZrFloatMatrix RfaReadJobImage(const RfaProcessJob& job, ZrImagePage* page = nullptr);

// A processed file whose outputs are not written yet: the files (path, bytes) to write as one,
// and what processing it took so far.
struct RfaPendingFile {
  std::vector<std::pair<std::string, std::string>> Files;
  RfaFileReport Report;
  std::chrono::steady_clock::time_point Start;
};

// RfaProcessFile up to the writing, which RfaCommitFile does (and which completes the report's
// time); RfaRunJobs writes one file's outputs while it processes the next.
RfaPendingFile RfaComputeFile(const RfaProcessJob& job, const RfaParameters& params,
                              const RfaFitOptions& fit = {});
RfaFileReport RfaCommitFile(const RfaPendingFile& pending);

// Reads job.input (RfaReadJobImage), processes it and writes the float TIFF, the key file, the
// provenance and the outputs asked for (RfaResultFiles), all or none (ZrWriteFilesAtomic): a
// failure leaves the outputs of an earlier run as they were. Failures throw ZrError naming the
// file. A result with a non-finite pixel, or 0 everywhere (unless job.allowEmpty), is a failure
// that says why it is likely.
RfaFileReport RfaProcessFile(const RfaProcessJob& job, const RfaParameters& params,
                             const RfaFitOptions& fit = {});

// What a run of jobs reports, each list in job order.
struct RfaRunReport {
  std::vector<std::string> Failures;  // "<file>: <reason>" per failed job
  std::vector<std::string> Notes;     // "<file>: note: ..." and "<file>: warning: ..."
};

// Threads of each background fit while `jobs` files are processed at once: the processors
// shared among the jobs, at least one each and at most RfaFitThreads(), so that the jobs and
// their fits do not ask for more threads than there are processors.
int RfaFitThreadsPerJob(int jobs);

// Runs the jobs on `threads` worker threads (each job independent; results do not depend
// on the thread count), each background fit on fitThreads threads (0: RfaFitThreadsPerJob).
// After each job, serialised: finished(job index, report) for a job that succeeded, then
// progress(done, total).
RfaRunReport RfaRunJobs(const std::vector<RfaProcessJob>& jobs, const RfaParameters& params,
                        int threads, const std::function<void(int, int)>& progress,
                        int fitThreads = 0,
                        const std::function<void(size_t, const RfaFileReport&)>& finished = {});
