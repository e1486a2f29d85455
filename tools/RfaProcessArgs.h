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
  std::string Dataset;
  int64_t First = 0;
  int64_t End = -1;
};

// What the command line asks for.
struct RfaProcessOptions {
  std::vector<std::string> Inputs;  // image files and folders, in command-line order
  std::string OutputDir = "rfa-out";
  std::string ParameterFile;  // ".rfa_bg"; empty: the built-in defaults
  std::vector<std::pair<std::string, std::string>> Overrides;  // file key, value text
  int Jobs = 1;
  int Page = 0;             // page of multi-page TIFF files, from 0
  bool PageChosen = false;  // --page was given
  int FitThreads = 0;       // threads of each background fit; 0: RfaFitThreadsPerJob(jobs)
  bool Pictures = false;    // also write <name>.before.png and <name>.after.png
  bool Overwrite = true;
  bool AllowEmpty = false;  // an all-zero result counts as a result
  bool Help = false;
  bool Verbose = false;  // keep the libraries' diagnostic output; a line per file
  bool Version = false;
  RfaFrameRange Frames;  // of every stack input
  RfaAnalysisOptions Analysis;
  std::string MakeSamplesDir;  // non-empty: write the synthetic samples there and stop
  int SampleCount = 3;
  int SampleSize = 256;
};

// Parses the arguments after the program name; a usage error throws ZrError with its text.
RfaProcessOptions RfaParseCommandLine(const std::vector<std::string>& args);

// The usage text printed by --help.
std::string RfaProcessUsage();
