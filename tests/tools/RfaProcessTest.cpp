// rfa-process: command line, parameter overrides, results equal to the chain run directly,
// parallel runs identical to serial ones, bad files.
#include "tools/RfaProcess.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <fstream>
#include <regex>
#include <sstream>
#include <tuple>

#include "imageio/ZrImageCodec.h"
#include "imageio/ZrImageFile.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaKeyWriter.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

ZrFloatMatrix Screen(int size, int index) {
  return RfaMakeSyntheticScreen(RfaSampleOptions(index, size));
}

class RfaProcessTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }
  std::vector<std::string> Files(const std::string& sub) const {
    std::vector<std::string> names;
    const QDir d(QString::fromStdString(Path(sub)));
    for (const QString& n : d.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
      names.push_back(n.toStdString());
    }
    return names;
  }
  // count screens of size x size named <stem>0<ext>, <stem>1<ext>, ... (folders made).
  void WriteScreens(const std::string& stem, const std::string& ext, int count, int size,
                    int firstIndex) {
    QDir().mkpath(QFileInfo(QString::fromStdString(Path(stem))).path());
    for (int i = 0; i < count; ++i) {
      ZrImageWrite(Path(stem + std::to_string(i) + ext), Screen(size, firstIndex + i));
    }
  }
  // The sample parameters of that size in "p.rfa_bg".
  void WriteParameterFile(int size) {
    RfaParameters params = RfaSampleParameters(size);
    RfaWriteParameterFile(Path("p.rfa_bg"), params);
  }
  // "@" in text stands for the test's folder.
  std::string At(const std::string& text) const {
    return QString::fromStdString(text).replace("@", dir_.path()).toStdString();
  }
  // Runs the whole program on the space-separated arguments; returns the exit status, keeps
  // what it printed.
  int Run(const std::string& line, bool progress = false) {
    std::vector<std::string> args;
    for (const QString& arg : QString::fromStdString(At(line)).split(' ', Qt::SkipEmptyParts)) {
      args.push_back(arg.toStdString());
    }
    std::ostringstream out;
    std::ostringstream err;
    const int status = RfaProcessMain(args, out, err, progress);
    out_ = out.str();
    err_ = err.str();
    return status;
  }
  QTemporaryDir dir_;
  std::string out_;
  std::string err_;
};

// ---- command line ----

TEST(CommandLine, ErrorsAreRefusedWithTheirText) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"--jobs"}, "option --jobs needs a value"},
      {{"-j", "0"}, "--jobs needs a whole number from 1 to 64, not \"0\""},
      {{"-j", "2.5"}, "--jobs needs a whole number from 1 to 64, not \"2.5\""},
      {{"-j", "x"}, "--jobs needs a whole number from 1 to 64, not \"x\""},
      {{"--fit-threads", "65"}, "--fit-threads needs a whole number from 1 to 64, not \"65\""},
      {{"--set", "Sx_"}, "--set needs KEY=VALUE, not \"Sx_\""},
      {{"--set", "=3"}, "--set needs KEY=VALUE, not \"=3\""},
      {{"a.tif", "--frobnicate"}, "unknown option --frobnicate (see --help)"},
      {{"--size", "8"}, "--size needs a whole number from 16 to 8192, not \"8\""}};
  for (const auto& [args, message] : cases) {
    EXPECT_ZR_ERROR(RfaParseCommandLine(args), message);
  }
}

TEST(CommandLine, OptionsAndOverridesKeepTheirOrder) {
  const RfaProcessOptions o = RfaParseCommandLine(
      {"-p", "a.rfa_bg", "in1", "--no-bg-sh", "-s", "Sx_=120", "-j", "3", "--set", "IsBgSh_=true",
       "-o", "res", "in2", "--png", "--fit-threads", "2"});
  EXPECT_EQ(o.parameterFile, "a.rfa_bg");
  EXPECT_EQ(o.outputDir, "res");
  EXPECT_EQ(o.jobs, 3);
  EXPECT_EQ(o.fitThreads, 2);
  EXPECT_TRUE(o.pictures);
  EXPECT_EQ(o.inputs, (std::vector<std::string>{"in1", "in2"}));
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"IsBgSh_", "false"}, {"Sx_", "120"}, {"IsBgSh_", "true"}};
  EXPECT_EQ(o.overrides, expected);
}

// ---- parameters ----

// Every key of a parameter file is accepted by --set and changes exactly the field written
// under that element.
TEST(SetParameter, EveryKeyChangesTheFieldStoredUnderIt) {
  const std::string before = RfaStoredText(RfaParameters());
  int keys = 0;
  for (size_t end = before.find("</"); end != std::string::npos; end = before.find("</", end + 1)) {
    const std::string key = before.substr(end + 2, before.find('>', end) - end - 2);
    if (key == "ini") continue;
    ++keys;
    const size_t start = before.rfind('>', end) + 1;
    const std::string old = before.substr(start, end - start);
    const std::string value = old == "true" ? "false" : old == "false" ? "true" : "7";
    RfaParameters changed;
    RfaSetParameter(changed, key, value);
    std::string expected = before;
    EXPECT_EQ(RfaStoredText(changed), expected.replace(start, old.size(), value)) << key;
  }
  EXPECT_EQ(keys, 26);
}

TEST(SetParameter, BadValueIsRefusedAndLeavesTheSetAlone) {
  const char* cases[][3] = {
      {"Sxx_", "1", "unknown parameter key \"Sxx_\""},
      {"version", "1", "unknown parameter key \"version\""},
      {"Sx_", "12a", "parameter Sx_ needs a number, not \"12a\""},
      {"Sx_", "", "parameter Sx_ needs a number, not \"\""},
      {"Sx_", "nan", "parameter Sx_ needs a number, not \"nan\""},
      {"Size_l", "2.5", "parameter Size_l_ needs a whole number, not \"2.5\""},
      {"SMargin_", "3000000000", "parameter SMargin_ needs a whole number, not \"3000000000\""},
      {"IsBgSh_", "yes", "parameter IsBgSh_ needs true or false, not \"yes\""}};
  for (const auto& [key, value, message] : cases) {
    RfaParameters params;
    EXPECT_ZR_ERROR(RfaSetParameter(params, key, value), message);
    EXPECT_EQ(RfaStoredText(params), RfaStoredText(RfaParameters())) << key;
  }
}

TEST_F(RfaProcessTest, OverridesApplyAfterTheParameterFile) {
  std::ofstream(Path("p.rfa_bg"))
      << "<ini><Sx_>55</Sx_><Sr_>77.5</Sr_><IsBgAz_>false</IsBgAz_></ini>";
  const RfaParameters p =
      RfaLoadParameters(RfaParseCommandLine({"-p", Path("p.rfa_bg"), "--set", "Sr=80"}));
  EXPECT_EQ(p.Sx, 55.0);
  EXPECT_EQ(p.Sr, 80.0);
  EXPECT_FALSE(p.IsBgAz);
  EXPECT_TRUE(p.IsBgSh);
  EXPECT_EQ(p.Sy, 100.0);
}

// ---- results ----

TEST_F(RfaProcessTest, ResultEqualsTheChainRunDirectlyBitForBit) {
  const ZrFloatMatrix screen = Screen(96, 1);
  ZrImageWrite(Path("in.tif"), screen);
  WriteParameterFile(96);
  ASSERT_EQ(Run("-p @/p.rfa_bg -o @/out @/in.tif"), 0) << err_;

  ZrFloatMatrix direct = screen;
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  RfaKeyWriter keys(doubles, texts);
  RfaApplyCheckedOperations(direct, RfaSampleParameters(96), keys);

  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("out/in.tif")), direct));
  std::map<std::string, double> readDoubles;
  std::map<std::string, std::string> readTexts;
  RfaReadKeysFile(Path("out/in.keys.xml"), readDoubles, readTexts);
  EXPECT_EQ(readDoubles, doubles);
  const std::string log = readTexts["log"];
  EXPECT_NE(log.find("rfa-process"), std::string::npos) << log;
  EXPECT_NE(log.find("0.0.5"), std::string::npos) << log;
  readTexts.erase("log");
  texts.erase("log");
  EXPECT_EQ(readTexts, texts);
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"in.keys.xml", "in.tif"}));

  // With every operation off the image is copied.
  ASSERT_EQ(Run("--no-move-center --no-bg-sh --no-bg-az --no-mask-dip --no-mask-outside -o @/off "
                "@/in.tif"),
            0)
      << err_;
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("off/in.tif")), screen));
}

// With --verbose a line per file says how long it took and whether the background fit
// reused the normal matrix of an earlier file (the same screen, so all but the first do); the
// jobs share the processors with the fits' threads.
TEST_F(RfaProcessTest, TwoJobsWriteTheSameFilesAsOne) {
  WriteScreens("in/s", ".tif", 4, 64, 10);
  WriteParameterFile(64);
  RfaClearFitCaches();
  RfaSilenceDebugOutput();  // the matrices that --verbose keeps
  ASSERT_EQ(Run("-p @/p.rfa_bg -j 1 -v -o @/one @/in"), 0) << err_;
  const std::string one = " \\(" + std::to_string(RfaFitThreadsPerJob(1)) + " fit thread";
  const std::regex lines(At("@/in/s0.tif: [0-9.]+ s, normal matrix computed" + one +
                            "s?\\)\n"
                            "(@/in/s[123].tif: [0-9.]+ s, normal matrix reused" +
                            one +
                            "s?\\)\n){3}processed 4 of 4 files into @/one\n"
                            "normal matrix reused for 3 of 4 background fits\n"));
  EXPECT_TRUE(std::regex_match(out_, lines)) << out_;
  EXPECT_EQ(RfaFitThreadsPerJob(2) * 2, std::max(2, RfaFitThreadsPerJob(1))) << "no more threads "
                                                                                "than processors";
  ASSERT_EQ(Run("-p @/p.rfa_bg -j 2 -o @/two @/in"), 0) << err_;
  const std::vector<std::string> names = Files("one");
  ASSERT_EQ(names.size(), 8u);
  EXPECT_EQ(Files("two"), names);
  for (const std::string& n : names) {
    EXPECT_EQ(ZrReadFileBytes(Path("one/" + n)), ZrReadFileBytes(Path("two/" + n))) << n;
  }
}

TEST_F(RfaProcessTest, BadFileFailsAloneAndLeavesNoOutput) {
  WriteScreens("in/", ".tif", 2, 48, 3);
  WriteScreens("in/x", ".rawf", 1, 48, 4);
  std::string truncated = ZrReadFileBytes(Path("in/1.tif"));
  std::ofstream(Path("in/1.tif"), std::ios::binary) << truncated.substr(0, truncated.size() / 2);
  WriteParameterFile(48);
  EXPECT_EQ(Run("-p @/p.rfa_bg -j 2 -o @/out @/in"), 1);
  EXPECT_EQ(err_, At("rfa-process: @/in/1.tif: not a valid TIFF file (Can not read TIFF directory "
                     "count)\n"));
  EXPECT_EQ(Files("out"),
            (std::vector<std::string>{"0.keys.xml", "0.tif", "x0.keys.xml", "x0.tif"}));
  EXPECT_NE(out_.find("processed 2 of 3 files"), std::string::npos) << out_;
}

// Regression: the side files of an earlier run were taken for inputs.
TEST_F(RfaProcessTest, FolderOfEarlierResultsIsProcessedAgain) {
  ZrImageWrite(Path("s.tif"), Screen(32, 7));
  ASSERT_EQ(Run("--no-bg-sh --png -o @/first @/s.tif"), 0) << err_;
  std::ofstream(Path("first/.s.tif.Ab12Cd")) << "temporary of an interrupted run";
  const std::vector<RfaProcessJob> jobs = RfaCollectJobs({Path("first")}, Path("second"));
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0].input, Path("first/s.tif"));
  EXPECT_EQ(jobs[0].outputImage, Path("second/s.tif"));
  EXPECT_EQ(jobs[0].outputKeys, Path("second/s.keys.xml"));
  QDir().mkpath(QString::fromStdString(Path("empty")));
  std::ofstream(Path("empty/notes.txt")) << "not an image";
  EXPECT_ZR_ERROR(RfaCollectJobs({Path("empty")}, Path("x")),
                  Path("empty") + ": folder holds no image files");
}

// Refusals name the file, end with 1 (a file failed) or 2 (usage) and touch no output.
TEST_F(RfaProcessTest, RefusalsNameTheFileAndTouchNoOutput) {
  WriteScreens("a", ".tif", 1, 32, 5);
  WriteScreens("a", ".rawf", 1, 32, 5);
  WriteScreens("b", ".tif", 1, 32, 6);
  std::ofstream(Path("q.rfa_bg")) << "<other><Sx_>55</Sx_></other>";
  ASSERT_EQ(Run("--no-bg-sh -o @/out @/a0.tif"), 0) << err_;
  const std::string before = ZrReadFileBytes(Path("out/a0.tif"));
  const std::tuple<const char*, int, const char*> cases[] = {
      {"-o @/new @/none.tif", 1, "@/none.tif: cannot open (No such file or directory)"},
      {"-o @/new @/a0.tif @/a0.rawf", 2,
       "inputs @/a0.tif and @/a0.rawf would both be written to @/new/a0.tif"},
      {"-o @ @/a0.tif", 2,
       "@/a0.tif: output would replace the input; choose another output folder"},
      {"", 2, "no input files (see --help)"},
      {"--no-overwrite -o @/out @/b0.tif @/a0.tif", 2,
       "@/out/a0.tif: output exists (--no-overwrite)"},
      {"-p @/q.rfa_bg @/b0.tif -o @/new", 2,
       "@/q.rfa_bg: not a parameter file (no \"ini\" element)"}};
  for (const auto& [line, status, message] : cases) {
    EXPECT_EQ(Run(line), status) << line;
    EXPECT_EQ(err_, At(std::string("rfa-process: ") + message + "\n"));
  }
  EXPECT_FALSE(QDir(QString::fromStdString(Path("new"))).exists()) << "made for nothing";
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"a0.keys.xml", "a0.tif"}));

  // A screen that does not fit the image is named with the range error it causes.
  EXPECT_EQ(Run("-o @/new @/a0.tif"), 1);
  EXPECT_EQ(err_.rfind(At("rfa-process: @/a0.tif: Matrix over range."), 0), 0u) << err_;
  EXPECT_NE(err_.find(" (screen Sx_=100 Sy_=100 Sr_=100 SMargin_=10 on a 32 x 32 image: set them "
                      "with --set or --params)\n"),
            std::string::npos)
      << err_;
  EXPECT_EQ(ZrReadFileBytes(Path("out/a0.tif")), before);
}

TEST_F(RfaProcessTest, HelpPicturesAndProgress) {
  EXPECT_EQ(Run("--help"), 0);
  EXPECT_EQ(out_, RfaProcessUsage());
  ZrImageWrite(Path("s.tif"), Screen(48, 6));
  WriteParameterFile(48);
  ASSERT_EQ(Run("-p @/p.rfa_bg --png -o @/out @/s.tif"), 0) << err_;
  EXPECT_EQ(ZrImageRead(Path("out/s.after.png")).ColSize, 48);
  EXPECT_EQ(Files("out"),
            (std::vector<std::string>{"s.after.png", "s.before.png", "s.keys.xml", "s.tif"}));

  // Regression: the bar is drawn empty before the first file is done.
  WriteScreens("in/s", ".rawf", 3, 32, 1);
  ASSERT_EQ(Run("--no-bg-sh -j 2 -o @/bar @/in", true), 0) << err_;
  for (const char* step : {"] 0/3", "] 1/3", "] 2/3", "] 3/3\n"}) {
    EXPECT_NE(out_.find(step), std::string::npos) << step << " in " << out_;
  }
  ASSERT_EQ(Run("--no-bg-sh -o @/plain @/in"), 0);
  EXPECT_EQ(out_, At("processed 3 of 3 files into @/plain\n"));
}

TEST(DisplayRange, IgnoresZerosAndExtremes) {
  ZrFloatMatrix m(1000, 1);
  for (int i = 0; i < 1000; ++i) m.Data[i] = static_cast<float>(i);  // one zero
  m.Data[999] = 1e30f;
  float lo = 0, hi = 0;
  RfaDisplayRange(m, lo, hi);
  EXPECT_EQ(lo, 5.0f);
  EXPECT_EQ(hi, 994.0f);
}

TEST_F(RfaProcessTest, BundledSamplesAreWhatTheGeneratorMakesAndFitTheirParameters) {
  RfaMakeSamples(Path("s"), 3, 256);
  for (const char* name : {"sample-1.tif", "sample-2.tif", "sample-3.tif", "default.rfa_bg"}) {
    EXPECT_EQ(ZrReadFileBytes(Path("s/") + name),
              ZrReadFileBytes(ZrTestDataDir() + "/samples/" + name))
        << name << ": regenerate with rfa-process --make-samples tests/data/samples";
  }
  // The screen and the outside mask lie inside the image, the average centre is its centre.
  RfaProcessOptions o;
  o.parameterFile = ZrTestDataDir() + "/samples/default.rfa_bg";
  const RfaParameters p = RfaLoadParameters(o);
  EXPECT_LE(p.Sr, p.Sx);
  EXPECT_LE(p.Sx + p.Sr, 256);
  EXPECT_LE(p.Sy + p.Sr, 256);
  EXPECT_LE(p.MaskRx, 128);
  EXPECT_EQ(p.Ax, 128);
}

}  // namespace
