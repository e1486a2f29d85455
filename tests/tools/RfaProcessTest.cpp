// rfa-process: command line, parameter overrides, results equal to the chain run directly,
// parallel runs identical to serial ones, bad files.
#include "tools/RfaProcess.h"

#include <tiffio.h>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>
#include <regex>
#include <tuple>

#include "formats/ZrKeyRecord.h"
#include "imageio/ZrImageFile.h"
#include "rfa/RfaChain.h"
#include "rfa/RfaKeyWriter.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/tools/RfaProcessFixture.h"

namespace {

// ---- command line ----

TEST(CommandLine, ErrorsAreRefusedWithTheirText) {
  const std::string frames =
      "--frames needs FIRST:END, FIRST: or FRAME (frame numbers from 0, END not included), not ";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"--jobs"}, "option --jobs needs a value"},
      {{"-j", "0"}, "--jobs needs a whole number from 1 to 64, not \"0\""},
      {{"-j", "2.5"}, "--jobs needs a whole number from 1 to 64, not \"2.5\""},
      {{"--fit-threads", "65"}, "--fit-threads needs a whole number from 1 to 64, not \"65\""},
      {{"--set", "Sx_"}, "--set needs KEY=VALUE, not \"Sx_\""},
      {{"--set", "=3"}, "--set needs KEY=VALUE, not \"=3\""},
      {{"a.tif", "--frobnicate"}, "unknown option --frobnicate (see --help)"},
      {{"-j3", "--jobs", "3"}, "unknown option -j3 (see --help)"},
      {{"--png=1"}, "unknown option --png=1 (see --help)"},
      {{"--size", "8"}, "--size needs a whole number from 16 to 8192, not \"8\""},
      {{"--frames", "3:3"}, frames + "\"3:3\""},
      {{"--frames", "-1:"}, frames + "\"-1:\""}};
  for (const auto& [args, message] : cases) {
    EXPECT_ZR_ERROR(RfaParseCommandLine(args), message);
  }
}

TEST(CommandLine, OptionsAndOverridesKeepTheirOrder) {
  const RfaProcessOptions o =
      RfaParseCommandLine({"-p",      "a.rfa_bg",  "in1",         "--no-bg-sh",    "-s",
                           "Sx_=120", "-j",        "3",           "--set",         "IsBgSh_=true",
                           "-o",      "res",       "in2",         "--png",         "--frames",
                           "4:",      "--dataset", "/entry/data", "--fit-threads", "2",
                           "\xff.tif"});
  using Texts = std::vector<std::string>;
  using Overrides = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(
      std::tie(o.ParameterFile, o.OutputDir, o.Jobs, o.FitThreads, o.Pictures, o.Inputs,
               o.Frames.Dataset, o.Frames.First, o.Frames.End, o.Overrides),
      std::make_tuple("a.rfa_bg", "res", 3, 2, true, Texts{"in1", "in2", "\xff.tif"}, "/entry/data",
                      4, -1, Overrides{{"IsBgSh_", "false"}, {"Sx_", "120"}, {"IsBgSh_", "true"}}));
  EXPECT_EQ(RfaParseCommandLine({"--frames", "7"}).Frames.End, 8);
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
  ZrKeyRecordRead(Path("out/in.keys.xml"), readDoubles, readTexts);
  WithoutProvenance(readDoubles);  // what rfa-process adds (RfaAnalysisOutputsTest)
  WithoutProvenance(readTexts);
  EXPECT_EQ(readDoubles, doubles);
  const std::string log = readTexts["log"];
  EXPECT_NE(log.find("rfa-process"), std::string::npos) << log;
  EXPECT_NE(log.find(kZrVersion), std::string::npos) << log;
  readTexts.erase("log");
  texts.erase("log");
  EXPECT_EQ(readTexts, texts);
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"in.json", "in.keys.xml", "in.tif"}));

  // With every operation off the image is copied as the plug-in fetches it: NaN read as 0.
  ZrFloatMatrix nan = screen;
  nan(40, 50) = NAN;
  ZrImageWrite(Path("nan.rawf"), nan);
  ASSERT_EQ(Run("--no-move-center --no-bg-sh --no-bg-az --no-mask-dip --no-mask-outside -o @/off "
                "@/in.tif @/nan.rawf"),
            0)
      << err_;
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("off/in.tif")), screen));
  nan(40, 50) = 0.0f;
  EXPECT_TRUE(ZrSameBits(ZrImageRead(Path("off/nan.tif")), nan));
}

// NaN pixels read as 0, and infinite ones are holes of the fit and of the azimuthal average:
// the result is finite and equals that of the same screen with those pixels set to 0.
TEST_F(RfaProcessTest, NonFinitePixelsAreHoles) {
  ZrFloatMatrix screen = Screen(96, 2);
  ZrFloatMatrix zeroed = screen;
  std::mt19937 random(5);
  for (int placed = 0; placed < 40;) {
    const int64_t i = static_cast<int64_t>(random() % static_cast<uint32_t>(screen.Count()));
    if (screen.Data[i] == 0.0f || !std::isfinite(screen.Data[i])) continue;
    screen.Data[i] = placed == 0 ? INFINITY : placed == 1 ? -INFINITY : NAN;
    zeroed.Data[i] = 0.0f;
    ++placed;
  }
  ZrImageWrite(Path("holes.rawf"), screen);
  ZrImageWrite(Path("zeroed.rawf"), zeroed);
  WriteParameterFile(96);
  for (const std::string options : {"", "--no-bg-az"}) {
    ASSERT_EQ(Run("-p @/p.rfa_bg " + options + " -o @/out @/holes.rawf @/zeroed.rawf"), 0) << err_;
    const ZrFloatMatrix holes = ZrImageRead(Path("out/holes.tif"));
    const ZrFloatMatrix expected = ZrImageRead(Path("out/zeroed.tif"));
    int64_t filled = 0;
    for (int64_t i = 0; i < expected.Count(); ++i) {
      ASSERT_TRUE(std::isfinite(holes.Data[i])) << options << " pixel " << i;
      ASSERT_NEAR(holes.Data[i], expected.Data[i], 1e-5 * std::abs(expected.Data[i])) << i;
      filled += expected.Data[i] != 0.0f;
    }
    EXPECT_GT(filled, 3000) << options;
  }
}

// With --verbose a line per file says how long it took and whether the background fit
// reused the normal matrix of an earlier file (the same screen, so all but the first do); the
// jobs share the processors with the fits' threads. The results record the time they were made;
// SOURCE_DATE_EPOCH fixes it, so that the two runs can be compared byte for byte.
TEST_F(RfaProcessTest, TwoJobsWriteTheSameFilesAsOne) {
  const ZrScopedEnvironment time("SOURCE_DATE_EPOCH", "1700000000");
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
  const std::map<std::string, std::string> serial = Contents("one");
  EXPECT_EQ(serial.size(), 12u);
  EXPECT_EQ(Contents("two"), serial);
}

TEST_F(RfaProcessTest, BadFileFailsAloneAndLeavesNoOutput) {
  WriteScreens("in/", ".tif", 2, 48, 3);
  WriteScreens("in/x", ".rawf", 1, 48, 4);
  std::string truncated = ZrReadFileBytes(Path("in/1.tif"));
  std::ofstream(Path("in/1.tif"), std::ios::binary) << truncated.substr(0, truncated.size() / 2);
  ZrImageWritePng(Path("whole.png"), Screen(48, 5), 0.0f, 0.0f);
  std::ofstream(Path("in/y.png"), std::ios::binary)
      << ZrReadFileBytes(Path("whole.png")).substr(0, 200);
  WriteParameterFile(48);
  testing::internal::CaptureStderr();  // where the PNG library would complain on its own
  EXPECT_EQ(Run("-p @/p.rfa_bg -j 2 -o @/out @/in"), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(err_, At("rfa-process: @/in/1.tif: not a valid TIFF file (Can not read TIFF directory "
                     "count)\nrfa-process: @/in/y.png: not a readable PNG file (the file is "
                     "truncated)\n"));
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"0.json", "0.keys.xml", "0.tif", "x0.json",
                                                    "x0.keys.xml", "x0.tif"}));
  EXPECT_NE(out_.find("processed 2 of 4 files"), std::string::npos) << out_;
  // One job at a time, a job's outputs written while the next one is read: a write that fails
  // is its own job's failure, reported in job order, and the jobs after it go on.
  ASSERT_TRUE(QDir().mkpath(QString::fromStdString(Path("one/0.tif"))));
  testing::internal::CaptureStderr();
  EXPECT_EQ(Run("-p @/p.rfa_bg -j 1 -o @/one @/in"), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(err_, At("rfa-process: @/one/0.tif: cannot write (Is a directory)\nrfa-process: "
                     "@/in/1.tif: not a valid TIFF file (Can not read TIFF directory count)\n"
                     "rfa-process: @/in/y.png: not a readable PNG file (the file is truncated)\n"));
  EXPECT_EQ(Files("one"), (std::vector<std::string>{"x0.json", "x0.keys.xml", "x0.tif"}));
  EXPECT_NE(out_.find("processed 1 of 4 files"), std::string::npos) << out_;
}

// Image, key record and pictures are written all or none: a run that cannot write one of them
// leaves the outputs of an earlier run as they were, and never an image without its record.
TEST_F(RfaProcessTest, FailedWriteKeepsEarlierOutputsAndLeavesNoPartialResult) {
  ZrImageWrite(Path("s.tif"), Screen(48, 4));
  WriteParameterFile(48);
  ASSERT_EQ(Run("-p @/p.rfa_bg --png -o @/out @/s.tif"), 0) << err_;
  std::map<std::string, std::string> earlier = Contents("out");
  ASSERT_EQ(earlier.size(), 5u);
  // A folder where the last output goes.
  const std::string blocked = "s.after.png";
  const QString folder = QString::fromStdString(Path("out/" + blocked));
  ASSERT_TRUE(QFile::remove(folder) && QDir().mkdir(folder));
  EXPECT_EQ(Run("-p @/p.rfa_bg --no-bg-az --png -o @/out @/s.tif"), 1);
  EXPECT_EQ(err_, At("rfa-process: @/out/" + blocked + ": cannot write (Is a directory)\n"));
  ASSERT_TRUE(QDir().rmdir(folder));
  earlier.erase(blocked);
  EXPECT_EQ(Contents("out"), earlier) << "the others untouched, no temporary left";
  ASSERT_TRUE(QDir().mkpath(QString::fromStdString(Path("fresh/s.keys.xml"))));
  EXPECT_EQ(Run("-p @/p.rfa_bg -o @/fresh @/s.tif"), 1);
  EXPECT_EQ(Files("fresh"), std::vector<std::string>{});
}

// Of a multi-page TIFF the first page is processed with a note, or the page chosen.
TEST_F(RfaProcessTest, MultiPageFileSaysSoOrProcessesTheChosenPage) {
  TIFF* tif = TIFFOpen(Path("stack.tif").c_str(), "w");
  ASSERT_NE(tif, nullptr);
  for (int index : {1, 2, 3}) {
    ZrFloatMatrix page = Screen(48, index);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 48);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 48);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 32);
    TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    for (uint32_t y = 0; y < 48; ++y) ASSERT_GE(TIFFWriteScanline(tif, &page(0, y), y, 0), 0);
    TIFFWriteDirectory(tif);
  }
  TIFFClose(tif);
  ZrImageWrite(Path("second.tif"), Screen(48, 2));
  WriteParameterFile(48);
  ASSERT_EQ(Run("-p @/p.rfa_bg -o @/first @/stack.tif"), 0) << err_;
  EXPECT_EQ(err_, At("rfa-process: @/stack.tif: note: the file holds 3 pages; page 1 was "
                     "processed (choose one with --page N)\n"));
  ASSERT_EQ(Run("-p @/p.rfa_bg --page 2 -o @/chosen @/stack.tif"), 0) << err_;
  EXPECT_EQ(err_, "");
  ASSERT_EQ(Run("-p @/p.rfa_bg -o @/single @/second.tif"), 0) << err_;
  EXPECT_TRUE(
      ZrSameBits(ZrImageRead(Path("chosen/stack.tif")), ZrImageRead(Path("single/second.tif"))));
  EXPECT_FALSE(
      ZrSameBits(ZrImageRead(Path("first/stack.tif")), ZrImageRead(Path("chosen/stack.tif"))));
  EXPECT_EQ(Run("-p @/p.rfa_bg --page 4 -o @/none @/stack.tif"), 1);
  EXPECT_EQ(err_, At("rfa-process: @/stack.tif: holds 3 pages; there is no page 4\n"));
}

// Regression: the side files of an earlier run (pictures, records, the fit's background and the
// angular maps) were taken for inputs.
TEST_F(RfaProcessTest, FolderOfEarlierResultsIsProcessedAgain) {
  ZrImageWrite(Path("s.tif"), Screen(48, 7));
  WriteParameterFile(48);
  ASSERT_EQ(Run("-p @/p.rfa_bg --background --angular-map 10 --png -o @/first @/s.tif"), 0) << err_;
  std::ofstream(Path("first/.s.tif.Ab12Cd")) << "temporary of an interrupted run";
  const std::vector<RfaProcessJob> jobs = RfaCollectJobs({Path("first")}, Path("second"));
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0].Input, Path("first/s.tif"));
  EXPECT_EQ(jobs[0].OutputImage, Path("second/s.tif"));
  EXPECT_EQ(jobs[0].OutputKeys, Path("second/s.keys.xml"));
  QDir().mkpath(QString::fromStdString(Path("empty")));
  std::ofstream(Path("empty/notes.txt")) << "not an image";
  EXPECT_ZR_ERROR(RfaCollectJobs({Path("empty")}, Path("x")),
                  Path("empty") + ": folder holds no image files");
}

// Each frame of a stack is one job named after its number; a range beyond the stack is one
// failed job. (tests/python compares the results with the module on the same frames.)
TEST_F(RfaProcessTest, StackFramesBecomeJobsNamedByNumber) {
  const ZrFloatMatrix screen = Screen(32, 1);
  const std::string frame(reinterpret_cast<const char*>(screen.Data), 4 * 32 * 32);
  std::string stack;
  for (int i = 0; i < 11; ++i) stack += frame;
  const std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (11, 32, 32)}\n";
  std::ofstream(Path("s.npy"), std::ios::binary)
      << std::string("\x93NUMPY\x01\x00", 8) << static_cast<char>(header.size()) << '\0' << header
      << stack;
  ZrImageWrite(Path("one.npy"), screen);
  const std::vector<RfaProcessJob> jobs =
      RfaCollectJobs({Path("s.npy"), Path("one.npy")}, Path("out"), false, {"", 9, -1});
  ASSERT_EQ(jobs.size(), 3u);
  EXPECT_EQ(jobs[0].OutputImage, Path("out/s_09.tif"));
  EXPECT_EQ(jobs[1].OutputKeys, Path("out/s_10.keys.xml"));
  EXPECT_EQ(jobs[1].Frame, 10);
  EXPECT_EQ(jobs[2].OutputImage, Path("out/one.tif"));
  const std::vector<RfaProcessJob> beyond =
      RfaCollectJobs({Path("s.npy")}, Path("out"), false, {"", 5, 12});
  ASSERT_EQ(beyond.size(), 1u);
  EXPECT_EQ(beyond[0].Error, Path("s.npy") + ": frames 5:12 asked for, the stack holds 11 (0:11)");
  EXPECT_EQ(Run("--no-bg-sh --no-mask-outside --frames 10: -o @/out @/s.npy"), 0) << err_;
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"s_10.json", "s_10.keys.xml", "s_10.tif"}));
}

// Refusals name the file, end with 1 (a file failed) or 2 (usage) and touch no output. A result
// that is 0 everywhere fails with its likely cause, unless --allow-empty; a result with a
// non-finite pixel always fails.
TEST_F(RfaProcessTest, RefusalsNameTheFileAndTouchNoOutput) {
  ZrFloatMatrix screen = Screen(48, 3);
  ZrImageWrite(Path("s.tif"), screen);
  screen(1, 1) = INFINITY;
  ZrImageWrite(Path("inf.rawf"), screen);
  WriteParameterFile(48);
  WriteScreens("a", ".tif", 1, 32, 5);
  WriteScreens("a", ".rawf", 1, 32, 5);
  WriteScreens("b", ".tif", 1, 32, 6);
  std::ofstream(Path("q.rfa_bg")) << "<other><Sx_>55</Sx_></other>";
  std::ofstream(Path("m.rfa_bg")) << "<ini><SMargin_>2147483647</SMargin_></ini>";
  ASSERT_EQ(Run("--no-bg-sh --no-mask-outside -o @/out @/a0.tif"), 0) << err_;
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
      {"-p @ @/b0.tif -o @/new", 2, "@: Cannot File Open"},  // a folder
      {"-p @/q.rfa_bg @/b0.tif -o @/new", 2,
       "@/q.rfa_bg: not a parameter file (no \"ini\" element)"},
      // Values no operation can compute with, from --set or from a file.
      {"--set Size_l_=2147483647 -o @/new @/b0.tif", 2,
       "parameter Size_l_ = 2147483647 is out of range (-1 to 99)"},
      {"--set Size_l_=-2 -o @/new @/b0.tif", 2,
       "parameter Size_l_ = -2 is out of range (-1 to 99)"},
      {"--set Ax_=-3e38 -o @/new @/b0.tif", 2,
       "parameter Ax_ = -3e+38 is out of range (-1e+06 to 1e+06)"},
      {"--set Sr_=-1e300 -o @/new @/b0.tif", 2,
       "parameter Sr_ = -1e+300 is out of range (0 to 1e+06)"},
      {"-p @/m.rfa_bg -o @/new @/b0.tif", 2,
       "parameter SMargin_ = 2147483647 is out of range (-1000000 to 1000000)"},
      // Analysis outputs no image could give.
      {"--angular-map 0 -o @/new @/s.tif", 2,
       "--angular-map needs a step in degrees above 0 and at most 90, not \"0\""},
      {"--angular-map 0.001 -o @/new @/s.tif", 2,
       "Angular map: a step of 0.001 degrees makes a grid of 360000 x 90001 pixels, more than "
       "67108864"},
      {"--angular-map 1 --set MappingAzThetaMax_deg_=180 -o @/new @/s.tif", 2,
       "Angular map: the stereographic projection needs MappingAzThetaMax_deg_ below 180, not 180"},
      {"--find-screen sometimes -o @/new @/s.tif", 2,
       "--find-screen needs image or series, not \"sometimes\""},
      {"--background --no-bg-sh -o @/new @/s.tif", 2,
       "--background writes the spherical-harmonics background, which IsBgSh_ switches off"},
      {"-p @/p.rfa_bg --set McpDipR_=1e30 -o @/new @/s.tif", 1,
       "@/s.tif: the result is 0 everywhere: the MCP dip mask (McpDipCx_=28 McpDipCy_=26 "
       "McpDipR_=1e+30) covers every pixel left (--allow-empty writes it anyway)"},
      {"--no-move-center --no-bg-sh --no-bg-az --no-mask-dip --no-mask-outside --allow-empty -o "
       "@/new @/inf.rawf",
       1,
       "@/inf.rawf: the result holds 1 non-finite pixel: the image's own infinite pixels, which "
       "no checked operation replaces"}};
  for (const auto& [line, status, message] : cases) {
    EXPECT_EQ(Run(line), status) << line;
    EXPECT_EQ(err_, At(std::string("rfa-process: ") + message + "\n"));
  }
  EXPECT_FALSE(QDir(QString::fromStdString(Path("new"))).exists()) << "made for nothing";
  EXPECT_EQ(Files("out"), (std::vector<std::string>{"a0.json", "a0.keys.xml", "a0.tif"}));

  // A screen that does not fit the image is named with the range error it causes.
  EXPECT_EQ(Run("-o @/new @/a0.tif"), 1);
  EXPECT_EQ(err_.rfind(At("rfa-process: @/a0.tif: Matrix over range."), 0), 0u) << err_;
  EXPECT_NE(err_.find(" (screen Sx_=100 Sy_=100 Sr_=100 SMargin_=10 on a 32 x 32 image: set them "
                      "with --set or --parameters)\n"),
            std::string::npos)
      << err_;
  EXPECT_EQ(ZrReadFileBytes(Path("out/a0.tif")), before);
  EXPECT_EQ(Run("-p @/p.rfa_bg --set McpDipR_=1e30 --allow-empty -o @/empty @/s.tif"), 0) << err_;
  EXPECT_EQ(Files("empty"), (std::vector<std::string>{"s.json", "s.keys.xml", "s.tif"}));
}

TEST_F(RfaProcessTest, HelpAndProgress) {
  EXPECT_EQ(Run("--help"), 0);
  // The refusal before any file is touched, as --no-overwrite does (see the refusals).
  EXPECT_NE(out_.find("--no-overwrite      refuse to start when an output file already exists"),
            std::string::npos);

  // Regression: the bar is drawn empty before the first file is done.
  WriteScreens("in/s", ".rawf", 3, 32, 1);
  ASSERT_EQ(Run("--no-bg-sh --no-mask-outside -j 2 -o @/bar @/in", true), 0) << err_;
  for (const char* step : {"] 0/3", "] 1/3", "] 2/3", "] 3/3\n"}) {
    EXPECT_NE(out_.find(step), std::string::npos) << step << " in " << out_;
  }
  ASSERT_EQ(Run("--no-bg-sh --no-mask-outside -o @/plain @/in"), 0);
  EXPECT_EQ(out_, At("processed 3 of 3 files into @/plain\n"));
}

// The azimuthal background follows the typical pixel of each ring, whatever the MCP dip and the
// spots do: on the bundled samples the quotient before the masks has ring medians within 0.5 %
// of 1 from the centre to the rim of the fit disc. The rings are 5 pixels wide: a 1-pixel ring
// near the centre holds too few pixels for its median to be known that well.
TEST(AzimuthalQuotient, RingMediansOfTheBundledSamplesStayWithinHalfAPercentOfOne) {
  RfaProcessOptions o;
  o.ParameterFile = ZrTestDataDir() + "/samples/default.rfa_bg";
  o.Overrides = {{"IsMaskMcpDip_", "false"}, {"IsMaskOutside_", "false"}};
  const RfaParameters p = RfaLoadParameters(o);
  const double radius = p.Sr - p.SMargin;
  for (const char* name : {"sample-1.tif", "sample-2.tif", "sample-3.tif"}) {
    const ZrFloatMatrix q =
        RfaProcessImage(ZrImageRead(ZrTestDataDir() + "/samples/" + name), p).Image;
    std::vector<std::vector<float>> rings(static_cast<size_t>(std::ceil(radius / 5)));
    for (int32_t y = 0; y < q.RowSize; ++y) {
      for (int32_t x = 0; x < q.ColSize; ++x) {
        const double d = std::hypot(x - p.Ax, y - p.Ay);
        if (d < radius && q(x, y) != 0.0f) rings[static_cast<size_t>(d / 5)].push_back(q(x, y));
      }
    }
    for (size_t k = 0; k < rings.size(); ++k) {
      std::vector<float>& v = rings[k];
      ASSERT_GT(v.size(), 40u) << name << " ring " << k;
      std::sort(v.begin(), v.end());
      const double median = (v[(v.size() - 1) / 2] + v[v.size() / 2]) / 2.0;
      EXPECT_NEAR(median, 1.0, 0.005) << name << " ring from " << 5 * k << " pixels";
    }
  }
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

TEST_F(RfaProcessTest, BundledSamplesAreWhatTheGeneratorMakes) {
  RfaMakeSamples(Path("s"), 3, 256);
  for (const char* name : {"sample-1.tif", "sample-2.tif", "sample-3.tif", "default.rfa_bg"}) {
    EXPECT_EQ(ZrReadFileBytes(Path("s/") + name),
              ZrReadFileBytes(ZrTestDataDir() + "/samples/" + name))
        << name << ": regenerate with rfa-process --make-samples tests/data/samples";
  }
}

}  // namespace
