// rfa-process: the RFA operation chain on image files, for scripts and batch work.
// main.cpp only forwards its arguments to RfaProcessMain; the command line
// (RfaProcessArgs.h), the jobs (RfaProcessJobs.h) and the samples are in the library so that
// tests call them directly.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "rfa/RfaParameters.h"
#include "samples/RfaSyntheticScreen.h"
#include "tools/RfaProcessArgs.h"
#include "tools/RfaProcessJobs.h"

// The synthetic screen "sample-<index>.tif" of size x size pixels: the same geometry for
// every index (screen off the image centre, MCP dip), background tilt, fine structure and
// noise seed varying with the index.
RfaSyntheticScreenOptions RfaSampleOptions(int index, int size);

// Parameters that fit every sample of that size: its screen, the dip where the move to the
// centre puts it, the outside mask just inside the screen rim.
RfaParameters RfaSampleParameters(int size);

// Writes a parameter file (RfaParameterFileText) atomically.
void RfaWriteParameterFile(const std::string& path, const RfaParameters& params);

// Writes count samples ("sample-1.tif", ...) and their "default.rfa_bg" into dir (created if
// missing); returns the image paths.
std::vector<std::string> RfaMakeSamples(const std::string& dir, int count, int size);

// Drops Qt debug and info messages for the rest of the process: the background fit prints
// its normal matrix for every image, which on the command line buries what matters.
void RfaSilenceDebugOutput();

// The whole program: parses args, prints to out/err, returns the exit status (0 all done,
// 1 some file failed, 2 usage or parameter error). showProgress draws a bar on out.
int RfaProcessMain(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   bool showProgress);
