// What made a result -- the input file and its SHA-256, the program, the time, every setting and
// what the run found -- for the key record, a JSON side file and the TIFF's text tags. No host
// calls and no clock: the caller says what time it is.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

class RfaKeyWriter;

using RfaRecordValue = std::variant<bool, int64_t, double, std::string>;
using RfaRecordFields = std::vector<std::pair<std::string, RfaRecordValue>>;

struct RfaProvenance {
  std::string Program, Version;
  std::string Input;           // the input file as it was named
  std::string InputSha256;     // of the whole file, lower-case hex
  int64_t Frame = -1;          // the frame of a stack; -1: not a stack
  std::string Time;            // UTC, "2024-05-01T12:00:00Z" (RfaUtcTime)
  RfaRecordFields Parameters;  // every parameter by its file key, as used
  RfaRecordFields Options;     // the run's other settings, e.g. "subpixel-shift": "keys"
  RfaRecordFields Results;     // what the run found: the screen, the fit's quality, ...
  RfaRecordFields Outputs;     // what each written file is: "image": "NAME.tif", ...
};

// Seconds since 1970-01-01 UTC as "YYYY-MM-DDThh:mm:ssZ".
std::string RfaUtcTime(int64_t secondsSinceEpoch);

// Adds the record to a key record under the group "Provenance", which the plug-in's groups do
// not use: "Provenance/Program", "Version", "Input", "InputSHA256", "Time" (texts) and "Frame"
// (for a stack), then "Provenance/Parameters/<key>", "Provenance/Options/<name>",
// "Provenance/Results/<name>" and "Provenance/Outputs/<role>": numbers and flags as doubles
// (flags 1 or 0), texts as texts.
void RfaWriteProvenanceKeys(RfaKeyWriter& keys, const RfaProvenance& record);

// The record as a JSON object: "program", "version", "input" {"file", "sha256", "frame"},
// "time", "parameters", "options", "results", "outputs", then the extra sections (name, fields),
// e.g. the grid of an angular map. Non-finite numbers are written as the texts "nan", "inf" and
// "-inf". indented: for people (the side file); else one line. ascii: characters beyond ASCII
// escaped as \uXXXX, as a TIFF text tag wants them.
std::string RfaProvenanceJson(
    const RfaProvenance& record, bool indented, bool ascii,
    const std::vector<std::pair<std::string, RfaRecordFields>>& extra = {});
