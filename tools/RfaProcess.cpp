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
