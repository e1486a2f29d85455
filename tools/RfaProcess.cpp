// rfa-process: the program's run from the parsed command line to its report.
#include "tools/RfaProcess.h"

#include <QString>
#include <QtGlobal>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>

#include "formats/ZrQtDebug.h"
#include "numerics/ZrError.h"

namespace fs = std::filesystem;

namespace {

constexpr char kProgramName[] = "rfa-process";

void DropDebugMessages(QtMsgType type, const QMessageLogContext&, const QString& message) {
  if (type == QtDebugMsg || type == QtInfoMsg) return;
  std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
}

}  // namespace

void RfaSilenceDebugOutput() {
  qInstallMessageHandler(DropDebugMessages);
}

int RfaProcessMain(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   bool showProgress) {
  RfaProcessOptions options;
  std::vector<RfaProcessJob> jobs;
  RfaParameters params;
  bool outputDirMade = false;
  try {
    options = RfaParseCommandLine(args);
    if (options.Help) {
      out << RfaProcessUsage();
      return 0;
    }
    if (options.Version) {
      out << kProgramName << " " << params.Version << "\n";
      return 0;
    }
    if (!options.MakeSamplesDir.empty()) {
      for (const std::string& path :
           RfaMakeSamples(options.MakeSamplesDir, options.SampleCount, options.SampleSize)) {
        out << path << "\n";
      }
      return 0;
    }
    if (options.Inputs.empty()) throw ZrError("no input files (see --help)");
    // The libraries' debug lines (the fit's matrices) reach Qt's debug output with --verbose.
    if (options.Verbose) {
      ZrDebugToQt();
    } else {
      RfaSilenceDebugOutput();
    }
    params = RfaLoadParameters(options);
    RfaCheckAnalysisOptions(options.Analysis, params);
    options.Analysis.Pictures = options.Pictures;
    jobs = RfaCollectJobs(options.Inputs, options.OutputDir, options.Pictures, options.Frames);
    for (RfaProcessJob& job : jobs) {
      job.AllowEmpty = options.AllowEmpty;
      job.Page = options.Page;
      job.NotePages = !options.PageChosen;
      job.Analysis = options.Analysis;
    }
    RfaCheckJobOutputs(jobs, options.Overwrite);
    std::error_code ec;
    outputDirMade = !fs::exists(options.OutputDir, ec);
    fs::create_directories(options.OutputDir, ec);
    if (ec) throw ZrError(options.OutputDir + ": cannot create folder (" + ec.message() + ")");
  } catch (const ZrError& e) {
    err << kProgramName << ": " << e.Message << "\n";
    return 2;
  }

  // With --verbose a line per file instead of the bar.
  int fits = 0;
  int reused = 0;
  auto line = [&](size_t index, const RfaFileReport& report) {
    if (!options.Verbose) return;
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f s", report.Seconds);
    out << jobs[index].Input << ": " << seconds;
    if (report.Fitted) {
      ++fits;
      reused += report.Fit.MatrixReused ? 1 : 0;
      out << ", normal matrix " << (report.Fit.MatrixReused ? "reused" : "computed") << " ("
          << report.Fit.Threads << " fit thread" << (report.Fit.Threads == 1 ? "" : "s") << ")";
    }
    out << "\n" << std::flush;
  };
  auto bar = [&](int done, int total) {
    if (!showProgress || options.Verbose) return;
    const int width = 40;
    const int filled = total > 0 ? done * width / total : width;
    out << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done
        << "/" << total << (done == total ? "\n" : "") << std::flush;
  };
  // One screen for the whole series, found on its first image before any file is processed;
  // when it cannot be found, no file is.
  if (options.Analysis.FindScreen == RfaFindScreenMode::Series && !jobs.empty()) {
    auto series = std::make_shared<RfaSeriesScreen>();
    series->From = jobs[0].Input;
    try {
      series->Screen = RfaFindScreen(RfaReadJobImage(jobs[0]));
    } catch (const ZrError& e) {
      err << kProgramName << ": " << jobs[0].Input << ": " << e.Message << "\n";
      std::error_code ec;
      if (outputDirMade) fs::remove(options.OutputDir, ec);
      out << "processed 0 of " << jobs.size() << " files into " << options.OutputDir << "\n";
      return 1;
    }
    for (RfaProcessJob& job : jobs) job.Series = series;
  }
  bar(0, static_cast<int>(jobs.size()));
  const RfaRunReport report = RfaRunJobs(jobs, params, options.Jobs, bar, options.FitThreads, line);
  for (const std::string& n : report.Notes) err << kProgramName << ": " << n << "\n";
  for (const std::string& f : report.Failures) err << kProgramName << ": " << f << "\n";
  const std::vector<std::string>& failures = report.Failures;
  if (outputDirMade && failures.size() == jobs.size()) {
    std::error_code ec;
    fs::remove(options.OutputDir, ec);  // only when empty: a folder made for nothing goes again
  }
  out << "processed " << (jobs.size() - failures.size()) << " of " << jobs.size() << " files into "
      << options.OutputDir << "\n";
  if (options.Verbose && fits > 0) {
    out << "normal matrix reused for " << reused << " of " << fits << " background fits\n";
  }
  return failures.empty() ? 0 : 1;
}
