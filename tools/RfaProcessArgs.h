// rfa-process's command line: what it asks for, read with QCommandLineParser from one table
// of options that also gives the usage text.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/RfaAnalysisOutputs.h"

// Which frames of stack inputs are processed: first .. end - 1 (end -1: to the last) of the
// HDF5 dataset `dataset` (empty: the file's only image dataset).
struct RfaFrameRange {
  std::string dataset;
  int64_t first = 0;
  int64_t end = -1;
};

// What the command line asks for.
struct RfaProcessOptions {
  std::vector<std::string> inputs;  // image files and folders, in command-line order
  std::string outputDir = "rfa-out";
  std::string parameterFile;  // ".rfa_bg"; empty: the built-in defaults
  std::vector<std::pair<std::string, std::string>> overrides;  // file key, value text
  int jobs = 1;
  int page = 0;             // page of multi-page TIFF files, from 0
  bool pageChosen = false;  // --page was given
  int fitThreads = 0;       // threads of each background fit; 0: RfaFitThreadsPerJob(jobs)
  bool pictures = false;    // also write <name>.before.png and <name>.after.png
  bool overwrite = true;
  bool allowEmpty = false;  // an all-zero result counts as a result
  bool help = false;
  bool verbose = false;  // keep the libraries' diagnostic output; a line per file
  bool version = false;
  RfaFrameRange frames;  // of every stack input
  RfaAnalysisOptions analysis;
  std::string makeSamplesDir;  // non-empty: write the synthetic samples there and stop
  int sampleCount = 3;
  int sampleSize = 256;
};

// Parses the arguments after the program name; a usage error throws ZrError with its text.
RfaProcessOptions RfaParseCommandLine(const std::vector<std::string>& args);

// The usage text printed by --help.
std::string RfaProcessUsage();
