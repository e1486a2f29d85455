// rfa-process: command line, parameter overrides, results equal to the chain run directly,
// parallel runs identical to serial ones, bad files.
#include "tools/RfaProcess.h"

#include <QDir>
#include <QTemporaryDir>

#include <cstring>
#include <fstream>
#include <sstream>

#include "formats/ZrBarnXml.h"
#include "imageio/ZrImageCodec.h"
#include "imageio/ZrImageFile.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaKeyWriter.h"
#include "tests/common/ZrTestUtil.h"

namespace {

ZrFloatMatrix RfaTestScreen(int size, int index) {
  return RfaMakeSyntheticScreen(RfaSampleOptions(index, size));
}
RfaParameters RfaTestParameters(int size) {
  return RfaSampleParameters(size);
}
std::string RfaTestParameterFile(const std::string& path, RfaParameters params) {
  RfaWriteParameterFile(path, params);
  return path;
}

bool SameBits(const ZrFloatMatrix& a, const ZrFloatMatrix& b) {
  return a.ColSize == b.ColSize && a.RowSize == b.RowSize &&
         std::memcmp(a.Data, b.Data, 4 * static_cast<size_t>(a.Count())) == 0;
}

std::string ParameterText(RfaParameters& params) {
  ZrBarnXml tree("w");
  params.Exchange(tree, "ini");
  std::string text;
  tree.GetText(text);
  return text;
}

std::string ElementText(const std::string& xml, const std::string& key) {
  const size_t start = xml.find("<" + key + ">");
  const size_t end = xml.find("</" + key + ">");
  if (start == std::string::npos || end == std::string::npos) return "<missing>";
  return xml.substr(start + key.size() + 2, end - start - key.size() - 2);
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
  // Runs the whole program; returns the exit status, keeps what it printed.
  int Run(std::vector<std::string> args) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = RfaProcessMain(args, out, err, false);
    out_ = out.str();
    err_ = err.str();
    return status;
  }
  QTemporaryDir dir_;
  std::string out_;
  std::string err_;
};

// ---- command line ----

struct UsageErrorCase {
  std::vector<std::string> args;
  const char* message;
};

class CommandLineError : public ::testing::TestWithParam<UsageErrorCase> {};

TEST_P(CommandLineError, IsRefusedWithItsText) {
  EXPECT_ZR_ERROR(RfaParseCommandLine(GetParam().args), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CommandLineError,
    ::testing::Values(
        UsageErrorCase{{"--jobs"}, "option --jobs needs a value"},
        UsageErrorCase{{"-j", "0"}, "--jobs needs a whole number from 1 to 64, not \"0\""},
        UsageErrorCase{{"-j", "2.5"}, "--jobs needs a whole number from 1 to 64, not \"2.5\""},
        UsageErrorCase{{"-j", "x"}, "--jobs needs a whole number from 1 to 64, not \"x\""},
        UsageErrorCase{{"--set", "Sx_"}, "--set needs KEY=VALUE, not \"Sx_\""},
        UsageErrorCase{{"--set", "=3"}, "--set needs KEY=VALUE, not \"=3\""},
        UsageErrorCase{{"a.tif", "--frobnicate"}, "unknown option --frobnicate (see --help)"},
        UsageErrorCase{{"--size", "8"}, "--size needs a whole number from 16 to 8192, not \"8\""}));

TEST(CommandLine, OptionsAndOverridesKeepTheirOrder) {
  const RfaProcessOptions o =
      RfaParseCommandLine({"-p", "a.rfa_bg", "in1", "--no-bg-sh", "-s", "Sx_=120", "-j", "3",
                           "--set", "IsBgSh_=true", "-o", "res", "in2", "--png"});
  EXPECT_EQ(o.parameterFile, "a.rfa_bg");
  EXPECT_EQ(o.outputDir, "res");
  EXPECT_EQ(o.jobs, 3);
  EXPECT_TRUE(o.pictures);
  EXPECT_EQ(o.inputs, (std::vector<std::string>{"in1", "in2"}));
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"IsBgSh_", "false"}, {"Sx_", "120"}, {"IsBgSh_", "true"}};
  EXPECT_EQ(o.overrides, expected);
}

// ---- parameters ----

// Every key --set accepts is the parameter-file key of the field it changes: set through the
// override, the value shows up under exactly that element of a written parameter file.
class SetParameterKey : public ::testing::TestWithParam<const char*> {};

TEST_P(SetParameterKey, ChangesTheFieldStoredUnderThatKey) {
  const std::string key = GetParam();
  RfaParameters defaults;
  const std::string before = ParameterText(defaults);
  RfaParameters changed;
  const std::string old = ElementText(before, key);
  const std::string value = old == "true" ? "false" : old == "false" ? "true" : "7";
  RfaSetParameter(changed, key, value);
  const std::string after = ParameterText(changed);
  EXPECT_EQ(ElementText(after, key), value);
  // Nothing else moved.
  std::string rest = after;
  rest.replace(rest.find("<" + key + ">" + value), key.size() + 2 + value.size(),
               "<" + key + ">" + old);
  EXPECT_EQ(rest, before);
}

INSTANTIATE_TEST_SUITE_P(FileKeys, SetParameterKey,
                         ::testing::Values("Sx_", "Sy_", "Sr_", "SMargin_", "MappingIsGnomonic_",
                                           "MappingIsAz_", "MappingAzThetaMax_deg_", "Size_l_",
                                           "Ax_", "Ay_", "AdjThres_", "AdjSize_", "UseAllSphere_",
                                           "IsShowTmp_", "McpDipCx_", "McpDipCy_", "McpDipR_",
                                           "MaskCx_", "MaskCy_", "MaskRx_", "MaskRy_",
                                           "IsMoveCenter_", "IsBgSh_", "IsBgAz_", "IsMaskMcpDip_",
                                           "IsMaskOutside_"));

struct BadValueCase {
  const char* key;
  const char* value;
  const char* message;
};

class SetParameterBadValue : public ::testing::TestWithParam<BadValueCase> {};

TEST_P(SetParameterBadValue, IsRefusedAndLeavesTheSetAlone) {
  RfaParameters params;
  RfaParameters defaults;
  const std::string before = ParameterText(defaults);
  EXPECT_ZR_ERROR(RfaSetParameter(params, GetParam().key, GetParam().value), GetParam().message);
  EXPECT_EQ(ParameterText(params), before);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SetParameterBadValue,
    ::testing::Values(
        BadValueCase{"Sxx_", "1", "unknown parameter key \"Sxx_\""},
        BadValueCase{"version", "1", "unknown parameter key \"version\""},
        BadValueCase{"Sx_", "12a", "parameter Sx_ needs a number, not \"12a\""},
        BadValueCase{"Sx_", "", "parameter Sx_ needs a number, not \"\""},
        BadValueCase{"Sx_", "nan", "parameter Sx_ needs a number, not \"nan\""},
        BadValueCase{"Size_l", "2.5", "parameter Size_l_ needs a whole number, not \"2.5\""},
        BadValueCase{"SMargin_", "3000000000",
                     "parameter SMargin_ needs a whole number, not \"3000000000\""},
        BadValueCase{"IsBgSh_", "yes", "parameter IsBgSh_ needs true or false, not \"yes\""}));

TEST_F(RfaProcessTest, OverridesApplyAfterTheParameterFile) {
  {
    std::ofstream f(Path("p.rfa_bg"));
    f << "<ini><Sx_>55</Sx_><Sr_>77.5</Sr_><IsBgAz_>false</IsBgAz_></ini>";
  }
  RfaProcessOptions o = RfaParseCommandLine({"-p", Path("p.rfa_bg"), "--set", "Sr=80"});
  const RfaParameters p = RfaLoadParameters(o);
  EXPECT_EQ(p.Sx, 55.0);
  EXPECT_EQ(p.Sr, 80.0);
  EXPECT_FALSE(p.IsBgAz);
  EXPECT_TRUE(p.IsBgSh);
  EXPECT_EQ(p.Sy, 100.0);
}

TEST_F(RfaProcessTest, ParameterFileWithoutIniIsAnError) {
  {
    std::ofstream f(Path("p.rfa_bg"));
    f << "<other><Sx_>55</Sx_></other>";
  }
  EXPECT_EQ(Run({"-p", Path("p.rfa_bg"), "x.tif", "-o", Path("out")}), 2);
  EXPECT_EQ(err_,
            "rfa-process: " + Path("p.rfa_bg") + ": not a parameter file (no \"ini\" element)\n");
}

TEST_F(RfaProcessTest, BundledDefaultParametersFitTheBundledSamples) {
  RfaProcessOptions o;
  o.parameterFile = ZrTestDataDir() + "/samples/default.rfa_bg";
  const RfaParameters p = RfaLoadParameters(o);
  const ZrFloatMatrix sample = ZrImageRead(ZrTestDataDir() + "/samples/sample-1.tif");
  // The screen and both masks lie inside the image.
  EXPECT_LE(p.Sr, p.Sx);
  EXPECT_LE(p.Sx + p.Sr, sample.ColSize);
  EXPECT_LE(p.Sy + p.Sr, sample.RowSize);
  EXPECT_LE(p.MaskRx, sample.ColSize / 2);
  EXPECT_EQ(p.Ax, sample.ColSize / 2);
}

// ---- results ----

TEST_F(RfaProcessTest, ResultEqualsTheChainRunDirectlyBitForBit) {
  const ZrFloatMatrix screen = RfaTestScreen(96, 1);
  ZrImageWrite(Path("in.tif"), screen);
  const RfaParameters params = RfaTestParameters(96);
  ASSERT_EQ(Run({"-p", RfaTestParameterFile(Path("p.rfa_bg"), params), "-o", Path("out"),
                 Path("in.tif")}),
            0)
      << err_;

  ZrFloatMatrix direct = screen;
  std::map<std::string, double> doubles;
  std::map<std::string, std::string> texts;
  RfaKeyWriter keys(doubles, texts);
  RfaApplyCheckedOperations(direct, params, keys);

  EXPECT_TRUE(SameBits(ZrImageRead(Path("out/in.tif")), direct));
  std::map<std::string, double> readDoubles;
  std::map<std::string, std::string> readTexts;
  RfaReadKeysFile(Path("out/in.keys.xml"), readDoubles, readTexts);
  EXPECT_EQ(readDoubles, doubles);
  ASSERT_EQ(readTexts.count("log"), 1u);
  EXPECT_NE(readTexts["log"].find("rfa-process"), std::string::npos) << readTexts["log"];
  EXPECT_NE(readTexts["log"].find("0.0.5"), std::string::npos) << readTexts["log"];
  readTexts.erase("log");
  texts.erase("log");
  EXPECT_EQ(readTexts, texts);
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"in.keys.xml", "in.tif"}));
}

TEST_F(RfaProcessTest, AllOperationsOffCopiesTheImage) {
  const ZrFloatMatrix screen = RfaTestScreen(40, 2);
  ZrImageWrite(Path("in.rawf"), screen);
  ASSERT_EQ(Run({"--no-move-center", "--no-bg-sh", "--no-bg-az", "--no-mask-dip",
                 "--no-mask-outside", "-o", Path("out"), Path("in.rawf")}),
            0)
      << err_;
  EXPECT_TRUE(SameBits(ZrImageRead(Path("out/in.tif")), screen));
}

TEST_F(RfaProcessTest, TwoJobsWriteTheSameFilesAsOne) {
  QDir().mkpath(QString::fromStdString(Path("in")));
  for (int i = 0; i < 4; ++i) {
    ZrImageWrite(Path("in/s" + std::to_string(i) + ".tif"), RfaTestScreen(64, 10 + i));
  }
  const std::string pfile = RfaTestParameterFile(Path("p.rfa_bg"), RfaTestParameters(64));
  ASSERT_EQ(Run({"-p", pfile, "-j", "1", "-o", Path("one"), Path("in")}), 0) << err_;
  ASSERT_EQ(Run({"-p", pfile, "-j", "2", "-o", Path("two"), Path("in")}), 0) << err_;
  const std::vector<std::string> names = Files("one");
  ASSERT_EQ(names.size(), 8u);
  EXPECT_EQ(Files("two"), names);
  for (const std::string& n : names) {
    EXPECT_EQ(ZrReadFileBytes(Path("one/" + n)), ZrReadFileBytes(Path("two/" + n))) << n;
  }
}

TEST_F(RfaProcessTest, BadFileFailsAloneAndLeavesNoOutput) {
  QDir().mkpath(QString::fromStdString(Path("in")));
  ZrImageWrite(Path("in/a.tif"), RfaTestScreen(48, 3));
  std::string truncated = ZrReadFileBytes(Path("in/a.tif"));
  truncated.resize(truncated.size() / 2);
  {
    std::ofstream f(Path("in/b.tif"), std::ios::binary);
    f << truncated;
  }
  ZrImageWrite(Path("in/c.rawf"), RfaTestScreen(48, 4));
  const std::string pfile = RfaTestParameterFile(Path("p.rfa_bg"), RfaTestParameters(48));
  EXPECT_EQ(Run({"-p", pfile, "-j", "2", "-o", Path("out"), Path("in")}), 1);
  EXPECT_EQ(err_, "rfa-process: " + Path("in/b.tif") +
                      ": not a valid TIFF file (Can not read TIFF directory count)\n");
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"a.keys.xml", "a.tif", "c.keys.xml", "c.tif"}));
  EXPECT_NE(out_.find("processed 2 of 3 files"), std::string::npos) << out_;
}

TEST_F(RfaProcessTest, FolderOfEarlierResultsIsProcessedAgain) {
  ZrImageWrite(Path("s.tif"), RfaTestScreen(32, 7));
  ASSERT_EQ(Run({"--no-bg-sh", "--png", "-o", Path("first"), Path("s.tif")}), 0) << err_;
  { std::ofstream(Path("first/.s.tif.Ab12Cd")) << "temporary of an interrupted run"; }
  const std::vector<RfaProcessJob> jobs = RfaCollectJobs({Path("first")}, Path("second"));
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0].input, Path("first/s.tif"));
  EXPECT_EQ(jobs[0].outputImage, Path("second/s.tif"));
  EXPECT_EQ(jobs[0].outputKeys, Path("second/s.keys.xml"));
  QDir().mkpath(QString::fromStdString(Path("empty")));
  { std::ofstream(Path("empty/notes.txt")) << "not an image"; }
  EXPECT_ZR_ERROR(RfaCollectJobs({Path("empty")}, Path("x")),
                  Path("empty") + ": folder holds no image files");
}

TEST_F(RfaProcessTest, NoOverwriteRefusesBeforeTouchingAnything) {
  ZrImageWrite(Path("a.tif"), RfaTestScreen(32, 8));
  ZrImageWrite(Path("b.tif"), RfaTestScreen(32, 9));
  ASSERT_EQ(Run({"--no-bg-sh", "-o", Path("out"), Path("b.tif")}), 0) << err_;
  const std::string before = ZrReadFileBytes(Path("out/b.tif"));
  EXPECT_EQ(Run({"--no-overwrite", "-o", Path("out"), Path("a.tif"), Path("b.tif")}), 2);
  EXPECT_EQ(err_, "rfa-process: " + Path("out/b.tif") + ": output exists (--no-overwrite)\n");
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"b.keys.xml", "b.tif"}));
  EXPECT_EQ(ZrReadFileBytes(Path("out/b.tif")), before);
}

TEST_F(RfaProcessTest, MissingInputAndCollidingOutputs) {
  EXPECT_EQ(Run({"-o", Path("out"), Path("none.tif")}), 1);
  EXPECT_EQ(err_,
            "rfa-process: " + Path("none.tif") + ": cannot open (No such file or directory)\n");
  EXPECT_EQ(Files("out"), std::vector<std::string>{});

  ZrImageWrite(Path("a.tif"), RfaTestScreen(32, 5));
  ZrImageWrite(Path("a.rawf"), RfaTestScreen(32, 5));
  EXPECT_EQ(Run({"-o", Path("out"), Path("a.tif"), Path("a.rawf")}), 2);
  EXPECT_EQ(err_, "rfa-process: inputs " + Path("a.tif") + " and " + Path("a.rawf") +
                      " would both be written to " + Path("out/a.tif") + "\n");

  EXPECT_EQ(Run({"-o", dir_.path().toStdString(), Path("a.tif")}), 2);
  EXPECT_EQ(err_, "rfa-process: " + Path("a.tif") +
                      ": output would replace the input; choose another output folder\n");
  EXPECT_EQ(Run({}), 2);
  EXPECT_EQ(err_, "rfa-process: no input files (see --help)\n");
}

TEST_F(RfaProcessTest, HelpAndPictures) {
  EXPECT_EQ(Run({"--help"}), 0);
  EXPECT_EQ(out_, RfaProcessUsage());
  ZrImageWrite(Path("s.tif"), RfaTestScreen(48, 6));
  const std::string pfile = RfaTestParameterFile(Path("p.rfa_bg"), RfaTestParameters(48));
  ASSERT_EQ(Run({"-p", pfile, "--png", "-o", Path("out"), Path("s.tif")}), 0) << err_;
  const ZrFloatMatrix after = ZrImageRead(Path("out/s.after.png"));
  EXPECT_EQ(after.ColSize, 48);
  EXPECT_EQ(Files("out"),
            (std::vector<std::string>{"s.after.png", "s.before.png", "s.keys.xml", "s.tif"}));
}

TEST_F(RfaProcessTest, ProgressBarCountsEveryFileOnlyWhenAsked) {
  QDir().mkpath(QString::fromStdString(Path("in")));
  for (int i = 0; i < 3; ++i) {
    ZrImageWrite(Path("in/s" + std::to_string(i) + ".rawf"), RfaTestScreen(32, i + 1));
  }
  std::ostringstream out;
  std::ostringstream err;
  ASSERT_EQ(
      RfaProcessMain({"--no-bg-sh", "-j", "2", "-o", Path("out"), Path("in")}, out, err, true), 0)
      << err.str();
  const std::string bar = out.str();
  for (const char* step : {"] 0/3", "] 1/3", "] 2/3", "] 3/3\n"}) {
    EXPECT_NE(bar.find(step), std::string::npos) << step << " in " << bar;
  }
  ASSERT_EQ(Run({"--no-bg-sh", "-o", Path("out2"), Path("in")}), 0);
  EXPECT_EQ(out_, "processed 3 of 3 files into " + Path("out2") + "\n");
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

TEST_F(RfaProcessTest, MakeSamplesIsDeterministic) {
  const auto a = RfaMakeSamples(Path("a"), 2, 64);
  const auto b = RfaMakeSamples(Path("b"), 2, 64);
  ASSERT_EQ(a.size(), 2u);
  EXPECT_EQ(ZrReadFileBytes(a[0]), ZrReadFileBytes(b[0]));
  EXPECT_EQ(ZrReadFileBytes(a[1]), ZrReadFileBytes(b[1]));
  EXPECT_NE(ZrReadFileBytes(a[0]), ZrReadFileBytes(a[1]));
}

TEST_F(RfaProcessTest, BundledSamplesAreWhatTheGeneratorMakes) {
  const auto made = RfaMakeSamples(Path("s"), 3, 256);
  for (const char* name : {"sample-1.tif", "sample-2.tif", "sample-3.tif", "default.rfa_bg"}) {
    EXPECT_EQ(ZrReadFileBytes(Path("s/") + name),
              ZrReadFileBytes(ZrTestDataDir() + "/samples/" + name))
        << name << ": regenerate with rfa-process --make-samples tests/data/samples";
  }
}

}  // namespace
