// rfa-process's command line: one table of options behind the parser and the usage text.
#include "tools/RfaProcessArgs.h"

#include <QCommandLineParser>
#include <QStringList>

#include <algorithm>
#include <map>

#include "formats/ZrBarnXml.h"
#include "numerics/ZrError.h"
#include "rfa/RfaChain.h"
#include "tools/RfaCommandOption.h"

namespace {

using Option = RfaCommandOption<RfaProcessOptions>;

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
    frames.First = number(text);
    frames.End = frames.First + 1;
    return;
  }
  const std::string first = text.substr(0, colon);
  const std::string end = text.substr(colon + 1);
  frames.First = first.empty() ? 0 : number(first);
  frames.End = end.empty() ? -1 : number(end);
  if (frames.End >= 0 && frames.End <= frames.First) fail();
}

// An option that takes a whole number from lo to hi into member.
Option Count(std::vector<std::string> names, const char* help, int lo, int hi,
             int RfaProcessOptions::*member) {
  const std::string spelled = "--" + names.back();
  return {std::move(names), "N", help, [=](RfaProcessOptions& o, const std::string& value) {
            o.*member = ParseCount(spelled, value, lo, hi);
          }};
}

// A switch that sets member to on.
Option Switch(std::vector<std::string> names, const char* help, bool RfaProcessOptions::*member,
              bool on = true) {
  return {std::move(names), "", help,
          [=](RfaProcessOptions& o, const std::string&) { o.*member = on; }};
}

// Every option in the order of the usage text.
const std::vector<Option>& Options() {
  using O = RfaProcessOptions;
  static const std::vector<Option> options = [] {
    std::vector<Option> rows = {
        {{"p", "parameters"},
         "FILE",
         "parameter file (.rfa_bg); default: built-in defaults",
         [](O& o, const std::string& file) { o.ParameterFile = file; }},
        {{"s", "set"},
         "KEY=VALUE",
         "override one parameter by its file key, e.g. Sx_=120\n"
         "or IsBgSh_=false (applied after the file, in order)",
         [](O& o, const std::string& kv) {
           const size_t eq = kv.find('=');
           if (eq == std::string::npos || eq == 0) {
             throw ZrError("--set needs KEY=VALUE, not \"" + kv + "\"");
           }
           o.Overrides.emplace_back(kv.substr(0, eq), kv.substr(eq + 1));
         }},
    };
    int step = 0;
    for (const RfaOperation& operation : RfaOperations()) {
      // Recorded as an override so that it takes its place in the command-line order.
      const std::string key = RfaSwitchField(operation).Key;
      rows.push_back({{std::string(operation.OffOption).substr(2)},
                      "",
                      "skip " + std::to_string(++step) + ") " + operation.Help,
                      [key](O& o, const std::string&) { o.Overrides.emplace_back(key, "false"); }});
    }
    const std::vector<Option> more = {
        {{"dataset"},
         "PATH",
         "HDF5 dataset of the stacks (default: the only image one)",
         [](O& o, const std::string& path) { o.Frames.Dataset = path; }},
        {{"frames"},
         "FIRST:END",
         "frames of every stack to process (END not included)",
         [](O& o, const std::string& text) { ParseFrames(text, o.Frames); }},
        {{"o", "output"},
         "DIR",
         "output folder (created if missing); default: rfa-out",
         [](O& o, const std::string& dir) { o.OutputDir = dir; }},
        Count({"j", "jobs"}, "process N files in parallel (1-64); default: 1", 1, 64, &O::Jobs),
        {{"page"},
         "N",
         "page N of multi-page TIFF files (from 1); default: the\n"
         "first, with a note for files that hold more",
         [](O& o, const std::string& value) {
           o.Page = ParseCount("--page", value, 1, 65535) - 1;
           o.PageChosen = true;
         }},
        Count({"fit-threads"},
              "threads of each background fit (1-64); default: the\n"
              "processors shared among the jobs",
              1, 64, &O::FitThreads),
        Switch({"png"},
               "also write OUT/<name>.before.png and .after.png (and\n"
               "pictures of the background and the maps asked for)",
               &O::Pictures),
    };
    rows.insert(rows.end(), more.begin(), more.end());
    for (const RfaCommandOption<RfaAnalysisOptions>& row : RfaAnalysisCommandOptions()) {
      rows.push_back(
          {row.Names, row.ValueName, row.Help,
           [apply = row.Apply](O& o, const std::string& value) { apply(o.Analysis, value); }});
    }
    const std::vector<Option> last = {
        Switch({"no-overwrite"}, "refuse to start when an output file already exists",
               &O::Overwrite, false),
        Switch({"allow-empty"}, "write a result that is 0 everywhere (else it fails)",
               &O::AllowEmpty),
        {{"make-samples"},
         "DIR",
         "write synthetic screen images to DIR and stop",
         [](O& o, const std::string& dir) { o.MakeSamplesDir = dir; }},
        Count({"count"}, "number of samples for --make-samples (default 3)", 1, 1000,
              &O::SampleCount),
        Count({"size"}, "sample width and height in pixels (default 256)", 16, 8192,
              &O::SampleSize),
        Switch({"v", "verbose"},
               "a line per file (time, normal matrix computed or\n"
               "reused) and the diagnostic output of the fit",
               &O::Verbose),
        Switch({"h", "help"}, "show this text", &O::Help),
        Switch({"version"}, "show the program version", &O::Version),
    };
    rows.insert(rows.end(), last.begin(), last.end());
    return rows;
  }();
  return options;
}

// Its lines of the usage text: "  -j, --jobs N            process N files ..." with the
// further lines of its help under the first.
std::string UsageLines(const Option& option) {
  std::string spelled = "--" + option.Names.back();
  if (!option.ValueName.empty()) spelled += " " + option.ValueName;
  spelled.resize(std::max<size_t>(spelled.size() + 1, 20), ' ');
  std::string lines =
      (option.Names.size() > 1 ? "  -" + option.Names[0] + ", " : "      ") + spelled;
  for (const char c : option.Help)
    lines += c == '\n' ? "\n" + std::string(26, ' ') : std::string(1, c);
  return lines + "\n";
}

// Arguments go to Qt byte for byte (Latin-1), so that file names which are not UTF-8 come back
// unchanged.
QString Bytes(const std::string& text) {
  return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}

std::string Bytes(const QString& text) {
  return text.toLatin1().toStdString();
}

// Why the parser refused args, in this program's words: the first option it does not know,
// a switch given a value ("--png=1", an unknown option too), or a last option without its
// value.
[[noreturn]] void Refuse(const QCommandLineParser& parser, const std::vector<std::string>& args,
                         const std::map<std::string, size_t>& rows) {
  for (const std::string& a : args) {
    if (a.size() < 2 || a[0] != '-') continue;
    std::string name = a.substr(a[1] == '-' ? 2 : 1);
    const size_t eq = name.find('=');
    name.resize(std::min(eq, name.size()));
    const auto row = rows.find(name);
    const bool switchWithValue =
        eq != std::string::npos && row != rows.end() && Options()[row->second].ValueName.empty();
    if (switchWithValue || parser.unknownOptionNames().contains(Bytes(name))) {
      throw ZrError("unknown option " + a + " (see --help)");
    }
  }
  throw ZrError("option " + args.back() + " needs a value");
}

}  // namespace

std::string RfaProcessUsage() {
  std::string usage =
      "Usage: rfa-process [options] INPUT...\n"
      "Runs the RFA operation chain (move to centre, spherical-harmonics background,\n"
      "azimuthal background, MCP dip mask, outside mask) on image files and folders.\n"
      "INPUT is an image file (.tif .tiff .rawf .xml .png .npy), a stack of frames\n"
      "(.h5 .hdf5 .hdf .nxs, 3-D .npy) or a folder of them.\n"
      "Each result is written as OUT/<name>.tif (32-bit float), OUT/<name>.keys.xml and\n"
      "its provenance OUT/<name>.json; frame N of a stack as OUT/<name>_<N>.tif, ...\n"
      "\n"
      "Options:\n";
  for (const Option& option : Options()) usage += UsageLines(option);
  return usage +
         "\n"
         "Exit status: 0 all files done, 1 some file failed, 2 usage or parameter error.\n";
}

RfaProcessOptions RfaParseCommandLine(const std::vector<std::string>& args) {
  QCommandLineParser parser;
  // "-jobs" is --jobs, not -j -o -b -s; the old spelling of one-letter options stays.
  parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
  std::vector<QCommandLineOption> qoptions;
  std::map<std::string, size_t> rows;  // every name of an option -> its row
  for (const Option& option : Options()) {
    QStringList names;
    for (const std::string& name : option.Names) {
      names << Bytes(name);
      rows[name] = qoptions.size();
    }
    qoptions.emplace_back(names, Bytes(option.Help), Bytes(option.ValueName));
    parser.addOption(qoptions.back());
  }
  QStringList arguments{"rfa-process"};
  for (const std::string& a : args) arguments << Bytes(a);
  if (!parser.parse(arguments)) Refuse(parser, args, rows);

  // The options take effect in command-line order, so that --set and --no-... overrides
  // apply as given.
  RfaProcessOptions options;
  std::vector<int> seen(qoptions.size(), 0);
  for (const QString& name : parser.optionNames()) {
    const size_t row = rows.at(Bytes(name));
    const Option& option = Options()[row];
    const std::string value =
        option.ValueName.empty() ? "" : Bytes(parser.values(qoptions[row]).at(seen[row]++));
    option.Apply(options, value);
  }
  for (const QString& input : parser.positionalArguments()) options.Inputs.push_back(Bytes(input));
  return options;
}
